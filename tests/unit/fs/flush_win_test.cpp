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
using FlushPatch = ImportPatch<decltype(::FlushFileBuffers)>;
using OpenPatch = ImportPatch<decltype(::CreateFileW)>;

FlushPatch FlushFails(DWORD error) {
  return FlushPatch("FlushFileBuffers", [error](auto, HANDLE) {
    ::SetLastError(error);
    return FALSE;
  });
}

OpenPatch OpeningFails(DWORD error) {
  return OpenPatch("CreateFileW", [error](auto, const wchar_t*, auto...) {
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
    const OpenPatch patch = OpeningFails(error);
    EXPECT_FALSE(disk_.Flush(file_)) << error;
    EXPECT_FALSE(disk_.Flush(path_)) << error;
  }
}

TEST_F(FlushWinTest, Flush_FolderThatMayNotBeOpenedForIt_CountsAsDoneAndAFileDoesNot) {
  {
    const OpenPatch patch = OpeningFails(ERROR_ACCESS_DENIED);
    EXPECT_TRUE(disk_.Flush(path_));
    EXPECT_FALSE(disk_.Flush(file_));
  }
  const FlushPatch patch = FlushFails(ERROR_ACCESS_DENIED);
  EXPECT_TRUE(disk_.Flush(path_));
  EXPECT_FALSE(disk_.Flush(file_));
}

TEST_F(FlushWinTest, Flush_ReadOnlyFileThatCannotBeOpened_KeepsItsBit) {
  test::MakeReadOnly(file_);
  const OpenPatch patch = OpeningFails(ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(disk_.Flush(file_));
  EXPECT_TRUE(test::IsReadOnly(file_));
}

TEST_F(FlushWinTest, Flush_ReadOnlyBitThatCannotBeTakenAway_IsFalse) {
  test::MakeReadOnly(file_);
  const AttributesPatch patch("SetFileAttributesW", [](auto, const wchar_t*, DWORD) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  });
  EXPECT_FALSE(disk_.Flush(file_));
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

// As a scanner has it open.
TEST_F(FlushWinTest, Flush_FileThatIsOpenForDeletion_IsTrue) {
  const KernelHandle other(::CreateFileW(file_.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(other);
  EXPECT_TRUE(disk_.Flush(file_));
}

TEST_F(FlushWinTest, Flush_AsksForTheRightThatTheSystemWants) {
  std::vector<DWORD> rights;
  const OpenPatch patch("CreateFileW",
                        [&](auto real, const wchar_t* text, DWORD right, auto... rest) {
                          rights.push_back(right);
                          return real(text, right, rest...);
                        });
  EXPECT_TRUE(disk_.Flush(file_));
  EXPECT_TRUE(disk_.Flush(path_));
  EXPECT_EQ(rights, (std::vector<DWORD>{GENERIC_WRITE, GENERIC_WRITE}));
}

}  // namespace
}  // namespace k7k
