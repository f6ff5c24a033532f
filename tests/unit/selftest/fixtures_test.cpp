#include "selftest/fixtures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bundle/bundle_check.h"
#include "support/bundles.h"
#include "support/fault_disk.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FaultDisk;
using test::MakeFolder;
using test::ReadFile;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

const std::vector<std::string> kFiles(test::kFiles.begin(), test::kFiles.end());

std::vector<std::string> OpenedForWriting(const FaultDisk& disk, const Path& folder) {
  std::vector<std::string> names;
  for (const DiskCall& call : disk.calls) {
    if (call.call == Call::OpenOutput) {
      names.push_back(call.path.lexically_relative(folder).generic_string());
    }
  }
  return names;
}

TEST(FixturesWriteBinaryFileTest, MissingParentFolders_AreAllCreated) {
  const TestFolder folder;
  EXPECT_TRUE(WriteBinaryFile(folder / "a/b/c/file", "bytes"));
  EXPECT_EQ(
      TakeTree(folder.path()),
      (Tree{
          {"a", "folder"}, {"a/b", "folder"}, {"a/b/c", "folder"}, {"a/b/c/file", "file bytes"}}));
}

TEST(FixturesWriteBinaryFileTest, LongerFileThere_IsTruncated) {
  const TestFolder folder;
  WriteFile(folder / "file", "a long content");
  EXPECT_TRUE(WriteBinaryFile(folder / "file", "new"));
  EXPECT_EQ(ReadFile(folder / "file"), "new");
}

TEST(FixturesWriteBinaryFileTest, LineFeedsAndZeroBytes_AreWrittenAsTheyAre) {
  const TestFolder folder;
  const std::string bytes("a\nb\r\n\0\x1a\xff", 8);
  EXPECT_TRUE(WriteBinaryFile(folder / "file", bytes));
  EXPECT_EQ(ReadFile(folder / "file"), bytes);
}

TEST(FixturesWriteBinaryFileTest, NoBytes_MakesAnEmptyFile) {
  const TestFolder folder;
  EXPECT_TRUE(WriteBinaryFile(folder / "file", ""));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"file", "file "}}));
}

TEST(FixturesWriteBinaryFileTest, ParentIsAFile_IsFalseWithoutOpening) {
  const TestFolder folder;
  WriteFile(folder / "parent", "a file");
  FaultDisk disk;
  EXPECT_FALSE(WriteBinaryFile(folder / "parent/file", "bytes"));
  EXPECT_EQ(disk.Count(Call::OpenOutput), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"parent", "file a file"}}));
}

TEST(FixturesWriteBinaryFileTest, ParentCannotBeCreated_IsFalseWithoutOpening) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::CreateFolder; };
  EXPECT_FALSE(WriteBinaryFile(folder / "parent/file", "bytes"));
  EXPECT_EQ(disk.Count(Call::OpenOutput), 0);
  EXPECT_TRUE(TakeTree(folder.path()).empty());
}

TEST(FixturesWriteBinaryFileTest, PathIsAFolder_IsFalse) {
  const TestFolder folder;
  MakeFolder(folder / "file");
  EXPECT_FALSE(WriteBinaryFile(folder / "file", "bytes"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"file", "folder"}}));
}

TEST(FixturesWriteBinaryFileTest, FileCannotBeOpened_IsFalse) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::OpenOutput; };
  EXPECT_FALSE(WriteBinaryFile(folder / "file", "bytes"));
}

TEST(FixturesWriteBinaryFileTest, StreamTakesNoBytes_IsFalse) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Write; };
  EXPECT_FALSE(WriteBinaryFile(folder / "file", "bytes"));
}

TEST(FixturesReadFirstByteTest, FileWithContent_GivesItsFirstByte) {
  const TestFolder folder;
  WriteFile(folder / "file", "xyz");
  EXPECT_EQ(ReadFirstByte(folder / "file"), 'x');
}

TEST(FixturesReadFirstByteTest, HighByteFirst_IsGivenUnchanged) {
  const TestFolder folder;
  WriteFile(folder / "file", "\xff");
  EXPECT_EQ(ReadFirstByte(folder / "file"), '\xff');
}

TEST(FixturesReadFirstByteTest, LineEndOrEndMarkFirst_IsGivenUnchanged) {
  const TestFolder folder;
  WriteFile(folder / "return", "\r\n");
  WriteFile(folder / "end", "\x1a");
  EXPECT_EQ(ReadFirstByte(folder / "return"), '\r');
  EXPECT_EQ(ReadFirstByte(folder / "end"), '\x1a');
}

TEST(FixturesReadFirstByteTest, EmptyFileMissingFileAndFolder_GiveZero) {
  const TestFolder folder;
  WriteFile(folder / "empty", "");
  EXPECT_EQ(ReadFirstByte(folder / "empty"), 0);
  EXPECT_EQ(ReadFirstByte(folder / "missing"), 0);
  EXPECT_EQ(ReadFirstByte(folder.path()), 0);
}

TEST(FixturesReadFirstByteTest, FileCannotBeOpened_GivesZero) {
  const TestFolder folder;
  WriteFile(folder / "file", "xyz");
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::OpenInput; };
  EXPECT_EQ(ReadFirstByte(folder / "file"), 0);
}

TEST(FixturesWritePayloadTest, LetterA_MakesTheFilesOf32BytesAndTheirManifest) {
  const TestFolder folder;
  EXPECT_TRUE(WriteFixturePayload(folder / "payload", 'A'));

  Tree expected{{"bin", "folder"}, {"bin/64bit", "folder"}, {"data", "folder"}};
  expected["data/locale"] = "folder";
  for (const std::string& file : kFiles) {
    expected[file] = "file " + std::string(32, 'A');
  }
  expected["manifest.sha256"] = "file " + test::ManifestText(test::kDigestOfA);
  EXPECT_EQ(TakeTree(folder / "payload"), expected);
}

TEST(FixturesWritePayloadTest, LetterA_PassesTheBundleCheckWithAllItsBytes) {
  const TestFolder folder;
  EXPECT_TRUE(WriteFixturePayload(folder / "payload", 'A'));
  const CopyVerdict verdict = InspectBundle(folder / "payload", nullptr);
  EXPECT_TRUE(verdict.valid);
  EXPECT_EQ(verdict.bytes, test::kBundleBytes);
}

TEST(FixturesWritePayloadTest, OtherPayloadThere_IsReplacedWholly) {
  const TestFolder folder;
  WriteFile(folder / "payload/data/locale/ja-JP.ini", std::string(1000, 'x'));
  WriteFile(folder / "payload/manifest.sha256", std::string(1000, 'x'));
  EXPECT_TRUE(WriteFixturePayload(folder / "payload", 'B'));
  EXPECT_TRUE(WriteFixturePayload(folder / "payload", 'A'));
  EXPECT_TRUE(WriteFixturePayload(folder / "expected", 'A'));
  EXPECT_EQ(TakeTree(folder / "payload"), TakeTree(folder / "expected"));
}

TEST(FixturesWritePayloadTest, WriteError_EndsItAtTheFirstFile) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [](const DiskCall& call) { return call.call == Call::Write; };
  EXPECT_FALSE(WriteFixturePayload(folder.path(), 'A'));
  EXPECT_EQ(OpenedForWriting(disk, folder.path()), std::vector<std::string>{kFiles.front()});
}

TEST(FixturesWritePayloadTest, Files_AreWrittenInListOrderAndTheManifestLast) {
  const TestFolder folder;
  FaultDisk disk;
  EXPECT_TRUE(WriteFixturePayload(folder / "payload", 'A'));
  std::vector<std::string> expected = kFiles;
  expected.emplace_back("manifest.sha256");
  EXPECT_EQ(OpenedForWriting(disk, folder / "payload"), expected);
}

TEST(FixturesWritePayloadTest, EachFileThatFails_EndsItBeforeLaterFilesAndTheManifest) {
  for (std::size_t i = 0; i < kFiles.size(); ++i) {
    const TestFolder folder;
    FaultDisk disk;
    disk.fails = [&](const DiskCall& call) {
      return call.call == Call::OpenOutput && call.path == folder / kFiles[i];
    };
    EXPECT_FALSE(WriteFixturePayload(folder.path(), 'A')) << kFiles[i];
    EXPECT_EQ(OpenedForWriting(disk, folder.path()),
              std::vector<std::string>(kFiles.begin(),
                                       kFiles.begin() + static_cast<std::ptrdiff_t>(i) + 1));
  }
}

TEST(FixturesWritePayloadTest, ManifestCannotBeWritten_IsFalseAndTheFilesStay) {
  const TestFolder folder;
  FaultDisk disk;
  disk.fails = [&](const DiskCall& call) {
    return call.call == Call::OpenOutput && call.path == folder / "manifest.sha256";
  };
  EXPECT_FALSE(WriteFixturePayload(folder.path(), 'A'));
  for (const std::string& file : kFiles) {
    EXPECT_EQ(ReadFile(folder / file), std::string(32, 'A'));
  }
}

}  // namespace
}  // namespace k7k
