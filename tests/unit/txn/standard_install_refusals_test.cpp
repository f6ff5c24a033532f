// Installs into the standard target that are refused before anything is staged.
#include "txn/standard_install.h"

#include <gtest/gtest.h>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

class StandardInstallRefusalsTest : public testing::Test, protected StandardTarget {
 protected:
  // Refused with that message before any private name is asked about; the tree is then this one.
  void ExpectRefused(const std::wstring& message, const Tree& after) {
    ExpectInstall(InstallOutcome::Refused, message, after);
    EXPECT_EQ(PrivateCalls(disk), 0);
  }
  void ExpectBundleInvalid(const std::wstring& message) {
    ExpectInstall(InstallOutcome::BundleInvalid, message, Now());
    EXPECT_EQ(disk.Count(Call::CreateFolder), 0);
  }

  static constexpr auto kUnsafeParent = L"Plugin parent is unavailable or unsafe";
  static constexpr auto kNotSeparate = L"Payload and plugin destination must be separate trees";
  static constexpr auto kUnsafePlugin = L"Existing plugin path is unsafe";
};

// The bundle's own check comes first.

TEST_F(StandardInstallRefusalsTest, MissingBundle_IsInvalidWithoutAMessage) {
  NativeDisk().RemoveAll(bundle);
  ExpectBundleInvalid(kSentinel);
}

TEST_F(StandardInstallRefusalsTest, BundleIsAFile_IsInvalidWithoutAMessage) {
  NativeDisk().RemoveAll(bundle);
  WriteFile(bundle, "a file");
  ExpectBundleInvalid(kSentinel);
}

TEST_F(StandardInstallRefusalsTest, IncompleteBundle_IsInvalidAndTheInstalledCopyUntouched) {
  WriteOldCopy();
  NativeDisk().RemoveAll(bundle / "data/locale/zh-CN.ini");
  ExpectBundleInvalid(L"Bundle is missing a required plugin file");
}

TEST_F(StandardInstallRefusalsTest, BundleChangedAfterItsManifest_IsInvalidAndNothingIsCreated) {
  Plant(bundle / "data/locale/zh-CN.ini", "tampered");
  ExpectBundleInvalid(L"Bundle file hash does not match manifest");
}

TEST_F(StandardInstallRefusalsTest, BundleWithALink_IsInvalid) {
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", bundle / "extra/link");
  ExpectBundleInvalid(L"Bundle contains a reparse point");
}

TEST_F(StandardInstallRefusalsTest, InvalidBundleAndUnsafeParent_TheBundleIsReported) {
  WriteFile(parent, "a file");
  NativeDisk().RemoveAll(bundle / "manifest.sha256");
  ExpectBundleInvalid(L"Bundle integrity manifest is missing");
}

// Refusals.

TEST_F(StandardInstallRefusalsTest, PluginParentIsAFile_IsRefused) {
  WriteFile(parent, "a file");
  ExpectRefused(kUnsafeParent, Now());
}

TEST_F(StandardInstallRefusalsTest, PluginParentBelowAFile_IsRefused) {
  WriteFile(folder / "obs-studio", "a file");
  ExpectRefused(kUnsafeParent, Now());
}

TEST_F(StandardInstallRefusalsTest, PluginParentIsALink_IsRefusedAndNothingBehindItChanges) {
  WriteFile(folder / "real/kept", "kept");
  MakeFolder(folder / "obs-studio");
  MakeFolderLink(folder / "real", parent);
  ExpectRefused(kUnsafeParent, Now());
  EXPECT_EQ(TakeTree(folder / "real"), (Tree{{"kept", "file kept"}}));
}

TEST_F(StandardInstallRefusalsTest, PluginParentCannotBeCreated_IsRefusedAndTheAncestorsMadeStay) {
  Tree after = Now();
  after["obs-studio"] = "folder";
  disk.fails = On(Call::CreateFolder, parent);
  ExpectRefused(kUnsafeParent, after);
}

TEST_F(StandardInstallRefusalsTest, PluginParentCannotBeAskedAbout_IsRefused) {
  WriteOldCopy();
  disk.fails = On(Call::Status, parent);
  ExpectRefused(kUnsafeParent, Now());
}

TEST_F(StandardInstallRefusalsTest, BundleCannotBeResolved_IsRefusedWithItsOwnMessage) {
  WriteOldCopy();
  disk.fails = On(Call::FinalPath, bundle);
  ExpectRefused(L"Could not resolve the payload root", Now());
}

TEST_F(StandardInstallRefusalsTest, PluginParentCannotBeResolved_IsRefusedWithTheOverlapMessage) {
  WriteOldCopy();
  disk.fails = On(Call::FinalPath, parent);
  ExpectRefused(kNotSeparate, Now());
}

TEST_F(StandardInstallRefusalsTest, PluginParentInsideTheBundle_IsRefusedBeforeAnythingIsReserved) {
  Tree after = Now();
  after["bundle/nested"] = after["bundle/nested/plugins"] = "folder";  // made before it is judged
  EXPECT_EQ(InstallPlugin(bundle, bundle / "nested" / "plugins", &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_EQ(PrivateCalls(disk), 0);
  EXPECT_EQ(Now(), after);
}

TEST_F(StandardInstallRefusalsTest, BundleInsideThePluginParent_IsRefusedBeforeAnythingIsReserved) {
  const Tree before = Now();
  EXPECT_EQ(InstallPlugin(bundle, folder.path(), &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_EQ(PrivateCalls(disk), 0);
  EXPECT_EQ(Now(), before);
}

TEST_F(StandardInstallRefusalsTest, BundleIsThePluginParent_IsRefused) {
  const Tree before = Now();
  EXPECT_EQ(InstallPlugin(bundle, bundle, &detail, InjectedFailure::None), InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_EQ(Now(), before);
}

TEST_F(StandardInstallRefusalsTest, OverlapHiddenByALink_IsRefused) {
  MakeFolder(bundle / "inner");
  MakeFolderLink(bundle, folder / "alias");
  const Tree before = Now();
  EXPECT_EQ(InstallPlugin(bundle, folder / "alias" / "inner", &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_EQ(Now(), before);
}

TEST_F(StandardInstallRefusalsTest, PluginParentNamedLikeTheBundleWithMoreLetters_IsSeparate) {
  EXPECT_EQ(InstallPlugin(bundle, folder / "bundle-plugins", &detail, InjectedFailure::None),
            InstallOutcome::Installed);
}

TEST_F(StandardInstallRefusalsTest, PluginFolderIsALinkToAFolder_IsRefusedAndBothStay) {
  WriteFile(folder / "real/kept", "kept");
  MakeFolder(parent);
  MakeFolderLink(folder / "real", plugin);
  ExpectRefused(kUnsafePlugin, Now());
  EXPECT_EQ(TakeTree(folder / "real"), (Tree{{"kept", "file kept"}}));
}

TEST_F(StandardInstallRefusalsTest, PluginFolderIsALinkToACompleteCopy_IsRefused) {
  EXPECT_TRUE(WriteFixturePayload(folder / "real", 'O'));
  MakeFolder(parent);
  MakeFolderLink(folder / "real", plugin);
  ExpectRefused(kUnsafePlugin, Now());
}

// Two refusals at once: the earlier check wins.

TEST_F(StandardInstallRefusalsTest, UnsafeParentAndUnresolvableBundle_TheParentIsReported) {
  WriteFile(parent, "a file");
  disk.fails = On(Call::FinalPath, bundle);
  ExpectRefused(kUnsafeParent, Now());
}

TEST_F(StandardInstallRefusalsTest, UnresolvableBundleAndUnresolvableParent_TheBundleIsReported) {
  MakeFolder(parent);
  disk.fails = Either(On(Call::FinalPath, bundle), On(Call::FinalPath, parent));
  ExpectRefused(L"Could not resolve the payload root", Now());
}

TEST_F(StandardInstallRefusalsTest, OverlapAndPluginFolderThatIsALink_TheOverlapIsReported) {
  MakeFolder(folder / "real");
  MakeFolderLink(folder / "real", folder / "k7k-obs-audio");
  EXPECT_EQ(InstallPlugin(bundle, folder.path(), &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
}

}  // namespace
}  // namespace k7k
