// Opens the file or folder it is told to, if any, says "ready", and keeps it open until its input
// ends: sharing nothing ("none"), reading ("read"), or all, with the right to delete ("all").
#include <stdio.h>
#include <wchar.h>
#include <windows.h>

int wmain(int argument_count, wchar_t** arguments) {
  if (argument_count == 3) {
    DWORD access = GENERIC_READ;
    DWORD sharing = wcscmp(arguments[2], L"read") == 0 ? FILE_SHARE_READ : 0;
    if (wcscmp(arguments[2], L"all") == 0) {
      access |= DELETE;
      sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    }
    const HANDLE handle = CreateFileW(arguments[1], access, sharing, NULL, OPEN_EXISTING,
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
