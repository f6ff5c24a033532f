#include "support/test_tree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>

#include "bundle/sha256.h"
#include "fs/process_clock.h"

namespace k7k::test {

namespace {

Path BaseFolder() {
  const char* base = std::getenv("K7K_TEST_TMP");
  const Path folder = base != nullptr ? Path(base) : std::filesystem::temp_directory_path();
  EXPECT_TRUE(CreateFolders(folder)) << folder;
  return NativeDisk().FinalPath(folder).path;
}

// Size and digest. Not by way of HashFileSha256, which would ask the disk that a test put in place.
std::string Summary(const std::string& content) {
  Sha256Digest digest{};
  const auto hash = StartSha256();
  EXPECT_TRUE(hash && hash->Add(content.data(), content.size()) && hash->Finish(digest));
  std::string text = std::to_string(content.size());
  for (const unsigned char byte : digest) text += " " + std::to_string(byte);
  return text;
}

}  // namespace

TestFolder::TestFolder() {
  static int count = 0;
  path_ = BaseFolder() / ("k7k-test." + std::to_string(ProcessIdentifier()) + "." +
                          std::to_string(MillisecondsSinceStart()) + "." + std::to_string(++count));
  EXPECT_TRUE(NativeDisk().CreateFolder(path_)) << path_;
}

TestFolder::~TestFolder() { NativeDisk().RemoveAll(path_); }

void WriteFile(const Path& path, std::string_view content) {
  MakeFolder(path.parent_path());
  const auto stream = NativeDisk().OpenOutput(path);
  ASSERT_TRUE(stream) << path;
  stream->write(content.data(), static_cast<std::streamsize>(content.size()));
  stream->flush();
  ASSERT_TRUE(stream->good()) << path;
}

std::string ReadFile(const Path& path) {
  const auto stream = NativeDisk().OpenInput(path);
  if (!stream) return {};
  return std::string(std::istreambuf_iterator<char>(*stream), std::istreambuf_iterator<char>());
}

void MakeFolder(const Path& path) { ASSERT_TRUE(CreateFolders(path)) << path; }

Tree TakeTree(const Path& root) {
  constexpr std::size_t kLarge = 1 << 16;
  Tree tree;
  Disk& disk = NativeDisk();
  for (const auto walk = disk.Walk(root); !walk->AtEnd(); walk->Advance()) {
    const Path entry = walk->Entry();
    const std::string name = entry.lexically_relative(root).generic_string();
    if (disk.IsReparsePoint(entry)) {
      tree[name] = "link";
    } else if (disk.Status(entry) == FileStatus::Folder) {
      tree[name] = "folder";
    } else if (disk.Status(entry) == FileStatus::File) {
      const std::string content = ReadFile(entry);
      tree[name] = "file ";
      tree[name] += content.size() < kLarge ? content : Summary(content);
    } else {
      tree[name] = "other";
    }
  }
  return tree;
}

Tree PrivateEntries(const Tree& tree) {
  Tree found;
  for (const auto& [name, content] : tree) {
    if (Path(name).filename().generic_string().starts_with(".k7k-obs-audio.")) {
      found[name] = content;
    }
  }
  return found;
}

}  // namespace k7k::test
