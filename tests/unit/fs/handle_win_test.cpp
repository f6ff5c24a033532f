// Handles are closed by the call of their kind; error codes; final paths.
#include "fs/handle_win.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/import_patch_win.h"

namespace k7k {
namespace {

using test::ImportPatch;

HANDLE Numbered(std::uintptr_t number) { return reinterpret_cast<HANDLE>(number); }

class HandleWinTest : public testing::Test {
 protected:
  using Handles = std::vector<HANDLE>;

  Handles closed_;
  Handles ended_;

 private:
  ImportPatch<decltype(::CloseHandle)> close_{"CloseHandle", [this](auto, HANDLE handle) {
                                                closed_.push_back(handle);
                                                return TRUE;
                                              }};
  ImportPatch<decltype(::FindClose)> end_{"FindClose", [this](auto, HANDLE search) {
                                            ended_.push_back(search);
                                            return TRUE;
                                          }};
};

TEST_F(HandleWinTest, KernelHandle_AtItsEndAndAtMoveAssignment_IsClosed) {
  {
    KernelHandle a(Numbered(1));
    KernelHandle b(Numbered(2));
    a = std::move(b);
    EXPECT_EQ(closed_, Handles{Numbered(1)});
  }
  EXPECT_EQ(closed_, (Handles{Numbered(1), Numbered(2)}));
  EXPECT_EQ(ended_, Handles());
}

TEST_F(HandleWinTest, FindHandle_AtItsEndAndAtMoveAssignment_IsEndedAsASearch) {
  {
    FindHandle a(Numbered(1));
    FindHandle b(Numbered(2));
    a = std::move(b);
    EXPECT_EQ(ended_, Handles{Numbered(1)});
  }
  EXPECT_EQ(ended_, (Handles{Numbered(1), Numbered(2)}));
  EXPECT_EQ(closed_, Handles());
}

TEST_F(HandleWinTest, Handle_OfAFailedCall_IsNoneAndNotClosed) {
  {
    const KernelHandle handle(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(handle);
    const FindHandle search(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(search);
  }
  EXPECT_EQ(closed_, Handles());
  EXPECT_EQ(ended_, Handles());
}

TEST(HandleWinErrorTest, IsNotFound_EveryCode_IsTrueForSixOfThem) {
  std::vector<DWORD> found;
  for (DWORD error = 0; error < 16000; ++error) {
    if (IsNotFound(error)) found.push_back(error);
  }
  EXPECT_EQ(found, (std::vector<DWORD>{2, 3, 53, 64, 123, 267}));
}

// As the system does it ("GetFinalPathNameByHandleW"): the length of what is stored, or the room
// wanted with the terminator.
std::wstring FinalPathWhereItIs(const std::wstring& path, int* calls = nullptr) {
  const ImportPatch<decltype(::GetFinalPathNameByHandleW)> patch(
      "GetFinalPathNameByHandleW", [&](auto, HANDLE, wchar_t* to, DWORD room, DWORD form) {
        if (calls != nullptr) ++*calls;
        EXPECT_EQ(form, DWORD{VOLUME_NAME_NT});
        if (room <= path.size()) return static_cast<DWORD>(path.size() + 1);
        *std::copy(path.begin(), path.end(), to) = L'\0';
        return static_cast<DWORD>(path.size());
      });
  return FinalPathText(Numbered(1), VOLUME_NAME_NT);
}

TEST(HandleWinFinalPathTest, FinalPathText_AnyLength_IsWhole) {
  for (const std::size_t length : {1, 100, 510, 511, 512, 513, 1000, 32767}) {
    const std::wstring path(length, L'x');
    EXPECT_EQ(FinalPathWhereItIs(path), path) << length;
  }
}

TEST(HandleWinFinalPathTest, FinalPathText_LongPath_IsAskedForTwice) {
  int calls = 0;
  FinalPathWhereItIs(std::wstring(600, L'x'), &calls);
  EXPECT_EQ(calls, 2);
}

TEST(HandleWinFinalPathTest, FinalPathText_Failure_IsEmptyAndTellsItsError) {
  const ImportPatch<decltype(::GetFinalPathNameByHandleW)> patch(
      "GetFinalPathNameByHandleW", [](auto, HANDLE, wchar_t*, DWORD, DWORD) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return DWORD{0};
      });
  EXPECT_EQ(FinalPathText(Numbered(1), VOLUME_NAME_DOS), L"");
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
}

}  // namespace
}  // namespace k7k
