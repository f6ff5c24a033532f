// Reading while others have the file open, reads that fail, and the size of the system's reads.
#include "fs/file_input_win.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "fs/handle_win.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::TestFolder;
using test::WriteFile;

class FileInputWinTest : public testing::Test {
 protected:
  static constexpr DWORD kChunk = 65536;

  // The file with some content, held open by somebody.
  KernelHandle Held(DWORD access, DWORD sharing) const {
    return KernelHandle(
        ::CreateFileW(file_.c_str(), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
  }

  std::string Line() const {
    std::string line;
    const auto stream = OpenFileInput(file_.native());
    if (stream) std::getline(*stream, line);
    return line;
  }

  TestFolder folder_;
  Path file_ = folder_ / "file";
};

TEST_F(FileInputWinTest, OpenFileInput_HeldByAReaderWhoMayDeleteAndSharesAll_IsRead) {
  WriteFile(file_, "content");
  const KernelHandle scanner = Held(GENERIC_READ | DELETE, kShareAll);
  ASSERT_TRUE(scanner);
  EXPECT_EQ(Line(), "content");
}

TEST_F(FileInputWinTest, OpenFileInput_HeldByAWriterWhoSharesAll_IsRead) {
  WriteFile(file_, "content");
  const KernelHandle writer = Held(GENERIC_WRITE, kShareAll);
  ASSERT_TRUE(writer);
  EXPECT_EQ(Line(), "content");
}

TEST_F(FileInputWinTest, OpenFileInput_HeldBySomebodyWhoSharesNoReading_IsNull) {
  WriteFile(file_, "content");
  for (const DWORD sharing : {DWORD{0}, DWORD{FILE_SHARE_WRITE | FILE_SHARE_DELETE}}) {
    const KernelHandle holder = Held(GENERIC_READ, sharing);
    ASSERT_TRUE(holder);
    EXPECT_FALSE(OpenFileInput(file_.native()));
  }
}

TEST_F(FileInputWinTest, OpenFileInput_WhileItIsRead_OthersMayDeleteTheFile) {
  WriteFile(file_, "content");
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  EXPECT_TRUE(Held(DELETE, kShareAll));
}

TEST_F(FileInputWinTest, Read_FailureAfterTheFirstPart_IsBadAndNotTheEnd) {
  WriteFile(file_, std::string(3 * kChunk, 'x'));
  int reads = 0;
  const ImportPatch<decltype(::ReadFile)> patch("ReadFile", [&](auto real, auto... given) {
    if (++reads == 1) return real(given...);
    ::SetLastError(ERROR_CRC);
    return FALSE;
  });
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::vector<char> part(kChunk);
  EXPECT_TRUE(stream->read(part.data(), kChunk));
  EXPECT_FALSE(stream->read(part.data(), kChunk));
  EXPECT_TRUE(stream->bad());
  EXPECT_FALSE(stream->eof());
  EXPECT_EQ(reads, 2);
}

TEST_F(FileInputWinTest, Getline_FailureAfterTheFirstPart_IsBadAndNotTheEnd) {
  WriteFile(file_, std::string(8192, 'x'));
  int reads = 0;
  const ImportPatch<decltype(::ReadFile)> patch(
      "ReadFile", [&](auto real, auto... given) { return ++reads == 1 ? real(given...) : FALSE; });
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::string line;
  EXPECT_FALSE(std::getline(*stream, line));
  EXPECT_TRUE(stream->bad());
  EXPECT_FALSE(stream->eof());
}

TEST_F(FileInputWinTest, Read_LargePieces_ComeStraightFromTheSystem) {
  WriteFile(file_, std::string(kChunk + 1, 'x'));
  std::vector<std::pair<const void*, DWORD>> reads;
  const ImportPatch<decltype(::ReadFile)> patch(
      "ReadFile", [&](auto real, HANDLE file, void* to, DWORD size, auto... given) {
        reads.emplace_back(to, size);
        return real(file, to, size, given...);
      });
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::vector<char> part(kChunk);
  stream->read(part.data(), kChunk);
  stream->read(part.data(), kChunk);
  EXPECT_EQ(stream->gcount(), 1);
  EXPECT_TRUE(stream->eof());
  EXPECT_FALSE(stream->bad());
  const std::vector<std::pair<const void*, DWORD>> expected{
      {part.data(), kChunk}, {part.data(), kChunk}, {part.data() + 1, kChunk - 1}};
  EXPECT_EQ(reads, expected);
}

TEST_F(FileInputWinTest, Read_MoreThanAtOnce_IsAskedForInParts) {
  std::string content;
  for (int i = 0; content.size() <= 2 * kChunk; ++i) content += std::to_string(i) + "\n";
  WriteFile(file_, content);
  std::vector<DWORD> sizes;
  const ImportPatch<decltype(::ReadFile)> patch(
      "ReadFile", [&](auto real, HANDLE file, void* to, DWORD size, auto... given) {
        sizes.push_back(size);
        return real(file, to, size, given...);
      });
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::string read(content.size(), '\0');
  EXPECT_TRUE(stream->read(read.data(), static_cast<std::streamsize>(read.size())));
  EXPECT_TRUE(read == content);
  EXPECT_EQ(sizes,
            (std::vector<DWORD>{kChunk, kChunk, static_cast<DWORD>(content.size()) - 2 * kChunk}));
}

TEST_F(FileInputWinTest, Read_AfterLines_GoesOnBehindThem) {
  const std::string rest(10000, 'r');
  WriteFile(file_, "first\nsecond\n" + rest);
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::string line;
  std::getline(*stream, line);
  EXPECT_EQ(line, "first");
  std::getline(*stream, line);
  EXPECT_EQ(line, "second");
  std::string read(rest.size() + 1, '\0');
  stream->read(read.data(), static_cast<std::streamsize>(read.size()));
  EXPECT_EQ(stream->gcount(), 10000);
  EXPECT_TRUE(read == rest + '\0');
  EXPECT_TRUE(stream->eof());
}

TEST_F(FileInputWinTest, Read_InPiecesAfterALine_GivesEachByteOnce) {
  WriteFile(file_, "line\n0123456789");
  const auto stream = OpenFileInput(file_.native());
  ASSERT_TRUE(stream);
  std::string line;
  std::getline(*stream, line);
  std::string first(3, '\0');
  std::string second(7, '\0');
  EXPECT_TRUE(stream->read(first.data(), 3));
  EXPECT_TRUE(stream->read(second.data(), 7));
  EXPECT_EQ(first + second, "0123456789");
}

}  // namespace
}  // namespace k7k
