#include <windows.h>

#include "support/platform.h"

namespace k7k::test {

bool RunsOnWindows() { return true; }

bool RunsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

int AccessDeniedCode() { return ERROR_ACCESS_DENIED; }
int SharingViolationCode() { return ERROR_SHARING_VIOLATION; }
Path AbsolutePath(const char* relative) { return (Path("C:\\") / relative).make_preferred(); }

}  // namespace k7k::test
