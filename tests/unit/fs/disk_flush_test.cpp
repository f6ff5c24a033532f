#include <gtest/gtest.h>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFolder;
using test::ReadFile;
using test::TestFolder;
using test::WriteFile;

class DiskFlushTest : public testing::Test {
 protected:
  Disk& disk_ = NativeDisk();
  TestFolder folder_;
};

TEST_F(DiskFlushTest, Flush_File_IsTrueAndKeepsTheContent) {
  WriteFile(folder_ / "file", "content");
  EXPECT_TRUE(disk_.Flush(folder_ / "file"));
  EXPECT_EQ(ReadFile(folder_ / "file"), "content");
}

TEST_F(DiskFlushTest, Flush_EmptyFile_IsTrue) {
  WriteFile(folder_ / "file", "");
  EXPECT_TRUE(disk_.Flush(folder_ / "file"));
}

TEST_F(DiskFlushTest, Flush_ReadOnlyFile_IsTrueAndKeepsTheBit) {
  WriteFile(folder_ / "file", "content");
  test::MakeReadOnly(folder_ / "file");
  EXPECT_TRUE(disk_.Flush(folder_ / "file"));
  EXPECT_TRUE(test::IsReadOnly(folder_ / "file"));
  EXPECT_EQ(ReadFile(folder_ / "file"), "content");
}

TEST_F(DiskFlushTest, Flush_Folder_IsTrue) {
  MakeFolder(folder_ / "empty");
  WriteFile(folder_ / "full/file", "content");
  EXPECT_TRUE(disk_.Flush(folder_ / "empty"));
  EXPECT_TRUE(disk_.Flush(folder_ / "full"));
  EXPECT_TRUE(disk_.Flush(folder_ / "full/"));
}

TEST_F(DiskFlushTest, Flush_NothingThere_IsFalseAndCreatesNothing) {
  EXPECT_FALSE(disk_.Flush(folder_ / "missing"));
  EXPECT_FALSE(disk_.Flush(folder_ / "missing/file"));
  EXPECT_EQ(disk_.Status(folder_ / "missing"), FileStatus::Absent);
}

TEST_F(DiskFlushTest, Flush_LinkToAFolder_FlushesItsTarget) {
  MakeFolder(folder_ / "target");
  test::MakeFolderLink(folder_ / "target", folder_ / "link");
  EXPECT_TRUE(disk_.Flush(folder_ / "link"));
  EXPECT_TRUE(disk_.IsReparsePoint(folder_ / "link"));
}

TEST_F(DiskFlushTest, Flush_MayNotBeOpenedForIt_CountsAsDone) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  WriteFile(folder_ / "closed", "content");
  MakeFolder(folder_ / "folder");
  for (const char* closed : {"closed", "folder"}) {
    EXPECT_EQ(
        test::AnswerWithoutRights(folder_.path(), folder_ / closed, 0,
                                  [=] { return NativeDisk().Flush(closed) ? "done" : "failed"; }),
        "done")
        << closed;
  }
}

TEST_F(DiskFlushTest, Flush_FileThatOthersRead_IsTrue) {
  WriteFile(folder_ / "file", "content");
  const auto reader = disk_.OpenInput(folder_ / "file");
  EXPECT_TRUE(disk_.Flush(folder_ / "file"));
}

// The calls that create folders and those that flush, as "+name" and "!name" below the root.
std::string Changes(const FaultDisk& disk, const Path& root) {
  std::string changes;
  for (const DiskCall& call : disk.calls) {
    const std::string name = call.path.lexically_relative(root).generic_string();
    if (call.call == Call::CreateFolder) changes += " +" + name;
    if (call.call == Call::Flush) changes += " !" + name;
  }
  return changes;
}

TEST_F(DiskFlushTest, CreateFoldersDurably_MissingAncestors_FlushesEachFolderThatGotAnEntry) {
  FaultDisk disk;
  EXPECT_TRUE(CreateFoldersDurably(folder_ / "a/b"));
  EXPECT_EQ(disk_.Status(folder_ / "a/b"), FileStatus::Folder);
  EXPECT_EQ(Changes(disk, folder_.path()), " +a !. +a/b !a");
}

TEST_F(DiskFlushTest, CreateFoldersDurably_FolderThere_FlushesNothing) {
  MakeFolder(folder_ / "a");
  FaultDisk disk;
  EXPECT_TRUE(CreateFoldersDurably(folder_ / "a"));
  EXPECT_EQ(Changes(disk, folder_.path()), "");
}

TEST_F(DiskFlushTest, CreateFoldersDurably_FlushFails_IsFalseAndGoesNoFurther) {
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Flush; };
  EXPECT_FALSE(CreateFoldersDurably(folder_ / "a/b"));
  EXPECT_EQ(Changes(disk, folder_.path()), " +a !.");
}

TEST_F(DiskFlushTest, CreateFolders_MissingAncestors_FlushesNothing) {
  FaultDisk disk;
  EXPECT_TRUE(CreateFolders(folder_ / "a/b"));
  EXPECT_EQ(Changes(disk, folder_.path()), " +a +a/b");
}

}  // namespace
}  // namespace k7k
