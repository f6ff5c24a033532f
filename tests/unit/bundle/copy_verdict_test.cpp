#include "bundle/copy_verdict.h"

#include <gtest/gtest.h>

namespace k7k {
namespace {

TEST(CopyVerdictTest, Verdict_New_IsNotPresentNotValidAndEmpty) {
  const CopyVerdict verdict;
  EXPECT_FALSE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(verdict.bytes, 0u);
}

TEST(CopyVerdictTest, StateOf_EachVerdict_IsItsState) {
  EXPECT_EQ(StateOf({false, false, 0}), InstallState::NotInstalled);
  EXPECT_EQ(StateOf({true, true, 5}), InstallState::InstalledValid);
  EXPECT_EQ(StateOf({true, false, 5}), InstallState::InstalledInvalid);
}

}  // namespace
}  // namespace k7k
