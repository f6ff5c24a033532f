#include "app/dispatch.h"

#include <gtest/gtest.h>

#include "support/command_test.h"

namespace k7k {
namespace {

using test::Call;
using test::Report;

const Report kUsage{
    64, L"",
    L"Usage: K7KObsConnectorInstaller --self-test | --status-bundled | --write-bundled-manifest | "
    L"--status-standard | --install-standard | --remove-standard | --status-portable <OBS root> | "
    L"--install-portable <OBS root> | --remove-portable <OBS root>\n"};

constexpr std::array kAlone{
    L"--self-test",       L"--status-bundled",   L"--write-bundled-manifest",
    L"--status-standard", L"--install-standard", L"--remove-standard"};
constexpr std::array kWithFolder{L"--status-portable", L"--install-portable", L"--remove-portable"};

class DispatchTest : public test::CommandTest {
 protected:
  Report RunLine(int count, const std::wstring& word, const Path& given = {}) const {
    return Run([&] { return Dispatch(count, word, given); });
  }

  // Usage must be the only thing that happens.
  void ExpectUsage(int count, const std::wstring& word, const Path& given = {}) const {
    EXPECT_EQ(RunLine(count, word, given), kUsage)
        << count << " " << testing::PrintToString(word) << " " << given;
    EXPECT_TRUE(disk.calls.empty());
  }

  // The verdict of a self-test whose files go below the test's folder.
  Report SelfTest() const {
    const test::TemporaryFolderSetting setting(folder / "temporary");
    return RunLine(2, L"--self-test");
  }
};

TEST_F(DispatchTest, Dispatch_NoArguments_IsUsage) {
  ExpectUsage(1, L"");
  ExpectUsage(0, L"");
}

TEST_F(DispatchTest, Dispatch_FourOrMoreInTheCount_IsUsageWhateverTheWord) {
  for (int count = 4; count <= 6; ++count) {
    for (const wchar_t* word : kAlone) ExpectUsage(count, word, "x");
    for (const wchar_t* word : kWithFolder) ExpectUsage(count, word, folder.path());
    ExpectUsage(count, L"", "x");
  }
}

TEST_F(DispatchTest, Dispatch_WordInACountOfOne_IsUsage) {
  for (const wchar_t* word : kAlone) ExpectUsage(1, word);
  for (const wchar_t* word : kWithFolder) ExpectUsage(1, word, folder.path());
}

TEST_F(DispatchTest, Dispatch_SelfTestWithAFurtherArgument_IsUsage) {
  ExpectUsage(3, L"--self-test", folder.path());
  ExpectUsage(3, L"--self-test", "");
}

TEST_F(DispatchTest, Dispatch_BundleOrStandardCommandWithAFolder_IsUsage) {
  for (const wchar_t* word : kAlone) {
    ExpectUsage(3, word, folder.path());
    ExpectUsage(3, word, "");
  }
}

TEST_F(DispatchTest, Dispatch_PortableCommandWithoutAFolder_IsUsage) {
  for (const wchar_t* word : kWithFolder) ExpectUsage(2, word);
}

TEST_F(DispatchTest, Dispatch_WordsInCapitals_IsUsage) {
  ExpectUsage(2, L"--STATUS-BUNDLED");
  ExpectUsage(2, L"--Status-Bundled");
  ExpectUsage(2, L"--SELF-TEST");
  ExpectUsage(2, L"--install-standarD");
  ExpectUsage(3, L"--STATUS-PORTABLE", folder.path());
}

TEST_F(DispatchTest, Dispatch_WordsThatAreAlmostRight_IsUsage) {
  const auto almost = [&](const std::wstring& word, int count, const Path& given) {
    ExpectUsage(count, L" " + word, given);
    ExpectUsage(count, word + L" ", given);
    ExpectUsage(count, word + L"=", given);
    ExpectUsage(count, word + L"=1", given);
    ExpectUsage(count, word.substr(1), given);
    ExpectUsage(count, word.substr(2), given);
    ExpectUsage(count, L"/" + word.substr(2), given);
    ExpectUsage(count, L"-" + word, given);
    ExpectUsage(count, word.substr(0, word.size() - 1), given);
    ExpectUsage(count, word + L"s", given);
    ExpectUsage(count, word + L'\0', given);
    ExpectUsage(count, L"\"" + word + L"\"", given);
  };
  for (const wchar_t* word : kAlone) almost(word, 2, {});
  for (const wchar_t* word : kWithFolder) almost(word, 3, folder.path());
}

TEST_F(DispatchTest, Dispatch_WordsThatAreNoCommand_IsUsage) {
  for (const wchar_t* word : {L"", L" ", L"--", L"-", L"/?", L"--help", L"-h", L"--version",
                              L"--status", L"--install", L"\x65e5\x672c"}) {
    ExpectUsage(2, word);
    ExpectUsage(3, word, folder.path());
  }
}

TEST_F(DispatchTest, Dispatch_StatusBundled_GoesToTheBundle) {
  test::WriteBundle(bundle, 'A');
  EXPECT_EQ(RunLine(2, L"--status-bundled"),
            (Report{0, test::BundleLines(L"installed-valid", test::kBundleBytes), L""}));
}

TEST_F(DispatchTest, Dispatch_WriteBundledManifest_GoesToTheBundle) {
  EXPECT_EQ(RunLine(2, L"--write-bundled-manifest"),
            (Report{2, L"", L"state=manifest-failed\ndetail=Path does not exist\n"}));
}

TEST_F(DispatchTest, Dispatch_StandardCommands_GoToTheStandardTarget) {
  test::MakeFolder(program_data);
  const test::ProgramDataSetting setting(program_data);
  test::WriteBundle(bundle, 'A');
  EXPECT_EQ(RunLine(2, L"--status-standard"),
            (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
  EXPECT_EQ(RunLine(2, L"--install-standard"), (Report{0, L"state=installed\n", L""}));
  EXPECT_EQ(RunLine(2, L"--remove-standard"), (Report{0, L"state=removed\n", L""}));
}

TEST_F(DispatchTest, Dispatch_PortableCommands_GoToThePortableTargetWithTheFolder) {
  const Path obs = folder / u8"OBS für 日本";
  test::WritePortableObs(obs);
  test::WriteBundle(bundle, 'A');
  EXPECT_EQ(RunLine(3, L"--status-portable", obs),
            (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
  EXPECT_EQ(RunLine(3, L"--install-portable", obs), (Report{0, L"state=installed\n", L""}));
  EXPECT_EQ(RunLine(3, L"--remove-portable", obs), (Report{0, L"state=removed\n", L""}));
}

TEST_F(DispatchTest, Dispatch_PortableCommandWithAnEmptyFolder_IsPassedOnAndRefusedThere) {
  for (const wchar_t* word : kWithFolder) {
    EXPECT_EQ(RunLine(3, word, ""),
              (Report{40, L"",
                      L"state=target-invalid\n"
                      L"detail=Portable OBS root must be an absolute path\n"}));
  }
}

TEST_F(DispatchTest, Dispatch_SelfTestThatPasses_SaysPassedWithZeroAndLeavesNothing) {
  test::MakeFolder(folder / "temporary");
  EXPECT_EQ(SelfTest(), (Report{0, L"K7K OBS connector installer self-test: passed (0)\n", L""}));
  EXPECT_TRUE(test::TakeTree(folder / "temporary").empty());
}

TEST_F(DispatchTest, Dispatch_SelfTestThatFails_SaysFailedWithItsNumberAndReturnsIt) {
  test::MakeFolder(folder / "temporary");
  disk.fails = [](const test::DiskCall& call) { return call.call == Call::OpenOutput; };
  EXPECT_EQ(SelfTest(), (Report{2, L"K7K OBS connector installer self-test: failed (2)\n", L""}));
}

TEST_F(DispatchTest, Dispatch_SelfTestThatFailsLate_SaysFailedWithATwoDigitNumber) {
  test::MakeFolder(folder / "temporary");
  disk.fails = [](const test::DiskCall& call) {
    return call.call == Call::Status && call.path.filename() == "portable_mode.txt";
  };
  EXPECT_EQ(SelfTest(), (Report{16, L"K7K OBS connector installer self-test: failed (16)\n", L""}));
}

}  // namespace
}  // namespace k7k
