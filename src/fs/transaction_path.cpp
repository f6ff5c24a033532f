#include "fs/transaction_path.h"

#include "fs/path_identity.h"
#include "fs/process_clock.h"

namespace k7k {

Path TransactionPath(const Path& parent, const wchar_t* tag) {
  const std::uint64_t milliseconds = MillisecondsSinceStart();
  return parent / TransactionName(tag, ProcessIdentifier(), milliseconds);
}

std::wstring TransactionName(const wchar_t* tag, std::uint32_t process,
                             std::uint64_t milliseconds) {
  return std::wstring(L".k7k-obs-audio.") + tag + L"." + std::to_wstring(process) + L"." +
         std::to_wstring(milliseconds);
}

bool RemoveTree(const Path& path) {
  const FileStatus status = CurrentDisk().Status(path);
  if (status == FileStatus::Unreadable) return false;
  if (status == FileStatus::Absent) return true;
  if (IsReparsePoint(path)) return false;
  return CurrentDisk().RemoveAll(path);
}

}  // namespace k7k
