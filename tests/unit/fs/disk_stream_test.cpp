// The streams of the disk: binary, buffered, and never a folder.
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "fs/disk.h"
#include "support/conditions.h"
#include "support/environment.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::MakeFileLink;
using test::MakeFolder;
using test::MakeFolderLink;
using test::ReadFile;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

// Bytes that a text mode would change or end at.
const std::string kBinary("line\nline\r\n\x1a\x00\xff rest\r", 20);

TEST(DiskStreamTest, OpenInput_File_GivesItsBytes) {
  const TestFolder folder;
  WriteFile(folder / "file", kBinary);
  const auto stream = NativeDisk().OpenInput(folder / "file");
  ASSERT_TRUE(stream);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(*stream), {}), kBinary);
}

TEST(DiskStreamTest, OpenInput_EmptyFile_IsAtItsEndAfterTheFirstRead) {
  const TestFolder folder;
  WriteFile(folder / "file", "");
  const auto stream = NativeDisk().OpenInput(folder / "file");
  ASSERT_TRUE(stream);
  EXPECT_TRUE(stream->good());
  char byte = 0;
  stream->read(&byte, 1);
  EXPECT_EQ(stream->gcount(), 0);
  EXPECT_TRUE(stream->eof());
}

TEST(DiskStreamTest, OpenInput_ReadOnlyFile_GivesItsBytes) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  test::MakeReadOnly(folder / "file");
  EXPECT_EQ(ReadFile(folder / "file"), "content");
}

TEST(DiskStreamTest, OpenInput_LinkToFile_GivesTheTargetsBytes) {
  const TestFolder folder;
  WriteFile(folder / "target", "content");
  MakeFileLink(folder / "target", folder / "link");
  EXPECT_EQ(ReadFile(folder / "link"), "content");
}

TEST(DiskStreamTest, OpenInput_NothingThere_IsNull) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  MakeFolderLink(folder / "nothing", folder / "dangling");
  for (const Path& path : {folder / "nothing", folder / "no/thing", folder / "file/below",
                           folder / "dangling", Path()}) {
    EXPECT_FALSE(NativeDisk().OpenInput(path)) << path;
  }
}

TEST(DiskStreamTest, OpenInput_Folder_IsNull) {
  const TestFolder folder;
  MakeFolder(folder / "manifest.sha256");
  MakeFolderLink(folder / "manifest.sha256", folder / "link");
  EXPECT_FALSE(NativeDisk().OpenInput(folder / "manifest.sha256"));
  EXPECT_FALSE(NativeDisk().OpenInput(folder / "manifest.sha256/"));
  EXPECT_FALSE(NativeDisk().OpenInput(folder / "link"));
}

TEST(DiskStreamTest, OpenInput_NamedPipe_DoesNotWaitForAWriter) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const TestFolder folder;
  test::MakeNamedPipe(folder / "pipe");
  EXPECT_EQ(ReadFile(folder / "pipe"), "");
}

TEST(DiskStreamTest, OpenOutput_NamedPipe_DoesNotWaitForAReader) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows has no named pipes in folders";
  const TestFolder folder;
  test::MakeNamedPipe(folder / "pipe");
  EXPECT_FALSE(NativeDisk().OpenOutput(folder / "pipe"));
}

TEST(DiskStreamTest, OpenInput_FileThatMayNotBeRead_IsNull) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  const TestFolder folder;
  WriteFile(folder / "closed", "content");
  EXPECT_EQ(test::AnswerWithoutRights(
                folder.path(), folder / "closed", 0,
                [] { return NativeDisk().OpenInput("closed") ? "opened" : "refused"; }),
            "refused");
}

TEST(DiskStreamTest, OpenInput_FileThatFailsToRead_IsBadAndNotAtItsEnd) {
  const auto in_pieces = NativeDisk().OpenInput(test::FileThatFailsToRead());
  ASSERT_TRUE(in_pieces);
  std::string piece(100, '\0');
  EXPECT_FALSE(in_pieces->read(piece.data(), 100));
  EXPECT_TRUE(in_pieces->bad());
  EXPECT_FALSE(in_pieces->eof());
  const auto in_lines = NativeDisk().OpenInput(test::FileThatFailsToRead());
  ASSERT_TRUE(in_lines);
  EXPECT_FALSE(std::getline(*in_lines, piece));
  EXPECT_TRUE(in_lines->bad());
  EXPECT_FALSE(in_lines->eof());
}

TEST(DiskStreamTest, OpenOutput_NewFile_HoldsTheBytesWritten) {
  const TestFolder folder;
  {
    const auto stream = NativeDisk().OpenOutput(folder / "file");
    ASSERT_TRUE(stream);
    *stream << kBinary << "\n";
    EXPECT_TRUE(stream->good());
  }
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"file", "file " + kBinary + "\n"}}));
}

TEST(DiskStreamTest, OpenOutput_ExistingFile_IsTruncatedAtOpening) {
  const TestFolder folder;
  WriteFile(folder / "file", "a long old content");
  const auto stream = NativeDisk().OpenOutput(folder / "file");
  ASSERT_TRUE(stream);
  EXPECT_EQ(NativeDisk().Size(folder / "file"), 0U);
}

TEST(DiskStreamTest, OpenOutput_LinkToFile_WritesTheTargetInPlace) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine shows a link to a file as a file";
  const TestFolder folder;
  WriteFile(folder / "target", "old");
  MakeFileLink(folder / "target", folder / "link");
  WriteFile(folder / "link", "new");
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"target", "file new"}, {"link", "link"}}));
}

TEST(DiskStreamTest, OpenOutput_Folder_IsNullAndStays) {
  const TestFolder folder;
  WriteFile(folder / "plain/file", "content");
  EXPECT_FALSE(NativeDisk().OpenOutput(folder / "plain"));
  EXPECT_FALSE(NativeDisk().OpenOutput(folder / "plain/"));
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"plain", "folder"}, {"plain/file", "file content"}}));
}

TEST(DiskStreamTest, OpenOutput_MissingParent_IsNullAndCreatesNothing) {
  const TestFolder folder;
  EXPECT_FALSE(NativeDisk().OpenOutput(folder / "no/file"));
  EXPECT_FALSE(NativeDisk().OpenOutput({}));
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

TEST(DiskStreamTest, OpenOutput_WithoutTheRight_IsNullAndKeepsTheContent) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine denies nothing to the user of the prefix";
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  EXPECT_EQ(test::AnswerWithoutRights(
                folder.path(), folder / "file", 0444,
                [] { return NativeDisk().OpenOutput("file") ? "opened" : "refused"; }),
            "refused");
  EXPECT_EQ(ReadFile(folder / "file"), "content");
}

TEST(DiskStreamTest, OpenOutput_ManySmallWrites_StayInTheBufferUntilTheEnd) {
  const TestFolder folder;
  std::string written;
  {
    const auto stream = NativeDisk().OpenOutput(folder / "file");
    ASSERT_TRUE(stream);
    while (written.size() < 4096) {
      *stream << "0123456789abcdef";
      written += "0123456789abcdef";
      ASSERT_EQ(NativeDisk().Size(folder / "file"), 0U) << written.size();
    }
  }
  EXPECT_EQ(ReadFile(folder / "file"), written);
}

TEST(DiskStreamTest, OpenOutput_4096BytesInSmallPieces_StayInTheBufferUntilTheEnd) {
  const TestFolder folder;
  const std::string piece(512, 'x');
  constexpr int kPieces = 8;
  {
    const auto stream = NativeDisk().OpenOutput(folder / "file");
    ASSERT_TRUE(stream);
    for (int i = 0; i < kPieces; ++i) *stream << piece;
    EXPECT_EQ(NativeDisk().Size(folder / "file"), 0U);
  }
  EXPECT_EQ(ReadFile(folder / "file"), std::string(kPieces * piece.size(), 'x'));
}

TEST(DiskStreamTest, OpenOutput_MoreThanTheBuffer_IsWrittenWhole) {
  const TestFolder folder;
  std::string content;
  for (int i = 0; i < 40000; ++i) content += std::to_string(i) + "\n";
  WriteFile(folder / "file", content);
  EXPECT_EQ(ReadFile(folder / "file"), content);
}

TEST(DiskStreamTest, Streams_OddNamesAndLongPaths_AreOpened) {
  const TestFolder folder;
  for (const Path& name : test::OddNames()) {
    WriteFile(folder / name, "content");
    EXPECT_EQ(ReadFile(folder / name), "content") << name;
  }
  WriteFile(test::LongFolder(folder.path()) / "file", "long");
  EXPECT_EQ(ReadFile(test::LongFolder(folder.path()) / "file"), "long");
}

}  // namespace
}  // namespace k7k
