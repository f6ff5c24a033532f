// What the disk creates and copies.
#include <gtest/gtest.h>

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
using test::ReadFile;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

TEST(DiskChangeTest, CreateFolder_FreeName_CreatesOneFolder) {
  const TestFolder folder;
  EXPECT_TRUE(NativeDisk().CreateFolder(folder / "new"));
  EXPECT_TRUE(NativeDisk().CreateFolder(folder / "new/inner"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"new", "folder"}, {"new/inner", "folder"}}));
}

TEST(DiskChangeTest, CreateFolder_FolderThere_IsTrueAndKeepsItsContent) {
  const TestFolder folder;
  WriteFile(folder / "there/file", "content");
  EXPECT_TRUE(NativeDisk().CreateFolder(folder / "there"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"there", "folder"}, {"there/file", "file content"}}));
}

TEST(DiskChangeTest, CreateFolder_LinkToAFolderThere_IsFalse) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_FALSE(NativeDisk().CreateFolder(folder / "link"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"link", "link"}, {"target", "folder"}}));
}

TEST(DiskChangeTest, CreateFolder_FileThere_IsFalseAndKeepsTheFile) {
  const TestFolder folder;
  WriteFile(folder / "taken", "content");
  EXPECT_FALSE(NativeDisk().CreateFolder(folder / "taken"));
  EXPECT_FALSE(NativeDisk().CreateFolder(folder / "taken/below"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"taken", "file content"}}));
}

TEST(DiskChangeTest, CreateFolder_MissingParent_IsFalseAndCreatesNothing) {
  const TestFolder folder;
  EXPECT_FALSE(NativeDisk().CreateFolder(folder / "no/thing"));
  EXPECT_FALSE(NativeDisk().CreateFolder({}));
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

TEST(DiskChangeTest, CreateFolder_DanglingLinkThere_IsFalse) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_FALSE(NativeDisk().CreateFolder(folder / "link"));
  EXPECT_EQ(NativeDisk().Status(folder / "nothing"), FileStatus::Absent);
}

TEST(DiskChangeTest, CreateFolder_OddNamesAndLongPaths_AreCreated) {
  const TestFolder folder;
  for (const Path& name : test::OddNames()) {
    EXPECT_TRUE(NativeDisk().CreateFolder(folder / name)) << name;
    EXPECT_EQ(NativeDisk().Status(folder / name), FileStatus::Folder) << name;
  }
  const Path deep = test::LongFolder(folder.path());
  MakeFolder(deep.parent_path());
  EXPECT_TRUE(NativeDisk().CreateFolder(deep));
  EXPECT_EQ(NativeDisk().Status(deep), FileStatus::Folder);
}

TEST(DiskChangeTest, Copy_File_KeepsSourceAndContent) {
  const TestFolder folder;
  const std::string binary("\x00\r\n\x1a\xff", 5);
  WriteFile(folder / "from", binary);
  WriteFile(folder / "empty", "");
  EXPECT_TRUE(NativeDisk().Copy(folder / "from", folder / "to"));
  EXPECT_TRUE(NativeDisk().Copy(folder / "empty", folder / "empty-to"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"from", "file " + binary},
                                           {"to", "file " + binary},
                                           {"empty", "file "},
                                           {"empty-to", "file "}}));
}

TEST(DiskChangeTest, Copy_LargeFile_KeepsItsContent) {
  const TestFolder folder;
  std::string content;
  for (int i = 0; i < 200000; ++i) content += std::to_string(i);
  WriteFile(folder / "from", content);
  EXPECT_TRUE(NativeDisk().Copy(folder / "from", folder / "to"));
  EXPECT_TRUE(ReadFile(folder / "to") == content);
}

TEST(DiskChangeTest, Copy_ReadOnlyFile_IsCopied) {
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  test::MakeReadOnly(folder / "from");
  EXPECT_TRUE(NativeDisk().Copy(folder / "from", folder / "to"));
  EXPECT_EQ(ReadFile(folder / "to"), "content");
}

TEST(DiskChangeTest, Copy_ReadOnlyFileOnWindows_CopiesTheAttributeToo) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "attributes of a copy matter to nobody on POSIX";
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  test::MakeReadOnly(folder / "from");
  EXPECT_TRUE(NativeDisk().Copy(folder / "from", folder / "to"));
  EXPECT_TRUE(test::IsReadOnly(folder / "to"));
}

TEST(DiskChangeTest, Copy_LinkToFile_CopiesTheTargetsContent) {
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_TRUE(NativeDisk().Copy(folder / "link", folder / "to"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "to"));
  ASSERT_TRUE(NativeDisk().RemoveAll(folder / "target"));
  EXPECT_EQ(ReadFile(folder / "to"), "content");
}

TEST(DiskChangeTest, Copy_PathsThroughFolderLinks_AreFollowed) {
  const TestFolder folder;
  WriteFile(folder / "source/file", "content");
  MakeFolder(folder / "goal");
  MakeFolderLink(folder / "source", folder / "source-link");
  MakeFolderLink(folder / "goal", folder / "goal-link");
  EXPECT_TRUE(NativeDisk().Copy(folder / "source-link/file", folder / "goal-link/file"));
  EXPECT_EQ(ReadFile(folder / "goal/file"), "content");
}

TEST(DiskChangeTest, Copy_SomethingAtTheTarget_FailsAndKeepsIt) {
  const TestFolder folder;
  WriteFile(folder / "from", "new");
  WriteFile(folder / "file", "old");
  MakeFolder(folder / "plain");
  const Tree before = TakeTree(folder.path());
  EXPECT_FALSE(NativeDisk().Copy(folder / "from", folder / "file"));
  EXPECT_FALSE(NativeDisk().Copy(folder / "from", folder / "plain"));
  EXPECT_FALSE(NativeDisk().Copy(folder / "from", folder / "from"));
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskChangeTest, Copy_DanglingLinkAtTheTarget_FailsAndCreatesNothingBehindIt) {
  const TestFolder folder;
  WriteFile(folder / "from", "new");
  MakeFileLink(folder / "nothing", folder / "link");
  EXPECT_FALSE(NativeDisk().Copy(folder / "from", folder / "link"));
  EXPECT_EQ(NativeDisk().Status(folder / "nothing"), FileStatus::Absent);
}

TEST(DiskChangeTest, Copy_NoFileAtTheSource_FailsAndCreatesNothing) {
  const TestFolder folder;
  MakeFolder(folder / "plain");
  EXPECT_FALSE(NativeDisk().Copy(folder / "nothing", folder / "to"));
  EXPECT_FALSE(NativeDisk().Copy(folder / "plain", folder / "to"));
  EXPECT_FALSE(NativeDisk().Copy({}, folder / "to"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"plain", "folder"}}));
}

TEST(DiskChangeTest, Copy_NamedPipeAtTheSource_FailsWithoutWaiting) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const TestFolder folder;
  test::MakeNamedPipe(folder / "pipe");
  EXPECT_FALSE(NativeDisk().Copy(folder / "pipe", folder / "to"));
  EXPECT_EQ(NativeDisk().Status(folder / "to"), FileStatus::Absent);
}

TEST(DiskChangeTest, Copy_MissingTargetFolder_Fails) {
  const TestFolder folder;
  WriteFile(folder / "from", "content");
  EXPECT_FALSE(NativeDisk().Copy(folder / "from", folder / "no/to"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"from", "file content"}}));
}

TEST(DiskChangeTest, Copy_OddNamesAndLongPaths_AreCopied) {
  const TestFolder folder;
  const Path deep = test::LongFolder(folder.path());
  MakeFolder(deep);
  for (const Path& name : test::OddNames()) {
    WriteFile(folder / name, "content");
    EXPECT_TRUE(NativeDisk().Copy(folder / name, deep / name)) << name;
    EXPECT_EQ(ReadFile(deep / name), "content") << name;
  }
}

}  // namespace
}  // namespace k7k
