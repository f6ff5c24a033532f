// A path's text taken apart by hand, for tests that must not trust the standard library's path.
#pragma once

#include <vector>

#include "fuzz/fuzz_target.h"

namespace k7k::test {

// Which root names a text can begin with on Windows, apart from a drive's: those that Windows knows
// (a server's after two separators, the list of devices), or none, so that the separators are a run
// like any other.
enum class RootNames { OfWindows, DrivesAlone };

struct PathParts {
  Text root_name;  // Windows alone: "C:", "//" and a server's name, or "/??"
  bool rooted = false;
  std::vector<Text> elements;  // after the root; an empty last one for a separator at the end

  // Whether the text is an absolute path by the platform's rule.
  bool IsAbsolute() const;
};

PathParts TakeApart(const Text& text, RootNames names = RootNames::OfWindows);

}  // namespace k7k::test
