// Folders of a test's own, what stands in them, and real links.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "fs/disk.h"

namespace k7k::test {

// An empty folder that no other test uses, below K7K_TEST_TMP (set by the runner) or the system's
// temporary folder. Its final path is given, so that path comparisons need no resolving. Removed at
// the end.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const Path& path() const { return path_; }
  Path operator/(const Path& relative) const { return path_ / relative; }

 private:
  Path path_;
};

void WriteFile(const Path& path, std::string_view content);  // with its parent folders
std::string ReadFile(const Path& path);                      // "" when it cannot be opened
void MakeFolder(const Path& path);                           // with its parents

// A real link; target need not exist. Under Wine a Unix symbolic link, which shows as a reparse
// point for a folder alone.
void MakeFolderLink(const Path& target, const Path& link);
void MakeFileLink(const Path& target, const Path& link);

void MakeReadOnly(const Path& file);
bool IsReadOnly(const Path& file);

// Every entry below a folder by its relative name with "/", links not followed: "folder", "link" or
// "file " and the content (for a large file its size and digest). Compared whole, so that what must
// not change is checked too. Empty for a folder that is not there.
using Tree = std::map<std::string, std::string>;
Tree TakeTree(const Path& root);

// The entries whose names begin with ".k7k-obs-audio.", at any depth.
Tree PrivateEntries(const Tree& tree);

}  // namespace k7k::test
