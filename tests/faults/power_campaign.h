// Records what runs of a transaction do to the disk and judges every state that a power cut can
// leave, after each change of each run.
#pragma once

#include <unordered_map>
#include <unordered_set>

#include "campaign.h"
#include "power_judge.h"
#include "power_states.h"

namespace k7k::test {

struct PowerFigures {
  int scenarios = 0;       // states before, injected failures and triggers, combined
  int runs = 0;            // recorded: of each scenario one, and the share with one failing call
  int cuts = 0;            // moments at which the power went: after each operation and at the end
  std::size_t states = 0;  // that a cut can leave, each counted once for a state before
  int sampled = 0;         // cuts that left too many states, so that a part was judged
  std::size_t open = 0;    // the most operations that may be there or not at such a cut
  int continued = 0;       // states that the engine installed over and removed from
  int violations = 0;
  double seconds = 0;
};

// An install and a removal.
std::vector<Transaction> NextAt(Target target);

// One sandbox, the runs in it and what is known of the states that they leave.
class PowerGround {
 public:
  // Of the states that differ without their private names one in go_on_share is laid out and gone
  // on from, by the transactions that are next; of all others fewer.
  PowerGround(const Transaction& transaction, Previous previous, int go_on_share,
              std::vector<Transaction> next);

  struct Recording {
    Run run;
    Reading reading;
    std::vector<Operation> log;
    std::vector<Asked> counted;  // the calls that can fail
    bool triggered = false;
    std::string title;
  };
  Recording Record(const Scenario& scenario, const Fault& fault);

  // Judges all states of a recording, from more than `most` at once a part.
  void Judge(const Recording& recording, Order order, std::size_t most);

  const PowerFigures& figures() const { return figures_; }
  const std::vector<std::string>& violations() const { return violations_; }

 private:
  void JudgeState(const Recording& recording, const PowerJudge& judge, const PowerStates& states,
                  const State& state, const std::string& cut);
  std::string GoOn(const Tree& tree);
  bool IsToGoOn(const Tree& tree);

  const Transaction& transaction_;
  Sandbox sandbox_;
  Tree before_;
  Volume volume_;
  const int go_on_share_;
  const std::vector<Transaction> next_;
  std::map<std::string, int> stages_;
  int stage_ = 0;
  std::unordered_map<State, std::set<int>> judged_;  // in which stages
  std::unordered_set<std::string> gone_on_from_;
  PowerFigures figures_;
  std::vector<std::string> violations_;
};

class PowerCampaign {
 public:
  // One failing call in `share` is tried, so 1 stands for all; go_on_share as in PowerGround.
  PowerCampaign(Transaction transaction, int share, int go_on_share);

  PowerFigures RunAll();
  const std::vector<std::string>& violations() const { return violations_; }

 private:
  void RunScenario(PowerGround& ground, const Scenario& scenario);

  const Transaction transaction_;
  const int share_;
  const int go_on_share_;
  int faults_ = 0;
  PowerFigures figures_;
  std::vector<std::string> violations_;
};

}  // namespace k7k::test
