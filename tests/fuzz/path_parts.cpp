#include "fuzz/path_parts.h"

#include "support/platform.h"

namespace k7k::test {

namespace {

bool IsSeparator(Text::value_type unit) { return unit == '/' || (RunsOnWindows() && unit == '\\'); }

bool IsDriveLetter(Text::value_type unit) {
  return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
}

// How much of a text Windows takes for the name of what holds the tree: a drive, a server, or the
// system's own list of devices.
std::size_t RootNameLength(const Text& text, RootNames names) {
  const auto separator_at = [&](std::size_t i) { return i < text.size() && IsSeparator(text[i]); };
  if (text.size() >= 2 && IsDriveLetter(text[0]) && text[1] == ':') return 2;
  if (names == RootNames::DrivesAlone || !separator_at(0)) return 0;
  if (text.size() >= 4 && text[1] == '?' && text[2] == '?' && separator_at(3) && !separator_at(4)) {
    return 3;
  }
  if (text.size() < 3 || !separator_at(1) || separator_at(2)) {
    return 0;
  }
  std::size_t end = 2;
  while (end < text.size() && !separator_at(end)) ++end;
  return end;
}

}  // namespace

bool PathParts::IsAbsolute() const {
  if (!RunsOnWindows()) return rooted;
  const bool drive = root_name.size() == 2 && root_name[1] == ':';
  return !root_name.empty() && (rooted || !drive);
}

PathParts TakeApart(const Text& text, RootNames names) {
  PathParts parts;
  const auto separator_at = [&](std::size_t i) { return i < text.size() && IsSeparator(text[i]); };
  std::size_t at = RunsOnWindows() ? RootNameLength(text, names) : 0;
  for (const Text::value_type unit : text.substr(0, at)) {
    parts.root_name += IsSeparator(unit) ? Text::value_type('/') : unit;
  }
  parts.rooted = separator_at(at);
  while (separator_at(at)) ++at;

  while (at < text.size()) {
    const std::size_t begin = at;
    while (at < text.size() && !separator_at(at)) ++at;
    parts.elements.push_back(text.substr(begin, at - begin));
    if (at == text.size()) break;
    while (separator_at(at)) ++at;
    if (at == text.size()) parts.elements.emplace_back();
  }
  return parts;
}

}  // namespace k7k::test
