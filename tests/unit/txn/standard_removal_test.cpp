// Removals from the standard target that succeed, find nothing, or are refused.
#include "txn/standard_removal.h"

#include <gtest/gtest.h>

#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kUnsafeParent = L"Plugin parent is unavailable or unsafe";
constexpr auto kUnsafePlugin = L"Installed plugin path is unsafe";

class StandardRemovalTest : public testing::Test, protected StandardTarget {
 protected:
  // The outcome and the message, and that nothing has changed.
  void ExpectUnchanged(RemovalOutcome outcome, const std::wstring& message,
                       InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(outcome, message, Now(), injected);
  }

  // The same for what is found before a private name is asked about.
  void ExpectRefusedEarly(RemovalOutcome outcome, const std::wstring& message) {
    ExpectUnchanged(outcome, message);
    EXPECT_EQ(PrivateCalls(disk), 0);
  }

  // The nth question for the status of a path fails.
  static Rule NthStatus(int n, const Path& path) {
    return [=, rule = On(Call::Status, path)](const DiskCall& call) mutable {
      return rule(call) && --n == 0;
    };
  }
};

TEST_F(StandardRemovalTest, InstalledPlugin_IsRemovedAndNothingElse) {
  WriteOldCopy();
  ExpectRemoved();
  EXPECT_EQ(Moves(disk),
            (std::vector<std::string>{"k7k-obs-audio > .k7k-obs-audio.remove-backup"}));
}

TEST_F(StandardRemovalTest, LastPlugin_LeavesTheEmptyPluginParent) {
  WriteFixturePayload(plugin, 'O');
  ExpectRemoved();
  EXPECT_EQ(Now()[parent_name], "folder");
  EXPECT_TRUE(TakeTree(parent).empty());
}

TEST_F(StandardRemovalTest, RemovalBackup_StandsBesideThePluginFolder) {
  WriteOldCopy();
  ExpectRemoved();
  for (const DiskCall& call : disk.calls) {
    if (call.call != Call::Move) continue;
    EXPECT_EQ(call.path, plugin);
    EXPECT_EQ(call.to.parent_path(), parent);
  }
}

TEST_F(StandardRemovalTest, DamagedCopy_IsRemovedLikeAnIntactOne) {
  WriteFile(plugin / "data/locale/en-US.ini", "all that is left");
  ExpectRemoved();
}

TEST_F(StandardRemovalTest, EmptyPluginFolder_IsRemoved) {
  MakeFolder(plugin);
  ExpectRemoved();
}

TEST_F(StandardRemovalTest, ReadOnlyFiles_AreRemoved) {
  WriteOldCopy();
  MakeReadOnly(plugin / "bin/64bit/k7k-obs-audio.dll");
  MakeReadOnly(plugin / "data/locale/zh-TW.ini");
  MakeReadOnly(plugin / "manifest.sha256");
  ExpectRemoved();
}

TEST_F(StandardRemovalTest, LeftoversOfAnEarlierRun_AreNotLookedFor) {
  WriteFile(parent / ".k7k-obs-audio.remove-backup.1.2/file", "old once");
  WriteOldCopy();
  ExpectRemoved();
}

// Nothing to remove.

TEST_F(StandardRemovalTest, MissingPluginParent_IsNotInstalledWithoutAMessage) {
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(StandardRemovalTest, PluginParentBelowAFile_IsNotInstalledWithoutAMessage) {
  WriteFile(folder / "obs-studio", "a file");
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(StandardRemovalTest, MissingPluginFolder_IsNotInstalledWithoutAMessage) {
  WriteFile(parent / "another-plugin/kept.txt", "kept");
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(StandardRemovalTest, PluginFolderIsADanglingLink_IsNotInstalledAndTheLinkStays) {
  MakeFolder(parent);
  MakeFolderLink(folder / "nothing", plugin);
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(StandardRemovalTest, SecondRemovalAfterASuccess_IsNotInstalled) {
  WriteOldCopy();
  ExpectRemoved();
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(StandardRemovalTest, AfterBackupWithoutAPlugin_IsNotInstalled) {
  MakeFolder(parent);
  ExpectUnchanged(RemovalOutcome::NotInstalled, kSentinel, InjectedFailure::AfterBackup);
}

// Refusals.

TEST_F(StandardRemovalTest, PluginParentCannotBeAskedAbout_Fails) {
  WriteOldCopy();
  disk.fails = On(Call::Status, parent);
  ExpectRefusedEarly(RemovalOutcome::Failed, L"Could not inspect the plugin parent");
}

TEST_F(StandardRemovalTest, PluginParentIsAFile_IsRefused) {
  WriteFile(parent, "a file");
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafeParent);
}

TEST_F(StandardRemovalTest, PluginParentCannotBeAskedAboutAgain_IsRefused) {
  WriteOldCopy();
  disk.fails = NthStatus(2, parent);
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafeParent);
}

TEST_F(StandardRemovalTest, PluginParentIsALink_IsRefusedAndNothingBehindItChanges) {
  EXPECT_TRUE(WriteFixturePayload(folder / "real/k7k-obs-audio", 'O'));
  MakeFolder(folder / "obs-studio");
  MakeFolderLink(folder / "real", parent);
  const Tree real = TakeTree(folder / "real");
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafeParent);
  EXPECT_EQ(TakeTree(folder / "real"), real);
}

TEST_F(StandardRemovalTest, LinkedPluginParentWithoutThePlugin_TheParentIsReported) {
  MakeFolder(folder / "real");
  MakeFolder(folder / "obs-studio");
  MakeFolderLink(folder / "real", parent);
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafeParent);
}

TEST_F(StandardRemovalTest, PluginFolderCannotBeAskedAbout_Fails) {
  WriteOldCopy();
  disk.fails = On(Call::Status, plugin);
  ExpectRefusedEarly(RemovalOutcome::Failed, L"Could not inspect the installed plugin");
}

TEST_F(StandardRemovalTest, PluginFolderIsALinkLoop_Fails) {
  if (RunsUnderWine()) GTEST_SKIP() << "a Unix link loop does not show in Wine";
  MakeFolder(parent);
  MakeFolderLink(plugin, plugin);
  ExpectRefusedEarly(RemovalOutcome::Failed, L"Could not inspect the installed plugin");
}

TEST_F(StandardRemovalTest, PluginFolderCannotBeAskedAboutAgain_IsRefused) {
  WriteOldCopy();
  disk.fails = NthStatus(2, plugin);
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
}

TEST_F(StandardRemovalTest, PluginFolderThatBecomesAFileBetweenTwoQuestions_IsRefused) {
  WriteOldCopy();
  disk.failed_status = FileStatus::File;
  disk.fails = NthStatus(2, plugin);
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
}

TEST_F(StandardRemovalTest, PluginPathIsAFile_IsRefused) {
  WriteFile(plugin, "a file");
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
}

TEST_F(StandardRemovalTest, PluginFolderIsALink_IsRefusedAndNothingBehindItChanges) {
  WriteFile(folder / "real/kept", "kept");
  MakeFolder(parent);
  MakeFolderLink(folder / "real", plugin);
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
  EXPECT_EQ(TakeTree(folder / "real"), (Tree{{"kept", "file kept"}}));
}

TEST_F(StandardRemovalTest, LinkAnywhereInThePluginFolder_IsRefusedAndNothingIsTouched) {
  WriteFile(folder / "real/kept", "kept");
  WriteOldCopy();
  MakeFolder(plugin / "data/a/b");
  MakeFolderLink(folder / "real", plugin / "data/a/b/link");
  // The inspection's own message about a bundle is replaced.
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
  EXPECT_EQ(TakeTree(folder / "real"), (Tree{{"kept", "file kept"}}));
}

TEST_F(StandardRemovalTest, WalkStepThatFailsAndYields_IsRefusedWithTheSameMessage) {
  WriteOldCopy();
  disk.failed_walk_yields = true;
  disk.fails = [](const DiskCall& call) { return call.call == Call::WalkAdvance; };
  ExpectRefusedEarly(RemovalOutcome::Refused, kUnsafePlugin);
}

TEST_F(StandardRemovalTest, CallerWithoutADetail_GetsTheOutcomeAlone) {
  WriteOldCopy();
  EXPECT_EQ(RemovePlugin(plugin / "manifest.sha256", nullptr, InjectedFailure::None),
            RemovalOutcome::Refused);
  EXPECT_EQ(RemovePlugin(parent, nullptr, InjectedFailure::AfterBackup),
            RemovalOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(RemovePlugin(parent, nullptr, InjectedFailure::None), RemovalOutcome::Removed);
  EXPECT_EQ(RemovePlugin(parent, nullptr, InjectedFailure::None), RemovalOutcome::NotInstalled);
}

}  // namespace
}  // namespace k7k
