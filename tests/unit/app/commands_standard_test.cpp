// The commands on the standard target.
#include <gtest/gtest.h>

#include "app/commands.h"
#include "support/command_test.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FailEach;
using test::MakeFolder;
using test::Report;
using test::RunningProgram;
using test::TakeTree;
using test::Tree;
using test::WriteFile;

constexpr auto kStatus = L"--status-standard";
constexpr auto kInstall = L"--install-standard";
constexpr auto kRemove = L"--remove-standard";
const Report kUnavailable{20, L"", L"state=target-unavailable\n"};
const Report kObsRunning{21, L"", L"state=obs-running\n"};

class CommandsStandardTest : public test::CommandTest {
 protected:
  void SetUp() override {
    test::WriteBundle(bundle, 'A');
    MakeFolder(program_data);
    setting.emplace(program_data);
  }

  static Report Run(const wchar_t* word) {
    return CommandTest::Run([&] { return RunStandardCommand(word); });
  }
  Report RunWithoutTrace(const wchar_t* word) const {
    return CommandTest::RunWithoutTrace([&] { return RunStandardCommand(word); });
  }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  std::optional<test::ProgramDataSetting> setting;
  const Path installed = plugins / "k7k-obs-audio";
};

TEST_F(CommandsStandardTest, EachCommand_NoProgramDataFolder_IsTargetUnavailableAnd20) {
  setting.reset();
  const test::ProgramDataSetting none(std::nullopt);
  for (const wchar_t* word : {kStatus, kInstall, kRemove, L"any other word"}) {
    EXPECT_EQ(RunWithoutTrace(word), kUnavailable);
  }
}

TEST_F(CommandsStandardTest, EachCommand_NoProgramDataFolderAndObsRuns_TheTargetWins) {
  setting.reset();
  const test::ProgramDataSetting none(std::nullopt);
  const RunningProgram obs(elsewhere.path(), "obs64.exe");
  for (const wchar_t* word : {kStatus, kInstall, kRemove}) {
    EXPECT_EQ(RunWithoutTrace(word), kUnavailable);
  }
}

TEST_F(CommandsStandardTest, StatusStandard_NothingInstalled_IsNotInstalledAndZero) {
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
}

TEST_F(CommandsStandardTest, StatusStandard_ValidCopy_IsInstalledValidAndZero) {
  test::WriteBundle(installed, 'A');
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-valid\nobsRunning=0\n", L""}));
}

TEST_F(CommandsStandardTest, StatusStandard_OtherCopy_IsInvalidWithTheDetailOnStandardError) {
  test::WriteBundle(installed, 'B');
  EXPECT_EQ(RunWithoutTrace(kStatus),
            (Report{0, L"state=installed-invalid\nobsRunning=0\n",
                    L"detail=Installed OBS plugin files differ from the bundled connector\n"}));
}

TEST_F(CommandsStandardTest, StatusStandard_PluginFolderIsAFile_HasNoDetailLine) {
  WriteFile(installed, "a file");
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-invalid\nobsRunning=0\n", L""}));
}

TEST_F(CommandsStandardTest, StatusStandard_FolderUnreadable_IsNotInstalledWithADetailAndZero) {
  disk.fails = FailEach(Call::Status, installed);
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=0\n",
                                              L"detail=Could not inspect the installed bundle\n"}));
}

TEST_F(CommandsStandardTest, StatusStandard_NoBundle_IsInvalidWithoutADetailLine) {
  test::WriteBundle(installed, 'A');
  Remove(bundle);
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-invalid\nobsRunning=0\n", L""}));
}

TEST_F(CommandsStandardTest, StatusStandard_ObsRuns_SaysSoAndAnswers) {
  const RunningProgram obs(elsewhere.path(), "OBS64.exe");
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=1\n", L""}));
}

TEST_F(CommandsStandardTest, InstallAndRemove_ObsRuns_AreRefusedWith21AndTouchNothing) {
  test::WriteBundle(installed, 'B');
  const RunningProgram obs(elsewhere.path(), "obs64.exe");
  const std::size_t calls = disk.calls.size();
  for (const wchar_t* word : {kInstall, kRemove, L"any other word"}) {
    EXPECT_EQ(RunWithoutTrace(word), kObsRunning);
  }
  EXPECT_EQ(disk.calls.size(), calls);
}

TEST_F(CommandsStandardTest, InstallStandard_NothingInstalled_InstallsTheBundleAndIsZero) {
  EXPECT_EQ(Run(kInstall), (Report{0, L"state=installed\n", L""}));
  EXPECT_EQ(TakeTree(installed), TakeTree(bundle));
  EXPECT_TRUE(test::PrivateEntries(TakeTree(folder.path())).empty());
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-valid\nobsRunning=0\n", L""}));
}

TEST_F(CommandsStandardTest, InstallStandard_OtherCopyThere_ReplacesItAndIsZero) {
  test::WriteBundle(installed, 'B');
  EXPECT_EQ(Run(kInstall), (Report{0, L"state=installed\n", L""}));
  EXPECT_EQ(TakeTree(installed), TakeTree(bundle));
}

TEST_F(CommandsStandardTest, InstallStandard_BackupCannotBeDeleted_IsInstalledWithoutADetailLine) {
  test::WriteBundle(installed, 'B');
  disk.fails = [](const DiskCall& call) { return call.call == Call::Remove; };
  EXPECT_EQ(Run(kInstall), (Report{0, L"state=installed\n", L""}));
}

TEST_F(CommandsStandardTest, InstallStandard_InvalidBundle_Is23WithItsDetail) {
  Remove(bundle / "manifest.sha256");
  EXPECT_EQ(RunWithoutTrace(kInstall), (Report{23, L"",
                                               L"state=install-failed\n"
                                               L"detail=Bundle integrity manifest is missing\n"}));
}

TEST_F(CommandsStandardTest, InstallStandard_NoBundle_Is23WithAnEmptyDetailLine) {
  Remove(bundle);
  EXPECT_EQ(RunWithoutTrace(kInstall), (Report{23, L"", L"state=install-failed\ndetail=\n"}));
}

TEST_F(CommandsStandardTest, InstallStandard_PluginParentIsAFile_Is24WithItsDetail) {
  WriteFile(plugins, "a file");
  EXPECT_EQ(RunWithoutTrace(kInstall),
            (Report{24, L"",
                    L"state=install-failed\n"
                    L"detail=Plugin parent is unavailable or unsafe\n"}));
}

TEST_F(CommandsStandardTest, InstallStandard_NamesCannotBeReserved_Is25WithItsDetail) {
  MakeFolder(plugins);
  disk.fails = [](const DiskCall& call) {
    return call.call == Call::Status &&
           call.path.filename().generic_string().starts_with(".k7k-obs-audio.backup.");
  };
  EXPECT_EQ(RunWithoutTrace(kInstall), (Report{25, L"",
                                               L"state=install-failed\n"
                                               L"detail=Could not reserve transaction paths\n"}));
}

TEST_F(CommandsStandardTest, InstallStandard_CopyFails_Is26WithItsDetail) {
  test::WriteBundle(installed, 'B');
  disk.fails = [](const DiskCall& call) { return call.call == Call::Copy; };
  EXPECT_EQ(RunWithoutTrace(kInstall), (Report{26, L"",
                                               L"state=install-failed\n"
                                               L"detail=Could not copy the complete payload\n"}));
}

TEST_F(CommandsStandardTest, RemoveStandard_CopyThere_IsRemovedAndZero) {
  test::WriteBundle(installed, 'A');
  WriteFile(plugins / "other/file", "kept");
  EXPECT_EQ(Run(kRemove), (Report{0, L"state=removed\n", L""}));
  EXPECT_EQ(TakeTree(plugins), (Tree{{"other", "folder"}, {"other/file", "file kept"}}));
}

TEST_F(CommandsStandardTest, RemoveStandard_NothingInstalled_IsNotInstalledAndZero) {
  EXPECT_EQ(RunWithoutTrace(kRemove), (Report{0, L"state=not-installed\n", L""}));
}

TEST_F(CommandsStandardTest, RemoveStandard_NoBundle_IsNotAskedAbout) {
  test::WriteBundle(installed, 'A');
  disk.calls.clear();
  EXPECT_EQ(Run(kRemove), (Report{0, L"state=removed\n", L""}));
  for (const DiskCall& call : disk.calls) {
    EXPECT_EQ(*call.path.lexically_relative(program_data).begin(), "obs-studio") << call.path;
  }
}

TEST_F(CommandsStandardTest, RemoveStandard_PluginFolderIsAFile_Is34WithItsDetail) {
  WriteFile(installed, "a file");
  EXPECT_EQ(RunWithoutTrace(kRemove),
            (Report{34, L"", L"state=remove-failed\ndetail=Installed plugin path is unsafe\n"}));
}

TEST_F(CommandsStandardTest, RemoveStandard_ParentUnreadable_Is35WithItsDetail) {
  MakeFolder(plugins);
  disk.fails = FailEach(Call::Status, plugins);
  EXPECT_EQ(RunWithoutTrace(kRemove), (Report{35, L"",
                                              L"state=remove-failed\n"
                                              L"detail=Could not inspect the plugin "
                                              L"parent\n"}));
}

}  // namespace
}  // namespace k7k
