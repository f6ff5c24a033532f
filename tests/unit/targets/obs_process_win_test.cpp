// Lists of processes that the system refuses, or that are as a test needs them.
#include <gtest/gtest.h>
#include <windows.h>

// Needs windows.h before it.
#include <tlhelp32.h>

#include <cwchar>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/import_patch_win.h"
#include "support/test_tree.h"
#include "targets/obs_process.h"

namespace k7k {
namespace {

using test::ImportPatch;

class ObsProcessWinTest : public testing::Test {
 protected:
  const test::ObsNameLock lock;
  const test::TestFolder folder;
};

TEST_F(ObsProcessWinTest, IsObsRunning_NoListOfProcesses_IsFalseThoughObsRuns) {
  const test::RunningProgram obs(folder.path(), "obs64.exe");
  {
    const ImportPatch<decltype(::CreateToolhelp32Snapshot)> patch(
        "CreateToolhelp32Snapshot", [](auto, auto...) { return INVALID_HANDLE_VALUE; });
    EXPECT_FALSE(IsObsRunning());
  }
  EXPECT_TRUE(IsObsRunning());
}

TEST_F(ObsProcessWinTest, IsObsRunning_ListWithoutAFirstEntry_IsFalseThoughObsRuns) {
  const test::RunningProgram obs(folder.path(), "obs64.exe");
  const ImportPatch<decltype(::Process32FirstW)> patch(
      "Process32FirstW", [](auto, HANDLE, PROCESSENTRY32W*) { return FALSE; });
  EXPECT_FALSE(IsObsRunning());
}

// The processes by their names, the first of the list included.
class ProcessList {
 public:
  explicit ProcessList(std::vector<std::wstring> names) : names_(std::move(names)) {}

 private:
  BOOL Next(PROCESSENTRY32W* entry) {
    EXPECT_EQ(entry->dwSize, 568U);  // by which the system knows the record
    if (told_ == names_.size()) return FALSE;
    std::wcscpy(entry->szExeFile, names_[told_++].c_str());
    return TRUE;
  }

  std::vector<std::wstring> names_;
  std::size_t told_ = 0;
  ImportPatch<decltype(::Process32FirstW)> first_{
      "Process32FirstW", [this](auto, HANDLE, PROCESSENTRY32W* entry) { return Next(entry); }};
  ImportPatch<decltype(::Process32NextW)> next_{
      "Process32NextW", [this](auto, HANDLE, PROCESSENTRY32W* entry) { return Next(entry); }};
};

TEST_F(ObsProcessWinTest, IsObsRunning_AnywhereInTheList_IsTrue) {
  for (const std::vector<std::wstring>& names :
       {std::vector<std::wstring>{L"obs64.exe", L"other.exe"},
        std::vector<std::wstring>{L"other.exe", L"OBS64.EXE", L"another.exe"},
        std::vector<std::wstring>{L"other.exe", L"Obs64.Exe"}}) {
    const ProcessList list(names);
    EXPECT_TRUE(IsObsRunning()) << names.front();
  }
}

TEST_F(ObsProcessWinTest, IsObsRunning_OtherNamesAlone_IsFalse) {
  const ProcessList list({L"obs32.exe", L"obs64", L"xobs64.exe", L"obs64.exe "});
  EXPECT_FALSE(IsObsRunning());
}

}  // namespace
}  // namespace k7k
