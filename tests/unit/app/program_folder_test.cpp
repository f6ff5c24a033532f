#include "app/program_folder.h"

#include <gtest/gtest.h>

#include "support/platform.h"

namespace k7k {
namespace {

using test::AbsolutePath;

TEST(ProgramFolderTest, GetProgramFolder_RunningTest_HoldsItsExecutable) {
  const Path folder = GetProgramFolder();
  EXPECT_TRUE(IsAbsolute(folder)) << folder;
  EXPECT_TRUE(folder.has_filename()) << folder;
  EXPECT_EQ(NativeDisk().Status(folder), FileStatus::Folder);
  const Path name = test::RunsOnWindows() ? "unit_test.exe" : "unit_test";
  EXPECT_EQ(NativeDisk().Status(folder / name), FileStatus::File);
}

TEST(ProgramFolderTest, GetProgramFolder_OtherCurrentFolder_IsTheSame) {
  const Path before = GetProgramFolder();
  const Path current = std::filesystem::current_path();
  std::filesystem::current_path(current.root_path());
  EXPECT_EQ(GetProgramFolder(), before);
  std::filesystem::current_path(current);
}

TEST(ProgramFolderTest, BundleRootBeside_ProgramInBin_IsTheSiblingPlugin) {
  EXPECT_EQ(BundleRootBeside(AbsolutePath("X/bin")), AbsolutePath("X/plugin/k7k-obs-audio"));
}

TEST(ProgramFolderTest, BundleRootBeside_FolderOfAnyName_IsReplacedByPlugin) {
  EXPECT_EQ(BundleRootBeside(AbsolutePath("some where/plugin")),
            AbsolutePath("some where/plugin/k7k-obs-audio"));
}

TEST(ProgramFolderTest, BundleRootBeside_FolderInTheRoot_IsBelowTheRoot) {
  EXPECT_EQ(BundleRootBeside(AbsolutePath("bin")), AbsolutePath("plugin/k7k-obs-audio"));
}

TEST(ProgramFolderTest, BundleRootBeside_RootItself_IsBelowTheRoot) {
  EXPECT_EQ(BundleRootBeside(AbsolutePath("")), AbsolutePath("plugin/k7k-obs-audio"));
}

TEST(ProgramFolderTest, BundleRootBeside_PathWithDots_IsNotNormalised) {
  EXPECT_EQ(BundleRootBeside(AbsolutePath("X/a/../bin")),
            AbsolutePath("X/a/../plugin/k7k-obs-audio"));
}

TEST(ProgramFolderTest, BundleRootBeside_NoProgramFolder_IsTheRelativePath) {
  const Path root = BundleRootBeside(Path());
  EXPECT_EQ(root, Path("plugin") / "k7k-obs-audio");
  EXPECT_FALSE(IsAbsolute(root));
}

TEST(ProgramFolderTest, GetBundleRoot_RunningTest_IsBesideItsFolder) {
  EXPECT_EQ(GetBundleRoot(), GetProgramFolder().parent_path() / "plugin" / "k7k-obs-audio");
}

}  // namespace
}  // namespace k7k
