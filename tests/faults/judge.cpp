#include "judge.h"

#include <algorithm>

namespace k7k::test {

namespace {

constexpr int kAttempts = 20;

bool SameCall(const Asked& a, const Asked& b) {
  return a.call == b.call && a.name == b.name && a.to == b.to;
}

// Follows the steps of a plan through the calls of a run.
class Reader {
 public:
  Reader(const Plan& plan, const std::vector<Piece>& pieces) : plan_(plan), pieces_(pieces) {}

  // False when the transaction had to end here.
  bool Follow(Asked asked, const Asked* previous) {
    EnterStep(asked, previous);
    asked.nth = 1 + static_cast<int>(
                        std::count_if(in_step_.begin(), in_step_.end(), [&](const Asked& earlier) {
                          return earlier.call == asked.call && earlier.name == asked.name;
                        }));
    asked.repeated = previous != nullptr && SameCall(asked, *previous);
    asked.seen = seen_;
    in_step_.push_back(asked);

    const Step& step = plan_.steps[step_];
    const std::optional<Ruling> ruling = step.rule(asked);
    if (ruling) ruling_ = ruling;
    if (!ruling && step.name == plan_.looks_for_old) LookForOld(asked);
    if (!ruling_) return true;
    reading_.step = step.name;
    return !ruling_->final;
  }

  Reading Finish(const std::vector<Asked>& asked) {
    for (std::size_t i = step_ + 1; !ruling_ && i < plan_.steps.size(); ++i) {
      if (!plan_.steps[i].optional) reading_.left_out = plan_.steps[i].name;
    }
    const Ruling ruling = ruling_.value_or(plan_.otherwise);
    reading_.expected = ruling.ending;
    const int error = ErrorOfUndo(asked);
    if (error != 0 && ruling.unless_restored) {
      reading_.expected = *ruling.unless_restored;
      if (ruling.with_code) reading_.expected.message += std::to_wstring(error);
    }
    return reading_;
  }

 private:
  void EnterStep(const Asked& asked, const Asked* previous) {
    for (std::size_t next = step_ + 1; next < plan_.steps.size(); ++next) {
      if (plan_.steps[next].starts(asked, previous)) {
        step_ = next;
        in_step_.clear();
        return;
      }
      if (!plan_.steps[next].optional) return;
    }
  }

  void LookForOld(const Asked& asked) {
    for (const Piece& piece : pieces_) {
      if (!Is(asked, Call::Status, piece.place) || asked.nth != 1) continue;
      ++looked_for_;
      if (asked.answer) seen_.insert(piece.place);
      if (asked.failed && !piece.old.empty()) reading_.unseen.insert(piece.place);
    }
    const bool all = looked_for_ == static_cast<int>(pieces_.size());
    if (all && seen_.empty() && plan_.when_none_is_seen) ruling_ = plan_.when_none_is_seen;
  }

  // The last error of a move back that was given up; 0 when each worked.
  int ErrorOfUndo(const std::vector<Asked>& asked) const {
    for (const Piece& piece : pieces_) {
      for (const std::string& backup : {piece.backup, piece.removal}) {
        if (GaveUpMove(asked, backup, piece.place)) {
          return std::find_if(asked.rbegin(), asked.rend(),
                              [&](const Asked& call) { return Is(call, Call::Move, backup); })
              ->error;
        }
      }
    }
    return 0;
  }

  const Plan& plan_;
  const std::vector<Piece>& pieces_;
  Reading reading_;
  std::optional<Ruling> ruling_;
  std::vector<Asked> in_step_;
  std::size_t step_ = 0;
  int looked_for_ = 0;
  std::set<std::string> seen_;  // places of old pieces
};

const char* Name(Call call) {
  switch (call) {
    case Call::Status:
      return "Status";
    case Call::IsReparsePoint:
      return "IsReparsePoint";
    case Call::FinalPath:
      return "FinalPath";
    case Call::Size:
      return "Size";
    case Call::WalkOpen:
      return "WalkOpen";
    case Call::WalkAdvance:
      return "WalkAdvance";
    case Call::CreateFolder:
      return "CreateFolder";
    case Call::Copy:
      return "Copy";
    case Call::Flush:
      return "Flush";
    case Call::Move:
      return "Move";
    case Call::Remove:
      return "Remove";
    case Call::OpenInput:
      return "OpenInput";
    case Call::Read:
      return "Read";
    case Call::OpenOutput:
      return "OpenOutput";
    case Call::Write:
      return "Write";
  }
  return "?";
}

}  // namespace

Reading ReadRun(const Plan& plan, const std::vector<Piece>& pieces,
                const std::vector<Asked>& asked) {
  Reader reader(plan, pieces);
  bool going = true;
  int attempt = 0;
  int retries = 0;
  bool given_up = false;
  std::string wrong;
  for (std::size_t i = 0; i < asked.size(); ++i) {
    const Asked* previous = i > 0 ? &asked[i - 1] : nullptr;
    const bool another = attempt > 0 && SameCall(asked[i], *previous);
    if (attempt > 0 && !another) wrong = Text(*previous) + " was given up too early";
    if (another) ++retries;
    attempt = another ? attempt + 1 : 1;
    const bool failed_move = asked[i].call == Call::Move && !asked[i].answer;
    if (given_up && SameCall(asked[i], *previous)) wrong = Text(asked[i]) + " was tried too often";
    given_up = failed_move && attempt == kAttempts;
    if (!failed_move || given_up) attempt = 0;
    if (going && (!failed_move || given_up)) going = reader.Follow(asked[i], previous);
  }
  if (attempt > 0) wrong = Text(asked.back()) + " was given up too early";
  Reading reading = reader.Finish(asked);
  reading.retries = retries;
  reading.wrong_attempts = wrong;
  return reading;
}

bool GaveUpMove(const std::vector<Asked>& asked, const std::string& from, const std::string& to) {
  const auto last = std::find_if(asked.rbegin(), asked.rend(), [&](const Asked& call) {
    return Is(call, Call::Move, from) && call.to == to;
  });
  return last != asked.rend() && !last->answer;
}

Verdict Judge(const Plan& plan, bool removal, const Sandbox& sandbox, const Run& run) {
  const Reading reading = ReadRun(plan, sandbox.pieces(), run.asked);
  Verdict verdict = CheckTree(removal, sandbox, reading, run);
  std::vector<std::string>& wrong = verdict.wrong;
  if (!(run.ending == reading.expected)) {
    wrong.push_back("ended with " + Text(run.ending) + " instead of " + Text(reading.expected) +
                    (reading.step.empty() ? "" : " in the step \"" + reading.step + "\""));
  }
  if (!reading.left_out.empty())
    wrong.push_back("the step \"" + reading.left_out + "\" never came");
  if (!reading.wrong_attempts.empty()) wrong.push_back(reading.wrong_attempts);
  if (run.pauses != reading.retries || !run.only_right_pauses) {
    wrong.push_back(std::to_string(run.pauses) + " pauses for " + std::to_string(reading.retries) +
                    " retries, or one not of 25 ms");
  }
  return verdict;
}

std::string Text(const Asked& asked) {
  std::string text = std::string(Name(asked.call)) + " " + asked.name;
  if (!asked.to.empty()) text += " -> " + asked.to;
  return text;
}

std::string Text(const Ending& ending) {
  // The messages are ASCII.
  std::string text = std::to_string(ending.outcome) + " \"";
  for (const wchar_t letter : ending.message) text += static_cast<char>(letter);
  return text + "\"";
}

}  // namespace k7k::test
