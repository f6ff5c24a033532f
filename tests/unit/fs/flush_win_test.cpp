// Flushing where Win32 fails or refuses in ways that Wine never does.
#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

#include "fs/disk.h"
#include "fs/handle_win.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::MakeFolder;
using test::TestFolder;
using test::WriteFile;

using AttributesPatch = ImportPatch<decltype(::SetFileAttributesW)>;
using AttributesQuery = ImportPatch<decltype(::GetFileAttributesW)>;
using FlushPatch = ImportPatch<decltype(::FlushFileBuffers)>;
using OpenPatch = ImportPatch<decltype(::CreateFileW)>;

FlushPatch FlushFails(DWORD error) {
  return FlushPatch("FlushFileBuffers", [error](auto, HANDLE) {
    ::SetLastError(error);
    return FALSE;
  });
}

OpenPatch OpeningFails(DWORD error, int& attempts) {
  attempts = 0;
  return OpenPatch("CreateFileW", [error, &attempts](auto, const wchar_t*, auto...) {
    ++attempts;
    ::SetLastError(error);
    return INVALID_HANDLE_VALUE;
  });
}

class FlushWinTest : public testing::Test {
 protected:
  FlushWinTest() {
    WriteFile(file_, "content");
    MakeFolder(path_);
  }

  Disk& disk_ = NativeDisk();
  TestFolder folder_;
  const Path file_ = folder_ / "file";
  const Path path_ = folder_ / "folder";
};

TEST_F(FlushWinTest, Flush_SystemCouldNotWrite_IsFalse) {
  for (const DWORD error : {ERROR_WRITE_FAULT, ERROR_IO_DEVICE, ERROR_DISK_FULL,
                            ERROR_WRITE_PROTECT, ERROR_NOT_READY, ERROR_DEVICE_NOT_CONNECTED}) {
    const FlushPatch patch = FlushFails(error);
    EXPECT_FALSE(disk_.Flush(file_)) << error;
    EXPECT_FALSE(disk_.Flush(path_)) << error;
  }
}

TEST_F(FlushWinTest, Flush_FileSystemKnowsNone_CountsAsDone) {
  for (const DWORD error : {ERROR_INVALID_FUNCTION, ERROR_NOT_SUPPORTED, ERROR_INVALID_PARAMETER}) {
    const FlushPatch patch = FlushFails(error);
    EXPECT_TRUE(disk_.Flush(file_)) << error;
    EXPECT_TRUE(disk_.Flush(path_)) << error;
  }
}

// The same codes from the opening say nothing about flushing.
TEST_F(FlushWinTest, Flush_CannotBeOpened_IsFalse) {
  for (const DWORD error : {ERROR_SHARING_VIOLATION, ERROR_INVALID_FUNCTION, ERROR_NOT_SUPPORTED,
                            ERROR_INVALID_PARAMETER}) {
    int attempts = 0;
    const OpenPatch patch = OpeningFails(error, attempts);
    EXPECT_FALSE(disk_.Flush(file_)) << error;
    EXPECT_FALSE(disk_.Flush(path_)) << error;
    EXPECT_EQ(attempts, 2) << error;
  }
}

// With either right.
TEST_F(FlushWinTest, Flush_MayNotBeOpenedForIt_CountsAsDone) {
  test::MakeReadOnly(file_);
  int attempts = 0;
  const OpenPatch patch = OpeningFails(ERROR_ACCESS_DENIED, attempts);
  EXPECT_TRUE(disk_.Flush(file_));
  EXPECT_TRUE(disk_.Flush(path_));
  EXPECT_EQ(attempts, 4);
  EXPECT_TRUE(test::IsReadOnly(file_));
}

// As a server may do it.
TEST_F(FlushWinTest, Flush_DeniedWhereItWasOpened_CountsAsDoneForAFolderAlone) {
  const FlushPatch patch = FlushFails(ERROR_ACCESS_DENIED);
  EXPECT_TRUE(disk_.Flush(path_));
  EXPECT_FALSE(disk_.Flush(file_));
}

TEST_F(FlushWinTest, Flush_ReadOnlyFileHeldByAnother_IsFalseAndKeepsItsBit) {
  test::MakeReadOnly(file_);
  int attempts = 0;
  const OpenPatch patch = OpeningFails(ERROR_SHARING_VIOLATION, attempts);
  EXPECT_FALSE(disk_.Flush(file_));
  EXPECT_EQ(attempts, 1);
  EXPECT_TRUE(test::IsReadOnly(file_));
}

TEST_F(FlushWinTest, Flush_HeldByAReaderThatSharesReadingAlone_IsFalse) {
  const KernelHandle other(::CreateFileW(file_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(other);
  EXPECT_FALSE(disk_.Flush(file_));
}

TEST_F(FlushWinTest, Flush_ReadOnlyBitThatCannotBeTakenAway_IsFalseUnlessItIsDenied) {
  test::MakeReadOnly(file_);
  for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_WRITE_FAULT}) {
    const AttributesPatch patch("SetFileAttributesW", [error](auto, const wchar_t*, DWORD) {
      ::SetLastError(error);
      return FALSE;
    });
    EXPECT_EQ(disk_.Flush(file_), error == ERROR_ACCESS_DENIED);
  }
}

TEST_F(FlushWinTest, Flush_ReadOnlyBitThatCannotBePutBack_IsFalse) {
  test::MakeReadOnly(file_);
  int set = 0;
  const AttributesPatch patch("SetFileAttributesW",
                              [&](auto real, const wchar_t* text, DWORD attributes) {
                                if (++set == 1) return real(text, attributes);
                                ::SetLastError(ERROR_ACCESS_DENIED);
                                return FALSE;
                              });
  EXPECT_FALSE(disk_.Flush(file_));
  EXPECT_EQ(set, 2);
}

// Nothing is no value that the system takes for "no attribute".
TEST_F(FlushWinTest, Flush_FileThatIsReadOnlyAlone_IsNormalMeanwhile) {
  std::vector<DWORD> asked;
  const AttributesQuery query("GetFileAttributesW",
                              [](auto, const wchar_t*) { return DWORD{FILE_ATTRIBUTE_READONLY}; });
  const AttributesPatch patch("SetFileAttributesW",
                              [&asked](auto native, const wchar_t* path, DWORD attributes) {
                                asked.push_back(attributes);
                                return native(path, attributes);
                              });
  EXPECT_TRUE(disk_.Flush(file_));
  EXPECT_EQ(asked, (std::vector<DWORD>{FILE_ATTRIBUTE_NORMAL, FILE_ATTRIBUTE_READONLY}));
}

// As a scanner has it open.
TEST_F(FlushWinTest, Flush_FileThatIsOpenForDeletion_IsTrue) {
  const KernelHandle other(::CreateFileW(file_.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(other);
  EXPECT_TRUE(disk_.Flush(file_));
}

TEST_F(FlushWinTest, Flush_AsksForTheRightThatTheSystemWants) {
  std::vector<DWORD> rights;
  DWORD denied = 0;
  const OpenPatch patch("CreateFileW",
                        [&](auto real, const wchar_t* text, DWORD right, auto... rest) {
                          rights.push_back(right);
                          if (right != denied) return real(text, right, rest...);
                          ::SetLastError(ERROR_ACCESS_DENIED);
                          return INVALID_HANDLE_VALUE;
                        });
  EXPECT_TRUE(disk_.Flush(file_));
  EXPECT_TRUE(disk_.Flush(path_));
  denied = FILE_APPEND_DATA;
  EXPECT_TRUE(disk_.Flush(file_));
  EXPECT_TRUE(disk_.Flush(path_));
  EXPECT_EQ(rights, (std::vector<DWORD>{FILE_APPEND_DATA, FILE_APPEND_DATA, FILE_APPEND_DATA,
                                        FILE_WRITE_DATA, FILE_APPEND_DATA, FILE_WRITE_DATA}));
}

}  // namespace
}  // namespace k7k
