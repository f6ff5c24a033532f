// What goes wrong after a removal from a portable OBS was accepted, and the injected failures.
#include "txn/portable_removal.h"

#include <gtest/gtest.h>

#include "support/conditions.h"
#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kDllBackup = L"portable-remove-dll";
constexpr auto kDataBackup = L"portable-remove-data";
constexpr auto kDllNotIsolated = L"Could not isolate the portable plugin DLL; OBS may be running";
constexpr auto kDataNotIsolated = L"Could not isolate portable plugin data";
constexpr auto kNotRestored = L"Injected portable removal failure could not restore targets";
constexpr auto kDetached = L"Portable plugin was detached, but a private backup remains";
const std::string kDllAside = "k7k-obs-audio.dll > .k7k-obs-audio.portable-remove-dll";
const std::string kDataAside = "k7k-obs-audio > .k7k-obs-audio.portable-remove-data";

class PortableRemovalFailuresTest : public testing::Test, protected PortableTarget {
 protected:
  // The outcome and the message, and that nothing has changed.
  void ExpectUnchanged(RemovalOutcome outcome, const std::wstring& message,
                       InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(outcome, message, Now(), injected);
  }

  // The outcome and the message, and that the pieces of these tags stand under their backup names
  // while the other piece is at its place, or gone.
  void ExpectInBackup(const std::vector<const wchar_t*>& tags, const std::wstring& message,
                      InjectedFailure injected, const std::string& gone = {}) {
    Tree expected = Now();
    EXPECT_EQ(Remove(injected), RemovalOutcome::Failed);
    EXPECT_EQ(detail, message);
    const Tree after = Now();
    if (!gone.empty()) expected = Without(expected, gone);
    for (const wchar_t* tag : tags) {
      expected = Renamed(expected, std::wstring(tag) == kDllBackup ? dll_name : data_name,
                         PrivateName(after, tag));
    }
    EXPECT_EQ(after, expected);
  }
};

// Moving aside.

TEST_F(PortableRemovalFailuresTest, DllCannotBeMovedIn20Attempts_NothingChanges) {
  WriteOldPieces();
  disk.fails = MovesTo(kDllBackup);
  ExpectUnchanged(RemovalOutcome::Failed, kDllNotIsolated);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses.size(), 19U);
}

TEST_F(PortableRemovalFailuresTest, DllHeldOpen_IsNotIsolatedAndNothingChanges) {
  if (!RunsOnWindows()) GTEST_SKIP() << "an open file can be moved on this platform";
  WriteOldPieces();
  const HeldOpen held(dll);
  ExpectUnchanged(RemovalOutcome::Failed, kDllNotIsolated);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

TEST_F(PortableRemovalFailuresTest, DataCannotBeMoved_TheDllIsPutBack) {
  WriteOldPieces();
  disk.fails = MovesTo(kDataBackup);
  ExpectUnchanged(RemovalOutcome::Failed, kDataNotIsolated);
  EXPECT_EQ(disk.Count(Call::Move), 1 + 20 + 1);
}

TEST_F(PortableRemovalFailuresTest, DataCannotBeMovedAndDllNotPutBack_TheMessageIsTheSame) {
  WriteOldPieces();
  disk.fails = Either(MovesTo(kDataBackup), MovesFrom(kDllBackup));
  ExpectInBackup({kDllBackup}, kDataNotIsolated, InjectedFailure::None);
}

TEST_F(PortableRemovalFailuresTest, DataOnlyCannotBeMoved_NothingElseIsTried) {
  WriteOldData();
  disk.fails = MovesTo(kDataBackup);
  ExpectUnchanged(RemovalOutcome::Failed, kDataNotIsolated);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

TEST_F(PortableRemovalFailuresTest, BothMoveAtThe20thAttempt_AreRemoved) {
  WriteOldPieces();
  disk.fails = Either(First(19, MovesTo(kDllBackup)), First(19, MovesTo(kDataBackup)));
  ExpectRemoved();
}

// Injected failures.

TEST_F(PortableRemovalFailuresTest, AfterBackup_BothPiecesAreBackUnderTheirOwnNames) {
  WriteOldPieces();
  ExpectUnchanged(RemovalOutcome::InjectedFailureRolledBack, L"Injected portable removal failure",
                  InjectedFailure::AfterBackup);
  EXPECT_EQ(Moves(disk),
            (std::vector<std::string>{kDllAside, kDataAside,
                                      ".k7k-obs-audio.portable-remove-dll > k7k-obs-audio.dll",
                                      ".k7k-obs-audio.portable-remove-data > k7k-obs-audio"}));
  EXPECT_EQ(disk.Count(Call::Remove), 0);
}

TEST_F(PortableRemovalFailuresTest, AfterBackupWithOnePieceAlone_ItIsBack) {
  WriteOldDll();
  ExpectUnchanged(RemovalOutcome::InjectedFailureRolledBack, L"Injected portable removal failure",
                  InjectedFailure::AfterBackup);
  NativeDisk().RemoveAll(dll);
  WriteOldData();
  ExpectUnchanged(RemovalOutcome::InjectedFailureRolledBack, L"Injected portable removal failure",
                  InjectedFailure::AfterBackup);
}

TEST_F(PortableRemovalFailuresTest, AfterBackupAndDllNotRestored_FailsAndTheDataIsBack) {
  WriteOldPieces();
  disk.fails = MovesFrom(kDllBackup);
  ExpectInBackup({kDllBackup}, kNotRestored, InjectedFailure::AfterBackup);
}

TEST_F(PortableRemovalFailuresTest, AfterBackupAndDataNotRestored_FailsAndTheDllIsBack) {
  WriteOldPieces();
  disk.fails = MovesFrom(kDataBackup);
  ExpectInBackup({kDataBackup}, kNotRestored, InjectedFailure::AfterBackup);
}

TEST_F(PortableRemovalFailuresTest, AfterBackupAndNeitherRestored_BothStayInTheirBackups) {
  WriteOldPieces();
  disk.fails = Either(MovesFrom(kDllBackup), MovesFrom(kDataBackup));
  ExpectInBackup({kDllBackup, kDataBackup}, kNotRestored, InjectedFailure::AfterBackup);
}

TEST_F(PortableRemovalFailuresTest, AfterDllCommitAndUnknownValues_AreTakenForNone) {
  for (const unsigned value : {2U, 3U, 255U, 0xFFFFFFFFU}) {
    WriteOldPieces();
    ExpectRemoved(static_cast<InjectedFailure>(value));
  }
}

// Deleting. Nothing is moved back: OBS no longer sees the plugin.

TEST_F(PortableRemovalFailuresTest, DllBackupCannotBeDeleted_TheDataIsDeletedAndNothingMovedBack) {
  WriteOldPieces();
  disk.fails = RemovesPrivate(kDllBackup);
  ExpectInBackup({kDllBackup}, kDetached, InjectedFailure::None, data_name);
  EXPECT_EQ(disk.Count(Call::Move), 2);
}

TEST_F(PortableRemovalFailuresTest, DataBackupCannotBeDeleted_TheDllIsDeletedAndNothingMovedBack) {
  WriteOldPieces();
  disk.fails = RemovesPrivate(kDataBackup);
  ExpectInBackup({kDataBackup}, kDetached, InjectedFailure::None, dll_name);
  EXPECT_EQ(disk.Count(Call::Move), 2);
}

TEST_F(PortableRemovalFailuresTest, NeitherBackupCanBeDeleted_BothStayUnderTheirBackupNames) {
  WriteOldPieces();
  disk.fails = Either(RemovesPrivate(kDllBackup), RemovesPrivate(kDataBackup));
  ExpectInBackup({kDllBackup, kDataBackup}, kDetached, InjectedFailure::None);
  EXPECT_EQ(disk.Count(Call::Move), 2);
}

TEST_F(PortableRemovalFailuresTest, DataBackupDeletedInPart_WhatIsLeftStaysUnderItsName) {
  WriteOldPieces();
  disk.fails = OnPrivate(Call::Remove, kDataBackup);  // its content goes, the folder itself stays
  const Tree before = Now();
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, kDetached);
  const Tree after = Now();
  EXPECT_EQ(after, With(Uninstalled(before), PrivateName(after, kDataBackup), {}));
}

}  // namespace
}  // namespace k7k
