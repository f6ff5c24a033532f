// Installs into the standard target that succeed.
#include "txn/standard_install.h"

#include <gtest/gtest.h>

#include "support/bundle_facts.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

class StandardInstallTest : public testing::Test, protected StandardTarget {};

TEST_F(StandardInstallTest, FirstInstall_MakesNoBackupAndLeavesTheDetailUntouched) {
  MakeFolder(parent);
  ExpectInstalled();
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{".k7k-obs-audio.staging > k7k-obs-audio"}));
  EXPECT_EQ(disk.Count(Call::Remove), 0);
}

TEST_F(StandardInstallTest, MissingPluginParent_IsCreatedWithItsAncestors) {
  Tree before = Now();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  before["obs-studio"] = "folder";
  before[parent_name] = "folder";
  EXPECT_EQ(Now(), Installed(before));
}

TEST_F(StandardInstallTest, OlderCopy_IsReplacedWholeAndItsBackupDeleted) {
  WriteOldCopy();
  ExpectInstalled();
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{"k7k-obs-audio > .k7k-obs-audio.backup",
                                                   ".k7k-obs-audio.staging > k7k-obs-audio"}));
}

TEST_F(StandardInstallTest, PrivateNames_StandBesideThePluginFolder) {
  WriteOldCopy();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  for (const DiskCall& call : disk.calls) {
    if (call.call != Call::Move) continue;
    EXPECT_EQ(call.path.parent_path(), parent);
    EXPECT_EQ(call.to.parent_path(), parent);
  }
}

TEST_F(StandardInstallTest, SameBundleTwice_SecondRunMovesTheFirstCopyToABackupAndDeletesIt) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  const Tree first = Now();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(detail, kSentinel);
  EXPECT_EQ(Now(), first);
  EXPECT_EQ(Moves(disk), (std::vector<std::string>{"k7k-obs-audio > .k7k-obs-audio.backup",
                                                   ".k7k-obs-audio.staging > k7k-obs-audio"}));
  EXPECT_GT(disk.Count(Call::Remove), 0);
}

TEST_F(StandardInstallTest, DamagedCopy_IsRepaired) {
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  const Tree intact = Now();
  Plant(plugin / "data/locale/ja-JP.ini", "");
  Plant(plugin / "bin/64bit/k7k-obs-audio.dll", "damaged");
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(Now(), intact);
}

TEST_F(StandardInstallTest, EmptyPluginFolder_IsReplaced) {
  MakeFolder(plugin);
  ExpectInstalled();
}

TEST_F(StandardInstallTest, PluginPathIsAFile_IsBackedUpAndReplacedLikeAFolder) {
  WriteFile(plugin, "a file");
  ExpectInstalled();
}

TEST_F(StandardInstallTest, ExtraFilesAndEmptyFoldersOfTheBundle_AreInstalledToo) {
  WriteFile(bundle / kExtraLocale, "extra");
  MakeFolder(bundle / "empty");
  MakeFolder(parent);
  ExpectInstalled();
  EXPECT_EQ(Now().at(plugin_name + "/empty"), "folder");
}

TEST_F(StandardInstallTest, LeftoversOfAnEarlierRun_AreNeitherReusedNorRemoved) {
  WriteFile(parent / ".k7k-obs-audio.staging.1.2/file", "staged once");
  WriteFile(parent / ".k7k-obs-audio.backup.1.2/file", "old once");
  WriteOldCopy();
  ExpectInstalled();
}

TEST_F(StandardInstallTest, ReadOnlyFiles_InstallTwiceAndRemoveLeaveNothing) {
  for (const char* file : {"bin/64bit/k7k-obs-audio.dll", "data/locale/en-US.ini",
                           "data/locale/ko-KR.ini", "manifest.sha256", "extra/readme.txt"}) {
    MakeReadOnly(bundle / file);
  }
  MakeFolder(parent);
  const Tree before = Now();
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_TRUE(IsReadOnly(plugin / "bin/64bit/k7k-obs-audio.dll"));
  EXPECT_EQ(Now(), Installed(before));
  EXPECT_EQ(Install(), InstallOutcome::Installed);
  EXPECT_EQ(Now(), Installed(before));
  EXPECT_EQ(Remove(), RemovalOutcome::Removed);
  EXPECT_EQ(detail, kSentinel);
  EXPECT_EQ(Now(), before);
}

TEST_F(StandardInstallTest, PluginParentReachedThroughALink_IsUsedAsGiven) {
  MakeFolder(folder / "real/plugins");
  MakeFolderLink(folder / "real", folder / "way");
  const Path given = folder / "way" / "plugins";
  EXPECT_EQ(InstallPlugin(bundle, given, &detail, InjectedFailure::None),
            InstallOutcome::Installed);
  EXPECT_EQ(TakeTree(folder / "real/plugins"), With({}, "k7k-obs-audio", TakeTree(bundle)));
  for (const DiskCall& call : disk.calls) {
    if (call.call == Call::Move) {
      EXPECT_EQ(call.path.parent_path(), given);
      EXPECT_EQ(call.to, given / "k7k-obs-audio");
    }
  }
}

TEST_F(StandardInstallTest, NamesWithSpacesAndNonAsciiLetters_AreInstalled) {
  const Path odd = folder / u8"\u00dcber Plug ins \u4e2d";
  EXPECT_EQ(InstallPlugin(bundle, odd, &detail, InjectedFailure::None), InstallOutcome::Installed);
  EXPECT_EQ(TakeTree(odd), With({}, "k7k-obs-audio", TakeTree(bundle)));
}

TEST_F(StandardInstallTest, CallerWithoutADetail_GetsTheOutcomeAlone) {
  EXPECT_EQ(InstallPlugin(folder / "none", parent, nullptr, InjectedFailure::None),
            InstallOutcome::BundleInvalid);
  EXPECT_EQ(InstallPlugin(bundle, bundle, nullptr, InjectedFailure::None), InstallOutcome::Refused);
  EXPECT_EQ(InstallPlugin(bundle, parent, nullptr, InjectedFailure::AfterBackup),
            InstallOutcome::InjectedFailureRolledBack);
  EXPECT_EQ(InstallPlugin(bundle, parent, nullptr, InjectedFailure::None),
            InstallOutcome::Installed);
}

}  // namespace
}  // namespace k7k
