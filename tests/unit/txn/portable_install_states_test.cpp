// Each failure of an install into a portable OBS that does not depend on what was there, from each
// state that the two pieces can be in; and each of the four private names.
#include <gtest/gtest.h>

#include "support/bundle_facts.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotReserved = L"Could not reserve portable OBS transaction paths";
constexpr auto kNotStaged = L"Could not stage and verify the portable OBS plugin";
constexpr auto kNotReplaced = L"Portable OBS plugin replacement failed and was rolled back";
constexpr auto kNotVerified = L"Portable OBS plugin verification failed and was rolled back";

struct Previous {
  const char* name;
  bool dll;
  bool data;
};

void PrintTo(const Previous& previous, std::ostream* out) { *out << previous.name; }

class PortableInstallFrom : public testing::TestWithParam<Previous>, protected PortableTarget {
 protected:
  PortableInstallFrom() {
    if (GetParam().dll) WriteOldDll();
    if (GetParam().data) WriteOldData();
  }

  int Existing() const { return GetParam().dll + GetParam().data; }
};

INSTANTIATE_TEST_SUITE_P(
    Each, PortableInstallFrom,
    testing::Values(Previous{"Nothing", false, false}, Previous{"DllOnly", true, false},
                    Previous{"DataOnly", false, true}, Previous{"Both", true, true}),
    [](const testing::TestParamInfo<Previous>& from) { return from.param.name; });

TEST_P(PortableInstallFrom, AfterBackup_PutsBackWhatWasThere) {
  ExpectUndone(InstallOutcome::InjectedFailureRolledBack, L"Injected portable transaction failure",
               InjectedFailure::AfterBackup);
  EXPECT_EQ(disk.Count(Call::Move), 2 * Existing());
}

TEST_P(PortableInstallFrom, AfterDllCommit_PutsBackWhatWasThere) {
  ExpectUndone(InstallOutcome::InjectedFailureRolledBack, L"Injected portable commit failure",
               InjectedFailure::AfterDllCommit);
  EXPECT_EQ(disk.Count(Call::Move), 2 * Existing() + 1);
}

TEST_P(PortableInstallFrom, UnknownInjectedValues_AreTakenForNone) {
  const Tree before = Now();
  for (const unsigned value : {3U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Install(static_cast<InjectedFailure>(value)), InstallOutcome::Installed);
    EXPECT_EQ(detail, kSentinel);
    EXPECT_EQ(Now(), Installed(before));
  }
}

TEST_P(PortableInstallFrom, DllCannotBeCopied_NothingIsMoved) {
  disk.fails = On(Call::Copy, bundle / "bin/64bit/k7k-obs-audio.dll");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Copy), 1);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_P(PortableInstallFrom, DataCannotBeCopied_NothingIsMoved) {
  disk.fails = On(Call::Copy, bundle / "data" / "locale" / "ja-JP.ini");
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_P(PortableInstallFrom, StagedDllDiffers_NothingIsMoved) {
  disk.fails = Before(OnPrivate(Call::OpenInput, L"portable-dll-staging"),
                      [](const Path& path) { Plant(path, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_P(PortableInstallFrom, StagedDataDiffers_NothingIsMoved) {
  disk.fails = Before(OnPrivate(Call::OpenInput, L"portable-dll-staging"), [&](const Path&) {
    for (const auto& [name, content] : PrivateEntries(Now())) {
      if (content == "folder") Plant(folder / name / BelowData(kFiles.back()), "damaged");
    }
  });
  ExpectUndone(InstallOutcome::RolledBack, kNotStaged);
  EXPECT_EQ(disk.Count(Call::Move), 0);
}

TEST_P(PortableInstallFrom, DllCannotBeMovedIn_IsFailedUnlikeInTheStandardInstall) {
  disk.fails = MovesFrom(L"portable-dll-staging");
  ExpectUndone(InstallOutcome::Failed, kNotReplaced);
  EXPECT_EQ(disk.Count(Call::Move), 2 * Existing() + 20);
}

TEST_P(PortableInstallFrom, DataCannotBeMovedIn_IsReportedAsAFailedVerification) {
  disk.fails = MovesFrom(L"portable-data-staging");
  ExpectUndone(InstallOutcome::RolledBack, kNotVerified);
  EXPECT_EQ(disk.Count(Call::Move), 2 * Existing() + 1 + 20);
}

TEST_P(PortableInstallFrom, InstalledDllDiffers_IsRolledBack) {
  disk.fails = Before(On(Call::OpenInput, dll), [](const Path& path) { Plant(path, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, kNotVerified);
}

TEST_P(PortableInstallFrom, InstalledDataDiffers_IsRolledBack) {
  disk.fails = Before(On(Call::OpenInput, data / BelowData(kFiles.back())),
                      [](const Path& path) { Plant(path, "damaged"); });
  ExpectUndone(InstallOutcome::RolledBack, kNotVerified);
}

TEST_P(PortableInstallFrom, EveryMoveWorksAtThe20thAttempt_IsInstalled) {
  disk.fails = [&, failures = 0](const DiskCall& call) mutable {
    if (call.call != Call::Move) return false;
    failures = failures < 19 ? failures + 1 : 0;
    return failures != 0;
  };
  ExpectInstalled();
  EXPECT_EQ(disk.Count(Call::Move), 20 * (Existing() + 2));
}

// Reserving: each of the four names, in their order.

class PortableInstallReserves : public testing::TestWithParam<int>, protected PortableTarget {
 protected:
  PortableInstallReserves() { WriteOldPieces(); }

  static constexpr const wchar_t* kTags[]{L"portable-dll-staging", L"portable-data-staging",
                                          L"portable-dll-backup", L"portable-data-backup"};
};

INSTANTIATE_TEST_SUITE_P(Each, PortableInstallReserves, testing::Range(0, 4));

TEST_P(PortableInstallReserves, NameTaken_FailsWithoutAskingForTheNext) {
  const wchar_t* tag = kTags[GetParam()];
  const Tree before = Now();
  disk.fails =
      Before(OnPrivate(Call::Status, tag), [](const Path& path) { Plant(path, "somebody's"); });
  EXPECT_EQ(Install(), InstallOutcome::Failed);
  EXPECT_EQ(detail, kNotReserved);
  Tree after = Now();
  EXPECT_EQ(after[PrivateName(after, tag)], "file somebody's");
  EXPECT_EQ(Without(after, PrivateName(after, tag)), before);
  EXPECT_EQ(PrivateCalls(disk), GetParam() + 1);
}

TEST_P(PortableInstallReserves, NameCannotBeAskedAbout_FailsWithoutAskingForTheNext) {
  disk.fails = OnPrivate(Call::Status, kTags[GetParam()]);
  ExpectUndone(InstallOutcome::Failed, kNotReserved);
  EXPECT_EQ(PrivateCalls(disk), GetParam() + 1);
}

}  // namespace
}  // namespace k7k
