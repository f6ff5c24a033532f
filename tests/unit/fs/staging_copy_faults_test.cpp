// The staging copy on a disk that fails or changes while it runs.
#include <gtest/gtest.h>

#include <string>

#include "fs/staging_copy.h"
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
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kUntouched = L"what stood there before";
constexpr auto kNoStaging = L"Could not create the staging directory";
constexpr auto kNotRead = L"Could not read the complete payload";
constexpr auto kUnsupported = L"Payload contains an unsupported entry";
constexpr auto kNotCopied = L"Could not copy the complete payload";

std::wstring Stage(const Path& payload, const Path& staging) {
  std::wstring detail = kUntouched;
  const bool copied = StageCopy(payload, staging, &detail);
  EXPECT_EQ(copied, detail == kUntouched);
  return detail;
}

class StagingCopyFaultsTest : public testing::Test {
 protected:
  std::wstring Stage() { return k7k::Stage(payload_, staging_); }
  Tree Staged() const { return TakeTree(staging_); }

  // Makes the nth call of a kind about an entry of the payload or staging fail, from 1.
  void FailNth(Call kind, const Path& path, int nth) {
    disk_.fails = [=, seen = 0](const DiskCall& call) mutable {
      return call.call == kind && call.path == path && ++seen == nth;
    };
  }

  TestFolder folder_;
  const Path payload_ = folder_ / "payload";
  const Path staging_ = folder_ / "staging";
  FaultDisk disk_;
};

TEST_F(StagingCopyFaultsTest, StageCopy_StagingFolderThatCannotBeCreated_CouldNotCreateStaging) {
  WriteFile(payload_ / "file", "content");
  FailNth(Call::CreateFolder, staging_, 1);
  EXPECT_EQ(Stage(), kNoStaging);
  EXPECT_EQ(TakeTree(folder_.path()),
            (Tree{{"payload", "folder"}, {"payload/file", "file content"}}));
  EXPECT_EQ(disk_.Count(Call::WalkOpen), 0);
}

TEST_F(StagingCopyFaultsTest, StageCopy_FailedStepThatEndsTheWalk_EndsWithSuccess) {
  MakeFolder(payload_ / "sub");
  WriteFile(payload_ / "sub/file", "content");
  FailNth(Call::WalkOpen, payload_, 1);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), Tree());
  FailNth(Call::WalkAdvance, payload_ / "sub", 1);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}}));
}

TEST_F(StagingCopyFaultsTest, StageCopy_FailedStepThatYieldsAnEntry_CouldNotRead) {
  WriteFile(payload_ / "sub/file", "content");
  disk_.failed_walk_yields = true;
  FailNth(Call::WalkOpen, payload_, 1);
  EXPECT_EQ(Stage(), kNotRead);
  EXPECT_EQ(Staged(), Tree());
  FailNth(Call::WalkAdvance, payload_ / "sub", 1);
  EXPECT_EQ(Stage(), kNotRead);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}}));
}

TEST_F(StagingCopyFaultsTest, StageCopy_FailedStepThatYieldsAnEscapingEntry_CouldNotRead) {
  WriteFile(payload_ / "..x", "content");
  disk_.failed_walk_yields = true;
  FailNth(Call::WalkOpen, payload_, 1);
  EXPECT_EQ(Stage(), kNotRead);
}

TEST_F(StagingCopyFaultsTest, StageCopy_SubfolderThatCannotBeListed_EndsWithSuccess) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  WriteFile(payload_ / "closed/file", "content");
  // The child may not write where the tests do.
  MakeFolder(staging_ / "closed");
  EXPECT_EQ(
      test::AnswerWithoutRights(
          folder_.path(), payload_ / "closed", 0,
          [] { return k7k::Stage("payload", "staging") == kUntouched ? "copied" : "refused"; }),
      "copied");
  EXPECT_EQ(Staged(), (Tree{{"closed", "folder"}}));
}

TEST_F(StagingCopyFaultsTest, StageCopy_FileThatMayNotBeRead_CouldNotCopy) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  WriteFile(payload_ / "file", "content");
  MakeFolder(staging_);
  EXPECT_EQ(
      test::AnswerWithoutRights(
          folder_.path(), payload_ / "file", 0,
          [] { return k7k::Stage("payload", "staging") == kNotCopied ? "refused" : "copied"; }),
      "refused");
}

TEST_F(StagingCopyFaultsTest, StageCopy_SubfolderThatVanishesWhileWalked_EndsWithSuccess) {
  MakeFolder(payload_ / "sub");
  disk_.fails = [&](const DiskCall& call) {
    if (call.call == Call::CreateFolder && call.path == staging_ / "sub") {
      EXPECT_TRUE(NativeDisk().RemoveAll(payload_ / "sub"));
    }
    return false;
  };
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}}));
}

TEST_F(StagingCopyFaultsTest, StageCopy_TypeThatCannotBeTold_CouldNotCopy) {
  WriteFile(payload_ / "file", "content");
  FailNth(Call::Status, payload_ / "file", 1);
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_TypeThatCannotBeToldTheSecondTime_CouldNotCopy) {
  WriteFile(payload_ / "file", "content");
  FailNth(Call::Status, payload_ / "file", 2);
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_EntryThatIsNeitherFolderNorFile_Unsupported) {
  WriteFile(payload_ / "odd", "content");
  disk_.failed_status = FileStatus::Other;
  disk_.fails = [&](const DiskCall& call) {
    return call.call == Call::Status && call.path == payload_ / "odd";
  };
  EXPECT_EQ(Stage(), kUnsupported);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_FileThatIsAFolderTheSecondTime_Unsupported) {
  WriteFile(payload_ / "odd", "content");
  disk_.failed_status = FileStatus::Folder;
  FailNth(Call::Status, payload_ / "odd", 2);
  EXPECT_EQ(Stage(), kUnsupported);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_FileThatVanishesBeforeItIsCopied_CouldNotCopy) {
  WriteFile(payload_ / "file", "content");
  disk_.fails = [&](const DiskCall& call) {
    if (call.call == Call::Copy) {
      EXPECT_TRUE(NativeDisk().RemoveAll(payload_ / "file"));
    }
    return false;
  };
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_FolderThatCannotBeCreated_CouldNotCopy) {
  MakeFolder(payload_ / "sub");
  FailNth(Call::CreateFolder, staging_ / "sub", 1);
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyFaultsTest, StageCopy_ParentThatCannotBeCreated_CouldNotCopyAndCopiesNothing) {
  WriteFile(payload_ / "sub/file", "content");
  // The folder made for the entry of its own is gone again when the file comes.
  disk_.fails = [&, made = 0](const DiskCall& call) mutable {
    if (call.call == Call::WalkAdvance) NativeDisk().RemoveAll(staging_ / "sub");
    return call.call == Call::CreateFolder && call.path == staging_ / "sub" && ++made == 2;
  };
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(disk_.Count(Call::Copy), 0);
}

TEST_F(StagingCopyFaultsTest, StageCopy_ParentThatIsGoneAgain_IsCreatedForTheFile) {
  WriteFile(payload_ / "sub/file", "content");
  disk_.fails = [&, removed = false](const DiskCall& call) mutable {
    if (call.call == Call::WalkAdvance && !removed) {
      removed = NativeDisk().RemoveAll(staging_ / "sub");
    }
    return false;
  };
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}, {"sub/file", "file content"}}));
}

TEST_F(StagingCopyFaultsTest, StageCopy_CopyThatFails_StopsThereAndLeavesWhatWasCopied) {
  WriteFile(payload_ / "a/first", "1");
  WriteFile(payload_ / "a/b/second", "2");
  WriteFile(payload_ / "a/b/c/third", "3");
  disk_.fails = [copies = 0](const DiskCall& call) mutable {
    return call.call == Call::Copy && ++copies == 2;
  };
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(disk_.Count(Call::Copy), 2);
  int files = 0;
  for (const auto& [name, content] : Staged()) files += content.starts_with("file") ? 1 : 0;
  EXPECT_EQ(files, 1);
}

TEST_F(StagingCopyFaultsTest, StageCopy_AnyCallThatFails_ChangesNothingInThePayload) {
  WriteFile(payload_ / "a/b/file", "content");
  WriteFile(payload_ / "file", "content");
  const Tree payload = TakeTree(payload_);
  bool failed_at_all = true;
  for (std::size_t nth = 1; failed_at_all; ++nth) {
    ASSERT_LT(nth, 200U);
    disk_.calls.clear();
    disk_.fails = [&](const DiskCall&) { return disk_.calls.size() == nth; };
    Stage();
    failed_at_all = disk_.calls.size() >= nth;
    EXPECT_EQ(TakeTree(payload_), payload) << "call " << nth;
    disk_.fails = nullptr;
    ASSERT_TRUE(NativeDisk().RemoveAll(staging_));
  }
}

}  // namespace
}  // namespace k7k
