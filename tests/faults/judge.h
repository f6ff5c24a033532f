// Says of one run how it had to end and what had to be on disk afterwards.
#pragma once

#include <set>

#include "plan.h"

namespace k7k::test {

struct Run {
  std::vector<Asked> asked;
  int pauses = 0;
  bool only_right_pauses = true;  // each was of 25 milliseconds
  Ending ending;
  int handles_left = 0;  // more than before
  Tree after;            // the changing part, private names as tags
};

// What the calls of a run say, read once.
struct Reading {
  Ending expected;
  std::string step;  // the one that ended it
  // Pieces, by their places, that were there and answered not to be when they were looked for.
  std::set<std::string> unseen;
  int retries = 0;             // attempts of moves after a failed one
  std::string left_out;        // a step that never came
  std::string wrong_attempts;  // a move that was not tried 20 times and did not work, or more often
};

Reading ReadRun(const Plan& plan, const std::vector<Piece>& pieces,
                const std::vector<Asked>& asked);

struct Verdict {
  std::vector<std::string> wrong;
  // An old piece that the disk denied was replaced or removed, as it has to be: nothing can know.
  bool lost_unseen = false;
};

Verdict Judge(const Plan& plan, bool removal, const Sandbox& sandbox, const Run& run);

// The part of it that the tree after the run decides (tree_check.cpp).
Verdict CheckTree(bool removal, const Sandbox& sandbox, const Reading& reading, const Run& run);

// Whether a move from there to there was tried and given up at last.
bool GaveUpMove(const std::vector<Asked>& asked, const std::string& from, const std::string& to);

// Whether every entry is one of the other tree's. A file may be the first part of the other's where
// a copy can have failed half-way.
bool IsPartOf(const Tree& part, const Tree& whole, bool half_files = false);

// A walk that fails without an entry ends the copying, and what is not required may be missing.
bool CopyWasCutShort(const std::vector<Asked>& asked);
Tree WithoutExtraLocale(Tree tree);

std::string NamesOf(const Tree& tree);
std::string Text(const Asked& asked);
std::string Text(const Ending& ending);

}  // namespace k7k::test
