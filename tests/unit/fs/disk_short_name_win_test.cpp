// Short names ("PROGRA~1"), which a volume may give to entries beside their own.
#include <gtest/gtest.h>

#include "support/native_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

class DiskShortNameWinTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(long_ / "a file with a long name.txt", "content");
    const auto path = test::ShortPath(long_);
    if (!path) GTEST_SKIP() << "this volume makes no short names";
    short_ = *path;
    ASSERT_NE(short_.filename(), long_.filename());
  }

  const TestFolder folder_;
  const Path long_ = folder_ / "a folder with a long name";
  Path short_;
};

TEST_F(DiskShortNameWinTest, FinalPath_IsTheLongName) {
  EXPECT_EQ(NativeDisk().FinalPath(short_).path, long_);
}

TEST_F(DiskShortNameWinTest, Questions_AreAboutTheSameEntry) {
  EXPECT_EQ(NativeDisk().Status(short_), FileStatus::Folder);
  EXPECT_FALSE(NativeDisk().IsReparsePoint(short_));
  EXPECT_EQ(TakeTree(short_), (Tree{{"a file with a long name.txt", "file content"}}));
}

TEST_F(DiskShortNameWinTest, Move_GivesTheEntryItsNewNameAlone) {
  EXPECT_EQ(NativeDisk().Move(short_, folder_ / "moved"), 0);
  EXPECT_EQ(TakeTree(folder_.path()),
            (Tree{{"moved", "folder"}, {"moved/a file with a long name.txt", "file content"}}));
}

TEST_F(DiskShortNameWinTest, RemoveAll_RemovesTheEntry) {
  EXPECT_TRUE(NativeDisk().RemoveAll(short_));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

TEST_F(DiskShortNameWinTest, RemoveAll_FileBelowIt_RemovesTheFile) {
  EXPECT_TRUE(NativeDisk().RemoveAll(short_ / "a file with a long name.txt"));
  EXPECT_EQ(TakeTree(folder_.path()), (Tree{{"a folder with a long name", "folder"}}));
}

}  // namespace
}  // namespace k7k
