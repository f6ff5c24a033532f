// What the tests of the transactions share: targets with and without an older copy, and what a tree
// looks like afterwards.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "selftest/fixtures.h"
#include "support/fault_rules.h"
#include "support/test_tree.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"
#include "txn/standard_install.h"
#include "txn/standard_removal.h"

namespace k7k::test {

// Every detail message starts as this one, so that "untouched" shows.
inline constexpr wchar_t kSentinel[] = L"(what the caller had)";

// The tree without an entry and what is below it.
inline Tree Without(const Tree& tree, const std::string& name) {
  Tree rest;
  for (const auto& [entry, content] : tree) {
    if (entry != name && !entry.starts_with(name + "/")) rest[entry] = content;
  }
  return rest;
}

// The tree with a folder that holds `content`, in the place of whatever stood there.
inline Tree With(const Tree& tree, const std::string& name, const Tree& content) {
  Tree whole = Without(tree, name);
  whole[name] = "folder";
  for (const auto& [entry, what] : content) whole[name + "/" + entry] = what;
  return whole;
}

// The tree with an entry, and what is below it, under another name.
inline Tree Renamed(const Tree& tree, const std::string& from, const std::string& to) {
  Tree renamed = Without(tree, from);
  for (const auto& [entry, content] : tree) {
    if (entry == from || entry.starts_with(from + "/")) {
      renamed[to + entry.substr(from.size())] = content;
    }
  }
  return renamed;
}

// The one entry of the tree with a private name of that tag.
inline std::string PrivateName(const Tree& tree, const wchar_t* tag) {
  std::string found;
  for (const auto& [entry, content] : PrivateEntries(tree)) {
    if (!IsPrivate(entry, tag)) continue;
    EXPECT_TRUE(found.empty()) << found << " and " << entry;
    found = entry;
  }
  EXPECT_FALSE(found.empty()) << "no private entry of the wanted tag";
  return found;
}

// A bundle of "N" files and a standard target for it, which is not there at first.
struct StandardTarget {
  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path parent = folder / "obs-studio" / "plugins";
  const Path plugin = parent / "k7k-obs-audio";
  const std::string parent_name = "obs-studio/plugins";
  const std::string plugin_name = "obs-studio/plugins/k7k-obs-audio";
  std::wstring detail = kSentinel;
  FaultDisk disk;

  StandardTarget() {
    EXPECT_TRUE(WriteFixturePayload(bundle, 'N'));
    WriteFile(bundle / "extra" / "readme.txt", "not required, copied all the same");
  }

  // A complete older copy of "O" files with a file of its own, and another plugin beside it.
  void WriteOldCopy() const {
    EXPECT_TRUE(WriteFixturePayload(plugin, 'O'));
    WriteFile(plugin / "old" / "only-here.txt", "old");
    WriteFile(parent / "another-plugin" / "kept.txt", "kept");
  }

  InstallOutcome Install(InjectedFailure injected = InjectedFailure::None) {
    disk.calls.clear();
    return InstallPlugin(bundle, parent, &detail, injected);
  }
  RemovalOutcome Remove(InjectedFailure injected = InjectedFailure::None) {
    disk.calls.clear();
    return RemovePlugin(parent, &detail, injected);
  }

  Tree Now() const { return TakeTree(folder.path()); }
  // What a successful install makes of a tree that has the plugin parent.
  Tree Installed(const Tree& before) const { return With(before, plugin_name, TakeTree(bundle)); }

  // The outcome, the message and the tree of one run.
  void ExpectInstall(InstallOutcome outcome, const std::wstring& message, const Tree& after,
                     InjectedFailure injected = InjectedFailure::None) {
    EXPECT_EQ(Install(injected), outcome);
    EXPECT_EQ(detail, message);
    EXPECT_EQ(Now(), after);
  }
  void ExpectInstalled(const std::wstring& message = kSentinel) {
    ExpectInstall(InstallOutcome::Installed, message, Installed(Now()));
  }
  void ExpectRemoval(RemovalOutcome outcome, const std::wstring& message, const Tree& after,
                     InjectedFailure injected = InjectedFailure::None) {
    EXPECT_EQ(Remove(injected), outcome);
    EXPECT_EQ(detail, message);
    EXPECT_EQ(Now(), after);
  }
  void ExpectRemoved(InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(RemovalOutcome::Removed, kSentinel, Without(Now(), plugin_name), injected);
  }
};

// A bundle of "N" files and a portable OBS, without the plugin at first.
struct PortableTarget {
  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path root = folder / "obs";
  const Path dll = root / "obs-plugins" / "64bit" / "k7k-obs-audio.dll";
  const Path data = root / "data" / "obs-plugins" / "k7k-obs-audio";
  const std::string dll_name = "obs/obs-plugins/64bit/k7k-obs-audio.dll";
  const std::string data_name = "obs/data/obs-plugins/k7k-obs-audio";
  std::wstring detail = kSentinel;
  FaultDisk disk;

  PortableTarget() {
    EXPECT_TRUE(WriteFixturePayload(bundle, 'N'));
    WriteFile(bundle / "data" / "extra" / "notes.txt", "copied with the data");
    WriteFile(bundle / "readme.txt", "not part of either piece");
    WriteFile(root / "bin" / "64bit" / "obs64.exe", "fake-obs");
    WriteFile(root / "portable_mode.txt", "portable");
  }

  void WriteOldDll() const { WriteFile(dll, "the old library"); }
  void WriteOldData() const {
    WriteFile(data / "locale" / "en-US.ini", "the old text");
    WriteFile(data / "old" / "only-here.txt", "old");
  }
  void WriteOldPieces() const {
    WriteOldDll();
    WriteOldData();
    WriteFile(root / "obs-plugins" / "64bit" / "another.dll", "kept");
    WriteFile(root / "data" / "obs-plugins" / "another" / "kept.txt", "kept");
  }

  InstallOutcome Install(InjectedFailure injected = InjectedFailure::None) {
    disk.calls.clear();
    return InstallPortablePlugin(bundle, root, &detail, injected);
  }
  RemovalOutcome Remove(InjectedFailure injected = InjectedFailure::None) {
    disk.calls.clear();
    return RemovePortablePlugin(root, &detail, injected);
  }

  Tree Now() const { return TakeTree(folder.path()); }
  // A tree with the four plugin parents, which an install creates and leaves whatever happens.
  static Tree WithParents(Tree tree) {
    for (const char* parent :
         {"obs/obs-plugins", "obs/obs-plugins/64bit", "obs/data", "obs/data/obs-plugins"}) {
      tree[parent] = "folder";
    }
    return tree;
  }
  // What a successful install makes of a tree.
  Tree Installed(const Tree& before) const {
    Tree tree = With(WithParents(before), data_name, TakeTree(bundle / "data"));
    tree[dll_name] = "file " + std::string(32, 'N');
    return tree;
  }
  Tree Uninstalled(const Tree& before) const {
    return Without(Without(before, dll_name), data_name);
  }

  // The outcome, the message and the tree of one run.
  void ExpectInstall(InstallOutcome outcome, const std::wstring& message, const Tree& after,
                     InjectedFailure injected = InjectedFailure::None) {
    EXPECT_EQ(Install(injected), outcome);
    EXPECT_EQ(detail, message);
    EXPECT_EQ(Now(), after);
  }
  void ExpectInstalled(InjectedFailure injected = InjectedFailure::None) {
    ExpectInstall(InstallOutcome::Installed, kSentinel, Installed(Now()), injected);
  }
  // Both pieces are as before, and the plugin parents are there.
  void ExpectUndone(InstallOutcome outcome, const std::wstring& message,
                    InjectedFailure injected = InjectedFailure::None) {
    ExpectInstall(outcome, message, WithParents(Now()), injected);
  }
  void ExpectRemoval(RemovalOutcome outcome, const std::wstring& message, const Tree& after,
                     InjectedFailure injected = InjectedFailure::None) {
    EXPECT_EQ(Remove(injected), outcome);
    EXPECT_EQ(detail, message);
    EXPECT_EQ(Now(), after);
  }
  void ExpectRemoved(InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(RemovalOutcome::Removed, kSentinel, Uninstalled(Now()), injected);
  }
};

}  // namespace k7k::test
