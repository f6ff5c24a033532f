// The real disk with one planned fault, which keeps what it was asked and what it answered.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "fault_platform.h"
#include "sandbox.h"
#include "support/fault_disk.h"

namespace k7k::test {

enum class Span {
  Once,       // the call alone
  SameCall,   // it and every later call of its kind about the same paths
  FromNowOn,  // it and every later call
};

struct Fault {
  int at = 0;  // the number of the call that fails first, counted from 1; 0: no fault
  Span span = Span::Once;
  ErrorKind kind = ErrorKind::AccessDenied;  // NotFound makes queries answer Absent
  // A failed copy leaves half a file; a failed step of a walk keeps its entry.
  bool partial = false;
};

// One call: what was asked, by the names of the sandbox, and the answer, true or false.
struct Asked {
  Call call{};
  std::string name;
  std::string to;
  bool failed = false;  // on purpose
  bool answer = true;   // false: no, or it did not work
  FileStatus status{};  // of Status and FinalPath
  int error = 0;        // of Move
  // Failed in part: a step of a walk that still gives an entry, a copy that left half a file.
  bool in_part = false;
  bool at_end = false;  // a failed step of a walk that had nothing left to give
  // Counted by the judge: which call of this kind with this name this is in its step, whether the
  // call before was the same, and the places of the old pieces that were seen before it.
  int nth = 0;
  bool repeated = false;
  std::set<std::string> seen;
};

// A call that fails, and goes on failing, before the fault is counted: it sends the transaction
// into its undoing, so that the fault hits there.
struct Trigger {
  std::string text;
  std::function<bool(const Asked&)> fails;
};

class CampaignDisk : public FaultDisk {
 public:
  CampaignDisk(const Sandbox& sandbox, const Trigger& trigger, const Fault& fault);

  const std::vector<Asked>& asked() const { return asked_; }
  bool reached() const { return reached_; }
  bool triggered() const { return triggered_; }
  // The calls that were counted, by their places in asked(); with a trigger, from its first failure
  // on.
  const std::vector<std::size_t>& counted_calls() const { return counted_calls_; }

  FileStatus Status(const Path& path) override;
  FinalPathAnswer FinalPath(const Path& path) override;
  std::optional<std::uint64_t> Size(const Path& path) override;
  bool CreateFolder(const Path& path) override;
  bool Copy(const Path& from, const Path& to) override;
  bool Flush(const Path& path) override;
  int Move(const Path& from, const Path& to) override;
  std::unique_ptr<std::istream> OpenInput(const Path& path) override;

 private:
  bool Decide(const DiskCall& call);
  bool IsHit(const Asked& asked);
  void PrepareFailure(const Fault& fault);
  static void WriteHalf(const DiskCall& copy);
  bool WalkIsAtEnd(const DiskCall& call) const;

  const Sandbox& sandbox_;
  const Trigger& trigger_;
  const Fault fault_;
  std::vector<Asked> asked_;
  std::vector<std::size_t> counted_calls_;
  Path walk_root_;
  std::size_t first_hit_ = 0;
  int counted_ = 0;
  bool reached_ = false;
  bool triggered_ = false;
};

}  // namespace k7k::test
