#include "targets/standard_target.h"

namespace k7k {

Path GetStandardPluginsRoot() {
  const Path program_data = GetProgramDataFolder();
  if (program_data.empty()) return {};
  return program_data / "obs-studio" / "plugins";
}

}  // namespace k7k
