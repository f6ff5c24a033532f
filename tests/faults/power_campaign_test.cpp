// The power is cut after every change of every run, and in each state that this can leave the old
// copy or the new one is complete.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "power_campaign.h"
#include "share.h"

namespace k7k::test {
namespace {

// A part that takes less than half a minute.
int Share() { return WantedShare({.usual = 50, .sanitized = 400, .slow = 400}); }

int GoOnShare() {
  const int least = OpeningFilesIsSlow() || kSanitized ? 20 : 1;
  return std::max(least, Share() / 3);
}

void Print(const std::string& transaction, const PowerFigures& figures) {
  std::cout << "power: transaction=" << transaction << " scenarios=" << figures.scenarios
            << " share=1/" << Share() << " runs=" << figures.runs << " cuts=" << figures.cuts
            << " states=" << figures.states << " sampled=" << figures.sampled << " possible=2^"
            << figures.open << " continued=" << figures.continued
            << " violations=" << figures.violations
            << " seconds=" << static_cast<int>(figures.seconds + 0.5) << std::endl;
}

class PowerCampaignTest : public testing::Test {
 protected:
  static void Run(Transaction transaction) {
    const std::string name = transaction.name;
    PowerCampaign campaign(std::move(transaction), Share(), GoOnShare());
    const PowerFigures figures = campaign.RunAll();
    Print(name, figures);
    constexpr std::size_t kShown = 20;
    const auto& violations = campaign.violations();
    for (std::size_t i = 0; i < std::min(violations.size(), kShown); ++i) {
      ADD_FAILURE() << violations[i];
    }
    EXPECT_EQ(violations.size(), 0U);
    EXPECT_GT(figures.states, 0U);
  }
};

// In this order, so that the two parts into which the tests are dealt take about as long.

TEST_F(PowerCampaignTest, InstallPortablePlugin_PowerIsCutAnywhere_KeepsThePromise) {
  Run(PortableInstall());
}

TEST_F(PowerCampaignTest, InstallPlugin_PowerIsCutAnywhere_KeepsThePromise) {
  Run(StandardInstall());
}

TEST_F(PowerCampaignTest, RemovePortablePlugin_PowerIsCutAnywhere_KeepsThePromise) {
  Run(PortableRemoval());
}

TEST_F(PowerCampaignTest, RemovePlugin_PowerIsCutAnywhere_KeepsThePromise) {
  Run(StandardRemoval());
}

}  // namespace
}  // namespace k7k::test
