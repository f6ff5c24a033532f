#include "targets/obs_process.h"

#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::RunningProgram;
using test::TestFolder;

class ObsProcessTest : public testing::Test {
 protected:
  const test::ObsNameLock lock;
  const TestFolder folder;
};

TEST_F(ObsProcessTest, IsObsRunning_NoSuchProcess_IsFalse) { EXPECT_FALSE(IsObsRunning()); }

TEST_F(ObsProcessTest, IsObsRunning_ObsRuns_IsTrueUntilItEnds) {
  {
    const RunningProgram obs(folder.path(), "obs64.exe");
    EXPECT_TRUE(IsObsRunning());
    EXPECT_TRUE(IsObsRunning());
  }
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_NameInCapitals_IsTrue) {
  const RunningProgram obs(folder.path(), "OBS64.exe");
  EXPECT_TRUE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_NameInMixedCase_IsTrue) {
  const RunningProgram obs(folder.path(), "oBs64.EXE");
  EXPECT_TRUE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_ObsAmongSeveral_IsTrue) {
  const RunningProgram before(folder.path(), "obs32.exe");
  const RunningProgram obs(folder.path(), "obs64.exe");
  const RunningProgram after(folder.path(), "obs65.exe");
  EXPECT_TRUE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_SomethingBeforeTheName_IsFalse) {
  const RunningProgram other(folder.path(), "xobs64.exe");
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_SomethingAfterTheName_IsFalse) {
  const RunningProgram other(folder.path(), "obs64.exe.bak");
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_NameWithoutExtension_IsFalse) {
  const RunningProgram other(folder.path(), "obs64");
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_LongNameThatEndsLikeIt_IsFalse) {
  const RunningProgram other(folder.path(), "a longer name, obs64.exe");
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_FolderOfThatName_IsFalse) {
  test::MakeFolder(folder / "obs64.exe");
  const RunningProgram other(folder / "obs64.exe", "other.exe");
  EXPECT_FALSE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_ProcessesCannotBeListed_IsFalseThoughObsRuns) {
  if (test::RunsOnWindows()) GTEST_SKIP() << "Windows refuses its list to nobody";
  const RunningProgram obs(folder.path(), "obs64.exe");
  EXPECT_TRUE(IsObsRunning());
  bool running = true;
  {
    const test::NothingCanBeOpened condition;
    running = IsObsRunning();
  }
  EXPECT_FALSE(running);
  EXPECT_TRUE(IsObsRunning());
}

TEST_F(ObsProcessTest, IsObsRunning_TrueOrFalse_LeavesNothingOpen) {
  IsObsRunning();
  const std::size_t before = test::OpenHandles();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(IsObsRunning());
  EXPECT_EQ(test::OpenHandles(), before);
  const RunningProgram obs(folder.path(), "obs64.exe");
  const std::size_t with_obs = test::OpenHandles();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(IsObsRunning());
  EXPECT_EQ(test::OpenHandles(), with_obs);
}

}  // namespace
}  // namespace k7k
