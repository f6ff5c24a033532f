// Whether a folder is a portable OBS: the root and the executable.
#include <gtest/gtest.h>

#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/portable_root.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::kNoMarker;
using test::kNoObs;
using test::kNotAbsolute;
using test::kUnsafeBin;
using test::kUnsafeDll;
using test::kUnsafeParent;
using test::kUnsafeRoot;
using test::kUntouched;
using test::MakeFolder;
using test::MakeFolderLink;
using test::WriteFile;

class PortableTargetRootTest : public test::PortableRootTestBase {};

TEST_F(PortableTargetRootTest, ValidatePortableRoot_PortableObs_IsAccepted) { ExpectAccepted(); }

TEST_F(PortableTargetRootTest, ValidatePortableRoot_TrailingSeparator_IsAccepted) {
  ExpectAccepted(root / "");
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_NameWithSpacesAndOtherLetters_IsAccepted) {
  const Path other = folder / u8"tragbares OBS für 日本";
  test::WritePortableObs(other);
  ExpectAccepted(other);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_EmptyRoot_MustBeAbsolute) {
  ExpectRefused(Path(), kNotAbsolute);
}

TEST_F(PortableTargetRootTest,
       ValidatePortableRoot_RelativeRoot_MustBeAbsoluteBeforeTheDiskIsLookedAt) {
  FaultDisk disk;
  std::wstring detail = kUntouched;
  for (const char* given : {"obs", "./obs", "..", ".", "obs/", "a/../obs", ""}) {
    detail = kUntouched;
    EXPECT_FALSE(ValidatePortableRoot(given, &detail)) << given;
    EXPECT_EQ(detail, kNotAbsolute) << given;
  }
  EXPECT_TRUE(disk.calls.empty());
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_RelativeRootThatIsAPortableObs_MustBeAbsolute) {
  const Path current = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  std::wstring detail;
  EXPECT_FALSE(ValidatePortableRoot("obs", &detail));
  EXPECT_EQ(detail, kNotAbsolute);
  std::filesystem::current_path(current);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_WindowsPathForms_FollowThePlatformsRule) {
  const bool windows = test::RunsOnWindows();
  const auto message_of = [](const wchar_t* given) {
    std::wstring detail;
    EXPECT_FALSE(ValidatePortableRoot(given, &detail));
    return detail;
  };
  for (const wchar_t* given : {L"C:obs", L"\\obs", L"C:"}) {
    EXPECT_EQ(message_of(given), kNotAbsolute) << testing::PrintToString(given);
  }
  for (const wchar_t* given : {L"C:\\no such folder", L"\\\\?\\C:\\no such folder"}) {
    EXPECT_EQ(message_of(given), windows ? kUnsafeRoot : kNotAbsolute)
        << testing::PrintToString(given);
  }
  EXPECT_EQ(message_of(L"/no such folder"), windows ? kNotAbsolute : kUnsafeRoot);
  if (windows) ExpectAccepted(L"\\\\?\\" + root.wstring());
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_MissingRoot_IsUnavailable) {
  ExpectRefused(folder / "missing", kUnsafeRoot);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_RootIsAFile_IsUnavailable) {
  WriteFile(folder / "file", "x");
  ExpectRefused(folder / "file", kUnsafeRoot);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_RootStatusUnreadable_IsUnavailable) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, root);
  ExpectRefused(kUnsafeRoot);
}

TEST_F(PortableTargetRootTest,
       ValidatePortableRoot_RootIsALink_IsUnsafeAlsoWithATrailingSeparator) {
  MakeFolderLink(root, folder / "link");
  ExpectRefused(folder / "link", kUnsafeRoot);
  ExpectRefused(folder / "link" / "", kUnsafeRoot);
  ExpectRefused(folder / "link//", kUnsafeRoot);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_RootBelowALink_IsAccepted) {
  MakeFolder(folder / "parent");
  ASSERT_EQ(0, NativeDisk().Move(root, folder / "parent/obs"));
  MakeFolderLink(folder / "parent", folder / "link");
  ExpectAccepted(folder / "link/obs");
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_NoBinFolder_TheExecutablePathIsUnsafe) {
  Remove("bin");
  ExpectRefused(kUnsafeBin);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_No64BitFolder_TheExecutablePathIsUnsafe) {
  Remove("bin/64bit");
  ExpectRefused(kUnsafeBin);
}

TEST_F(PortableTargetRootTest,
       ValidatePortableRoot_ExecutableFolderIsAFile_TheExecutablePathIsUnsafe) {
  for (const char* path : {"bin/64bit", "bin"}) {
    Remove(path);
    WriteFile(root / path, "x");
    ExpectRefused(kUnsafeBin);
  }
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_BinIsALink_TheExecutablePathIsUnsafe) {
  ReplaceByLink("bin");
  ExpectRefused(kUnsafeBin);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_64BitIsALink_TheExecutablePathIsUnsafe) {
  ReplaceByLink("bin/64bit");
  ExpectRefused(kUnsafeBin);
}

TEST_F(PortableTargetRootTest,
       ValidatePortableRoot_ExecutableFolderUnreadable_TheExecutablePathIsUnsafe) {
  for (const char* path : {"bin", "bin/64bit"}) {
    FaultDisk disk;
    disk.fails = FailEach(Call::Status, root / path);
    ExpectRefused(kUnsafeBin);
  }
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_NoExecutable_DoesNotContainObs) {
  Remove("bin/64bit/obs64.exe");
  ExpectRefused(kNoObs);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_EmptyExecutable_DoesNotContainObs) {
  WriteFile(executable, "");
  ExpectRefused(kNoObs);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_ExecutableOfOneByte_IsAccepted) {
  WriteFile(executable, "x");
  ExpectAccepted();
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_ExecutableIsAFolder_DoesNotContainObs) {
  Remove("bin/64bit/obs64.exe");
  WriteFile(executable / "file", "x");
  ExpectRefused(kNoObs);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_ExecutableIsALinkOfAnyKind_DoesNotContainObs) {
  test::LateLinkDisk disk(executable, 1);
  ExpectRefused(kNoObs);
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_ExecutableUnreadable_DoesNotContainObs) {
  for (const Call call : {Call::Status, Call::Size}) {
    FaultDisk disk;
    disk.fails = FailEach(call, executable);
    ExpectRefused(kNoObs);
  }
}

TEST_F(PortableTargetRootTest, ValidatePortableRoot_AttributesUnreadable_AreNoLinks) {
  FaultDisk disk;
  disk.fails = [](const test::DiskCall& call) { return call.call == Call::IsReparsePoint; };
  ExpectAccepted();
}

// Each message in its order: of two that fail together, the earlier wins.
TEST_F(PortableTargetRootTest,
       ValidatePortableRoot_EverythingWrongAndMendedInTurn_EachMessageInItsOrder) {
  Remove("");
  ExpectRefused(Path("obs"), kNotAbsolute);
  ExpectRefused(kUnsafeRoot);
  WriteFile(root / "obs-plugins", "a file");
  WriteFile(root / "data", "a file");
  ExpectRefused(kUnsafeBin);
  MakeFolder(root / "bin");
  ExpectRefused(kUnsafeBin);
  MakeFolder(root / "bin/64bit");
  ExpectRefused(kNoObs);
  WriteFile(executable, "x");
  ExpectRefused(kNoMarker);
  WriteFile(root / "portable_mode", "");
  ExpectRefused(kUnsafeParent);
  Remove("obs-plugins");
  ExpectRefused(kUnsafeParent);
  Remove("data");
  MakeFolder(root / "obs-plugins/64bit/k7k-obs-audio.dll");
  WriteFile(root / "data/obs-plugins/k7k-obs-audio", "a file");
  ExpectRefused(kUnsafeDll);
  Remove("obs-plugins/64bit/k7k-obs-audio.dll");
  ExpectRefused(L"The portable OBS plugin data path is unsafe");
  Remove("data/obs-plugins/k7k-obs-audio");
  ExpectAccepted();
}

}  // namespace
}  // namespace k7k
