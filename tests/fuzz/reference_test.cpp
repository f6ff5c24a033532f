// The references themselves, against published values and hand-made examples.
#include <gtest/gtest.h>

#include "fuzz/memory_disk.h"
#include "fuzz/path_parts.h"
#include "fuzz/reference_manifest.h"
#include "support/bundle_facts.h"
#include "support/platform.h"

namespace k7k::test {
namespace {

TEST(Reference, ReferenceDigest_PublishedMessages_GivesPublishedDigests) {
  EXPECT_EQ(ReferenceDigest(""),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(ReferenceDigest("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(ReferenceDigest("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(ReferenceDigest(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

Contents SomeFiles() {
  Contents contents;
  for (const std::string& name : RequiredNames()) contents[name] = "content of " + name;
  return contents;
}

TEST(Reference, JudgeManifest_RightManifest_IsAccepted) {
  const std::string manifest = Joined(ReferenceLines(SomeFiles()));
  EXPECT_EQ(manifest.size(), kManifestBytes);
  EXPECT_EQ(JudgeManifest(manifest, SomeFiles()), L"");
}

TEST(Reference, JudgeManifest_EachDefect_GetsItsMessage) {
  const Contents contents = SomeFiles();
  const std::vector<std::string> right = ReferenceLines(contents);
  EXPECT_EQ(JudgeManifest(std::nullopt, contents), L"Bundle integrity manifest is missing");
  std::vector<std::string> lines = right;
  lines[1] += "0";
  EXPECT_EQ(JudgeManifest(Joined(lines), contents), L"Bundle integrity manifest is invalid");
  lines = right;
  lines.emplace_back();
  EXPECT_EQ(JudgeManifest(Joined(lines), contents), L"Bundle integrity manifest is invalid");
  lines = right;
  lines[4].erase(0, 1);
  EXPECT_EQ(JudgeManifest(Joined(lines), contents), L"Bundle integrity manifest entry is invalid");
  lines = right;
  lines[5] = lines[6];
  EXPECT_EQ(JudgeManifest(Joined(lines), contents), L"Bundle integrity manifest entry is invalid");
  lines = right;
  lines.back()[0] = lines.back()[0] == '0' ? '1' : '0';
  EXPECT_EQ(JudgeManifest(Joined(lines), contents), L"Bundle file hash does not match manifest");
}

TEST(Reference, TakeApart_RelativeAndRootedTexts_GivesElements) {
  const Text text = Path("a//b/").native();
  EXPECT_FALSE(TakeApart(text).rooted);
  EXPECT_EQ(TakeApart(text).elements,
            (std::vector<Text>{Path("a").native(), Path("b").native(), Text()}));
  EXPECT_TRUE(TakeApart(Path("/a").native()).rooted);
  EXPECT_TRUE(TakeApart(Path("/").native()).elements.empty());
  EXPECT_TRUE(TakeApart(Text()).elements.empty());
}

TEST(Reference, IsAbsolute_DriveAndShareTexts_FollowsTheRuleOfWindows) {
  const auto is_absolute = [](const char* text) {
    return TakeApart(Path(text).native()).IsAbsolute();
  };
  EXPECT_EQ(is_absolute("C:\\obs"), RunsOnWindows());
  EXPECT_EQ(is_absolute("C:/obs"), RunsOnWindows());
  EXPECT_EQ(is_absolute("\\\\server\\share\\obs"), RunsOnWindows());
  EXPECT_EQ(is_absolute("\\\\?\\C:\\obs"), RunsOnWindows());
  EXPECT_EQ(is_absolute("\\\\server"), RunsOnWindows());
  EXPECT_EQ(is_absolute("\\??\\C:\\obs"), RunsOnWindows());
  EXPECT_EQ(is_absolute("/obs"), !RunsOnWindows());
  EXPECT_FALSE(is_absolute("C:obs"));
  EXPECT_FALSE(is_absolute("\\obs"));
  EXPECT_FALSE(is_absolute("\\\\\\obs"));
  EXPECT_FALSE(is_absolute("\\??\\\\obs"));
  EXPECT_FALSE(is_absolute("obs"));
  EXPECT_FALSE(is_absolute(""));
}

TEST(Reference, MemoryDisk_Find_WalksAsADiskDoes) {
  MemoryDisk disk;
  disk.files["a/b/file"] = "x";
  EXPECT_EQ(disk.Find(AbsolutePath("a")), "a");
  EXPECT_EQ(disk.Find(AbsolutePath("a/b/../b/./file")), "a/b/file");
  EXPECT_EQ(disk.Find(AbsolutePath("a/..")), "");
  EXPECT_EQ(disk.Find(AbsolutePath("missing/../a")), std::nullopt);
  EXPECT_EQ(disk.Find(AbsolutePath("a/b/file/")), std::nullopt);
  EXPECT_EQ(disk.Find("a"), std::nullopt);
  EXPECT_FALSE(CurrentDisk().CreateFolder(AbsolutePath("new")));
  EXPECT_FALSE(CurrentDisk().RemoveAll(AbsolutePath("a")));
  EXPECT_EQ(disk.changes, 2);
}

}  // namespace
}  // namespace k7k::test
