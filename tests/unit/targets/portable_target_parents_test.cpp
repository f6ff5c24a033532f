// Where the plugin's pieces go in a portable OBS, and whether the four folders on the way are safe.
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

constexpr auto kUnsafeParent = L"A portable OBS plugin parent is unavailable or unsafe";
constexpr auto kParentUnreadable = L"Could not inspect a portable OBS parent";

constexpr std::array<const char*, 4> kParents{"obs-plugins", "obs-plugins/64bit", "data",
                                              "data/obs-plugins"};
const Tree kAllParents{{"obs-plugins", "folder"},
                       {"obs-plugins/64bit", "folder"},
                       {"data", "folder"},
                       {"data/obs-plugins", "folder"}};

TEST(PortableTargetPathsTest, Paths_OfARoot_AreTheJoinsAlone) {
  EXPECT_EQ(PortableDllPath("r/../x"), Path("r/../x/obs-plugins/64bit/k7k-obs-audio.dll"));
  EXPECT_EQ(PortableDataPath("r/../x"), Path("r/../x/data/obs-plugins/k7k-obs-audio"));
  EXPECT_EQ(PortableDllPath("x/"), Path("x/obs-plugins/64bit/k7k-obs-audio.dll"));
}

TEST(PortableTargetPathsTest, Paths_OnEachPlatform_UseItsOwnSeparator) {
  const std::wstring dll = PortableDllPath("x").wstring();
  const std::wstring data = PortableDataPath("x").wstring();
  if (test::RunsOnWindows()) {
    EXPECT_EQ(dll, L"x\\obs-plugins\\64bit\\k7k-obs-audio.dll");
    EXPECT_EQ(data, L"x\\data\\obs-plugins\\k7k-obs-audio");
  } else {
    EXPECT_EQ(dll, L"x/obs-plugins/64bit/k7k-obs-audio.dll");
    EXPECT_EQ(data, L"x/data/obs-plugins/k7k-obs-audio");
  }
}

class PortableTargetParentsTest : public testing::Test {
 protected:
  void SetUp() override { MakeFolder(root); }

  void ExpectAccepted(bool create) const {
    std::wstring detail = kUntouched;
    EXPECT_TRUE(CheckPortableParents(root, create, &detail));
    EXPECT_EQ(detail, kUntouched);
    EXPECT_TRUE(CheckPortableParents(root, create, nullptr));
  }

  void ExpectRefused(bool create, const std::wstring& message) const {
    std::wstring detail = kUntouched;
    EXPECT_FALSE(CheckPortableParents(root, create, &detail));
    EXPECT_EQ(detail, message);
    EXPECT_FALSE(CheckPortableParents(root, create, nullptr));
  }

  const TestFolder folder;
  const Path root = folder / "obs";
};

TEST_F(PortableTargetParentsTest, CheckPortableParents_NoneThere_AreAcceptedAndNotCreated) {
  ExpectAccepted(false);
  EXPECT_TRUE(TakeTree(root).empty());
}

TEST_F(PortableTargetParentsTest, CheckPortableParents_CreateWithNoneThere_CreatesTheFour) {
  ExpectAccepted(true);
  EXPECT_EQ(TakeTree(root), kAllParents);
}

TEST_F(PortableTargetParentsTest, CheckPortableParents_CreateWithNoRoot_CreatesTheRootToo) {
  ASSERT_TRUE(NativeDisk().RemoveAll(root));
  ExpectAccepted(true);
  EXPECT_EQ(TakeTree(root), kAllParents);
}

TEST_F(PortableTargetParentsTest, CheckPortableParents_AllThere_AreAcceptedAsTheyAre) {
  for (const char* parent : kParents) MakeFolder(root / parent);
  WriteFile(root / "data/other.txt", "kept");
  const Tree before = TakeTree(root);
  ExpectAccepted(false);
  ExpectAccepted(true);
  EXPECT_EQ(TakeTree(root), before);
}

TEST_F(PortableTargetParentsTest,
       CheckPortableParents_CreationFails_IsUnsafeAndWhatWasCreatedStays) {
  FaultDisk disk;
  disk.fails = FailEach(Call::CreateFolder, root / "data");
  ExpectRefused(true, kUnsafeParent);
  EXPECT_EQ(TakeTree(root), (Tree{{"obs-plugins", "folder"}, {"obs-plugins/64bit", "folder"}}));
}

// The parameter is the place of a parent in their order.
class PortableTargetEachParentTest : public PortableTargetParentsTest,
                                     public testing::WithParamInterface<std::size_t> {
 protected:
  const Path parent = root / kParents[GetParam()];
};

INSTANTIATE_TEST_SUITE_P(All, PortableTargetEachParentTest, testing::Range<std::size_t>(0, 4));

TEST_P(PortableTargetEachParentTest, CheckPortableParents_ParentIsAFile_IsUnsafe) {
  WriteFile(parent, "a file");
  const Tree before = TakeTree(root);
  ExpectRefused(false, kUnsafeParent);
  EXPECT_EQ(TakeTree(root), before);
  ExpectRefused(true, kUnsafeParent);
  EXPECT_EQ(test::ReadFile(parent), "a file");
}

TEST_P(PortableTargetEachParentTest, CheckPortableParents_ParentIsALink_IsUnsafe) {
  MakeFolder(parent.parent_path());
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", parent);
  const Tree before = TakeTree(folder.path());
  ExpectRefused(false, kUnsafeParent);
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST_P(PortableTargetEachParentTest, CheckPortableParents_CreateWhereAParentIsALink_IsUnsafe) {
  MakeFolder(parent.parent_path());
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", parent);
  ExpectRefused(true, kUnsafeParent);
  EXPECT_TRUE(TakeTree(folder / "elsewhere").empty());
}

TEST_P(PortableTargetEachParentTest,
       CheckPortableParents_ParentStatusUnreadable_CouldNotInspectIt) {
  for (const char* each : kParents) MakeFolder(root / each);
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, parent);
  ExpectRefused(false, kParentUnreadable);
}

TEST_P(PortableTargetEachParentTest,
       CheckPortableParents_UnreadableAfterItsCreation_CouldNotInspectIt) {
  FaultDisk disk;
  disk.fails = [&, created = false](const test::DiskCall& call) mutable {
    if (call.call == Call::CreateFolder && call.path == parent) created = true;
    return created && call.call == Call::Status && call.path == parent;
  };
  std::wstring detail = kUntouched;
  EXPECT_FALSE(CheckPortableParents(root, true, &detail));
  EXPECT_EQ(detail, kParentUnreadable);
}

TEST_P(PortableTargetEachParentTest, CheckPortableParents_SecondStatusUnreadable_IsUnsafe) {
  MakeFolder(parent);
  FaultDisk disk;
  disk.fails = FailNth(Call::Status, parent, 2);
  std::wstring detail = kUntouched;
  EXPECT_FALSE(CheckPortableParents(root, false, &detail));
  EXPECT_EQ(detail, kUnsafeParent);
}

TEST_P(PortableTargetEachParentTest, CheckPortableParents_GoneAtTheSecondStatus_IsUnsafe) {
  MakeFolder(parent);
  FaultDisk disk;
  disk.failed_status = FileStatus::Absent;
  disk.fails = FailNth(Call::Status, parent, 2);
  std::wstring detail = kUntouched;
  EXPECT_FALSE(CheckPortableParents(root, false, &detail));
  EXPECT_EQ(detail, kUnsafeParent);
}

TEST_P(PortableTargetEachParentTest, CheckPortableParents_AttributesUnreadable_IsNoLink) {
  MakeFolder(parent);
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, parent);
  ExpectAccepted(false);
}

TEST_P(PortableTargetEachParentTest, ValidatePortableRoot_ParentIsAFileOrALink_IsUnsafe) {
  test::WritePortableObs(root);
  WriteFile(parent, "a file");
  std::wstring detail = kUntouched;
  EXPECT_FALSE(ValidatePortableRoot(root, &detail));
  EXPECT_EQ(detail, kUnsafeParent);

  ASSERT_TRUE(NativeDisk().RemoveAll(parent));
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", parent);
  detail = kUntouched;
  EXPECT_FALSE(ValidatePortableRoot(root, &detail));
  EXPECT_EQ(detail, kUnsafeParent);
}

TEST_F(PortableTargetParentsTest, CheckPortableParents_FirstUnreadableAndSecondAFile_TheFirstWins) {
  WriteFile(root / "data", "a file");
  MakeFolder(root / "obs-plugins");
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, root / "obs-plugins");
  ExpectRefused(false, kParentUnreadable);
}

TEST_F(PortableTargetParentsTest,
       CheckPortableParents_FirstAFileAndAnotherUnreadable_TheFirstWins) {
  WriteFile(root / "obs-plugins", "a file");
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, root / "data");
  ExpectRefused(false, kUnsafeParent);
}

}  // namespace
}  // namespace k7k
