// The removal of a tree: whatever stands in it, nothing behind a link is touched.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::MakeReadOnly;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

class DiskRemoveTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(folder_ / "outside/deep/kept", "kept");
    WriteFile(folder_ / "outside/read-only", "kept too");
    MakeReadOnly(folder_ / "outside/read-only");
    outside_ = TakeTree(folder_ / "outside");
    ASSERT_EQ(outside_.size(), 3U);
  }
  void TearDown() override { EXPECT_EQ(TakeTree(folder_ / "outside"), outside_); }

  // Removes a tree that holds a link. Wine cannot delete a Unix link as a link, so there the
  // removal fails; what lies behind the link stays in either case.
  void ExpectRemovedUnderAnyLink(const Path& path) {
    const bool removed = NativeDisk().RemoveAll(path);
    EXPECT_EQ(removed, !test::RunsUnderWine());
    EXPECT_EQ(NativeDisk().Status(path) == FileStatus::Absent, removed);
  }

  Tree Everything() const { return TakeTree(folder_.path()); }

  TestFolder folder_;
  Tree outside_;
};

TEST_F(DiskRemoveTest, RemoveAll_MissingPath_IsTrueAndChangesNothing) {
  const Tree before = Everything();
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "nothing"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "nothing/"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "no/thing"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "outside/deep/kept/below"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_MissingRelativeName_IsTrue) {
  EXPECT_TRUE(NativeDisk().RemoveAll("no such entry in the working folder"));
}

TEST_F(DiskRemoveTest, RemoveAll_BelowALinkLoop_IsFalse) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link loop does not show in Wine";
  MakeFolderLink(folder_ / "loop", folder_ / "loop");
  EXPECT_FALSE(NativeDisk().RemoveAll(folder_ / "loop/entry"));
}

TEST_F(DiskRemoveTest, RemoveAll_File_RemovesThatFileAlone) {
  const Tree before = Everything();
  WriteFile(folder_ / "file", "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "file"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_EmptyFolder_IsRemoved) {
  const Tree before = Everything();
  MakeFolder(folder_ / "tree");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_Tree_RemovesItWholeAndNothingBesideIt) {
  WriteFile(folder_ / "beside", "stays");
  WriteFile(folder_ / "treetop", "stays");
  const Tree before = Everything();
  WriteFile(folder_ / "tree/a/b/c/file", "1");
  WriteFile(folder_ / "tree/a/file", "2");
  MakeFolder(folder_ / "tree/empty/inner");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_TreeWithSeparatorAtTheEnd_IsRemoved) {
  const Tree before = Everything();
  WriteFile(folder_ / "tree/file", "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree/"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_ReadOnlyFiles_AreRemoved) {
  const Tree before = Everything();
  for (const char* name : {"tree/file", "tree/a/file", "tree/a/b/file", "single"}) {
    WriteFile(folder_ / name, "content");
    MakeReadOnly(folder_ / name);
    ASSERT_TRUE(test::IsReadOnly(folder_ / name));
  }
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "single"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_ReadOnlyFolder_IsRemoved) {
  const Tree before = Everything();
  MakeFolder(folder_ / "tree/locked");
  MakeReadOnly(folder_ / "tree/locked");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_ManyEntries_LeavesNone) {
  const Tree before = Everything();
  for (int i = 0; i < 300; ++i) {
    WriteFile(folder_ / "tree" / ("file with a rather long name " + std::to_string(i)), "");
  }
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_OddNames_AreRemoved) {
  const Tree before = Everything();
  for (const Path& name : test::OddNames()) WriteFile(folder_ / "tree" / name / name, "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  for (const Path& name : test::OddNames()) {
    WriteFile(folder_ / name / "file", "content");
    EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / name)) << name;
  }
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_PathsBeyond260Characters_AreRemoved) {
  const Tree before = Everything();
  const Path deep = test::LongFolder(folder_ / "tree");
  WriteFile(deep / "file", "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(deep / "file"));
  EXPECT_EQ(NativeDisk().Status(deep / "file"), FileStatus::Absent);
  EXPECT_EQ(NativeDisk().Status(deep), FileStatus::Folder);
  // The path given is short here, and the ones below it are not.
  WriteFile(deep / "file", "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_DeepTree_IsRemoved) {
  const Tree before = Everything();
  Path deep = folder_ / "tree";
  for (int i = 0; i < 80; ++i) deep /= "d";
  WriteFile(deep / "file", "content");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_FolderLinkItself_NothingBehindItIsTouched) {
  MakeFolderLink(folder_ / "outside", folder_ / "link");
  ExpectRemovedUnderAnyLink(folder_ / "link");
}

TEST_F(DiskRemoveTest, RemoveAll_FolderLinkWithSeparatorOrDotAtTheEnd_NothingBehindItIsTouched) {
  for (const char* name : {"slash/", "slashes//", "dot/.", "dots/././"}) {
    MakeFolderLink(folder_ / "outside", folder_ / Path(name).begin()->native());
    ExpectRemovedUnderAnyLink(folder_ / name);
  }
}

TEST_F(DiskRemoveTest, RemoveAll_FolderLinksAtSeveralDepths_NothingBehindThemIsTouched) {
  for (const char* name : {"one/link", "two/a/link", "three/a/b/link", "five/a/b/c/d/link"}) {
    const Path top = folder_ / Path(name).begin()->native();
    WriteFile((folder_ / name).replace_filename("file"), "content");
    MakeFolderLink(folder_ / "outside", folder_ / name);
    ExpectRemovedUnderAnyLink(top);
  }
}

TEST_F(DiskRemoveTest, RemoveAll_FolderLinkToAFolderOfTheSameTree_LeavesWhatIsOutside) {
  WriteFile(folder_ / "tree/a/file", "content");
  MakeFolderLink(folder_ / "tree", folder_ / "tree/a/up");
  MakeFolderLink(folder_.path(), folder_ / "tree/a/out");
  ExpectRemovedUnderAnyLink(folder_ / "tree");
}

TEST_F(DiskRemoveTest, RemoveAll_FileLinks_TheirTargetsStay) {
  WriteFile(folder_ / "tree/a/file", "content");
  MakeFileLink(folder_ / "outside/deep/kept", folder_ / "tree/link");
  MakeFileLink(folder_ / "outside/read-only", folder_ / "tree/a/link");
  ExpectRemovedUnderAnyLink(folder_ / "tree");
}

TEST_F(DiskRemoveTest, RemoveAll_FileLinkItself_ItsTargetStays) {
  MakeFileLink(folder_ / "outside/deep/kept", folder_ / "link");
  ExpectRemovedUnderAnyLink(folder_ / "link");
}

TEST_F(DiskRemoveTest, RemoveAll_LinksWithoutATarget_AreRemovedAsLinks) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  const Tree before = Everything();
  MakeFolder(folder_ / "tree");
  MakeFolderLink(folder_ / "nothing", folder_ / "tree/dangling");
  MakeFolderLink(folder_ / "tree/loop", folder_ / "tree/loop");
  MakeFolderLink(folder_ / "nothing", folder_ / "alone");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "alone"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_NamedPipe_IsRemoved) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const Tree before = Everything();
  MakeFolder(folder_ / "tree");
  test::MakeNamedPipe(folder_ / "tree/pipe");
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_FolderThatBecomesALinkMeanwhile_NothingBehindItIsTouched) {
  // Wine deletes an open file by its Unix path when the handle is closed; Windows by the handle.
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine deletes by the Unix path, where a swap can win";
  using Clock = std::chrono::steady_clock;
  int rounds_that_met_the_link = 0;
  const auto end = Clock::now() + std::chrono::seconds(1);
  for (int round = 0; round < 500 && Clock::now() < end; ++round) {
    const Path home = folder_ / ("round" + std::to_string(round));
    const Path swapped = home / "tree/swapped";
    const Path spare = home / "tree/spare";
    MakeFolder(home / "scratch");
    WriteFile(swapped / "deep/kept", "goes");
    MakeFolderLink(folder_ / "outside", spare);
    bool all_removed = true;
    {
      const test::Exchanger exchanger(swapped, spare, home / "scratch");
      const Path removed = round % 2 == 0 ? swapped : home / "tree";
      for (int i = 0; i < 10; ++i) all_removed &= NativeDisk().RemoveAll(removed);
    }
    ASSERT_EQ(TakeTree(folder_ / "outside"), outside_) << "in round " << round;
    // Either the removal ran into the link, or it took the link and left the folder as the spare.
    const bool spare_is_the_folder =
        !NativeDisk().IsReparsePoint(spare) && NativeDisk().Status(spare) == FileStatus::Folder;
    if (!all_removed || spare_is_the_folder) ++rounds_that_met_the_link;
  }
  EXPECT_GT(rounds_that_met_the_link, 0);
}

TEST_F(DiskRemoveTest,
       RemoveAll_FolderThatBecomesALinkJustBeforeItIsOpened_NothingBehindItIsTouched) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "this moment can only be raced for";
  for (const char* removed : {"tree/a/swapped", "tree"}) {
    WriteFile(folder_ / "tree/a/swapped/deep/kept", "moved away");
    MakeFolderLink(folder_ / "outside", folder_ / "spare");
    bool met = false;
    test::BeforeOpeningOf("swapped", [&] {
      met = true;
      EXPECT_EQ(NativeDisk().Move(folder_ / "tree/a/swapped", folder_ / "away"), 0);
      EXPECT_EQ(NativeDisk().Move(folder_ / "spare", folder_ / "tree/a/swapped"), 0);
    });
    NativeDisk().RemoveAll(folder_ / removed);
    EXPECT_TRUE(met);
    EXPECT_EQ(TakeTree(folder_ / "outside"), outside_) << removed;
    EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
    EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "away"));
  }
}

TEST_F(DiskRemoveTest, RemoveAll_WithoutTheRight_IsFalseAndLeavesTheTree) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  WriteFile(folder_ / "tree/closed/file", "content");
  const Tree before = Everything();
  EXPECT_EQ(test::AnswerWithoutRights(
                folder_.path(), folder_ / "tree/closed", 0555,
                [] { return NativeDisk().RemoveAll("tree/closed") ? "removed" : "failed"; }),
            "failed");
  EXPECT_EQ(Everything(), before);
}

TEST_F(DiskRemoveTest, RemoveAll_FileHeldOpenWithoutDeleteSharing_IsFalseAndLeavesIt) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX lets an open file be removed";
  WriteFile(folder_ / "tree/a/held", "held");
  {
    const test::HeldOpen held(folder_ / "tree/a/held");
    EXPECT_FALSE(NativeDisk().RemoveAll(folder_ / "tree"));
    EXPECT_EQ(test::ReadFile(folder_ / "tree/a/held"), "held");
  }
  EXPECT_TRUE(NativeDisk().RemoveAll(folder_ / "tree"));
}

}  // namespace
}  // namespace k7k
