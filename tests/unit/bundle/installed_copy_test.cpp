#include "bundle/installed_copy.h"

#include <gtest/gtest.h>

#include "support/bundles.h"
#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FailNth;
using test::FaultDisk;
using test::kUntouched;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kDiffer = L"Installed OBS plugin files differ from the bundled connector";

class InstalledCopyTest : public testing::Test {
 protected:
  void SetUp() override {
    test::WriteBundle(bundle, 'A');
    test::WriteBundle(installed, 'A');
  }

  // Without a detail message the answer is the same, and nothing on disk changes.
  void ExpectVerdict(bool present, bool valid, std::uint64_t bytes,
                     const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    for (std::wstring* wanted : {&detail, static_cast<std::wstring*>(nullptr)}) {
      const CopyVerdict verdict = CheckInstalledCopy(folder / "plugins", bundle, wanted);
      EXPECT_EQ(verdict.present, present);
      EXPECT_EQ(verdict.valid, valid);
      EXPECT_EQ(verdict.bytes, bytes);
    }
    EXPECT_EQ(detail, message);
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  void ExpectInvalid(const std::wstring& message) const { ExpectVerdict(true, false, 0, message); }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path installed = folder / "plugins/k7k-obs-audio";
};

TEST_F(InstalledCopyTest, PluginFolderIn_AnyParent_IsTheJoinAlone) {
  EXPECT_EQ(PluginFolderIn("a/../plugins"), Path("a/../plugins") / "k7k-obs-audio");
  EXPECT_EQ(PluginFolderIn("plugins/"), Path("plugins/k7k-obs-audio"));
  EXPECT_EQ(PluginFolderIn(""), Path("k7k-obs-audio"));
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_SameCopy_IsValidWithTheBytesOfItsFilesAndNoMessage) {
  ExpectVerdict(true, true, test::kFilesBytes, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_FilesOfManySizes_CountsThemWithoutTheManifest) {
  test::WriteSteppedBundle(bundle);
  test::WriteSteppedBundle(installed);
  ExpectVerdict(true, true, test::kSteppedBytes, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_ExtraFileInTheCopy_IsValid) {
  WriteFile(installed / test::kExtraLocale, "extra");
  ExpectVerdict(true, true, test::kFilesBytes, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_ManifestsWithOtherLineEnds_AreNotCompared) {
  std::string manifest = test::ManifestText(test::kDigestOfA);
  manifest.pop_back();
  WriteFile(installed / "manifest.sha256", manifest);
  ExpectVerdict(true, true, test::kFilesBytes, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_NoPluginFolder_IsNotInstalledWithoutAMessage) {
  Remove(installed);
  ExpectVerdict(false, false, 0, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_NoPluginParent_IsNotInstalledWithoutAMessage) {
  Remove(folder / "plugins");
  ExpectVerdict(false, false, 0, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_StatusUnreadable_CouldNotInspectTheInstalledBundle) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, installed);
  ExpectVerdict(false, false, 0, L"Could not inspect the installed bundle");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_PluginFolderIsAFile_IsInvalidWithoutAMessage) {
  Remove(installed);
  WriteFile(installed, "a file");
  ExpectInvalid(kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_GoneAtTheSecondStatus_IsInvalidWithoutAMessage) {
  FaultDisk disk;
  disk.failed_status = FileStatus::Absent;
  disk.fails = FailNth(Call::Status, installed, 2);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = CheckInstalledCopy(folder / "plugins", bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(detail, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_UnreadableAtTheSecondStatus_IsTheBundleChecksMessage) {
  FaultDisk disk;
  disk.fails = FailNth(Call::Status, installed, 2);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = CheckInstalledCopy(folder / "plugins", bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(detail, L"Could not inspect the bundle");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_EmptyPluginFolder_IsMissingARequiredFile) {
  Remove(installed);
  MakeFolder(installed);
  ExpectInvalid(L"Bundle is missing a required plugin file");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_PluginFolderIsALink_IsInvalid) {
  ASSERT_EQ(0, NativeDisk().Move(installed, folder / "real"));
  MakeFolderLink(folder / "real", installed);
  ExpectInvalid(L"Reparse-point roots are not accepted");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_PluginFolderIsADanglingLink_IsNotInstalled) {
  Remove(installed);
  MakeFolderLink(folder / "nothing", installed);
  ExpectVerdict(false, false, 0, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_PluginParentIsALink_IsFollowed) {
  ASSERT_EQ(0, NativeDisk().Move(folder / "plugins", folder / "real"));
  MakeFolderLink(folder / "real", folder / "plugins");
  ExpectVerdict(true, true, test::kFilesBytes, kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_LinkInTheCopy_IsInvalid) {
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", installed / "data/link");
  ExpectInvalid(L"Bundle contains a reparse point");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_EmptyFileInTheCopy_IsInvalidWithoutBytes) {
  WriteFile(installed / "data/locale/ko-KR.ini", "");
  ExpectInvalid(L"A required plugin file is empty");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_CopyWithoutItsManifest_ManifestIsMissing) {
  Remove(installed / "manifest.sha256");
  ExpectInvalid(L"Bundle integrity manifest is missing");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_DamagedFileInTheCopy_HashDoesNotMatchItsManifest) {
  WriteFile(installed / "data/locale/ja-JP.ini", "damaged");
  ExpectInvalid(L"Bundle file hash does not match manifest");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_CopyOfAnotherBundle_FilesDiffer) {
  test::WriteBundle(installed, 'B');
  ExpectInvalid(kDiffer);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_OneFileChangedWithItsManifest_FilesDiffer) {
  for (std::size_t i = 0; i < test::kFiles.size(); ++i) {
    test::WriteBundle(installed, 'A');
    test::Digests digests = test::DigestOfEach(test::kDigestOfA);
    digests[i] = test::kDigestOfB;
    WriteFile(installed / test::kFiles[i], std::string(32, 'B'));
    WriteFile(installed / "manifest.sha256", test::ManifestText(digests));
    ExpectInvalid(kDiffer);
  }
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_NoShippedBundle_IsInvalidWithoutAMessage) {
  Remove(bundle);
  ExpectInvalid(kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_ShippedBundleUnreadable_CouldNotInspectTheBundle) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, bundle);
  ExpectInvalid(L"Could not inspect the bundle");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_ShippedBundleBroken_IsInvalidWithItsMessage) {
  WriteFile(bundle / "data/locale/en-US.ini", "");
  ExpectInvalid(L"A required plugin file is empty");
  Remove(bundle / "data/locale/en-US.ini");
  ExpectInvalid(L"Bundle is missing a required plugin file");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_CopyManifestSizeUnreadable_IsInvalidWithoutAMessage) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, installed / "manifest.sha256");
  ExpectInvalid(kUntouched);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_FileBecomesALinkBeforeTheComparison_FilesDiffer) {
  test::LateLinkDisk disk(installed / "data/locale/zh-CN.ini", 3);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = CheckInstalledCopy(folder / "plugins", bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(verdict.bytes, 0u);
  EXPECT_EQ(detail, kDiffer);
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_SizeUnreadableInTheComparison_FilesDiffer) {
  FaultDisk disk;
  disk.fails = FailNth(Call::Size, installed / "data/locale/ko-KR.ini", 2);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = CheckInstalledCopy(folder / "plugins", bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(verdict.bytes, 0u);
  EXPECT_EQ(detail, kDiffer);
}

// Pairs that fail together: the earlier check wins.

TEST_F(InstalledCopyTest, CheckInstalledCopy_CopyAndBundleBroken_TheCopysMessageWins) {
  Remove(installed / "manifest.sha256");
  WriteFile(bundle / "data/locale/en-US.ini", "");
  ExpectInvalid(L"Bundle integrity manifest is missing");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_BundleBrokenAndFilesDiffer_TheBundlesMessageWins) {
  test::WriteBundle(installed, 'B');
  Remove(bundle / "manifest.sha256");
  ExpectInvalid(L"Bundle integrity manifest is missing");
}

TEST_F(InstalledCopyTest, CheckInstalledCopy_NoCopyAndNoBundle_IsNotInstalled) {
  Remove(installed);
  Remove(bundle);
  ExpectVerdict(false, false, 0, kUntouched);
}

}  // namespace
}  // namespace k7k
