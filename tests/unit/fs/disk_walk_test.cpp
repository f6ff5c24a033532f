// The walk below a folder: it lists links and never enters them, and ends at a failed step.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFolder;
using test::MakeFolderLink;
using test::TestFolder;
using test::WriteFile;
using Names = std::vector<std::string>;

// The entries by their names relative to root, in the order of the walk.
Names WalkedNames(const Path& root) {
  Names names;
  for (const auto walk = NativeDisk().Walk(root); !walk->AtEnd(); walk->Advance()) {
    EXPECT_FALSE(walk->Failed()) << walk->Entry();
    // By the text: a path with a long-path prefix has no relative form.
    const Path name = walk->Entry().native().substr(root.native().size() + 1);
    names.push_back(name.generic_string());
  }
  return names;
}

Names Sorted(Names names) {
  std::sort(names.begin(), names.end());
  return names;
}

std::size_t IndexOf(const Names& names, const std::string& name) {
  return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

void ExpectEndAndFailure(const TreeWalk& walk) {
  EXPECT_TRUE(walk.AtEnd());
  EXPECT_TRUE(walk.Failed());
}

TEST(DiskWalkTest, Walk_EmptyFolder_IsAtItsEndWithoutFailure) {
  const TestFolder folder;
  const auto walk = NativeDisk().Walk(folder.path());
  EXPECT_TRUE(walk->AtEnd());
  EXPECT_FALSE(walk->Failed());
}

TEST(DiskWalkTest, Walk_Tree_ListsEachEntryOnce) {
  const TestFolder folder;
  WriteFile(folder / "a/b/c/file", "1");
  WriteFile(folder / "a/b/file", "2");
  WriteFile(folder / "file", "3");
  MakeFolder(folder / "empty/inner");
  EXPECT_EQ(Sorted(WalkedNames(folder.path())),
            (Names{"a", "a/b", "a/b/c", "a/b/c/file", "a/b/file", "empty", "empty/inner", "file"}));
}

TEST(DiskWalkTest, Walk_Tree_ListsAFolderBeforeItsContent) {
  const TestFolder folder;
  for (const char* name : {"a/b/c/file", "a/b/file", "z/y/x/file", "z/file"}) {
    WriteFile(folder / name, "content");
  }
  const Names names = WalkedNames(folder.path());
  for (const std::string& name : names) {
    const std::string parent = Path(name).parent_path().generic_string();
    if (parent.empty()) continue;
    EXPECT_LT(IndexOf(names, parent), IndexOf(names, name)) << name;
  }
  EXPECT_EQ(names.size(), 10U);
}

TEST(DiskWalkTest, Walk_EndOfATree_IsNoFailure) {
  const TestFolder folder;
  WriteFile(folder / "a/file", "content");
  const auto walk = NativeDisk().Walk(folder.path());
  while (!walk->AtEnd()) walk->Advance();
  EXPECT_FALSE(walk->Failed());
}

TEST(DiskWalkTest, Walk_Entry_IsTheRootAsGivenWithTheNamesBelowIt) {
  const TestFolder folder;
  WriteFile(folder / "tree/sub/file", "content");
  MakeFolder(folder / "other");
  const Path root = folder / "other" / ".." / "tree";
  const auto walk = NativeDisk().Walk(root);
  ASSERT_FALSE(walk->AtEnd());
  EXPECT_EQ(walk->Entry(), root / "sub");
  walk->Advance();
  ASSERT_FALSE(walk->AtEnd());
  EXPECT_EQ(walk->Entry(), root / "sub" / "file");
}

TEST(DiskWalkTest, Walk_FolderLinks_AreListedAndNotEntered) {
  const TestFolder folder;
  WriteFile(folder / "outside/sub/file", "content");
  WriteFile(folder / "tree/a/b/file", "content");
  MakeFolderLink(folder / "outside", folder / "tree/link");
  MakeFolderLink(folder / "outside", folder / "tree/a/b/link");
  EXPECT_EQ(Sorted(WalkedNames(folder / "tree")),
            (Names{"a", "a/b", "a/b/file", "a/b/link", "link"}));
}

TEST(DiskWalkTest, Walk_LinkToAFolderAbove_EndsAllTheSame) {
  const TestFolder folder;
  WriteFile(folder / "tree/a/file", "content");
  MakeFolderLink(folder / "tree", folder / "tree/a/up");
  EXPECT_EQ(Sorted(WalkedNames(folder / "tree")), (Names{"a", "a/file", "a/up"}));
}

TEST(DiskWalkTest, Walk_LinksWithoutATarget_AreListed) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "tree-dangling");
  MakeFolderLink(folder / "loop", folder / "loop");
  EXPECT_EQ(Sorted(WalkedNames(folder.path())), (Names{"loop", "tree-dangling"}));
}

TEST(DiskWalkTest, Walk_MissingRoot_IsAtItsEndAndFailed) {
  const TestFolder folder;
  ExpectEndAndFailure(*NativeDisk().Walk(folder / "nothing"));
  ExpectEndAndFailure(*NativeDisk().Walk(folder / "no/thing"));
  ExpectEndAndFailure(*NativeDisk().Walk(""));
}

TEST(DiskWalkTest, Walk_EmptyPath_IsAtItsEndAndFailed) {
  ExpectEndAndFailure(*NativeDisk().Walk(Path()));
}

TEST(DiskWalkTest, Walk_FileAsRoot_IsAtItsEndAndFailed) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  ExpectEndAndFailure(*NativeDisk().Walk(folder / "file"));
}

TEST(DiskWalkTest, Walk_DanglingLinkAsRoot_IsAtItsEndAndFailed) {
  const TestFolder folder;
  MakeFolderLink(folder / "nothing", folder / "link");
  ExpectEndAndFailure(*NativeDisk().Walk(folder / "link"));
}

TEST(DiskWalkTest, Walk_FolderThatVanishesBeforeItIsEntered_EndsFailed) {
  const TestFolder folder;
  MakeFolder(folder / "tree/sub");
  const auto walk = NativeDisk().Walk(folder / "tree");
  ASSERT_FALSE(walk->AtEnd());
  ASSERT_TRUE(NativeDisk().RemoveAll(folder / "tree/sub"));
  walk->Advance();
  ExpectEndAndFailure(*walk);
}

TEST(DiskWalkTest, Walk_NamesThatWin32Trims_AreListedAndSearched) {
  const TestFolder folder;
  const Path exact = test::ExactPath(folder.path());
  for (const char* name : {"sub./in /file.", "sub/twin", "dots..../file", "space "}) {
    WriteFile(exact / name, "content");
  }
  EXPECT_EQ(Sorted(WalkedNames(folder.path())),
            (Names{"dots....", "dots..../file", "space ", "sub", "sub.", "sub./in ",
                   "sub./in /file.", "sub/twin"}));
}

TEST(DiskWalkTest, Walk_LinkWhoseNameWin32Trims_IsSeenAndNotEntered) {
  const TestFolder folder;
  WriteFile(folder / "outside/file", "content");
  MakeFolder(folder / "tree/sub");
  MakeFolderLink(folder / "outside", test::ExactPath(folder / "tree/sub") / "link.");
  EXPECT_EQ(Sorted(WalkedNames(folder / "tree")), (Names{"sub", "sub/link."}));
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "tree/sub/link."));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "tree/sub/link"));
}

TEST(DiskWalkTest, Walk_FolderReplacedByALinkBeforeItIsEntered_DoesNotFollowTheLink) {
  const TestFolder folder;
  WriteFile(folder / "outside/secret", "content");
  MakeFolder(folder / "tree/sub");
  const auto walk = NativeDisk().Walk(folder / "tree");
  ASSERT_FALSE(walk->AtEnd());
  ASSERT_TRUE(NativeDisk().RemoveAll(folder / "tree/sub"));
  MakeFolderLink(folder / "outside", folder / "tree/sub");
  walk->Advance();
  EXPECT_TRUE(walk->AtEnd()) << walk->Entry();
}

TEST(DiskWalkTest, Walk_FolderThatMayNotBeListed_EndsFailed) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  const TestFolder folder;
  MakeFolder(folder / "tree/closed/inner");
  const auto walk_closed = [] {
    const auto walk = NativeDisk().Walk("tree");
    std::string story = walk->AtEnd() ? "" : walk->Entry().generic_string() + ", ";
    if (!walk->AtEnd()) walk->Advance();
    story += walk->AtEnd() ? "at the end, " : "further entries, ";
    return story + (walk->Failed() ? "failed" : "not failed");
  };
  EXPECT_EQ(test::AnswerWithoutRights(folder.path(), folder / "tree/closed", 0, walk_closed),
            "tree/closed, at the end, failed");
  EXPECT_EQ(test::AnswerWithoutRights(folder.path(), folder / "tree", 0, walk_closed),
            "at the end, failed");
}

TEST(DiskWalkTest, Walk_OddNames_AreListedAsTheyAre) {
  const TestFolder folder;
  Names expected;
  for (const Path& name : test::OddNames()) {
    WriteFile(folder / name / name, "content");
    expected.push_back(name.generic_string());
    expected.push_back((name / name).generic_string());
  }
  EXPECT_EQ(Sorted(WalkedNames(folder.path())), Sorted(expected));
}

TEST(DiskWalkTest, Walk_DeepTreeBeyond260Characters_IsListedWhole) {
  const TestFolder folder;
  const Path deep = test::LongFolder(folder.path());
  WriteFile(deep / "file", "content");
  const Path root = deep.parent_path().parent_path().parent_path();
  const std::string p(120, 'p');
  const std::string q = p + "/" + std::string(120, 'q');
  const std::string r = q + "/" + std::string(120, 'r');
  EXPECT_EQ(WalkedNames(root), (Names{p, q, r, r + "/file"}));
}

TEST(DiskWalkTest, Walk_ManyEntries_AllAreListed) {
  const TestFolder folder;
  Names expected;
  for (int i = 0; i < 300; ++i) {
    expected.push_back("file with a rather long name " + std::to_string(i));
    WriteFile(folder / expected.back(), "");
  }
  EXPECT_EQ(Sorted(WalkedNames(folder.path())), Sorted(expected));
}

}  // namespace
}  // namespace k7k
