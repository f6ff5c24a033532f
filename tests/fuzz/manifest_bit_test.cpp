// One changed bit, anywhere: the manifest never verifies.
//
// Why none can: a changed bit in a required file changes its digest. In the manifest it makes
// another header, another digest, another path, one space where two must be, or another number of
// lines; and it makes no line end that the reader forgives, since a line feed becomes a carriage
// return by three bits, and a carriage return is forgiven only as a byte more, never in the place
// of another one.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "bundle/manifest.h"
#include "fuzz/memory_disk.h"
#include "fuzz/random.h"
#include "fuzz/reference_manifest.h"
#include "support/bundle_facts.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k::test {
namespace {

const std::wstring kUntouched = L"untouched";

// Calls judge with every text that differs from this one by one bit, and with the byte's place.
template <class Judge>
std::size_t ForEachFlippedBit(std::string text, const Judge& judge) {
  std::size_t flips = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit, ++flips) {
      const char before = text[at];
      text[at] = static_cast<char>(before ^ 1 << bit);
      SCOPED_TRACE("byte " + std::to_string(at) + " bit " + std::to_string(bit));
      judge(text, at);
      text[at] = before;
      if (::testing::Test::HasFailure()) return flips;
    }
  }
  return flips;
}

// Writes one byte in its place. A file truncated and written anew waits for the disk each time.
void WriteByte(const Path& file, std::size_t at, char byte) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(static_cast<std::streamoff>(at));
  stream.put(byte);
  stream.close();
  ASSERT_TRUE(stream) << file;
}

Contents SomeContents() {
  Random random(1);
  Contents contents;
  for (const std::string& name : RequiredNames()) contents[name] = random.Bytes(32);
  return contents;
}

Contents DigestsOf(const Contents& contents) {
  Contents digests;
  for (const auto& [name, content] : contents) digests[name] = ReferenceDigest(content);
  return digests;
}

class ManifestBit : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const auto& [name, content] : contents_) WriteFile(folder_ / name, content);
    ASSERT_TRUE(WriteManifest(folder_.path(), nullptr));
    ASSERT_TRUE(VerifyManifest(folder_.path(), nullptr));
  }

  // The bundle that was put right after each change must verify, or the refusals prove nothing.
  void TearDown() override { EXPECT_TRUE(VerifyManifest(folder_.path(), nullptr)); }

  const Contents contents_ = SomeContents();
  const TestFolder folder_;
};

TEST_F(ManifestBit, VerifyManifest_AnyBitOfTheManifestChanged_IsRefused) {
  const Contents digests = DigestsOf(contents_);
  const std::string right = ReadFile(folder_ / kManifestName);
  const std::size_t flips =
      ForEachFlippedBit(right, [&](const std::string& changed, std::size_t at) {
        WriteByte(folder_ / kManifestName, at, changed[at]);
        std::wstring detail = kUntouched;
        EXPECT_FALSE(VerifyManifest(folder_.path(), &detail));
        EXPECT_EQ(detail, JudgeManifestByDigests(changed, digests));
        WriteByte(folder_ / kManifestName, at, right[at]);
      });
  EXPECT_EQ(flips, kManifestBytes * 8);
}

TEST_F(ManifestBit, VerifyManifest_AnyBitOfARequiredFileChanged_IsRefused) {
  for (const auto& entry : contents_) {
    SCOPED_TRACE(entry.first);
    const Path file = folder_ / entry.first;
    const std::string& right = entry.second;
    const std::size_t flips =
        ForEachFlippedBit(right, [&](const std::string& changed, std::size_t at) {
          WriteByte(file, at, changed[at]);
          std::wstring detail = kUntouched;
          EXPECT_FALSE(VerifyManifest(folder_.path(), &detail));
          EXPECT_EQ(detail, L"Bundle file hash does not match manifest");
          WriteByte(file, at, right[at]);
        });
    EXPECT_EQ(flips, 32U * 8);
  }
}

// The forms that a reader accepts and the writer does not write, on a disk in memory.
void ExpectNoFlipVerifies(const std::vector<std::string>& lines, const std::string& end,
                          const Contents& contents) {
  MemoryDisk disk;
  for (const auto& [name, content] : contents) disk.files["bundle/" + name] = content;
  std::string& manifest = disk.files["bundle/manifest.sha256"];
  const Path folder = AbsolutePath("bundle");
  const Contents digests = DigestsOf(contents);

  const std::string right = Joined(lines, end);
  manifest = right;
  ASSERT_TRUE(VerifyManifest(folder, nullptr));
  const std::size_t flips = ForEachFlippedBit(right, [&](const std::string& changed, std::size_t) {
    manifest = changed;
    std::wstring detail = kUntouched;
    EXPECT_FALSE(VerifyManifest(folder, &detail));
    EXPECT_EQ(detail, JudgeManifestByDigests(changed, digests));
  });
  EXPECT_EQ(flips, right.size() * 8);
}

TEST(ManifestBitInMemory, VerifyManifest_AnyBitOfAManifestWithCarriageReturns_IsRefused) {
  const Contents contents = SomeContents();
  ExpectNoFlipVerifies(ReferenceLines(contents), "\r\n", contents);
}

TEST(ManifestBitInMemory, VerifyManifest_AnyBitOfAManifestInReverseOrder_IsRefused) {
  const Contents contents = SomeContents();
  std::vector<std::string> lines = ReferenceLines(contents);
  std::reverse(lines.begin() + kHeaderLines.size(), lines.end());
  ExpectNoFlipVerifies(lines, "\n", contents);
}

}  // namespace
}  // namespace k7k::test
