// Whether the plugin's pieces in a portable OBS are what they should be.
#include <gtest/gtest.h>

#include "support/bundles.h"
#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/test_tree.h"
#include "targets/portable_target.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FailNth;
using test::FaultDisk;
using test::kUntouched;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kUnsafeDll = L"The portable OBS plugin DLL path is unsafe";
constexpr auto kUnsafeData = L"The portable OBS plugin data path is unsafe";

class PortableTargetPiecesTest : public testing::Test {
 protected:
  void SetUp() override { MakeFolder(root); }

  void ExpectAccepted() const {
    std::wstring detail = kUntouched;
    EXPECT_TRUE(CheckPortableTargets(root, &detail));
    EXPECT_EQ(detail, kUntouched);
    EXPECT_TRUE(CheckPortableTargets(root, nullptr));
  }

  void ExpectRefused(const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    EXPECT_FALSE(CheckPortableTargets(root, &detail));
    EXPECT_EQ(detail, message);
    EXPECT_FALSE(CheckPortableTargets(root, nullptr));
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  const TestFolder folder;
  const Path root = folder / "obs";
  const Path dll = root / "obs-plugins/64bit/k7k-obs-audio.dll";
  const Path data = root / "data/obs-plugins/k7k-obs-audio";
};

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_NeitherPiece_IsAccepted) { ExpectAccepted(); }

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_BothPiecesWhateverTheyHold_AreAccepted) {
  WriteFile(dll, "");
  WriteFile(data / "anything/deep", "x");
  ExpectAccepted();
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_OnePieceAlone_IsAccepted) {
  WriteFile(dll, "x");
  ExpectAccepted();
  ASSERT_TRUE(NativeDisk().RemoveAll(dll));
  MakeFolder(data);
  ExpectAccepted();
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryIsAFolder_IsUnsafe) {
  MakeFolder(dll);
  ExpectRefused(kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryIsALinkToAFolder_IsUnsafe) {
  MakeFolder(dll.parent_path());
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", dll);
  ExpectRefused(kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryIsALinkToAFile_IsUnsafe) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link to a file does not show as one in Wine";
  MakeFolder(dll.parent_path());
  WriteFile(folder / "elsewhere", "x");
  test::MakeFileLink(folder / "elsewhere", dll);
  ExpectRefused(kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryIsALinkOfAnyKind_IsUnsafe) {
  WriteFile(dll, "x");
  test::LateLinkDisk disk(dll, 1);
  ExpectRefused(kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryStatusUnreadable_IsIgnored) {
  MakeFolder(dll);  // would be refused if its status could be read
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, dll);
  ExpectAccepted();
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibrarySecondStatusUnreadable_IsUnsafe) {
  WriteFile(dll, "x");
  FaultDisk disk;
  disk.fails = FailNth(Call::Status, dll, 2);
  std::wstring detail = kUntouched;
  EXPECT_FALSE(CheckPortableTargets(root, &detail));
  EXPECT_EQ(detail, kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_DataIsAFile_IsUnsafe) {
  WriteFile(data, "a file");
  ExpectRefused(kUnsafeData);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_DataIsALink_IsUnsafe) {
  MakeFolder(data.parent_path());
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", data);
  ExpectRefused(kUnsafeData);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LinkDeepInTheData_IsUnsafe) {
  MakeFolder(data / "a/b");
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", data / "a/b/link");
  ExpectRefused(kUnsafeData);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_DataEntryAfterAFailedStep_IsUnsafe) {
  WriteFile(data / "file", "x");
  FaultDisk disk;
  disk.failed_walk_yields = true;
  disk.fails = FailEach(Call::WalkOpen, data);
  ExpectRefused(kUnsafeData);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_DataCannotBeListed_IsAccepted) {
  WriteFile(data / "file", "x");
  FaultDisk disk;
  disk.fails = FailEach(Call::WalkOpen, data);
  ExpectAccepted();
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_DataStatusUnreadable_FailsWithoutAMessage) {
  MakeFolder(data);
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, data);
  ExpectRefused(kUntouched);
}

TEST_F(PortableTargetPiecesTest, CheckPortableTargets_LibraryAndDataUnsafe_TheLibraryWins) {
  MakeFolder(dll);
  WriteFile(data, "a file");
  ExpectRefused(kUnsafeDll);
}

TEST_F(PortableTargetPiecesTest,
       CheckPortableTargets_LibraryUnreadableAndDataUnsafe_TheDataIsJudged) {
  WriteFile(dll, "x");
  WriteFile(data, "a file");
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, dll);
  ExpectRefused(kUnsafeData);
}

TEST_F(PortableTargetPiecesTest,
       CheckPortableTargets_LibraryUnsafeAndDataUnreadable_TheLibraryWins) {
  MakeFolder(dll);
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, data);
  ExpectRefused(kUnsafeDll);
}

}  // namespace
}  // namespace k7k
