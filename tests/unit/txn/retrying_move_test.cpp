#include "txn/retrying_move.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using std::chrono::milliseconds;
using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFolder;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr int kNotFound = 2;  // ERROR_FILE_NOT_FOUND and ENOENT

// A disk whose first moves fail.
struct StubbornDisk : FaultDisk {
  explicit StubbornDisk(int failures) {
    fails = [this, failures](const DiskCall& call) {
      if (call.call != Call::Move) return false;
      pauses_before.push_back(static_cast<int>(pauses.size()));
      move_error = 100 + Count(Call::Move);
      return Count(Call::Move) <= failures;
    };
  }

  std::vector<int> pauses_before;  // how many there were at each attempt
};

TEST(RetryingMoveTest, File_IsMovedAtOnceWithoutAPause) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  FaultDisk disk;
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(disk.Count(Call::Move), 1);
  EXPECT_TRUE(disk.pauses.empty());
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "file content"}}));
}

TEST(RetryingMoveTest, FolderWithContent_IsMovedWhole) {
  const TestFolder folder;
  WriteFile(folder / "a/deep/file", "content");
  MakeFolder(folder / "a/empty");
  FaultDisk disk;
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "folder"},
                                           {"b/deep", "folder"},
                                           {"b/deep/file", "file content"},
                                           {"b/empty", "folder"}}));
}

TEST(RetryingMoveTest, FileAtTheTarget_IsReplaced) {
  const TestFolder folder;
  WriteFile(folder / "a", "new");
  WriteFile(folder / "b", "old");
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "file new"}}));
}

TEST(RetryingMoveTest, SevenFailures_StopsAtTheFirstSuccess) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(7);
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(disk.Count(Call::Move), 8);
  EXPECT_EQ(disk.pauses, std::vector<milliseconds>(7, milliseconds(25)));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "file content"}}));
}

TEST(RetryingMoveTest, NineteenFailures_TheTwentiethAttemptMoves) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(19);
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses, std::vector<milliseconds>(19, milliseconds(25)));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "file content"}}));
}

TEST(RetryingMoveTest, TwentyFailures_GivesUpAfterNineteenPausesAndMovesNothing) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(1000);
  EXPECT_NE(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(disk.pauses, std::vector<milliseconds>(19, milliseconds(25)));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"a", "file content"}}));
}

TEST(RetryingMoveTest, EveryFailure_IsFollowedByOnePauseAndNoneComesFirst) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(1000);
  RetryingMove(folder / "a", folder / "b");
  std::vector<int> expected;
  for (int i = 0; i < 20; ++i) expected.push_back(i);
  EXPECT_EQ(disk.pauses_before, expected);
}

TEST(RetryingMoveTest, CodesThatDiffer_TheLastAttemptsIsReturned) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(1000);
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 120);
}

TEST(RetryingMoveTest, SuccessAfterOtherCodes_IsZero) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(1);
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
}

TEST(RetryingMoveTest, EveryAttempt_HasTheSameTwoEnds) {
  const TestFolder folder;
  WriteFile(folder / "a", "content");
  StubbornDisk disk(1000);
  RetryingMove(folder / "a", folder / "b");
  for (const DiskCall& call : disk.calls) {
    EXPECT_EQ(call.path, folder / "a");
    EXPECT_EQ(call.to, folder / "b");
  }
}

TEST(RetryingMoveTest, MissingSource_GivesTheSystemsOwnCodeAfterTwentyAttempts) {
  const TestFolder folder;
  FaultDisk disk;
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), kNotFound);
  EXPECT_EQ(disk.Count(Call::Move), 20);
}

TEST(RetryingMoveTest, FolderWithContentAtTheTarget_GivesTheSystemsOwnCodeAndChangesNothing) {
  const TestFolder folder;
  WriteFile(folder / "a/file", "new");
  WriteFile(folder / "b/file", "old");
  const Tree before = TakeTree(folder.path());
  FaultDisk disk;
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"),
            test::RunsOnWindows() ? test::AccessDeniedCode() : ENOTEMPTY);
  EXPECT_EQ(disk.Count(Call::Move), 20);
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST(RetryingMoveTest, SourceThatAppearsBetweenTwoAttempts_IsMoved) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    if (call.call == Call::Move && disk.Count(Call::Move) == 5) {
      *NativeDisk().OpenOutput(folder / "a") << "late";
    }
    return false;
  };
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), 0);
  EXPECT_EQ(disk.Count(Call::Move), 5);
  EXPECT_EQ(disk.pauses.size(), 4U);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"b", "file late"}}));
}

TEST(RetryingMoveTest, RealDisk_GivingUpTakesNineteenTimes25Milliseconds) {
  const TestFolder folder;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(RetryingMove(folder / "a", folder / "b"), kNotFound);
  // One tick of the coarsest clock less: a wait may end a little early by its own count.
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(19 * 25 - 16));
}

}  // namespace
}  // namespace k7k
