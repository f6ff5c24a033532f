#include "support/conditions.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "fs/handle_win.h"
#include "fs/path_text_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k::test {

namespace {

// Renames by way of a third name, because Wine's programs may be older than the exchanging call.
constexpr std::string_view kExchange = R"(
import os, sys, time
a, b, scratch = sys.argv[1:]
third = scratch + "/third"
def move(source, target):
    try:
        os.rename(source, target)
    except OSError:
        pass
move(a, third); move(b, a); move(third, b)
open(scratch + "/started", "w").close()
end = time.monotonic() + 30
while not os.path.exists(scratch + "/stop") and time.monotonic() < end:
    move(a, third); move(b, a); move(third, b)
open(scratch + "/stopped", "w").close()
)";

std::wstring UnixName(const Path& path) {
  std::wstring text = path.native().substr(2);  // Z: is the Unix root
  std::replace(text.begin(), text.end(), L'\\', L'/');
  return text;
}

void Await(const Path& path) {
  for (int i = 0; i < 2000 && !Exists(NativeDisk().Status(path)); ++i) ::Sleep(5);
  EXPECT_TRUE(Exists(NativeDisk().Status(path))) << path;
}

}  // namespace

void MakeNamedPipe(const Path& path) { FAIL() << "no named pipes in folders: " << path; }

std::string AnswerWithoutRights(const Path&, const Path&, unsigned,
                                const std::function<std::string()>&) {
  return "no such child on this platform";
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
  Path scratch;
};

Exchanger::Exchanger(const Path& a, const Path& b, const Path& scratch)
    : work_(std::make_unique<Work>(scratch)) {
  WriteFile(scratch / "exchange.py", kExchange);
  std::wstring command = L"python3 \"" + UnixName(scratch / "exchange.py") + L"\" \"" +
                         UnixName(a) + L"\" \"" + UnixName(b) + L"\" \"" + UnixName(scratch) +
                         L"\"";
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  PROCESS_INFORMATION process{};
  EXPECT_TRUE(::CreateProcessW(L"Z:\\usr\\bin\\python3", command.data(), nullptr, nullptr, FALSE, 0,
                               nullptr, nullptr, &start, &process))
      << ::GetLastError();
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  Await(scratch / "started");
}

Exchanger::~Exchanger() {
  WriteFile(work_->scratch / "stop", "");
  Await(work_->scratch / "stopped");
}

}  // namespace k7k::test
