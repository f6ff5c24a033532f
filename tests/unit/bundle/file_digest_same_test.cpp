#include <gtest/gtest.h>

#include "bundle/file_digest.h"
#include "support/odd_disks.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::BreakingDisk;
using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::MakeFolder;
using test::TestFolder;
using test::WriteFile;

TEST(FileDigestSameTest, SameFileDigest_FileWithItself_IsTrue) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  EXPECT_TRUE(SameFileDigest(folder / "a", folder / "a"));
}

TEST(FileDigestSameTest, SameFileDigest_SameContent_IsTrue) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  WriteFile(folder / "sub/b", "content");
  EXPECT_TRUE(SameFileDigest(folder / "a", folder / "sub/b"));
}

TEST(FileDigestSameTest, SameFileDigest_TwoEmptyFiles_IsTrue) {
  const TestFolder folder;
  WriteFile(folder / "a", "");
  WriteFile(folder / "b", "");
  EXPECT_TRUE(SameFileDigest(folder / "a", folder / "b"));
}

TEST(FileDigestSameTest, SameFileDigest_SameSizeOtherContent_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  WriteFile(folder / "b", "contend");
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
}

TEST(FileDigestSameTest, SameFileDigest_OneIsThePrefixOfTheOther_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "a", std::string(65536, 'x'));
  WriteFile(folder / "b", std::string(65537, 'x'));
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
  EXPECT_FALSE(SameFileDigest(folder / "b", folder / "a"));
}

TEST(FileDigestSameTest, SameFileDigest_TwoMissingFiles_IsFalse) {
  const TestFolder folder;
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "a"));
}

TEST(FileDigestSameTest, SameFileDigest_TwoFolders_IsFalse) {
  const TestFolder folder;
  MakeFolder(folder / "a");
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "a"));
}

TEST(FileDigestSameTest, SameFileDigest_FirstFails_TheSecondIsNotOpened) {
  const TestFolder folder;
  WriteFile(folder / "b", "content");
  FaultDisk disk;
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
  ASSERT_EQ(disk.calls.size(), 1u);
  EXPECT_EQ(disk.calls[0].path, folder / "a");
}

TEST(FileDigestSameTest, SameFileDigest_SecondMissing_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
}

TEST(FileDigestSameTest, SameFileDigest_ReadErrorInBoth_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  FaultDisk disk;
  disk.fails = FailEach(Call::Read, folder / "a");
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "a"));
}

TEST(FileDigestSameTest, SameFileDigest_SecondBreaksInTheMiddle_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "a", std::string(70000, 'x'));
  WriteFile(folder / "b", std::string(70000, 'x'));
  BreakingDisk disk(folder / "b", 65536);
  EXPECT_FALSE(SameFileDigest(folder / "a", folder / "b"));
}

}  // namespace
}  // namespace k7k
