// The sandbox as a file system keeps it: numbered files and folders, and the entries of each folder
// that point to them. A run becomes a list of the operations that change entries and of the
// flushes. By entries and not by paths, since what is deleted in a folder that was renamed is
// deleted in that folder wherever its new name has got to.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "campaign_disk.h"

namespace k7k::test {

// The number of a file or a folder; 0 stands for none.
using Node = char16_t;
constexpr Node kNone = 0;

// The node of each entry, by the entry's number.
using State = std::u16string;

struct EntryChange {
  std::size_t entry = 0;
  Node before = kNone;
  Node after = kNone;
};

struct Operation {
  std::size_t call = 0;              // the place in Asked that it is of
  Node node = kNone;                 // what is flushed, or the folder whose entries change
  std::vector<EntryChange> changes;  // none for a flush; two for a rename
  Node written = kNone;              // the file that was created with its data
};

// How the data of a file reads that was not flushed when the power went.
enum class Loss { Zeros, Empty, OlderBytes };
using Losses = std::map<Node, Loss>;

class Volume {
 public:
  explicit Volume(const Tree& tree);

  // The operations of a run that began at the tree given. Nodes and entries that are new get the
  // same numbers in every run that makes them alike.
  std::vector<Operation> Record(const std::vector<Asked>& asked);

  // The tree given, for operations that were recorded before.
  const State& start() const { return start_; }

  // Does it if each entry is what it was before it in the run; a folder that goes takes along what
  // it holds. False when it cannot be done.
  bool Apply(const Operation& operation, State& state) const;

  bool Has(const State& state, Node node) const;
  bool IsFolder(Node node) const;
  // The folders that hold it, and those that hold these.
  std::set<Node> FoldersAbove(const State& state, Node node) const;
  bool HaveSameEntries(const State& a, const State& b, Node folder) const;
  Tree TreeOf(const State& state, const Losses& losses = {}) const;

 private:
  struct Content {
    std::string text;                            // as in a Tree
    std::map<std::string, std::size_t> entries;  // of a folder, by their names
    std::vector<std::size_t> places;             // entries that have ever pointed here
  };

  Node NodeOf(const std::string& name, const std::string& text);
  Node Find(const State& state, const std::string& name) const;
  EntryChange Change(State& state, const std::string& name, Node after);
  void Rename(State& state, const Asked& asked, Operation& operation);
  void Clear(State& state, Node node) const;
  void AddTo(Tree& tree, const State& state, const Losses& losses, Node folder,
             const std::string& prefix) const;

  std::vector<Content> contents_;  // by node
  std::map<std::string, Node> nodes_;
  State start_;
};

}  // namespace k7k::test
