// The contract that both implementations of the disk keep.
#include "fs/disk.h"

#include <gtest/gtest.h>

#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

TEST(DiskTest, Status_FolderLinkToFolder_IsAFolder) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(NativeDisk().Status(folder / "link"), FileStatus::Folder);
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "link"));
}

TEST(DiskTest, Status_DanglingLink_IsAbsent) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_EQ(NativeDisk().Status(folder / "link"), FileStatus::Absent);
}

TEST(DiskTest, RemoveAll_FolderLinkInTheTree_NothingBehindItIsTouched) {
  const TestFolder folder;
  WriteFile(folder / "outside/kept", "kept");
  WriteFile(folder / "tree/deep/file", "x");
  MakeFolderLink(folder / "outside", folder / "tree/deep/link");
  const bool removed = NativeDisk().RemoveAll(folder / "tree");
  // Wine cannot delete a Unix link as a link, so there the removal fails.
  EXPECT_EQ(removed, !test::RunsUnderWine());
  EXPECT_EQ(TakeTree(folder / "outside"), (Tree{{"kept", "file kept"}}));
}

}  // namespace
}  // namespace k7k
