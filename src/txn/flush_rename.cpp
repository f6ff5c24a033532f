#include "txn/flush_rename.h"

#include <algorithm>

namespace k7k {

bool FlushRename(const Path& renamed, const Path& file) {
  const bool folder_flushed = CurrentDisk().Flush(renamed.parent_path());
  const bool file_flushed = file.empty() || CurrentDisk().Flush(file);
  return folder_flushed && file_flushed;
}

Path FirstFile(const std::vector<Path>& paths) {
  const auto file = std::find_if(paths.begin(), paths.end(), [](const Path& path) {
    const FileStatus status = CurrentDisk().Status(path);
    return status == FileStatus::File || status == FileStatus::Unreadable;
  });
  return file == paths.end() ? Path() : *file;
}

}  // namespace k7k
