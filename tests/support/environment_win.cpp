#include "support/environment.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "app/program_folder.h"
#include "fs/handle_win.h"

namespace k7k::test {

namespace {

constexpr auto kScratchKey = L"Software\\K7KObsConnectorTest";

std::optional<Path> Setting(const wchar_t* name) {
  std::wstring text(32768, L'\0');
  const DWORD length = ::GetEnvironmentVariableW(name, text.data(), 32768);
  if (length == 0) return std::nullopt;
  return text.substr(0, length);
}

std::wstring ScratchKey() {
  return kScratchKey + (L"." + std::to_wstring(::GetCurrentProcessId()));
}

}  // namespace

// The system reads the folder from the machine's part of the registry. For this process alone that
// part is replaced by a key of our own.
ProgramDataSetting::ProgramDataSetting(const std::optional<Path>& folder) {
  HKEY machine = nullptr;
  EXPECT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, ScratchKey().c_str(), 0, nullptr, 0,
                                             KEY_ALL_ACCESS, nullptr, &machine, nullptr));
  const std::wstring text = folder ? folder->native() : L"C:\\there is no such folder";
  const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  EXPECT_EQ(
      ERROR_SUCCESS,
      ::RegSetKeyValueW(
          machine, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
          L"Common AppData", REG_SZ, text.c_str(), bytes));
  EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine));
  ::RegCloseKey(machine);
}

ProgramDataSetting::~ProgramDataSetting() {
  EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr));
  EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_CURRENT_USER, ScratchKey().c_str()));
}

TemporaryFolderSetting::TemporaryFolderSetting(const Path& folder) : previous_(Setting(L"TMP")) {
  EXPECT_TRUE(::SetEnvironmentVariableW(L"TMP", folder.c_str()));
}

TemporaryFolderSetting::~TemporaryFolderSetting() {
  EXPECT_TRUE(::SetEnvironmentVariableW(L"TMP", previous_ ? previous_->c_str() : nullptr));
}

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

// Wine alone: Z: is the Unix root.
Path FileThatFailsToRead() { return L"Z:\\proc\\self\\mem"; }

Path FileWithoutRoom() { return L"Z:\\dev\\full"; }

}  // namespace k7k::test
