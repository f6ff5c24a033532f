#include "app/report.h"

#include <gtest/gtest.h>

#include "support/command_test.h"

namespace k7k {
namespace {

using test::Report;

class ReportTest : public test::CommandTest {};

TEST_F(ReportTest, StateWord_EachVerdict_IsItsWord) {
  EXPECT_STREQ(StateWord({false, false, 0}), L"not-installed");
  EXPECT_STREQ(StateWord({true, true, 0}), L"installed-valid");
  EXPECT_STREQ(StateWord({true, false, 0}), L"installed-invalid");
}

TEST_F(ReportTest, WriteDetail_AnyMessage_IsWrittenAsItStandsOnStandardError) {
  const std::wstring message = L"a=b \"c\" \\d\te\r\nstate=x " + std::wstring(5000, L'z');
  EXPECT_EQ(Run([&] {
              WriteDetail(message);
              return 0;
            }),
            (Report{0, L"", L"detail=" + message + L"\n"}));
}

TEST_F(ReportTest, WriteDetail_EmptyMessage_IsTheKeyAlone) {
  EXPECT_EQ(Run([] {
              WriteDetail(L"");
              return 0;
            }),
            (Report{0, L"", L"detail=\n"}));
}

TEST_F(ReportTest, WriteDetailUnlessEmpty_EmptyMessage_WritesNothing) {
  EXPECT_EQ(Run([] {
              WriteDetailUnlessEmpty(L"");
              return 0;
            }),
            (Report{0, L"", L""}));
}

TEST_F(ReportTest, ReportStatus_EachState_IsZeroWithTheDetailOnStandardErrorAlone) {
  EXPECT_EQ(Run([] { return ReportStatus({false, false, 0}, L""); }),
            (Report{0, L"state=not-installed\nobsRunning=0\n", L""}));
  EXPECT_EQ(Run([] { return ReportStatus({true, true, 9}, L""); }),
            (Report{0, L"state=installed-valid\nobsRunning=0\n", L""}));
  EXPECT_EQ(Run([] { return ReportStatus({true, false, 0}, L"Why"); }),
            (Report{0, L"state=installed-invalid\nobsRunning=0\n", L"detail=Why\n"}));
}

TEST_F(ReportTest, ReportStatus_ObsRuns_SaysSo) {
  const test::RunningProgram obs(elsewhere.path(), "obs64.exe");
  EXPECT_EQ(Run([] { return ReportStatus({false, false, 0}, L""); }),
            (Report{0, L"state=not-installed\nobsRunning=1\n", L""}));
}

TEST_F(ReportTest, ReportFailure_WithAndWithoutMessage_AlwaysHasTheDetailLine) {
  EXPECT_EQ(Run([] { return ReportFailure(L"some-state", L"Why", 7); }),
            (Report{7, L"", L"state=some-state\ndetail=Why\n"}));
  EXPECT_EQ(Run([] { return ReportFailure(L"some-state", L"", 7); }),
            (Report{7, L"", L"state=some-state\ndetail=\n"}));
}

TEST_F(ReportTest, ReportInstall_EachOutcome_IsTheBandPlusItsNumber) {
  const auto report = [](int outcome, int band) {
    return Run([&] { return ReportInstall(static_cast<InstallOutcome>(outcome), L"Why", band); });
  };
  for (const int band : {22, 42}) {
    EXPECT_EQ(report(0, band), (Report{0, L"state=installed\n", L""}));
    for (int outcome = 1; outcome <= 5; ++outcome) {
      EXPECT_EQ(report(outcome, band),
                (Report{band + outcome, L"", L"state=install-failed\ndetail=Why\n"}));
    }
  }
}

TEST_F(ReportTest, ReportRemoval_EachOutcome_IsZeroBelowTwoElseTheBandPlusItsNumber) {
  const auto report = [](int outcome, int band) {
    return Run([&] { return ReportRemoval(static_cast<RemovalOutcome>(outcome), L"Why", band); });
  };
  for (const int band : {32, 52}) {
    EXPECT_EQ(report(0, band), (Report{0, L"state=removed\n", L""}));
    EXPECT_EQ(report(1, band), (Report{0, L"state=not-installed\n", L""}));
    for (int outcome = 2; outcome <= 4; ++outcome) {
      EXPECT_EQ(report(outcome, band),
                (Report{band + outcome, L"", L"state=remove-failed\ndetail=Why\n"}));
    }
  }
}

}  // namespace
}  // namespace k7k
