// The commands in this process: the bundle beside the test program, the program-data folder and the
// two output streams are the test's own.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "app/program_folder.h"
#include "support/bundles.h"
#include "support/captured_output.h"
#include "support/environment.h"
#include "support/odd_disks.h"
#include "support/test_tree.h"

namespace k7k::test {

struct Report {
  int code;
  std::wstring out;
  std::wstring err;

  bool operator==(const Report&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Report& report) {
  return stream << report.code << " out " << testing::PrintToString(report.out) << " err "
                << testing::PrintToString(report.err);
}

// The two lines that answer --status-bundled.
inline std::wstring BundleLines(const std::wstring& state, std::uint64_t bytes) {
  return L"state=" + state + L"\nbytes=" + std::to_wstring(bytes) + L"\n";
}

class CommandTest : public testing::Test {
 protected:
  // Runs a command that returns its exit code, and gives what it reported.
  static Report Run(const std::function<int()>& command) {
    const CapturedOutput output;
    const int code = command();
    return {code, output.Out(), output.Err()};
  }

  // Runs it and demands that it leaves the test's folder as it was.
  Report RunWithoutTrace(const std::function<int()>& command) const {
    const Tree before = TakeTree(folder.path());
    const Report report = Run(command);
    EXPECT_EQ(TakeTree(folder.path()), before);
    return report;
  }

  const ObsNameLock lock;
  const TestFolder folder;
  const TestFolder elsewhere;             // for programs that run
  const Path bundle = folder / "bundle";  // stands in for GetBundleRoot()
  const Path program_data = folder / "program data";
  const Path plugins = program_data / "obs-studio/plugins";
  RedirectedDisk disk{GetBundleRoot(), bundle};
};

}  // namespace k7k::test
