// A library planted beside a program: it leaves a marker file beside itself when it is loaded.
#include <wchar.h>
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  (void)reserved;
  if (reason == DLL_PROCESS_ATTACH) {
    wchar_t path[1024];
    const DWORD length = GetModuleFileNameW(library, path, 1000);
    if (length > 0 && length < 1000) {
      wcscat(path, L".loaded");
      CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL));
    }
  }
  return TRUE;
}
