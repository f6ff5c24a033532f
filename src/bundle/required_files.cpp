#include "bundle/required_files.h"

#include "fs/path_identity.h"

namespace k7k {

bool IsPlainFile(const Path& path) {
  return CurrentDisk().Status(path) == FileStatus::File && !IsReparsePoint(path);
}

}  // namespace k7k
