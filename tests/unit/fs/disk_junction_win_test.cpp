// Junctions, the links that any user of Windows can make.
#include <gtest/gtest.h>

#include <string>

#include "fs/tree_inspection.h"
#include "support/native_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFolder;
using test::MakeJunction;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

class DiskJunctionWinTest : public testing::Test {
 protected:
  void SetUp() override {
    if (test::RunsUnderWine()) GTEST_SKIP() << "Wine makes no junctions";
    WriteFile(folder_ / "outside/sub/kept", "kept");
    WriteFile(folder_ / "tree/a/file", "content");
  }

  std::wstring Inspected(const char* name) const {
    std::wstring detail = L"passed";
    EXPECT_EQ(InspectTree(folder_ / name, &detail), detail == L"passed");
    return detail;
  }

  const Tree kOutside{
      {"outside", "folder"}, {"outside/sub", "folder"}, {"outside/sub/kept", "file kept"}};
  const TestFolder folder_;
};

TEST_F(DiskJunctionWinTest, ToAFolder_IsALinkThatQuestionsFollow) {
  MakeJunction(folder_ / "outside", folder_ / "junction");
  for (const char* path : {"junction", "junction/"}) {
    EXPECT_TRUE(NativeDisk().IsReparsePoint(folder_ / path)) << path;
    EXPECT_EQ(NativeDisk().Status(folder_ / path), FileStatus::Folder) << path;
  }
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder_ / "junction/sub"));
  EXPECT_EQ(NativeDisk().FinalPath(folder_ / "junction/sub").path, folder_ / "outside" / "sub");
}

TEST_F(DiskJunctionWinTest, ToNothing_IsALinkToWhatIsAbsent) {
  MakeFolder(folder_ / "gone");
  MakeJunction(folder_ / "gone", folder_ / "junction");
  ASSERT_TRUE(NativeDisk().RemoveAll(folder_ / "gone"));
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder_ / "junction"));
  EXPECT_EQ(NativeDisk().Status(folder_ / "junction"), FileStatus::Absent);
  EXPECT_FALSE(NativeDisk().CreateFolder(folder_ / "junction"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "junction"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder_ / "junction"));
}

TEST_F(DiskJunctionWinTest, Walk_JunctionsInside_AreListedAndNotEntered) {
  MakeJunction(folder_ / "outside", folder_ / "tree/junction");
  MakeJunction(folder_ / "tree", folder_ / "tree/a/up");
  EXPECT_EQ(
      TakeTree(folder_ / "tree"),
      (Tree{{"a", "folder"}, {"a/file", "file content"}, {"a/up", "link"}, {"junction", "link"}}));
}

TEST_F(DiskJunctionWinTest, InspectTree_AsRootOrInside_IsRefused) {
  EXPECT_EQ(Inspected("tree"), L"passed");
  MakeJunction(folder_ / "tree", folder_ / "junction");
  EXPECT_EQ(Inspected("junction"), L"Reparse-point roots are not accepted");
  MakeJunction(folder_ / "outside", folder_ / "tree/a/junction");
  EXPECT_EQ(Inspected("tree"), L"Bundle contains a reparse point");
}

TEST_F(DiskJunctionWinTest, RemoveAll_AsRootOrInside_LeavesTheTargetUntouched) {
  MakeJunction(folder_ / "outside", folder_ / "junction");
  MakeJunction(folder_ / "outside", folder_ / "tree/a/junction");
  for (const char* path : {"junction/", "tree"}) {
    EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / path)) << path;
  }
  EXPECT_EQ(TakeTree(folder_.path()), kOutside);
}

TEST_F(DiskJunctionWinTest, Move_MovesTheJunctionAndNotItsTarget) {
  MakeJunction(folder_ / "outside", folder_ / "junction");
  EXPECT_EQ(NativeDisk().Move(folder_ / "junction", folder_ / "tree/moved"), 0);
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder_ / "tree/moved"));
  EXPECT_EQ(TakeTree(folder_ / "outside"), (Tree{{"sub", "folder"}, {"sub/kept", "file kept"}}));
}

}  // namespace
}  // namespace k7k
