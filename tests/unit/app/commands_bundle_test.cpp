// The commands on the bundle, and the words that a handler does not know.
#include "app/commands.h"

#include <gtest/gtest.h>

#include "support/command_test.h"

namespace k7k {
namespace {

using test::BundleLines;
using test::Call;
using test::FailEach;
using test::ReadFile;
using test::Report;
using test::WriteFile;

class CommandsBundleTest : public test::CommandTest {
 protected:
  void SetUp() override { test::WriteBundle(bundle, 'A'); }

  Report Status() const {
    return RunWithoutTrace([] { return RunBundleCommand(L"--status-bundled"); });
  }

  void Remove(const Path& path) const { ASSERT_TRUE(NativeDisk().RemoveAll(bundle / path)); }
};

TEST_F(CommandsBundleTest, StatusBundled_ValidBundle_IsZeroWithItsBytes) {
  EXPECT_EQ(Status(), (Report{0, BundleLines(L"installed-valid", test::kBundleBytes), L""}));
}

TEST_F(CommandsBundleTest, StatusBundled_NoBundleFolder_IsNotInstalledAndOne) {
  Remove("");
  EXPECT_EQ(Status(), (Report{1, L"state=not-installed\nbytes=0\n", L""}));
}

TEST_F(CommandsBundleTest, StatusBundled_FolderUnreadable_IsNotInstalledWithItsDetailAndOne) {
  disk.fails = FailEach(Call::Status, bundle);
  EXPECT_EQ(Status(), (Report{1, L"state=not-installed\nbytes=0\n",
                              L"detail=Could not inspect the bundle\n"}));
}

TEST_F(CommandsBundleTest, StatusBundled_BundleIsAFile_IsInvalidWithoutADetailLineAndTwo) {
  Remove("");
  WriteFile(bundle, "a file");
  EXPECT_EQ(Status(), (Report{2, L"state=installed-invalid\nbytes=0\n", L""}));
}

TEST_F(CommandsBundleTest, StatusBundled_NoManifest_IsInvalidWithTheSumSoFarAndTwo) {
  Remove("manifest.sha256");
  EXPECT_EQ(Status(), (Report{2, BundleLines(L"installed-invalid", test::kFilesBytes),
                              L"detail=Bundle integrity manifest is missing\n"}));
}

TEST_F(CommandsBundleTest, StatusBundled_ManifestSizeUnreadable_IsOneByteLessWithoutADetailLine) {
  disk.fails = FailEach(Call::Size, bundle / "manifest.sha256");
  EXPECT_EQ(Status(), (Report{2, BundleLines(L"installed-invalid", test::kFilesBytes - 1), L""}));
}

TEST_F(CommandsBundleTest, StatusBundled_ManyBytes_AreWrittenWithoutSeparators) {
  test::WriteSteppedBundle(bundle);
  EXPECT_EQ(Status(), (Report{0, BundleLines(L"installed-valid", test::kSteppedBundleBytes), L""}));
}

TEST_F(CommandsBundleTest, StatusBundled_ObsRuns_AnswersAllTheSame) {
  const test::RunningProgram obs(elsewhere.path(), "obs64.exe");
  EXPECT_EQ(Status(), (Report{0, BundleLines(L"installed-valid", test::kBundleBytes), L""}));
}

TEST_F(CommandsBundleTest, WriteBundledManifest_CompleteBundle_WritesItAndIsZero) {
  Remove("manifest.sha256");
  EXPECT_EQ(Run([] { return RunBundleCommand(L"--write-bundled-manifest"); }),
            (Report{0, L"state=manifest-written\n", L""}));
  EXPECT_EQ(ReadFile(bundle / "manifest.sha256"), test::ManifestText(test::kDigestOfA));
}

TEST_F(CommandsBundleTest, WriteBundledManifest_IncompleteBundle_FailsWithItsDetailAndTwo) {
  Remove(test::kFiles.back());
  EXPECT_EQ(
      RunWithoutTrace([] { return RunBundleCommand(L"--write-bundled-manifest"); }),
      (Report{2, L"", L"state=manifest-failed\ndetail=Cannot manifest an incomplete bundle\n"}));
}

TEST_F(CommandsBundleTest, WriteBundledManifest_NoBundle_FailsWithItsDetailAndTwo) {
  Remove("");
  EXPECT_EQ(RunWithoutTrace([] { return RunBundleCommand(L"--write-bundled-manifest"); }),
            (Report{2, L"", L"state=manifest-failed\ndetail=Path does not exist\n"}));
}

TEST_F(CommandsBundleTest, RunBundleCommand_WordOfAnotherHandler_Is64WithoutALine) {
  for (const wchar_t* word : {L"--status-standard", L"--install-portable", L"--self-test", L"",
                              L"--STATUS-BUNDLED", L"--status-bundled ", L"--status-bundle"}) {
    EXPECT_EQ(RunWithoutTrace([&] { return RunBundleCommand(word); }), (Report{64, L"", L""}));
  }
}

TEST_F(CommandsBundleTest, RunStandardCommand_WordOfAnotherHandler_Is64WithoutALine) {
  test::MakeFolder(program_data);
  const test::ProgramDataSetting setting(program_data);
  for (const wchar_t* word : {L"--status-bundled", L"--install-portable", L"--self-test", L"",
                              L"--STATUS-STANDARD", L"--install-standard ", L"--remove"}) {
    EXPECT_EQ(RunWithoutTrace([&] { return RunStandardCommand(word); }), (Report{64, L"", L""}));
  }
}

TEST_F(CommandsBundleTest, RunPortableCommand_WordOfAnotherHandler_Is64WithoutALine) {
  test::WritePortableObs(folder / "obs");
  for (const wchar_t* word : {L"--status-bundled", L"--install-standard", L"--self-test", L"",
                              L"--STATUS-PORTABLE", L"--install-portable ", L"--remove"}) {
    EXPECT_EQ(RunWithoutTrace([&] { return RunPortableCommand(word, folder / "obs"); }),
              (Report{64, L"", L""}));
  }
}

}  // namespace
}  // namespace k7k
