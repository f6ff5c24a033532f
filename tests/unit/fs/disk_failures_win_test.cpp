// The disk where Win32 calls fail with certain codes or answer what Wine never does.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "fs/disk.h"
#include "fs/handle_win.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::MakeFolder;
using test::MakeFolderLink;
using test::TestFolder;
using test::WriteFile;

using AttributesPatch = ImportPatch<decltype(::GetFileAttributesW)>;
using FinalPathPatch = ImportPatch<decltype(::GetFinalPathNameByHandleW)>;
using FindPatch = ImportPatch<decltype(::FindFirstFileExW)>;
using InformationPatch = ImportPatch<decltype(::GetFileInformationByHandleEx)>;
using NextPatch = ImportPatch<decltype(::FindNextFileW)>;
using OpenPatch = ImportPatch<decltype(::CreateFileW)>;

constexpr DWORD kAbsentCodes[] = {ERROR_FILE_NOT_FOUND,  ERROR_PATH_NOT_FOUND, ERROR_BAD_NETPATH,
                                  ERROR_NETNAME_DELETED, ERROR_INVALID_NAME,   ERROR_DIRECTORY};
constexpr DWORD kUnreadableCodes[] = {
    ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,     ERROR_NOT_READY,     ERROR_INVALID_PARAMETER,
    ERROR_BAD_NET_NAME,  ERROR_CANT_RESOLVE_FILENAME, ERROR_UNEXP_NET_ERR, ERROR_LOGON_FAILURE};

// The answer of a call that fails.
template <class Answer>
Answer Failing(DWORD error, Answer answer) {
  ::SetLastError(error);
  return answer;
}

AttributesPatch AttributesFail(DWORD error) {
  return AttributesPatch("GetFileAttributesW", [error](auto, const wchar_t*) {
    return Failing(error, INVALID_FILE_ATTRIBUTES);
  });
}

OpenPatch OpeningFails(DWORD error) {
  return OpenPatch("CreateFileW", [error](auto, const wchar_t*, auto...) {
    return Failing(error, INVALID_HANDLE_VALUE);
  });
}

InformationPatch InformationFails() {
  return InformationPatch("GetFileInformationByHandleEx", [](auto, HANDLE, auto...) {
    return Failing(ERROR_INVALID_FUNCTION, FALSE);
  });
}

class DiskFailuresWinTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(folder_ / "tree/a/file", "content");
    WriteFile(folder_ / "tree/b/file", "content");
    MakeFolderLink(folder_ / "tree", folder_ / "link");
  }

  Disk& disk_ = NativeDisk();
  TestFolder folder_;
};

TEST_F(DiskFailuresWinTest, Status_EachErrorCode_IsAbsentOrUnreadable) {
  for (const DWORD error : kAbsentCodes) {
    const AttributesPatch patch = AttributesFail(error);
    EXPECT_EQ(disk_.Status(folder_ / "tree"), FileStatus::Absent) << error;
    EXPECT_FALSE(disk_.IsReparsePoint(folder_ / "tree")) << error;
  }
  for (const DWORD error : kUnreadableCodes) {
    const AttributesPatch patch = AttributesFail(error);
    EXPECT_EQ(disk_.Status(folder_ / "tree"), FileStatus::Unreadable) << error;
    EXPECT_FALSE(disk_.IsReparsePoint(folder_ / "tree")) << error;
  }
}

TEST_F(DiskFailuresWinTest, Status_LinkWhoseTargetDoesNotOpen_IsAbsentOrUnreadable) {
  for (const DWORD error : kAbsentCodes) {
    const OpenPatch patch = OpeningFails(error);
    EXPECT_EQ(disk_.Status(folder_ / "link"), FileStatus::Absent) << error;
    EXPECT_EQ(disk_.FinalPath(folder_ / "tree").status, FileStatus::Absent) << error;
  }
  for (const DWORD error : kUnreadableCodes) {
    const OpenPatch patch = OpeningFails(error);
    EXPECT_EQ(disk_.Status(folder_ / "link"), FileStatus::Unreadable) << error;
    EXPECT_EQ(disk_.FinalPath(folder_ / "tree").status, FileStatus::Unreadable) << error;
    EXPECT_EQ(disk_.Status(folder_ / "tree"), FileStatus::Folder) << "is no link";
  }
}

TEST_F(DiskFailuresWinTest, OpenedEntryThatTellsNothing_IsUnreadableAndHasNoSize) {
  const InformationPatch patch = InformationFails();
  EXPECT_EQ(disk_.Status(folder_ / "link"), FileStatus::Unreadable);
  EXPECT_EQ(disk_.Size(folder_ / "tree/a/file"), std::nullopt);
}

// Wine shows a link to a file as the file, so the link is made up.
TEST_F(DiskFailuresWinTest, Status_LinkToAFile_IsAFile) {
  const AttributesPatch patch("GetFileAttributesW", [](auto real, const wchar_t* path) {
    return real(path) | FILE_ATTRIBUTE_REPARSE_POINT;
  });
  EXPECT_EQ(disk_.Status(folder_ / "tree/a/file"), FileStatus::File);
  EXPECT_EQ(disk_.Status(folder_ / "tree/a"), FileStatus::Folder);
  EXPECT_TRUE(disk_.IsReparsePoint(folder_ / "tree/a/file"));
}

// Who asks must stand in nobody's way, and needs no right to the content.
TEST_F(DiskFailuresWinTest, Questions_OpenForAttributesAloneAndShareEverything) {
  int opened = 0;
  const OpenPatch patch(
      "CreateFileW", [&](auto real, const wchar_t* path, DWORD access, DWORD sharing,
                         auto* security, DWORD creation, DWORD flags, HANDLE like) {
        ++opened;
        EXPECT_EQ(access, 0x80U);       // FILE_READ_ATTRIBUTES
        EXPECT_EQ(sharing, 7U);         // read, write and delete
        EXPECT_EQ(creation, 3U);        // OPEN_EXISTING
        EXPECT_EQ(flags, 0x02000000U);  // FILE_FLAG_BACKUP_SEMANTICS: folders, too
        return real(path, access, sharing, security, creation, flags, like);
      });
  EXPECT_EQ(disk_.Status(folder_ / "link"), FileStatus::Folder);
  EXPECT_EQ(disk_.FinalPath(folder_ / "link").path, folder_ / "tree");
  EXPECT_EQ(disk_.Size(folder_ / "tree/a/file"), 7U);
  EXPECT_EQ(opened, 4);  // the status of what a link leads to is a question of its own
}

// What the system tells of a volume in each of the two forms, a text or an error.
struct ToldPaths {
  std::wstring dos{};
  DWORD dos_error = 0;
  std::wstring device{};
};

FinalPathAnswer FinalPathWhere(const Path& path, const ToldPaths& told) {
  const FinalPathPatch patch(
      "GetFinalPathNameByHandleW", [&](auto, HANDLE, wchar_t* to, DWORD, DWORD form) {
        EXPECT_EQ(form & ~DWORD{VOLUME_NAME_NT}, 0U) << "normalised names";
        const std::wstring& text = form == VOLUME_NAME_NT ? told.device : told.dos;
        if (text.empty()) return Failing(told.dos_error, DWORD{0});
        *std::copy(text.begin(), text.end(), to) = L'\0';
        return static_cast<DWORD>(text.size());
      });
  return NativeDisk().FinalPath(path);
}

TEST_F(DiskFailuresWinTest, FinalPath_EachForm_LosesThePrefixThatItNeedNotHave) {
  const struct {
    const wchar_t* told;
    const wchar_t* expected;
  } cases[] = {{L"\\\\?\\C:\\x\\y", L"C:\\x\\y"},
               {L"\\\\?\\C:\\", L"C:\\"},
               {L"\\\\?\\UNC\\server\\share\\x", L"\\\\server\\share\\x"},
               {L"\\\\?\\Volume{1}\\x", L"\\\\?\\Volume{1}\\x"},
               {L"\\\\?\\C", L"\\\\?\\C"},
               {L"C:\\x", L"C:\\x"}};
  for (const auto& [told, expected] : cases) {
    const FinalPathAnswer answer = FinalPathWhere(folder_ / "tree", {.dos = told});
    EXPECT_EQ(answer.path.native(), expected);
    EXPECT_EQ(answer.status, FileStatus::Folder);
  }
}

TEST_F(DiskFailuresWinTest, FinalPath_VolumeWithoutADriveLetter_IsItsDevice) {
  const FinalPathAnswer answer = FinalPathWhere(
      folder_ / "tree/a/file",
      {.dos_error = ERROR_PATH_NOT_FOUND, .device = L"\\Device\\HarddiskVolume7\\x"});
  EXPECT_EQ(answer.path.native(), L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolume7\\x");
  EXPECT_EQ(answer.status, FileStatus::File);
}

TEST_F(DiskFailuresWinTest, FinalPath_NotTold_IsUnreadable) {
  for (const ToldPaths& told :
       {ToldPaths{.dos_error = ERROR_PATH_NOT_FOUND},
        ToldPaths{.dos_error = ERROR_ACCESS_DENIED, .device = L"\\Device\\HarddiskVolume7\\x"}}) {
    const FinalPathAnswer answer = FinalPathWhere(folder_ / "tree", told);
    EXPECT_EQ(answer.status, FileStatus::Unreadable);
    EXPECT_EQ(answer.path, Path());
  }
}

TEST_F(DiskFailuresWinTest, Walk_ListThatBreaksOff_EndsFailed) {
  for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_NETNAME_DELETED, ERROR_FILE_NOT_FOUND}) {
    const auto walk = disk_.Walk(folder_ / "tree");
    ASSERT_FALSE(walk->AtEnd());
    walk->Advance();
    ASSERT_FALSE(walk->AtEnd());
    EXPECT_EQ(walk->Entry().filename(), "file");
    const NextPatch patch("FindNextFileW", [error](auto, HANDLE, WIN32_FIND_DATAW*) {
      return Failing(static_cast<DWORD>(error), FALSE);
    });
    walk->Advance();
    EXPECT_TRUE(walk->AtEnd()) << error;
    EXPECT_TRUE(walk->Failed()) << error;
  }
}

// The root of a drive lists neither "." nor "..".
TEST_F(DiskFailuresWinTest, Walk_FolderWithoutDots_IsListedWhole) {
  const NextPatch patch("FindNextFileW", [](auto real, HANDLE search, WIN32_FIND_DATAW* data) {
    const bool found = real(search, data);
    return found && data->cFileName == std::wstring(L"..") ? real(search, data) : BOOL{found};
  });
  const FindPatch first("FindFirstFileExW",
                        [](auto real, const wchar_t* pattern, auto level, void* to, auto... how) {
                          const HANDLE search = real(pattern, level, to, how...);
                          ::FindNextFileW(search, static_cast<WIN32_FIND_DATAW*>(to));
                          return search;
                        });
  std::vector<Path> entries;
  for (const auto walk = disk_.Walk(folder_ / "tree"); !walk->AtEnd(); walk->Advance()) {
    entries.push_back(walk->Entry());
  }
  std::sort(entries.begin(), entries.end());
  const Path tree = folder_ / "tree";
  EXPECT_EQ(entries,
            (std::vector<Path>{tree / "a", tree / "a" / "file", tree / "b", tree / "b" / "file"}));
}

TEST_F(DiskFailuresWinTest, Walk_EmptyRootOfADrive_IsAtItsEndWithoutFailure) {
  for (const DWORD error :
       {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_NO_MORE_FILES}) {
    const FindPatch patch("FindFirstFileExW", [error](auto, const wchar_t*, auto...) {
      return Failing(static_cast<DWORD>(error), INVALID_HANDLE_VALUE);
    });
    const auto walk = disk_.Walk(folder_ / "tree");
    EXPECT_TRUE(walk->AtEnd()) << error;
    EXPECT_EQ(walk->Failed(), error != ERROR_FILE_NOT_FOUND) << error;
  }
}

TEST_F(DiskFailuresWinTest, Walk_FolderThatBecomesALinkBeforeItIsEntered_EndsFailed) {
  const auto walk = disk_.Walk(folder_ / "tree");
  ASSERT_FALSE(walk->AtEnd());
  const AttributesPatch patch("GetFileAttributesW", [](auto real, const wchar_t* path) {
    return real(path) | FILE_ATTRIBUTE_REPARSE_POINT;
  });
  walk->Advance();
  EXPECT_TRUE(walk->AtEnd());
  EXPECT_TRUE(walk->Failed());
}

TEST_F(DiskFailuresWinTest, CreateFolder_CannotBeCreated_IsFalseUnlessAFolderIsThere) {
  for (const DWORD error : {ERROR_ALREADY_EXISTS, ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND}) {
    const ImportPatch<decltype(::CreateDirectoryW)> patch(
        "CreateDirectoryW",
        [error](auto, const wchar_t*, auto) { return Failing(static_cast<DWORD>(error), FALSE); });
    EXPECT_EQ(disk_.CreateFolder(folder_ / "tree"), error == ERROR_ALREADY_EXISTS) << error;
    EXPECT_FALSE(disk_.CreateFolder(folder_ / "link")) << error;
    EXPECT_FALSE(disk_.CreateFolder(folder_ / "tree/a/file")) << error;
    EXPECT_FALSE(disk_.CreateFolder(folder_ / "nothing")) << error;
  }
}

TEST_F(DiskFailuresWinTest, Copy_Failure_IsFalseAndNothingMayBeReplaced) {
  const ImportPatch<decltype(::CopyFileW)> patch(
      "CopyFileW", [](auto, const wchar_t*, const wchar_t*, BOOL must_be_new) {
        EXPECT_TRUE(must_be_new);
        return Failing(ERROR_DISK_FULL, FALSE);
      });
  EXPECT_FALSE(disk_.Copy(folder_ / "tree/a/file", folder_ / "copy"));
}

// Windows creates the missing target of a link without one; Wine does not show such a link.
TEST_F(DiskFailuresWinTest, Copy_ToALinkWithoutATarget_IsFalseAndCreatesNothing) {
  const AttributesPatch link("GetFileAttributesW", [](auto real, const wchar_t* path) {
    return Path(path).filename() == "copy" ? FILE_ATTRIBUTE_REPARSE_POINT : real(path);
  });
  EXPECT_FALSE(disk_.Copy(folder_ / "tree/a/file", folder_ / "copy"));
  EXPECT_FALSE(::DeleteFileW((folder_ / "copy").c_str()));
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(DiskFailuresWinTest, Move_Failure_IsItsCode) {
  for (const DWORD error :
       {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_LOCK_VIOLATION, ERROR_DELETE_PENDING}) {
    const ImportPatch<decltype(::MoveFileExW)> patch(
        "MoveFileExW", [error](auto, const wchar_t*, const wchar_t*, DWORD flags) {
          EXPECT_EQ(flags, 3U);  // replace, and copy to another volume
          return Failing(static_cast<DWORD>(error), FALSE);
        });
    EXPECT_EQ(disk_.Move(folder_ / "tree", folder_ / "moved"), static_cast<int>(error));
  }
}

TEST_F(DiskFailuresWinTest, Pause_Milliseconds_AreThoseOfTheSystem) {
  std::vector<DWORD> waits;
  const ImportPatch<decltype(::Sleep)> patch("Sleep",
                                             [&](auto, DWORD time) { waits.push_back(time); });
  disk_.Pause(std::chrono::milliseconds(250));
  EXPECT_EQ(waits, std::vector<DWORD>{250});
}

}  // namespace
}  // namespace k7k
