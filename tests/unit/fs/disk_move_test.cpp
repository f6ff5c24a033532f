// Moves with their error codes, and the pause between two of them.
#include <gtest/gtest.h>

#include <chrono>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFolder;
using test::MakeFolderLink;
using test::ReadFile;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr int kFileNotFound = 2;  // ERROR_FILE_NOT_FOUND and ENOENT alike

TEST(DiskMoveTest, Move_File_RenamesIt) {
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"to", "file content"}}));
}

TEST(DiskMoveTest, Move_Folder_TakesItsWholeContentAlong) {
  const TestFolder folder;
  WriteFile(folder / "from/a/b/file", "content");
  MakeFolder(folder / "from/empty");
  const Tree tree = TakeTree(folder / "from");
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 0);
  EXPECT_EQ(TakeTree(folder / "to"), tree);
  EXPECT_EQ(NativeDisk().Status(folder / "from"), FileStatus::Absent);
}

TEST(DiskMoveTest, Move_FileOntoAFile_ReplacesIt) {
  const TestFolder folder;
  WriteFile(folder / "from", "new");
  WriteFile(folder / "to", "old");
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"to", "file new"}}));
}

TEST(DiskMoveTest, Move_FolderOntoAFolderWithContent_FailsAndMovesNothing) {
  const TestFolder folder;
  WriteFile(folder / "from/file", "new");
  WriteFile(folder / "to/file", "old");
  const Tree before = TakeTree(folder.path());
  const int code = NativeDisk().Move(folder / "from", folder / "to");
  if (test::RunsOnWindows()) {
    EXPECT_EQ(code, test::AccessDeniedCode());
  } else {
    EXPECT_EQ(code, 39);  // ENOTEMPTY
  }
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskMoveTest, Move_FileOntoAFolder_FailsAndMovesNothing) {
  const TestFolder folder;
  WriteFile(folder / "from", "new");
  WriteFile(folder / "full/file", "old");
  MakeFolder(folder / "empty");
  const Tree before = TakeTree(folder.path());
  const int is_a_folder = test::RunsOnWindows() ? test::AccessDeniedCode() : 21;  // EISDIR
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "full"), is_a_folder);
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "empty"), is_a_folder);
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskMoveTest, Move_FolderOntoAnEmptyFolderOnWindows_GivesAccessDenied) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX replaces an empty folder";
  const TestFolder folder;
  WriteFile(folder / "from/file", "new");
  MakeFolder(folder / "to");
  const Tree before = TakeTree(folder.path());
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), test::AccessDeniedCode());
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskMoveTest, Move_MissingSource_GivesFileNotFound) {
  const TestFolder folder;
  EXPECT_EQ(NativeDisk().Move(folder / "nothing", folder / "to"), kFileNotFound);
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

TEST(DiskMoveTest, Move_MissingTargetFolder_FailsAndMovesNothing) {
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  const int code = NativeDisk().Move(folder / "from", folder / "no/to");
  EXPECT_EQ(code, test::RunsOnWindows() ? 3 : kFileNotFound);  // ERROR_PATH_NOT_FOUND
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"from", "file content"}}));
}

TEST(DiskMoveTest, Move_Link_MovesTheLinkAndNotItsTarget) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine moves the target of a Unix link";
  const TestFolder folder;
  WriteFile(folder / "target/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  MakeFolderLink(folder / "nothing", folder / "dangling");
  EXPECT_EQ(NativeDisk().Move(folder / "link", folder / "moved"), 0);
  EXPECT_EQ(NativeDisk().Move(folder / "dangling", folder / "moved-dangling"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"moved", "link"},
                                           {"moved-dangling", "link"},
                                           {"target", "folder"},
                                           {"target/file", "file content"}}));
}

TEST(DiskMoveTest, Move_ReadOnlyFile_IsMoved) {
  const TestFolder folder;
  WriteFile(folder / "from/file", "content");
  test::MakeReadOnly(folder / "from/file");
  EXPECT_EQ(NativeDisk().Move(folder / "from/file", folder / "from/renamed"), 0);
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"to", "folder"}, {"to/renamed", "file content"}}));
}

TEST(DiskMoveTest, Move_FileHeldOpenWithoutDeleteSharing_GivesSharingViolation) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX lets an open file be moved";
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  {
    const test::HeldOpen held(folder / "from");
    EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 32);
  }
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"from", "file content"}}));
  EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 0);
}

TEST(DiskMoveTest, Move_FolderHeldOpenWithoutDeleteSharing_GivesSharingViolation) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX lets an open folder be moved";
  const TestFolder folder;
  WriteFile(folder / "from/file", "content");
  {
    const test::HeldOpen held(folder / "from");
    EXPECT_EQ(NativeDisk().Move(folder / "from", folder / "to"), 32);
  }
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"from", "folder"}, {"from/file", "file content"}}));
}

TEST(DiskMoveTest, Move_OddNamesAndLongPaths_AreMoved) {
  const TestFolder folder;
  const Path deep = test::LongFolder(folder.path());
  MakeFolder(deep);
  for (const Path& name : test::OddNames()) {
    WriteFile(folder / name / "file", "content");
    EXPECT_EQ(NativeDisk().Move(folder / name, deep / name), 0) << name;
    EXPECT_EQ(ReadFile(deep / name / "file"), "content") << name;
  }
}

// No longer than that by much, but for a busy machine.
TEST(DiskMoveTest, Pause_SomeTime_WaitsAtLeastThatTime) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  NativeDisk().Pause(std::chrono::milliseconds(50));
  const auto waited = Clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(48));
  EXPECT_LT(waited, std::chrono::seconds(30));
}

}  // namespace
}  // namespace k7k
