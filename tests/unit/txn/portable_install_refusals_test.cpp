// Installs into a portable OBS that are refused before anything is staged.
#include "txn/portable_install.h"

#include <gtest/gtest.h>

#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotSeparate = L"Payload and portable OBS destination must be separate trees";
constexpr auto kUnsafeParent = L"A portable OBS plugin parent is unavailable or unsafe";

class PortableInstallRefusalsTest : public testing::Test, protected PortableTarget {
 protected:
  // The outcome and the message, before any private name is asked about, and the tree then.
  void ExpectRefused(InstallOutcome outcome, const std::wstring& message, const Tree& after) {
    ExpectInstall(outcome, message, after);
    EXPECT_EQ(PrivateCalls(disk), 0);
  }
};

// The bundle's own check comes first.

TEST_F(PortableInstallRefusalsTest,
       BundleWhoseDataDiffersFromItsManifest_IsInvalidAndTouchesNoTarget) {
  WriteOldPieces();
  Plant(bundle / "data/locale/zh-TW.ini", "tampered");
  ExpectRefused(InstallOutcome::BundleInvalid, L"Bundle file hash does not match manifest", Now());
}

TEST_F(PortableInstallRefusalsTest, MissingBundle_IsInvalidWithoutAMessageAndNoParentIsCreated) {
  NativeDisk().RemoveAll(bundle);
  ExpectRefused(InstallOutcome::BundleInvalid, kSentinel, Now());
}

TEST_F(PortableInstallRefusalsTest, IncompleteBundleAndInvalidRoot_TheBundleIsReported) {
  NativeDisk().RemoveAll(bundle / "manifest.sha256");
  NativeDisk().RemoveAll(root / "portable_mode.txt");
  ExpectRefused(InstallOutcome::BundleInvalid, L"Bundle integrity manifest is missing", Now());
}

// Refusals.

TEST_F(PortableInstallRefusalsTest, RelativeRoot_IsRefused) {
  const Tree before = Now();
  EXPECT_EQ(InstallPortablePlugin(bundle, "obs", &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, L"Portable OBS root must be an absolute path");
  EXPECT_EQ(Now(), before);
}

TEST_F(PortableInstallRefusalsTest, RootWithoutAMarker_IsRefusedAndNoParentIsCreated) {
  NativeDisk().RemoveAll(root / "portable_mode.txt");
  ExpectRefused(InstallOutcome::Refused, L"The selected OBS folder is not marked for portable mode",
                Now());
}

TEST_F(PortableInstallRefusalsTest, RootThatIsALink_IsRefused) {
  MakeFolderLink(root, folder / "link");
  const Tree before = Now();
  EXPECT_EQ(InstallPortablePlugin(bundle, folder / "link", &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, L"Portable OBS root is unavailable or unsafe");
  EXPECT_EQ(Now(), before);
}

TEST_F(PortableInstallRefusalsTest, PluginParentThatIsALink_IsRefusedAndNothingBehindItChanges) {
  MakeFolder(folder / "elsewhere");
  MakeFolder(root / "data");
  MakeFolderLink(folder / "elsewhere", root / "data" / "obs-plugins");
  ExpectRefused(InstallOutcome::Refused, kUnsafeParent, Now());
  EXPECT_TRUE(TakeTree(folder / "elsewhere").empty());
}

TEST_F(PortableInstallRefusalsTest, PluginParentThatIsAFile_IsRefused) {
  WriteFile(root / "obs-plugins", "a file");
  ExpectRefused(InstallOutcome::Refused, kUnsafeParent, Now());
}

TEST_F(PortableInstallRefusalsTest, PluginParentCannotBeCreated_IsRefusedAndThoseMadeBeforeStay) {
  Tree after = Now();
  after["obs/obs-plugins"] = after["obs/obs-plugins/64bit"] = "folder";
  disk.fails = On(Call::CreateFolder, root / "data");
  ExpectRefused(InstallOutcome::Refused, kUnsafeParent, after);
}

TEST_F(PortableInstallRefusalsTest, DllPathThatIsAFolder_IsRefused) {
  MakeFolder(dll);
  MakeFolder(data.parent_path());
  ExpectRefused(InstallOutcome::Refused, L"The portable OBS plugin DLL path is unsafe", Now());
}

TEST_F(PortableInstallRefusalsTest, DataPathThatIsAFile_IsRefused) {
  WriteOldDll();
  WriteFile(data, "a file");
  ExpectRefused(InstallOutcome::Refused, L"The portable OBS plugin data path is unsafe", Now());
}

TEST_F(PortableInstallRefusalsTest, DataFolderWithALink_IsRefusedBeforeAnythingMoves) {
  MakeFolder(folder / "elsewhere");
  WriteOldPieces();
  MakeFolderLink(folder / "elsewhere", data / "old" / "link");
  ExpectRefused(InstallOutcome::Refused, L"The portable OBS plugin data path is unsafe", Now());
}

// The target check runs again after the parents were created; its silence is passed on.
TEST_F(PortableInstallRefusalsTest, DataPathCannotBeAskedAbout_IsRefusedWithoutAMessage) {
  WriteOldPieces();
  disk.fails = On(Call::Status, data);
  ExpectRefused(InstallOutcome::Refused, kSentinel, Now());
}

// A link to a folder elsewhere, in the data folder's place, for the target check that comes after
// the parents were created: the first question about the data folder with its parent there.
class PortableInstallLateLinkTest : public PortableInstallRefusalsTest {
 protected:
  PortableInstallLateLinkTest() { MakeFolder(elsewhere); }

  Rule LateLink() {
    return Before(
        [this](const DiskCall& call) {
          return On(Call::Status, data)(call) &&
                 NativeDisk().Status(data.parent_path()) == FileStatus::Folder;
        },
        [this](const Path& path) { MakeFolderLink(elsewhere, path); });
  }

  void ExpectDataUnsafe() {
    EXPECT_EQ(Install(), InstallOutcome::Refused);
    EXPECT_EQ(detail, L"The portable OBS plugin data path is unsafe");
    EXPECT_EQ(PrivateCalls(disk), 0);
    EXPECT_TRUE(NativeDisk().IsReparsePoint(data));
    EXPECT_TRUE(TakeTree(elsewhere).empty());
  }

  const Path elsewhere = folder / "elsewhere";
};

TEST_F(PortableInstallLateLinkTest, LinkThatAppearsAfterTheParentsWereMade_IsRefused) {
  disk.fails = LateLink();
  ExpectDataUnsafe();
}

TEST_F(PortableInstallLateLinkTest, LateLinkAndUnresolvableRoot_TheTargetIsReported) {
  disk.fails = Either(LateLink(), On(Call::FinalPath, root));
  ExpectDataUnsafe();
}

// Separate trees.

TEST_F(PortableInstallRefusalsTest, BundleInsideTheRoot_IsRefusedAndTheParentsStay) {
  const Path inside = root / "plugin" / "k7k-obs-audio";
  EXPECT_TRUE(WriteFixturePayload(inside, 'N'));
  const Tree before = Now();
  EXPECT_EQ(InstallPortablePlugin(inside, root, &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_EQ(PrivateCalls(disk), 0);
  EXPECT_EQ(Now(), WithParents(before));
}

TEST_F(PortableInstallRefusalsTest, RootInsideTheBundle_IsRefused) {
  const Path inside = bundle / "obs";
  WriteFile(inside / "bin/64bit/obs64.exe", "fake-obs");
  WriteFile(inside / "portable_mode", "portable");
  EXPECT_EQ(InstallPortablePlugin(bundle, inside, &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
  EXPECT_TRUE(PrivateEntries(Now()).empty());
}

TEST_F(PortableInstallRefusalsTest, OverlapHiddenByALink_IsRefused) {
  const Path inside = root / "plugin" / "k7k-obs-audio";
  EXPECT_TRUE(WriteFixturePayload(inside, 'N'));
  MakeFolderLink(root / "plugin", folder / "alias");
  EXPECT_EQ(InstallPortablePlugin(folder / "alias" / "k7k-obs-audio", root, &detail,
                                  InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, kNotSeparate);
}

TEST_F(PortableInstallRefusalsTest, RootCannotBeResolved_IsRefusedWithTheOverlapMessage) {
  WriteOldPieces();
  disk.fails = On(Call::FinalPath, root);
  ExpectRefused(InstallOutcome::Refused, kNotSeparate, Now());
}

// Only the error of the second resolution is tested, unlike in the standard install.
TEST_F(PortableInstallRefusalsTest, BundleCannotBeResolved_IsIgnoredAndInstalls) {
  disk.fails = On(Call::FinalPath, bundle);
  ExpectInstalled();
}

TEST_F(PortableInstallRefusalsTest, UnsafeTargetAndOverlap_TheTargetIsReported) {
  const Path inside = root / "plugin" / "k7k-obs-audio";
  EXPECT_TRUE(WriteFixturePayload(inside, 'N'));
  MakeFolder(dll);
  EXPECT_EQ(InstallPortablePlugin(inside, root, &detail, InjectedFailure::None),
            InstallOutcome::Refused);
  EXPECT_EQ(detail, L"The portable OBS plugin DLL path is unsafe");
}

}  // namespace
}  // namespace k7k
