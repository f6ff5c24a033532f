#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_tree.h"

namespace k7k::test {

void MakeFolderLink(const Path& target, const Path& link) {
  ASSERT_EQ(0, ::symlink(target.c_str(), link.c_str())) << link;
}

void MakeFileLink(const Path& target, const Path& link) { MakeFolderLink(target, link); }

void MakeReadOnly(const Path& file) { ASSERT_EQ(0, ::chmod(file.c_str(), 0444)) << file; }

bool IsReadOnly(const Path& file) {
  struct stat found{};
  return ::stat(file.c_str(), &found) == 0 && (found.st_mode & 0222) == 0;
}

}  // namespace k7k::test
