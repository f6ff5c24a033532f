#include "fs/transaction_path.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "fs/process_clock.h"
#include "support/conditions.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

TEST(TransactionPathTest, TransactionName_BackupOfProcess4312AtTick91234567_IsAsDocumented) {
  EXPECT_EQ(TransactionName(L"backup", 4312, 91234567), L".k7k-obs-audio.backup.4312.91234567");
  EXPECT_EQ(TransactionName(L"staging", 4312, 91234567), L".k7k-obs-audio.staging.4312.91234567");
  if (test::RunsOnWindows()) {
    EXPECT_EQ(Path("C:\\P") / TransactionName(L"backup", 4312, 91234567),
              Path("C:\\P\\.k7k-obs-audio.backup.4312.91234567"));
  }
}

TEST(TransactionPathTest, TransactionName_SmallestAndLargestNumbers_AreUnsignedAndNotPadded) {
  EXPECT_EQ(TransactionName(L"staging", 0, 0), L".k7k-obs-audio.staging.0.0");
  EXPECT_EQ(TransactionName(L"staging", 4294967295U, 18446744073709551615U),
            L".k7k-obs-audio.staging.4294967295.18446744073709551615");
}

TEST(TransactionPathTest, TransactionName_Tag_StandsInItAsGiven) {
  for (const wchar_t* tag :
       {L"staging", L"backup", L"remove-backup", L"portable-dll-staging", L"portable-data-staging",
        L"portable-dll-backup", L"portable-data-backup", L"portable-remove-dll",
        L"portable-remove-data", L""}) {
    EXPECT_EQ(TransactionName(tag, 1, 2), std::wstring(L".k7k-obs-audio.") + tag + L".1.2");
  }
}

TEST(TransactionPathTest, TransactionPath_AnyParent_IsANameOfThisProcessAndMomentInIt) {
  const Path parent = test::AbsolutePath("P/plugins");
  const std::uint64_t before = MillisecondsSinceStart();
  const Path path = TransactionPath(parent, L"backup");
  const std::uint64_t after = MillisecondsSinceStart();
  EXPECT_EQ(path.parent_path(), parent);
  const std::string prefix = ".k7k-obs-audio.backup." + std::to_string(ProcessIdentifier()) + ".";
  const std::string name = path.filename().string();
  ASSERT_TRUE(name.starts_with(prefix)) << name;
  const std::string moment = name.substr(prefix.size());
  ASSERT_EQ(moment.find_first_not_of("0123456789"), std::string::npos) << moment;
  EXPECT_GE(std::stoull(moment), before);
  EXPECT_LE(std::stoull(moment), after);
}

TEST(TransactionPathTest, TransactionPath_SameTagWithinOneTick_GivesTheSamePath) {
  for (int attempt = 0; attempt < 100000; ++attempt) {
    const std::uint64_t before = MillisecondsSinceStart();
    const Path first = TransactionPath("P", L"backup");
    const Path second = TransactionPath("P", L"backup");
    if (MillisecondsSinceStart() != before) continue;
    EXPECT_EQ(first, second);
    return;
  }
  FAIL() << "no two calls fell within one tick";
}

TEST(TransactionPathTest, TransactionPath_DifferentTags_GiveDifferentPaths) {
  EXPECT_NE(TransactionPath("P", L"staging"), TransactionPath("P", L"backup"));
}

TEST(TransactionPathTest, TransactionPath_AnyParent_AsksAndChangesNothingOnDisk) {
  const TestFolder folder;
  const FaultDisk disk;
  TransactionPath(folder.path(), L"staging");
  TransactionPath(folder / "nothing", L"staging");
  EXPECT_TRUE(disk.calls.empty());
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

TEST(TransactionPathTest, MillisecondsSinceStart_AfterAPause_HasGrownByThatTime) {
  std::string told;
  // A tick of Windows is up to 16 ms. Where the machine is busy a tick comes late, but not each
  // time.
  for (int tries = 0; tries < 10; ++tries) {
    const auto start = std::chrono::steady_clock::now();
    const std::uint64_t before = MillisecondsSinceStart();
    NativeDisk().Pause(std::chrono::milliseconds(60));
    const std::uint64_t grown = MillisecondsSinceStart() - before;
    // By another clock, since a busy machine makes a pause longer as well.
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (grown >= 40U && grown <= static_cast<std::uint64_t>(passed.count()) + 20U) return;
    told += " " + std::to_string(grown) + " of " + std::to_string(passed.count());
  }
  FAIL() << "milliseconds:" << told;
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_MissingPath_IsTrueAndDoesNothing) {
  const TestFolder folder;
  WriteFile(folder / "beside", "stays");
  EXPECT_TRUE(RemoveTree(folder / "nothing"));
  EXPECT_TRUE(RemoveTree(folder / "no/thing"));
  EXPECT_TRUE(RemoveTree(Path()));
  EXPECT_TRUE(RemoveTree(folder / "beside/below"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"beside", "file stays"}}));

  FaultDisk disk;
  EXPECT_TRUE(RemoveTree(folder / "nothing"));
  EXPECT_EQ(disk.Count(Call::Remove), 0);
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_File_RemovesTheFile) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  WriteFile(folder / "beside", "stays");
  EXPECT_TRUE(RemoveTree(folder / "file"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"beside", "file stays"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_FolderTree_RemovesItAll) {
  const TestFolder folder;
  WriteFile(folder / "tree/a/b/file", "content");
  WriteFile(folder / "tree/read-only", "content");
  test::MakeReadOnly(folder / "tree/read-only");
  for (const Path& name : test::OddNames()) WriteFile(folder / "tree" / name / name, "content");
  WriteFile(folder / "beside", "stays");
  EXPECT_TRUE(RemoveTree(folder / "tree"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"beside", "file stays"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_FolderLink_IsFalseAndLeavesLinkAndTarget) {
  const TestFolder folder;
  WriteFile(folder / "target/file", "content");
  MakeFolderLink(folder / "target", folder / "link");
  const Tree before = TakeTree(folder.path());
  ASSERT_EQ(before.at("link"), "link");
  EXPECT_FALSE(RemoveTree(folder / "link"));
  EXPECT_FALSE(RemoveTree(folder / "link/"));
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_FileLink_IsFalseAndLeavesLinkAndTarget) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine shows a link to a file as a file";
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_FALSE(RemoveTree(folder / "link"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"link", "link"}, {"target", "file content"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_DanglingLink_IsTrueAndLeavesTheLink) {
  const TestFolder folder;
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_TRUE(RemoveTree(folder / "link"));
  // With a target the link shows on every platform.
  MakeFolder(folder / "target");
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"link", "link"}, {"target", "folder"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_LinkLoop_IsFalse) {
  const TestFolder folder;
  MakeFolderLink(folder / "loop", folder / "loop");
  EXPECT_FALSE(RemoveTree(folder / "loop"));
  EXPECT_EQ(NativeDisk().Status(folder / "loop"), FileStatus::Unreadable);
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_StatusThatCannotBeTold_IsFalseAndRemovesNothing) {
  const TestFolder folder;
  WriteFile(folder / "tree/file", "content");
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Status; };
  EXPECT_FALSE(RemoveTree(folder / "tree"));
  EXPECT_EQ(disk.calls.size(), 1U);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"tree", "folder"}, {"tree/file", "file content"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_LinkInsideTheTree_LeavesWhatLiesBehindIt) {
  const TestFolder folder;
  WriteFile(folder / "outside/deep/file", "content");
  WriteFile(folder / "tree/a/file", "content");
  MakeFolderLink(folder / "outside", folder / "tree/a/link");
  // Wine cannot delete a Unix link as a link, so there the removal fails.
  EXPECT_EQ(RemoveTree(folder / "tree"), !test::RunsUnderWine());
  EXPECT_EQ(TakeTree(folder / "outside"),
            (Tree{{"deep", "folder"}, {"deep/file", "file content"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_BelowAFolderLink_RemovesWhatLiesThere) {
  const TestFolder folder;
  WriteFile(folder / "target/tree/file", "content");
  WriteFile(folder / "target/beside", "stays");
  MakeFolderLink(folder / "target", folder / "link");
  EXPECT_TRUE(RemoveTree(folder / "link/tree"));
  EXPECT_EQ(TakeTree(folder / "target"), (Tree{{"beside", "file stays"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_RemovalThatFailsHalfWay_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "tree/a/file", "content");
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::Remove && call.path == folder / "tree/a";
  };
  EXPECT_FALSE(RemoveTree(folder / "tree"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"tree", "folder"}, {"tree/a", "folder"}}));
}

TEST(TransactionPathRemoveTreeTest, RemoveTree_FileHeldOpenWithoutDeleteSharing_IsFalse) {
  if (!test::RunsOnWindows()) GTEST_SKIP() << "POSIX lets an open file be removed";
  const TestFolder folder;
  WriteFile(folder / "tree/file", "content");
  const test::HeldOpen held(folder / "tree/file");
  EXPECT_FALSE(RemoveTree(folder / "tree"));
  EXPECT_EQ(test::ReadFile(folder / "tree/file"), "content");
}

}  // namespace
}  // namespace k7k
