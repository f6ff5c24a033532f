// The removal where folders and entries answer with failures, or have changed since they were
// listed.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

#include "fs/handle_win.h"
#include "fs/remove_win.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

using FinalPathPatch = ImportPatch<decltype(::GetFinalPathNameByHandleW)>;
using InformationPatch = ImportPatch<decltype(::GetFileInformationByHandleEx)>;
using OpenPatch = ImportPatch<decltype(::CreateFileW)>;

template <class Answer>
Answer Failing(DWORD error, Answer answer) {
  ::SetLastError(error);
  return answer;
}

class RemoveAnswersWinTest : public testing::Test {
 protected:
  void SetUp() override { WriteFile(folder_ / "tree/sub/file", "content"); }

  void ExpectRefused(const Path& path) {
    EXPECT_FALSE(RemoveWithoutFollowing(path));
    EXPECT_EQ(TakeTree(folder_.path()), kWhole);
  }

  const Tree kWhole{{"tree", "folder"}, {"tree/sub", "folder"}, {"tree/sub/file", "file content"}};
  TestFolder folder_;
};

TEST_F(RemoveAnswersWinTest, FolderAboveThatDoesNotOpen_IsRemovedOnlyWhenNothingIsThere) {
  const struct {
    DWORD error;
    bool removed;
    int tries;
  } cases[] = {{ERROR_FILE_NOT_FOUND, true, 1}, {ERROR_PATH_NOT_FOUND, true, 1},
               {ERROR_BAD_NETPATH, true, 1},    {ERROR_NETNAME_DELETED, true, 1},
               {ERROR_INVALID_NAME, true, 1},   {ERROR_DIRECTORY, true, 1},
               {ERROR_ACCESS_DENIED, false, 2}, {ERROR_SHARING_VIOLATION, false, 2},
               {ERROR_NOT_READY, false, 1},     {ERROR_CANT_ACCESS_FILE, false, 1}};
  for (const auto& [error, removed, tries] : cases) {
    int made = 0;
    {
      const OpenPatch patch("CreateFileW", [&made, code = error](auto, const wchar_t*, auto...) {
        ++made;
        return Failing(code, INVALID_HANDLE_VALUE);
      });
      EXPECT_EQ(RemoveWithoutFollowing(folder_ / "tree"), removed) << error;
    }
    EXPECT_EQ(made, tries) << error;
    EXPECT_EQ(TakeTree(folder_.path()), kWhole);
  }
}

TEST_F(RemoveAnswersWinTest, FolderAbove_IsOpenedInNobodysWay) {
  std::vector<DWORD> accesses;
  {
    const OpenPatch patch("CreateFileW",
                          [&](auto real, const wchar_t* path, DWORD access, DWORD sharing,
                              auto* security, DWORD creation, DWORD flags, HANDLE like) {
                            accesses.push_back(access);
                            EXPECT_EQ(path, folder_.path().native());
                            EXPECT_EQ(sharing, 7U);         // read, write and delete
                            EXPECT_EQ(creation, 3U);        // OPEN_EXISTING
                            EXPECT_EQ(flags, 0x02000000U);  // FILE_FLAG_BACKUP_SEMANTICS
                            if (access != FILE_READ_ATTRIBUTES) {
                              return Failing(ERROR_SHARING_VIOLATION, INVALID_HANDLE_VALUE);
                            }
                            return real(path, access, sharing, security, creation, flags, like);
                          });
    EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  }
  EXPECT_EQ(accesses, (std::vector<DWORD>{0x81, 0x80}));  // attributes, at first with the list
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

TEST_F(RemoveAnswersWinTest, PathThatEndsInASeparator_NamesNoEntryAndIsRefused) {
  ExpectRefused(folder_ / "tree/");
}

TEST_F(RemoveAnswersWinTest, BareName_IsOneOfTheCurrentFolder) {
  const Path current = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  EXPECT_TRUE(RemoveWithoutFollowing("tree"));
  std::filesystem::current_path(current);
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

// Fails the question for attributes from a certain one on: the folder above is asked first.
TEST_F(RemoveAnswersWinTest, AttributesThatAreNotTold_AreRefused) {
  for (int answered = 0; answered < 2; ++answered) {
    int asked = 0;
    const InformationPatch patch("GetFileInformationByHandleEx",
                                 [&](auto real, HANDLE entry, auto kind, auto... to) {
                                   if (kind == FileBasicInfo && ++asked > answered) {
                                     return Failing(ERROR_INVALID_FUNCTION, FALSE);
                                   }
                                   return real(entry, kind, to...);
                                 });
    ExpectRefused(folder_ / "tree");
  }
}

TEST_F(RemoveAnswersWinTest, EntryListedAsALinkThatIsNone_IsRefused) {
  const InformationPatch patch("GetFileInformationByHandleEx",
                               [](auto real, HANDLE entry, auto kind, void* answer, DWORD size) {
                                 const BOOL answered = real(entry, kind, answer, size);
                                 const bool is_list = kind == FileFullDirectoryInfo ||
                                                      kind == FileFullDirectoryRestartInfo;
                                 for (char* at = static_cast<char*>(answer); answered && is_list;) {
                                   auto* record = reinterpret_cast<FILE_FULL_DIR_INFO*>(at);
                                   record->FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
                                   if (record->NextEntryOffset == 0) break;
                                   at += record->NextEntryOffset;
                                 }
                                 return answered;
                               });
  ExpectRefused(folder_ / "tree");
}

TEST_F(RemoveAnswersWinTest, ListThatBreaksOff_IsRefused) {
  for (const auto kind_that_fails : {FileFullDirectoryRestartInfo, FileFullDirectoryInfo}) {
    const InformationPatch patch("GetFileInformationByHandleEx",
                                 [kind_that_fails](auto real, HANDLE entry, auto kind, auto... to) {
                                   return kind == kind_that_fails
                                              ? Failing(ERROR_ACCESS_DENIED, FALSE)
                                              : real(entry, kind, to...);
                                 });
    ExpectRefused(folder_ / "tree");
  }
}

// Some file systems end an empty list with another code than a full one.
TEST_F(RemoveAnswersWinTest, ListThatEndsWithFileNotFound_IsWhole) {
  const InformationPatch patch(
      "GetFileInformationByHandleEx", [](auto real, HANDLE entry, auto kind, auto... to) {
        return kind == FileFullDirectoryInfo ? Failing(ERROR_FILE_NOT_FOUND, FALSE)
                                             : real(entry, kind, to...);
      });
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

// As the handle of a link to a folder tells its attributes; Wine opens no link as a link.
TEST_F(RemoveAnswersWinTest, FolderThatIsALink_IsNotEntered) {
  test::MakeFolder(folder_ / "empty");
  const InformationPatch patch(
      "GetFileInformationByHandleEx",
      [own = &folder_](auto real, HANDLE entry, auto kind, void* answer, DWORD size) {
        const BOOL answered = real(entry, kind, answer, size);
        const std::wstring path = FinalPathText(entry, VOLUME_NAME_DOS);
        if (kind == FileBasicInfo && path != L"\\\\?\\" + own->path().native()) {
          static_cast<FILE_BASIC_INFO*>(answer)->FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        }
        EXPECT_NE(kind, FileFullDirectoryRestartInfo);
        return answered;
      });
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "empty"));
  ExpectRefused(folder_ / "tree");  // no link can have content
}

// The names of entries as if that folder were the root of a volume.
InformationPatch ToldAsARoot(const Path& folder) {
  const std::wstring own = folder.native().substr(2);  // without the drive
  return InformationPatch("GetFileInformationByHandleEx", [own](auto real, HANDLE entry, auto kind,
                                                                void* answer, DWORD size) {
    const BOOL answered = real(entry, kind, answer, size);
    if (!answered || kind != FileNameInfo) return answered;
    auto* info = static_cast<FILE_NAME_INFO*>(answer);
    std::wstring name(info->FileName, info->FileNameLength / sizeof(wchar_t));
    if (!name.starts_with(own)) return answered;
    name = name == own ? L"\\" : name.substr(own.size());
    std::copy(name.begin(), name.end(), info->FileName);
    info->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
    return answered;
  });
}

FinalPathPatch FinalPathsAreNotAsked() {
  return FinalPathPatch("GetFinalPathNameByHandleW", [](auto, HANDLE, wchar_t*, DWORD, DWORD) {
    ADD_FAILURE() << "the names tell";
    return DWORD{0};
  });
}

TEST_F(RemoveAnswersWinTest, RootOfAVolume_NamesNoEntryAndIsRefused) {
  const InformationPatch patch = ToldAsARoot(folder_ / "tree");
  ExpectRefused(folder_ / "tree/");
}

TEST_F(RemoveAnswersWinTest, FolderToldAsARoot_EntriesAreRemoved) {
  const InformationPatch patch = ToldAsARoot(folder_.path());
  const FinalPathPatch not_asked = FinalPathsAreNotAsked();
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

// As where an entry was opened by a name in another letter case.
TEST_F(RemoveAnswersWinTest, EntryToldInAnotherLetterCase_IsRemoved) {
  const InformationPatch patch(
      "GetFileInformationByHandleEx",
      [](auto real, HANDLE entry, auto kind, void* answer, DWORD size) {
        const BOOL answered = real(entry, kind, answer, size);
        if (!answered || kind != FileNameInfo) return answered;
        auto* info = static_cast<FILE_NAME_INFO*>(answer);
        wchar_t* const end = info->FileName + info->FileNameLength / sizeof(wchar_t);
        std::transform(info->FileName, end, info->FileName,
                       [](wchar_t letter) { return static_cast<wchar_t>(std::towupper(letter)); });
        return answered;
      });
  const FinalPathPatch not_asked = FinalPathsAreNotAsked();
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

TEST_F(RemoveAnswersWinTest, EntryWhoseFinalPathCannotBeHad_IsJudgedByItsIdentifier) {
  const InformationPatch nameless("GetFileInformationByHandleEx", [](auto real, HANDLE entry,
                                                                     auto kind, auto... to) {
    return kind == FileNameInfo ? Failing(ERROR_INVALID_FUNCTION, FALSE) : real(entry, kind, to...);
  });
  int asked = 0;  // by turns of the folder and of the entry
  const FinalPathPatch patch("GetFinalPathNameByHandleW", [&](auto real, auto... given) {
    return ++asked % 2 == 1 ? real(given...) : DWORD{0};
  });
  {
    const ImportPatch<decltype(::GetFileInformationByHandle)> none(
        "GetFileInformationByHandle",
        [](auto, HANDLE, BY_HANDLE_FILE_INFORMATION*) { return FALSE; });
    ExpectRefused(folder_ / "tree");
  }
  {
    const ImportPatch<decltype(::GetFileInformationByHandle)> another(
        "GetFileInformationByHandle", [](auto real, HANDLE entry, auto* info) {
          const BOOL answered = real(entry, info);
          ++info->nFileIndexHigh;
          return answered;
        });
    ExpectRefused(folder_ / "tree");
  }
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
}

}  // namespace
}  // namespace k7k
