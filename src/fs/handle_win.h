// Owners of the kernel's handles, and the text form in which Win32 takes a path.
#pragma once

#include <windows.h>

#include <string>

#include "fs/disk.h"
#include "fs/owner.h"

namespace k7k {

// Files, folders and snapshots: INVALID_HANDLE_VALUE stands for none.
struct KernelHandleTraits {
  using Value = HANDLE;
  static Value Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Value handle) { ::CloseHandle(handle); }
};
using KernelHandle = Owner<KernelHandleTraits>;

struct FindHandleTraits {
  using Value = HANDLE;
  static Value Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Value handle) { ::FindClose(handle); }
};
using FindHandle = Owner<FindHandleTraits>;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A path as the text of a Win32 call. Behind a "\\?\" prefix Win32 takes "\" alone, and our fixed
// relative names are written with "/"; and there the name of a volume without a separator after it
// is the device, not its root folder.
inline std::wstring Win32Text(Path path) {
  std::wstring text = path.make_preferred().native();
  const bool is_device = text.starts_with(L"\\\\?\\") || text.starts_with(L"\\\\.\\");
  if (is_device && text.size() > 4 && text.find(L'\\', 4) == std::wstring::npos) text += L'\\';
  return text;
}

// Whether an error code means that nothing is there: file or path not found, bad network path,
// network name deleted, invalid name, invalid directory name ("System Error Codes", Win32).
bool IsNotFound(DWORD error);

}  // namespace k7k
