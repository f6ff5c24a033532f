#include "app/program_folder.h"

namespace k7k {

Path BundleRootBeside(const Path& program_folder) {
  return program_folder.parent_path() / "plugin" / "k7k-obs-audio";
}

Path GetBundleRoot() { return BundleRootBeside(GetProgramFolder()); }

}  // namespace k7k
