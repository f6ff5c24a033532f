#include "bundle/bundle_check.h"

#include <gtest/gtest.h>

#include "selftest/fixtures.h"
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
using test::kBundleBytes;
using test::kSteppedBundleBytes;
using test::kSteppedBytes;
using test::kUntouched;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kLast = test::kFiles.back();
constexpr std::size_t kLastPlace = test::kFiles.size() - 1;

struct Answer {
  bool present;
  bool valid;
  std::uint64_t bytes;
  std::wstring detail;

  bool operator==(const Answer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << (answer.present ? "present " : "absent ") << (answer.valid ? "valid " : "invalid ")
             << answer.bytes << " " << testing::PrintToString(answer.detail);
}

// Checks a bundle with and without a detail message; the check must change nothing.
Answer Inspect(const Path& folder) {
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = InspectBundle(folder, &detail);
  return {verdict.present, verdict.valid, verdict.bytes, detail};
}

class BundleCheckTest : public testing::Test {
 protected:
  void SetUp() override { test::WriteSteppedBundle(bundle); }

  // Without a detail message the answer is the same.
  void ExpectAnswer(const Answer& expected) const {
    const Tree before = TakeTree(folder.path());
    EXPECT_EQ(Inspect(bundle), expected);
    const CopyVerdict verdict = InspectBundle(bundle, nullptr);
    EXPECT_EQ(verdict.present, expected.present);
    EXPECT_EQ(verdict.valid, expected.valid);
    EXPECT_EQ(verdict.bytes, expected.bytes);
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  void Remove(const Path& path) const { ASSERT_TRUE(NativeDisk().RemoveAll(bundle / path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
};

TEST_F(BundleCheckTest, InspectBundle_CompleteBundle_IsValidWithAllSizesAndTheManifests) {
  ExpectAnswer({true, true, kSteppedBundleBytes, kUntouched});
}

TEST_F(BundleCheckTest, InspectBundle_FilesOf32Bytes_AreCountedWithTheManifest) {
  test::WriteBundle(bundle, 'A');
  ExpectAnswer({true, true, kBundleBytes, kUntouched});
}

TEST_F(BundleCheckTest, WriteFixturePayload_WithA_IsValidWithAllBytesCounted) {
  EXPECT_TRUE(WriteFixturePayload(folder / "fixture", 'A'));
  test::WriteBundle(folder / "expected", 'A');
  EXPECT_EQ(TakeTree(folder / "fixture"), TakeTree(folder / "expected"));
  EXPECT_EQ(NativeDisk().Size(folder / "fixture/manifest.sha256"), test::kManifestBytes);
  EXPECT_EQ(Inspect(folder / "fixture"), (Answer{true, true, kBundleBytes, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_FolderWithTrailingSeparator_IsValid) {
  EXPECT_EQ(Inspect(bundle / ""), (Answer{true, true, kSteppedBundleBytes, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_MissingFolder_IsAbsentWithoutAMessage) {
  Remove("");
  ExpectAnswer({false, false, 0, kUntouched});
}

TEST_F(BundleCheckTest, InspectBundle_EmptyPath_IsAbsentWithoutAMessage) {
  EXPECT_EQ(Inspect(Path()), (Answer{false, false, 0, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_PathIsAFile_IsPresentInvalidWithoutAMessage) {
  Remove("");
  WriteFile(bundle, "a file");
  ExpectAnswer({true, false, 0, kUntouched});
}

TEST_F(BundleCheckTest, InspectBundle_StatusUnreadable_CouldNotInspectTheBundle) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, bundle);
  ExpectAnswer({false, false, 0, L"Could not inspect the bundle"});
}

TEST_F(BundleCheckTest, InspectBundle_SecondStatusUnreadable_IsPresentInvalidWithoutAMessage) {
  FaultDisk disk;
  disk.fails = FailNth(Call::Status, bundle, 2);
  EXPECT_EQ(Inspect(bundle), (Answer{true, false, 0, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_GoneAtTheSecondStatus_IsPresentInvalidWithoutAMessage) {
  FaultDisk disk;
  disk.failed_status = FileStatus::Absent;
  disk.fails = FailNth(Call::Status, bundle, 2);
  EXPECT_EQ(Inspect(bundle), (Answer{true, false, 0, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_ReplacedByAFileBeforeTheSecondStatus_HasNoMessage) {
  FaultDisk disk;
  disk.fails = [&, asked = 0](const test::DiskCall& call) mutable {
    if (call.call == Call::Status && call.path == bundle && ++asked == 2) {
      NativeDisk().RemoveAll(bundle);
      WriteFile(bundle, "a file");
    }
    return false;
  };
  EXPECT_EQ(Inspect(bundle), (Answer{true, false, 0, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_GoneBeforeTheTreeInspection_PathDoesNotExist) {
  FaultDisk disk;
  disk.failed_status = FileStatus::Absent;
  disk.fails = FailNth(Call::Status, bundle, 3);
  EXPECT_EQ(Inspect(bundle), (Answer{true, false, 0, L"Path does not exist"}));
}

TEST_F(BundleCheckTest, InspectBundle_FolderIsALink_ReparsePointRootsAreNotAccepted) {
  MakeFolderLink(bundle, folder / "link");
  EXPECT_EQ(Inspect(folder / "link"),
            (Answer{true, false, 0, L"Reparse-point roots are not accepted"}));
  EXPECT_EQ(Inspect(folder / "link/"),
            (Answer{true, false, 0, L"Reparse-point roots are not accepted"}));
}

TEST_F(BundleCheckTest, InspectBundle_FolderIsADanglingLink_IsAbsentWithoutAMessage) {
  MakeFolderLink(folder / "nothing", folder / "link");
  EXPECT_EQ(Inspect(folder / "link"), (Answer{false, false, 0, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_FolderIsALinkLoop_CouldNotInspectTheBundle) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link loop does not show in Wine";
  MakeFolderLink(folder / "loop", folder / "loop");
  EXPECT_EQ(Inspect(folder / "loop"), (Answer{false, false, 0, L"Could not inspect the bundle"}));
}

TEST_F(BundleCheckTest, InspectBundle_FolderBelowALink_IsValid) {
  MakeFolder(folder / "parent");
  ASSERT_EQ(0, NativeDisk().Move(bundle, folder / "parent/bundle"));
  MakeFolderLink(folder / "parent", folder / "link");
  EXPECT_EQ(Inspect(folder / "link/bundle"), (Answer{true, true, kSteppedBundleBytes, kUntouched}));
}

TEST_F(BundleCheckTest, InspectBundle_LinkToAFolderInTheTree_BundleContainsAReparsePoint) {
  MakeFolder(folder / "elsewhere");
  MakeFolder(bundle / "data/extra/deep");
  MakeFolderLink(folder / "elsewhere", bundle / "data/extra/deep/link");
  ExpectAnswer({true, false, 0, L"Bundle contains a reparse point"});
}

TEST_F(BundleCheckTest, InspectBundle_LocaleFolderIsALink_BundleContainsAReparsePoint) {
  ASSERT_EQ(0, NativeDisk().Move(bundle / "data/locale", folder / "locale"));
  MakeFolderLink(folder / "locale", bundle / "data/locale");
  ExpectAnswer({true, false, 0, L"Bundle contains a reparse point"});
}

TEST_F(BundleCheckTest, InspectBundle_EntryAfterAFailedStep_CouldNotInspectEveryEntry) {
  FaultDisk disk;
  disk.failed_walk_yields = true;
  disk.fails = FailEach(Call::WalkOpen, bundle);
  ExpectAnswer({true, false, 0, L"Could not inspect every bundle entry"});
}

TEST_F(BundleCheckTest, InspectBundle_FolderCannotBeListed_EndsTheInspectionWithSuccess) {
  FaultDisk disk;
  disk.fails = FailEach(Call::WalkOpen, bundle);
  ExpectAnswer({true, true, kSteppedBundleBytes, kUntouched});
}

TEST_F(BundleCheckTest, InspectBundle_ExtraLocaleFile_IsValidAndTheFileIsNeitherHashedNorCounted) {
  const Path extra = bundle / test::kExtraLocale;
  WriteFile(extra, "extra");
  WriteFile(bundle / "extra/empty", "");
  FaultDisk disk;
  EXPECT_EQ(Inspect(bundle), (Answer{true, true, kSteppedBundleBytes, kUntouched}));
  for (const test::DiskCall& call : disk.calls) {
    const bool looked_at =
        call.path == extra && call.call != Call::IsReparsePoint && call.call != Call::WalkAdvance;
    EXPECT_FALSE(looked_at);
  }
}

TEST_F(BundleCheckTest, InspectBundle_NoManifest_ManifestIsMissingAfterTheFilesWereCounted) {
  Remove("manifest.sha256");
  ExpectAnswer({true, false, kSteppedBytes, L"Bundle integrity manifest is missing"});
}

TEST_F(BundleCheckTest, InspectBundle_ManifestWithALineMore_IsInvalidWithTheSumOfTheFiles) {
  const std::string manifest = test::ReadFile(bundle / "manifest.sha256");
  WriteFile(bundle / "manifest.sha256", manifest + "\n");
  ExpectAnswer({true, false, kSteppedBytes, L"Bundle integrity manifest is invalid"});
}

TEST_F(BundleCheckTest, InspectBundle_BadManifestEntry_IsInvalidWithTheSumOfTheFiles) {
  WriteFile(bundle / "manifest.sha256", test::ManifestText("short"));
  ExpectAnswer({true, false, kSteppedBytes, L"Bundle integrity manifest entry is invalid"});
}

TEST_F(BundleCheckTest, InspectBundle_ChangedFile_HashDoesNotMatchWithTheSumOfTheFiles) {
  WriteFile(bundle / "data/locale/en-US.ini", "y");
  ExpectAnswer({true, false, kSteppedBytes, L"Bundle file hash does not match manifest"});
}

TEST_F(BundleCheckTest, InspectBundle_LargerFile_IsCountedWithItsRealSize) {
  WriteFile(bundle / "data/locale/en-US.ini", "0123");
  ExpectAnswer({true, false, kSteppedBytes + 3, L"Bundle file hash does not match manifest"});
}

TEST_F(BundleCheckTest, InspectBundle_ManifestSizeUnreadable_WrapsToOneLessWithoutAMessage) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, bundle / "manifest.sha256");
  ExpectAnswer({true, false, kSteppedBytes - 1, kUntouched});
}

TEST_F(BundleCheckTest, InspectBundle_BundleChangesBetweenTwoChecks_EachJudgesWhatIsThere) {
  ExpectAnswer({true, true, kSteppedBundleBytes, kUntouched});
  WriteFile(bundle / kLast, "");
  ExpectAnswer({true, false, test::SteppedBytes(kLastPlace), L"A required plugin file is empty"});
  test::WriteSteppedBundle(bundle);
  ExpectAnswer({true, true, kSteppedBundleBytes, kUntouched});
}

// Pairs that fail together: the earlier check wins.

TEST_F(BundleCheckTest, InspectBundle_LinkInTheTreeAndMissingFile_TheLinkWins) {
  Remove("bin");
  MakeFolderLink(folder.path(), bundle / "link");
  // The tree is not compared: the link leads to what holds it.
  EXPECT_EQ(Inspect(bundle), (Answer{true, false, 0, L"Bundle contains a reparse point"}));
}

TEST_F(BundleCheckTest, InspectBundle_EmptyFileBeforeAMissingOne_TheEmptyOneWins) {
  WriteFile(bundle / "data/locale/en-US.ini", "");
  Remove("data/locale/zh-TW.ini");
  ExpectAnswer({true, false, test::SteppedBytes(1), L"A required plugin file is empty"});
}

TEST_F(BundleCheckTest, InspectBundle_MissingFileBeforeAnEmptyOne_TheMissingOneWins) {
  Remove("data/locale/en-US.ini");
  WriteFile(bundle / "data/locale/zh-TW.ini", "");
  ExpectAnswer({true, false, test::SteppedBytes(1), L"Bundle is missing a required plugin file"});
}

TEST_F(BundleCheckTest, InspectBundle_EmptyLastFileAndNoManifest_TheEmptyFileWins) {
  WriteFile(bundle / kLast, "");
  Remove("manifest.sha256");
  ExpectAnswer({true, false, test::SteppedBytes(kLastPlace), L"A required plugin file is empty"});
}

TEST_F(BundleCheckTest, InspectBundle_ChangedLibraryAndEmptyLastFile_TheEmptyFileWins) {
  WriteFile(bundle / "bin/64bit/k7k-obs-audio.dll", std::string(test::SteppedSize(0), 'y'));
  WriteFile(bundle / kLast, "");
  ExpectAnswer({true, false, test::SteppedBytes(kLastPlace), L"A required plugin file is empty"});
}

TEST_F(BundleCheckTest, InspectBundle_ChangedFileAndManifestSizeUnreadable_TheChangedFileWins) {
  WriteFile(bundle / "data/locale/en-US.ini", "y");
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, bundle / "manifest.sha256");
  ExpectAnswer({true, false, kSteppedBytes, L"Bundle file hash does not match manifest"});
}

}  // namespace
}  // namespace k7k
