// The program-data folder where the shell cannot tell it, and how the shell is asked.
#include <gtest/gtest.h>
#include <windows.h>

// These need windows.h before them.
#include <objbase.h>
#include <shlobj.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/import_patch_win.h"
#include "targets/standard_target.h"

namespace k7k {
namespace {

using test::ImportPatch;
using LoadPatch = ImportPatch<decltype(::LoadLibraryExW)>;

// The shell of these tests: what it answers, and how it was asked.
struct Shell {
  HRESULT result = S_OK;
  std::wstring folder = L"C:\\data of programs";
  bool tells_null = false;
  std::string missing;  // a function that its libraries do not have

  std::wstring asked;
  std::vector<void*> freed;
};
Shell* shell = nullptr;

HRESULT WINAPI TellFolder(REFKNOWNFOLDERID id, DWORD flags, HANDLE token, wchar_t** text) {
  wchar_t number[39];
  EXPECT_EQ(::StringFromGUID2(id, number, 39), 39);
  shell->asked = number;
  EXPECT_EQ(flags, 0U);
  EXPECT_EQ(token, nullptr);
  *text = shell->tells_null ? nullptr : shell->folder.data();
  return shell->result;
}

void WINAPI Free(void* memory) { shell->freed.push_back(memory); }

class ProgramDataWinTest : public testing::Test {
 protected:
  void SetUp() override { shell = &shell_; }

  Shell shell_;

 private:
  ImportPatch<decltype(::GetProcAddress)> functions_{
      "GetProcAddress", [](auto real, HMODULE library, const char* name) {
        const std::string_view wanted = name;
        if (wanted == shell->missing) return FARPROC{};
        if (wanted == "SHGetKnownFolderPath") return test::LookedUp(&TellFolder);
        if (wanted == "CoTaskMemFree") return test::LookedUp(&Free);
        return real(library, name);
      }};
};

TEST_F(ProgramDataWinTest, GetProgramDataFolder_ShellTellsIt_IsItAndItsTextIsFreedOnce) {
  EXPECT_EQ(GetProgramDataFolder(), Path(L"C:\\data of programs"));
  EXPECT_EQ(shell_.asked, L"{62AB5D82-FDC1-4DC3-A9DD-070D1D495D97}");
  EXPECT_EQ(shell_.freed, std::vector<void*>{shell_.folder.data()});
}

TEST_F(ProgramDataWinTest, GetProgramDataFolder_ShellFails_IsEmpty) {
  for (const HRESULT result : {E_FAIL, E_INVALIDARG, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)}) {
    shell_.result = result;
    EXPECT_EQ(GetProgramDataFolder(), Path());
    EXPECT_EQ(GetStandardPluginsRoot(), Path());
  }
}

TEST_F(ProgramDataWinTest, GetProgramDataFolder_ShellTellsNothing_IsEmpty) {
  shell_.tells_null = true;
  EXPECT_EQ(GetProgramDataFolder(), Path());
  EXPECT_EQ(shell_.freed, std::vector<void*>());
}

TEST_F(ProgramDataWinTest, GetProgramDataFolder_EitherFunctionMissing_IsEmptyAndNobodyIsAsked) {
  for (const char* name : {"SHGetKnownFolderPath", "CoTaskMemFree"}) {
    shell_.missing = name;
    EXPECT_EQ(GetProgramDataFolder(), Path()) << name;
    EXPECT_EQ(shell_.asked, L"") << name;
  }
}

TEST_F(ProgramDataWinTest, GetProgramDataFolder_EitherLibraryMissing_IsEmpty) {
  for (const wchar_t* missing : {L"shell32.dll", L"ole32.dll"}) {
    const LoadPatch patch("LoadLibraryExW", [missing](auto real, const wchar_t* name, auto... how) {
      return name == std::wstring_view(missing) ? nullptr : real(name, how...);
    });
    EXPECT_EQ(GetProgramDataFolder(), Path()) << missing;
  }
}

TEST_F(ProgramDataWinTest, GetProgramDataFolder_Libraries_ComeFromTheSystemFolderAlone) {
  std::vector<std::wstring> loaded;
  std::optional<DWORD> searched;
  const LoadPatch load("LoadLibraryExW",
                       [&](auto real, const wchar_t* name, HANDLE file, DWORD flags) {
                         loaded.push_back(name);
                         EXPECT_EQ(flags, 0x800U) << name;  // LOAD_LIBRARY_SEARCH_SYSTEM32
                         EXPECT_EQ(searched, 0x800U) << name;
                         return real(name, file, flags);
                       });
  const ImportPatch<decltype(::SetDefaultDllDirectories)> search("SetDefaultDllDirectories",
                                                                 [&](auto real, DWORD folders) {
                                                                   searched = folders;
                                                                   return real(folders);
                                                                 });
  GetProgramDataFolder();
  EXPECT_EQ(loaded, (std::vector<std::wstring>{L"shell32.dll", L"ole32.dll"}));
}

}  // namespace
}  // namespace k7k
