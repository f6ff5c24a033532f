#include "bundle/file_digest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "support/environment.h"
#include "support/odd_disks.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::BreakingDisk;
using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::MakeFolder;
using test::TestFolder;
using test::WriteFile;

constexpr char kUnchanged[] = "what it held before";
constexpr char kOfNothing[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr char kOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// Bytes that count from 0 to 250 and start again, so that chunks in the wrong order show.
std::string CountingBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i % 251);
  return bytes;
}

std::string DigestOf(std::string_view content) {
  const TestFolder folder;
  WriteFile(folder / "file", content);
  std::string digest = kUnchanged;
  EXPECT_TRUE(HashFileSha256(folder / "file", &digest));
  return digest;
}

// Whether hashing fails and leaves the caller's text alone.
void ExpectRefused(const Path& path) {
  std::string digest = kUnchanged;
  EXPECT_FALSE(HashFileSha256(path, &digest));
  EXPECT_EQ(digest, kUnchanged);
}

TEST(FileDigestTest, HashFileSha256_EmptyFile_IsTheDigestOfEmptyInput) {
  EXPECT_EQ(DigestOf(""), kOfNothing);
}

// Every expected digest below is from sha256sum.
TEST(FileDigestTest, HashFileSha256_OneByte_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(1)),
            "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
}

TEST(FileDigestTest, HashFileSha256_OneByteLessThanAChunk_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(65535)),
            "dda402a2c028f0cbbdbc5c6ebae965eed9c75f71236e7022b0386d3455d5ae2f");
}

TEST(FileDigestTest, HashFileSha256_ExactlyOneChunk_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(65536)),
            "4b640d85ab3ba30fd02c9fc9db4a8928f416322ad27022ea58a65aaee68a4df2");
}

TEST(FileDigestTest, HashFileSha256_OneByteMoreThanAChunk_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(65537)),
            "237356e18b503616912abb8ffaed3a72591e397d4ac294c4637917d48a3f529d");
}

TEST(FileDigestTest, HashFileSha256_ExactlyTwoChunks_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(131072)),
            "feb1e4409d009e0ec502eaabe321f86b5197a881e9b765252ec8a75d6957596d");
}

TEST(FileDigestTest, HashFileSha256_ManyChunks_IsItsDigest) {
  EXPECT_EQ(DigestOf(CountingBytes(200000)),
            "e24bc62381f1224fbbb74688663f8f9743b9680b193edd666835e97b06e730eb");
}

TEST(FileDigestTest, HashFileSha256_LineEndsNulAndEndMarks_AreHashedAsTheyAre) {
  EXPECT_EQ(DigestOf(std::string_view("one\r\ntwo\x1athree\0\n\xff", 17)),
            "57f4c854f77942528540c9e1c4a508d90d4f89322d0e5e2233e2cd27196111e4");
}

TEST(FileDigestTest, HashFileSha256_TextHeldBefore_IsReplacedWholly) {
  const TestFolder folder;
  WriteFile(folder / "file", "abc");
  std::string digest(200, 'z');
  EXPECT_TRUE(HashFileSha256(folder / "file", &digest));
  EXPECT_EQ(digest, kOfAbc);
}

TEST(FileDigestTest, HashFileSha256_AnyContent_GivesLowerCaseHexAlone) {
  for (const std::string& digest : {DigestOf("abc"), DigestOf("ABC"), DigestOf("\xff")}) {
    EXPECT_EQ(digest.size(), 64u);
    EXPECT_EQ(digest.find_first_not_of("0123456789abcdef"), std::string::npos) << digest;
  }
}

TEST(FileDigestTest, HashFileSha256_MissingFile_IsFalseAndLeavesTheText) {
  const TestFolder folder;
  ExpectRefused(folder / "missing");
  ExpectRefused(folder / "missing/file");
  ExpectRefused(Path());
}

TEST(FileDigestTest, HashFileSha256_Folder_IsFalseAndLeavesTheText) {
  const TestFolder folder;
  MakeFolder(folder / "sub");
  ExpectRefused(folder / "sub");
}

TEST(FileDigestTest, HashFileSha256_FileThatCannotBeOpened_IsFalseAndLeavesTheText) {
  const TestFolder folder;
  WriteFile(folder / "file", "abc");
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, folder / "file");
  ExpectRefused(folder / "file");
}

TEST(FileDigestTest, HashFileSha256_RealReadError_IsFalseAndLeavesTheText) {
  ASSERT_TRUE(NativeDisk().OpenInput(test::FileThatFailsToRead()));
  ExpectRefused(test::FileThatFailsToRead());
}

TEST(FileDigestTest, HashFileSha256_ReadErrorInTheMiddle_IsFalseAndLeavesTheText) {
  const TestFolder folder;
  WriteFile(folder / "file", CountingBytes(200000));
  for (const std::size_t readable : {0u, 1u, 65535u, 65536u, 65537u, 131072u}) {
    BreakingDisk disk(folder / "file", readable);
    ExpectRefused(folder / "file");
  }
}

TEST(FileDigestTest, HashFileSha256_ReadErrorAfterTheLastByte_IsFalseAndLeavesTheText) {
  const TestFolder folder;
  WriteFile(folder / "file", CountingBytes(65536));
  BreakingDisk disk(folder / "file", 65536);
  ExpectRefused(folder / "file");
}

TEST(FileDigestTest, HashFileSha256_NullText_IsFalseWithoutTouchingTheDisk) {
  const TestFolder folder;
  WriteFile(folder / "file", "abc");
  FaultDisk disk;
  EXPECT_FALSE(HashFileSha256(folder / "file", nullptr));
  EXPECT_TRUE(disk.calls.empty());
}

TEST(FileDigestTest, HashFileSha256_SuccessOrFailure_LeavesNothingOpen) {
  const TestFolder folder;
  WriteFile(folder / "file", "abc");
  WriteFile(folder / "broken", "abc");
  std::string digest;
  const Path unreadable = test::FileThatFailsToRead();
  EXPECT_TRUE(HashFileSha256(folder / "file", &digest));  // loads what the first one loads
  const std::size_t before = test::OpenHandles();
  BreakingDisk disk(folder / "broken", 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(HashFileSha256(folder / "file", &digest));
    EXPECT_FALSE(HashFileSha256(folder / "broken", &digest));
    EXPECT_FALSE(HashFileSha256(unreadable, &digest));
    EXPECT_FALSE(HashFileSha256(folder.path(), &digest));
  }
  EXPECT_EQ(test::OpenHandles(), before);
}

// Notes each read: how many bytes were asked for and how many came.
using Reads = std::vector<std::pair<std::streamsize, std::streamsize>>;

class NotingBuffer : public std::stringbuf {
 public:
  NotingBuffer(const std::string& content, Reads& reads) : std::stringbuf(content), reads_(reads) {}

 protected:
  std::streamsize xsgetn(char* bytes, std::streamsize count) override {
    const std::streamsize got = std::stringbuf::xsgetn(bytes, count);
    reads_.emplace_back(count, got);
    return got;
  }

 private:
  Reads& reads_;
};

class NotingInput : private NotingBuffer, public std::istream {
 public:
  NotingInput(const std::string& content, Reads& reads)
      : NotingBuffer(content, reads), std::istream(static_cast<NotingBuffer*>(this)) {}
};

class NotingDisk : public FaultDisk {
 public:
  explicit NotingDisk(std::string content) : content_(std::move(content)) {}
  std::unique_ptr<std::istream> OpenInput(const Path&) override {
    return std::make_unique<NotingInput>(content_, reads);
  }
  Reads reads;

 private:
  std::string content_;
};

Reads ReadsOf(std::size_t size) {
  NotingDisk disk(std::string(size, 'x'));
  std::string digest;
  EXPECT_TRUE(HashFileSha256("file", &digest));
  return disk.reads;
}

TEST(FileDigestTest, HashFileSha256_EmptyFile_IsOneReadOfNothing) {
  EXPECT_EQ(ReadsOf(0), (Reads{{65536, 0}}));
}

TEST(FileDigestTest, HashFileSha256_ExactlyOneChunk_IsOneFullReadAndOneOfNothing) {
  EXPECT_EQ(ReadsOf(65536), (Reads{{65536, 65536}, {65536, 0}}));
}

TEST(FileDigestTest, HashFileSha256_OneByteMoreThanAChunk_IsOneFullReadAndOneOfOneByte) {
  EXPECT_EQ(ReadsOf(65537), (Reads{{65536, 65536}, {65536, 1}}));
}

TEST(FileDigestTest, HashFileSha256_LargeFile_IsNeverReadInLargerPieces) {
  const Reads reads = ReadsOf(1 << 20);
  EXPECT_EQ(reads.size(), 17u);
  EXPECT_TRUE(std::all_of(reads.begin(), reads.end(),
                          [](const auto& read) { return read.first == 65536; }));
}

}  // namespace
}  // namespace k7k
