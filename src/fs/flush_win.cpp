#include "fs/flush_win.h"

#include "fs/handle_win.h"

namespace k7k {

namespace {

// With one of the two rights that flushing wants: of a folder, those with which something is moved
// into it ("NtFlushBuffersFileEx function (ntifs.h)", "File Access Rights Constants").
KernelHandle OpenToFlush(const std::wstring& text) {
  KernelHandle handle;
  for (const DWORD right : {DWORD{FILE_APPEND_DATA}, DWORD{FILE_WRITE_DATA}}) {
    handle = KernelHandle(::CreateFileW(text.c_str(), right, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (handle || ::GetLastError() != ERROR_ACCESS_DENIED) break;
  }
  return handle;
}

bool IsDenied() { return ::GetLastError() == ERROR_ACCESS_DENIED; }

bool KnowsNoFlush() {
  const DWORD error = ::GetLastError();
  return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ||
         error == ERROR_INVALID_PARAMETER;
}

}  // namespace

bool FlushToMedium(const std::wstring& text) {
  const DWORD attributes = ::GetFileAttributesW(text.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  const bool is_folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  // Writing is denied for a read-only file, so its bit is away while it is opened.
  const bool is_read_only = !is_folder && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  DWORD writable = attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
  if (writable == 0) writable = FILE_ATTRIBUTE_NORMAL;
  if (is_read_only && !::SetFileAttributesW(text.c_str(), writable)) return IsDenied();
  const KernelHandle handle = OpenToFlush(text);
  const bool may_not_be_opened = !handle && IsDenied();
  if (is_read_only && !::SetFileAttributesW(text.c_str(), attributes)) return false;
  if (!handle) return may_not_be_opened;
  // A server may deny it for folders that can be renamed in all the same.
  return ::FlushFileBuffers(handle.Get()) || KnowsNoFlush() || (is_folder && IsDenied());
}

}  // namespace k7k
