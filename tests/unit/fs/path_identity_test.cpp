#include "fs/path_identity.h"

#include <gtest/gtest.h>

#include <string>

#include "support/conditions.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::AbsolutePath;
using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TestFolder;
using test::WriteFile;

const std::error_code kStaleError = std::make_error_code(std::errc::permission_denied);

// The resolved path. The error handed in is a stale one, which every success must clear.
Path Resolved(const Path& path) {
  std::error_code error = kStaleError;
  Path resolved = ResolvePath(path, error);
  EXPECT_FALSE(error) << path << ": " << error.message();
  return resolved;
}

bool IsRefused(const Path& path) {
  std::error_code error;
  const Path resolved = ResolvePath(path, error);
  EXPECT_TRUE(resolved.empty() || !error) << resolved;
  return static_cast<bool>(error);
}

TEST(PathIdentityTest, IsReparsePoint_FolderLink_IsTrue) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_TRUE(IsReparsePoint(folder / "link"));
  EXPECT_TRUE(IsReparsePoint(folder / "link/"));
}

TEST(PathIdentityTest, IsReparsePoint_MissingPath_IsFalse) {
  const TestFolder folder;
  EXPECT_FALSE(IsReparsePoint(folder / "nothing"));
}

TEST(PathIdentityTest, IsReparsePoint_BehindALink_JudgesTheLastComponentAlone) {
  const TestFolder folder;
  MakeFolder(folder / "target/sub");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_FALSE(IsReparsePoint(folder / "link/sub"));
}

TEST(PathIdentityTest, IsReparsePoint_AttributesThatCannotBeRead_IsFalse) {
  const TestFolder folder;
  MakeFolder(folder / "target");
  MakeFolderLink(folder / "target", folder / "link");
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::IsReparsePoint; };
  EXPECT_FALSE(IsReparsePoint(folder / "link"));
}

TEST(PathIdentityTest, ResolvePath_ExistingPath_IsThePathItself) {
  const TestFolder folder;
  WriteFile(folder / "sub/file", "content");
  EXPECT_EQ(Resolved(folder.path()), folder.path());
  EXPECT_EQ(Resolved(folder / "sub/file"), folder / "sub" / "file");
}

TEST(PathIdentityTest, ResolvePath_DotsAndSeparatorRuns_AreGone) {
  const TestFolder folder;
  MakeFolder(folder / "a/b");
  EXPECT_EQ(Resolved(folder / "a//b"), folder / "a" / "b");
  EXPECT_EQ(Resolved(folder / "a/./b/../b"), folder / "a" / "b");
}

TEST(PathIdentityTest, ResolvePath_LinkToAFolder_IsItsTarget) {
  const TestFolder folder;
  MakeFolder(folder / "target/sub");
  MakeFolderLink(folder / "target", folder / "first");
  MakeFolderLink(folder / "first", folder / "second");
  EXPECT_EQ(Resolved(folder / "first"), folder / "target");
  EXPECT_EQ(Resolved(folder / "second/sub"), folder / "target" / "sub");
}

TEST(PathIdentityTest, ResolvePath_LinkToAFile_IsItsTarget) {
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_EQ(Resolved(folder / "link"), folder / "target");
}

TEST(PathIdentityTest, ResolvePath_MissingTail_IsAppendedToTheExistingPart) {
  const TestFolder folder;
  MakeFolder(folder / "there");
  EXPECT_EQ(Resolved(folder / "there/not/yet"), folder / "there" / "not" / "yet");
  EXPECT_EQ(Resolved(folder / "not"), folder / "not");
  EXPECT_EQ(Resolved(folder / "there/not/"), folder / "there" / "not");
  EXPECT_EQ(Resolved(folder / "there/not/yet/"), folder / "there" / "not" / "yet");
}

TEST(PathIdentityTest, ResolvePath_MissingTailBehindALink_IsAppendedToItsTarget) {
  const TestFolder folder;
  MakeFolder(folder / "target/sub");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_EQ(Resolved(folder / "link/sub/not/yet"), folder / "target" / "sub" / "not" / "yet");
}

TEST(PathIdentityTest, ResolvePath_MissingTailWithDots_IsNormalised) {
  const TestFolder folder;
  MakeFolder(folder / "there");
  EXPECT_EQ(Resolved(folder / "there/not/./yet"), folder / "there" / "not" / "yet");
  EXPECT_EQ(Resolved(folder / "there/not/../other"), folder / "there" / "other");
  EXPECT_EQ(Resolved(folder / "there/not//yet"), folder / "there" / "not" / "yet");
}

TEST(PathIdentityTest, ResolvePath_TailThroughAFile_IsAppended) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  EXPECT_EQ(Resolved(folder / "file/below"), folder / "file" / "below");
}

TEST(PathIdentityTest, ResolvePath_DanglingLink_StaysInThePath) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_EQ(Resolved(folder / "link"), folder / "link");
  EXPECT_EQ(Resolved(folder / "link/below"), folder / "link" / "below");
}

TEST(PathIdentityTest, ResolvePath_NothingExists_IsNormalisedByItsTextAlone) {
  EXPECT_EQ(Resolved("no-such-folder/./a/../b"), Path("no-such-folder") / "b");
  if (test::RunsOnWindows()) {
    EXPECT_EQ(Resolved("Q:\\no\\.\\such\\..\\folder"), Path("Q:\\no\\folder"));
    EXPECT_EQ(Resolved("Q:/no/such"), Path("Q:\\no\\such"));
  } else {
    EXPECT_EQ(Resolved("/no-such-root/./a/../b"), Path("/no-such-root/b"));
  }
}

TEST(PathIdentityTest, ResolvePath_EmptyPath_IsEmptyWithoutError) {
  EXPECT_EQ(Resolved(Path()), Path());
}

TEST(PathIdentityTest, ResolvePath_LinkLoop_IsAnError) {
  const TestFolder folder;
  MakeFolderLink(folder / "b", folder / "a");
  MakeFolderLink(folder / "a", folder / "b");
  EXPECT_TRUE(IsRefused(folder / "a"));
  EXPECT_TRUE(IsRefused(folder / "a/below/it"));
}

TEST(PathIdentityTest, ResolvePath_BelowAFolderThatMayNotBeEntered_IsAnError) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows lets everybody pass through folders";
  const TestFolder folder;
  MakeFolder(folder / "closed/sub");
  EXPECT_EQ(
      test::AnswerWithoutRights(folder.path(), folder / "closed", 0,
                                [] { return IsRefused("closed/sub") ? "refused" : "resolved"; }),
      "refused");
}

TEST(PathIdentityTest, ResolvePath_ExistingPartThatCannotBeRead_IsAnError) {
  const TestFolder folder;
  MakeFolder(folder / "there");
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::FinalPath && call.path == folder / "there";
  };
  EXPECT_TRUE(IsRefused(folder / "there"));
  EXPECT_TRUE(IsRefused(folder / "there/not/yet"));
  EXPECT_FALSE(IsRefused(folder / "not"));
}

TEST(PathIdentityTest, ResolvePath_OtherLetterCase_IsTheDisksOwn) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "letter case counts on POSIX";
  const TestFolder folder;
  WriteFile(folder / "Mixed Case/Inner.TXT", "content");
  EXPECT_EQ(Resolved(folder / "mixed case/INNER.txt"), folder / "Mixed Case" / "Inner.TXT");
  EXPECT_EQ(Resolved(folder / "MIXED CASE/not/Yet"), folder / "Mixed Case" / "not" / "Yet");
  const Path system = test::RunsUnderWine() ? "windows\\system32" : "Windows\\System32";
  EXPECT_EQ(Resolved("c:\\WINDOWS\\SYSTEM32\\not\\Yet").lexically_relative(Resolved("C:\\")),
            system / "not" / "Yet");
}

TEST(PathIdentityTest, ResolvePath_LongPathPrefix_IsDropped) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX knows no prefix of long paths";
  const TestFolder folder;
  MakeFolder(folder / "there");
  const Path prefixed = Path(L"\\\\?\\" + folder.path().wstring());
  EXPECT_EQ(Resolved(prefixed / "there").wstring(), (folder / "there").wstring());
  EXPECT_EQ(Resolved(prefixed / "there\\not\\yet"), folder / "there" / "not" / "yet");
}

TEST(PathIdentityTest, ResolvePath_OddNames_AreKept) {
  const TestFolder folder;
  for (const Path& name : test::OddNames()) {
    if (name.native().size() > 200) continue;  // a path of that length has its own test
    MakeFolder(folder / name);
    EXPECT_EQ(Resolved(folder / name), folder / name);
    EXPECT_EQ(Resolved(folder / name / name), folder / name / name);
  }
}

TEST(PathIdentityTest, ResolvePath_PathBeyond260Characters_IsResolved) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine tells no final path beyond 260 characters";
  const TestFolder folder;
  const Path deep = test::LongFolder(folder.path());
  WriteFile(deep / "file", "content");
  const Path expected =
      folder / std::string(120, 'p') / std::string(120, 'q') / std::string(120, 'r');
  EXPECT_EQ(Resolved(deep / "file"), expected / "file");
  EXPECT_EQ(Resolved(deep / "not" / "yet"), expected / "not" / "yet");
}

TEST(PathIdentityTest, Overlap_EqualNestedOrApart_IsToldBothWays) {
  const Path a = AbsolutePath("a");
  const Path inner = AbsolutePath("a/b/c");
  const Path beside = AbsolutePath("ab");
  EXPECT_TRUE(Overlap(a, a));
  EXPECT_TRUE(Overlap(a, inner));
  EXPECT_TRUE(Overlap(inner, a));
  EXPECT_FALSE(Overlap(a, beside));
  EXPECT_FALSE(Overlap(beside, a));
}

}  // namespace
}  // namespace k7k
