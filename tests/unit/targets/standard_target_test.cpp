#include "targets/standard_target.h"

#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/fault_disk.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ProgramDataSetting;
using test::TestFolder;

TEST(StandardTargetTest, GetStandardPluginsRoot_ProgramDataFolder_IsObsStudioPluginsBelowIt) {
  const TestFolder folder;
  const ProgramDataSetting setting(folder.path());
  EXPECT_EQ(GetProgramDataFolder(), folder.path());
  EXPECT_EQ(GetStandardPluginsRoot().native(), (folder / "obs-studio" / "plugins").native());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_TrailingSeparator_GivesOneBeforeObsStudio) {
  const TestFolder folder;
  const ProgramDataSetting setting(folder / "");
  EXPECT_EQ(GetStandardPluginsRoot().native(), (folder / "obs-studio" / "plugins").native());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_NoProgramDataFolder_IsEmptyAndNotRelative) {
  const ProgramDataSetting setting(std::nullopt);
  EXPECT_EQ(GetProgramDataFolder(), Path());
  EXPECT_EQ(GetStandardPluginsRoot(), Path());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_EmptyProgramDataFolder_IsEmpty) {
  const ProgramDataSetting setting(Path(""));
  EXPECT_EQ(GetStandardPluginsRoot(), Path());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_RelativeProgramDataFolder_IsEmpty) {
  const ProgramDataSetting setting(Path("program-data"));
  EXPECT_EQ(GetStandardPluginsRoot(), Path());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_SpacesAndOtherLetters_AreKept) {
  const TestFolder folder;
  const Path data = folder / u8"Program data für 日本";
  test::MakeFolder(data);
  const ProgramDataSetting setting(data);
  EXPECT_EQ(GetStandardPluginsRoot(), data / "obs-studio/plugins");
}

TEST(StandardTargetTest, GetStandardPluginsRoot_NothingThere_NothingIsLookedAtOrCreated) {
  const TestFolder folder;
  const ProgramDataSetting setting(folder.path());
  const test::FaultDisk disk;
  EXPECT_EQ(GetStandardPluginsRoot(), folder / "obs-studio/plugins");
  EXPECT_TRUE(disk.calls.empty());
  EXPECT_TRUE(test::TakeTree(folder.path()).empty());
}

TEST(StandardTargetTest, GetStandardPluginsRoot_AsTheSystemIsSetUp_IsAbsoluteOrEmpty) {
  const Path root = GetStandardPluginsRoot();
  EXPECT_TRUE(root.empty() || IsAbsolute(root)) << root;
  if (test::RunsUnderWine()) {
    EXPECT_EQ(root.native(), Path(LR"(C:\ProgramData\obs-studio\plugins)").native());
  }
}

}  // namespace
}  // namespace k7k
