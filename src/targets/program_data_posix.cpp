#include <cstdlib>

#include "targets/standard_target.h"

namespace k7k {

Path GetProgramDataFolder() {
  const char* text = std::getenv("ProgramData");
  if (text == nullptr || !IsAbsolute(text)) return {};
  return text;
}

}  // namespace k7k
