#include <windows.h>

#include <string>

#include "app/program_folder.h"

namespace k7k {

Path GetProgramFolder() {
  std::wstring text(32768, L'\0');  // the longest path there is ("Maximum Path Length Limitation")
  const DWORD length = ::GetModuleFileNameW(nullptr, text.data(), static_cast<DWORD>(text.size()));
  if (length == 0 || length >= text.size()) return {};
  text.resize(length);
  return Path(text).parent_path();
}

}  // namespace k7k
