#include "support/conditions.h"

#include <gtest/gtest.h>
#include <windows.h>

// Needs windows.h before it.
#include <aclapi.h>

#include <array>
#include <atomic>
#include <thread>

#include "fs/handle_win.h"
#include "fs/path_text_win.h"

namespace k7k::test {

namespace {

// While it lives, this process goes without the privileges to back up and to restore, which no
// denial stops. Some shells of administrators turn them on for what they start.
class NoBackupPrivileges {
 public:
  NoBackupPrivileges() {
    HANDLE token = nullptr;
    EXPECT_TRUE(
        ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token));
    token_ = KernelHandle(token);
    for (std::size_t i = 0; i < names_.size(); ++i) {
      TOKEN_PRIVILEGES off{1, {{{}, 0}}};
      EXPECT_TRUE(::LookupPrivilegeValueW(nullptr, names_[i], &off.Privileges[0].Luid));
      DWORD size = sizeof(previous_[i]);
      EXPECT_TRUE(::AdjustTokenPrivileges(token_.Get(), FALSE, &off, size, &previous_[i], &size));
    }
  }
  ~NoBackupPrivileges() {
    for (TOKEN_PRIVILEGES& previous : previous_) {
      EXPECT_TRUE(::AdjustTokenPrivileges(token_.Get(), FALSE, &previous, 0, nullptr, nullptr));
    }
  }
  NoBackupPrivileges(const NoBackupPrivileges&) = delete;
  NoBackupPrivileges& operator=(const NoBackupPrivileges&) = delete;

 private:
  // SE_BACKUP_NAME and SE_RESTORE_NAME ("Privilege Constants (Authorization)").
  static constexpr std::array names_{L"SeBackupPrivilege", L"SeRestorePrivilege"};

  KernelHandle token_;
  std::array<TOKEN_PRIVILEGES, names_.size()> previous_{};  // of those that were on
};

// While it lives, this account lacks these rights to an entry and, by inheritance, to what is in
// it.
class DeniedRights {
 public:
  DeniedRights(Path path, DWORD rights) : path_(path.make_preferred().native()) {
    EXPECT_EQ(ERROR_SUCCESS,
              ::GetNamedSecurityInfoW(path_.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                      nullptr, nullptr, &previous_, nullptr, &descriptor_));
    EXPLICIT_ACCESS_W denial{};
    std::wstring account = L"CURRENT_USER";
    ::BuildExplicitAccessWithNameW(&denial, account.data(), rights, DENY_ACCESS,
                                   SUB_CONTAINERS_AND_OBJECTS_INHERIT);
    ACL* list = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, ::SetEntriesInAclW(1, &denial, previous_, &list));
    Set(list);
    ::LocalFree(list);
  }
  ~DeniedRights() {
    Set(previous_);
    ::LocalFree(descriptor_);
  }
  DeniedRights(const DeniedRights&) = delete;
  DeniedRights& operator=(const DeniedRights&) = delete;

 private:
  void Set(ACL* list) {
    EXPECT_EQ(ERROR_SUCCESS,
              ::SetNamedSecurityInfoW(path_.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                      nullptr, nullptr, list, nullptr));
  }

  std::wstring path_;
  ACL* previous_ = nullptr;  // in the descriptor
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
};

std::wstring CurrentFolder() {
  std::wstring text(::GetCurrentDirectoryW(0, nullptr), L'\0');
  text.resize(::GetCurrentDirectoryW(static_cast<DWORD>(text.size()), text.data()));
  return text;
}

}  // namespace

void MakeNamedPipe(const Path& path) { FAIL() << "no named pipes in folders: " << path; }

std::string AnswerWithoutRights(const Path& base, const Path& closed, unsigned mode,
                                const std::function<std::string()>& ask) {
  constexpr DWORD kChange = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE;
  const DWORD denied =
      ((mode & 0444) == 0 ? FILE_READ_DATA : 0) | ((mode & 0222) == 0 ? kChange : 0);
  const NoBackupPrivileges unprivileged;
  const DeniedRights denial(closed, denied);
  const std::wstring current = CurrentFolder();
  EXPECT_TRUE(::SetCurrentDirectoryW(base.c_str()));
  const std::string answer = ask();
  EXPECT_TRUE(::SetCurrentDirectoryW(current.c_str()));
  return answer;
}

void BeforeOpeningOf(const std::string& name, std::function<void()>) {
  FAIL() << "no such moment on this platform: " << name;
}

struct HeldOpen::Handle {
  KernelHandle handle;
};

HeldOpen::HeldOpen(const Path& path)
    : handle_(std::make_unique<Handle>(KernelHandle(
          ::CreateFileW(Win32Text(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)))) {
  EXPECT_TRUE(handle_->handle) << path << " " << ::GetLastError();
}

HeldOpen::~HeldOpen() = default;

struct Exchanger::Work {
  std::atomic<bool> stop{false};
  std::thread thread;
};

Exchanger::Exchanger(const Path& a, const Path& b, const Path& scratch)
    : work_(std::make_unique<Work>()) {
  // By way of a third name: Windows has no call that exchanges two.
  const auto exchange = [a, b, third = scratch / "third"] {
    ::MoveFileExW(a.c_str(), third.c_str(), 0);
    ::MoveFileExW(b.c_str(), a.c_str(), 0);
    ::MoveFileExW(third.c_str(), b.c_str(), 0);
  };
  exchange();
  work_->thread = std::thread([work = work_.get(), exchange] {
    while (!work->stop) exchange();
  });
}

Exchanger::~Exchanger() {
  work_->stop = true;
  work_->thread.join();
}

}  // namespace k7k::test
