// What goes wrong after a removal from the standard target was accepted, and the injected failures.
#include "txn/standard_removal.h"

#include <gtest/gtest.h>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotReserved = L"Could not reserve the removal backup path";
constexpr auto kNotIsolated = L"Could not isolate the plugin; OBS may be running";

class StandardRemovalFailuresTest : public testing::Test, protected StandardTarget {
 protected:
  StandardRemovalFailuresTest() { WriteOldCopy(); }

  // The outcome and the message, and that nothing has changed.
  void ExpectUnchanged(RemovalOutcome outcome, const std::wstring& message,
                       InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(outcome, message, Now(), injected);
  }
};

// Reserving and moving aside.

TEST_F(StandardRemovalFailuresTest, BackupNameTaken_Fails) {
  const Tree before = Now();
  disk.fails = Before(OnPrivate(Call::Status, L"remove-backup"),
                      [](const Path& path) { Plant(path, "somebody's"); });
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, kNotReserved);
  Tree after = Now();
  EXPECT_EQ(after[PrivateName(after, L"remove-backup")], "file somebody's");
  EXPECT_EQ(Without(after, PrivateName(after, L"remove-backup")), before);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(StandardRemovalFailuresTest, BackupNameCannotBeAskedAbout_Fails) {
  disk.fails = OnPrivate(Call::Status, L"remove-backup");
  ExpectUnchanged(RemovalOutcome::Failed, kNotReserved);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(StandardRemovalFailuresTest, PluginCannotBeMovedIn20Attempts_IsLeftUntouched) {
  disk.fails = MovesTo(L"remove-backup");
  ExpectUnchanged(RemovalOutcome::Failed, kNotIsolated);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses.size(), 19U);
}

TEST_F(StandardRemovalFailuresTest, PluginMovesAtThe20thAttempt_IsRemoved) {
  disk.fails = First(19, MovesTo(L"remove-backup"));
  ExpectRemoved();
}

// Injected failures.

TEST_F(StandardRemovalFailuresTest, AfterBackup_ThePluginIsBackUnderItsOwnName) {
  ExpectUnchanged(RemovalOutcome::InjectedFailureRolledBack, L"Injected removal failure",
                  InjectedFailure::AfterBackup);
  EXPECT_EQ(Moves(disk),
            (std::vector<std::string>{"k7k-obs-audio > .k7k-obs-audio.remove-backup",
                                      ".k7k-obs-audio.remove-backup > k7k-obs-audio"}));
  EXPECT_EQ(disk.Count(Call::Remove), 0);
}

TEST_F(StandardRemovalFailuresTest, AfterBackupAndRestoreFails_FailsAndThePluginStaysInItsBackup) {
  const Tree before = Now();
  disk.fails = MovesFrom(L"remove-backup");
  EXPECT_EQ(Remove(InjectedFailure::AfterBackup), RemovalOutcome::Failed);
  EXPECT_EQ(detail, L"Injected removal failure could not restore the plugin");
  const Tree after = Now();
  EXPECT_EQ(after, Renamed(before, plugin_name, PrivateName(after, L"remove-backup")));
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20);
}

TEST_F(StandardRemovalFailuresTest, AfterDllCommit_IsIgnored) {
  ExpectRemoved(InjectedFailure::AfterDllCommit);
}

TEST_F(StandardRemovalFailuresTest, UnknownInjectedValues_AreTakenForNone) {
  for (const unsigned value : {3U, 255U, 0xFFFFFFFFU}) {
    WriteOldCopy();
    ExpectRemoved(static_cast<InjectedFailure>(value));
  }
}

// Deleting.

TEST_F(StandardRemovalFailuresTest, DeletionFailsAtOnce_ThePluginIsBackWhole) {
  disk.fails = RemovesPrivate(L"remove-backup");
  ExpectUnchanged(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back");
}

TEST_F(StandardRemovalFailuresTest, DeletionFailsHalfWay_WhatIsLeftIsMovedBack) {
  Tree expected = Now();
  int removals = 0;
  disk.fails = [&](const DiskCall& call) {
    if (call.call != Call::Remove) return false;
    if (++removals > 5) return true;
    // Its name below the backup is its name below the plugin folder.
    Path below;
    for (Path at = call.path; !IsPrivate(at, L"remove-backup"); at = at.parent_path()) {
      below = below.empty() ? at.filename() : at.filename() / below;
    }
    expected.erase(plugin_name + "/" + below.generic_string());
    return false;
  };
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, L"Plugin removal failed and was rolled back");
  EXPECT_EQ(removals, 6);
  EXPECT_EQ(Now(), expected);
}

TEST_F(StandardRemovalFailuresTest, DeletionFailsAfterTheContent_TheEmptyFolderIsMovedBack) {
  const Tree before = Now();
  disk.fails = OnPrivate(Call::Remove, L"remove-backup");
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, L"Plugin removal failed and was rolled back");
  EXPECT_EQ(Now(), With(before, plugin_name, {}));
}

TEST_F(StandardRemovalFailuresTest, BackupCannotBeAskedAboutForItsDeletion_ThePluginIsBackWhole) {
  disk.fails = [&](const DiskCall& call) {
    return OnPrivate(Call::Status, L"remove-backup")(call) && disk.Count(Call::Move) == 1;
  };
  ExpectUnchanged(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back");
}

TEST_F(StandardRemovalFailuresTest, NeitherDeletionNorRestoreWorks_ThePluginStaysInItsBackup) {
  const Tree before = Now();
  disk.fails = Either(RemovesPrivate(L"remove-backup"), MovesFrom(L"remove-backup"));
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, L"Plugin removal failed and its backup could not be restored");
  const Tree after = Now();
  EXPECT_EQ(after, Renamed(before, plugin_name, PrivateName(after, L"remove-backup")));
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20);
}

TEST_F(StandardRemovalFailuresTest, DeletionFailsAndRestoreWorksAtThe20thAttempt_IsRolledBack) {
  disk.fails = Either(RemovesPrivate(L"remove-backup"), First(19, MovesFrom(L"remove-backup")));
  ExpectUnchanged(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back");
}

}  // namespace
}  // namespace k7k
