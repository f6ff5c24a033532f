#include "support/conditions.h"

#include "support/platform.h"

namespace k7k::test {

std::vector<Path> OddNames() {
  return {Path("two  words and more"), Path(u8"zażółć gęślą 日本語"), Path(u8"music \U0001F3B5"),
          Path(std::string(220, 'n')), Path("a.b.c..d")};
}

Path ExactPath(const Path& path) {
  return RunsOnWindows() ? Path(L"\\\\?\\" + Path(path).make_preferred().wstring()) : path;
}

Path LongFolder(const Path& parent) {
  return ExactPath(parent) / std::string(120, 'p') / std::string(120, 'q') / std::string(120, 'r');
}

}  // namespace k7k::test
