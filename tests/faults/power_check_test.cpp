// The power cuts find what they are there to find: engines that flush too little or too late, made
// by leaving out and delaying flushes of what the real one did. Which orders find it is known:
// where the order of operations is kept, a later flush covers what an earlier one should have;
// where only files count, flushes of folders are not missed.
#include <gtest/gtest.h>

#include "fs/staging_copy.h"
#include "power_campaign.h"

namespace k7k::test {
namespace {

using Log = std::vector<Operation>;
using Spoil = std::function<void(Log&, const std::vector<Asked>&)>;
using IsMeant = std::function<bool(const Asked&)>;

constexpr int kNeverGoOn = 1 << 24;  // it is multiplied once more

const std::string kInstalledLibrary = std::string(kPluginFolder) + "/bin/64bit/k7k-obs-audio.dll";

struct Found {
  std::size_t states = 0;
  std::size_t violations = 0;
  std::size_t lost = 0;  // of these, states without any whole copy
  std::string first;
};

Found Find(const Transaction& transaction, Previous previous, const Spoil& spoil, Order order) {
  PowerGround ground(transaction, previous, kNeverGoOn, {});
  auto recording = ground.Record({&transaction, previous, InjectedFailure::None, {}}, {});
  spoil(recording.log, recording.run.asked);
  constexpr std::size_t kMostStates = 64;
  ground.Judge(recording, order, kMostStates);
  Found found;
  found.states = ground.figures().states;
  for (const std::string& violation : ground.violations()) {
    if (found.violations++ == 0) found.first = violation;
    if (violation.find("the old copy is lost") != std::string::npos) ++found.lost;
  }
  return found;
}

// In which orders something is found.
std::string OrdersThatFind(const Transaction& transaction, Previous previous, const Spoil& spoil) {
  std::string orders;
  const auto finds = [&](Order order) {
    return Find(transaction, previous, spoil, order).violations > 0;
  };
  if (finds(Order::Kept)) orders += "kept ";
  if (finds(Order::Any)) orders += "any ";
  if (finds(Order::AnyUntilAFileBelow)) orders += "below";
  return orders;
}

std::string FoundInInstall(const Spoil& spoil) {
  return OrdersThatFind(StandardInstall(), Previous::Older, spoil);
}

bool IsFlush(const Asked& asked) { return asked.call == Call::Flush; }

IsMeant FlushOf(const std::string& name) {
  return [=](const Asked& asked) { return Is(asked, Call::Flush, name); };
}

bool IsFlushInStaging(const Asked& asked) {
  return IsFlush(asked) && asked.name.find("<staging>") != std::string::npos;
}

bool IsFlushOfStagedFolder(const Asked& asked) {
  return IsFlushInStaging(asked) && asked.name.find('.') == std::string::npos;
}

Spoil Without(const IsMeant& is_meant) {
  return [=](Log& log, const std::vector<Asked>& asked) {
    EXPECT_GT(std::erase_if(log, [&](const Operation& op) { return is_meant(asked[op.call]); }),
              0U);
  };
}

// These flushes come right after the last operation of that kind.
Spoil Delayed(const IsMeant& is_meant, Call last) {
  return [=](Log& log, const std::vector<Asked>& asked) {
    Log delayed;
    std::copy_if(log.begin(), log.end(), std::back_inserter(delayed),
                 [&](const Operation& op) { return is_meant(asked[op.call]); });
    Without(is_meant)(log, asked);
    const auto after = std::find_if(
        log.rbegin(), log.rend(), [&](const Operation& op) { return asked[op.call].call == last; });
    log.insert(after.base(), delayed.begin(), delayed.end());
  };
}

void ChangeNothing(Log&, const std::vector<Asked>&) {}

TEST(PowerCheck, NothingSpoilt_FindsNothing) { EXPECT_EQ(FoundInInstall(ChangeNothing), ""); }

TEST(PowerCheck, InstallFlushesNothing_IsFoundInEachOrder) {
  EXPECT_EQ(FoundInInstall(Without(IsFlush)), "kept any below");
}

TEST(PowerCheck, InstallFlushesNothing_HundredsOfStatesAreLostAndHundredsAreNot) {
  const Found found = Find(StandardInstall(), Previous::Older, Without(IsFlush), Order::Kept);
  EXPECT_TRUE(found.lost > 200 && found.states > found.lost + 200)
      << found.lost << " of " << found.states << " states lost; the first: " << found.first;
}

TEST(PowerCheck, StagedCopyFlushedAfterTheSwap_IsFoundInEachOrder) {
  EXPECT_EQ(FoundInInstall(Delayed(IsFlushInStaging, Call::Move)), "kept any below");
}

TEST(PowerCheck, OneStagedFileNotFlushed_IsFoundInEachOrder) {
  const auto file = std::string(kPluginParent) + "/<staging>/data/locale/ko-KR.ini";
  EXPECT_EQ(FoundInInstall(Without(FlushOf(file))), "kept any below");
}

TEST(PowerCheck, StagedFoldersNotFlushed_IsFoundInAnyOrder) {
  EXPECT_EQ(FoundInInstall(Without(IsFlushOfStagedFolder)), "any ");
}

TEST(PowerCheck, BackupDeletedBeforeOneOfTheFlushes_IsFoundWhereThatIsTheOneThatCovers) {
  EXPECT_EQ(FoundInInstall(Delayed(FlushOf(kPluginParent), Call::Remove)), "any ");
  EXPECT_EQ(FoundInInstall(Delayed(FlushOf(kInstalledLibrary), Call::Remove)), "below");
}

TEST(PowerCheck, SwapFlushedInOneWayAlone_IsFoundWhereThatDoesNotCover) {
  EXPECT_EQ(FoundInInstall(Without(FlushOf(kPluginParent))), "any ");
  EXPECT_EQ(FoundInInstall(Without(FlushOf(kInstalledLibrary))), "below");
}

TEST(PowerCheck, SwapNotFlushed_IsFoundInEachOrder) {
  EXPECT_EQ(FoundInInstall(Without(
                [](const Asked& asked) { return IsFlush(asked) && !IsFlushInStaging(asked); })),
            "kept any below");
}

TEST(PowerCheck, NewParentNotFlushed_IsFoundInAnyOrder) {
  EXPECT_EQ(OrdersThatFind(StandardInstall(), Previous::Nothing,
                           Without(FlushOf("programdata/obs-studio"))),
            "any ");
}

// The library's flushes come first, and the data's after them.
TEST(PowerCheck, PortableInstallLeavesOneFlushOut_IsFoundWhereThatIsTheOneThatCovers) {
  const auto found = [](const std::string& not_flushed) {
    return OrdersThatFind(PortableInstall(), Previous::Older, Without(FlushOf(not_flushed)));
  };
  EXPECT_EQ(found(kDllParent), "any ");
  EXPECT_EQ(found(kDataParent), "any ");
  EXPECT_EQ(found(kDll), "below");
  EXPECT_EQ(found(std::string(kData) + "/locale/en-US.ini"), "below");
}

TEST(PowerCheck, PortableInstallDoesNotFlushTheStagedLibrary_IsFoundInEachOrder) {
  const auto file = std::string(kDllParent) + "/<portable-dll-staging>";
  EXPECT_EQ(OrdersThatFind(PortableInstall(), Previous::Older, Without(FlushOf(file))),
            "kept any below");
}

TEST(PowerCheck, RemovalFlushesNothing_IsFoundInEachOrder) {
  EXPECT_EQ(OrdersThatFind(StandardRemoval(), Previous::Older, Without(IsFlush)), "kept any below");
  EXPECT_EQ(OrdersThatFind(PortableRemoval(), Previous::Older, Without(IsFlush)), "kept any below");
}

TEST(PowerCheck, RemovalLeavesOneFlushOut_IsFoundWhereThatIsTheOneThatCovers) {
  const auto found = [](const Transaction& removal, const std::string& not_flushed) {
    return OrdersThatFind(removal, Previous::Older, Without(FlushOf(not_flushed)));
  };
  EXPECT_EQ(found(StandardRemoval(), kPluginParent), "any ");
  EXPECT_EQ(found(StandardRemoval(),
                  std::string(kPluginParent) + "/<remove-backup>/bin/64bit/k7k-obs-audio.dll"),
            "below");
  EXPECT_EQ(found(PortableRemoval(), kDllParent), "any ");
  EXPECT_EQ(found(PortableRemoval(), std::string(kDllParent) + "/<portable-remove-dll>"), "below");
  EXPECT_EQ(found(PortableRemoval(), kDataParent), "any ");
  EXPECT_EQ(found(PortableRemoval(),
                  std::string(kDataParent) + "/<portable-remove-data>/locale/en-US.ini"),
            "below");
}

TEST(PowerCheck, RemovalFlushesAfterTheDeletion_IsFoundInAnyOrder) {
  const auto late = Delayed(IsFlush, Call::Remove);
  EXPECT_EQ(OrdersThatFind(StandardRemoval(), Previous::Older, late), "any below");
  EXPECT_EQ(OrdersThatFind(PortableRemoval(), Previous::Older, late), "any below");
}

// Flushes do not mend a wrong order of changes.
TEST(PowerCheck, EngineThatWorksInPlace_IsFoundInEachOrder) {
  Transaction install = StandardInstall();
  install.run = [](const Sandbox& sandbox, std::wstring* detail, InjectedFailure) {
    CurrentDisk().RemoveAll(sandbox.At(kPluginFolder));
    return StageCopy(sandbox.At(kBundle), sandbox.At(kPluginFolder), detail) ? 0 : 1;
  };
  EXPECT_EQ(OrdersThatFind(install, Previous::Older, ChangeNothing), "kept any below");
  Transaction removal = StandardRemoval();
  removal.run = [](const Sandbox& sandbox, std::wstring*, InjectedFailure) {
    const bool removed = CurrentDisk().RemoveAll(sandbox.At(kPluginFolder)) &&
                         CurrentDisk().Flush(sandbox.At(kPluginParent));
    return removed ? 0 : 1;
  };
  EXPECT_EQ(OrdersThatFind(removal, Previous::Older, ChangeNothing), "kept any below");
}

TEST(PowerCheck, NeighbourRemoved_IsFoundInEachOrder) {
  Transaction transaction = StandardInstall();
  transaction.run = [](const Sandbox& sandbox, std::wstring*, InjectedFailure) {
    return CurrentDisk().RemoveAll(sandbox.At(kPluginParent) / "other-plugin") ? 1 : 2;
  };
  EXPECT_EQ(OrdersThatFind(transaction, Previous::Older, ChangeNothing), "kept any below");
}

TEST(PowerCheck, ChangeThatWasNotRecorded_IsFound) {
  Transaction transaction = StandardInstall();
  transaction.run = [](const Sandbox& sandbox, std::wstring*, InjectedFailure) {
    return NativeDisk().RemoveAll(sandbox.At(kPluginFolder)) ? 0 : 1;
  };
  EXPECT_NE(Find(transaction, Previous::Older, ChangeNothing, Order::Any).first.find("recorded"),
            std::string::npos);
}

// The next run says that it installed and has not.
TEST(PowerCheck, NextInstallDoesNothing_IsFound) {
  const Transaction transaction = StandardInstall();
  Transaction next = transaction;
  next.run = [](const Sandbox&, std::wstring*, InjectedFailure) { return 0; };
  PowerGround ground(transaction, Previous::Older, 1, {next});
  ground.Judge(ground.Record({&transaction, Previous::Older, InjectedFailure::None, {}}, {}),
               Order::Kept, 256);
  ASSERT_FALSE(ground.violations().empty());
  EXPECT_NE(ground.violations()[0].find("the next InstallPlugin ended with 0"), std::string::npos)
      << ground.violations()[0];
}

}  // namespace
}  // namespace k7k::test
