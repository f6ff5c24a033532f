#include "fs/staging_copy.h"

#include <gtest/gtest.h>

#include <string>

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

constexpr auto kUntouched = L"what stood there before";
constexpr auto kNoStaging = L"Could not create the staging directory";
constexpr auto kEscaped = L"Payload entry escaped its root";
constexpr auto kUnsupported = L"Payload contains an unsupported entry";
constexpr auto kNotCopied = L"Could not copy the complete payload";

class StagingCopyTest : public testing::Test {
 protected:
  // The message of a copy from payload to staging; what stood there before for one that succeeds.
  std::wstring Stage() { return Stage(payload_, staging_); }

  static std::wstring Stage(const Path& payload, const Path& staging) {
    std::wstring detail = kUntouched;
    const bool copied = StageCopy(payload, staging, &detail);
    EXPECT_EQ(copied, detail == kUntouched);
    return detail;
  }

  Tree Staged() const { return TakeTree(staging_); }

  TestFolder folder_;
  const Path payload_ = folder_ / "payload";
  const Path staging_ = folder_ / "staging";
};

TEST_F(StagingCopyTest, StageCopy_EmptyPayload_YieldsAnEmptyStagingFolder) {
  MakeFolder(payload_);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(TakeTree(folder_.path()), (Tree{{"payload", "folder"}, {"staging", "folder"}}));
}

TEST_F(StagingCopyTest, StageCopy_NestedTree_IsReproducedWhole) {
  WriteFile(payload_ / "bin/64bit/plugin.dll", std::string("\0\r\n\x1a", 4));
  WriteFile(payload_ / "data/locale/en-US.ini", "text\n");
  WriteFile(payload_ / "empty file", "");
  WriteFile(payload_ / "large", std::string(200000, 'x'));
  const Tree payload = TakeTree(payload_);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), payload);
  EXPECT_EQ(TakeTree(payload_), payload);
}

TEST_F(StagingCopyTest, StageCopy_EmptySubfolder_IsReproduced) {
  MakeFolder(payload_ / "a/empty");
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"a", "folder"}, {"a/empty", "folder"}}));
}

TEST_F(StagingCopyTest, StageCopy_NestedFolders_AreThereBeforeTheirFiles) {
  WriteFile(payload_ / "a/b/file", "content");
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    if (call.call == Call::Copy) {
      EXPECT_EQ(NativeDisk().Status(staging_ / "a/b"), FileStatus::Folder);
    }
    return false;
  };
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(disk.Count(Call::Copy), 1);
}

TEST_F(StagingCopyTest, StageCopy_NoDetailAsked_AnswersAllTheSame) {
  WriteFile(payload_ / "file", "content");
  EXPECT_TRUE(StageCopy(payload_, staging_, nullptr));
  EXPECT_FALSE(StageCopy(payload_, staging_, nullptr));
}

TEST_F(StagingCopyTest, StageCopy_StagingFolderThere_IsUsed) {
  WriteFile(payload_ / "new", "new");
  WriteFile(payload_ / "sub/new", "new");
  WriteFile(staging_ / "old", "old");
  WriteFile(staging_ / "sub/old", "old");
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"new", "file new"},
                            {"old", "file old"},
                            {"sub", "folder"},
                            {"sub/new", "file new"},
                            {"sub/old", "file old"}}));
}

TEST_F(StagingCopyTest, StageCopy_FileOfThatNameInTheStagingFolder_CouldNotCopyAndKeepsIt) {
  WriteFile(payload_ / "sub/file", "new");
  WriteFile(staging_ / "sub/file", "old");
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}, {"sub/file", "file old"}}));
}

TEST_F(StagingCopyTest, StageCopy_FileWhereAFolderBelongs_CouldNotCopyAndKeepsIt) {
  MakeFolder(payload_ / "name");
  WriteFile(staging_ / "name", "old");
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), (Tree{{"name", "file old"}}));
}

TEST_F(StagingCopyTest, StageCopy_FolderWhereAFileBelongs_CouldNotCopyAndKeepsIt) {
  WriteFile(payload_ / "name", "new");
  MakeFolder(staging_ / "name");
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), (Tree{{"name", "folder"}}));
}

TEST_F(StagingCopyTest, StageCopy_StagingParentMissing_CouldNotCreateStagingAndCreatesNothing) {
  WriteFile(payload_ / "file", "content");
  const Tree before = TakeTree(folder_.path());
  EXPECT_EQ(Stage(payload_, folder_ / "no/staging"), kNoStaging);
  EXPECT_EQ(TakeTree(folder_.path()), before);
}

TEST_F(StagingCopyTest, StageCopy_FileAtTheStagingPath_CouldNotCreateStagingAndKeepsIt) {
  WriteFile(payload_ / "file", "content");
  WriteFile(staging_, "in the way");
  const Tree before = TakeTree(folder_.path());
  EXPECT_EQ(Stage(), kNoStaging);
  EXPECT_EQ(TakeTree(folder_.path()), before);
}

TEST_F(StagingCopyTest, StageCopy_StagingAndPayloadBothBad_CouldNotCreateStaging) {
  EXPECT_EQ(Stage(folder_ / "nothing", folder_ / "no/staging"), kNoStaging);
}

TEST_F(StagingCopyTest, StageCopy_MissingOrFilePayload_YieldsAnEmptyStagingFolder) {
  WriteFile(folder_ / "file", "content");
  EXPECT_EQ(Stage(folder_ / "nothing", folder_ / "first"), kUntouched);
  EXPECT_EQ(Stage(folder_ / "file", folder_ / "second"), kUntouched);
  EXPECT_EQ(TakeTree(folder_.path()),
            (Tree{{"file", "file content"}, {"first", "folder"}, {"second", "folder"}}));
}

TEST_F(StagingCopyTest, StageCopy_EntryWhoseNameBeginsWithTwoDots_Escaped) {
  for (const char* name : {"..x", "...x", "..cache"}) {
    const Path payload = folder_ / "payloads" / (std::string("file") + name);
    WriteFile(payload / name, "content");
    EXPECT_EQ(Stage(payload, staging_), kEscaped) << name;
    const Path with_folder = folder_ / "payloads" / (std::string("folder") + name);
    MakeFolder(with_folder / name);
    EXPECT_EQ(Stage(with_folder, staging_), kEscaped) << name;
  }
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyTest, StageCopy_TwoDotsElsewhereInTheName_IsCopied) {
  WriteFile(payload_ / ".x", "1");
  WriteFile(payload_ / "x..", "2");
  WriteFile(payload_ / "x..y", "3");
  WriteFile(payload_ / "sub/..x", "4");
  const Tree payload = TakeTree(payload_);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), payload);
}

TEST_F(StagingCopyTest, StageCopy_SeparatorAtTheEndOfThePayload_CopiesTheSame) {
  WriteFile(payload_ / "sub/file", "content");
  EXPECT_EQ(Stage(payload_ / "", staging_ / ""), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"sub", "folder"}, {"sub/file", "file content"}}));
}

TEST_F(StagingCopyTest, StageCopy_OddNamesAndReadOnlyFiles_AreCopied) {
  for (const Path& name : test::OddNames()) {
    WriteFile(payload_ / name / name, "content");
    test::MakeReadOnly(payload_ / name / name);
  }
  const Tree payload = TakeTree(payload_);
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), payload);
}

TEST_F(StagingCopyTest, StageCopy_StagingPathBeyond260Characters_IsFilled) {
  WriteFile(payload_ / "sub/file", "content");
  const Path deep = test::LongFolder(folder_.path());
  MakeFolder(deep);
  EXPECT_EQ(Stage(payload_, deep / "staging"), kUntouched);
  EXPECT_EQ(test::ReadFile(deep / "staging" / "sub" / "file"), "content");
}

TEST_F(StagingCopyTest, StageCopy_FileLink_IsCopiedAsTheContentOfItsTarget) {
  WriteFile(folder_ / "outside", "content");
  MakeFolder(payload_);
  MakeFileLink(folder_ / "outside", payload_ / "link");
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"link", "file content"}}));
}

TEST_F(StagingCopyTest, StageCopy_FolderLink_BecomesAnEmptyFolder) {
  WriteFile(folder_ / "outside/file", "content");
  MakeFolder(payload_);
  MakeFolderLink(folder_ / "outside", payload_ / "link");
  EXPECT_EQ(Stage(), kUntouched);
  EXPECT_EQ(Staged(), (Tree{{"link", "folder"}}));
}

TEST_F(StagingCopyTest, StageCopy_LinkWithoutATarget_CouldNotCopy) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine does not show a link without a target";
  MakeFolder(payload_);
  MakeFolderLink(folder_ / "nothing", payload_ / "link");
  EXPECT_EQ(Stage(), kNotCopied);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyTest, StageCopy_NamedPipe_IsUnsupported) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  MakeFolder(payload_);
  test::MakeNamedPipe(payload_ / "pipe");
  EXPECT_EQ(Stage(), kUnsupported);
  EXPECT_EQ(Staged(), Tree());
}

TEST_F(StagingCopyTest, StageCopy_NamedPipeWhoseNameBeginsWithTwoDots_Escaped) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  MakeFolder(payload_);
  test::MakeNamedPipe(payload_ / "..pipe");
  EXPECT_EQ(Stage(), kEscaped);
}

}  // namespace
}  // namespace k7k
