// Functions of Windows that are looked up by name, and DLLs that only some commands need.
#pragma once

#include <windows.h>

namespace k7k {

// The function of that name in a loaded DLL, or null when it or the DLL is missing.
template <class Function>
Function* FindFunction(HMODULE library, const char* name) {
  if (library == nullptr) return nullptr;
  // By way of void*: a direct cast between function types is a warning, rightly elsewhere.
  // NOLINTNEXTLINE(bugprone-casting-through-void)
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
}

// Loads a DLL from the system folder and from nowhere else, so that a file of that name planted
// beside the program is not run; what the DLL itself loads later comes from there as well. It stays
// loaded: the program runs one short command.
class SystemLibrary {
 public:
  explicit SystemLibrary(const wchar_t* name) {
    ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    module_ = ::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  }

  // The function of that name, or null when it or the library is missing.
  template <class Function>
  Function* Find(const char* name) const {
    return FindFunction<Function>(module_, name);
  }

 private:
  HMODULE module_ = nullptr;
};

}  // namespace k7k
