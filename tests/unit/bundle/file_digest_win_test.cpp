// Files of which somebody has locked the bytes.
#include <gtest/gtest.h>

#include "bundle/file_digest.h"
#include "support/native_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

TEST(FileDigestWinTest, HashFileSha256_BytesLockedBySomebody_IsFalseAndLeavesTheText) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "Wine keeps locked bytes from nobody";
  const test::TestFolder folder;
  test::WriteFile(folder / "library.dll", "content");
  std::string digest = "untouched";
  {
    const test::LockedBytes lock(folder / "library.dll");
    EXPECT_TRUE(NativeDisk().OpenInput(folder / "library.dll"));
    EXPECT_FALSE(HashFileSha256(folder / "library.dll", &digest));
    EXPECT_EQ(digest, "untouched");
    EXPECT_FALSE(NativeDisk().Copy(folder / "library.dll", folder / "copy"));
  }
  EXPECT_TRUE(HashFileSha256(folder / "library.dll", &digest));
}

}  // namespace
}  // namespace k7k
