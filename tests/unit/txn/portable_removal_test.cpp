// Removals from a portable OBS that succeed, find nothing, or are refused; and the private names.
#include "txn/portable_removal.h"

#include <gtest/gtest.h>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kDllBackup = L"portable-remove-dll";
constexpr auto kDataBackup = L"portable-remove-data";
constexpr auto kDataNotIsolated = L"Could not isolate portable plugin data";
const std::string kDllAside = "k7k-obs-audio.dll > .k7k-obs-audio.portable-remove-dll";
const std::string kDataAside = "k7k-obs-audio > .k7k-obs-audio.portable-remove-data";

class PortableRemovalTest : public testing::Test, protected PortableTarget {
 protected:
  // The outcome and the message, and that nothing has changed.
  void ExpectUnchanged(RemovalOutcome outcome, const std::wstring& message,
                       InjectedFailure injected = InjectedFailure::None) {
    ExpectRemoval(outcome, message, Now(), injected);
  }

  // The same for what is found before a private name is used.
  void ExpectRefusedEarly(RemovalOutcome outcome, const std::wstring& message) {
    ExpectUnchanged(outcome, message);
    EXPECT_EQ(PrivateCalls(disk), 0);
  }

  // The last question for the status of a path before anything moves: that of the transaction
  // itself, after those of the checks.
  Rule LastStatusBeforeMoving(const Path& path) {
    FaultDisk rehearsal;
    int questions = 0;
    rehearsal.fails = [&](const DiskCall& call) {
      if (call.call == Call::Status && call.path == path && rehearsal.Count(Call::Move) == 0) {
        ++questions;
      }
      return false;
    };
    EXPECT_EQ(Remove(InjectedFailure::AfterBackup), RemovalOutcome::InjectedFailureRolledBack);
    detail = kSentinel;
    return [=, rule = On(Call::Status, path)](const DiskCall& call) mutable {
      return rule(call) && --questions == 0;
    };
  }
};

TEST_F(PortableRemovalTest, BothPieces_AreRemovedAndNothingElse) {
  WriteOldPieces();
  ExpectRemoved();
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{kDllAside, kDataAside}));
}

TEST_F(PortableRemovalTest, PluginParents_StayEvenWhenEmpty) {
  WriteOldDll();
  WriteOldData();
  ExpectRemoved();
  EXPECT_TRUE(TakeTree(root / "obs-plugins/64bit").empty());
  EXPECT_EQ(Now(), WithParents(Now()));
}

TEST_F(PortableRemovalTest, DllOnly_OnlyTheDllIsMovedAsideAndDeleted) {
  WriteOldDll();
  ExpectRemoved();
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{kDllAside}));
}

TEST_F(PortableRemovalTest, DataOnly_OnlyTheDataIsMovedAsideAndDeleted) {
  WriteOldData();
  ExpectRemoved();
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{kDataAside}));
}

TEST_F(PortableRemovalTest, BackupNames_StandBesideTheirPieces) {
  WriteOldPieces();
  ExpectRemoved();
  for (const DiskCall& call : disk.calls) {
    if (call.call == Call::Move) {
      EXPECT_EQ(call.to.parent_path(), call.path.parent_path());
    }
  }
}

TEST_F(PortableRemovalTest, DamagedPieces_AreRemoved) {
  WriteFile(dll, "");
  MakeFolder(data);
  ExpectRemoved();
}

TEST_F(PortableRemovalTest, ReadOnlyPieces_AreRemoved) {
  WriteOldPieces();
  MakeReadOnly(dll);
  MakeReadOnly(data / "locale/en-US.ini");
  ExpectRemoved();
}

TEST_F(PortableRemovalTest, NoBundleIsConsulted) {
  WriteOldPieces();
  NativeDisk().RemoveAll(bundle);
  ExpectRemoved();
}

TEST_F(PortableRemovalTest, ValidRootWithoutThePlugin_IsNotInstalledWithoutAMessage) {
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(PortableRemovalTest, SecondRemovalAfterASuccess_IsNotInstalled) {
  WriteOldPieces();
  ExpectRemoved();
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

TEST_F(PortableRemovalTest, AfterBackupWithoutThePlugin_IsNotInstalled) {
  ExpectUnchanged(RemovalOutcome::NotInstalled, kSentinel, InjectedFailure::AfterBackup);
}

// Refusals.

TEST_F(PortableRemovalTest, RootNoLongerMarkedAsPortable_IsRefusedAlthoughThePluginIsThere) {
  WriteOldPieces();
  NativeDisk().RemoveAll(root / "portable_mode.txt");
  ExpectRefusedEarly(RemovalOutcome::Refused,
                     L"The selected OBS folder is not marked for portable mode");
}

TEST_F(PortableRemovalTest, RelativeRoot_IsRefused) {
  EXPECT_EQ(RemovePortablePlugin("obs", &detail, InjectedFailure::None), RemovalOutcome::Refused);
  EXPECT_EQ(detail, L"Portable OBS root must be an absolute path");
}

TEST_F(PortableRemovalTest, DataFolderWithALink_IsRefusedBeforeAnythingMoves) {
  WriteFile(folder / "elsewhere/kept", "kept");
  WriteOldPieces();
  MakeFolderLink(folder / "elsewhere", data / "old" / "link");
  ExpectRefusedEarly(RemovalOutcome::Refused, L"The portable OBS plugin data path is unsafe");
  EXPECT_EQ(TakeTree(folder / "elsewhere"), (Tree{{"kept", "file kept"}}));
}

// The targets are checked once more after the root was validated. Each check asks twice about the
// data folder, so that the third question is the second check's first.
TEST_F(PortableRemovalTest, LinkThatAppearsAfterTheRootWasValidated_IsRefusedBeforeAnythingMoves) {
  MakeFolder(folder / "elsewhere");
  WriteOldPieces();
  disk.fails = Before(
      [this, questions = 0](const DiskCall& call) mutable {
        return On(Call::Status, data)(call) && ++questions == 3;
      },
      [this](const Path& path) { MakeFolderLink(folder / "elsewhere", path / "old" / "link"); });
  EXPECT_EQ(Remove(), RemovalOutcome::Refused);
  EXPECT_EQ(detail, L"The portable OBS plugin data path is unsafe");
  EXPECT_EQ(PrivateCalls(disk), 0);
  EXPECT_EQ(Now()[data_name + "/old/link"], "link");
}

TEST_F(PortableRemovalTest, DllPathThatIsAFolder_IsRefused) {
  WriteFile(dll / "file", "x");
  ExpectRefusedEarly(RemovalOutcome::Refused, L"The portable OBS plugin DLL path is unsafe");
}

TEST_F(PortableRemovalTest, PluginParentThatIsALink_IsRefused) {
  WriteFile(folder / "elsewhere/64bit/k7k-obs-audio.dll", "x");
  MakeFolderLink(folder / "elsewhere", root / "obs-plugins");
  ExpectRefusedEarly(RemovalOutcome::Refused,
                     L"A portable OBS plugin parent is unavailable or unsafe");
}

// The check's own silence: see the next test for the transaction's.
TEST_F(PortableRemovalTest, DataCannotBeAskedAboutByTheCheck_IsRefusedWithoutAMessage) {
  WriteOldPieces();
  disk.fails = On(Call::Status, data);
  ExpectRefusedEarly(RemovalOutcome::Refused, kSentinel);
}

TEST_F(PortableRemovalTest, DataCannotBeAskedAboutAfterTheCheck_FailsWithoutAMessage) {
  WriteOldPieces();
  disk.fails = LastStatusBeforeMoving(data);
  ExpectRefusedEarly(RemovalOutcome::Failed, kSentinel);
}

TEST_F(PortableRemovalTest, DllCannotBeAskedAbout_CountsAsAbsentAndTheDataIsRemoved) {
  WriteOldPieces();
  const Tree before = Now();
  disk.fails = On(Call::Status, dll);
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(detail, kSentinel);
  EXPECT_EQ(Now(), Without(before, data_name));
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{kDataAside}));
}

TEST_F(PortableRemovalTest, DllAloneCannotBeAskedAbout_IsNotInstalled) {
  WriteOldDll();
  disk.fails = On(Call::Status, dll);
  ExpectRefusedEarly(RemovalOutcome::NotInstalled, kSentinel);
}

// The private names are used without a question, unlike everywhere else.

TEST_F(PortableRemovalTest, BackupNames_AreNotTestedForBeingFree) {
  WriteOldPieces();
  bool asked = false;
  disk.fails = [&](const DiskCall& call) {
    asked |= call.call != Call::Move && IsPrivate(call.path, L"portable-remove-dll") &&
             disk.Count(Call::Move) == 0;
    asked |= call.call != Call::Move && IsPrivate(call.path, L"portable-remove-data") &&
             disk.Count(Call::Move) < 2;
    return false;
  };
  ExpectRemoved();
  EXPECT_FALSE(asked);
}

TEST_F(PortableRemovalTest, FileUnderTheDllBackupName_IsReplacedByTheMove) {
  WriteOldPieces();
  disk.fails = [&](const DiskCall& call) {
    if (MovesTo(kDllBackup)(call)) Plant(call.to, "somebody's");
    return false;
  };
  ExpectRemoved();
}

TEST_F(PortableRemovalTest, FolderUnderTheDataBackupName_StopsTheMoveAndTheDllIsPutBack) {
  WriteOldPieces();
  Tree expected = Now();
  disk.fails = [&](const DiskCall& call) {
    if (MovesTo(kDataBackup)(call) && NativeDisk().Status(call.to) == FileStatus::Absent) {
      NativeDisk().CreateFolder(call.to);
      Plant(call.to / "file", "somebody's");
    }
    return false;
  };
  EXPECT_EQ(Remove(), RemovalOutcome::Failed);
  EXPECT_EQ(detail, kDataNotIsolated);
  const Tree after = Now();
  EXPECT_EQ(after, With(expected, PrivateName(after, kDataBackup), {{"file", "file somebody's"}}));
}

TEST_F(PortableRemovalTest, CallerWithoutADetail_GetsTheOutcomeAlone) {
  WriteOldPieces();
  EXPECT_EQ(RemovePortablePlugin(bundle, nullptr, InjectedFailure::None), RemovalOutcome::Refused);
  EXPECT_EQ(RemovePortablePlugin(root, nullptr, InjectedFailure::AfterBackup),
            RemovalOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(RemovePortablePlugin(root, nullptr, InjectedFailure::None), RemovalOutcome::Removed);
}

}  // namespace
}  // namespace k7k
