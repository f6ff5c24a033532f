// Every disk call of every transaction fails once, for good and with all that follow, and after
// each run the old copy or the new one is complete, the answer is right and nothing else changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "campaign.h"
#include "share.h"

namespace k7k::test {
namespace {

// A part that takes less than a minute.
int Share() { return WantedShare({.usual = 7, .sanitized = 41, .slow = 61}); }

void Print(const std::string& transaction, const Figures& figures) {
  std::cout << "faults: transaction=" << transaction << " scenarios=" << figures.scenarios
            << " points=" << figures.points << " faults=" << figures.faults << " share=1/"
            << Share() << " runs=" << figures.runs << " unseen_lost=" << figures.unseen_lost
            << " violations=" << figures.violations
            << " seconds=" << static_cast<int>(figures.seconds + 0.5) << std::endl;
}

class FaultCampaign : public testing::Test {
 protected:
  static void Run(Transaction transaction) {
    const std::string name = transaction.name;
    Campaign campaign(std::move(transaction), Share());
    const Figures figures = campaign.RunAll();
    Print(name, figures);
    constexpr std::size_t kShown = 20;
    const auto& violations = campaign.violations();
    for (std::size_t i = 0; i < std::min(violations.size(), kShown); ++i) {
      ADD_FAILURE() << violations[i];
    }
    EXPECT_EQ(violations.size(), 0U);
    EXPECT_GT(figures.runs, 0);
  }
};

TEST_F(FaultCampaign, InstallPlugin_EveryCallFails_KeepsThePromise) { Run(StandardInstall()); }

TEST_F(FaultCampaign, InstallPortablePlugin_EveryCallFails_KeepsThePromise) {
  Run(PortableInstall());
}

TEST_F(FaultCampaign, RemovePlugin_EveryCallFails_KeepsThePromise) { Run(StandardRemoval()); }

TEST_F(FaultCampaign, RemovePortablePlugin_EveryCallFails_KeepsThePromise) {
  Run(PortableRemoval());
}

}  // namespace
}  // namespace k7k::test
