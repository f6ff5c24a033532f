#include "txn/outcomes.h"

#include <gtest/gtest.h>

namespace k7k {
namespace {

// The numbers go into the exit codes; those of an injected failure differ on purpose.
TEST(OutcomesTest, InstallOutcome_Numbers_AreThoseOfTheProtocol) {
  EXPECT_EQ(static_cast<int>(InstallOutcome::Installed), 0);
  EXPECT_EQ(static_cast<int>(InstallOutcome::BundleInvalid), 1);
  EXPECT_EQ(static_cast<int>(InstallOutcome::Refused), 2);
  EXPECT_EQ(static_cast<int>(InstallOutcome::Failed), 3);
  EXPECT_EQ(static_cast<int>(InstallOutcome::RolledBack), 4);
  EXPECT_EQ(static_cast<int>(InstallOutcome::InjectedFailureRolledBack), 5);
}

TEST(OutcomesTest, RemovalOutcome_Numbers_AreThoseOfTheProtocol) {
  EXPECT_EQ(static_cast<int>(RemovalOutcome::Removed), 0);
  EXPECT_EQ(static_cast<int>(RemovalOutcome::NotInstalled), 1);
  EXPECT_EQ(static_cast<int>(RemovalOutcome::Refused), 2);
  EXPECT_EQ(static_cast<int>(RemovalOutcome::Failed), 3);
  EXPECT_EQ(static_cast<int>(RemovalOutcome::InjectedFailureRolledBack), 4);
}

TEST(OutcomesTest, InjectedFailure_Numbers_AreThoseOfTheSwitch) {
  EXPECT_EQ(static_cast<unsigned>(InjectedFailure::None), 0U);
  EXPECT_EQ(static_cast<unsigned>(InjectedFailure::AfterBackup), 1U);
  EXPECT_EQ(static_cast<unsigned>(InjectedFailure::AfterDllCommit), 2U);
}

}  // namespace
}  // namespace k7k
