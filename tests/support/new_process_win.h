// A new process of the test program, for what a process finds out once and then keeps.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

namespace k7k::test {

// Has `act` done in a new process, which runs the calling test again up to this call; a failed
// expectation in it is one of the caller's.
template <class Act>
void InNewProcess(Act act) {
  const auto act_and_tell = [&act] {
    act();
    const testing::TestResult& result =
        *testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
      std::cerr << result.GetTestPartResult(i).message() << "\n";
    }
    std::exit(result.total_part_count());
  };
  EXPECT_EXIT(act_and_tell(), testing::ExitedWithCode(0), "");
}

}  // namespace k7k::test
