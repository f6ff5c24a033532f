// The state of the plugin in a portable OBS.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/bundles.h"
#include "support/odd_disks.h"
#include "support/test_tree.h"
#include "targets/portable_target.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FailNth;
using test::FaultDisk;
using test::kUntouched;
using test::MakeFolder;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

constexpr auto kDiffer =
    L"Portable OBS plugin files are incomplete or differ from the bundled connector";

class PortableTargetStatusTest : public testing::Test {
 protected:
  void SetUp() override {
    test::WriteBundle(bundle, 'A');
    test::WritePortableObs(root);
  }

  void WritePlugin() const {
    test::WritePortableLibrary(root, 'A');
    test::WritePortableData(root, 'A');
  }

  void ExpectStatus(bool present, bool valid, std::uint64_t bytes,
                    const std::wstring& message) const {
    std::wstring detail = kUntouched;
    const CopyVerdict verdict = GetPortableStatus(root, bundle, &detail);
    EXPECT_EQ(verdict.present, present);
    EXPECT_EQ(verdict.valid, valid);
    EXPECT_EQ(verdict.bytes, bytes);
    EXPECT_EQ(detail, message);
  }

  // The same without a detail message, and nothing on disk changes.
  void ExpectSteadyStatus(bool present, bool valid, std::uint64_t bytes,
                          const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    ExpectStatus(present, valid, bytes, message);
    const CopyVerdict verdict = GetPortableStatus(root, bundle, nullptr);
    EXPECT_EQ(verdict.present, present);
    EXPECT_EQ(verdict.valid, valid);
    EXPECT_EQ(verdict.bytes, bytes);
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  void ExpectNotInstalled(const std::wstring& message) const {
    ExpectSteadyStatus(false, false, 0, message);
  }
  void ExpectInvalid(const std::wstring& message) const {
    ExpectSteadyStatus(true, false, 0, message);
  }
  void ExpectValid() const { ExpectSteadyStatus(true, true, test::kFilesBytes, kUntouched); }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path root = folder / "obs";
  const Path dll = root / "obs-plugins/64bit/k7k-obs-audio.dll";
  const Path data = root / "data/obs-plugins/k7k-obs-audio";
};

TEST_F(PortableTargetStatusTest, GetPortableStatus_NeitherPiece_IsNotInstalledWithoutAMessage) {
  ExpectNotInstalled(kUntouched);
}

TEST_F(PortableTargetStatusTest,
       GetPortableStatus_BothPiecesLikeTheBundle_IsValidWithTheBytesOfTheFiles) {
  WritePlugin();
  ExpectValid();
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_RootWithTrailingSeparator_IsValid) {
  WritePlugin();
  EXPECT_TRUE(GetPortableStatus(root / "", bundle, nullptr).valid);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_ExtraLocaleFile_IsValid) {
  WritePlugin();
  WriteFile(data / test::BelowData(test::kExtraLocale), "extra");
  ExpectValid();
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_LibraryAlone_IsInvalid) {
  test::WritePortableLibrary(root, 'A');
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_DataAlone_IsInvalid) {
  test::WritePortableData(root, 'A');
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_EmptyDataFolderAlone_IsInvalid) {
  MakeFolder(data);
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_PiecesOfAnotherBundle_IsInvalid) {
  test::WritePortableLibrary(root, 'B');
  test::WritePortableData(root, 'B');
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_OnePieceOfAnotherBundle_IsInvalid) {
  test::WritePortableLibrary(root, 'B');
  test::WritePortableData(root, 'A');
  ExpectInvalid(kDiffer);
  test::WritePortableLibrary(root, 'A');
  test::WritePortableData(root, 'B');
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_LocaleFileMissing_IsInvalid) {
  WritePlugin();
  Remove(data / "locale/ko-KR.ini");
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_EmptyLibrary_IsInvalid) {
  WritePlugin();
  WriteFile(dll, "");
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_LastSizeUnreadable_IsInvalidWithoutBytes) {
  WritePlugin();
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, data / "locale/ko-KR.ini");
  ExpectInvalid(kDiffer);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_RootRefused_IsNotInstalledWithTheRefusal) {
  WritePlugin();
  Remove(root / "portable_mode.txt");
  ExpectNotInstalled(L"The selected OBS folder is not marked for portable mode");
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_UnsafePiece_IsNotInstalledWithTheRefusal) {
  MakeFolder(dll);
  ExpectNotInstalled(L"The portable OBS plugin DLL path is unsafe");
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_BundleBroken_IsNotInstalledWithItsMessage) {
  WritePlugin();
  Remove(bundle / "manifest.sha256");
  ExpectNotInstalled(L"Bundle integrity manifest is missing");
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_NoBundle_IsNotInstalledWithoutAMessage) {
  WritePlugin();
  Remove(bundle);
  ExpectNotInstalled(kUntouched);
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_RootAndBundleBad_TheRootsMessageWins) {
  Remove(root / "portable_mode.txt");
  Remove(bundle / "manifest.sha256");
  ExpectNotInstalled(L"The selected OBS folder is not marked for portable mode");
}

TEST_F(PortableTargetStatusTest, GetPortableStatus_DataStatusUnreadableInValidation_HasNoMessage) {
  WritePlugin();
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, data);
  ExpectNotInstalled(kUntouched);
}

// The faults below begin after the validation, at the status queries of the verdict itself: the
// check of the bundle lies between the two.
class PortableTargetStatusQueryTest : public PortableTargetStatusTest {
 protected:
  void FailStatusAfterTheBundle(FaultDisk& disk, std::vector<Path> paths) const {
    disk.fails = [this, paths, inspected = false](const test::DiskCall& call) mutable {
      if (call.path == bundle) inspected = true;
      if (!inspected || call.call != Call::Status) return false;
      return std::find(paths.begin(), paths.end(), call.path) != paths.end();
    };
  }
};

TEST_F(PortableTargetStatusQueryTest,
       GetPortableStatus_DataStatusUnreadable_IsInvalidWithoutAMessage) {
  WritePlugin();
  FaultDisk disk;
  FailStatusAfterTheBundle(disk, {data});
  ExpectStatus(true, false, 0, kUntouched);
}

TEST_F(PortableTargetStatusQueryTest, GetPortableStatus_DataUnreadableAndNoLibrary_IsNotInstalled) {
  test::WritePortableData(root, 'A');
  FaultDisk disk;
  FailStatusAfterTheBundle(disk, {data});
  ExpectStatus(false, false, 0, kUntouched);
}

TEST_F(PortableTargetStatusQueryTest, GetPortableStatus_LibraryStatusUnreadable_CountsAsAbsent) {
  WritePlugin();
  FaultDisk disk;
  FailStatusAfterTheBundle(disk, {dll});
  ExpectStatus(true, false, 0, kDiffer);
}

TEST_F(PortableTargetStatusQueryTest, GetPortableStatus_LibraryUnreadableAndNoData_IsNotInstalled) {
  test::WritePortableLibrary(root, 'A');
  FaultDisk disk;
  FailStatusAfterTheBundle(disk, {dll});
  ExpectStatus(false, false, 0, kUntouched);
}

TEST_F(PortableTargetStatusQueryTest, GetPortableStatus_BothUnreadable_IsNotInstalled) {
  WritePlugin();
  FaultDisk disk;
  FailStatusAfterTheBundle(disk, {dll, data});
  ExpectStatus(false, false, 0, kUntouched);
}

TEST_F(PortableTargetStatusQueryTest,
       GetPortableStatus_LibraryUnreadableAllAlong_IsInvalidNotRefused) {
  WritePlugin();
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, dll);
  ExpectStatus(true, false, 0, kDiffer);
}

TEST_F(PortableTargetStatusQueryTest,
       GetPortableStatus_PiecesGoneAfterTheValidation_IsNotInstalled) {
  WritePlugin();
  FaultDisk disk;
  disk.failed_status = FileStatus::Absent;
  FailStatusAfterTheBundle(disk, {dll, data});
  ExpectStatus(false, false, 0, kUntouched);
}

}  // namespace
}  // namespace k7k
