// What goes wrong with an install into a portable OBS that held an older plugin, step by step.
#include <gtest/gtest.h>

#include "support/bundle_facts.h"
#include "support/conditions.h"
#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotStaged = L"Could not stage and verify the portable OBS plugin";
constexpr auto kDllNotBackedUp =
    L"Could not back up the portable OBS plugin DLL; OBS may be running";
constexpr auto kDataNotBackedUp = L"Could not back up portable OBS plugin data";
constexpr auto kNotReplaced = L"Portable OBS plugin replacement failed and was rolled back";
constexpr auto kNotVerified = L"Portable OBS plugin verification failed and was rolled back";

class PortableInstallFailuresTest : public testing::Test, protected PortableTarget {
 protected:
  PortableInstallFailuresTest() { WriteOldPieces(); }

  // Writes the bundle's required data files into a folder behind the engine's back.
  static void PlantData(const Path& to) {
    NativeDisk().CreateFolder(to);
    NativeDisk().CreateFolder(to / "locale");
    for (const char* file : kDataFiles) Plant(to / BelowData(file), std::string(32, 'N'));
  }

  // A question for a status between staging and the first move.
  Rule StatusBeforeMoving(const Path& path) const {
    return [this, rule = On(Call::Status, path)](const DiskCall& call) {
      return rule(call) && disk.Count(Call::Copy) > 0 && disk.Count(Call::Move) == 0;
    };
  }

  // The outcome and the message, and that the old pieces of these names stand under their backup
  // names while the others are back.
  void ExpectInBackup(const std::vector<const wchar_t*>& tags, InstallOutcome outcome,
                      const std::wstring& message,
                      InjectedFailure injected = InjectedFailure::None) {
    Tree expected = Now();
    EXPECT_EQ(Install(injected), outcome);
    EXPECT_EQ(detail, message);
    const Tree after = Now();
    for (const wchar_t* tag : tags) {
      const bool is_dll = std::wstring(tag) == kDllBackup;
      expected = Renamed(expected, is_dll ? dll_name : data_name, PrivateName(after, tag));
    }
    EXPECT_EQ(after, expected);
  }

  static constexpr auto kDllBackup = L"portable-dll-backup";
  static constexpr auto kDataBackup = L"portable-data-backup";
};

// Staging.

TEST_F(PortableInstallFailuresTest, EntryBelowDataWithTwoDotsFirst_TheCopysMessageIsReplaced) {
  WriteFile(bundle / "data/..cache/file", "x");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
}

TEST_F(PortableInstallFailuresTest, EntryThatIsNeitherFileNorFolder_TheCopysMessageIsReplaced) {
  disk.failed_status = FileStatus::Other;
  disk.fails = On(Call::Status, bundle / "data" / "extra" / "notes.txt");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
}

// The copy's own verdict counts, whatever the comparison of the staged files would say.
TEST_F(PortableInstallFailuresTest, CopyFailsWithEveryRequiredFileStaged_IsNotStaged) {
  disk.fails = [&](const DiskCall& call) {
    if (!On(Call::Copy, bundle / "data" / "extra" / "notes.txt")(call)) return false;
    PlantData(call.to.parent_path().parent_path());
    return true;
  };
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
}

TEST_F(PortableInstallFailuresTest, DataStagingCannotBeCreated_IsNotStaged) {
  disk.fails = OnPrivate(Call::CreateFolder, L"portable-data-staging");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
}

TEST_F(PortableInstallFailuresTest, BundleDataThatChangesAfterItsCheck_IsNotStaged) {
  disk.fails = Before(OnPrivate(Call::OpenInput, L"portable-dll-staging"), [&](const Path&) {
    Plant(bundle / "data/locale/zh-TW.ini", "changed after it was copied");
  });
  Tree expected = Now();
  expected["bundle/data/locale/zh-TW.ini"] = "file changed after it was copied";
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, kNotStaged);
  EXPECT_EQ(Now(), expected);
}

TEST_F(PortableInstallFailuresTest, FileThatAppearsAtTheDllStaging_IsNotOverwritten) {
  disk.fails = [&](const DiskCall& call) {
    if (call.call == Call::Copy && disk.Count(Call::Copy) == 1) Plant(call.to, "in the way");
    return false;
  };
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Copy), 1);
}

TEST_F(PortableInstallFailuresTest, StagingsCannotBeRemoved_TheOutcomeIsTheSame) {
  const Tree before = Now();
  disk.fails = Either(On(Call::Copy, bundle / "data" / "locale" / "ja-JP.ini"),
                      [](const DiskCall& call) { return call.call == Call::Remove; });
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, kNotStaged);
  const Tree after = Now();
  EXPECT_EQ(Without(Without(after, PrivateName(after, L"portable-dll-staging")),
                    PrivateName(after, L"portable-data-staging")),
            before);
}

// Looking for the old pieces.

TEST_F(PortableInstallFailuresTest, DataCannotBeAskedAbout_FailsAndStagingsAreRemoved) {
  disk.fails = StatusBeforeMoving(data);
  ExpectUndone(InstallOutcome::Failed, L"Could not inspect portable OBS targets");
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_F(PortableInstallFailuresTest, DllCannotBeAskedAbout_CountsAsAbsentAndIsReplacedUnsaved) {
  const Tree before = Now();
  disk.fails = StatusBeforeMoving(dll);
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, kSentinel);
  EXPECT_EQ(Now(), Installed(before));
  EXPECT_EQ(Moves(disk).size(), 3U);
  EXPECT_EQ(Moves(disk).front(), "k7k-obs-audio > .k7k-obs-audio.portable-data-backup");
}

// An old library that was not seen has no backup, and the rollback removes what stands at its
// place: lost by design.
TEST_F(PortableInstallFailuresTest, DllCannotBeAskedAboutAndDataMoveFails_TheOldDllIsLostByDesign) {
  const Tree before = Now();
  disk.fails = Either(StatusBeforeMoving(dll), MovesFrom(L"portable-data-staging"));
  EXPECT_EQ(Install(), InstallOutcome::RolledBack);
  EXPECT_EQ(detail, kNotVerified);
  EXPECT_EQ(Now(), Without(before, dll_name));
}

TEST_F(PortableInstallFailuresTest, DllCannotBeAskedAboutAndAfterBackup_TheOldDllIsLostByDesign) {
  const Tree before = Now();
  disk.fails = StatusBeforeMoving(dll);
  EXPECT_EQ(Install(InjectedFailure::AfterBackup), InstallOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(detail, L"Injected portable transaction failure");
  EXPECT_EQ(Now(), Without(before, dll_name));
}

// Moving the old pieces aside.

TEST_F(PortableInstallFailuresTest, DllCannotBeBackedUpIn20Attempts_IsLeftUntouched) {
  disk.fails = MovesTo(kDllBackup);
  ExpectUndone(InstallOutcome::Failed, kDllNotBackedUp);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses.size(), 19U);
}

TEST_F(PortableInstallFailuresTest, DllHeldOpen_IsNotBackedUpAndNothingIsLost) {
  if (!RunsOnWindows()) GTEST_SKIP() << "an open file can be moved on this platform";
  const HeldOpen held(dll);
  ExpectUndone(InstallOutcome::Failed, kDllNotBackedUp);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

TEST_F(PortableInstallFailuresTest, DataCannotBeBackedUp_TheDllIsPutBack) {
  disk.fails = MovesTo(kDataBackup);
  ExpectUndone(InstallOutcome::Failed, kDataNotBackedUp);
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20 + 1);
}

TEST_F(PortableInstallFailuresTest, DataCannotBeBackedUpAndDllNotPutBack_TheMessageIsTheSame) {
  disk.fails = Either(MovesTo(kDataBackup), MovesFrom(kDllBackup));
  ExpectInBackup({kDllBackup}, InstallOutcome::Failed, kDataNotBackedUp);
}

TEST_F(PortableInstallFailuresTest, DataCannotBeBackedUpWithoutADll_NothingElseIsMoved) {
  NativeDisk().RemoveAll(dll);
  disk.fails = MovesTo(kDataBackup);
  ExpectUndone(InstallOutcome::Failed, kDataNotBackedUp);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

// Rollbacks whose restore fails.

TEST_F(PortableInstallFailuresTest, AfterBackupAndDllNotRestored_FailsAndTheDataIsBack) {
  disk.fails = MovesFrom(kDllBackup);
  ExpectInBackup({kDllBackup}, InstallOutcome::Failed,
                 L"Injected portable failure could not restore its backup",
                 InjectedFailure::AfterBackup);
}

TEST_F(PortableInstallFailuresTest, AfterBackupAndDataNotRestored_FailsAndTheDllIsBack) {
  disk.fails = MovesFrom(kDataBackup);
  ExpectInBackup({kDataBackup}, InstallOutcome::Failed,
                 L"Injected portable failure could not restore its backup",
                 InjectedFailure::AfterBackup);
}

TEST_F(PortableInstallFailuresTest, AfterDllCommitAndDllNotRestored_FailsAndTheDataIsBack) {
  disk.fails = MovesFrom(kDllBackup);
  ExpectInBackup({kDllBackup}, InstallOutcome::Failed,
                 L"Injected portable commit failure could not restore its backup",
                 InjectedFailure::AfterDllCommit);
}

TEST_F(PortableInstallFailuresTest, AfterDllCommitAndNeitherRestored_BothStayInTheirBackups) {
  disk.fails = Either(MovesFrom(kDllBackup), MovesFrom(kDataBackup));
  ExpectInBackup({kDllBackup, kDataBackup}, InstallOutcome::Failed,
                 L"Injected portable commit failure could not restore its backup",
                 InjectedFailure::AfterDllCommit);
}

TEST_F(PortableInstallFailuresTest, DllMoveInAndRestoresFail_TheMessageIsTheSame) {
  disk.fails = Either(MovesFrom(L"portable-dll-staging"),
                      Either(MovesFrom(kDllBackup), MovesFrom(kDataBackup)));
  ExpectInBackup({kDllBackup, kDataBackup}, InstallOutcome::Failed, kNotReplaced);
}

TEST_F(PortableInstallFailuresTest, DataMoveInAndRestoresFail_TheMessageIsTheSame) {
  disk.fails = Either(MovesFrom(L"portable-data-staging"),
                      Either(MovesFrom(kDllBackup), MovesFrom(kDataBackup)));
  ExpectInBackup({kDllBackup, kDataBackup}, InstallOutcome::RolledBack, kNotVerified);
}

// The failed move counts, whatever the comparison of the installed files would say.
TEST_F(PortableInstallFailuresTest, DataMoveInFailsWithTheRightFilesInPlace_IsRolledBack) {
  disk.fails = [&](const DiskCall& call) {
    if (!MovesFrom(L"portable-data-staging")(call)) return false;
    PlantData(data);
    return true;
  };
  ExpectUndone(InstallOutcome::RolledBack, kNotVerified);
}

TEST_F(PortableInstallFailuresTest, StagingsCannotBeRemovedInARollback_CountsAsUndone) {
  const Tree before = Now();
  disk.fails =
      Either(RemovesPrivate(L"portable-dll-staging"), RemovesPrivate(L"portable-data-staging"));
  EXPECT_EQ(Install(InjectedFailure::AfterBackup), InstallOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(detail, L"Injected portable transaction failure");
  const Tree after = Now();
  EXPECT_EQ(Without(Without(after, PrivateName(after, L"portable-dll-staging")),
                    PrivateName(after, L"portable-data-staging")),
            before);
}

// Commit.

class PortableInstallCommitTest : public PortableInstallFailuresTest {
 protected:
  // The new plugin is in place with that message, and these backups remain.
  void ExpectRemains(const std::vector<const wchar_t*>& tags, const std::wstring& message) {
    const Tree before = Now();
    EXPECT_EQ(Install(), InstallOutcome::Installed);
    EXPECT_EQ(detail, message);
    const Tree after = Now();
    Tree expected = Installed(before);
    for (const wchar_t* tag : tags) {
      if (std::wstring(tag) == kDllBackup) {
        expected[PrivateName(after, tag)] = before.at(dll_name);
      } else {
        const Tree old_data{{"locale", "folder"},
                            {"locale/en-US.ini", "file the old text"},
                            {"old", "folder"},
                            {"old/only-here.txt", "file old"}};
        expected = With(expected, PrivateName(after, tag), old_data);
      }
    }
    EXPECT_EQ(after, expected);
  }
};

TEST_F(PortableInstallCommitTest, DllBackupCannotBeRemoved_IsInstalledWithAMessage) {
  disk.fails = RemovesPrivate(kDllBackup);
  ExpectRemains({kDllBackup}, L"Portable plugin installed; DLL backup remains");
}

TEST_F(PortableInstallCommitTest, DataBackupCannotBeRemoved_IsInstalledWithAMessage) {
  disk.fails = RemovesPrivate(kDataBackup);
  ExpectRemains({kDataBackup}, L"Portable plugin installed; data backup remains");
}

TEST_F(PortableInstallCommitTest, NeitherBackupCanBeRemoved_TheDataMessageReplacesTheDllMessage) {
  disk.fails = Either(RemovesPrivate(kDllBackup), RemovesPrivate(kDataBackup));
  ExpectRemains({kDllBackup, kDataBackup}, L"Portable plugin installed; data backup remains");
}

}  // namespace
}  // namespace k7k
