#include <windows.h>

#include "app/dispatch.h"

// The C runtime calls it by its name.
// NOLINTNEXTLINE(misc-use-internal-linkage)
int wmain(int argument_count, wchar_t** arguments) {
  // No system dialog may hold up an unattended run.
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  return k7k::Dispatch(argument_count, argument_count > 1 ? arguments[1] : L"",
                       argument_count > 2 ? arguments[2] : L"");
}
