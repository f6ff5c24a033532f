#include "fs/path_text_win.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/import_patch_win.h"

namespace k7k {
namespace {

using Texts = std::vector<std::wstring>;

// Eight names of 29 characters with their separators: together 240.
const std::wstring kLong = [] {
  std::wstring text;
  for (int i = 0; i < 8; ++i) text += L"\\" + std::wstring(29, static_cast<wchar_t>(L'a' + i));
  return text;
}();

TEST(PathTextWinTest, Win32Text_ShortPaths_StayAsTheyAre) {
  for (const wchar_t* text : {L"", L"x", L"C:x", L"\\x", L"C:\\", L"C:\\x", L"C:\\x\\",
                              L"C:\\x\\..\\y", L"C:\\x.", L"C:\\x ", L"\\\\server\\share",
                              L"\\\\server\\share\\x", L"\\\\?\\C:\\x", L"\\\\?\\", L"nul"}) {
    EXPECT_EQ(Win32Text(text), text);
  }
}

TEST(PathTextWinTest, Win32Text_Slashes_BecomeBackslashes) {
  EXPECT_EQ(Win32Text(L"C:/x/y\\z"), L"C:\\x\\y\\z");
  EXPECT_EQ(Win32Text(L"//server/share/x"), L"\\\\server\\share\\x");
  EXPECT_EQ(Win32Text(L"//?/C:/x"), L"\\\\?\\C:\\x");
}

TEST(PathTextWinTest, Win32Text_VolumeBehindAPrefix_IsItsRootFolder) {
  EXPECT_EQ(Win32Text(L"\\\\?\\C:"), L"\\\\?\\C:\\");
  EXPECT_EQ(Win32Text(L"\\\\.\\C:"), L"\\\\.\\C:\\");
}

TEST(PathTextWinTest, Win32Text_AbsolutePaths_GetThePrefixFrom240CharactersOn) {
  const std::wstring local = (L"C:" + kLong).substr(0, 240);
  EXPECT_EQ(Win32Text(local.substr(0, 239)), local.substr(0, 239));
  EXPECT_EQ(Win32Text(local), L"\\\\?\\" + local);
  const std::wstring share = (L"\\\\server\\share" + kLong).substr(0, 240);
  EXPECT_EQ(Win32Text(share.substr(0, 239)), share.substr(0, 239));
  EXPECT_EQ(Win32Text(share), L"\\\\?\\UNC\\" + share.substr(2));
}

TEST(PathTextWinTest, Win32Text_LongPaths_MeanWhatShortOnesDo) {
  const std::wstring full = L"\\\\?\\C:" + kLong;
  const std::wstring share = L"\\\\?\\UNC\\server\\share" + kLong;
  const struct {
    std::wstring given;
    std::wstring expected;
  } cases[] = {
      {L"C:" + kLong + L"\\x\\..\\y", full + L"\\y"},
      {L"C:\\x\\.." + kLong, full},
      {L"C:\\..\\.." + kLong, full},
      {L"C:\\." + kLong + L"\\.\\y\\.", full + L"\\y"},
      {L"C:" + kLong + L"\\\\y", full + L"\\y"},
      {L"C:" + kLong + L"/y/z", full + L"\\y\\z"},
      // A separator at the end asks for a folder, so it stays.
      {L"C:" + kLong + L"\\", full + L"\\"},
      // Dots and spaces at the end of the path, and one dot at the end of a name.
      {L"C:" + kLong + L"\\y.", full + L"\\y"},
      {L"C:" + kLong + L"\\y ", full + L"\\y"},
      {L"C:" + kLong + L"\\y. .", full + L"\\y"},
      {L"C:" + kLong + L"\\y.\\z", full + L"\\y\\z"},
      {L"C:" + kLong + L"\\y \\z", full + L"\\y \\z"},
      {L"C:" + kLong + L"\\..y\\z..z", full + L"\\..y\\z..z"},
      {L"//server/share" + kLong + L"/x/../y", share + L"\\y"},
      {L"\\\\server\\share\\..\\.." + kLong, share},
      // Win32 takes a device's path apart like any other.
      {L"\\\\.\\C:" + kLong, full},
      {L"//./C:" + kLong + L"/x/../y.", full + L"\\y"},
      {L"\\\\.\\UNC\\server\\share" + kLong, share},
  };
  for (const auto& [given, expected] : cases) EXPECT_EQ(Win32Text(given), expected) << given;
}

TEST(PathTextWinTest, Win32Text_LongPathsThatAreNotAbsoluteOrHaveAPrefix_StayAsTheyAre) {
  for (const wchar_t* start : {L"", L"C:x", L"x", L"\\\\?\\C:", L"\\\\?\\UNC\\server\\share",
                               L"\\??\\C:", L"\\\\?\\C:\\x\\..", L"\\\\?\\C:\\x."}) {
    const std::wstring text = start + kLong;
    EXPECT_EQ(Win32Text(text), text);
  }
}

TEST(PathTextWinTest, Win32Text_LongPathToADevice_StaysAsItIs) {
  const std::wstring text = L"C:" + kLong + L"\\nul";
  const std::wstring found = Win32Text(text);
  // Older versions of Windows take such a name for the device, newer ones for a file.
  EXPECT_TRUE(found == text || found == L"\\\\?\\" + text) << found;
}

TEST(PathTextWinTest, LongText_RelativeText_BecomesFull) {
  const std::wstring text = LongText(L"x.\\y");
  EXPECT_TRUE(text.starts_with(L"\\\\?\\")) << text;
  EXPECT_TRUE(text.ends_with(L"\\x\\y")) << text;
  EXPECT_EQ(LongText(L""), L"");
}

// As the system does it ("GetFullPathNameW"): the length of what is stored, or the room wanted with
// the terminator.
TEST(PathTextWinTest, LongText_FullTextOfAnyLength_IsWhole) {
  for (const std::size_t length : {100, 260, 261, 262, 1000, 32000}) {
    const std::wstring full = L"C:\\" + std::wstring(length - 3, L'x');
    const test::ImportPatch<decltype(::GetFullPathNameW)> patch(
        "GetFullPathNameW", [&](auto, const wchar_t* text, DWORD room, wchar_t* to, wchar_t**) {
          EXPECT_EQ(text, std::wstring(L"x"));
          if (room <= length) return static_cast<DWORD>(length + 1);
          *std::copy(full.begin(), full.end(), to) = L'\0';
          return static_cast<DWORD>(length);
        });
    EXPECT_EQ(LongText(L"x"), L"\\\\?\\" + full) << length;
  }
}

TEST(PathTextWinTest, LongText_FullTextThatCannotBeTold_StaysAsItIs) {
  const test::ImportPatch<decltype(::GetFullPathNameW)> patch(
      "GetFullPathNameW",
      [](auto, const wchar_t*, DWORD, wchar_t*, wchar_t**) { return DWORD{0}; });
  EXPECT_EQ(LongText(L"x"), L"x");
}

// As where the current folder has such a prefix itself.
TEST(PathTextWinTest, LongText_FullTextWithAPrefix_GetsNoSecondOne) {
  const test::ImportPatch<decltype(::GetFullPathNameW)> patch(
      "GetFullPathNameW", [](auto, const wchar_t*, DWORD, wchar_t* to, wchar_t**) {
        const std::wstring full = L"\\\\?\\C:\\x";
        to[full.copy(to, full.size())] = L'\0';
        return static_cast<DWORD>(full.size());
      });
  EXPECT_EQ(LongText(L"x"), L"x");
}

TEST(PathTextWinTest, IsAbsolute_LongPaths_IsJudgedByWhatIsGiven) {
  EXPECT_TRUE(IsAbsolute(L"C:" + kLong));
  EXPECT_TRUE(IsAbsolute(L"//server/share" + kLong));
  EXPECT_FALSE(IsAbsolute(kLong));
  EXPECT_FALSE(IsAbsolute(L"C:x" + kLong));
}

TEST(PathTextWinTest, ExactTexts_NamesThatNobodyTrims_AreNone) {
  for (const wchar_t* text : {L"", L"C:\\x\\y", L"C:\\.\\x\\..\\y", L"C:\\.x\\y z", L"C:\\x\\",
                              L"\\\\?\\C:\\x.", L"\\??\\C:\\x.", L"\\\\.\\C:\\x"}) {
    EXPECT_EQ(ExactTexts(text), Texts()) << text;
  }
}

TEST(PathTextWinTest, ExactTexts_NamesThatWin32Trims_StayFromEachOfThemOn) {
  EXPECT_EQ(ExactTexts(L"C:/x/y."), (Texts{L"\\\\?\\C:\\x\\y."}));
  EXPECT_EQ(ExactTexts(L"C:\\a\\..\\x\\y \\z"), (Texts{L"\\\\?\\C:\\x\\y \\z"}));
  EXPECT_EQ(ExactTexts(L"C:\\x\\..."), (Texts{L"\\\\?\\C:\\x\\..."}));
  EXPECT_EQ(ExactTexts(L"\\\\server\\share\\x."), (Texts{L"\\\\?\\UNC\\server\\share\\x."}));
  EXPECT_EQ(ExactTexts(L"\\\\.\\C:\\x."), (Texts{L"\\\\?\\C:\\x."}));
  EXPECT_EQ(ExactTexts(L"C:\\x.\\y.\\z"), (Texts{L"\\\\?\\C:\\x.\\y.\\z", L"\\\\?\\C:\\x\\y.\\z"}));
}

}  // namespace
}  // namespace k7k
