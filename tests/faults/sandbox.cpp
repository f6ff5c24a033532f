#include "sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "bundle/manifest.h"
#include "selftest/fixtures.h"
#include "support/bundle_facts.h"

namespace k7k::test {

namespace {

constexpr auto kReadOnlyMark = " (read-only)";
constexpr std::string_view kPrivate = ".k7k-obs-audio.";

Piece PieceAt(const std::string& place, const std::string& parent, const std::string& staging,
              const std::string& backup, const std::string& removal) {
  const auto name = [&](const std::string& tag) { return parent + "/<" + tag + ">"; };
  return {place, name(staging), name(backup), name(removal), {}, {}};
}

void MakeAllReadOnly(const Path& folder) {
  Disk& disk = NativeDisk();
  for (const auto walk = disk.Walk(folder); !walk->AtEnd(); walk->Advance()) {
    if (disk.Status(walk->Entry()) == FileStatus::File) MakeReadOnly(walk->Entry());
  }
}

// A private name for a tag, of a process that is not this one.
std::string WithoutTags(const std::string& name) {
  const std::size_t start = name.find('<');
  const std::size_t end = name.find('>');
  if (start == std::string::npos || end == std::string::npos) return name;
  const std::string tag = name.substr(start + 1, end - start - 1);
  return name.substr(0, start) + std::string(kPrivate) + tag + ".1.2" + name.substr(end + 1);
}

}  // namespace

std::string WithTags(const std::string& name) {
  const std::size_t start = name.find(kPrivate);
  if (start == std::string::npos) return name;
  const std::size_t tag = start + kPrivate.size();
  const std::size_t tag_end = name.find('.', tag);
  if (tag_end == std::string::npos) return name;
  const std::size_t end = std::min(name.find('/', tag_end), name.size());
  return name.substr(0, start) + "<" + name.substr(tag, tag_end - tag) + ">" + name.substr(end);
}

Tree WithTags(const Tree& tree) {
  Tree result;
  for (const auto& [name, content] : tree) {
    if (!result.emplace(WithTags(name), content).second) result.emplace(name, content);
  }
  return result;
}

Tree WithoutMarks(const Tree& tree) {
  Tree result = tree;
  for (auto& [name, content] : result) {
    if (content.ends_with(kReadOnlyMark)) {
      content.resize(content.size() - std::string_view(kReadOnlyMark).size());
    }
  }
  return result;
}

Tree Below(const Tree& tree, const std::string& name) {
  Tree result;
  for (auto entry = tree.lower_bound(name); entry != tree.end(); ++entry) {
    if (!entry->first.starts_with(name)) break;
    if (IsAtOrBelow(entry->first, name)) {
      result.emplace(entry->first.substr(name.size()), entry->second);
    }
  }
  return result;
}

Sandbox::Sandbox(Target target, Previous previous)
    : target_(target), read_only_(previous == Previous::ReadOnlyFiles) {
  EXPECT_TRUE(WriteFixturePayload(At(kBundle), 'N'));
  WriteFile(At(kBundle) / kExtraLocale, "one more");
  WriteFile(At("outside/keep.txt"), "keep");
  WriteFile(At("bundle-of-another/plugin.dll"), "keep");
  if (target == Target::Standard) {
    changing_name_ = "programdata";
    pieces_ = {PieceAt(kPluginFolder, kPluginParent, "staging", "backup", "remove-backup")};
  } else {
    changing_name_ = "obs";
    pieces_ = {PieceAt(kDll, kDllParent, "portable-dll-staging", "portable-dll-backup",
                       "portable-remove-dll"),
               PieceAt(kData, kDataParent, "portable-data-staging", "portable-data-backup",
                       "portable-remove-data")};
  }
  MakeTarget(previous);
  MakePrevious(previous);
  if (read_only_) MakeAllReadOnly(At(kBundle));

  rest_ = TakeAll();
  changing_ = ChangingPartOf(rest_);
  std::erase_if(rest_, [&](const auto& entry) { return IsAtOrBelow(entry.first, changing_name_); });
  for (Piece& piece : pieces_) piece.old = Below(changing_, piece.place);
  if (target == Target::Standard) {
    pieces_[0].fresh = Below(rest_, kBundle);
  } else {
    pieces_[0].fresh = Below(rest_, "bundle/bin/64bit/k7k-obs-audio.dll");
    pieces_[1].fresh = Below(rest_, "bundle/data");
  }
}

void Sandbox::MakeTarget(Previous previous) {
  const bool parents = previous != Previous::Nothing;
  if (target_ == Target::Standard) {
    WriteFile(At("programdata/other/settings"), "keep");
    if (parents) WriteFile(At(kPluginParent) / "other-plugin/other.dll", "keep");
  } else {
    WriteFile(At("obs/bin/64bit/obs64.exe"), "obs");
    WriteFile(At("obs/portable_mode.txt"), "");
    if (parents) WriteFile(At(kDllParent) / "other.dll", "keep");
    if (parents) WriteFile(At(kDataParent) / "other/locale.ini", "keep");
  }
}

void Sandbox::MakePrevious(Previous previous) {
  if (previous == Previous::Nothing) return;
  const bool standard = target_ == Target::Standard;
  const Path dll = standard ? At(kPluginFolder) / "bin/64bit/k7k-obs-audio.dll" : At(kDll);
  const Path data = standard ? At(kPluginFolder) / "data" : At(kData);
  const bool half = previous == Previous::HalfACopy;
  if (half ? standard : true) WriteFile(dll, "old library");
  if (half && standard) MakeFolder(data);
  if (half && !standard) WriteFile(data / "locale/en-US.ini", "old text");
  if (half || previous == Previous::TheOtherHalf) return;

  for (const char* file : kDataFiles) WriteFile(data / BelowData(file), std::string("old ") + file);
  WriteFile(data / "presets/user.json", "a file that the bundle does not have");
  if (standard) {
    EXPECT_TRUE(WriteManifest(At(kPluginFolder), nullptr));
  }
  if (previous == Previous::Damaged) {
    WriteFile(dll, "changed after the manifest was written");
    WriteFile(data / "locale/zh-TW.ini", "");
    EXPECT_TRUE(NativeDisk().RemoveAll(data / BelowData(kFiles.back())));
  }
  if (read_only_ && standard) MakeAllReadOnly(At(kPluginFolder));
  if (read_only_ && !standard) {
    MakeReadOnly(dll);
    MakeAllReadOnly(data);
  }
}

std::string Sandbox::NameOf(const Path& path) const {
  const auto& text = path.native();
  const auto& base = folder_.path().native();
  if (!text.starts_with(base)) return path == path.root_path() ? "/" : "..";
  std::string name;
  for (std::size_t i = base.size() + 1; i < text.size(); ++i) {
    // The names that the campaign makes are ASCII.
    const char letter = static_cast<char>(text[i]);
    name += letter == '\\' ? '/' : letter;
  }
  return WithTags(name);
}

Tree Sandbox::Take(const std::string& name) const {
  Tree tree;
  for (const auto& [below, content] : TakeTree(folder_ / name)) {
    const std::string entry = name.empty() ? below : name + "/" + below;
    const bool marked = read_only_ && content.starts_with("file") && IsReadOnly(folder_ / entry);
    tree.emplace(entry, marked ? content + kReadOnlyMark : content);
  }
  return tree;
}

Tree Sandbox::TakeAll() const { return Take(""); }

Tree Sandbox::TakeChanging() const {
  Tree tree = Take(changing_name_);
  tree.emplace(changing_name_, "folder");
  return tree;
}

Tree Sandbox::ChangingPartOf(const Tree& all) const {
  Tree tree = all;
  std::erase_if(tree, [&](const auto& entry) { return !IsAtOrBelow(entry.first, changing_name_); });
  return tree;
}

std::string Sandbox::DamageOutside(const Tree& all) const {
  Tree now = all;
  std::erase_if(now, [&](const auto& entry) { return IsAtOrBelow(entry.first, changing_name_); });
  for (const auto& [name, content] : rest_) {
    if (!now.contains(name)) return name + " is gone";
    if (now[name] != content) return name + " changed";
  }
  for (const auto& [name, content] : now) {
    if (!rest_.contains(name)) return name + " appeared";
  }
  return {};
}

void Sandbox::LayOut(const Tree& wanted) {
  Tree named;
  for (const auto& [name, content] : wanted) named.emplace(WithoutTags(name), content);
  Change(changing_, named);
}

void Sandbox::Change(const Tree& now, const Tree& wanted) {
  for (const auto& [name, content] : now) {
    const auto entry = wanted.find(name);
    if (entry == wanted.end() || entry->second != content) {
      NativeDisk().RemoveAll(folder_ / name);  // with what is below it, so a later one may be gone
    }
  }
  for (const auto& [name, content] : wanted) {
    if (NativeDisk().Status(folder_ / name) != FileStatus::Absent) continue;
    if (content == "folder") {
      MakeFolder(folder_ / name);
    } else {
      const Tree bare = WithoutMarks({{name, content}});
      WriteFile(folder_ / name, bare.at(name).substr(std::string_view("file ").size()));
      if (bare.at(name) != content) MakeReadOnly(folder_ / name);
    }
  }
}

}  // namespace k7k::test
