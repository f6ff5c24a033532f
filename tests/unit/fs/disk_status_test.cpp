// The questions that both implementations of the disk answer alike.
#include <gtest/gtest.h>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TestFolder;
using test::WriteFile;

FileStatus StatusOf(const Path& path) { return NativeDisk().Status(path); }

// Adds a separator or an element to the text, which a join of paths would treat otherwise.
Path WithText(const Path& path, const char* text) {
  return Path(path.native() + Path(text).native());
}

TEST(DiskStatusTest, Status_Folder_IsAFolder) {
  const TestFolder folder;
  MakeFolder(folder / "plain");
  EXPECT_EQ(StatusOf(folder / "plain"), FileStatus::Folder);
  EXPECT_EQ(StatusOf(folder / "plain/"), FileStatus::Folder);
  EXPECT_EQ(StatusOf(folder / "plain/."), FileStatus::Folder);
}

TEST(DiskStatusTest, Status_File_IsAFile) {
  const TestFolder folder;
  WriteFile(folder / "empty", "");
  WriteFile(folder / "full", "content");
  EXPECT_EQ(StatusOf(folder / "empty"), FileStatus::File);
  EXPECT_EQ(StatusOf(folder / "full"), FileStatus::File);
}

TEST(DiskStatusTest, Status_ReadOnlyFile_IsAFile) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  test::MakeReadOnly(folder / "file");
  EXPECT_EQ(StatusOf(folder / "file"), FileStatus::File);
}

TEST(DiskStatusTest, Status_MissingName_IsAbsent) {
  const TestFolder folder;
  EXPECT_EQ(StatusOf(folder / "nothing"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_MissingParent_IsAbsent) {
  const TestFolder folder;
  EXPECT_EQ(StatusOf(folder / "nothing/at/all"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_PathThroughAFile_IsAbsent) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  EXPECT_EQ(StatusOf(folder / "file/below"), FileStatus::Absent);
  EXPECT_EQ(StatusOf(folder / "file/deep/below"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_EmptyPath_IsAbsent) { EXPECT_EQ(StatusOf({}), FileStatus::Absent); }

TEST(DiskStatusTest, Status_NameThatWindowsDoesNotAllow_IsAbsent) {
  const TestFolder folder;
  for (const char* name : {"a*b", "a?b", "a<b", "a>b", "a|b", "a\"b"}) {
    EXPECT_EQ(StatusOf(folder / name), FileStatus::Absent) << name;
  }
}

TEST(DiskStatusTest, Status_LinkToFolder_IsAFolder) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(StatusOf(folder / "link"), FileStatus::Folder);
}

TEST(DiskStatusTest, Status_LinkToFile_IsAFile) {
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_EQ(StatusOf(folder / "link"), FileStatus::File);
}

TEST(DiskStatusTest, Status_LinkToLinkToFolder_IsAFolder) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "first");
  MakeFolderLink(folder / "first", folder / "second");
  EXPECT_EQ(StatusOf(folder / "second"), FileStatus::Folder);
}

TEST(DiskStatusTest, Status_PathThroughAFolderLink_IsWhatLiesThere) {
  const TestFolder folder;
  WriteFile(folder / "target/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(StatusOf(folder / "link/file"), FileStatus::File);
  EXPECT_EQ(StatusOf(folder / "link/nothing"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_DanglingLink_IsAbsent) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_EQ(StatusOf(folder / "link"), FileStatus::Absent);
  EXPECT_EQ(StatusOf(folder / "link/below"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_LinkThroughAFile_IsAbsent) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  MakeFolderLink(folder / "file/below", folder / "link");
  EXPECT_EQ(StatusOf(folder / "link"), FileStatus::Absent);
}

TEST(DiskStatusTest, Status_LinkLoop_IsUnreadable) {
  const TestFolder folder;
  MakeFolderLink(folder / "b", folder / "a");
  MakeFolderLink(folder / "a", folder / "b");
  EXPECT_EQ(StatusOf(folder / "a"), FileStatus::Unreadable);
  EXPECT_EQ(StatusOf(folder / "a/below"), FileStatus::Unreadable);
}

TEST(DiskStatusTest, Status_BelowAFolderThatMayNotBeEntered_IsUnreadable) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows lets everybody pass through folders";
  const TestFolder folder;
  WriteFile(folder / "closed/file", "content");
  EXPECT_EQ(test::AnswerWithoutRights(folder.path(), folder / "closed", 0,
                                      [] {
                                        return StatusOf("closed/file") == FileStatus::Unreadable
                                                   ? "unreadable"
                                                   : "something else";
                                      }),
            "unreadable");
}

TEST(DiskStatusTest, Status_NamedPipe_IsOther) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const TestFolder folder;
  test::MakeNamedPipe(folder / "pipe");
  EXPECT_EQ(StatusOf(folder / "pipe"), FileStatus::Other);
}

TEST(DiskStatusTest, Status_OddNames_AreFoundUnderThem) {
  const TestFolder folder;
  for (const Path& name : test::OddNames()) {
    WriteFile(folder / name / name, "content");
    EXPECT_EQ(StatusOf(folder / name), FileStatus::Folder) << name;
    EXPECT_EQ(StatusOf(folder / name / name), FileStatus::File) << name;
  }
}

TEST(DiskStatusTest, Status_PathBeyond260Characters_IsFound) {
  const TestFolder folder;
  const Path deep = test::LongFolder(folder.path());
  WriteFile(deep / "file", "content");
  EXPECT_EQ(StatusOf(deep), FileStatus::Folder);
  EXPECT_EQ(StatusOf(deep / "file"), FileStatus::File);
  EXPECT_EQ(StatusOf(deep / "nothing"), FileStatus::Absent);
}

TEST(DiskStatusTest, Exists_EachStatus_IsTrueForWhatIsPresent) {
  EXPECT_FALSE(Exists(FileStatus::Unreadable));
  EXPECT_FALSE(Exists(FileStatus::Absent));
  EXPECT_TRUE(Exists(FileStatus::Folder));
  EXPECT_TRUE(Exists(FileStatus::File));
  EXPECT_TRUE(Exists(FileStatus::Other));
}

TEST(DiskStatusTest, IsReparsePoint_FolderFileOrNothing_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "plain/file", "content");
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "plain"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "plain/file"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "nothing"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "nothing/below"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "plain/file/below"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint({}));
}

TEST(DiskStatusTest, IsReparsePoint_FolderLink_IsTrue) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "link"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "target"));
}

TEST(DiskStatusTest, IsReparsePoint_FolderLinkWithSeparatorOrDotAtTheEnd_IsTrue) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  for (const char* end : {"/", "//", "/.", "/./", "/./."}) {
    EXPECT_TRUE(NativeDisk().IsReparsePoint(WithText(folder / "link", end))) << end;
    EXPECT_FALSE(NativeDisk().IsReparsePoint(WithText(folder / "target", end))) << end;
  }
}

TEST(DiskStatusTest, IsReparsePoint_BelowAFolderLink_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "target/sub/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "link/sub"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "link/sub/file"));
}

TEST(DiskStatusTest, IsReparsePoint_FileLink_IsTrue) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine shows a link to a file as a file";
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "link"));
}

TEST(DiskStatusTest, IsReparsePoint_DanglingLink_IsTrue) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "link"));
}

TEST(DiskStatusTest, IsReparsePoint_LinkLoop_IsTrue) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  const TestFolder folder;
  MakeFolderLink(folder / "link", folder / "link");
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "link"));
}

TEST(DiskStatusTest, Size_File_IsItsBytes) {
  const TestFolder folder;
  WriteFile(folder / "empty", "");
  WriteFile(folder / "five", "12345");
  WriteFile(folder / "large", std::string(300000, 'x'));
  EXPECT_EQ(NativeDisk().Size(folder / "empty"), 0U);
  EXPECT_EQ(NativeDisk().Size(folder / "five"), 5U);
  EXPECT_EQ(NativeDisk().Size(folder / "large"), 300000U);
}

TEST(DiskStatusTest, Size_LinkToFile_IsTheTargets) {
  const TestFolder folder;
  WriteFile(folder / "target", "12345");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_EQ(NativeDisk().Size(folder / "link"), 5U);
}

TEST(DiskStatusTest, Size_FolderOrNothing_IsNone) {
  const TestFolder folder;
  MakeFolder(folder / "plain");
  MakeFolderLink(folder / "plain", folder / "link");
  MakeFolderLink(folder / "nothing", folder / "dangling");
  EXPECT_EQ(NativeDisk().Size(folder / "plain"), std::nullopt);
  EXPECT_EQ(NativeDisk().Size(folder / "link"), std::nullopt);
  EXPECT_EQ(NativeDisk().Size(folder / "dangling"), std::nullopt);
  EXPECT_EQ(NativeDisk().Size(folder / "nothing"), std::nullopt);
  EXPECT_EQ(NativeDisk().Size({}), std::nullopt);
}

TEST(DiskStatusTest, Size_NamedPipe_IsNone) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const TestFolder folder;
  test::MakeNamedPipe(folder / "pipe");
  EXPECT_EQ(NativeDisk().Size(folder / "pipe"), std::nullopt);
}

TEST(DiskStatusTest, FinalPath_PlainPath_IsThePathItself) {
  const TestFolder folder;
  WriteFile(folder / "sub/file", "content");
  const FinalPathAnswer sub = NativeDisk().FinalPath(folder / "sub");
  EXPECT_EQ(sub.status, FileStatus::Folder);
  EXPECT_EQ(sub.path, folder / "sub");
  const FinalPathAnswer file = NativeDisk().FinalPath(folder / "sub/file");
  EXPECT_EQ(file.status, FileStatus::File);
  EXPECT_EQ(file.path, folder / "sub" / "file");
}

TEST(DiskStatusTest, FinalPath_ThroughLinks_IsWhereTheyLead) {
  const TestFolder folder;
  WriteFile(folder / "target/sub/file", "content");
  MakeFolderLink(folder / "target", folder / "first");
  MakeFolderLink(folder / "first", folder / "second");
  EXPECT_EQ(NativeDisk().FinalPath(folder / "second").path, folder / "target");
  EXPECT_EQ(NativeDisk().FinalPath(folder / "second/sub/file").path,
            folder / "target" / "sub" / "file");
}

TEST(DiskStatusTest, FinalPath_MissingOrDangling_IsAbsentWithoutAPath) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "dangling");
  for (const Path& path : {folder / "nothing", folder / "dangling", folder / "no/thing", Path()}) {
    const FinalPathAnswer answer = NativeDisk().FinalPath(path);
    EXPECT_EQ(answer.status, FileStatus::Absent) << path;
    EXPECT_EQ(answer.path, Path()) << path;
  }
}

TEST(DiskStatusTest, FinalPath_LinkLoop_IsUnreadableWithoutAPath) {
  const TestFolder folder;
  MakeFolderLink(folder / "loop", folder / "loop");
  const FinalPathAnswer answer = NativeDisk().FinalPath(folder / "loop");
  EXPECT_EQ(answer.status, FileStatus::Unreadable);
  EXPECT_EQ(answer.path, Path());
}

}  // namespace
}  // namespace k7k
