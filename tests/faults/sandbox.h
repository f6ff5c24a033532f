// The ground that the fault campaign works on: a bundle, a target in a chosen state, and what must
// never change around them.
#pragma once

#include <string>
#include <vector>

#include "support/test_tree.h"

namespace k7k::test {

enum class Target { Standard, Portable };

enum class Previous {
  Nothing,
  Older,          // a complete copy of another version, with files of its own besides
  Damaged,        // one with a changed library, an empty and a missing locale file
  HalfACopy,      // standard: the library alone; portable: some data without the library
  TheOtherHalf,   // portable alone: the library without the data
  ReadOnlyFiles,  // a complete older copy and a bundle whose files are all read-only
};

// Names of entries are relative to the sandbox, with "/"; a private name stands as its tag in angle
// brackets, since process and time differ from run to run.
inline constexpr auto kBundle = "bundle";
inline constexpr auto kPluginParent = "programdata/obs-studio/plugins";
inline constexpr auto kPluginFolder = "programdata/obs-studio/plugins/k7k-obs-audio";
inline constexpr auto kObsRoot = "obs";
inline constexpr auto kDllParent = "obs/obs-plugins/64bit";
inline constexpr auto kDll = "obs/obs-plugins/64bit/k7k-obs-audio.dll";
inline constexpr auto kDataParent = "obs/data/obs-plugins";
inline constexpr auto kData = "obs/data/obs-plugins/k7k-obs-audio";

// A part of the plugin that moves as one: its place and its private names.
struct Piece {
  std::string place;
  std::string staging;
  std::string backup;
  std::string removal;  // the backup of a removal
  Tree old;             // below the place; "" is the place itself. Empty: nothing was there
  Tree fresh;           // the same in the bundle
};

class Sandbox {
 public:
  Sandbox(Target target, Previous previous);

  Path At(const char* name) const { return folder_ / name; }
  // The name of a path; "/" for the root of a file system and ".." for what lies outside.
  std::string NameOf(const Path& path) const;

  const std::vector<Piece>& pieces() const { return pieces_; }
  const Tree& before() const { return changing_; }

  // The whole sandbox as it is now, or the part in which transactions work; with the marks of
  // read-only files where the state has them.
  Tree TakeAll() const;
  Tree TakeChanging() const;
  Tree ChangingPartOf(const Tree& all) const;
  // What differs from the beginning in the other part; empty when nothing does.
  std::string DamageOutside(const Tree& all) const;
  // Puts the changing part, which is now as given, back to its beginning.
  void Reset(const Tree& now) { Change(now, changing_); }
  // Makes something else of its beginning, with names of another process for the private ones.
  void LayOut(const Tree& wanted);

 private:
  void MakeTarget(Previous previous);
  void MakePrevious(Previous previous);
  Tree Take(const std::string& name) const;
  void Change(const Tree& now, const Tree& wanted);

  TestFolder folder_;
  Target target_;
  bool read_only_;
  std::string changing_name_;
  Tree changing_;  // by their real names below the sandbox
  Tree rest_;
  std::vector<Piece> pieces_;
};

// The entries at and below name, by what follows it.
Tree Below(const Tree& tree, const std::string& name);
// The tree with private names as tags. Two that share a tag would hide each other: the second keeps
// its whole name.
Tree WithTags(const Tree& tree);
std::string WithTags(const std::string& name);
// The tree without the marks of read-only files.
Tree WithoutMarks(const Tree& tree);

inline bool IsAtOrBelow(const std::string& name, const std::string& folder) {
  return name.starts_with(folder) && (name.size() == folder.size() || name[folder.size()] == '/');
}

}  // namespace k7k::test
