#include "fs/flush_win.h"

#include <utility>

#include "fs/disk.h"
#include "fs/handle_win.h"

namespace k7k {

namespace {

// A scanner may have it open without sharing the right to write.
KernelHandle OpenToWrite(const std::wstring& text, DWORD right) {
  for (int attempt = 1;; ++attempt) {
    KernelHandle handle(::CreateFileW(text.c_str(), right, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    const bool is_held = !handle && ::GetLastError() == ERROR_SHARING_VIOLATION;
    if (!is_held || attempt == kAttempts) return handle;
    ::Sleep(static_cast<DWORD>(kBetweenAttempts.count()));
  }
}

// Asks for no more than the renaming itself needs, one of two rights: either is enough to flush
// ("NtFlushBuffersFileEx function (ntifs.h)").
KernelHandle OpenFolder(const std::wstring& text) {
  KernelHandle handle = OpenToWrite(text, FILE_ADD_SUBDIRECTORY);
  const bool is_denied = !handle && ::GetLastError() == ERROR_ACCESS_DENIED;
  return is_denied ? OpenToWrite(text, FILE_ADD_FILE) : std::move(handle);
}

bool MayNotBeOpened() { return ::GetLastError() == ERROR_ACCESS_DENIED; }

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
  const DWORD writable = attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
  if (is_read_only && !::SetFileAttributesW(text.c_str(), writable)) return MayNotBeOpened();
  const KernelHandle handle = is_folder ? OpenFolder(text) : OpenToWrite(text, GENERIC_WRITE);
  const bool counts_as_done = !handle && MayNotBeOpened();
  if (is_read_only && !::SetFileAttributesW(text.c_str(), attributes)) return false;
  if (!handle) return counts_as_done;
  return ::FlushFileBuffers(handle.Get()) || KnowsNoFlush();
}

}  // namespace k7k
