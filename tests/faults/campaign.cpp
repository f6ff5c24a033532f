#include "campaign.h"

#include <array>
#include <chrono>

#include "share.h"
#include "support/bundle_facts.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"
#include "txn/standard_install.h"
#include "txn/standard_removal.h"

namespace k7k::test {

namespace {

constexpr auto kAfterBackup = InjectedFailure::AfterBackup;
constexpr auto kAfterDllCommit = InjectedFailure::AfterDllCommit;

// What is outside the changing part is never put back, so damage to it still shows at the end of a
// batch.
constexpr int kBatch = 25;

Trigger FailsAt(std::string text, Call call, std::string name, std::string to = {}) {
  return {std::move(text), [=](const Asked& asked) {
            return asked.call == call && asked.name == name && (to.empty() || asked.to == to);
          }};
}

std::string InParent(const char* parent, const char* tag) {
  return std::string(parent) + "/<" + tag + ">";
}

// The end of the last required file's name in the plugin's data folder.
std::string LastDataFile() { return "/" + std::string(BelowData(kFiles.back())); }

// All faults that are tried at one call.
std::vector<Fault> FaultsAt(int number, Call call) {
  std::vector<Fault> faults;
  const auto add = [&](Span span, ErrorKind kind, bool partial) {
    faults.push_back({number, span, kind, partial});
  };
  const bool query = call == Call::Status || call == Call::FinalPath;
  for (const ErrorKind kind : kErrorKinds) {
    if (call == Call::Move) {
      add(Span::Once, kind, false);
      add(Span::SameCall, kind, false);
    }
    add(Span::FromNowOn, kind, false);
  }
  if (call != Call::Move) add(Span::Once, ErrorKind::AccessDenied, false);
  if (query) {
    add(Span::Once, ErrorKind::NotFound, false);
    add(Span::SameCall, ErrorKind::AccessDenied, false);
    add(Span::SameCall, ErrorKind::NotFound, false);
  }
  if (call == Call::Copy || call == Call::WalkOpen || call == Call::WalkAdvance) {
    add(Span::Once, ErrorKind::DiskFull, true);
    add(Span::FromNowOn, ErrorKind::DiskFull, true);
  }
  return faults;
}

}  // namespace

Transaction StandardInstall() {
  const auto staging = InParent(kPluginParent, "staging");
  const auto backup = InParent(kPluginParent, "backup");
  return {"InstallPlugin",
          Target::Standard,
          false,
          {Previous::Nothing, Previous::Older, Previous::Damaged, Previous::HalfACopy,
           Previous::ReadOnlyFiles},
          InstallPlan,
          [](const Sandbox& sandbox, std::wstring* detail, InjectedFailure injected) {
            return static_cast<int>(
                InstallPlugin(sandbox.At(kBundle), sandbox.At(kPluginParent), detail, injected));
          },
          {FailsAt("the staged check fails", Call::OpenInput, staging + "/manifest.sha256"),
           FailsAt("the backup fails", Call::Move, kPluginFolder, backup),
           FailsAt("the swap fails", Call::Move, staging),
           FailsAt("the installed check fails", Call::Size,
                   std::string(kPluginFolder) + "/manifest.sha256"),
           FailsAt("the swap is not made durable", Call::Flush, kPluginParent)}};
}

Transaction StandardRemoval() {
  const auto backup = InParent(kPluginParent, "remove-backup");
  return {"RemovePlugin",
          Target::Standard,
          true,
          {Previous::Nothing, Previous::Older, Previous::Damaged, Previous::HalfACopy,
           Previous::ReadOnlyFiles},
          RemovalPlan,
          [](const Sandbox& sandbox, std::wstring* detail, InjectedFailure injected) {
            return static_cast<int>(RemovePlugin(sandbox.At(kPluginParent), detail, injected));
          },
          {FailsAt("the isolation is not made durable", Call::Flush, kPluginParent),
           FailsAt("the deletion fails half-way", Call::Remove, backup + "/bin"),
           FailsAt("the deletion fails at the end", Call::Remove, backup)}};
}

Transaction PortableInstall() {
  const auto dll_staging = InParent(kDllParent, "portable-dll-staging");
  const auto data_staging = InParent(kDataParent, "portable-data-staging");
  return {"InstallPortablePlugin",
          Target::Portable,
          false,
          {Previous::Nothing, Previous::Older, Previous::Damaged, Previous::HalfACopy,
           Previous::TheOtherHalf, Previous::ReadOnlyFiles},
          PortableInstallPlan,
          [](const Sandbox& sandbox, std::wstring* detail, InjectedFailure injected) {
            return static_cast<int>(
                InstallPortablePlugin(sandbox.At(kBundle), sandbox.At(kObsRoot), detail, injected));
          },
          {FailsAt("the staged check fails", Call::Size, data_staging + LastDataFile()),
           FailsAt("the DLL backup fails", Call::Move, kDll),
           FailsAt("the data backup fails", Call::Move, kData),
           FailsAt("the DLL commit fails", Call::Move, dll_staging),
           FailsAt("the data commit fails", Call::Move, data_staging),
           FailsAt("the verification fails", Call::Size, kData + LastDataFile()),
           FailsAt("the swap is not made durable", Call::Flush, kDataParent)}};
}

Transaction PortableRemoval() {
  return {"RemovePortablePlugin",
          Target::Portable,
          true,
          {Previous::Nothing, Previous::Older, Previous::Damaged, Previous::HalfACopy,
           Previous::TheOtherHalf, Previous::ReadOnlyFiles},
          PortableRemovalPlan,
          [](const Sandbox& sandbox, std::wstring* detail, InjectedFailure injected) {
            return static_cast<int>(RemovePortablePlugin(sandbox.At(kObsRoot), detail, injected));
          },
          {FailsAt("the data isolation fails", Call::Move, kData),
           FailsAt("the isolation is not made durable", Call::Flush, kDllParent),
           FailsAt("the DLL deletion fails", Call::Remove,
                   InParent(kDllParent, "portable-remove-dll"))}};
}

std::vector<Scenario> ScenariosOver(const Transaction& transaction, Previous previous) {
  std::vector<Scenario> scenarios;
  for (const auto injected : {InjectedFailure::None, kAfterBackup, kAfterDllCommit}) {
    scenarios.push_back({&transaction, previous, injected, {}});
  }
  for (const Trigger& trigger : transaction.triggers) {
    scenarios.push_back({&transaction, previous, InjectedFailure::None, trigger});
  }
  return scenarios;
}

std::string Text(const Scenario& scenario, const Fault& fault, const std::vector<Asked>& counted) {
  constexpr std::array kStates{"nothing",     "older",          "damaged",
                               "half a copy", "the other half", "read-only files"};
  constexpr std::array kSpans{"once", "the same call from then on", "from then on"};
  constexpr std::array kKinds{"access denied", "sharing violation", "disk full",
                              "I/O error",     "not found",         "not empty"};
  std::string text = scenario.transaction->name +
                     ", previous: " + kStates[static_cast<std::size_t>(scenario.previous)] +
                     ", injected " + std::to_string(static_cast<unsigned>(scenario.injected));
  if (scenario.trigger.fails) text += ", " + scenario.trigger.text;
  if (fault.at > 0) {
    text += ", then call " + std::to_string(fault.at) + " fails ";
    text += kSpans[static_cast<std::size_t>(fault.span)];
    text += std::string(" with ") + kKinds[static_cast<std::size_t>(fault.kind)];
    if (fault.partial) text += " (partial)";
    const auto call = static_cast<std::size_t>(fault.at) - 1;
    if (call < counted.size()) text += ": " + Text(counted[call]);
  }
  return text;
}

Campaign::Campaign(Transaction transaction, int share)
    : transaction_(std::move(transaction)), share_(share) {}

Figures Campaign::RunAll() {
  const auto start = std::chrono::steady_clock::now();
  for (const Previous previous : transaction_.states) {
    Sandbox sandbox(transaction_.target, previous);
    const auto scenarios = ScenariosOver(transaction_, previous);
    for (const Scenario& scenario : scenarios) RunScenario(sandbox, scenario);
    const std::string damage = sandbox.DamageOutside(sandbox.TakeAll());
    if (!damage.empty()) Note(scenarios.back(), {}, damage + ", in one of the last runs");
  }
  figures_.violations = static_cast<int>(violations_.size());
  figures_.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return figures_;
}

void Campaign::RunScenario(Sandbox& sandbox, const Scenario& scenario) {
  Try(sandbox, scenario, {});
  // A state can leave nothing to do for the call that the trigger waits for.
  if (scenario.trigger.fails && !triggered_) return;

  const std::vector<Asked> counted = counted_;
  ++figures_.scenarios;
  figures_.points += static_cast<int>(counted.size());
  for (std::size_t i = 0; i < counted.size(); ++i) {
    for (const Fault& fault : FaultsAt(static_cast<int>(i) + 1, counted[i].call)) {
      if (!IsInShare(++figures_.faults, share_)) continue;
      Try(sandbox, scenario, fault);
      if (!reached_) Note(scenario, fault, "the fault was not reached");
    }
  }
  const Fault beyond{static_cast<int>(counted.size()) + 1, Span::FromNowOn, ErrorKind::AccessDenied,
                     false};
  Try(sandbox, scenario, beyond);
  if (reached_) Note(scenario, beyond, "there was a call more than in the run without a fault");
}

void Campaign::Try(Sandbox& sandbox, const Scenario& scenario, const Fault& fault) {
  ++figures_.runs;
  for (const std::string& wrong : RunOnce(sandbox, scenario, fault)) Note(scenario, fault, wrong);
}

Run Campaign::MakeRun(const Sandbox& sandbox, const Scenario& scenario, const Fault& fault) {
  Run run;
  const int handles = OpenHandles();
  {
    CampaignDisk disk(sandbox, scenario.trigger, fault);
    run.ending.outcome = transaction_.run(sandbox, &run.ending.message, scenario.injected);
    run.asked = disk.asked();
    run.pauses = static_cast<int>(disk.pauses.size());
    for (const auto pause : disk.pauses) {
      if (pause != std::chrono::milliseconds(25)) run.only_right_pauses = false;
    }
    reached_ = disk.reached();
    triggered_ = disk.triggered();
    counted_.clear();
    for (const std::size_t call : disk.counted_calls()) counted_.push_back(run.asked[call]);
  }
  run.handles_left = OpenHandles() - handles;
  return run;
}

std::vector<std::string> Campaign::RunOnce(Sandbox& sandbox, const Scenario& scenario,
                                           const Fault& fault) {
  Run run = MakeRun(sandbox, scenario, fault);
  auto wrong = JudgeAndReset(sandbox, scenario, run);
  if (run.handles_left != 0) {
    // The system opens some handles when they are first needed. A leak comes every time.
    run = MakeRun(sandbox, scenario, fault);
    const auto more = JudgeAndReset(sandbox, scenario, run);
    wrong.insert(wrong.end(), more.begin(), more.end());
    if (run.handles_left != 0) {
      wrong.push_back(std::to_string(run.handles_left) + " more handles open than before");
    }
  }
  return wrong;
}

std::vector<std::string> Campaign::JudgeAndReset(Sandbox& sandbox, const Scenario& scenario,
                                                 Run& run) {
  const bool whole = !OpeningFilesIsSlow() || ++since_whole_look_ >= kBatch;
  const Tree all = whole ? sandbox.TakeAll() : Tree{};
  const Tree changing = whole ? sandbox.ChangingPartOf(all) : sandbox.TakeChanging();
  run.after = WithTags(changing);
  Verdict verdict = Judge(transaction_.plan(scenario.injected), transaction_.removal, sandbox, run);
  std::vector<std::string>& wrong = verdict.wrong;
  if (verdict.lost_unseen) ++figures_.unseen_lost;
  if (whole) {
    since_whole_look_ = 0;
    const std::string damage = sandbox.DamageOutside(all);
    if (!damage.empty()) wrong.push_back(damage + (OpeningFilesIsSlow() ? ", here or before" : ""));
  }
  if (changing != sandbox.before()) sandbox.Reset(changing);
  return wrong;
}

void Campaign::Note(const Scenario& scenario, const Fault& fault, const std::string& wrong) {
  violations_.push_back(Text(scenario, fault, counted_) + ": " + wrong);
}

}  // namespace k7k::test
