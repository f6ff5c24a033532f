// IsWithin, which judges two texts alone.
#include <gtest/gtest.h>

#include "fs/path_identity.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::AbsolutePath;

TEST(PathIdentityWithinTest, IsWithin_EqualPaths_IsTrue) {
  for (const Path& path : {AbsolutePath("a"), AbsolutePath("a/b c"), AbsolutePath("a").root_path(),
                           Path("relative/path")}) {
    EXPECT_TRUE(IsWithin(path, path)) << path;
  }
}

TEST(PathIdentityWithinTest, IsWithin_CandidateBelowRoot_IsTrue) {
  EXPECT_TRUE(IsWithin(AbsolutePath("a/b/c"), AbsolutePath("a")));
  EXPECT_TRUE(IsWithin(AbsolutePath("a/b"), AbsolutePath("a")));
  EXPECT_TRUE(IsWithin(AbsolutePath("a"), AbsolutePath("a").root_path()));
}

TEST(PathIdentityWithinTest, IsWithin_CandidateAboveRoot_IsFalse) {
  EXPECT_FALSE(IsWithin(AbsolutePath("a"), AbsolutePath("a/b")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a").root_path(), AbsolutePath("a")));
}

TEST(PathIdentityWithinTest, IsWithin_CandidateBesideRoot_IsFalse) {
  EXPECT_FALSE(IsWithin(AbsolutePath("a/c"), AbsolutePath("a/b")));
}

TEST(PathIdentityWithinTest, IsWithin_CandidateWhoseNameBeginsWithRoots_IsFalse) {
  EXPECT_FALSE(IsWithin(AbsolutePath("ab"), AbsolutePath("a")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a"), AbsolutePath("ab")));
}

TEST(PathIdentityWithinTest, IsWithin_NameThatBeginsWithTwoDots_IsTrue) {
  EXPECT_TRUE(IsWithin(AbsolutePath("a/..x"), AbsolutePath("a")));
  EXPECT_TRUE(IsWithin(AbsolutePath("a/..x/b"), AbsolutePath("a")));
  EXPECT_TRUE(IsWithin(AbsolutePath("a/..."), AbsolutePath("a")));
}

TEST(PathIdentityWithinTest, IsWithin_TwoDotsAfterRoot_IsFalse) {
  EXPECT_FALSE(IsWithin(AbsolutePath("a/.."), AbsolutePath("a")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a/../b"), AbsolutePath("a")));
}

TEST(PathIdentityWithinTest, IsWithin_RelativeAgainstAbsolute_IsFalse) {
  EXPECT_FALSE(IsWithin("a/b", AbsolutePath("a")));
  EXPECT_FALSE(IsWithin("b", AbsolutePath("a")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a/b"), "a"));
}

TEST(PathIdentityWithinTest, IsWithin_RelativePaths_AreJudgedAlike) {
  EXPECT_TRUE(IsWithin("a/b", "a"));
  EXPECT_FALSE(IsWithin("a", "a/b"));
  EXPECT_FALSE(IsWithin("ab", "a"));
}

TEST(PathIdentityWithinTest, IsWithin_RunsOfSeparators_CountAsOne) {
  EXPECT_TRUE(IsWithin(Path(AbsolutePath("a").native() + Path("//b").native()), AbsolutePath("a")));
  EXPECT_TRUE(IsWithin(AbsolutePath("a/b/c"), AbsolutePath("a//b")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a//c"), AbsolutePath("a///b")));
}

TEST(PathIdentityWithinTest, IsWithin_OtherLetterCase_IsFalse) {
  EXPECT_FALSE(IsWithin(AbsolutePath("A/b"), AbsolutePath("a")));
  EXPECT_FALSE(IsWithin(AbsolutePath("a"), AbsolutePath("A")));
}

TEST(PathIdentityWithinTest, IsWithin_AnyTexts_AsksNoDisk) {
  const test::FaultDisk disk;
  EXPECT_TRUE(IsWithin(AbsolutePath("a/b"), AbsolutePath("a")));
  EXPECT_TRUE(disk.calls.empty());
}

TEST(PathIdentityWithinTest, IsWithin_DifferentDrives_IsFalse) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX paths have no root names";
  EXPECT_FALSE(IsWithin("D:\\a", "C:\\a"));
  EXPECT_FALSE(IsWithin("D:\\", "C:\\"));
  EXPECT_FALSE(IsWithin("D:\\a\\b", "C:\\a"));
}

TEST(PathIdentityWithinTest, IsWithin_MixedSeparators_CountAlike) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX has one separator";
  EXPECT_TRUE(IsWithin("C:/a/b\\c", "C:\\a"));
  EXPECT_TRUE(IsWithin("C:\\a\\b", "C:/a"));
  EXPECT_TRUE(IsWithin("C:/a\\/b", "C:\\a"));
  EXPECT_TRUE(IsWithin("C:/a", "C:\\a"));
  EXPECT_FALSE(IsWithin("C:/a/c", "C:\\a\\b"));
}

TEST(PathIdentityWithinTest, IsWithin_NetworkShares_AreJudgedByTheirNames) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX paths have no root names";
  EXPECT_TRUE(IsWithin("\\\\server\\share\\a\\b", "\\\\server\\share\\a"));
  EXPECT_FALSE(IsWithin("\\\\server\\share\\a", "\\\\server\\share\\a\\b"));
  EXPECT_FALSE(IsWithin("\\\\server\\other\\a", "\\\\server\\share\\a"));
  EXPECT_FALSE(IsWithin("\\\\other\\share\\a", "\\\\server\\share\\a"));
  EXPECT_FALSE(IsWithin("\\\\server\\share\\a", "C:\\a"));
  EXPECT_FALSE(IsWithin("\\\\server\\share\\a", "a"));
  EXPECT_FALSE(IsWithin("\\\\server\\share\\a", ""));
  EXPECT_FALSE(IsWithin("a", "\\\\server\\share\\a"));
  EXPECT_FALSE(IsWithin("", "\\\\server\\share\\a"));
}

TEST(PathIdentityWithinTest, IsWithin_DriveLetterInOtherCase_IsFalseUntilBothAreResolved) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "letter case counts on POSIX";
  EXPECT_FALSE(IsWithin("c:\\a\\b", "C:\\A"));

  const test::TestFolder folder;
  test::MakeFolder(folder / "A/b");
  std::wstring lower = (folder / "a" / "B").wstring();
  lower[0] = static_cast<wchar_t>(lower[0] - L'A' + L'a');
  EXPECT_FALSE(IsWithin(lower, folder / "A"));
  std::error_code error;
  EXPECT_TRUE(IsWithin(ResolvePath(lower, error), ResolvePath(folder / "A", error)));
  EXPECT_FALSE(error);
}

TEST(PathIdentityWithinTest, IsWithin_ResolvedPathsThroughALink_MeetWhereTheyLead) {
  const test::TestFolder folder;
  test::MakeFolder(folder / "target/sub");
  test::MakeFolderLink(folder / "target", folder / "link");
  std::error_code error;
  const Path root = ResolvePath(folder / "target", error);
  EXPECT_FALSE(IsWithin(folder / "link/sub", folder / "target"));
  EXPECT_TRUE(IsWithin(ResolvePath(folder / "link/sub/not yet", error), root));
  EXPECT_FALSE(error);
}

}  // namespace
}  // namespace k7k
