// The disk on a Windows whose setting for long paths is off, and on names that Win32 trims.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <string_view>

#include "fs/disk.h"
#include "fs/staging_copy.h"
#include "fs/tree_inspection.h"
#include "selftest/fixtures.h"
#include "support/conditions.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

// Whether a Windows without long paths takes a text ("Maximum Path Length Limitation").
bool IsTaken(std::wstring_view text, std::size_t most = MAX_PATH - 1) {
  const bool taken = text.starts_with(L"\\\\?\\") || text.size() <= most;
  if (!taken) ::SetLastError(ERROR_PATH_NOT_FOUND);
  return taken;
}

// While it lives, Win32 takes no longer paths than it does by default; Wine takes any.
class DefaultPathLength {
  ImportPatch<decltype(::GetFileAttributesW)> attributes_{
      "GetFileAttributesW", [](auto real, const wchar_t* path) {
        return IsTaken(path) ? real(path) : INVALID_FILE_ATTRIBUTES;
      }};
  ImportPatch<decltype(::CreateFileW)> open_{
      "CreateFileW", [](auto real, const wchar_t* path, auto... given) {
        return IsTaken(path) ? real(path, given...) : INVALID_HANDLE_VALUE;
      }};
  ImportPatch<decltype(::CreateDirectoryW)> create_{
      "CreateDirectoryW", [](auto real, const wchar_t* path, auto security) {
        // Room for a file of eight and three characters must be left in a new folder.
        return IsTaken(path, MAX_PATH - 13) ? real(path, security) : FALSE;
      }};
  ImportPatch<decltype(::CopyFileW)> copy_{
      "CopyFileW", [](auto real, const wchar_t* from, const wchar_t* to, BOOL keep) {
        return IsTaken(from) && IsTaken(to) ? real(from, to, keep) : FALSE;
      }};
  ImportPatch<decltype(::MoveFileExW)> move_{
      "MoveFileExW", [](auto real, const wchar_t* from, const wchar_t* to, DWORD flags) {
        return IsTaken(from) && IsTaken(to) ? real(from, to, flags) : FALSE;
      }};
  ImportPatch<decltype(::FindFirstFileExW)> find_{
      "FindFirstFileExW", [](auto real, const wchar_t* path, auto... given) {
        return IsTaken(path) ? real(path, given...) : INVALID_HANDLE_VALUE;
      }};
};

// A folder below another one whose path has a number of characters. Not created.
Path FolderOfLength(const Path& above, std::size_t length) {
  Path folder = above;
  std::size_t missing = length - above.native().size();
  while (missing > 102) {
    folder /= std::wstring(100, L'd');
    missing -= 101;
  }
  return folder / std::wstring(missing - 1, L'e');
}

TEST(DiskWinTest, DefaultPathLength_PathsBeyondTheLimit_AreRefusedWithoutThePrefix) {
  const TestFolder folder;
  const Path deep = FolderOfLength(folder.path(), 300);
  MakeFolder(deep);
  const DefaultPathLength limits;
  EXPECT_EQ(::GetFileAttributesW(deep.c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_FALSE(::CreateDirectoryW(FolderOfLength(folder.path(), 248).c_str(), nullptr));
}

TEST(DiskWinTest, EveryLengthAboutTheLimits_IsServed) {
  const TestFolder folder;
  const DefaultPathLength limits;
  Disk& disk = NativeDisk();
  for (std::size_t length = 225; length < 280; ++length) {
    const Path deep = FolderOfLength(folder / "above", length);
    ASSERT_EQ(deep.native().size(), length);
    EXPECT_TRUE(CreateFolders(deep)) << length;
    EXPECT_EQ(disk.Status(deep), FileStatus::Folder) << length;
    WriteFile(deep / "file", "content");
    EXPECT_EQ(TakeTree(deep), (Tree{{"file", "file content"}})) << length;
    EXPECT_TRUE(disk.RemoveAll(folder / "above")) << length;
    EXPECT_EQ(disk.Status(folder / "above"), FileStatus::Absent) << length;
  }
}

TEST(DiskWinTest, DeepTree_IsWalkedCopiedMovedAndRemoved) {
  const TestFolder folder;
  const Path deep = FolderOfLength(folder / "tree", 1000);
  const DefaultPathLength limits;
  Disk& disk = NativeDisk();
  WriteFile(deep / "file", "content");
  const Tree tree = TakeTree(folder / "tree");
  EXPECT_EQ(tree.size(), std::distance(deep.begin(), deep.end()) -
                             std::distance(folder.path().begin(), folder.path().end()));
  EXPECT_EQ(disk.Size(deep / "file"), 7U);
  EXPECT_FALSE(disk.IsReparsePoint(deep));
  EXPECT_FALSE(disk.OpenInput(deep));

  EXPECT_TRUE(StageCopy(folder / "tree", folder / "copy", nullptr));
  EXPECT_EQ(TakeTree(folder / "copy"), tree);
  EXPECT_FALSE(disk.Copy(deep / "file", deep / "file"));
  EXPECT_EQ(disk.Move(deep / "file", deep / "moved"), 0);
  EXPECT_EQ(test::ReadFile(deep / "moved"), "content");
  EXPECT_EQ(disk.Move(deep, folder / "short"), 0);
  EXPECT_EQ(disk.Move(folder / "short", deep), 0);
  EXPECT_TRUE(disk.RemoveAll(deep / "moved"));
  EXPECT_TRUE(disk.RemoveAll(folder / "tree"));
  EXPECT_TRUE(disk.RemoveAll(folder / "copy"));
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

TEST(DiskWinTest, DeepFolderGivenWithDotsAndSlashes_IsTheSame) {
  const TestFolder folder;
  const Path deep = FolderOfLength(folder.path(), 300);
  const DefaultPathLength limits;
  WriteFile(deep / "file", "content");
  const std::wstring text = deep.native();
  for (const std::wstring& name : {text + L"/file", text + L"\\.\\x\\..\\\\file", text + L"\\file.",
                                   text + L"\\file ", text + L".\\file"}) {
    EXPECT_EQ(NativeDisk().Status(name), FileStatus::File) << name;
  }
  EXPECT_EQ(NativeDisk().Status(text + L"/"), FileStatus::Folder);
  EXPECT_EQ(NativeDisk().Status(text + L"\\missing"), FileStatus::Absent);
}

// Wine tells final paths of less than 260 characters alone, so the root is not longer.
TEST(DiskWinTest, PortableRootThatLeavesNoRoomForPrivateNames_IsServed) {
  const TestFolder folder;
  ASSERT_TRUE(WriteFixturePayload(folder / "bundle", 'N'));
  for (const std::size_t length : {150, 170, 190, 200, 210}) {
    const DefaultPathLength limits;
    const Path root = FolderOfLength(folder / "roots", length);
    WriteFile(root / "bin/64bit/obs64.exe", "fake-obs");
    WriteFile(root / "portable_mode.txt", "portable");
    WriteFile(root / "obs-plugins/64bit/k7k-obs-audio.dll", "old");
    WriteFile(root / "data/obs-plugins/k7k-obs-audio/locale/en-US.ini", "old");
    EXPECT_EQ(InstallPortablePlugin(folder / "bundle", root, nullptr, InjectedFailure::None),
              InstallOutcome::Installed)
        << length;
    EXPECT_EQ(TakeTree(root / "data/obs-plugins/k7k-obs-audio"), TakeTree(folder / "bundle/data"));
    EXPECT_EQ(test::PrivateEntries(TakeTree(root)), Tree());
    EXPECT_EQ(RemovePortablePlugin(root, nullptr, InjectedFailure::None), RemovalOutcome::Removed)
        << length;
    EXPECT_EQ(test::PrivateEntries(TakeTree(root)), Tree());
    EXPECT_TRUE(NativeDisk().RemoveAll(folder / "roots"));
  }
}

TEST(DiskWinTest, Walk_RootsWithTrimmedEnds_MeanWhatWin32TakesTheirContentFor) {
  const TestFolder folder;
  WriteFile(folder / "root/x/file", "content");
  for (const wchar_t* name : {L"root.", L"root./", L"root/x/.."}) {
    const auto walk = NativeDisk().Walk(folder / name);
    ASSERT_FALSE(walk->AtEnd()) << name;
    EXPECT_EQ(walk->Entry(), folder / name / "x");
    walk->Advance();
    ASSERT_FALSE(walk->AtEnd()) << name;
    EXPECT_EQ(walk->Entry(), folder / name / "x" / "file");
  }
  // Before a separator Win32 trims one dot and no space.
  for (const wchar_t* name : {L"root ", L"root..", L"root. ."}) {
    EXPECT_EQ(NativeDisk().Status(folder / name), FileStatus::Folder) << name;
    EXPECT_EQ(NativeDisk().Status(folder / name / "x"), FileStatus::Absent) << name;
    const auto walk = NativeDisk().Walk(folder / name);
    EXPECT_TRUE(walk->AtEnd()) << name;
    EXPECT_TRUE(walk->Failed()) << name;
  }
}

TEST(DiskWinTest, LinkWithATrimmedNameBelowARootWithOne_IsSeen) {
  const TestFolder folder;
  MakeFolder(folder / "outside");
  MakeFolder(test::ExactPath(folder / "root") / "sub.");
  MakeFolderLink(folder / "outside", test::ExactPath(folder / "root") / "sub." / "link.");
  EXPECT_FALSE(InspectTree(folder / "root", nullptr));
  EXPECT_FALSE(InspectTree(folder / "root.", nullptr));
  EXPECT_FALSE(InspectTree(L"\\\\.\\" + (folder / "root").native(), nullptr));
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "root" / "sub." / "link."));
  EXPECT_TRUE(NativeDisk().IsReparsePoint(folder / "root." / "sub." / "link./"));
  EXPECT_FALSE(NativeDisk().IsReparsePoint(folder / "root." / "sub."));
}

// What Win32 would write under another name is not copied.
TEST(DiskWinTest, StageCopy_NamesThatWin32Trims_CouldNotCopy) {
  for (const char* name : {"file.", "file ", "sub./file"}) {
    const TestFolder folder;
    WriteFile(test::ExactPath(folder / "payload") / name, "content");
    std::wstring detail;
    EXPECT_FALSE(StageCopy(folder / "payload", folder / "staging", &detail)) << name;
    EXPECT_EQ(detail, L"Could not copy the complete payload");
  }
}

}  // namespace
}  // namespace k7k
