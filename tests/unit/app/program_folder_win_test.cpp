#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>

#include "app/program_folder.h"
#include "support/import_patch_win.h"

namespace k7k {
namespace {

using test::ImportPatch;

// What is found when this is the program's file. As the system does, the fake stores what fits and
// answers with the room when not all did ("GetModuleFileNameW").
Path FoundFor(const std::wstring& file) {
  const ImportPatch<decltype(::GetModuleFileNameW)> patch(
      "GetModuleFileNameW", [&](auto, HMODULE module, wchar_t* to, DWORD room) {
        EXPECT_EQ(module, nullptr);
        const auto stored = std::min<std::size_t>(file.size(), room - 1);
        std::copy_n(file.begin(), stored, to);
        to[stored] = L'\0';
        return stored < file.size() ? room : static_cast<DWORD>(stored);
      });
  return GetProgramFolder();
}

TEST(ProgramFolderWinTest, GetProgramFolder_FileInAFolder_IsTheFolder) {
  EXPECT_EQ(FoundFor(L"C:\\some where\\bin\\program.exe"), Path(L"C:\\some where\\bin"));
}

TEST(ProgramFolderWinTest, GetProgramFolder_SystemFails_IsEmpty) {
  EXPECT_EQ(FoundFor(L""), Path());
}

TEST(ProgramFolderWinTest, GetProgramFolder_LongestPathThereIs_IsServed) {
  const std::wstring folder = L"\\\\?\\C:\\" + std::wstring(32748, L'x');
  ASSERT_EQ((folder + L"\\program.exe").size(), 32767U);
  EXPECT_EQ(FoundFor(folder + L"\\program.exe"), Path(folder));
}

TEST(ProgramFolderWinTest, GetProgramFolder_PathThatIsCutOff_IsEmpty) {
  EXPECT_EQ(FoundFor(L"\\\\?\\C:\\" + std::wstring(32749, L'x') + L"\\program.exe"), Path());
}

}  // namespace
}  // namespace k7k
