// How the removal opens entries: the rights it gives up, older versions of Windows, refusals.
#include <gtest/gtest.h>
#include <windows.h>

// Needs windows.h before it.
#include <winternl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fs/remove_win.h"
#include "support/import_patch_win.h"
#include "support/new_process_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::InNewProcess;
using test::MakeFolderLink;
using test::MakeReadOnly;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

// Status values ("NTSTATUS Values").
constexpr auto kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);
constexpr auto kNoSuchFile = static_cast<NTSTATUS>(0xC000000F);
constexpr auto kAccessDenied = static_cast<NTSTATUS>(0xC0000022);
constexpr auto kNameNotFound = static_cast<NTSTATUS>(0xC0000034);
constexpr auto kSharingViolation = static_cast<NTSTATUS>(0xC0000043);
constexpr auto kDeletePending = static_cast<NTSTATUS>(0xC0000056);

// One opening of an entry in an open folder.
struct Opening {
  std::wstring name;
  ACCESS_MASK access;
  ULONG attributes;
};
std::vector<Opening> openings;
// What an opening ends with instead of being made, 0 to have it made.
std::function<NTSTATUS(const Opening&)> refusal;
decltype(&::NtCreateFile) real_create = nullptr;

NTSTATUS NTAPI Create(HANDLE* opened, ACCESS_MASK access, OBJECT_ATTRIBUTES* object,
                      IO_STATUS_BLOCK* block, LARGE_INTEGER* size, ULONG file_attributes,
                      ULONG sharing, ULONG disposition, ULONG options, void* more, ULONG length) {
  const std::wstring name(object->ObjectName->Buffer, object->ObjectName->Length / sizeof(wchar_t));
  openings.push_back({name, access, object->Attributes});
  EXPECT_NE(object->RootDirectory, nullptr);
  EXPECT_EQ(name.find(L'\\'), std::wstring::npos);
  EXPECT_EQ(sharing, 7U);         // read, write and delete
  EXPECT_EQ(disposition, 1U);     // FILE_OPEN
  EXPECT_EQ(options, 0x204020U);  // FILE_OPEN_REPARSE_POINT, ..._FOR_BACKUP_INTENT, synchronous
  if (const NTSTATUS status = refusal(openings.back()); status != 0) return status;
  return real_create(opened, access, object, block, size, file_attributes, sharing, disposition,
                     options, more, length);
}

// Has `judge` done in a process whose openings of entries are watched and may be refused.
void WhereOpenings(std::function<NTSTATUS(const Opening&)> end_with,
                   const std::function<void(const TestFolder&)>& judge) {
  InNewProcess([&] {
    refusal = std::move(end_with);
    const ImportPatch<decltype(::GetProcAddress)> patch(
        "GetProcAddress", [](auto real, HMODULE library, const char* name) {
          const FARPROC function = real(library, name);
          if (name != std::string_view("NtCreateFile")) return function;
          real_create = reinterpret_cast<decltype(real_create)>(reinterpret_cast<void*>(function));
          return test::LookedUp(&Create);
        });
    const TestFolder folder;
    WriteFile(folder / "tree/sub/file", "content");
    WriteFile(folder / "file", "content");
    judge(folder);
  });
}

const Tree kWhole{{"file", "file content"},
                  {"tree", "folder"},
                  {"tree/sub", "folder"},
                  {"tree/sub/file", "file content"}};

TEST(RemoveOpenWinTest, NoSuchFunction_IsFalseAndNothingIsRemoved) {
  InNewProcess([] {
    const ImportPatch<decltype(::GetProcAddress)> patch(
        "GetProcAddress", [](auto real, HMODULE library, const char* name) {
          return name == std::string_view("NtCreateFile") ? nullptr : real(library, name);
        });
    const TestFolder folder;
    WriteFile(folder / "file", "content");
    EXPECT_FALSE(RemoveWithoutFollowing(folder / "file"));
    EXPECT_EQ(TakeTree(folder.path()), (Tree{{"file", "file content"}}));
  });
}

TEST(RemoveOpenWinTest, EntriesThatOpen_AreAskedForOnceWithEveryRightAndWithoutFollowing) {
  WhereOpenings([](const Opening&) { return 0; },
                [](const TestFolder& folder) {
                  EXPECT_TRUE(RemoveWithoutFollowing(folder / "tree"));
                  std::wstring names;
                  for (const Opening& opening : openings) {
                    names += opening.name + L" ";
                    // DELETE, SYNCHRONIZE, attributes read and written, the folder listed.
                    EXPECT_EQ(opening.access, 0x110181U);
                    EXPECT_EQ(opening.attributes, 0x1040U);  // no reparse, letter case no matter
                  }
                  EXPECT_EQ(names, L"tree sub file ");
                });
}

TEST(RemoveOpenWinTest, RightsThatAreDenied_AreGivenUpOneAfterTheOther) {
  // To list the folder, to write attributes, both.
  const std::vector<std::vector<ACCESS_MASK>> asked{{0x110181, 0x110081, 0x110180},
                                                    {0x110181, 0x110081},
                                                    {0x110181, 0x110081, 0x110180, 0x110080}};
  const ACCESS_MASK denied[] = {0x1, 0x100, 0x101};
  for (std::size_t i = 0; i < asked.size(); ++i) {
    for (const NTSTATUS status : {kAccessDenied, kSharingViolation}) {
      WhereOpenings([&](const Opening& opening) { return opening.access & denied[i] ? status : 0; },
                    [&](const TestFolder& folder) {
                      EXPECT_TRUE(RemoveWithoutFollowing(folder / "file"));
                      EXPECT_EQ(TakeTree(folder.path()).count("file"), 0U);
                      std::vector<ACCESS_MASK> found;
                      for (const Opening& opening : openings) found.push_back(opening.access);
                      EXPECT_EQ(found, asked[i]);
                    });
    }
  }
}

TEST(RemoveOpenWinTest, RightToDeleteDenied_IsFalseAfterEveryTry) {
  for (const NTSTATUS status : {kAccessDenied, kSharingViolation}) {
    WhereOpenings([&](const Opening&) { return status; },
                  [&](const TestFolder& folder) {
                    EXPECT_FALSE(RemoveWithoutFollowing(folder / "file"));
                    EXPECT_EQ(openings.size(), 4U);
                    EXPECT_EQ(TakeTree(folder.path()), kWhole);
                  });
  }
}

TEST(RemoveOpenWinTest, OtherFailure_IsFalseAtOnce) {
  WhereOpenings([](const Opening&) { return kDeletePending; },
                [](const TestFolder& folder) {
                  EXPECT_FALSE(RemoveWithoutFollowing(folder / "file"));
                  EXPECT_EQ(openings.size(), 1U);
                  EXPECT_EQ(TakeTree(folder.path()), kWhole);
                });
}

TEST(RemoveOpenWinTest, ParameterRefusedInBothForms_IsFalse) {
  WhereOpenings([](const Opening&) { return kInvalidParameter; },
                [](const TestFolder& folder) {
                  EXPECT_FALSE(RemoveWithoutFollowing(folder / "file"));
                  EXPECT_EQ(openings.size(), 2U);
                  EXPECT_EQ(TakeTree(folder.path()), kWhole);
                });
}

TEST(RemoveOpenWinTest, EntryThatIsGone_IsRemoved) {
  for (const NTSTATUS status : {kNoSuchFile, kNameNotFound}) {
    WhereOpenings([&](const Opening&) { return status; },
                  [](const TestFolder& folder) {
                    EXPECT_TRUE(RemoveWithoutFollowing(folder / "file"));
                    EXPECT_EQ(openings.size(), 1U);
                  });
  }
}

TEST(RemoveOpenWinTest, EntryInsideThatCannotBeOpened_IsFalseAndWhatHoldsItStays) {
  WhereOpenings([](const Opening& opening) { return opening.name == L"file" ? kDeletePending : 0; },
                [](const TestFolder& folder) {
                  EXPECT_FALSE(RemoveWithoutFollowing(folder / "tree"));
                  EXPECT_EQ(TakeTree(folder.path()), kWhole);
                });
}

TEST(RemoveOpenWinTest, OlderWindowsWithoutNoReparse_TreeIsRemovedAndNoLinkFollowed) {
  WhereOpenings(
      [](const Opening& opening) { return opening.attributes & 0x1000 ? kInvalidParameter : 0; },
      [](const TestFolder& folder) {
        MakeFolderLink(folder / "tree", folder / "link");
        RemoveWithoutFollowing(folder / "link");  // Wine deletes no link as a link
        EXPECT_EQ(TakeTree(folder / "tree").size(), 2U);
        EXPECT_TRUE(RemoveWithoutFollowing(folder / "tree"));
        EXPECT_EQ(NativeDisk().Status(folder / "tree"), FileStatus::Absent);
        EXPECT_EQ(openings.back().attributes, 0x40U);
      });
}

}  // namespace
}  // namespace k7k
