// Loads the library it is told to the careless way, from the program's own folder first.
#include <windows.h>

int wmain(int argument_count, wchar_t** arguments) {
  return argument_count == 2 && LoadLibraryW(arguments[1]) != NULL ? 0 : 1;
}
