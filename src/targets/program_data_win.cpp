#include <windows.h>

// These need windows.h before them.
#include <objbase.h>
#include <shlobj.h>

#include "fs/system_library_win.h"
#include "targets/standard_target.h"

namespace k7k {

Path GetProgramDataFolder() {
  // FOLDERID_ProgramData, from the page "KNOWNFOLDERID (Knownfolders.h)".
  constexpr GUID kProgramData = {
      0x62AB5D82, 0xFDC1, 0x4DC3, {0xA9, 0xDD, 0x07, 0x0D, 0x1D, 0x49, 0x5D, 0x97}};
  const SystemLibrary shell(L"shell32.dll");
  const SystemLibrary ole(L"ole32.dll");
  const auto get_folder = shell.Find<decltype(::SHGetKnownFolderPath)>("SHGetKnownFolderPath");
  const auto free_memory = ole.Find<decltype(::CoTaskMemFree)>("CoTaskMemFree");
  if (get_folder == nullptr || free_memory == nullptr) return {};

  wchar_t* text = nullptr;
  if (get_folder(kProgramData, 0, nullptr, &text) < 0 || text == nullptr) return {};
  Path folder(text);
  free_memory(text);
  return folder;
}

}  // namespace k7k
