#include "support/environment.h"

#include <gtest/gtest.h>
#include <windows.h>

// These need windows.h before them.
#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "app/program_folder.h"
#include "fs/handle_win.h"
#include "fs/system_library_win.h"
#include "support/import_patch_win.h"
#include "support/native_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k::test {

namespace {

constexpr auto kScratchKey = L"Software\\K7KObsConnectorTest";

std::wstring ScratchKey() {
  return kScratchKey + (L"." + std::to_wstring(::GetCurrentProcessId()));
}

// Wine reads the folder from the machine's part of the registry. For this process alone that part
// is replaced by a key of our own.
void ReplaceMachineSettings(const std::wstring& program_data) {
  HKEY machine = nullptr;
  EXPECT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, ScratchKey().c_str(), 0, nullptr, 0,
                                             KEY_ALL_ACCESS, nullptr, &machine, nullptr));
  const auto bytes = static_cast<DWORD>((program_data.size() + 1) * sizeof(wchar_t));
  EXPECT_EQ(
      ERROR_SUCCESS,
      ::RegSetKeyValueW(
          machine, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
          L"Common AppData", REG_SZ, program_data.c_str(), bytes));
  EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine));
  ::RegCloseKey(machine);
}

// Windows has more sources for it than can be replaced for one process, so there the function that
// the program looks up is another.
std::wstring program_data_told;
std::optional<ImportPatch<decltype(::GetProcAddress)>> shell_patch;
std::optional<ImportPatch<decltype(::GetTempPathW)>> temporary_patch;

HRESULT WINAPI TellProgramData(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* text) {
  if (!Exists(NativeDisk().Status(program_data_told))) {
    return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
  }
  const auto allocate =
      SystemLibrary(L"ole32.dll").Find<decltype(::CoTaskMemAlloc)>("CoTaskMemAlloc");
  const std::size_t size = program_data_told.size() + 1;
  *text = static_cast<wchar_t*>(allocate(size * sizeof(wchar_t)));
  std::copy_n(program_data_told.c_str(), size, *text);
  return S_OK;
}

}  // namespace

ProgramDataSetting::ProgramDataSetting(const std::optional<Path>& folder) {
  // For none, a folder in one that is gone, and whose name does not come again.
  const std::wstring text = (folder ? *folder : TestFolder().path() / L"none").native();
  if (RunsUnderWine()) {
    ReplaceMachineSettings(text);
  } else {
    program_data_told = text;
    shell_patch.emplace("GetProcAddress", [](auto real, HMODULE library, const char* name) {
      const bool is_wanted = std::string_view(name) == "SHGetKnownFolderPath";
      return is_wanted ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&TellProgramData))
                       : real(library, name);
    });
  }
}

ProgramDataSetting::~ProgramDataSetting() {
  if (RunsUnderWine()) {
    EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr));
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_CURRENT_USER, ScratchKey().c_str()));
  } else {
    shell_patch.reset();
  }
}

// Not through TMP: Windows passes over a setting that it finds too long.
TemporaryFolderSetting::TemporaryFolderSetting(const Path& folder) {
  temporary_patch.emplace("GetTempPathW",
                          [text = folder.native() + L"\\"](auto, DWORD room, wchar_t* to) {
                            EXPECT_LT(text.size(), room);
                            to[text.copy(to, room - 1)] = L'\0';
                            return static_cast<DWORD>(text.size());
                          });
}

TemporaryFolderSetting::~TemporaryFolderSetting() { temporary_patch.reset(); }

ObsNameLock::ObsNameLock() {
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, L"K7KObsConnectorTest.ObsName");
  EXPECT_NE(WAIT_FAILED, ::WaitForSingleObject(mutex, INFINITE));
  handles_[0] = reinterpret_cast<std::intptr_t>(mutex);
}

ObsNameLock::~ObsNameLock() {
  const auto mutex = reinterpret_cast<HANDLE>(handles_[0]);
  EXPECT_TRUE(::ReleaseMutex(mutex));
  ::CloseHandle(mutex);
}

RunningProgram::RunningProgram(const Path& folder, const char* name) {
  const Path program = folder / name;
  EXPECT_TRUE(NativeDisk().Copy(GetProgramFolder() / "sleeper.exe", program));
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  PROCESS_INFORMATION process{};
  // The name is given apart from the command line, so that one without ".exe" starts as well.
  EXPECT_TRUE(::CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &start, &process))
      << ::GetLastError();
  ::CloseHandle(process.hThread);
  process_ = reinterpret_cast<std::intptr_t>(process.hProcess);
}

RunningProgram::~RunningProgram() {
  if (process_ == 0) return;
  const KernelHandle process(reinterpret_cast<HANDLE>(process_));
  EXPECT_TRUE(::TerminateProcess(process.Get(), 0));
  EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.Get(), 10000));
}

NothingCanBeOpened::NothingCanBeOpened() = default;
NothingCanBeOpened::~NothingCanBeOpened() { static_cast<void>(previous_); }

std::size_t OpenHandles() {
  DWORD count = 0;
  EXPECT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &count));
  return count;
}

// Wine keeps no bytes from anybody, but shows the Unix root as Z:.
Path FileThatFailsToRead() {
  if (RunsUnderWine()) return L"Z:\\proc\\self\\mem";
  static const TestFolder folder;
  WriteFile(folder / "unreadable", "x");
  static const LockedBytes lock(folder / "unreadable");
  return folder / "unreadable";
}

Path FileWithoutRoom() {
  if (RunsUnderWine()) return L"Z:\\dev\\full";
  static const TestFolder folder;
  WriteFile(folder / "full", "");
  static const LockedBytes lock(folder / "full");
  return folder / "full";
}

}  // namespace k7k::test
