// The bundle check's view of each required file in turn.
#include <gtest/gtest.h>

#include "bundle/bundle_check.h"
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
using test::TestFolder;
using test::WriteFile;

constexpr auto kMissing = L"Bundle is missing a required plugin file";
constexpr auto kEmpty = L"A required plugin file is empty";

// The parameter is the place of a required file in the list.
class BundleCheckEachFileTest : public testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override { test::WriteSteppedBundle(bundle); }

  // The check must stop at the file, with the sum of the sizes before it.
  void ExpectStop(const std::wstring& message) const {
    std::wstring detail = kUntouched;
    const CopyVerdict verdict = InspectBundle(bundle, &detail);
    EXPECT_TRUE(verdict.present);
    EXPECT_FALSE(verdict.valid);
    EXPECT_EQ(verdict.bytes, test::SteppedBytes(GetParam()));
    EXPECT_EQ(detail, message);
  }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path file = bundle / test::kFiles[GetParam()];
};

INSTANTIATE_TEST_SUITE_P(All, BundleCheckEachFileTest,
                         testing::Range<std::size_t>(0, test::kFiles.size()));

TEST_P(BundleCheckEachFileTest, InspectBundle_FileMissing_SaysSoWithTheSumSoFar) {
  ASSERT_TRUE(NativeDisk().RemoveAll(file));
  ExpectStop(kMissing);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileIsAFolder_IsMissingWithTheSumSoFar) {
  ASSERT_TRUE(NativeDisk().RemoveAll(file));
  WriteFile(file / "inside", "x");
  ExpectStop(kMissing);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileStatusUnreadable_IsMissingWithTheSumSoFar) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, file);
  ExpectStop(kMissing);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileEmpty_SaysSoWithTheSumSoFar) {
  WriteFile(file, "");
  ExpectStop(kEmpty);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileSizeUnreadable_IsEmptyWithTheSumSoFar) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, file);
  ExpectStop(kEmpty);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileIsALinkOfAnyKind_BundleContainsAReparsePoint) {
  test::LateLinkDisk disk(file, 1);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = InspectBundle(bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(verdict.bytes, 0u);
  EXPECT_EQ(detail, L"Bundle contains a reparse point");
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileBecomesALinkAfterTheInspection_IsMissing) {
  test::LateLinkDisk disk(file, 2);
  ExpectStop(kMissing);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileAttributesUnreadable_IsNoLink) {
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, file);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = InspectBundle(bundle, &detail);
  EXPECT_TRUE(verdict.valid);
  EXPECT_EQ(verdict.bytes, test::kSteppedBundleBytes);
  EXPECT_EQ(detail, kUntouched);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileMissingAndAllLaterOnesEmpty_TheMissingOneWins) {
  ASSERT_TRUE(NativeDisk().RemoveAll(file));
  for (std::size_t i = GetParam() + 1; i < test::kFiles.size(); ++i) {
    WriteFile(bundle / test::kFiles[i], "");
  }
  ExpectStop(kMissing);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileEmptyAndAllLaterOnesMissing_TheEmptyOneWins) {
  WriteFile(file, "");
  for (std::size_t i = GetParam() + 1; i < test::kFiles.size(); ++i) {
    ASSERT_TRUE(NativeDisk().RemoveAll(bundle / test::kFiles[i]));
  }
  ExpectStop(kEmpty);
}

TEST_P(BundleCheckEachFileTest, InspectBundle_FileCannotBeRead_HashDoesNotMatch) {
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, file);
  std::wstring detail = kUntouched;
  const CopyVerdict verdict = InspectBundle(bundle, &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_FALSE(verdict.valid);
  EXPECT_EQ(verdict.bytes, test::kSteppedBytes);
  EXPECT_EQ(detail, L"Bundle file hash does not match manifest");
}

TEST(BundleCheckFilesTest, InspectBundle_RealLinkPutInAfterTheInspection_IsMissing) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link to a file does not show as one in Wine";
  for (std::size_t i = 0; i < test::kFiles.size(); ++i) {
    const TestFolder folder;
    test::WriteSteppedBundle(folder / "bundle");
    const Path file = folder / "bundle" / test::kFiles[i];
    FaultDisk disk;
    disk.fails = [&](const test::DiskCall& call) {
      if (call.call == Call::Status && call.path == file && !NativeDisk().IsReparsePoint(file)) {
        EXPECT_EQ(0, NativeDisk().Move(file, folder / "moved"));
        test::MakeFileLink(folder / "moved", file);
      }
      return false;
    };
    std::wstring detail = kUntouched;
    EXPECT_EQ(InspectBundle(folder / "bundle", &detail).bytes, test::SteppedBytes(i));
    EXPECT_EQ(detail, kMissing);
  }
}

TEST(BundleCheckFilesTest, InspectBundle_EmptyJapaneseFile_ReportsTheSizesBeforeIt) {
  const TestFolder folder;
  test::WriteSteppedBundle(folder.path());
  constexpr auto kJapanese = "data/locale/ja-JP.ini";
  WriteFile(folder / kJapanese, "");
  std::wstring detail;
  EXPECT_EQ(InspectBundle(folder.path(), &detail).bytes,
            test::SteppedBytes(test::PlaceOf(kJapanese)));
  EXPECT_EQ(detail, L"A required plugin file is empty");
}

TEST(BundleCheckFilesTest, InspectBundle_TaiwaneseFileIsAFolder_IsMissing) {
  const TestFolder folder;
  test::WriteSteppedBundle(folder.path());
  constexpr auto kTaiwanese = "data/locale/zh-TW.ini";
  ASSERT_TRUE(NativeDisk().RemoveAll(folder / kTaiwanese));
  MakeFolder(folder / kTaiwanese);
  std::wstring detail;
  EXPECT_EQ(InspectBundle(folder.path(), &detail).bytes,
            test::SteppedBytes(test::PlaceOf(kTaiwanese)));
  EXPECT_EQ(detail, L"Bundle is missing a required plugin file");
}

TEST(BundleCheckFilesTest, InspectBundle_EmptyFolder_IsMissingTheLibraryWithNoBytes) {
  const TestFolder folder;
  std::wstring detail;
  const CopyVerdict verdict = InspectBundle(folder.path(), &detail);
  EXPECT_TRUE(verdict.present);
  EXPECT_EQ(verdict.bytes, 0u);
  EXPECT_EQ(detail, L"Bundle is missing a required plugin file");
}

}  // namespace
}  // namespace k7k
