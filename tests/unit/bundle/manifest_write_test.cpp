#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bundle/bundle_check.h"
#include "support/environment.h"
#include "support/manifest_writing.h"
#include "support/odd_disks.h"
#include "support/platform.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::kDigestOfA;
using test::kIncomplete;
using test::kNotCreated;
using test::kNotFinished;
using test::kNotHashed;
using test::kUntouched;
using test::MakeFolder;
using test::MakeFolderLink;
using test::ReadFile;
using test::TakeTree;
using test::Tree;
using test::WriteFile;

class ManifestWriteTest : public test::ManifestWriteTestBase {};

TEST_F(ManifestWriteTest, WriteManifest_CompleteBundle_WritesTheLinesWithLineFeedsAlone) {
  Remove("manifest.sha256");
  ExpectWritten(test::ManifestText(kDigestOfA));
  EXPECT_EQ(NativeDisk().Size(manifest), test::kManifestBytes);
}

TEST_F(ManifestWriteTest, WriteManifest_FilesThatDiffer_RecordsEachDigestAtItsPath) {
  test::WriteSteppedBundle(bundle);
  const std::string expected = ReadFile(manifest);
  Remove("manifest.sha256");
  ExpectWritten(expected);
  EXPECT_EQ(NativeDisk().Size(manifest), test::kManifestBytes);
}

TEST_F(ManifestWriteTest, WriteManifest_NullDetail_Writes) {
  Remove("manifest.sha256");
  EXPECT_TRUE(WriteManifest(bundle, nullptr));
  EXPECT_EQ(ReadFile(manifest), test::ManifestText(kDigestOfA));
}

TEST_F(ManifestWriteTest, WriteManifest_LongerManifestThere_IsReplacedWholly) {
  WriteFile(manifest, std::string(5000, '#'));
  ExpectWritten(test::ManifestText(kDigestOfA));
}

TEST_F(ManifestWriteTest, WriteManifest_Twice_GivesTheSameFileAndNothingElse) {
  const Tree before = TakeTree(folder.path());
  ExpectWritten(test::ManifestText(kDigestOfA));
  ExpectWritten(test::ManifestText(kDigestOfA));
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST_F(ManifestWriteTest, WriteManifest_EmptyLocaleFile_SucceedsAndTheBundleCheckRefusesTheBundle) {
  WriteFile(bundle / "data/locale/zh-CN.ini", "");
  test::Digests digests = test::DigestOfEach(kDigestOfA);
  digests[test::PlaceOf("data/locale/zh-CN.ini")] =
      "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
  ExpectWritten(test::ManifestText(digests));
  std::wstring detail;
  EXPECT_FALSE(InspectBundle(bundle, &detail).valid);
  EXPECT_EQ(detail, L"A required plugin file is empty");
}

TEST_F(ManifestWriteTest, WriteManifest_ExtraFiles_AreNotListed) {
  WriteFile(bundle / test::kExtraLocale, "extra");
  ExpectWritten(test::ManifestText(kDigestOfA));
}

TEST_F(ManifestWriteTest, WriteManifest_Files_AreHashedInTheirOrderBeforeTheManifestIsOpened) {
  FaultDisk disk;
  EXPECT_TRUE(WriteManifest(bundle, nullptr));
  std::vector<Path> opened;
  for (const test::DiskCall& call : disk.calls) {
    if (call.call == Call::OpenInput || call.call == Call::OpenOutput) opened.push_back(call.path);
  }
  std::vector<Path> expected;
  for (const char* file : test::kFiles) expected.push_back(bundle / file);
  expected.push_back(manifest);
  EXPECT_EQ(opened, expected);
}

TEST_F(ManifestWriteTest, WriteManifest_MissingFolder_PathDoesNotExist) {
  Remove("");
  ExpectRefused(L"Path does not exist");
}

TEST_F(ManifestWriteTest, WriteManifest_FolderStatusUnreadable_PathDoesNotExist) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, bundle);
  ExpectRefused(L"Path does not exist");
}

TEST_F(ManifestWriteTest, WriteManifest_FolderIsALink_ReparsePointRootsAreNotAccepted) {
  ASSERT_EQ(0, NativeDisk().Move(bundle, folder / "real"));
  MakeFolderLink(folder / "real", bundle);
  ExpectRefused(L"Reparse-point roots are not accepted");
}

TEST_F(ManifestWriteTest, WriteManifest_LinkInTheTree_BundleContainsAReparsePoint) {
  MakeFolder(folder / "elsewhere");
  MakeFolder(bundle / "extra");
  MakeFolderLink(folder / "elsewhere", bundle / "extra/link");
  ExpectRefused(L"Bundle contains a reparse point");
}

TEST_F(ManifestWriteTest, WriteManifest_ManifestIsALink_BundleContainsAReparsePoint) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link to a file does not show as one in Wine";
  ASSERT_EQ(0, NativeDisk().Move(manifest, folder / "elsewhere"));
  test::MakeFileLink(folder / "elsewhere", manifest);
  ExpectRefused(L"Bundle contains a reparse point");
}

TEST_F(ManifestWriteTest, WriteManifest_EntryAfterAFailedStep_CouldNotInspectEveryEntry) {
  FaultDisk disk;
  disk.failed_walk_yields = true;
  disk.fails = FailEach(Call::WalkOpen, bundle);
  ExpectRefused(L"Could not inspect every bundle entry");
}

TEST_F(ManifestWriteTest, WriteManifest_PathIsAFile_IsAnIncompleteBundle) {
  Remove("");
  WriteFile(bundle, "a file");
  ExpectRefused(kIncomplete);
}

TEST_F(ManifestWriteTest, WriteManifest_ManifestIsAFolder_CouldNotCreateIt) {
  Remove("manifest.sha256");
  MakeFolder(manifest);
  ExpectRefused(kNotCreated);
}

TEST_F(ManifestWriteTest, WriteManifest_ManifestCannotBeOpened_CouldNotCreateItAndTheOldOneStays) {
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenOutput, manifest);
  ExpectRefused(kNotCreated);
}

TEST_F(ManifestWriteTest, WriteManifest_WriteError_CouldNotFinishAndWhatIsLeftNeverVerifies) {
  std::wstring detail = kUntouched;
  {
    FaultDisk disk;
    disk.fails = FailEach(Call::Write, manifest);
    EXPECT_FALSE(WriteManifest(bundle, &detail));
    EXPECT_EQ(detail, kNotFinished);
    EXPECT_FALSE(WriteManifest(bundle, nullptr));
  }
  EXPECT_LT(NativeDisk().Size(manifest), test::kManifestBytes);
  EXPECT_FALSE(VerifyManifest(bundle, &detail));
  EXPECT_EQ(detail, L"Bundle integrity manifest is invalid");
}

TEST_F(ManifestWriteTest, WriteManifest_ErrorThatShowsOnlyAtClosing_GoesUnreported) {
  test::LateWriteErrorDisk disk;
  std::wstring detail = kUntouched;
  EXPECT_TRUE(WriteManifest(bundle, &detail));
  EXPECT_EQ(detail, kUntouched);
}

TEST_F(ManifestWriteTest, WriteManifest_NoRoomLeft_GoesUnreportedSinceTheStreamIsBuffered) {
  FaultDisk disk;
  disk.fails = [&](const test::DiskCall& call) {
    if (call.call == Call::OpenOutput) {
      Remove("manifest.sha256");
      test::MakeFileLink(test::FileWithoutRoom(), manifest);
    }
    return false;
  };
  std::wstring detail = kUntouched;
  EXPECT_TRUE(WriteManifest(bundle, &detail));
  EXPECT_EQ(detail, kUntouched);
}

// Pairs that fail together: the earlier check wins.

TEST_F(ManifestWriteTest, WriteManifest_LinkInTheTreeAndMissingFile_TheLinkWins) {
  MakeFolder(folder / "elsewhere");
  MakeFolderLink(folder / "elsewhere", bundle / "link");
  Remove("bin");
  ExpectRefused(L"Bundle contains a reparse point");
}

TEST_F(ManifestWriteTest, WriteManifest_MissingLastFileAndManifestIsAFolder_TheFileWins) {
  Remove(test::kFiles.back());
  Remove("manifest.sha256");
  MakeFolder(manifest);
  ExpectRefused(kIncomplete);
}

TEST_F(ManifestWriteTest, WriteManifest_FirstFileCannotBeHashedAndSecondMissing_TheFirstWins) {
  Remove("data/locale/en-US.ini");
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, library);
  ExpectRefused(kNotHashed);
}

TEST_F(ManifestWriteTest, WriteManifest_FirstFileMissingAndSecondCannotBeHashed_TheFirstWins) {
  Remove("bin/64bit/k7k-obs-audio.dll");
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, bundle / "data/locale/en-US.ini");
  ExpectRefused(kIncomplete);
}

TEST_F(ManifestWriteTest, WriteManifest_FileCannotBeHashedAndManifestNotOpened_TheFileWins) {
  FaultDisk disk;
  disk.fails = [&](const test::DiskCall& call) {
    return call.call == Call::OpenOutput ||
           (call.call == Call::Read && call.path == bundle / test::kFiles.back());
  };
  ExpectRefused(kNotHashed);
}

}  // namespace
}  // namespace k7k
