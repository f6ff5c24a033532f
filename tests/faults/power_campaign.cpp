#include "power_campaign.h"

#include <algorithm>
#include <chrono>

#include "share.h"

namespace k7k::test {

namespace {

constexpr std::size_t kMostStates = 1 << 12;

// One call that fails, or a move that is given up: one that is tried again changes nothing.
std::vector<Fault> FailuresOf(int number, Call call) {
  const auto fails = [=](Span span, ErrorKind kind, bool partial) {
    return Fault{number, span, kind, partial};
  };
  switch (call) {
    case Call::Move:
      return {fails(Span::SameCall, ErrorKind::AccessDenied, false)};
    case Call::Status:
    case Call::FinalPath:
      return {fails(Span::Once, ErrorKind::AccessDenied, false),
              fails(Span::Once, ErrorKind::NotFound, false)};
    case Call::Copy:
    case Call::WalkOpen:
    case Call::WalkAdvance:
      return {fails(Span::Once, ErrorKind::AccessDenied, false),
              fails(Span::Once, ErrorKind::DiskFull, true)};
    default:
      return {fails(Span::Once, ErrorKind::AccessDenied, false)};
  }
}

// The same for the same state, whichever run left it: entries at the end that are as in the
// beginning may be known to later runs alone.
State KeyOf(State state, const State& start, const Losses& losses) {
  while (!state.empty() && state.back() == start[state.size() - 1]) state.pop_back();
  for (const auto& [node, loss] : losses) {
    state += {u'\xFFFF', node, static_cast<char16_t>(loss)};
  }
  return state;
}

// A later run neither uses nor changes what has a private name.
Tree WithoutPrivate(Tree tree) {
  std::erase_if(tree, [](const auto& entry) { return entry.first.find('<') != std::string::npos; });
  return tree;
}

void Replace(Tree& tree, const std::string& name, const Tree& with) {
  std::erase_if(tree, [&](const auto& entry) { return IsAtOrBelow(entry.first, name); });
  for (const auto& [below, content] : with) tree.emplace(name + below, content);
}

}  // namespace

std::vector<Transaction> NextAt(Target target) {
  if (target == Target::Standard) return {StandardInstall(), StandardRemoval()};
  return {PortableInstall(), PortableRemoval()};
}

PowerGround::PowerGround(const Transaction& transaction, Previous previous, int go_on_share,
                         std::vector<Transaction> next)
    : transaction_(transaction),
      sandbox_(transaction.target, previous),
      before_(sandbox_.TakeAll()),
      volume_(before_),
      go_on_share_(go_on_share),
      next_(std::move(next)) {}

PowerGround::Recording PowerGround::Record(const Scenario& scenario, const Fault& fault) {
  ++figures_.runs;
  Recording recording;
  {
    CampaignDisk disk(sandbox_, scenario.trigger, fault);
    Ending& ending = recording.run.ending;
    ending.outcome = transaction_.run(sandbox_, &ending.message, scenario.injected);
    recording.run.asked = disk.asked();
    recording.triggered = disk.triggered();
    for (const std::size_t call : disk.counted_calls()) {
      recording.counted.push_back(recording.run.asked[call]);
    }
  }
  const auto& asked = recording.run.asked;
  recording.reading = ReadRun(transaction_.plan(scenario.injected), sandbox_.pieces(), asked);
  recording.log = volume_.Record(asked);
  recording.title = Text(scenario, fault, recording.counted);

  State done = volume_.start();
  for (const Operation& operation : recording.log) volume_.Apply(operation, done);
  figures_.cuts += static_cast<int>(recording.log.size()) + 1;
  const Tree now = sandbox_.TakeChanging();
  if (WithTags(now) != sandbox_.ChangingPartOf(volume_.TreeOf(done))) {
    violations_.push_back(recording.title + ": what was recorded is not what is on disk");
  }
  sandbox_.Reset(now);
  return recording;
}

void PowerGround::Judge(const Recording& recording, Order order, std::size_t most) {
  PowerStates states(volume_, order, most);
  PowerJudge judge(transaction_.removal, sandbox_, before_, recording.run, recording.reading);
  const auto judge_from = [&](std::size_t first, const std::string& cut) {
    if (states.is_sample()) {
      ++figures_.sampled;
      figures_.open = std::max(figures_.open, states.open());
    }
    stage_ = stages_.try_emplace(judge.Stage(), static_cast<int>(stages_.size())).first->second;
    for (std::size_t i = first; i < states.states().size(); ++i) {
      JudgeState(recording, judge, states, states.states()[i], cut);
    }
  };
  judge_from(0, "before anything was changed");
  for (const Operation& operation : recording.log) {
    const Asked& asked = recording.run.asked[operation.call];
    states.Pass(operation);
    judge.Pass(asked);
    judge_from(states.added(),
               "after call " + std::to_string(operation.call + 1) + ": " + Text(asked));
  }
  judge.End();
  judge_from(0, "after the end");
}

void PowerGround::JudgeState(const Recording& recording, const PowerJudge& judge,
                             const PowerStates& states, const State& state,
                             const std::string& cut) {
  for (const Losses& losses : states.LossesIn(state)) {
    std::set<int>& stages = judged_[KeyOf(state, volume_.start(), losses)];
    const bool is_new = stages.empty();
    if (!stages.insert(stage_).second) continue;
    const Tree tree = volume_.TreeOf(state, losses);
    std::string wrong = judge.WrongWith(tree);
    if (wrong.empty() && is_new && IsToGoOn(tree)) wrong = GoOn(tree);
    if (wrong.empty()) continue;
    violations_.push_back(recording.title + ", power cut " + cut + ": " + wrong);
  }
  figures_.states = judged_.size();
}

bool PowerGround::IsToGoOn(const Tree& tree) {
  std::string visible;
  for (const auto& [name, content] : WithoutPrivate(tree)) visible += name + content;
  constexpr int kOthers = 50;
  const bool is_new = gone_on_from_.insert(visible).second;
  return IsInShare(static_cast<int>(judged_.size()),
                   is_new ? go_on_share_ : go_on_share_ * kOthers);
}

// The next install puts the whole new copy in place and the next removal takes it away, with
// nothing else touched.
std::string PowerGround::GoOn(const Tree& tree) {
  ++figures_.continued;
  Tree wanted = sandbox_.ChangingPartOf(tree);
  sandbox_.LayOut(wanted);
  FaultDisk disk;
  std::string wrong;
  std::wstring detail;
  for (const Transaction& next : next_) {
    for (const Piece& piece : sandbox_.pieces()) {
      Replace(wanted, piece.place, next.removal ? Tree{} : piece.fresh);
      for (std::size_t end = 0; (end = piece.place.find('/', end)) != std::string::npos; ++end) {
        wanted.emplace(piece.place.substr(0, end), "folder");
      }
    }
    const int outcome = next.run(sandbox_, &detail, InjectedFailure::None);
    if (outcome != 0 || WithTags(sandbox_.TakeChanging()) != wanted) {
      wrong += "the next " + next.name + " ended with " + Text(Ending{outcome, detail}) + " and " +
               NamesOf(sandbox_.TakeChanging());
    }
  }
  sandbox_.Reset(sandbox_.TakeChanging());
  return wrong;
}

PowerCampaign::PowerCampaign(Transaction transaction, int share, int go_on_share)
    : transaction_(std::move(transaction)), share_(share), go_on_share_(go_on_share) {}

PowerFigures PowerCampaign::RunAll() {
  const auto start = std::chrono::steady_clock::now();
  for (const Previous previous : transaction_.states) {
    PowerGround ground(transaction_, previous, go_on_share_, NextAt(transaction_.target));
    for (const Scenario& scenario : ScenariosOver(transaction_, previous)) {
      RunScenario(ground, scenario);
    }
    const PowerFigures& more = ground.figures();
    figures_.runs += more.runs;
    figures_.cuts += more.cuts;
    figures_.states += more.states;
    figures_.sampled += more.sampled;
    figures_.open = std::max(figures_.open, more.open);
    figures_.continued += more.continued;
    violations_.insert(violations_.end(), ground.violations().begin(), ground.violations().end());
  }
  figures_.violations = static_cast<int>(violations_.size());
  figures_.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return figures_;
}

void PowerCampaign::RunScenario(PowerGround& ground, const Scenario& scenario) {
  const auto judge = [&](const PowerGround::Recording& recording) {
    for (const Order order : kOrders) {
      ground.Judge(recording, order, kMostStates);
    }
  };
  const auto whole = ground.Record(scenario, {});
  // A state can leave nothing to do for the call that the trigger waits for.
  if (scenario.trigger.fails && !whole.triggered) return;
  ++figures_.scenarios;
  judge(whole);
  for (std::size_t i = 0; i < whole.counted.size(); ++i) {
    for (const Fault& fault : FailuresOf(static_cast<int>(i) + 1, whole.counted[i].call)) {
      if (IsInShare(++faults_, share_)) judge(ground.Record(scenario, fault));
    }
  }
}

}  // namespace k7k::test
