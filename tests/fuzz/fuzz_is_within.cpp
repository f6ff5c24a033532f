// The containment test on path texts: an input is two texts with a zero between them. It is asked
// both ways.
#include "fs/path_identity.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/path_parts.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

const std::string kWithin = "within";
const std::string kOutside = "outside";
const std::string kTwoReadings = "read in two ways";
const std::string kStrayColon = "colon in a name";

const Text kHere(1, '.');
const Text kUp(2, '.');

// Whether the way from root to candidate, written as a relative path, goes down and not up.
bool LiesWithin(const PathParts& candidate, const PathParts& root) {
  // No relative path leads from the one to the other.
  if (candidate.root_name != root.root_name || candidate.IsAbsolute() != root.IsAbsolute() ||
      (root.rooted && !candidate.rooted)) {
    return false;
  }
  std::size_t common = 0;
  if (candidate.rooted == root.rooted) {
    while (common < candidate.elements.size() && common < root.elements.size() &&
           candidate.elements[common] == root.elements[common]) {
      ++common;
    }
  }
  int steps_up = 0;
  for (std::size_t i = common; i < root.elements.size(); ++i) {
    const Text& element = root.elements[i];
    if (element == kUp) --steps_up;
    if (element != kUp && element != kHere && !element.empty()) ++steps_up;
  }
  if (steps_up < 0) return false;  // above an unknown folder: no relative path either
  // Rooted against not rooted, on one drive or on none: the way begins anew at the root.
  if (candidate.rooted && !root.rooted) return true;
  if (steps_up > 0) return false;
  return common == candidate.elements.size() || candidate.elements[common] != kUp;
}

// No name on Windows holds a colon, and the libraries do not agree on what one means that is not a
// drive's.
bool HasStrayColon(const Text& text) {
  const Text drive = TakeApart(text, RootNames::DrivesAlone).root_name;
  return RunsOnWindows() && text.find(':', drive.size()) != Text::npos;
}

void Judge(const Text& candidate, const Text& root) {
  const bool within = IsWithin(candidate, root);
  if (HasStrayColon(candidate) || HasStrayColon(root)) return CountOutcome(kStrayColon);
  // To Windows the pair of separators before a server's name is more than a run; to the standard
  // library of the cross toolchain it is a run like any other. No path that Windows reports tells
  // the two apart, and where they differ either answer will do.
  const bool by_windows = LiesWithin(TakeApart(candidate), TakeApart(root));
  const bool by_drives = LiesWithin(TakeApart(candidate, RootNames::DrivesAlone),
                                    TakeApart(root, RootNames::DrivesAlone));
  if (by_windows != by_drives) return CountOutcome(kTwoReadings);
  if (within != by_drives) {
    Disagree("candidate " + Shown(candidate) + "\nroot " + Shown(root) + "\nexpected " +
             (by_drives ? kWithin : kOutside));
  }
  CountOutcome(within ? kWithin : kOutside);
}

}  // namespace

std::vector<std::string> OutcomesOfTarget() {
  if (!RunsOnWindows()) return {kWithin, kOutside};
  return {kWithin, kOutside, kStrayColon, kTwoReadings};
}

}  // namespace k7k::test

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace k7k::test;
  const std::string bytes(data, data + size);
  std::vector<Text> texts = SplitAtZero(TextFromBytes(bytes));
  texts.resize(2);
  Judge(texts[0], texts[1]);
  Judge(texts[1], texts[0]);
  return 0;
}
