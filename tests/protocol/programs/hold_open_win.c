// Opens the file or folder it is told to, if any, without sharing deletion, says "ready", and keeps
// it open until its input ends.
#include <stdio.h>
#include <wchar.h>
#include <windows.h>

int wmain(int argument_count, wchar_t** arguments) {
  if (argument_count == 3) {
    const DWORD sharing = wcscmp(arguments[2], L"read") == 0 ? FILE_SHARE_READ : 0;
    const HANDLE handle = CreateFileW(arguments[1], GENERIC_READ, sharing, NULL, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, NULL);
    if (handle == INVALID_HANDLE_VALUE) {
      printf("error %lu\n", GetLastError());
      return 1;
    }
  }
  puts("ready");
  fflush(stdout);
  while (getchar() != EOF) {
  }
  return 0;
}
