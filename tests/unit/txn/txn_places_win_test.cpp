// The transactions in places that Windows alone has: read-only trees with their folders, drives
// that stand for a folder, paths of short names.
#include <gtest/gtest.h>

#include "support/bundles.h"
#include "support/native_win.h"
#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using test::kSentinel;
using test::MakeFolder;
using test::MakeReadOnly;
using test::TakeTree;
using test::TestFolder;
using test::Tree;

constexpr auto kNoDrives = "Wine reaches nothing on a drive that a program defines";

void MakeTreeReadOnly(const Path& root) {
  for (const auto& [name, content] : TakeTree(root)) MakeReadOnly(root / name);
  MakeReadOnly(root);
}

class TxnPlacesWinTest : public testing::Test {
 protected:
  void SetUp() override {
    test::WriteBundle(bundle, 'A');
    test::WritePortableObs(obs);
    MakeFolder(plugins);
  }

  // Installs, replaces what was installed, and removes; nothing is left.
  void ExpectStandardLifeIn(const Path& parent) {
    const Tree before = TakeTree(plugins);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(InstallPlugin(bundle, parent, &detail, InjectedFailure::None),
                InstallOutcome::Installed);
      EXPECT_EQ(detail, kSentinel);
      EXPECT_EQ(TakeTree(plugins / "k7k-obs-audio"), TakeTree(bundle));
      MakeTreeReadOnly(plugins / "k7k-obs-audio");
    }
    EXPECT_EQ(RemovePlugin(parent, &detail, InjectedFailure::None), RemovalOutcome::Removed);
    EXPECT_EQ(TakeTree(plugins), before);
  }

  void ExpectPortableLifeIn(const Path& root) {
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(InstallPortablePlugin(bundle, root, &detail, InjectedFailure::None),
                InstallOutcome::Installed);
      EXPECT_EQ(detail, kSentinel);
      EXPECT_EQ(TakeTree(obs / "data/obs-plugins/k7k-obs-audio"), TakeTree(bundle / "data"));
      MakeTreeReadOnly(obs / "data/obs-plugins/k7k-obs-audio");
      MakeReadOnly(obs / "obs-plugins/64bit/k7k-obs-audio.dll");
    }
    EXPECT_EQ(RemovePortablePlugin(root, &detail, InjectedFailure::None), RemovalOutcome::Removed);
    EXPECT_EQ(TakeTree(obs / "data"), (Tree{{"obs-plugins", "folder"}}));
    EXPECT_EQ(TakeTree(obs / "obs-plugins"), (Tree{{"64bit", "folder"}}));
  }

  const TestFolder folder;
  const Path bundle = folder / "the bundle";
  const Path plugins = folder / "the folder of plugins";
  const Path obs = folder / "a portable OBS";
  std::wstring detail = kSentinel;
};

TEST_F(TxnPlacesWinTest, ReadOnlyTrees_AreInstalledReplacedAndRemoved) {
  MakeTreeReadOnly(bundle);
  ExpectStandardLifeIn(plugins);
  ExpectPortableLifeIn(obs);
}

TEST_F(TxnPlacesWinTest, DriveThatStandsForAFolder_IsAPortableRoot) {
  if (test::RunsUnderWine()) GTEST_SKIP() << kNoDrives;
  const test::SubstitutedDrive drive(obs);
  ExpectPortableLifeIn(drive.root());
}

TEST_F(TxnPlacesWinTest, DriveThatStandsForAFolder_HoldsThePlugins) {
  if (test::RunsUnderWine()) GTEST_SKIP() << kNoDrives;
  const test::SubstitutedDrive drive(plugins);
  ExpectStandardLifeIn(drive.root());
}

TEST_F(TxnPlacesWinTest, DriveThatStandsForTheBundle_IsSeenToOverlap) {
  if (test::RunsUnderWine()) GTEST_SKIP() << kNoDrives;
  const test::SubstitutedDrive drive(bundle);
  test::WritePortableObs(bundle / "obs");
  const Tree before = TakeTree(folder.path());
  EXPECT_EQ(InstallPortablePlugin(bundle, drive.root() / "obs", &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, L"Payload and portable OBS destination must be separate trees");
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST_F(TxnPlacesWinTest, ShortNames_ArePlacesLikeOthers) {
  const auto short_plugins = test::ShortPath(plugins);
  const auto short_obs = test::ShortPath(obs);
  if (!short_plugins || !short_obs) GTEST_SKIP() << "this volume makes no short names";
  ExpectStandardLifeIn(*short_plugins);
  ExpectPortableLifeIn(*short_obs);
}

TEST_F(TxnPlacesWinTest, ShortNameOfTheBundle_IsSeenToOverlap) {
  const auto short_bundle = test::ShortPath(bundle);
  if (!short_bundle) GTEST_SKIP() << "this volume makes no short names";
  const Tree before = TakeTree(folder.path());
  EXPECT_EQ(InstallPlugin(bundle, *short_bundle, &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, L"Payload and plugin destination must be separate trees");
  EXPECT_EQ(TakeTree(folder.path()), before);
}

}  // namespace
}  // namespace k7k
