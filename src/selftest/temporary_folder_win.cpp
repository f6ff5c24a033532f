#include <windows.h>

#include <array>

#include "selftest/temporary_folder.h"

namespace k7k {

Path GetTemporaryFolder() {
  std::array<wchar_t, 260> text{};
  const DWORD length = ::GetTempPathW(static_cast<DWORD>(text.size()), text.data());
  // A length beyond the buffer means that the name was not stored.
  if (length == 0 || length >= text.size()) return {};
  return Path(text.data());
}

}  // namespace k7k
