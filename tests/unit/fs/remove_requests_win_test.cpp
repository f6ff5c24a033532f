// The requests that delete an entry, on file systems that know or refuse some of them.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "fs/remove_win.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::MakeReadOnly;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

using InformationPatch = ImportPatch<decltype(::GetFileInformationByHandleEx)>;
using RequestPatch = ImportPatch<decltype(::SetFileInformationByHandle)>;

// FileDispositionInfoEx ("FILE_INFO_BY_HANDLE_CLASS enumeration (minwinbase.h)").
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);

BOOL Failure(DWORD error) {
  ::SetLastError(error);
  return FALSE;
}

// A file system that answers the newer request to delete with an error; counts the older ones.
RequestPatch NewerRequestFails(DWORD error, int& older) {
  return RequestPatch("SetFileInformationByHandle",
                      [error, &older](auto real, HANDLE entry, auto kind, void* what, DWORD size) {
                        if (kind == FileDispositionInfo) ++older;
                        return kind == kDispositionEx ? Failure(error)
                                                      : real(entry, kind, what, size);
                      });
}

class RemoveRequestsWinTest : public testing::Test {
 protected:
  void SetUp() override { WriteFile(folder_ / "tree/sub/file", "content"); }

  // The requests for a file whose attributes are these: "attributes N", "delete". Fails those for
  // attributes if told to, and in every case the newer one and the deletion.
  std::vector<std::string> RequestsFor(DWORD attributes, bool attributes_fail) {
    std::vector<std::string> requests;
    const InformationPatch told("GetFileInformationByHandleEx",
                                [&](auto real, HANDLE entry, auto kind, void* answer, DWORD size) {
                                  const BOOL answered = real(entry, kind, answer, size);
                                  if (kind != FileBasicInfo) return answered;
                                  auto* info = static_cast<FILE_BASIC_INFO*>(answer);
                                  if ((info->FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                                    info->FileAttributes = attributes;
                                  }
                                  return answered;
                                });
    const RequestPatch made(
        "SetFileInformationByHandle", [&](auto, HANDLE, auto kind, void* what, DWORD) {
          if (kind == kDispositionEx) {
            EXPECT_EQ(static_cast<FILE_DISPOSITION_INFO_EX*>(what)->Flags, 0x13U)
                << "delete, at once, read-only or not";
            return Failure(ERROR_INVALID_PARAMETER);
          }
          if (kind == FileDispositionInfo) {
            EXPECT_TRUE(static_cast<FILE_DISPOSITION_INFO*>(what)->DeleteFile);
            requests.push_back("delete");
            return Failure(ERROR_ACCESS_DENIED);
          }
          requests.push_back("attributes " +
                             std::to_string(static_cast<FILE_BASIC_INFO*>(what)->FileAttributes));
          return attributes_fail ? Failure(ERROR_ACCESS_DENIED) : TRUE;
        });
    EXPECT_FALSE(RemoveWithoutFollowing(folder_ / "tree/sub/file"));
    return requests;
  }

  TestFolder folder_;
};

// Wine knows the older request alone.
TEST_F(RemoveRequestsWinTest, NewerRequestGranted_IsTheOnlyOne) {
  MakeReadOnly(folder_ / "tree/sub/file");
  int made = 0;
  const RequestPatch patch("SetFileInformationByHandle",
                           [&made](auto real, HANDLE entry, auto kind, void*, DWORD) {
                             ++made;
                             EXPECT_EQ(kind, kDispositionEx);
                             FILE_BASIC_INFO basic{};
                             basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
                             real(entry, FileBasicInfo, &basic, sizeof(basic));
                             FILE_DISPOSITION_INFO gone{};
                             gone.DeleteFile = TRUE;
                             return real(entry, FileDispositionInfo, &gone, sizeof(gone));
                           });
  EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree"));
  EXPECT_EQ(TakeTree(folder_.path()), Tree());
  EXPECT_EQ(made, 3);
}

TEST_F(RemoveRequestsWinTest, NewerRequestRefusedForAReadOnlyFileInUse_IsTheOnlyOne) {
  MakeReadOnly(folder_ / "tree/sub/file");
  int made = 0;
  {
    const RequestPatch patch("SetFileInformationByHandle",
                             [&made](auto, HANDLE, auto, void*, DWORD) {
                               ++made;
                               return Failure(ERROR_SHARING_VIOLATION);
                             });
    EXPECT_FALSE(RemoveWithoutFollowing(folder_ / "tree"));
    EXPECT_EQ(NativeDisk().Status(folder_ / "tree/sub/file"), FileStatus::File);
  }
  EXPECT_EQ(made, 1);
}

TEST_F(RemoveRequestsWinTest, NewerRequestUnknown_OlderOneIsMade) {
  for (const DWORD error : {ERROR_INVALID_LEVEL, ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED,
                            ERROR_INVALID_FUNCTION}) {
    WriteFile(folder_ / "tree/sub/file", "content");
    MakeReadOnly(folder_ / "tree/sub/file");
    MakeReadOnly(folder_ / "tree/sub");
    int older = 0;
    {
      const RequestPatch patch = NewerRequestFails(error, older);
      EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree")) << error;
    }
    EXPECT_EQ(TakeTree(folder_.path()), Tree());
    EXPECT_EQ(older, 3) << error;
  }
}

TEST_F(RemoveRequestsWinTest, NewerRequestStoppedByTheReadOnlyBit_OlderOneIsMadeWithoutIt) {
  MakeReadOnly(folder_ / "tree/sub/file");
  int older = 0;
  {
    const RequestPatch patch = NewerRequestFails(ERROR_ACCESS_DENIED, older);
    EXPECT_TRUE(RemoveWithoutFollowing(folder_ / "tree/sub/file"));
  }
  EXPECT_EQ(TakeTree(folder_.path()), (Tree{{"tree", "folder"}, {"tree/sub", "folder"}}));
  EXPECT_EQ(older, 1);
}

TEST_F(RemoveRequestsWinTest, NewerRequestDenied_NothingElseIsTried) {
  for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_DIR_NOT_EMPTY}) {
    int older = 0;
    const RequestPatch patch = NewerRequestFails(error, older);
    EXPECT_FALSE(RemoveWithoutFollowing(folder_ / "tree"));
    EXPECT_EQ(NativeDisk().Status(folder_ / "tree/sub/file"), FileStatus::File);
    EXPECT_EQ(older, 0) << error;
  }
}

TEST_F(RemoveRequestsWinTest, BothRequestsDenied_ReadOnlyFileStaysReadOnly) {
  MakeReadOnly(folder_ / "tree/sub/file");
  const RequestPatch patch(
      "SetFileInformationByHandle", [](auto real, HANDLE entry, auto kind, auto... given) {
        return kind == FileBasicInfo ? real(entry, kind, given...) : Failure(ERROR_ACCESS_DENIED);
      });
  EXPECT_FALSE(RemoveWithoutFollowing(folder_ / "tree/sub/file"));
  EXPECT_TRUE(test::IsReadOnly(folder_ / "tree/sub/file"));
}

using Requests = std::vector<std::string>;

TEST_F(RemoveRequestsWinTest, PlainFile_KeepsItsAttributes) {
  EXPECT_EQ(RequestsFor(0x20, false), Requests{"delete"});
}

TEST_F(RemoveRequestsWinTest, ReadOnlyFile_LosesThatBitAloneAndGetsItBack) {
  EXPECT_EQ(RequestsFor(0x23, false), (Requests{"attributes 34", "delete", "attributes 35"}));
}

// Attributes of 0 would leave them as they are; 128 stands for none (FILE_ATTRIBUTE_NORMAL).
TEST_F(RemoveRequestsWinTest, FileThatIsReadOnlyAlone_BecomesNormalMeanwhile) {
  EXPECT_EQ(RequestsFor(0x1, false), (Requests{"attributes 128", "delete", "attributes 1"}));
}

TEST_F(RemoveRequestsWinTest, ReadOnlyBitThatStays_FileIsNotDeleted) {
  EXPECT_EQ(RequestsFor(0x21, true), Requests{"attributes 32"});
}

}  // namespace
}  // namespace k7k
