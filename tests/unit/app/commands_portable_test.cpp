// The commands on a portable target.
#include <gtest/gtest.h>

#include <utility>

#include "app/commands.h"
#include "support/command_test.h"

namespace k7k {
namespace {

using test::Call;
using test::DiskCall;
using test::FailEach;
using test::Report;
using test::RunningProgram;
using test::TakeTree;
using test::Tree;
using test::WriteFile;

constexpr auto kStatus = L"--status-portable";
constexpr auto kInstall = L"--install-portable";
constexpr auto kRemove = L"--remove-portable";
const Report kObsRunning{41, L"", L"state=obs-running\n"};

class CommandsPortableTest : public test::CommandTest {
 protected:
  void SetUp() override {
    test::WriteBundle(bundle, 'A');
    test::WritePortableObs(obs);
  }

  Report RunIn(const Path& root, const wchar_t* word) const {
    return CommandTest::Run([&] { return RunPortableCommand(word, root); });
  }
  Report Run(const wchar_t* word) const { return RunIn(obs, word); }
  Report RunWithoutTrace(const wchar_t* word) const {
    return CommandTest::RunWithoutTrace([&] { return RunPortableCommand(word, obs); });
  }

  void WritePlugin(char letter) const {
    test::WritePortableLibrary(obs, letter);
    test::WritePortableData(obs, letter);
  }

  // The plugin that the bundle's files give, and nothing left of a transaction.
  void ExpectPlugin(char letter) const {
    const Tree found = TakeTree(obs);
    WritePlugin(letter);
    EXPECT_EQ(found, TakeTree(obs));
  }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  const Path obs = folder / "obs";
  const Path dll = obs / "obs-plugins/64bit/k7k-obs-audio.dll";
  const Path data = obs / "data/obs-plugins/k7k-obs-audio";
};

TEST_F(CommandsPortableTest, EachCommand_FolderIsNoPortableObs_Is40WithTheRefusal) {
  Remove(obs / "portable_mode.txt");
  for (const wchar_t* word : {kStatus, kInstall, kRemove, L"any other word"}) {
    EXPECT_EQ(RunWithoutTrace(word),
              (Report{40, L"",
                      L"state=target-invalid\n"
                      L"detail=The selected OBS folder is not marked for portable mode\n"}));
  }
}

TEST_F(CommandsPortableTest, EachCommand_EmptyFolderArgument_Is40) {
  for (const wchar_t* word : {kStatus, kInstall, kRemove}) {
    EXPECT_EQ(RunIn(Path(), word),
              (Report{40, L"",
                      L"state=target-invalid\n"
                      L"detail=Portable OBS root must be an absolute path\n"}));
  }
}

TEST_F(CommandsPortableTest, EachCommand_SilentRefusal_Is40WithAnEmptyDetailLine) {
  disk.fails = FailEach(Call::Status, data);
  for (const wchar_t* word : {kStatus, kInstall, kRemove}) {
    EXPECT_EQ(RunWithoutTrace(word), (Report{40, L"", L"state=target-invalid\ndetail=\n"}));
  }
}

TEST_F(CommandsPortableTest, EachCommand_FolderRefusedAndObsRuns_TheFolderWins) {
  const RunningProgram running(elsewhere.path(), "obs64.exe");
  for (const wchar_t* word : {kStatus, kInstall, kRemove}) {
    EXPECT_EQ(RunIn(folder / "missing", word).code, 40);
  }
}

TEST_F(CommandsPortableTest, StatusPortable_NeitherPiece_IsNotInstalledAndZero) {
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
}

TEST_F(CommandsPortableTest, StatusPortable_ValidCopy_IsInstalledValidAndZero) {
  WritePlugin('A');
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-valid\nobsRunning=0\n", L""}));
}

TEST_F(CommandsPortableTest, StatusPortable_LibraryAlone_IsInvalidWithTheDetailOnStandardError) {
  test::WritePortableLibrary(obs, 'A');
  EXPECT_EQ(RunWithoutTrace(kStatus),
            (Report{0, L"state=installed-invalid\nobsRunning=0\n",
                    L"detail=Portable OBS plugin files are incomplete or differ from the bundled "
                    L"connector\n"}));
}

TEST_F(CommandsPortableTest, StatusPortable_BadBundle_IsNotInstalledWithItsDetailAndZero) {
  WritePlugin('A');
  Remove(bundle / "manifest.sha256");
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=0\n",
                                              L"detail=Bundle integrity manifest is missing\n"}));
}

TEST_F(CommandsPortableTest, StatusPortable_NoBundle_IsNotInstalledWithoutADetailLine) {
  WritePlugin('A');
  Remove(bundle);
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
}

TEST_F(CommandsPortableTest, StatusPortable_ObsRuns_SaysSoAndAnswers) {
  WritePlugin('A');
  const RunningProgram running(elsewhere.path(), "obs64.exe");
  EXPECT_EQ(RunWithoutTrace(kStatus), (Report{0, L"state=installed-valid\nobsRunning=1\n", L""}));
}

TEST_F(CommandsPortableTest, InstallAndRemove_ObsRuns_AreRefusedWith41AndTouchNothing) {
  WritePlugin('B');
  const RunningProgram running(elsewhere.path(), "obs64.exe");
  for (const wchar_t* word : {kInstall, kRemove, L"any other word"}) {
    EXPECT_EQ(RunWithoutTrace(word), kObsRunning);
  }
}

TEST_F(CommandsPortableTest, InstallPortable_NothingInstalled_InstallsBothPiecesAndIsZero) {
  EXPECT_EQ(Run(kInstall), (Report{0, L"state=installed\n", L""}));
  ExpectPlugin('A');
}

TEST_F(CommandsPortableTest, InstallPortable_OtherCopyThere_ReplacesItAndIsZero) {
  WritePlugin('B');
  EXPECT_EQ(Run(kInstall), (Report{0, L"state=installed\n", L""}));
  ExpectPlugin('A');
}

TEST_F(CommandsPortableTest, InstallPortable_RootWithTrailingSeparator_InstallsThere) {
  EXPECT_EQ(RunIn(obs / "", kInstall), (Report{0, L"state=installed\n", L""}));
  ExpectPlugin('A');
}

TEST_F(CommandsPortableTest, InstallPortable_InvalidBundle_Is43WithItsDetail) {
  WriteFile(bundle / "data/locale/en-US.ini", "");
  EXPECT_EQ(RunWithoutTrace(kInstall),
            (Report{43, L"", L"state=install-failed\ndetail=A required plugin file is empty\n"}));
}

TEST_F(CommandsPortableTest, InstallPortable_NoBundle_Is43WithAnEmptyDetailLine) {
  Remove(bundle);
  EXPECT_EQ(RunWithoutTrace(kInstall), (Report{43, L"", L"state=install-failed\ndetail=\n"}));
}

TEST_F(CommandsPortableTest, InstallPortable_RootInTheBundle_Is44WithItsDetail) {
  const Path inside = bundle / "obs";
  test::WritePortableObs(inside);
  EXPECT_EQ(RunIn(inside, kInstall),
            (Report{44, L"",
                    L"state=install-failed\n"
                    L"detail=Payload and portable OBS destination must be separate trees\n"}));
}

TEST_F(CommandsPortableTest, InstallPortable_NamesCannotBeReserved_Is45WithItsDetail) {
  disk.fails = [](const DiskCall& call) {
    return call.call == Call::Status &&
           call.path.filename().generic_string().starts_with(".k7k-obs-audio.");
  };
  EXPECT_EQ(Run(kInstall), (Report{45, L"",
                                   L"state=install-failed\n"
                                   L"detail=Could not reserve portable OBS transaction paths\n"}));
}

TEST_F(CommandsPortableTest, InstallPortable_CopyFails_Is46WithItsDetail) {
  WritePlugin('B');
  disk.fails = [](const DiskCall& call) { return call.call == Call::Copy; };
  EXPECT_EQ(RunWithoutTrace(kInstall),
            (Report{46, L"",
                    L"state=install-failed\n"
                    L"detail=Could not stage and verify the portable OBS plugin\n"}));
}

TEST_F(CommandsPortableTest, RemovePortable_CopyThere_IsRemovedAndZero) {
  const Tree before = TakeTree(obs);
  WritePlugin('A');
  EXPECT_EQ(Run(kRemove), (Report{0, L"state=removed\n", L""}));
  Remove(obs / "obs-plugins");
  Remove(obs / "data");
  EXPECT_EQ(TakeTree(obs), before);
}

TEST_F(CommandsPortableTest, RemovePortable_NothingInstalled_IsNotInstalledAndZero) {
  EXPECT_EQ(RunWithoutTrace(kRemove), (Report{0, L"state=not-installed\n", L""}));
}

TEST_F(CommandsPortableTest, RemovePortable_PieceBecomesUnsafeAfterTheValidation_Is54) {
  WritePlugin('A');
  // The handler's own validation ends with the walk of the data folder.
  disk.fails = [&, changed = false](const DiskCall& call) mutable {
    if (call.call == Call::WalkOpen && call.path == data && !std::exchange(changed, true)) {
      Remove(dll);
      EXPECT_TRUE(NativeDisk().CreateFolder(dll));
    }
    return false;
  };
  EXPECT_EQ(Run(kRemove), (Report{54, L"",
                                  L"state=remove-failed\n"
                                  L"detail=The portable OBS plugin DLL path is unsafe\n"}));
}

TEST_F(CommandsPortableTest, RemovePortable_BackupCannotBeDeleted_Is55WithItsDetail) {
  WritePlugin('A');
  disk.fails = [](const DiskCall& call) { return call.call == Call::Remove; };
  EXPECT_EQ(Run(kRemove), (Report{55, L"",
                                  L"state=remove-failed\n"
                                  L"detail=Portable plugin was detached, but a private backup "
                                  L"remains\n"}));
}

}  // namespace
}  // namespace k7k
