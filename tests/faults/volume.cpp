#include "volume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace k7k::test {

namespace {

constexpr Node kRoot = 1;
constexpr std::string_view kFile = "file ";

std::string FolderOf(const std::string& name) {
  const std::size_t end = name.rfind('/');
  return end == std::string::npos ? "" : name.substr(0, end);
}

std::string LastName(const std::string& name) { return name.substr(name.rfind('/') + 1); }

// A file of a tree with other bytes; what stands behind them there, a mark, stays.
std::string WithBytes(const std::string& text, const std::function<void(std::string&)>& change) {
  const std::string bare = WithoutMarks({{"", text}}).at("");
  std::string bytes = bare.substr(kFile.size());
  change(bytes);
  return std::string(kFile) + bytes + text.substr(bare.size());
}

std::string Lost(const std::string& text, Loss loss) {
  return WithBytes(text, [&](std::string& bytes) {
    if (loss == Loss::Empty) bytes.clear();
    for (char& byte : bytes) byte = loss == Loss::Zeros ? '\0' : '?';
  });
}

}  // namespace

Volume::Volume(const Tree& tree) : contents_{{}, {"folder", {}, {}}} {
  // A folder stands before what it holds.
  for (const auto& [name, text] : tree) Change(start_, name, NodeOf(name, text));
}

Node Volume::NodeOf(const std::string& name, const std::string& text) {
  const auto next = static_cast<Node>(contents_.size());
  const auto [found, is_new] = nodes_.try_emplace(name + " " + text, next);
  if (is_new) contents_.push_back({text, {}, {}});
  return found->second;
}

Node Volume::Find(const State& state, const std::string& name) const {
  if (name.empty()) return kRoot;
  const auto& entries = contents_[Find(state, FolderOf(name))].entries;
  const auto entry = entries.find(LastName(name));
  return entry == entries.end() ? kNone : state[entry->second];
}

EntryChange Volume::Change(State& state, const std::string& name, Node after) {
  auto& entries = contents_[Find(state, FolderOf(name))].entries;
  const auto [found, is_new] = entries.try_emplace(LastName(name), start_.size());
  const std::size_t entry = found->second;
  if (is_new) start_.push_back(kNone);
  state.resize(start_.size());
  auto& places = contents_[after].places;
  if (after != kNone && std::find(places.begin(), places.end(), entry) == places.end()) {
    places.push_back(entry);
  }
  const EntryChange change{entry, state[entry], after};
  state[entry] = after;
  return change;
}

void Volume::Rename(State& state, const Asked& asked, Operation& operation) {
  EXPECT_EQ(FolderOf(asked.name), FolderOf(asked.to)) << "a rename is modelled within a folder";
  const Node node = Find(state, asked.name);
  operation.changes = {Change(state, asked.name, kNone), Change(state, asked.to, node)};
}

std::vector<Operation> Volume::Record(const std::vector<Asked>& asked) {
  std::vector<Operation> log;
  State state = start_;
  for (std::size_t i = 0; i < asked.size(); ++i) {
    const Asked& call = asked[i];
    const Node node = Find(state, call.name);
    Operation operation;
    operation.call = i;
    operation.node = Find(state, FolderOf(call.to.empty() ? call.name : call.to));
    if (call.call == Call::Flush && call.answer && node != kNone) {
      operation.node = node;
    } else if (call.call == Call::CreateFolder && call.answer && node == kNone) {
      operation.changes = {Change(state, call.name, NodeOf(call.name, "folder"))};
    } else if (call.call == Call::Copy && (call.answer || call.in_part)) {
      std::string text = contents_[node].text;
      if (!call.answer) {
        text = WithBytes(text, [](std::string& bytes) { bytes.resize(bytes.size() / 2); });
        text = WithoutMarks({{"", text}}).at("");
      }
      operation.written = NodeOf(call.to, text);
      operation.changes = {Change(state, call.to, operation.written)};
    } else if (call.call == Call::Move && call.answer) {
      Rename(state, call, operation);
    } else if (call.call == Call::Remove && call.answer && node != kNone) {
      operation.changes = {Change(state, call.name, kNone)};
    } else {
      continue;
    }
    log.push_back(std::move(operation));
  }
  return log;
}

bool Volume::Has(const State& state, Node node) const {
  const auto& places = contents_[node].places;
  return node == kRoot || std::any_of(places.begin(), places.end(),
                                      [&](std::size_t entry) { return state[entry] == node; });
}

bool Volume::IsFolder(Node node) const { return contents_[node].text.starts_with("folder"); }

std::set<Node> Volume::FoldersAbove(const State& state, Node node) const {
  std::set<Node> above;
  for (Node folder = kRoot; folder < contents_.size(); ++folder) {
    for (const auto& [name, entry] : contents_[folder].entries) {
      if (state[entry] != node || !above.insert(folder).second) continue;
      above.merge(FoldersAbove(state, folder));
    }
  }
  return above;
}

bool Volume::HaveSameEntries(const State& a, const State& b, Node folder) const {
  const auto& entries = contents_[folder].entries;
  return std::all_of(entries.begin(), entries.end(),
                     [&](const auto& entry) { return a[entry.second] == b[entry.second]; });
}

bool Volume::Apply(const Operation& operation, State& state) const {
  const auto& changes = operation.changes;
  const bool possible = Has(state, operation.node) &&
                        std::all_of(changes.begin(), changes.end(), [&](const EntryChange& change) {
                          return state[change.entry] == change.before;
                        });
  if (!possible) return false;
  for (const EntryChange& change : changes) state[change.entry] = change.after;
  for (const EntryChange& change : changes) {
    if (change.before != kNone && !Has(state, change.before)) Clear(state, change.before);
  }
  return true;
}

void Volume::Clear(State& state, Node node) const {
  for (const auto& [name, entry] : contents_[node].entries) {
    const Node held = std::exchange(state[entry], kNone);
    if (held != kNone) Clear(state, held);
  }
}

void Volume::AddTo(Tree& tree, const State& state, const Losses& losses, Node folder,
                   const std::string& prefix) const {
  for (const auto& [name, entry] : contents_[folder].entries) {
    const Node node = state[entry];
    if (node == kNone) continue;
    const std::string whole = prefix + name;
    const auto lost = losses.find(node);
    const std::string& text = contents_[node].text;
    tree.emplace(whole, lost == losses.end() ? text : Lost(text, lost->second));
    AddTo(tree, state, losses, node, whole + "/");
  }
}

Tree Volume::TreeOf(const State& state, const Losses& losses) const {
  Tree tree;
  AddTo(tree, state, losses, kRoot, "");
  return tree;
}

}  // namespace k7k::test
