// What goes wrong after an install into the standard target was accepted, step by step.
#include <gtest/gtest.h>

#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kRolledBack = L"Plugin replacement failed and was rolled back";
constexpr auto kNotReserved = L"Could not reserve transaction paths";
constexpr auto kBackupRemains = L"Plugin was installed, but its private backup remains";
constexpr auto kLibrary = "bin/64bit/k7k-obs-audio.dll";

class StandardInstallFailuresTest : public testing::Test, protected StandardTarget {
 protected:
  StandardInstallFailuresTest() { WriteOldCopy(); }

  // The outcome and the message, and that nothing has changed.
  void ExpectUndone(InstallOutcome outcome, const std::wstring& message) {
    ExpectInstall(outcome, message, Now());
  }

  // The outcome and the message, and that the older copy is complete under its backup name, with
  // nothing at its place.
  void ExpectOldCopyInBackup(InstallOutcome outcome, const std::wstring& message) {
    const Tree before = Now();
    EXPECT_EQ(Install(), outcome);
    EXPECT_EQ(detail, message);
    const Tree after = Now();
    EXPECT_EQ(after, Renamed(before, plugin_name, PrivateName(after, L"backup")));
  }

  void RemoveOldCopy() { NativeDisk().RemoveAll(plugin); }
};

// Reserving.

TEST_F(StandardInstallFailuresTest, StagingNameTaken_FailsAndTouchesNothing) {
  const Tree before = Now();
  disk.fails = Before(OnPrivate(Call::Status, L"staging"),
                      [](const Path& path) { NativeDisk().CreateFolder(path); });
  EXPECT_EQ(Install(), InstallOutcome::Failed);
  EXPECT_EQ(detail, kNotReserved);
  Tree after = Now();
  EXPECT_EQ(after[PrivateName(after, L"staging")], "folder");
  EXPECT_EQ(Without(after, PrivateName(after, L"staging")), before);
  EXPECT_EQ(disk.Count(Call::Copy), 0);
}

TEST_F(StandardInstallFailuresTest, BackupNameTaken_FailsAndTouchesNothing) {
  const Tree before = Now();
  disk.fails = Before(OnPrivate(Call::Status, L"backup"),
                      [](const Path& path) { Plant(path, "somebody's"); });
  EXPECT_EQ(Install(), InstallOutcome::Failed);
  EXPECT_EQ(detail, kNotReserved);
  Tree after = Now();
  EXPECT_EQ(after[PrivateName(after, L"backup")], "file somebody's");
  EXPECT_EQ(Without(after, PrivateName(after, L"backup")), before);
  EXPECT_EQ(disk.Count(Call::Copy), 0);
}

TEST_F(StandardInstallFailuresTest, BackupNameCannotBeAskedAbout_Fails) {
  disk.fails = OnPrivate(Call::Status, L"backup");
  ExpectUndone(InstallOutcome::Failed, kNotReserved);
  EXPECT_EQ(disk.Count(Call::Copy), 0);
}

// The other half of an asymmetry that is kept: the staging name is held to the weaker test.
TEST_F(StandardInstallFailuresTest, StagingNameCannotBeAskedAbout_IsLetThrough) {
  disk.fails = First(1, OnPrivate(Call::Status, L"staging"));
  ExpectInstalled();
}

// Staging.

TEST_F(StandardInstallFailuresTest, StagingFolderCannotBeCreated_RolledBackWithTheCopysMessage) {
  disk.fails = OnPrivate(Call::CreateFolder, L"staging");
  ExpectUndone(InstallOutcome::RolledBack, L"Could not create the staging directory");
}

TEST_F(StandardInstallFailuresTest, FileCannotBeCopied_RolledBackWithTheCopysMessage) {
  disk.fails = On(Call::Copy, bundle / "data" / "locale" / "ja-JP.ini");
  ExpectUndone(InstallOutcome::RolledBack, L"Could not copy the complete payload");
}

TEST_F(StandardInstallFailuresTest, EntryNamedWithTwoDotsFirst_RolledBackAsEscaping) {
  WriteFile(bundle / "..cache/file", "x");
  ExpectUndone(InstallOutcome::RolledBack, L"Payload entry escaped its root");
}

TEST_F(StandardInstallFailuresTest, EntryThatIsNeitherFileNorFolder_RolledBackAsUnsupported) {
  disk.failed_status = FileStatus::Other;
  disk.fails = On(Call::Status, bundle / "extra" / "readme.txt");
  ExpectUndone(InstallOutcome::RolledBack, L"Payload contains an unsupported entry");
}

TEST_F(StandardInstallFailuresTest, WalkStepThatFailsAndYields_RolledBackAsIncomplete) {
  disk.failed_walk_yields = true;
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::WalkAdvance && disk.Count(Call::CreateFolder) > 0;
  };
  ExpectUndone(InstallOutcome::RolledBack, L"Could not read the complete payload");
}

TEST_F(StandardInstallFailuresTest, BundleThatCannotBeListed_TheStagedCopyIsFoundIncomplete) {
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::WalkOpen && call.path == bundle && disk.Count(Call::CreateFolder) > 0;
  };
  ExpectUndone(InstallOutcome::RolledBack, L"Bundle is missing a required plugin file");
}

TEST_F(StandardInstallFailuresTest, StagedCopyDiffers_RolledBackWithTheChecksMessage) {
  disk.fails = Before(OnPrivate(Call::WalkOpen, L"staging"),
                      [](const Path& path) { Plant(path / kLibrary, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, L"Bundle file hash does not match manifest");
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(StandardInstallFailuresTest, StagedFileIsEmpty_RolledBackWithTheChecksMessage) {
  disk.fails = Before(OnPrivate(Call::WalkOpen, L"staging"),
                      [](const Path& path) { Plant(path / kLibrary, ""); });
  ExpectUndone(InstallOutcome::RolledBack, L"A required plugin file is empty");
}

TEST_F(StandardInstallFailuresTest, StagingCannotBeRemoved_TheOutcomeIsTheCopysAllTheSame) {
  const Tree before = Now();
  disk.fails =
      Either(On(Call::Copy, bundle / "data" / "locale" / "ja-JP.ini"), RemovesPrivate(L"staging"));
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, L"Could not copy the complete payload");
  const Tree after = Now();
  EXPECT_EQ(Without(after, PrivateName(after, L"staging")), before);
}

// Moving the older copy aside.

TEST_F(StandardInstallFailuresTest, PluginFolderCannotBeAskedAbout_FailsAndStagingIsRemoved) {
  disk.fails = On(Call::Status, plugin);
  ExpectUndone(InstallOutcome::Failed, L"Could not inspect the existing plugin");
  EXPECT_GT(disk.Count(Call::Copy), 0);
}

TEST_F(StandardInstallFailuresTest, PluginFolderIsALinkLoop_FailsAndStagingIsRemoved) {
  if (RunsUnderWine()) GTEST_SKIP() << "a Unix link loop does not show in Wine";
  RemoveOldCopy();
  MakeFolderLink(plugin, plugin);
  ExpectUndone(InstallOutcome::Failed, L"Could not inspect the existing plugin");
}

// A link without a target counts as absent and is not moved aside; nothing replaces it either.
TEST_F(StandardInstallFailuresTest, PluginFolderIsADanglingLink_IsRolledBackAndTheLinkStays) {
  if (RunsUnderWine()) GTEST_SKIP() << "a link without a target does not show in Wine";
  RemoveOldCopy();
  MakeFolderLink(folder / "nothing", plugin);
  ExpectUndone(InstallOutcome::RolledBack, kRolledBack);
  EXPECT_EQ(NativeDisk().Status(folder / "nothing"), FileStatus::Absent);
}

TEST_F(StandardInstallFailuresTest, OldCopyCannotBeMovedIn20Attempts_IsLeftUntouched) {
  disk.fails = MovesTo(L"backup");
  ExpectUndone(InstallOutcome::Failed,
               L"Could not back up the existing plugin; OBS may be running");
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses.size(), 19U);
}

TEST_F(StandardInstallFailuresTest, OldCopyMovesAtThe20thAttempt_IsReplaced) {
  disk.fails = First(19, MovesTo(L"backup"));
  ExpectInstalled();
}

// The swap.

TEST_F(StandardInstallFailuresTest, NewCopyCannotBeMovedIn_TheOldCopyIsBack) {
  disk.fails = MovesFrom(L"staging");
  ExpectUndone(InstallOutcome::RolledBack, kRolledBack);
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20 + 1);
}

TEST_F(StandardInstallFailuresTest, NewCopyMovesAtThe20thAttempt_IsInstalled) {
  disk.fails = First(19, MovesFrom(L"staging"));
  ExpectInstalled();
}

TEST_F(StandardInstallFailuresTest, NewCopyCannotBeMovedInWithoutAnOldOne_NothingIsLeft) {
  RemoveOldCopy();
  disk.fails = MovesFrom(L"staging");
  ExpectUndone(InstallOutcome::RolledBack, kRolledBack);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

// The message says "rolled back" although the old copy stands under its backup name.
TEST_F(StandardInstallFailuresTest, NeitherMoveInNorRestoreWorks_TheMessageIsTheSame) {
  disk.fails = Either(MovesFrom(L"staging"), MovesFrom(L"backup"));
  ExpectOldCopyInBackup(InstallOutcome::RolledBack, kRolledBack);
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20 + 20);
}

TEST_F(StandardInstallFailuresTest, InstalledCopyDiffers_TheOldCopyIsBackAndTheMessageReplaced) {
  disk.fails = Before(On(Call::WalkOpen, plugin),
                      [](const Path& path) { Plant(path / kLibrary, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, kRolledBack);
}

TEST_F(StandardInstallFailuresTest, FirstInstalledCopyDiffers_NothingIsLeft) {
  RemoveOldCopy();
  disk.fails = Before(On(Call::WalkOpen, plugin),
                      [](const Path& path) { Plant(path / kLibrary, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, kRolledBack);
}

TEST_F(StandardInstallFailuresTest, InstalledCopyDiffersAndRestoreFails_TheMessageIsTheSame) {
  disk.fails = Either(Before(On(Call::WalkOpen, plugin),
                             [](const Path& path) { Plant(path / kLibrary, "damaged"); }),
                      MovesFrom(L"backup"));
  ExpectOldCopyInBackup(InstallOutcome::RolledBack, kRolledBack);
}

TEST_F(StandardInstallFailuresTest, BadNewCopyCannotBeRemoved_TheOldCopyStaysInItsBackup) {
  const Tree before = Now();
  const Tree old_copy = TakeTree(plugin);
  disk.fails = Either(Before(On(Call::WalkOpen, plugin),
                             [](const Path& path) { Plant(path / kLibrary, "damaged"); }),
                      [&](const DiskCall& call) {
                        return call.call == Call::Remove && IsAtOrBelow(call.path, plugin);
                      });
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, kRolledBack);
  Tree bad_copy = TakeTree(bundle);
  bad_copy[kLibrary] = "file damaged";
  const Tree after = Now();
  EXPECT_EQ(after,
            With(With(before, plugin_name, bad_copy), PrivateName(after, L"backup"), old_copy));
}

TEST_F(StandardInstallFailuresTest,
       StagingCannotBeRemovedAfterARollback_TheOldCopyIsBackAllTheSame) {
  const Tree before = Now();
  disk.fails = Either(MovesFrom(L"staging"), RemovesPrivate(L"staging"));
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, kRolledBack);
  const Tree after = Now();
  EXPECT_EQ(Without(after, PrivateName(after, L"staging")), before);
}

// Commit.

TEST_F(StandardInstallFailuresTest, BackupCannotBeRemoved_IsInstalledWithAMessage) {
  const Tree before = Now();
  const Tree old_copy = TakeTree(plugin);
  disk.fails = RemovesPrivate(L"backup");
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, kBackupRemains);
  const Tree after = Now();
  EXPECT_EQ(after, With(Installed(before), PrivateName(after, L"backup"), old_copy));
}

TEST_F(StandardInstallFailuresTest, BackupIsRemovedInPart_IsInstalledWithAMessage) {
  disk.fails = OnPrivate(Call::Remove, L"backup");  // its content goes, the folder itself stays
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, kBackupRemains);
  EXPECT_EQ(TakeTree(plugin), TakeTree(bundle));
  EXPECT_EQ(PrivateEntries(Now()), (Tree{{PrivateName(Now(), L"backup"), "folder"}}));
}

TEST_F(StandardInstallFailuresTest, BackupCannotBeAskedAboutAtTheEnd_IsInstalledWithAMessage) {
  disk.fails = [&](const DiskCall& call) {
    return OnPrivate(Call::Status, L"backup")(call) && disk.Count(Call::Move) == 2;
  };
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, kBackupRemains);
  EXPECT_EQ(TakeTree(plugin), TakeTree(bundle));
}

}  // namespace
}  // namespace k7k
