#include "bundle/required_files.h"

#include <gtest/gtest.h>

#include "support/bundles.h"
#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::MakeFileLink;
using test::MakeFolder;
using test::TestFolder;
using test::WriteFile;

TEST(RequiredFilesTest, RequiredFiles_AreThoseOfTheListInItsOrderInBothForms) {
  ASSERT_EQ(RequiredFiles.size(), test::kFiles.size());
  for (std::size_t i = 0; i < test::kFiles.size(); ++i) {
    const std::string text = test::kFiles[i];
    EXPECT_EQ(RequiredFiles[i].key, text);
    EXPECT_EQ(RequiredFiles[i].path, std::wstring(text.begin(), text.end()));
  }
}

TEST(RequiredFilesTest, IsPlainFile_File_IsTrue) {
  const TestFolder folder;
  WriteFile(folder / "file", "");
  EXPECT_TRUE(IsPlainFile(folder / "file"));
}

TEST(RequiredFilesTest, IsPlainFile_MissingOrFolder_IsFalse) {
  const TestFolder folder;
  EXPECT_FALSE(IsPlainFile(folder / "missing"));
  EXPECT_FALSE(IsPlainFile(folder.path()));
}

TEST(RequiredFilesTest, IsPlainFile_LinkToAFile_IsFalse) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link to a file does not show as one in Wine";
  const TestFolder folder;
  WriteFile(folder / "file", "x");
  MakeFileLink(folder / "file", folder / "link");
  EXPECT_FALSE(IsPlainFile(folder / "link"));
}

TEST(RequiredFilesTest, IsPlainFile_StatusUnreadable_IsFalse) {
  const TestFolder folder;
  WriteFile(folder / "file", "x");
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, folder / "file");
  EXPECT_FALSE(IsPlainFile(folder / "file"));
}

TEST(RequiredFilesTest, IsPlainFile_AttributesUnreadable_IsTrue) {
  const TestFolder folder;
  WriteFile(folder / "file", "x");
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, folder / "file");
  EXPECT_TRUE(IsPlainFile(folder / "file"));
}

}  // namespace
}  // namespace k7k
