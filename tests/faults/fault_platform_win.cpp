#include <windows.h>

#include <cstdint>

#include "fault_platform.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

// Wine answers GetProcessHandleCount with 0, and its server can crash when it is asked for the list
// of all handles while a process starts. So each value that a handle can have is tried: multiples
// of 4, of which the lowest free one is always given out next.
int TriedHandles() {
  constexpr int kFreeAtTheEnd = 64;
  int count = 0;
  std::uintptr_t value = 0;
  for (int free = 0; free < kFreeAtTheEnd; ++free) {
    value += 4;
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) {
      ++count;
      free = 0;
    }
  }
  return count;
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
  return TriedHandles();
}

bool OpeningFilesIsSlow() { return RunsUnderWine(); }

}  // namespace k7k::test
