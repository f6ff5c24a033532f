// What each transaction promises, written by hand: its steps in order, and for each step how the
// transaction must end when the disk gives a certain answer there.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "campaign_disk.h"
#include "txn/outcomes.h"

namespace k7k::test {

// The detail that a run starts with: how one that nobody wrote looks at the end.
inline constexpr auto kUntouched = L"(untouched)";

// The step before the old copy is deleted.
inline constexpr auto kDurability = "durability";

struct Ending {
  int outcome = 0;
  std::wstring message = kUntouched;

  bool operator==(const Ending&) const = default;
};

// How a step ends the transaction. When `unless_restored` is set, it holds instead after an undo
// whose moves back failed; `with_code` appends the code of the last of them. A ruling that is not
// final goes on, and a later one replaces it.
struct Ruling {
  Ending ending;
  std::optional<Ending> unless_restored;
  bool with_code = false;
  bool final = true;
};

using Rule = std::function<std::optional<Ruling>(const Asked&)>;

struct Step {
  std::string name;
  // Whether this call is the first of the step; asked only while the step before it is on.
  std::function<bool(const Asked& asked, const Asked* previous)> starts;
  // What the answer to a call within the step decides. A move is judged when it was given up.
  Rule rule;
  bool optional = false;  // left out when there is nothing to do
};

struct Plan {
  std::vector<Step> steps;
  Ruling otherwise;  // when no step ended it
  // The step in which the old pieces are looked for: a piece that is there and was answered to be
  // absent (for the library also: could not be asked about) is not seen, so it is not backed up.
  std::string looks_for_old;
  std::optional<Ruling> when_none_is_seen;  // ends the transaction in that step
};

Plan InstallPlan(InjectedFailure injected);
Plan RemovalPlan(InjectedFailure injected);
Plan PortableInstallPlan(InjectedFailure injected);
Plan PortableRemovalPlan(InjectedFailure injected);

// Parts of rules that several transactions share.

bool Is(const Asked& asked, Call call, const std::string& name);
std::function<bool(const Asked&, const Asked*)> StartsAt(Call call, const std::string& name);

Ruling Ends(int outcome, std::wstring message = kUntouched);
Ruling Ends(InstallOutcome outcome, std::wstring message = kUntouched);
Ruling Ends(RemovalOutcome outcome, std::wstring message = kUntouched);

// The message with which the bundle check refuses a folder on this answer, if it does.
std::optional<std::wstring> BundleCheckMessage(const Asked& asked, const std::string& folder);

// The message with which the staging copy fails on this answer, if it does.
std::optional<std::wstring> StagingCopyMessage(const Asked& asked, const std::string& source,
                                               const std::string& staging);

// Whether the creation of a folder and its missing ancestors fails on this answer, flushes that
// belong to it included.
bool FailsCreation(const Asked& asked);

// Whether a rename can be undone by a power cut after this answer: its folder was not flushed, or
// none of its files was, and the one that is asked about is there.
bool LeavesRenameOpen(const Asked& asked);

// Whether a step of a walk failed and still gave an entry.
bool KeptEntryAndFailed(const Asked& asked);

// Rules: the check of a folder as a bundle, with the check's own message.
Rule ChecksBundle(const std::string& folder, InstallOutcome outcome);
// The step's first status of this path, if it is the one given.
Rule EndsOnStatus(const std::string& name, FileStatus status, const Ruling& ruling);
// A path that cannot be resolved.
Rule EndsOnUnresolved(const Ruling& ruling);
// A move from there that was given up.
Rule EndsOnMove(const std::string& from, const Ruling& ruling);
// A guarded removal that does not remove all. A false "absent" is no failure: nothing can know.
Rule EndsOnKept(const std::string& name, const Ruling& ruling);
// What LeavesRenameOpen says.
Rule EndsOnOpenRename(const Ruling& ruling);
std::optional<Ruling> NeverEnds(const Asked& asked);

}  // namespace k7k::test
