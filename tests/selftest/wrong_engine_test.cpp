// The self-test must find an engine that answers wrongly. This program stands between the two: each
// call of a transaction goes through here, and one of them is made wrong.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "selftest/self_test.h"
#include "support/captured_output.h"
#include "support/environment.h"
#include "support/test_tree.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"
#include "txn/standard_install.h"
#include "txn/standard_removal.h"

namespace k7k {

// The transactions themselves, compiled under these names.
InstallOutcome RealInstallPlugin(const Path&, const Path&, std::wstring*, InjectedFailure);
InstallOutcome RealInstallPortablePlugin(const Path&, const Path&, std::wstring*, InjectedFailure);
RemovalOutcome RealRemovePlugin(const Path&, std::wstring*, InjectedFailure);
RemovalOutcome RealRemovePortablePlugin(const Path&, std::wstring*, InjectedFailure);

namespace {

// What is wrong with one transaction: the nth call of it (from 1) ...
struct Wrong {
  int nth = 0;
  bool ignores_injected = false;  // ... takes the injected failure for None
  int answers = -1;               // ... returns this outcome, whatever it did
};

// A transaction with its fault, counting its calls.
struct Transaction {
  Wrong wrong;
  int calls = 0;

  template <class Outcome>
  Outcome Call(InjectedFailure injected, const std::function<Outcome(InjectedFailure)>& real) {
    if (++calls != wrong.nth) return real(injected);
    const Outcome outcome = real(wrong.ignores_injected ? InjectedFailure::None : injected);
    return wrong.answers < 0 ? outcome : static_cast<Outcome>(wrong.answers);
  }
};

struct Engine {
  Transaction install;
  Transaction install_portable;
  Transaction remove;
  Transaction remove_portable;
};

Engine engine;

}  // namespace

InstallOutcome InstallPlugin(const Path& payload, const Path& parent, std::wstring* detail,
                             InjectedFailure injected) {
  return engine.install.Call<InstallOutcome>(injected, [&](InjectedFailure passed) {
    return RealInstallPlugin(payload, parent, detail, passed);
  });
}

InstallOutcome InstallPortablePlugin(const Path& bundle, const Path& root, std::wstring* detail,
                                     InjectedFailure injected) {
  return engine.install_portable.Call<InstallOutcome>(injected, [&](InjectedFailure passed) {
    return RealInstallPortablePlugin(bundle, root, detail, passed);
  });
}

RemovalOutcome RemovePlugin(const Path& parent, std::wstring* detail, InjectedFailure injected) {
  return engine.remove.Call<RemovalOutcome>(
      injected, [&](InjectedFailure passed) { return RealRemovePlugin(parent, detail, passed); });
}

RemovalOutcome RemovePortablePlugin(const Path& root, std::wstring* detail,
                                    InjectedFailure injected) {
  return engine.remove_portable.Call<RemovalOutcome>(injected, [&](InjectedFailure passed) {
    return RealRemovePortablePlugin(root, detail, passed);
  });
}

namespace {

using test::CapturedOutput;
using test::TakeTree;
using test::TemporaryFolderSetting;
using test::TestFolder;

class WrongEngineTest : public testing::Test {
 protected:
  WrongEngineTest() { engine = {}; }

  int Run() {
    const TemporaryFolderSetting setting(folder.path());
    const CapturedOutput captured;
    const int number = RunSelfTest();
    EXPECT_EQ(captured.Out(), L"");
    diagnostic = captured.Err();
    // A failure leaves the test root, a success nothing.
    EXPECT_EQ(TakeTree(folder.path()).empty(), number == 0);
    return number;
  }

  const TestFolder folder;
  std::wstring diagnostic;
};

TEST_F(WrongEngineTest, NothingWrong_PassesWithTheKnownNumberOfCalls) {
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(diagnostic, L"");
  EXPECT_EQ(engine.install.calls, 6);
  EXPECT_EQ(engine.remove.calls, 3);
  EXPECT_EQ(engine.install_portable.calls, 5);
  EXPECT_EQ(engine.remove_portable.calls, 3);
}

TEST_F(WrongEngineTest, InstallIgnoresTheInjectedFailure_Gives5AndTheDiagnosticLine) {
  engine.install.wrong = {.nth = 2, .ignores_injected = true};
  EXPECT_EQ(Run(), 5);
  // The message is the last one that was written: of a comparison before.
  EXPECT_EQ(diagnostic,
            L"rollback result=0, valid=1, first=66, "
            L"error=Installed OBS plugin files differ from the bundled connector\n");
}

TEST_F(WrongEngineTest, RemovalReturns5InsteadOf4_Gives11) {
  engine.remove.wrong = {.nth = 1, .answers = 5};
  EXPECT_EQ(Run(), 11);
  EXPECT_EQ(diagnostic, L"");
}

TEST_F(WrongEngineTest, PortableRemovalReturns5InsteadOf4_Gives23) {
  engine.remove_portable.wrong = {.nth = 1, .answers = 5};
  EXPECT_EQ(Run(), 23);
  EXPECT_EQ(diagnostic, L"");
}

// Every other call in its row: an answer one off, or an injected failure that is not heeded.

struct Row {
  const char* name;
  Transaction Engine::* transaction;
  Wrong wrong;
  int number;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class WrongEngineRows : public WrongEngineTest, public testing::WithParamInterface<Row> {};

INSTANTIATE_TEST_SUITE_P(
    Each, WrongEngineRows,
    testing::Values(
        Row{"FirstInstall", &Engine::install, {1, false, 4}, 3},
        Row{"SecondInstall", &Engine::install, {3, false, 5}, 6},
        Row{"IncompleteBundle", &Engine::install, {4, false, 2}, 7},
        Row{"FileAsParent", &Engine::install, {5, false, 3}, 8},
        Row{"ParentInsideTheBundle", &Engine::install, {6, false, 1}, 10},
        Row{"UnheededRemoval", &Engine::remove, {1, true, -1}, 11},
        Row{"RemovalWithTheRightAnswerAlone", &Engine::remove, {1, true, 4}, 11},
        Row{"Removal", &Engine::remove, {2, false, 1}, 12},
        Row{"SecondRemoval", &Engine::remove, {3, false, 0}, 13},
        Row{"FirstPortable", &Engine::install_portable, {1, false, 4}, 17},
        Row{"UnheededBackup", &Engine::install_portable, {2, true, -1}, 19},
        Row{"BackupWithTheRightAnswerAlone", &Engine::install_portable, {2, true, 5}, 19},
        Row{"BackupAnswer", &Engine::install_portable, {2, false, 4}, 19},
        Row{"UnheededCommit", &Engine::install_portable, {3, true, -1}, 20},
        Row{"CommitWithTheRightAnswerAlone", &Engine::install_portable, {3, true, 5}, 20},
        Row{"CommitAnswer", &Engine::install_portable, {3, false, 3}, 20},
        Row{"SecondPortable", &Engine::install_portable, {4, false, 5}, 21},
        Row{"Repair", &Engine::install_portable, {5, false, 4}, 22},
        Row{"UnheededPortableRemoval", &Engine::remove_portable, {1, true, -1}, 23},
        Row{"PortableRemovalWithTheRightAnswerAlone", &Engine::remove_portable, {1, true, 4}, 23},
        Row{"PortableRemoval", &Engine::remove_portable, {2, false, 3}, 24},
        Row{"SecondPortableRemoval", &Engine::remove_portable, {3, false, 0}, 25}),
    [](const testing::TestParamInfo<Row>& row) { return row.param.name; });

TEST_P(WrongEngineRows, OneWrongCall_GivesTheNumberOfItsRow) {
  engine.*GetParam().transaction = {.wrong = GetParam().wrong};
  EXPECT_EQ(Run(), GetParam().number);
  EXPECT_EQ(diagnostic, L"");
}

// A transaction that says it succeeded and did nothing is found by what is on disk.

TEST_F(WrongEngineTest, UndoneInjectedInstallThatReportsInstalled_Gives5) {
  engine.install.wrong = {.nth = 2, .answers = 0};
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=0, valid=1, first=65, error=Injected transaction failure\n");
}

}  // namespace
}  // namespace k7k
