// Owners of the kernel's handles, and what the Win32 files share about opening and failing.
#pragma once

#include <windows.h>

#include <string>

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

// Whether an error code means that nothing is there: file or path not found, bad network path,
// network name deleted, invalid name, invalid directory name ("System Error Codes", Win32).
bool IsNotFound(DWORD error);

// The final path of an open entry, links resolved and short names made long, in one of the forms of
// GetFinalPathNameByHandleW; empty, with the last error set, on failure.
std::wstring FinalPathText(HANDLE handle, DWORD form);

}  // namespace k7k
