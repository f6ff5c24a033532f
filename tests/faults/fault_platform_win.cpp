#include <windows.h>
#include <winternl.h>

#include <algorithm>
#include <vector>

#include "fault_platform.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

struct HandleEntry {
  ULONG process;
  UCHAR type;
  UCHAR flags;
  USHORT value;
  void* object;
  ULONG access;
};

struct HandleList {
  ULONG count;
  HandleEntry entries[1];
};

// Wine answers GetProcessHandleCount with 0, but it lists the handles of all processes.
int HandlesInSystemList() {
  using Query = NTSTATUS(WINAPI*)(ULONG, void*, ULONG, ULONG*);
  constexpr ULONG kSystemHandleInformation = 16;
  const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<HandleEntry> buffer(4096);
  const ULONG bytes = static_cast<ULONG>(buffer.size() * sizeof(HandleEntry));
  if (query == nullptr || query(kSystemHandleInformation, buffer.data(), bytes, nullptr) != 0) {
    return -1;
  }
  const auto* list = reinterpret_cast<const HandleList*>(buffer.data());
  const ULONG process = ::GetCurrentProcessId();
  return static_cast<int>(
      std::count_if(list->entries, list->entries + list->count,
                    [&](const HandleEntry& entry) { return entry.process == process; }));
}

}  // namespace

int RawCode(ErrorKind kind) {
  constexpr std::array kCodes{ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_DISK_FULL,
                              ERROR_IO_DEVICE,     ERROR_FILE_NOT_FOUND,    ERROR_DIR_NOT_EMPTY};
  return static_cast<int>(kCodes[static_cast<std::size_t>(kind)]);
}

int OpenHandles() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) && count > 0) {
    return static_cast<int>(count);
  }
  return HandlesInSystemList();
}

bool OpeningFilesIsSlow() { return RunsUnderWine(); }

}  // namespace k7k::test
