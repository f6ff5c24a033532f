// Installs into a portable OBS that succeed.
#include "txn/portable_install.h"

#include <gtest/gtest.h>

#include "support/conditions.h"
#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

const std::vector<std::string> kMovesIn{".k7k-obs-audio.portable-dll-staging > k7k-obs-audio.dll",
                                        ".k7k-obs-audio.portable-data-staging > k7k-obs-audio"};
const std::string kDllAside = "k7k-obs-audio.dll > .k7k-obs-audio.portable-dll-backup";
const std::string kDataAside = "k7k-obs-audio > .k7k-obs-audio.portable-data-backup";

class PortableInstallTest : public testing::Test, protected PortableTarget {
 protected:
  // The moves of the old pieces that came before those of the new ones.
  void ExpectMoves(std::vector<std::string> aside) {
    aside.insert(aside.end(), kMovesIn.begin(), kMovesIn.end());
    EXPECT_EQ(Moves(disk), aside);
  }
};

TEST_F(PortableInstallTest, NeitherPieceThere_MakesNoBackupAndLeavesTheDetailUntouched) {
  ExpectInstalled();
  ExpectMoves({});
  EXPECT_EQ(disk.Count(Call::Remove), 0);
}

TEST_F(PortableInstallTest, OldPieces_AreReplacedWholeAndTheirBackupsDeleted) {
  WriteOldPieces();
  ExpectInstalled();
  ExpectMoves({kDllAside, kDataAside});
}

TEST_F(PortableInstallTest, OldDataOnly_SkipsTheDllBackupAndRemovesOnlyTheDataBackup) {
  WriteOldData();
  ExpectInstalled();
  ExpectMoves({kDataAside});
  for (const DiskCall& call : disk.calls) {
    EXPECT_FALSE(call.call == Call::Remove && IsPrivate(call.path, L"portable-dll-backup"));
  }
}

TEST_F(PortableInstallTest, OldDllOnly_SkipsTheDataBackup) {
  WriteOldDll();
  ExpectInstalled();
  ExpectMoves({kDllAside});
}

TEST_F(PortableInstallTest, InstallTwice_SecondRunBacksUpBothPiecesAndDeletesTheBackups) {
  ExpectInstalled();
  ExpectInstalled();
  ExpectMoves({kDllAside, kDataAside});
  EXPECT_TRUE(PrivateEntries(Now()).empty());
}

TEST_F(PortableInstallTest, PrivateNames_StandBesideTheirTargets) {
  WriteOldPieces();
  ExpectInstalled();
  for (const DiskCall& call : disk.calls) {
    if (call.call != Call::Move) continue;
    EXPECT_EQ(call.path.parent_path(), call.to.parent_path());
    EXPECT_TRUE(call.path.parent_path() == dll.parent_path() ||
                call.path.parent_path() == data.parent_path());
  }
}

TEST_F(PortableInstallTest, DamagedPieces_AreRepaired) {
  ExpectInstalled();
  const Tree intact = Now();
  Plant(dll, "");
  NativeDisk().RemoveAll(data / "locale/ja-JP.ini");
  Plant(data / "locale/en-US.ini", "tampered");
  ExpectInstalled();
  EXPECT_EQ(Now(), intact);
}

TEST_F(PortableInstallTest, OldEmptyDataFolder_IsReplaced) {
  MakeFolder(data);
  ExpectInstalled();
  ExpectMoves({kDataAside});
}

TEST_F(PortableInstallTest, EmptyFolderInTheBundlesData_IsInstalledToo) {
  MakeFolder(bundle / "data/empty");
  ExpectInstalled();
  EXPECT_EQ(Now()[data_name + "/empty"], "folder");
}

TEST_F(PortableInstallTest, OnlyTheLibraryAndTheData_AreCopied) {
  ExpectInstalled();
  EXPECT_EQ(TakeTree(dll.parent_path()),
            (Tree{{"k7k-obs-audio.dll", "file " + std::string(32, 'N')}}));
  EXPECT_EQ(TakeTree(data), TakeTree(bundle / "data"));
}

TEST_F(PortableInstallTest, LeftoversOfAnEarlierRun_AreNeitherReusedNorRemoved) {
  WriteFile(dll.parent_path() / ".k7k-obs-audio.portable-dll-backup.1.2", "old once");
  WriteFile(data.parent_path() / ".k7k-obs-audio.portable-data-staging.1.2/file", "once");
  ExpectInstalled();
}

TEST_F(PortableInstallTest, ReadOnlyFiles_InstallTwiceAndRemoveLeaveNothing) {
  for (const char* file : {"bin/64bit/k7k-obs-audio.dll", "data/locale/en-US.ini",
                           "data/locale/ko-KR.ini", "data/extra/notes.txt", "manifest.sha256"}) {
    MakeReadOnly(bundle / file);
  }
  const Tree before = Now();
  ExpectInstalled();
  EXPECT_TRUE(IsReadOnly(dll));
  EXPECT_TRUE(IsReadOnly(data / "locale/en-US.ini"));
  ExpectInstalled();
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(Now(), WithParents(before));
}

// An open file cannot be moved on Windows until it is closed.
TEST_F(PortableInstallTest, DllHeldOpenAndReleasedInTime_IsReplaced) {
  if (!RunsOnWindows()) GTEST_SKIP() << "an open file can be moved on this platform";
  WriteOldPieces();
  auto held = std::make_unique<HeldOpen>(dll);
  disk.fails = [&](const DiskCall& call) {
    if (call.call == Call::Move && disk.pauses.size() == 4) held.reset();
    return false;
  };
  ExpectInstalled();
  EXPECT_EQ(disk.pauses.size(), 4U);
}

TEST_F(PortableInstallTest, CallerWithoutADetail_GetsTheOutcomeAlone) {
  EXPECT_EQ(InstallPortablePlugin(root, root, nullptr, InjectedFailure::None),
            InstallOutcome::BundleInvalid);
  EXPECT_EQ(InstallPortablePlugin(bundle, bundle, nullptr, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(InstallPortablePlugin(bundle, root, nullptr, InjectedFailure::AfterDllCommit),
            InstallOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(InstallPortablePlugin(bundle, root, nullptr, InjectedFailure::None),
            InstallOutcome::Installed);
}

}  // namespace
}  // namespace k7k
