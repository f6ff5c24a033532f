// The states in which a power cut can leave the disk while a run goes on.
#pragma once

#include <array>
#include <random>
#include <set>
#include <unordered_set>

#include "volume.h"

namespace k7k::test {

// What is known of the order in which operations get to the medium by themselves, without a flush,
// and of what a flush covers.
enum class Order {
  // As they were done: any first part of them may be there. A flush of anything takes all that came
  // before along, but file data only of that file.
  Kept,
  // Any: each operation may be there or not, if the entries that it changes are as they were before
  // it. A flush covers the entries of that folder, or the data of that file.
  Any,
  // Any, where the flush of a folder covers nothing, and that of a file covers, besides its data,
  // the entries of all folders above it.
  AnyUntilAFileBelow,
};

inline constexpr std::array kOrders{Order::Kept, Order::Any, Order::AnyUntilAFileBelow};

class PowerStates {
 public:
  // From more than `most` states at once a part is chosen, the same one each time: those in which
  // all operations are there, none, all but one, and one with those that it needs; and some others.
  PowerStates(const Volume& volume, Order order, std::size_t most);

  // The next operation is done, and a flush has come back: a cut comes after it.
  void Pass(const Operation& operation);

  // What a cut can leave now, apart from the data of files. The last operation may have added the
  // states from the place `added` on.
  const std::vector<State>& states() const { return states_; }
  std::size_t added() const { return added_; }

  // What the files that were not flushed can read as in a state: all as they were written, all the
  // same other way, and one alone each other way.
  std::vector<Losses> LossesIn(const State& state) const;

  bool is_sample() const { return is_sample_; }
  // How many operations may be there or not.
  std::size_t open() const;

 private:
  void Add(State state);
  void KeepIf(const std::function<bool(const State&)>& may_be);
  std::set<Node> Covered(Node node) const;
  void PassFlush(Node node);
  void TakeSample();
  void AddExtremes();
  State With(const std::function<bool(std::size_t)>& is_there) const;
  std::set<std::size_t> Needed(std::size_t last) const;

  const Volume& volume_;
  const Order order_;
  const std::size_t most_;
  State done_;  // when all is on the medium
  std::vector<Operation> changes_;
  std::vector<bool> is_flushed_;  // of each of them
  std::vector<State> states_;
  std::unordered_set<State> known_;
  std::size_t added_ = 0;
  std::set<Node> unflushed_;
  bool is_sample_ = false;
  std::mt19937 random_;  // always with the same seed
};

}  // namespace k7k::test
