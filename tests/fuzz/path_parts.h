// A path's text taken apart by hand, for tests that must not trust the standard library's path.
#pragma once

#include <vector>

#include "fuzz/fuzz_target.h"

namespace k7k::test {

// How a text that begins with exactly two separators is read on Windows: they begin the name of a
// server, or they are a run like any other.
enum class LeadingPair { Server, Run };

struct PathParts {
  Text root_name;  // Windows alone: "C:", "//" and a server's name, or "/??"
  bool rooted = false;
  std::vector<Text> elements;  // after the root; an empty last one for a separator at the end

  // Whether the text is an absolute path by the platform's rule.
  bool IsAbsolute() const;
};

PathParts TakeApart(const Text& text, LeadingPair pair = LeadingPair::Server);

}  // namespace k7k::test
