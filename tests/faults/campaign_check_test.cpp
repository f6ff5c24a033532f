// The campaign finds what it is there to find: transactions that are spoilt on purpose.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "campaign.h"
#include "support/bundle_facts.h"

namespace k7k::test {
namespace {

using Spoil = std::function<void(const Sandbox&, int& outcome, std::wstring& detail)>;

// The transaction, and after it what a defect in it could have done.
Transaction Spoilt(Transaction transaction, const Spoil& spoil) {
  const auto run = transaction.run;
  transaction.run = [=](const Sandbox& sandbox, std::wstring* detail, InjectedFailure injected) {
    int outcome = run(sandbox, detail, injected);
    spoil(sandbox, outcome, *detail);
    return outcome;
  };
  return transaction;
}

// What is found wrong with one run over an older copy, with an injected failure after the backup,
// which puts the copy back.
std::string FoundAfterInjectedInstall(const Spoil& spoil) {
  const Transaction transaction = Spoilt(StandardInstall(), spoil);
  Sandbox sandbox(Target::Standard, Previous::Older);
  Campaign campaign(transaction, 1);
  const Scenario scenario{&transaction, Previous::Older, InjectedFailure::AfterBackup, {}};
  std::string found;
  for (const std::string& wrong : campaign.RunOnce(sandbox, scenario, {})) found += wrong + "\n";
  return found;
}

TEST(CampaignCheck, NothingSpoilt_FindsNothing) {
  EXPECT_EQ(FoundAfterInjectedInstall([](auto&, int&, auto&) {}), "");
}

TEST(CampaignCheck, OldCopyGone_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().RemoveAll(sandbox.At(kPluginFolder));
  });
  EXPECT_TRUE(found.starts_with("the old copy is neither at")) << found;
}

TEST(CampaignCheck, OneByteOfTheOldCopyChanged_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    *NativeDisk().OpenOutput(sandbox.At(kPluginFolder) / "bin/64bit/k7k-obs-audio.dll")
        << "old librarY";
  });
  EXPECT_TRUE(found.starts_with("the old copy is neither at")) << found;
}

TEST(CampaignCheck, OldCopyAtItsBackupWithoutAFailedMoveBack_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().Move(sandbox.At(kPluginFolder),
                      sandbox.At(kPluginParent) / ".k7k-obs-audio.backup.1.2");
  });
  EXPECT_TRUE(found.starts_with("the old copy is neither at")) << found;
}

TEST(CampaignCheck, FileOfTheNewCopyThatIsNotRequiredMissing_IsFound) {
  const Transaction transaction =
      Spoilt(StandardInstall(), [](const Sandbox& sandbox, int&, auto&) {
        NativeDisk().RemoveAll(sandbox.At(kPluginFolder) / kExtraLocale);
      });
  Sandbox sandbox(Target::Standard, Previous::Older);
  Campaign campaign(transaction, 1);
  const Scenario scenario{&transaction, Previous::Older, InjectedFailure::None, {}};
  const auto found = campaign.RunOnce(sandbox, scenario, {});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_TRUE(found[0].starts_with("not exactly the new copy at")) << found[0];
}

TEST(CampaignCheck, StagingLeft_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().CreateFolder(sandbox.At(kPluginParent) / ".k7k-obs-audio.staging.1.2");
  });
  EXPECT_EQ(found, "staging is left: { itself }\n");
}

TEST(CampaignCheck, EntryBesideThePlugin_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().CreateFolder(sandbox.At(kPluginParent) / "lock");
  });
  EXPECT_EQ(found, "programdata/obs-studio/plugins/lock appeared or changed\n");
}

TEST(CampaignCheck, NeighbourGone_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().RemoveAll(sandbox.At(kPluginParent) / "other-plugin/other.dll");
  });
  EXPECT_EQ(found, "programdata/obs-studio/plugins/other-plugin/other.dll is gone\n");
}

TEST(CampaignCheck, AnotherMessage_IsFound) {
  const auto found = FoundAfterInjectedInstall(
      [](auto&, int&, std::wstring& detail) { detail = L"Injected transaction  failure"; });
  EXPECT_EQ(found,
            "ended with 5 \"Injected transaction  failure\" instead of 5 \"Injected transaction "
            "failure\"\n");
}

TEST(CampaignCheck, FailureReportedAsSuccess_IsFound) {
  const auto found = FoundAfterInjectedInstall([](auto&, int& outcome, auto&) { outcome = 0; });
  EXPECT_NE(found.find("ended with 0"), std::string::npos) << found;
  EXPECT_NE(found.find("not exactly the new copy at"), std::string::npos) << found;
}

TEST(CampaignCheck, FileKeptOpen_IsFound) {
  std::vector<std::unique_ptr<std::istream>> kept;
  const auto found = FoundAfterInjectedInstall([&](const Sandbox& sandbox, int&, auto&) {
    kept.push_back(NativeDisk().OpenInput(sandbox.At(kBundle) / "manifest.sha256"));
    ASSERT_TRUE(kept.back());
  });
  EXPECT_EQ(found, "1 more handles open than before\n");
}

TEST(CampaignCheck, MoveTriedOnce_IsFound) {
  const auto found = FoundAfterInjectedInstall([](const Sandbox& sandbox, int&, auto&) {
    CurrentDisk().Move(sandbox.At("outside/missing"), sandbox.At("outside/other"));
  });
  EXPECT_EQ(found, "Move outside/missing -> outside/other was given up too early\n");
}

TEST(CampaignCheck, PauseTooMany_IsFound) {
  const auto found = FoundAfterInjectedInstall(
      [](auto&, int&, auto&) { CurrentDisk().Pause(std::chrono::milliseconds(25)); });
  EXPECT_EQ(found, "1 pauses for 0 retries, or one not of 25 ms\n");
}

TEST(CampaignCheck, PauseOfAnotherLength_IsFound) {
  const auto found = FoundAfterInjectedInstall(
      [](auto&, int&, auto&) { CurrentDisk().Pause(std::chrono::milliseconds(24)); });
  EXPECT_EQ(found, "1 pauses for 0 retries, or one not of 25 ms\n");
}

// The whole loop, for what is looked at in batches.
TEST(CampaignCheck, BundleChanged_IsFound) {
  Transaction transaction = Spoilt(StandardRemoval(), [](const Sandbox& sandbox, int&, auto&) {
    NativeDisk().RemoveAll(sandbox.At(kBundle) / kExtraLocale);
  });
  // Not from a list of one, whose copy GCC 14 takes for an overflow when it also sanitizes.
  transaction.states.assign(1, Previous::Older);
  Campaign campaign(transaction, 1000);
  EXPECT_GT(campaign.RunAll().violations, 0);
  ASSERT_FALSE(campaign.violations().empty());
  EXPECT_NE(campaign.violations().back().find("bundle/" + std::string(kExtraLocale) + " is gone"),
            std::string::npos)
      << campaign.violations().back();
}

// A defect that shows in the undoing alone, so that only a fault brings it out.
TEST(CampaignCheck, RollBackThatForgetsTheOldCopy_IsFound) {
  const Transaction transaction =
      Spoilt(StandardInstall(), [](const Sandbox& sandbox, int& outcome, auto&) {
        if (outcome == 4) NativeDisk().RemoveAll(sandbox.At(kPluginFolder));
      });
  Sandbox sandbox(Target::Standard, Previous::Older);
  Campaign campaign(transaction, 1);
  Scenario scenario{&transaction, Previous::Older, InjectedFailure::None, {}};
  EXPECT_TRUE(campaign.RunOnce(sandbox, scenario, {}).empty());
  scenario.trigger = {"the swap fails", [](const Asked& asked) {
                        return Is(asked, Call::Move, std::string(kPluginParent) + "/<staging>");
                      }};
  const auto found = campaign.RunOnce(sandbox, scenario, {});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_TRUE(found[0].starts_with("the old copy is neither at")) << found[0];
}

}  // namespace
}  // namespace k7k::test
