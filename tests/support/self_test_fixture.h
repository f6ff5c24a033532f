// Runs the self-test in a temporary folder of the test's own, on a disk that fails on demand.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "selftest/self_test.h"
#include "support/captured_output.h"
#include "support/environment.h"
#include "support/fault_rules.h"
#include "support/test_tree.h"

namespace k7k::test {

inline constexpr std::string_view kRootPrefix = "K7KObsConnectorSelfTest.";

// A name below the self-test's own folder, whose name differs from run to run; "." for the folder
// itself and "" for what is elsewhere.
inline std::string NameInTestRoot(const Path& path) {
  for (auto part = path.begin(); part != path.end(); ++part) {
    if (!part->generic_string().starts_with(kRootPrefix)) continue;
    Path below;
    while (++part != path.end()) below /= *part;
    return below.empty() ? "." : below.generic_string();
  }
  return {};
}

class SelfTestFixture : public testing::Test {
 protected:
  SelfTestFixture() {
    MakeFolder(temporary);
    disk.calls.clear();
  }

  int Run() {
    const TemporaryFolderSetting setting(temporary);
    const CapturedOutput captured;
    const int result = RunSelfTest();
    EXPECT_EQ(captured.Out(), L"");
    diagnostic = captured.Err();
    return result;
  }

  // The self-test gives that number, says nothing, and leaves its folder for inspection.
  void ExpectFailure(int number) {
    EXPECT_EQ(Run(), number);
    EXPECT_EQ(diagnostic, L"");
    EXPECT_FALSE(TestRootName().empty());
  }

  // The name of the one folder that a failed run left; empty when there is none.
  std::string TestRootName() const {
    std::string found;
    for (const auto& [name, content] : TakeTree(temporary)) {
      if (name.find('/') != std::string::npos) continue;
      EXPECT_TRUE(found.empty());
      EXPECT_TRUE(name.starts_with(kRootPrefix)) << name;
      found = name;
    }
    return found;
  }

  // Rules for a call on a name in the test root, told apart by how many moves were made before it:
  // each transaction makes a known number of them, so that it says which row is running.
  Rule At(int moves, Call kind, const std::string& name, int skip = 0) {
    return [=, this](const DiskCall& call) mutable {
      return call.call == kind && disk.Count(Call::Move) == moves &&
             NameInTestRoot(call.path) == name && skip-- <= 0;
    };
  }

  // All attempts of the nth move (from 1) fail; the moves that undo it work.
  Rule MoveFails(int nth) {
    return [=, this](const DiskCall& call) {
      const int made = disk.Count(Call::Move);
      return call.call == Call::Move && made >= nth && made < nth + 20;
    };
  }

  const TestFolder folder;
  const Path temporary = folder / "tmp";
  std::wstring diagnostic;
  FaultDisk disk;
};

}  // namespace k7k::test
