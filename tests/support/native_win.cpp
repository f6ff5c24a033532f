#include "support/native_win.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

namespace k7k::test {

namespace {

std::wstring Preferred(Path path) { return path.make_preferred().native(); }

std::wstring FreeDrive() {
  const DWORD taken = ::GetLogicalDrives();
  for (wchar_t letter = L'G'; letter < L'Z'; ++letter) {
    if ((taken & (1U << (letter - L'A'))) == 0) return std::wstring(1, letter) + L":";
  }
  ADD_FAILURE() << "no drive letter is free";
  return L"?:";
}

}  // namespace

void MakeJunction(const Path& target, const Path& junction) {
  const std::wstring command =
      L"mklink /J \"" + Preferred(junction) + L"\" \"" + Preferred(target) + L"\" >nul";
  ASSERT_EQ(0, ::_wsystem(command.c_str())) << junction;
}

SharedOpen::SharedOpen(Path path, DWORD share, DWORD access)
    : handle_(::CreateFileW(Preferred(std::move(path)).c_str(), access, share, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)) {
  EXPECT_TRUE(handle_) << ::GetLastError();
}

LockedBytes::LockedBytes(Path path)
    : handle_(::CreateFileW(Preferred(std::move(path)).c_str(), GENERIC_READ, kShareAll, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  OVERLAPPED from_the_start{};
  EXPECT_TRUE(::LockFileEx(handle_.Get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0,
                           MAXDWORD, 0, &from_the_start))
      << ::GetLastError();
}

SubstitutedDrive::SubstitutedDrive(Path folder)
    : folder_(Preferred(std::move(folder))), drive_(FreeDrive()) {
  EXPECT_TRUE(::DefineDosDeviceW(0, drive_.c_str(), folder_.c_str())) << ::GetLastError();
}

SubstitutedDrive::~SubstitutedDrive() {
  EXPECT_TRUE(::DefineDosDeviceW(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, drive_.c_str(),
                                 folder_.c_str()))
      << ::GetLastError();
}

std::optional<Path> ShortPath(const Path& path) {
  const std::wstring text = Preferred(path);
  std::wstring found(MAX_PATH, L'\0');
  found.resize(::GetShortPathNameW(text.c_str(), found.data(), static_cast<DWORD>(found.size())));
  const Path name = Path(found).filename();
  if (found.empty() || name == path.filename()) return std::nullopt;
  return path.parent_path() / name;
}

}  // namespace k7k::test
