#include <unistd.h>

#include <string>

#include "app/program_folder.h"

namespace k7k {

Path GetProgramFolder() {
  std::string text(32768, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", text.data(), text.size());
  if (length <= 0 || static_cast<std::size_t>(length) >= text.size()) return {};
  text.resize(static_cast<std::size_t>(length));
  return Path(text).parent_path();
}

}  // namespace k7k
