#include "power_states.h"

#include <algorithm>
#include <utility>

namespace k7k::test {

PowerStates::PowerStates(const Volume& volume, Order order, std::size_t most)
    : volume_(volume), order_(order), most_(most), done_(volume.start()) {
  Add(done_);
}

void PowerStates::Add(State state) {
  if (known_.insert(state).second) states_.push_back(std::move(state));
}

void PowerStates::KeepIf(const std::function<bool(const State&)>& may_be) {
  const auto gone = std::erase_if(states_, [&](const State& state) { return !may_be(state); });
  if (gone > 0) known_ = {states_.begin(), states_.end()};
}

std::size_t PowerStates::open() const {
  return static_cast<std::size_t>(std::count(is_flushed_.begin(), is_flushed_.end(), false));
}

// The folders whose entries a flush covers.
std::set<Node> PowerStates::Covered(Node node) const {
  if (order_ != Order::AnyUntilAFileBelow) return {node};
  return volume_.IsFolder(node) ? std::set<Node>() : volume_.FoldersAbove(done_, node);
}

void PowerStates::PassFlush(Node node) {
  unflushed_.erase(node);
  const std::set<Node> covered = Covered(node);
  for (std::size_t i = 0; i < changes_.size(); ++i) {
    if (order_ == Order::Kept || covered.contains(changes_[i].node)) is_flushed_[i] = true;
  }
  KeepIf([&](const State& state) {
    if (order_ == Order::Kept) return state == done_;
    return std::all_of(covered.begin(), covered.end(), [&](Node folder) {
      return !volume_.Has(state, folder) || volume_.HaveSameEntries(state, done_, folder);
    });
  });
  added_ = states_.size();
}

void PowerStates::Pass(const Operation& operation) {
  if (operation.changes.empty()) return PassFlush(operation.node);
  if (operation.written != kNone) unflushed_.insert(operation.written);
  changes_.push_back(operation);
  is_flushed_.push_back(false);
  added_ = states_.size();
  const auto add_after = [&](const State& before) {
    State after = before;
    if (volume_.Apply(operation, after)) Add(std::move(after));
  };
  if (order_ == Order::Kept) {
    add_after(done_);
  } else {
    for (std::size_t i = 0; i < added_; ++i) add_after(states_[i]);
  }
  volume_.Apply(operation, done_);
  if (states_.size() > most_) TakeSample();
}

void PowerStates::TakeSample() {
  is_sample_ = true;
  auto all = std::exchange(states_, {});
  known_.clear();
  AddExtremes();
  std::shuffle(all.begin(), all.end(), random_);
  for (State& state : all) {
    if (states_.size() < most_) Add(std::move(state));
  }
  added_ = 0;
}

void PowerStates::AddExtremes() {
  Add(With([](std::size_t) { return false; }));
  Add(done_);
  for (std::size_t i = 0; i < changes_.size(); ++i) {
    if (is_flushed_[i]) continue;
    Add(With([&](std::size_t change) { return change != i; }));
    const auto needed = Needed(i);
    Add(With([&](std::size_t change) { return needed.contains(change); }));
  }
}

State PowerStates::With(const std::function<bool(std::size_t)>& is_there) const {
  State state = volume_.start();
  for (std::size_t i = 0; i < changes_.size(); ++i) {
    if (is_flushed_[i] || is_there(i)) volume_.Apply(changes_[i], state);
  }
  return state;
}

// The changes without which the last one cannot be: of the same entries, and those that put the
// folder of a needed one where it is.
std::set<std::size_t> PowerStates::Needed(std::size_t last) const {
  const auto is_needed_by = [](const Operation& earlier, const Operation& later) {
    const auto& changes = earlier.changes;
    return std::any_of(changes.begin(), changes.end(), [&](const EntryChange& change) {
      return change.after == later.node ||
             std::any_of(later.changes.begin(), later.changes.end(),
                         [&](const EntryChange& other) { return other.entry == change.entry; });
    });
  };
  std::set<std::size_t> needed{last};
  for (std::size_t i = last; i-- > 0;) {
    if (std::any_of(needed.begin(), needed.end(), [&](std::size_t later) {
          return is_needed_by(changes_[i], changes_[later]);
        })) {
      needed.insert(i);
    }
  }
  return needed;
}

std::vector<Losses> PowerStates::LossesIn(const State& state) const {
  std::vector<Losses> found(1);
  for (const Loss loss : {Loss::Zeros, Loss::Empty, Loss::OlderBytes}) {
    Losses all;
    for (const Node node : unflushed_) {
      if (volume_.Has(state, node)) all.emplace(node, loss);
    }
    if (all.empty()) continue;
    found.push_back(all);
    for (const auto& one : all) {
      if (all.size() > 1) found.push_back({one});
    }
  }
  return found;
}

}  // namespace k7k::test
