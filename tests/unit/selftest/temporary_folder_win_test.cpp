#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "selftest/temporary_folder.h"
#include "support/import_patch_win.h"
#include "support/self_test_fixture.h"

namespace k7k {
namespace {

using test::ImportPatch;

// What is found when the system answers with this length, having stored of the text what fits.
Path FoundWhere(const std::wstring& text, DWORD length) {
  const ImportPatch<decltype(::GetTempPathW)> patch("GetTempPathW",
                                                    [&](auto, DWORD room, wchar_t* to) {
                                                      to[text.copy(to, room - 1)] = L'\0';
                                                      return length;
                                                    });
  return GetTemporaryFolder();
}

TEST(TemporaryFolderWinTest, GetTemporaryFolder_SystemTellsOne_IsIt) {
  EXPECT_EQ(FoundWhere(L"C:\\somewhere\\", 13), Path(L"C:\\somewhere\\"));
}

TEST(TemporaryFolderWinTest, GetTemporaryFolder_SystemFails_IsEmpty) {
  EXPECT_EQ(FoundWhere(L"C:\\left behind", 0), Path());
}

// The length told is then the room wanted, the terminator included.
TEST(TemporaryFolderWinTest, GetTemporaryFolder_NameThatFillsTheBuffer_IsTheLongestThatIsTold) {
  const std::wstring longest = L"C:\\" + std::wstring(256, L'x');
  EXPECT_EQ(FoundWhere(longest, 259), Path(longest));
  EXPECT_EQ(FoundWhere(longest + L"x", 260), Path());
  EXPECT_EQ(FoundWhere(longest + L"x", 261), Path());
}

using TemporaryFolderWinSelfTest = test::SelfTestFixture;

TEST_F(TemporaryFolderWinSelfTest, RunSelfTest_NoTemporaryFolder_Gives1AndNothingIsWritten) {
  const ImportPatch<decltype(::GetTempPathW)> none("GetTempPathW",
                                                   [](auto, DWORD, wchar_t*) { return DWORD{0}; });
  const test::CapturedOutput captured;
  EXPECT_EQ(RunSelfTest(), 1);
  EXPECT_EQ(captured.Err(), L"");
  EXPECT_TRUE(disk.calls.empty());
}

}  // namespace
}  // namespace k7k
