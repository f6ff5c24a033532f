// The removal on file systems that answer otherwise than those of Windows and Wine.
#include "fs/remove_win.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fs/handle_win.h"
#include "support/import_patch_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::MakeFileLink;
using test::MakeFolderLink;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

using InformationPatch = ImportPatch<decltype(::GetFileInformationByHandleEx)>;
using IdentifierPatch = ImportPatch<decltype(::GetFileInformationByHandle)>;

BOOL Failure(DWORD error) {
  ::SetLastError(error);
  return FALSE;
}

// A file system that fails questions of some kinds.
InformationPatch Unanswered(std::vector<FILE_INFO_BY_HANDLE_CLASS> kinds) {
  return InformationPatch("GetFileInformationByHandleEx",
                          [kinds](auto real, HANDLE entry, auto kind, void* answer, DWORD size) {
                            const bool fails = std::count(kinds.begin(), kinds.end(), kind) > 0;
                            return fails ? Failure(ERROR_INVALID_PARAMETER)
                                         : real(entry, kind, answer, size);
                          });
}

class RemoveWinTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(folder_ / "outside/sub/kept", "kept");
    WriteFile(folder_ / "tree/a/b/file", "1");
    WriteFile(folder_ / "tree/a/file", "2");
    WriteFile(folder_ / "tree/file", "3");
  }

  Tree Everything() const { return TakeTree(folder_.path()); }

  void ExpectRemoved() {
    EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
    EXPECT_EQ(Everything(), kOutside);
  }
  void ExpectRefusedAtOnce(const char* name = "tree") {
    const Tree before = Everything();
    EXPECT_FALSE(RemoveWithoutFollowing(folder_ / name));
    EXPECT_EQ(Everything(), before);
  }
  // Wine deletes no link as a link; what lies behind the link stays in either case.
  void ExpectOutsideStays(const Path& path) {
    EXPECT_EQ(RemoveWithoutFollowing(path), !test::RunsUnderWine());
    EXPECT_EQ(TakeTree(folder_ / "outside"), (Tree{{"sub", "folder"}, {"sub/kept", "file kept"}}));
  }

  // While it lives, no final path can be had.
  struct NoFinalPaths {
    ImportPatch<decltype(::GetFinalPathNameByHandleW)> patch{
        "GetFinalPathNameByHandleW", [](auto, auto...) { return DWORD{0}; }};
  };

  // While it lives, no entry's path can be told in any way.
  struct NoNames {
    NoFinalPaths final_paths;
    InformationPatch names = Unanswered({FileNameInfo});
  };

  // While it lives, the identifiers of open entries are others than those that their folders list.
  struct OtherIdentifiers {
    IdentifierPatch patch{"GetFileInformationByHandle",
                          [](auto real, HANDLE entry, BY_HANDLE_FILE_INFORMATION* info) {
                            const BOOL answered = real(entry, info);
                            info->nFileIndexLow ^= 1;
                            return answered;
                          }};
  };

  // While it lives, the name of the test's folder is told in a short form.
  InformationPatch FolderToldByAShortName() const {
    return InformationPatch(
        "GetFileInformationByHandleEx",
        [own = folder_.path().filename().native()](auto real, HANDLE entry, auto kind, void* answer,
                                                   DWORD size) {
          const BOOL answered = real(entry, kind, answer, size);
          if (!answered || kind != FileNameInfo) return answered;
          auto* info = static_cast<FILE_NAME_INFO*>(answer);
          const std::wstring name(info->FileName, info->FileNameLength / sizeof(wchar_t));
          if (!name.ends_with(L"\\" + own)) return answered;
          const std::wstring told = name.substr(0, name.size() - own.size()) + L"K7K-TE~1";
          std::memcpy(info->FileName, told.c_str(), told.size() * sizeof(wchar_t));
          info->FileNameLength = static_cast<DWORD>(told.size() * sizeof(wchar_t));
          return answered;
        });
  }

  // While it lives, no names are told, and the final path of an entry is told as another one; so is
  // that of what lies below it.
  class ToldAs {
   public:
    ToldAs(const Path& entry, const Path& told,
           std::vector<FILE_INFO_BY_HANDLE_CLASS> unanswered = {FileNameInfo})
        : unanswered_(Unanswered(std::move(unanswered))),
          final_paths_("GetFinalPathNameByHandleW",
                       [from = WithoutDrive(entry), to = WithoutDrive(told)](
                           auto real, HANDLE asked, wchar_t* text, DWORD size, DWORD form) {
                         std::wstring path(text, real(asked, text, size, form));
                         if (path.starts_with(from)) path.replace(0, from.size(), to);
                         EXPECT_LT(path.size(), size);
                         return static_cast<DWORD>(path.copy(text, size));
                       }) {}

   private:
    static std::wstring WithoutDrive(const Path& path) { return path.native().substr(2); }

    InformationPatch unanswered_;
    ImportPatch<decltype(::GetFinalPathNameByHandleW)> final_paths_;
  };

  const Tree kOutside{
      {"outside", "folder"}, {"outside/sub", "folder"}, {"outside/sub/kept", "file kept"}};
  TestFolder folder_;
};

TEST_F(RemoveWinTest, NamesThatCannotBeTold_TreeIsRemovedByItsFinalPaths) {
  const InformationPatch patch = Unanswered({FileNameInfo});
  const OtherIdentifiers not_asked_for;
  ExpectRemoved();
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_TreeIsRemovedByItsIdentifiers) {
  test::MakeReadOnly(folder_ / "tree/a/file");
  const NoNames patch;
  ExpectRemoved();
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_FolderLinksAreNotFollowed) {
  MakeFolderLink(folder_ / "outside", folder_ / "tree/a/link");
  MakeFolderLink(folder_ / "outside", folder_ / "alone");
  const NoNames patch;
  ExpectOutsideStays(folder_ / "tree");
  ExpectOutsideStays(folder_ / "alone");
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_OtherIdentifierThanListed_IsRefused) {
  const NoNames patch;
  const OtherIdentifiers other;
  ExpectRefusedAtOnce();
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_IdentifierOfAnEntryBesideIt_IsRefused) {
  const NoNames patch;
  const IdentifierPatch beside("GetFileInformationByHandle", [other = folder_ / "tree/a"](
                                                                 auto real, HANDLE,
                                                                 BY_HANDLE_FILE_INFORMATION* info) {
    const KernelHandle opened(::CreateFileW(other.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    EXPECT_TRUE(opened);
    return real(opened.Get(), info);
  });
  ExpectRefusedAtOnce("tree/file");
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_NoIdentifiers_IsRefused) {
  const NoNames patch;
  const IdentifierPatch none(
      "GetFileInformationByHandle",
      [](auto, HANDLE, BY_HANDLE_FILE_INFORMATION*) { return Failure(ERROR_NOT_SUPPORTED); });
  ExpectRefusedAtOnce();
}

// Zeros where there are none, ones where the file system's own have more than 64 bits.
TEST_F(RemoveWinTest, PathsThatCannotBeHad_IdentifiersThatTellNothing_AreNotCompared) {
  const NoFinalPaths none;
  for (const std::uint64_t bits : {std::uint64_t{0}, ~std::uint64_t{0}}) {
    const InformationPatch listed("GetFileInformationByHandleEx", [bits](auto real, HANDLE entry,
                                                                         auto kind, void* answer,
                                                                         DWORD size) {
      if (kind == FileNameInfo) return Failure(ERROR_INVALID_FUNCTION);
      const BOOL answered = real(entry, kind, answer, size);
      if (kind != FileIdBothDirectoryInfo && kind != FileIdBothDirectoryRestartInfo) {
        return answered;
      }
      for (char* at = static_cast<char*>(answer); answered;) {
        auto* record = reinterpret_cast<FILE_ID_BOTH_DIR_INFO*>(at);
        const std::wstring_view name(record->FileName, record->FileNameLength / sizeof(wchar_t));
        if (name == L"file") record->FileId.QuadPart = static_cast<LONGLONG>(bits);
        if (record->NextEntryOffset == 0) break;
        at += record->NextEntryOffset;
      }
      return answered;
    });
    const IdentifierPatch opened("GetFileInformationByHandle",
                                 [bits](auto real, HANDLE entry, BY_HANDLE_FILE_INFORMATION* info) {
                                   const BOOL answered = real(entry, info);
                                   info->nFileIndexHigh = info->nFileIndexLow =
                                       static_cast<DWORD>(bits);
                                   return answered;
                                 });
    ExpectRefusedAtOnce("tree/file");
  }
}

TEST_F(RemoveWinTest, PathsThatCannotBeHad_NoListOfIdentifiers_IsRefused) {
  const NoFinalPaths none;
  const InformationPatch patch =
      Unanswered({FileNameInfo, FileIdBothDirectoryInfo, FileIdBothDirectoryRestartInfo});
  ExpectRefusedAtOnce();
}

TEST_F(RemoveWinTest, NamesToldInTwoForms_TreeIsRemovedByItsFinalPaths) {
  const InformationPatch patch = FolderToldByAShortName();
  ExpectRemoved();
}

TEST_F(RemoveWinTest, NamesToldInTwoForms_LinksAreNotFollowed) {
  MakeFileLink(folder_ / "outside/sub/kept", folder_ / "link-to-file");
  MakeFolderLink(folder_ / "outside", folder_ / "link");
  const InformationPatch patch = FolderToldByAShortName();
  ExpectOutsideStays(folder_ / "link-to-file");
  ExpectOutsideStays(folder_ / "link");
}

TEST_F(RemoveWinTest, NamesToldInTwoForms_NoFinalPaths_TreeIsRemovedByItsIdentifiers) {
  const InformationPatch patch = FolderToldByAShortName();
  const NoFinalPaths none;
  ExpectRemoved();
}

TEST_F(RemoveWinTest, NamesToldInTwoForms_NoFinalPathsAndOtherIdentifiers_IsRefused) {
  const InformationPatch patch = FolderToldByAShortName();
  const NoFinalPaths none;
  const OtherIdentifiers other;
  ExpectRefusedAtOnce();
}

TEST_F(RemoveWinTest, EntryToldByAnotherNameOfItsFolder_IsJudgedByItsIdentifier) {
  const ToldAs short_name(folder_ / "tree", folder_ / "TREE~1");
  {
    const OtherIdentifiers other;
    ExpectRefusedAtOnce();
  }
  ExpectRemoved();
}

// As a link to a folder beside it could be told.
TEST_F(RemoveWinTest, EntryToldByAnotherName_IdentifierListedTwice_IsRefused) {
  const Path once = folder_ / "once";
  const Path again = folder_ / "again";
  WriteFile(once, "content");
  ASSERT_TRUE(::CreateHardLinkW(again.c_str(), once.c_str(), nullptr));
  for (const auto& [name, other] : {std::pair(once, again), std::pair(again, once)}) {
    const ToldAs other_name(name, other);
    const Tree before = Everything();
    EXPECT_FALSE(RemoveWithoutFollowing(name));
    EXPECT_EQ(Everything(), before);
  }
}

// A second record of the identifier could stand where the list was not told.
TEST_F(RemoveWinTest, EntryToldByAnotherName_ListThatBreaksOff_IsRefused) {
  const ToldAs short_name(folder_ / "tree" / "file", folder_ / "tree" / "FILE~1",
                          {FileNameInfo, FileIdBothDirectoryInfo});
  ExpectRefusedAtOnce("tree/file");
}

TEST_F(RemoveWinTest, EntryToldInAnotherFolder_IsRefusedWhateverItsIdentifier) {
  for (const Path& elsewhere : {folder_ / "outside" / "tree", folder_ / "outside" / "TREE~1"}) {
    const ToldAs told(folder_ / "tree", elsewhere);
    ExpectRefusedAtOnce();
  }
}

TEST_F(RemoveWinTest, LinkToAFolderBesideIt_IsNotFollowed) {
  MakeFolderLink(folder_ / "tree", folder_ / "link");
  EXPECT_EQ(RemoveWithoutFollowing(folder_ / "link"), !test::RunsUnderWine());
  EXPECT_EQ(test::ReadFile(folder_ / "tree/a/b/file"), "1");
  EXPECT_EQ(test::ReadFile(folder_ / "tree/file"), "3");
}

TEST_F(RemoveWinTest, ParentThatMayNotBeListed_CountsOnlyWherePathsCannotBeHad) {
  const ImportPatch<decltype(::CreateFileW)> denied(
      "CreateFileW", [](auto real, const wchar_t* path, DWORD access, auto... given) {
        if ((access & FILE_LIST_DIRECTORY) == 0) return real(path, access, given...);
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
      });
  {
    const NoNames patch;
    EXPECT_FALSE(RemoveWithoutFollowing(folder_ / "tree"));
    EXPECT_EQ(NativeDisk().Status(folder_ / "tree/a/b/file"), FileStatus::File);
  }
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(Everything(), kOutside);
}

}  // namespace
}  // namespace k7k
