// What stands around the disk: path rules, folders with their ancestors, the disk in use.
#include "fs/disk.h"

#include <gtest/gtest.h>

#include "support/conditions.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

TEST(DiskTest, IsAbsolute_ByThePlatformsRule_IsTrue) {
  if (test::RunsOnWindows()) {
    for (const char* path :
         {"C:\\", "C:\\x", "C:/x", "c:\\x\\..\\y", "a:\\x", "A:\\x", "z:\\x", "Z:\\with space",
          "\\\\server\\share", "\\\\server\\share\\x", "//server/share/x", "\\\\?\\C:\\x",
          "\\\\?\\UNC\\server\\share", "\\??\\C:\\x", "\\??\\"}) {
      EXPECT_TRUE(IsAbsolute(path)) << path;
    }
  } else {
    for (const char* path : {"/", "/x", "//x", "/x/../y", "/with space"}) {
      EXPECT_TRUE(IsAbsolute(path)) << path;
    }
  }
}

TEST(DiskTest, IsAbsolute_RelativeByThePlatformsRule_IsFalse) {
  for (const char* path : {"", "x", ".", "..", "x/y", "../x", "C:", "C:x", "C:x/y", "1:/x", "@:/x",
                           "[:/x", "`:/x", "{:/x"}) {
    EXPECT_FALSE(IsAbsolute(path)) << path;
  }
  if (test::RunsOnWindows()) {
    for (const char* path :
         {"\\", "\\x", "/x", "\\x\\y", "x\\y", "C:x\\y", ":\\x", "\\\\", "\\\\\\x", "\\??\\\\x"}) {
      EXPECT_FALSE(IsAbsolute(path)) << path;
    }
  } else {
    for (const char* path : {"C:\\x", "\\x", "\\\\server\\share"}) {
      EXPECT_FALSE(IsAbsolute(path)) << path;
    }
  }
}

TEST(DiskTest, WithoutTrailingSeparators_Path_IsTheNameOfTheEntry) {
  const char* const cases[][2] = {{"a/b", "a/b"},   {"a/b/", "a/b"},   {"a/b//", "a/b"},
                                  {"a/b/.", "a/b"}, {"a/b/./", "a/b"}, {"a/b/././.", "a/b"},
                                  {"a", "a"},       {"a/", "a"},       {"a/..", "a/.."},
                                  {"a/.b", "a/.b"}, {"", ""},          {"a/b./", "a/b."},
                                  {".", "."}};
  for (const auto& [path, expected] : cases) {
    EXPECT_EQ(WithoutTrailingSeparators(path), Path(expected)) << path;
  }
}

TEST(DiskTest, WithoutTrailingSeparators_Root_StaysAsItIs) {
  const Path root = test::AbsolutePath("x").root_path();
  EXPECT_EQ(WithoutTrailingSeparators(root).native(), root.native());
}

TEST(DiskTest, CurrentDisk_NoOverride_IsTheRealOne) { EXPECT_EQ(&CurrentDisk(), &NativeDisk()); }

TEST(DiskTest, DiskOverride_Nested_GivesEachPreviousDiskBack) {
  {
    const FaultDisk outer;
    EXPECT_EQ(&CurrentDisk(), static_cast<const Disk*>(&outer));
    {
      const FaultDisk inner;
      EXPECT_EQ(&CurrentDisk(), static_cast<const Disk*>(&inner));
    }
    EXPECT_EQ(&CurrentDisk(), static_cast<const Disk*>(&outer));
  }
  EXPECT_EQ(&CurrentDisk(), &NativeDisk());
}

TEST(DiskTest, CreateFolders_MissingAncestors_CreatesThemAll) {
  const TestFolder folder;
  EXPECT_TRUE(CreateFolders(folder / "a/b/c"));
  EXPECT_EQ(TakeTree(folder.path()),
            (Tree{{"a", "folder"}, {"a/b", "folder"}, {"a/b/c", "folder"}}));
}

TEST(DiskTest, CreateFolders_FolderThere_IsTrueAndChangesNothing) {
  const TestFolder folder;
  WriteFile(folder / "a/b/file", "content");
  const Tree before = TakeTree(folder.path());
  EXPECT_TRUE(CreateFolders(folder / "a/b"));
  EXPECT_TRUE(CreateFolders(folder / "a/b/"));
  EXPECT_TRUE(CreateFolders(folder / "a/b/."));
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskTest, CreateFolders_SeparatorAtTheEnd_CreatesTheFolder) {
  const TestFolder folder;
  EXPECT_TRUE(CreateFolders(folder / "a/b/"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST(DiskTest, CreateFolders_FileInTheWay_IsFalseAndKeepsIt) {
  const TestFolder folder;
  WriteFile(folder / "a/file", "content");
  const Tree before = TakeTree(folder.path());
  EXPECT_FALSE(CreateFolders(folder / "a/file"));
  EXPECT_FALSE(CreateFolders(folder / "a/file/b"));
  EXPECT_FALSE(CreateFolders(folder / "a/file/b/c"));
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(DiskTest, CreateFolders_BelowALinkToAFolder_CreatesThemInItsTarget) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_TRUE(CreateFolders(folder / "link"));
  EXPECT_TRUE(CreateFolders(folder / "link/a/b"));
  EXPECT_EQ(TakeTree(folder / "target"), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST(DiskTest, CreateFolders_DanglingLinkInTheWay_IsFalse) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_FALSE(CreateFolders(folder / "link/a"));
  EXPECT_EQ(NativeDisk().Status(folder / "nothing"), FileStatus::Absent);
}

TEST(DiskTest, CreateFolders_LinkLoopInTheWay_IsFalse) {
  const TestFolder folder;
  MakeFolderLink(folder / "loop", folder / "loop");
  EXPECT_FALSE(CreateFolders(folder / "loop/a"));
}

TEST(DiskTest, CreateFolders_StatusThatCannotBeTold_IsFalseAndCreatesNothing) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Status; };
  EXPECT_FALSE(CreateFolders(folder / "a/b"));
  EXPECT_EQ(disk.Count(Call::CreateFolder), 0);
}

TEST(DiskTest, CreateFolders_FailureHalfWay_LeavesTheAncestorsCreatedSoFar) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::CreateFolder && call.path == folder / "a/b/c";
  };
  EXPECT_FALSE(CreateFolders(folder / "a/b/c/d"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST(DiskTest, CreateFolders_EmptyPath_IsFalse) { EXPECT_FALSE(CreateFolders({})); }

TEST(DiskTest, CreateFolders_MissingDrive_IsFalse) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX has one root, which is always there";
  ASSERT_EQ(NativeDisk().Status("Q:\\"), FileStatus::Absent);
  EXPECT_FALSE(CreateFolders("Q:\\a\\b"));
}

TEST(DiskTest, CreateFolders_OddNamesAndLongPaths_AreCreated) {
  const TestFolder folder;
  for (const Path& name : test::OddNames()) {
    EXPECT_TRUE(CreateFolders(folder / name / name)) << name;
    EXPECT_EQ(NativeDisk().Status(folder / name / name), FileStatus::Folder) << name;
  }
  const Path deep = test::LongFolder(folder.path());
  EXPECT_TRUE(CreateFolders(deep));
  EXPECT_EQ(NativeDisk().Status(deep), FileStatus::Folder);
}

}  // namespace
}  // namespace k7k
