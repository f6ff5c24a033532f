#include "fs/flush_win.h"

#include "fs/handle_win.h"

namespace k7k {

namespace {

// Opens what is there as "FlushFileBuffers function (fileapi.h)" wants it. Writing is denied for a
// read-only file, so its bit is away while it is opened.
KernelHandle OpenToFlush(const std::wstring& text, DWORD attributes) {
  const bool read_only =
      (attributes & FILE_ATTRIBUTE_READONLY) != 0 && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  const DWORD writable = attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
  if (read_only && !::SetFileAttributesW(text.c_str(), writable)) return KernelHandle();
  KernelHandle handle(::CreateFileW(text.c_str(), GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  const DWORD error = handle ? ERROR_SUCCESS : ::GetLastError();
  if (read_only && !::SetFileAttributesW(text.c_str(), attributes)) return KernelHandle();
  ::SetLastError(error);
  return handle;
}

bool KnowsNoFlush(DWORD error) {
  return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ||
         error == ERROR_INVALID_PARAMETER;
}

}  // namespace

bool FlushToMedium(const std::wstring& text) {
  const DWORD attributes = ::GetFileAttributesW(text.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  const KernelHandle handle = OpenToFlush(text, attributes);
  if (handle && ::FlushFileBuffers(handle.Get())) return true;
  const DWORD error = ::GetLastError();
  // Who may rename in a folder need not be allowed to open it for writing.
  const bool folder_denied =
      error == ERROR_ACCESS_DENIED && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return folder_denied || (handle && KnowsNoFlush(error));
}

}  // namespace k7k
