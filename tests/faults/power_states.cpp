#include "power_states.h"

#include <algorithm>

namespace k7k::test {

PowerStates::PowerStates(const Volume& volume, Order order, std::size_t most)
    : volume_(volume), order_(order), most_(most), done_(volume.start()) {
  Add(done_);
}

void PowerStates::Add(State state) {
  if (known_.insert(state).second) states_.push_back(std::move(state));
}

void PowerStates::KeepIf(const std::function<bool(const State&)>& may_be) {
  std::erase_if(states_, [&](const State& state) { return !may_be(state); });
  known_ = {states_.begin(), states_.end()};
}

void PowerStates::PassFlush(Node node) {
  unflushed_.erase(node);
  KeepIf([&](const State& state) {
    if (order_ == Order::Kept) return state == done_;
    return !volume_.Has(state, node) || volume_.HaveSameEntries(state, done_, node);
  });
  added_ = states_.size();
}

void PowerStates::Pass(const Operation& operation) {
  if (operation.changes.empty()) return PassFlush(operation.node);
  if (operation.written != kNone) unflushed_.insert(operation.written);
  added_ = states_.size();
  const auto before = order_ == Order::Kept ? std::vector<State>{done_} : states_;
  volume_.Apply(operation, done_);
  for (State state : before) {
    if (volume_.Apply(operation, state)) Add(std::move(state));
  }
  if (states_.size() > most_) TakeSample();
}

// With what is there when nothing and when everything got to the medium.
void PowerStates::TakeSample() {
  is_sample_ = true;
  std::shuffle(states_.begin() + 1, states_.end(), random_);
  states_.resize(most_ - 1);
  known_ = {states_.begin(), states_.end()};
  Add(done_);
  added_ = 0;
}

std::vector<Losses> PowerStates::LossesIn(const State& state) {
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
