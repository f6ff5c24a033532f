#include "fs/tree_inspection.h"

#include <gtest/gtest.h>

#include <string>

#include "support/conditions.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kUntouched = L"what stood there before";
constexpr auto kMissing = L"Path does not exist";
constexpr auto kLinkRoot = L"Reparse-point roots are not accepted";
constexpr auto kLinkInside = L"Bundle contains a reparse point";
constexpr auto kNotInspected = L"Could not inspect every bundle entry";

// The message of an inspection; what stood there before for one that passes.
std::wstring Inspect(const Path& root) {
  std::wstring detail = kUntouched;
  const bool passed = InspectTree(root, &detail);
  EXPECT_EQ(passed, detail == kUntouched) << root;
  return detail;
}

TEST(TreeInspectionTest, InspectTree_EmptyFolder_Passes) {
  const TestFolder folder;
  EXPECT_EQ(Inspect(folder.path()), kUntouched);
}

TEST(TreeInspectionTest, InspectTree_PlainTree_PassesAndChangesNothing) {
  const TestFolder folder;
  WriteFile(folder / "a/b/c/file", "1");
  WriteFile(folder / "..hidden/file", "2");
  for (const Path& name : test::OddNames()) WriteFile(folder / name / name, "3");
  const Tree before = TakeTree(folder.path());
  EXPECT_EQ(Inspect(folder.path()), kUntouched);
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(TreeInspectionTest, InspectTree_NamesThatWin32Trims_AreSearchedForLinks) {
  const TestFolder folder;
  WriteFile(folder / "target/file", "1");
  const Path exact = test::ExactPath(folder / "tree");
  WriteFile(exact / "sub./in /file.", "2");
  EXPECT_EQ(Inspect(folder / "tree"), kUntouched);
  MakeFolderLink(folder / "target", exact / "sub./in /link");
  EXPECT_EQ(Inspect(folder / "tree"), kLinkInside);
}

TEST(TreeInspectionTest, InspectTree_RegularFileAsRoot_Passes) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  EXPECT_EQ(Inspect(folder / "file"), kUntouched);
}

TEST(TreeInspectionTest, InspectTree_MissingRoot_PathDoesNotExist) {
  const TestFolder folder;
  EXPECT_EQ(Inspect(folder / "nothing"), kMissing);
  EXPECT_EQ(Inspect(folder / "no/thing"), kMissing);
  EXPECT_EQ(Inspect(Path()), kMissing);
}

TEST(TreeInspectionTest, InspectTree_NoDetailAsked_AnswersAllTheSame) {
  const TestFolder folder;
  EXPECT_TRUE(InspectTree(folder.path(), nullptr));
  EXPECT_FALSE(InspectTree(folder / "nothing", nullptr));
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_FALSE(InspectTree(folder / "link", nullptr));
  EXPECT_FALSE(InspectTree(folder.path(), nullptr));
}

TEST(TreeInspectionTest, InspectTree_RootWhoseStatusIsAnError_PathDoesNotExist) {
  const TestFolder folder;
  MakeFolderLink(folder / "loop", folder / "loop");
  EXPECT_EQ(Inspect(folder / "loop"), kMissing);

  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Status; };
  EXPECT_EQ(Inspect(folder.path()), kMissing);
}

TEST(TreeInspectionTest, InspectTree_LinkAsRoot_ReparsePointRoot) {
  const TestFolder folder;
  WriteFile(folder / "target/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(Inspect(folder / "link"), kLinkRoot);
  EXPECT_EQ(Inspect(folder / "link/"), kLinkRoot);
}

TEST(TreeInspectionTest, InspectTree_LinkAsRootWithALinkInside_ReparsePointRoot) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder.path(), folder / "target/inside");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(Inspect(folder / "link"), kLinkRoot);
}

TEST(TreeInspectionTest, InspectTree_DanglingLinkAsRoot_PathDoesNotExist) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_EQ(Inspect(folder / "link"), kMissing);
}

TEST(TreeInspectionTest, InspectTree_LinkToAFileAsRoot_ReparsePointRoot) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine shows a link to a file as a file";
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_EQ(Inspect(folder / "link"), kLinkRoot);
}

TEST(TreeInspectionTest, InspectTree_RootBehindALink_Passes) {
  const TestFolder folder;
  WriteFile(folder / "target/sub/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(Inspect(folder / "link/sub"), kUntouched);
}

TEST(TreeInspectionTest, InspectTree_FolderLinkAtAnyDepth_ContainsAReparsePoint) {
  const TestFolder folder;
  MakeFolder(folder / "outside");
  for (const char* name : {"one/link", "two/a/link", "three/a/b/link", "five/a/b/c/d/link"}) {
    MakeFolder((folder / name).parent_path());
    MakeFolderLink(folder / "outside", folder / name);
    EXPECT_EQ(Inspect(folder / *Path(name).begin()), kLinkInside) << name;
  }
}

TEST(TreeInspectionTest, InspectTree_FolderLinkThreeLevelsDown_VisitsNoEntryAfterIt) {
  const TestFolder folder;
  WriteFile(folder / "outside/file", "content");
  WriteFile(folder / "tree/a/b/file", "content");
  WriteFile(folder / "tree/z/file", "content");
  MakeFolderLink(folder / "outside", folder / "tree/a/b/link");
  FaultDisk disk;
  EXPECT_EQ(Inspect(folder / "tree"), kLinkInside);
  ASSERT_FALSE(disk.calls.empty());
  EXPECT_EQ(disk.calls.back().call, Call::IsReparsePoint);
  EXPECT_EQ(disk.calls.back().path, folder / "tree/a/b/link");
}

TEST(TreeInspectionTest, InspectTree_FileLinkAtAnyDepth_ContainsAReparsePoint) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine shows a link to a file as a file";
  const TestFolder folder;
  WriteFile(folder / "outside", "content");
  for (const char* name : {"one/link", "three/a/b/link"}) {
    MakeFolder((folder / name).parent_path());
    MakeFileLink(folder / "outside", folder / name);
    EXPECT_EQ(Inspect(folder / *Path(name).begin()), kLinkInside) << name;
  }
}

TEST(TreeInspectionTest, InspectTree_LinkWithoutATarget_ContainsAReparsePoint) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  const TestFolder folder;
  MakeFolder(folder / "dangling");
  MakeFolderLink(folder / "nothing", folder / "dangling/link");
  MakeFolder(folder / "looping");
  MakeFolderLink(folder / "looping/link", folder / "looping/link");
  EXPECT_EQ(Inspect(folder / "dangling"), kLinkInside);
  EXPECT_EQ(Inspect(folder / "looping"), kLinkInside);
}

TEST(TreeInspectionTest, InspectTree_EntryThatBecomesALinkAfterItWasListed_ContainsAReparsePoint) {
  const TestFolder folder;
  MakeFolder(folder / "outside");
  MakeFolder(folder / "tree/sub");
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    if (call.call == Call::WalkOpen) {
      EXPECT_TRUE(NativeDisk().RemoveAll(folder / "tree/sub"));
      MakeFolderLink(folder / "outside", folder / "tree/sub");
    }
    return false;
  };
  EXPECT_EQ(Inspect(folder / "tree"), kLinkInside);
}

TEST(TreeInspectionTest, InspectTree_SubfolderThatCannotBeListed_EndsWithSuccess) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  const TestFolder folder;
  WriteFile(folder / "tree/closed/file", "content");
  EXPECT_EQ(test::AnswerWithoutRights(
                folder.path(), folder / "tree/closed", 0,
                [] { return Inspect("tree") == kUntouched ? "passed" : "refused"; }),
            "passed");
}

TEST(TreeInspectionTest, InspectTree_RootThatCannotBeListed_EndsWithSuccess) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  const TestFolder folder;
  MakeFolder(folder / "tree");
  MakeFolderLink(folder / "nothing", folder / "tree/link");
  EXPECT_EQ(test::AnswerWithoutRights(
                folder.path(), folder / "tree", 0,
                [] { return Inspect("tree") == kUntouched ? "passed" : "refused"; }),
            "passed");
}

TEST(TreeInspectionTest, InspectTree_SubfolderThatVanishesWhileWalked_EndsWithSuccess) {
  const TestFolder folder;
  MakeFolder(folder / "tree/sub");
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    const bool at_sub = call.call == Call::IsReparsePoint && call.path == folder / "tree/sub";
    if (at_sub) {
      EXPECT_TRUE(NativeDisk().RemoveAll(call.path));
    }
    return false;
  };
  EXPECT_EQ(Inspect(folder / "tree"), kUntouched);
}

TEST(TreeInspectionTest, InspectTree_FailedStepThatEndsTheWalk_EndsWithSuccess) {
  const TestFolder folder;
  WriteFile(folder / "tree/file", "content");
  for (const Call step : {Call::WalkOpen, Call::WalkAdvance}) {
    FaultDisk disk;
    disk.fails = [step](const DiskCall& call) { return call.call == step; };
    EXPECT_EQ(Inspect(folder / "tree"), kUntouched);
  }
}

TEST(TreeInspectionTest, InspectTree_FailedStepThatYieldsAnEntry_CouldNotInspect) {
  const TestFolder folder;
  WriteFile(folder / "tree/sub/file", "content");
  for (const Call step : {Call::WalkOpen, Call::WalkAdvance}) {
    FaultDisk disk;
    disk.failed_walk_yields = true;
    disk.fails = [step](const DiskCall& call) { return call.call == step; };
    EXPECT_EQ(Inspect(folder / "tree"), kNotInspected);
  }
}

TEST(TreeInspectionTest, InspectTree_FailedStepThatYieldsALink_CouldNotInspect) {
  const TestFolder folder;
  MakeFolder(folder / "outside");
  MakeFolder(folder / "tree");
  MakeFolderLink(folder / "outside", folder / "tree/link");
  FaultDisk disk;
  disk.failed_walk_yields = true;
  disk.fails = [](const DiskCall& call) { return call.call == Call::WalkOpen; };
  EXPECT_EQ(Inspect(folder / "tree"), kNotInspected);
}

}  // namespace
}  // namespace k7k
