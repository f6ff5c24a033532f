#include "txn/flush_rename.h"

#include <algorithm>

namespace k7k {

namespace {

bool IsThere(const Path& file) {
  const FileStatus status = CurrentDisk().Status(file);
  return status == FileStatus::File || status == FileStatus::Unreadable;
}

}  // namespace

bool FlushRename(const Path& renamed, const std::vector<Path>& files) {
  const auto flush = [](const Path& path) { return CurrentDisk().Flush(path); };
  const bool folder_flushed = flush(renamed.parent_path());
  const bool file_flushed = std::any_of(files.begin(), files.end(), flush) ||
                            std::none_of(files.begin(), files.end(), IsThere);
  return folder_flushed && file_flushed;
}

}  // namespace k7k
