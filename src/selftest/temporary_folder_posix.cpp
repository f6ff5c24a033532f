#include <cstdlib>

#include "selftest/temporary_folder.h"

namespace k7k {

Path GetTemporaryFolder() {
  const char* text = std::getenv("TMPDIR");
  return text != nullptr && IsAbsolute(text) ? text : "/tmp";
}

}  // namespace k7k
