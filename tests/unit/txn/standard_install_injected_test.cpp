// The failures that are injected into an install into the standard target, and the numbers of both.
#include <gtest/gtest.h>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

class StandardInstallInjectedTest : public testing::Test, protected StandardTarget {
 protected:
  StandardInstallInjectedTest() { WriteOldCopy(); }

  // The outcome and the message, and that nothing has changed.
  void ExpectUndone(InstallOutcome outcome, const std::wstring& message) {
    ExpectInstall(outcome, message, Now(), InjectedFailure::AfterBackup);
  }

  // The outcome and the message, and that the older copy is complete under its backup name, with
  // nothing at its place.
  void ExpectOldCopyInBackup(InstallOutcome outcome, const std::wstring& message) {
    const Tree before = Now();
    EXPECT_EQ(Install(InjectedFailure::AfterBackup), outcome);
    EXPECT_EQ(detail, message);
    const Tree after = Now();
    EXPECT_EQ(after, Renamed(before, plugin_name, PrivateName(after, L"backup")));
  }

  void RemoveOldCopy() { NativeDisk().RemoveAll(plugin); }
};

TEST_F(StandardInstallInjectedTest, AfterBackupWithoutAnOldCopy_LeavesNoPluginFolder) {
  RemoveOldCopy();
  ExpectUndone(InstallOutcome::InjectedFailureRolledBack, L"Injected transaction failure");
  EXPECT_EQ(disk.Count(Call::Move), 0);
  EXPECT_GT(disk.Count(Call::Copy), 0);
}

TEST_F(StandardInstallInjectedTest, AfterBackupWithAnOldCopy_PutsItBackByteForByte) {
  ExpectUndone(InstallOutcome::InjectedFailureRolledBack, L"Injected transaction failure");
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{"k7k-obs-audio > .k7k-obs-audio.backup",
                                                   ".k7k-obs-audio.backup > k7k-obs-audio"}));
}

TEST_F(StandardInstallInjectedTest, AfterBackupAndRestoreFails_FailsWithTheErrorCode) {
  disk.fails = MovesFrom(L"backup");
  disk.move_error = 32;
  ExpectOldCopyInBackup(InstallOutcome::Failed, L"Injected failure could not restore backup: 32");
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20);
}

TEST_F(StandardInstallInjectedTest, AfterBackupAndRestoreFails_TheCodeIsTheLastAttemptsAndSigned) {
  disk.fails = [&](const DiskCall& call) {
    disk.move_error = disk.Count(Call::Move) == 21 ? -2147024891 : 32;
    return MovesFrom(L"backup")(call);
  };
  ExpectOldCopyInBackup(InstallOutcome::Failed,
                        L"Injected failure could not restore backup: -2147024891");
}

TEST_F(StandardInstallInjectedTest, AfterBackupAndStagingCannotBeRemoved_CountsAsUndone) {
  const Tree before = Now();
  disk.fails = RemovesPrivate(L"staging");
  EXPECT_EQ(Install(InjectedFailure::AfterBackup), InstallOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(detail, L"Injected transaction failure");
  const Tree after = Now();
  EXPECT_EQ(Without(after, PrivateName(after, L"staging")), before);
}

TEST_F(StandardInstallInjectedTest, AfterDllCommit_IsIgnored) {
  const Tree before = Now();
  EXPECT_EQ(Install(InjectedFailure::AfterDllCommit), InstallOutcome::Installed);
  EXPECT_EQ(detail, kSentinel);
  EXPECT_EQ(Now(), Installed(before));
}

TEST_F(StandardInstallInjectedTest, UnknownInjectedValues_AreTakenForNone) {
  const Tree before = Now();
  for (const unsigned value : {3U, 255U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Install(static_cast<InjectedFailure>(value)), InstallOutcome::Installed);
    EXPECT_EQ(detail, kSentinel);
    EXPECT_EQ(Now(), Installed(before));
  }
}

// The numbers go into the exit code.
}  // namespace
}  // namespace k7k
