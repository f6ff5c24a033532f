// What the transactions have put on the medium before they go on, and how they end when that fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotCopied = L"Could not copy the complete payload";
constexpr auto kNotStaged = L"Could not stage and verify the portable OBS plugin";
constexpr auto kBackupRemains = L"Plugin was installed, but its private backup remains";
constexpr auto kLibrary = "/bin/64bit/k7k-obs-audio.dll";

// Below the test's folder, private names as their tags.
std::string NameIn(const Path& path, const Path& folder) {
  Path name;
  for (const Path& part : path.lexically_relative(folder)) {
    std::string text = part.generic_string();
    if (IsPrivate(part)) {
      text = text.substr(kPrivatePrefix.size());
      text = "<" + text.substr(0, text.find('.')) + ">";
    }
    name /= text;
  }
  return name.generic_string();
}

// What a run copied, flushed, moved, walked through to check it and removed, in order; removals
// that follow each other are one.
std::vector<std::string> Steps(const FaultDisk& disk, const Path& folder) {
  std::vector<std::string> steps;
  for (const DiskCall& call : disk.calls) {
    const std::string name = NameIn(call.path, folder);
    if (call.call == Call::Copy) steps.push_back("copy " + NameIn(call.to, folder));
    if (call.call == Call::Flush) steps.push_back("flush " + name);
    if (call.call == Call::Move) steps.push_back("move " + name);
    if (call.call == Call::WalkOpen) steps.push_back("walk " + name);
    const bool removes = call.call == Call::Remove;
    if (removes && (steps.empty() || steps.back() != "remove")) steps.push_back("remove");
  }
  return steps;
}

std::function<bool(const DiskCall&)> FlushOf(const Path& path) { return On(Call::Flush, path); }

std::function<bool(const DiskCall&)> FlushBelow(const Path& folder) {
  return [=](const DiskCall& call) {
    return call.call == Call::Flush && call.path.native().starts_with((folder / "").native());
  };
}

// Standard target.

class TxnDurabilityStandardTest : public testing::Test, protected StandardTarget {
 protected:
  std::vector<std::string> StepsFrom(const std::string& first) const {
    std::vector<std::string> steps = Steps(disk, folder.path());
    return {std::find(steps.begin(), steps.end(), first), steps.end()};
  }
};

TEST_F(TxnDurabilityStandardTest,
       Install_EveryStagedFileAndThenEveryFolderIsFlushedBeforeTheCheck) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  const std::vector<std::string> steps = Steps(disk, folder.path());
  const std::string staging = parent_name + "/<staging>";
  const auto check = std::find(steps.begin(), steps.end(), "walk " + staging);
  ASSERT_NE(check, steps.end());

  std::set<std::string> flushed;
  bool folders = false;
  for (auto step = steps.begin(); step != check; ++step) {
    if (step->starts_with("copy ")) {
      EXPECT_FALSE(folders) << *step << " after a folder was flushed";
      ASSERT_NE(step + 1, check);
      EXPECT_EQ(*(step + 1), "flush " + step->substr(5));
    }
    if (step->starts_with("flush " + staging)) {
      folders = *(step - 1) != "copy " + step->substr(6);
      flushed.insert(step->substr(6 + staging.size()));
    }
  }
  std::set<std::string> expected{""};
  for (const auto& [name, content] : TakeTree(bundle)) expected.insert("/" + name);
  EXPECT_EQ(flushed, expected);
}

TEST_F(TxnDurabilityStandardTest, Install_TheSwapIsFlushedAfterItsCheckAndBeforeTheDeletion) {
  WriteOldCopy();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(StepsFrom("move " + plugin_name),
            (std::vector<std::string>{"move " + plugin_name, "move " + parent_name + "/<staging>",
                                      "walk " + plugin_name, "flush " + parent_name,
                                      "flush " + plugin_name + kLibrary, "remove"}));
}

TEST_F(TxnDurabilityStandardTest, Install_FirstOne_FlushesTheNewParentsAndTheSwap) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  std::vector<std::string> parents;
  for (const std::string& step : Steps(disk, folder.path())) {
    if (step.starts_with("flush ") && step.find('<') == std::string::npos) parents.push_back(step);
  }
  EXPECT_EQ(parents,
            (std::vector<std::string>{"flush .", "flush obs-studio", "flush " + parent_name,
                                      "flush " + plugin_name + kLibrary}));
}

TEST_F(TxnDurabilityStandardTest, Install_NewParentCannotBeFlushed_IsRefused) {
  disk.fails = FlushOf(folder.path());
  EXPECT_EQ(Install(), InstallOutcome::Refused);
  EXPECT_EQ(detail, L"Plugin parent is unavailable or unsafe");
  EXPECT_EQ(disk.Count(Call::Copy), 0);
}

TEST_F(TxnDurabilityStandardTest, Install_StagedFileCannotBeFlushed_IsAFailedCopy) {
  WriteOldCopy();
  disk.fails = [](const DiskCall& call) {
    return call.call == Call::Flush && call.path.filename() == "ja-JP.ini";
  };
  ExpectInstall(InstallOutcome::RolledBack, kNotCopied, Now());
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(TxnDurabilityStandardTest, Install_StagingFolderCannotBeFlushed_IsAFailedCopy) {
  WriteOldCopy();
  disk.fails = OnPrivate(Call::Flush, L"staging");
  ExpectInstall(InstallOutcome::RolledBack, kNotCopied, Now());
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(TxnDurabilityStandardTest, Install_SwapCannotBeFlushed_KeepsTheOldCopyAndSaysSo) {
  for (const auto& not_flushed : {FlushOf(parent), FlushBelow(plugin)}) {
    WriteOldCopy();
    const Tree before = Now();
    disk.fails = not_flushed;
    detail = kSentinel;
    EXPECT_EQ(Install(), InstallOutcome::Installed);
    EXPECT_EQ(detail, kBackupRemains);
    const Tree after = Now();
    const std::string backup = PrivateName(after, L"backup");
    EXPECT_EQ(Without(after, backup), Installed(before));
    EXPECT_EQ(Renamed(Without(after, plugin_name), backup, plugin_name), before);
    EXPECT_EQ(StepsFrom("flush " + parent_name)[1], "flush " + plugin_name + kLibrary);
    EXPECT_TRUE(NativeDisk().RemoveAll(parent));
  }
}

TEST_F(TxnDurabilityStandardTest, Install_LibraryInPlaceCannotBeFlushed_AnotherFileIsEnough) {
  WriteOldCopy();
  disk.fails = FlushOf(plugin / "bin" / "64bit" / "k7k-obs-audio.dll");
  ExpectInstalled();
  EXPECT_EQ(
      StepsFrom("flush " + parent_name),
      (std::vector<std::string>{"flush " + parent_name, "flush " + plugin_name + kLibrary,
                                "flush " + plugin_name + "/data/locale/en-US.ini", "remove"}));
}

TEST_F(TxnDurabilityStandardTest, Install_SwapCannotBeFlushedWithoutAnOldCopy_SaysNothing) {
  MakeFolder(parent);
  disk.fails = FlushOf(parent);
  ExpectInstalled();
}

TEST_F(TxnDurabilityStandardTest, Removal_IsFlushedBeforeTheDeletion) {
  WriteOldCopy();
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(
      StepsFrom("move " + plugin_name),
      (std::vector<std::string>{"move " + plugin_name, "flush " + parent_name,
                                "flush " + parent_name + "/<remove-backup>" + kLibrary, "remove"}));
}

TEST_F(TxnDurabilityStandardTest, Removal_OfACopyWithoutALibrary_FlushesItsFirstDataFile) {
  WriteOldCopy();
  EXPECT_TRUE(NativeDisk().RemoveAll(plugin / "bin"));
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  const std::string backup = parent_name + "/<remove-backup>";
  EXPECT_EQ(StepsFrom("flush " + parent_name),
            (std::vector<std::string>{"flush " + parent_name, "flush " + backup + kLibrary,
                                      "flush " + backup + "/data/locale/en-US.ini", "remove"}));
}

TEST_F(TxnDurabilityStandardTest, Removal_OfACopyWithoutAnyRequiredFile_NeedsItsFolderAlone) {
  WriteFile(plugin / "readme.txt", "what is left");
  MakeFolder(plugin / "data" / "locale");
  ExpectRemoved();
}

TEST_F(TxnDurabilityStandardTest, Removal_FileThatCannotBeFlushedNorAskedAbout_IsRolledBack) {
  WriteFile(plugin / "data" / "locale" / "ja-JP.ini", "what is left");
  disk.fails = [](const DiskCall& call) {
    return (call.call == Call::Flush || call.call == Call::Status) &&
           call.path.filename() == "ja-JP.ini";
  };
  ExpectRemoval(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back", Now());
}

TEST_F(TxnDurabilityStandardTest, Removal_CannotBeFlushed_IsRolledBack) {
  WriteOldCopy();
  const auto below_backup = [](const DiskCall& call) {
    return call.call == Call::Flush && call.path.has_extension();
  };
  for (const auto& not_flushed : {FlushOf(parent), std::function(below_backup)}) {
    disk.fails = not_flushed;
    detail = kSentinel;
    ExpectRemoval(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back", Now());
    EXPECT_EQ(disk.Count(Call::Remove), 0);
  }
}

TEST_F(TxnDurabilityStandardTest, Removal_CannotBeFlushedNorPutBack_TheCopyIsWholeInItsBackup) {
  WriteOldCopy();
  const Tree before = Now();
  disk.fails = Either(FlushOf(parent), MovesFrom(L"remove-backup"));
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, L"Plugin removal failed and its backup could not be restored");
  const Tree after = Now();
  EXPECT_EQ(after, Renamed(before, plugin_name, PrivateName(after, L"remove-backup")));
}

// Portable target.

class TxnDurabilityPortableTest : public testing::Test, protected PortableTarget {
 protected:
  const Path dll_parent = dll.parent_path();
  const Path data_parent = data.parent_path();
  const std::string dll_parent_name = "obs/obs-plugins/64bit";
  const std::string data_parent_name = "obs/data/obs-plugins";

  std::vector<std::string> StepsFrom(const std::string& first) const {
    std::vector<std::string> steps = Steps(disk, folder.path());
    return {std::find(steps.begin(), steps.end(), first), steps.end()};
  }

  // The new pieces in place, and the old ones, where there were some, whole in their backups.
  void ExpectBothBackupsKept(const Tree& before) {
    Tree after = Now();
    const std::string dll_backup = PrivateName(after, L"portable-dll-backup");
    const std::string data_backup = PrivateName(after, L"portable-data-backup");
    EXPECT_EQ(Without(Without(after, dll_backup), data_backup), Installed(before));
    after = Renamed(Renamed(Uninstalled(after), dll_backup, dll_name), data_backup, data_name);
    EXPECT_EQ(after, before);
  }
};

TEST_F(TxnDurabilityPortableTest, Install_BothSwapsAreFlushedBeforeEitherDeletion) {
  WriteOldPieces();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(StepsFrom("move " + dll_name),
            (std::vector<std::string>{"move " + dll_name, "move " + data_name,
                                      "move " + dll_parent_name + "/<portable-dll-staging>",
                                      "move " + data_parent_name + "/<portable-data-staging>",
                                      "flush " + dll_parent_name, "flush " + dll_name,
                                      "flush " + data_parent_name,
                                      "flush " + data_name + "/locale/en-US.ini", "remove"}));
}

TEST_F(TxnDurabilityPortableTest, Install_TheStagedLibraryIsFlushedBeforeTheDataIsCopied) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  const std::string staging = dll_parent_name + "/<portable-dll-staging>";
  const auto steps = StepsFrom("copy " + staging);
  ASSERT_GT(steps.size(), 2U);
  EXPECT_EQ(steps[1], "flush " + staging);
  EXPECT_EQ(steps[2], "walk bundle/data");
}

TEST_F(TxnDurabilityPortableTest, Install_FirstOne_FlushesTheFolderOfEachNewParent) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  std::vector<std::string> parents;
  for (const std::string& step : Steps(disk, folder.path())) {
    if (step.starts_with("flush ") && step.find('<') == std::string::npos) parents.push_back(step);
  }
  EXPECT_EQ(parents, (std::vector<std::string>{"flush obs", "flush obs/obs-plugins", "flush obs",
                                               "flush obs/data", "flush " + dll_parent_name,
                                               "flush " + dll_name, "flush " + data_parent_name,
                                               "flush " + data_name + "/locale/en-US.ini"}));
}

TEST_F(TxnDurabilityPortableTest, Install_NewParentCannotBeFlushed_IsRefused) {
  disk.fails = FlushOf(root);
  EXPECT_EQ(Install(), InstallOutcome::Refused);
  EXPECT_EQ(detail, L"A portable OBS plugin parent is unavailable or unsafe");
  EXPECT_EQ(disk.Count(Call::Copy), 0);
}

TEST_F(TxnDurabilityPortableTest, Install_StagedLibraryCannotBeFlushed_IsAFailedCopy) {
  WriteOldPieces();
  disk.fails = OnPrivate(Call::Flush, L"portable-dll-staging");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(TxnDurabilityPortableTest, Install_StagedDataCannotBeFlushed_IsAFailedCopy) {
  WriteOldPieces();
  disk.fails = OnPrivate(Call::Flush, L"portable-data-staging");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(TxnDurabilityPortableTest, Install_ASwapCannotBeFlushed_KeepsBothOldPieces) {
  for (const auto& not_flushed :
       {FlushOf(dll_parent), FlushOf(dll), FlushOf(data_parent), FlushBelow(data)}) {
    WriteOldPieces();
    const Tree before = Now();
    disk.fails = not_flushed;
    detail = kSentinel;
    EXPECT_EQ(Install(), InstallOutcome::Installed);
    EXPECT_EQ(detail, L"Portable plugin installed; data backup remains");
    ExpectBothBackupsKept(before);
    EXPECT_EQ(StepsFrom("flush " + data_parent_name)[1],
              "flush " + data_name + "/locale/en-US.ini");
    EXPECT_TRUE(NativeDisk().RemoveAll(root / "obs-plugins"));
    EXPECT_TRUE(NativeDisk().RemoveAll(root / "data"));
  }
}

TEST_F(TxnDurabilityPortableTest,
       Install_SwapCannotBeFlushedWithAnOldLibraryAlone_TellsOfItsBackup) {
  WriteOldDll();
  disk.fails = FlushOf(data_parent);
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, L"Portable plugin installed; DLL backup remains");
  EXPECT_EQ(PrivateEntries(Now()).size(), 1U);
}

TEST_F(TxnDurabilityPortableTest, Install_SwapCannotBeFlushedWithoutOldPieces_SaysNothing) {
  disk.fails = FlushOf(dll_parent);
  ExpectInstalled();
}

TEST_F(TxnDurabilityPortableTest, Removal_BothFoldersAreFlushedBeforeEitherDeletion) {
  WriteOldPieces();
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(
      StepsFrom("move " + dll_name),
      (std::vector<std::string>{
          "move " + dll_name, "move " + data_name, "flush " + dll_parent_name,
          "flush " + dll_parent_name + "/<portable-remove-dll>", "flush " + data_parent_name,
          "flush " + data_parent_name + "/<portable-remove-data>/locale/en-US.ini", "remove"}));
}

TEST_F(TxnDurabilityPortableTest, Removal_OfOnePiece_FlushesThatAlone) {
  WriteOldData();
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(
      StepsFrom("move " + data_name),
      (std::vector<std::string>{
          "move " + data_name, "flush " + data_parent_name,
          "flush " + data_parent_name + "/<portable-remove-data>/locale/en-US.ini", "remove"}));
}

TEST_F(TxnDurabilityPortableTest, Removal_CannotBeFlushed_KeepsBothPiecesInTheirBackups) {
  WriteOldPieces();
  const auto of_data_file = [](const DiskCall& call) {
    return call.call == Call::Flush && call.path.extension() == ".ini";
  };
  for (const auto& not_flushed :
       {FlushOf(dll_parent), OnPrivate(Call::Flush, L"portable-remove-dll"), FlushOf(data_parent),
        std::function<bool(const DiskCall&)>(of_data_file)}) {
    const Tree before = Now();
    disk.fails = not_flushed;
    detail = kSentinel;
    EXPECT_EQ(Remove(), RemovalOutcome::Failed);
    EXPECT_EQ(detail, L"Portable plugin was detached, but a private backup remains");
    EXPECT_EQ(disk.Count(Call::Remove), 0);
    const Tree after = Now();
    const std::string dll_backup = PrivateName(after, L"portable-remove-dll");
    const std::string data_backup = PrivateName(after, L"portable-remove-data");
    EXPECT_EQ(after, Renamed(Renamed(before, dll_name, dll_backup), data_name, data_backup));
    EXPECT_EQ(NativeDisk().Move(folder / dll_backup, dll), 0);
    EXPECT_EQ(NativeDisk().Move(folder / data_backup, data), 0);
  }
}

}  // namespace
}  // namespace k7k
