// Runs a transaction again and again, each time with another disk call that fails, and judges every
// run.
#pragma once

#include "judge.h"

namespace k7k::test {

struct Transaction {
  std::string name;
  Target target{};
  bool removal = false;
  std::vector<Previous> states;
  std::function<Plan(InjectedFailure)> plan;
  std::function<int(const Sandbox&, std::wstring*, InjectedFailure)> run;
  std::vector<Trigger> triggers;
};

Transaction StandardInstall();
Transaction StandardRemoval();
Transaction PortableInstall();
Transaction PortableRemoval();

struct Figures {
  int scenarios = 0;    // states, injected failures and triggers, combined
  int points = 0;       // calls at which a fault was possible, over all scenarios
  int faults = 0;       // points, how long the fault lasts, and its errors, combined
  int runs = 0;         // those that were run, and the runs without a fault
  int unseen_lost = 0;  // in which an old piece was lost that the disk had denied
  int violations = 0;
  double seconds = 0;
};

// What one run is made of.
struct Scenario {
  const Transaction* transaction = nullptr;
  Previous previous{};
  InjectedFailure injected{};
  Trigger trigger;
};

// All over one state: without a failure, with each injected one, and with each trigger.
std::vector<Scenario> ScenariosOver(const Transaction& transaction, Previous previous);

// In words; `counted` are the calls that the fault counts.
std::string Text(const Scenario& scenario, const Fault& fault, const std::vector<Asked>& counted);

class Campaign {
 public:
  // One fault in `share` is run, so 1 stands for all.
  Campaign(Transaction transaction, int share);

  Figures RunAll();
  const std::vector<std::string>& violations() const { return violations_; }

  // One run, judged: what is wrong with it.
  std::vector<std::string> RunOnce(Sandbox& sandbox, const Scenario& scenario, const Fault& fault);

 private:
  Run MakeRun(const Sandbox& sandbox, const Scenario& scenario, const Fault& fault);
  std::vector<std::string> JudgeAndReset(Sandbox& sandbox, const Scenario& scenario, Run& run);
  void RunScenario(Sandbox& sandbox, const Scenario& scenario);
  void Try(Sandbox& sandbox, const Scenario& scenario, const Fault& fault);
  void Note(const Scenario& scenario, const Fault& fault, const std::string& wrong);

  Transaction transaction_;
  int share_;
  Figures figures_;
  std::vector<std::string> violations_;
  // Of the last run.
  std::vector<Asked> counted_;
  bool reached_ = false;
  bool triggered_ = false;
  int since_whole_look_ = 0;
};

}  // namespace k7k::test
