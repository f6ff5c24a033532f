#include "support/conditions.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <thread>
#include <utility>

#include "fs/remove_posix.h"

namespace k7k::test {

namespace {

std::string awaited_name;
std::function<void()> awaited_act;

constexpr uid_t kNobody = 65534;

bool WriteAll(int descriptor, const std::string& text) {
  return ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Enters the folder first: the way to it may be closed to others.
[[noreturn]] void AnswerInChild(const Path& base, int answer,
                                const std::function<std::string()>& ask) {
  const bool entered = ::chdir(base.c_str()) == 0;
  const bool gave_up = ::geteuid() != 0 || (::setgroups(0, nullptr) == 0 &&
                                            ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
  const bool told =
      WriteAll(answer, entered && gave_up ? ask() : "the child could not give up its rights");
  ::_exit(told ? 0 : 1);
}

}  // namespace

void MakeNamedPipe(const Path& path) { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0666)) << path; }

std::string AnswerWithoutRights(const Path& base, const Path& closed, unsigned mode,
                                const std::function<std::string()>& ask) {
  std::array<int, 2> ends{};
  EXPECT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC)) << errno;
  FileDescriptor reader(ends[0]);
  FileDescriptor writer(ends[1]);
  EXPECT_EQ(0, ::chmod(base.c_str(), 0755)) << errno;
  EXPECT_EQ(0, ::chmod(closed.c_str(), mode)) << errno;

  const pid_t child = ::fork();
  if (child == 0) AnswerInChild(base, writer.Get(), ask);
  writer = FileDescriptor();
  std::string answer;
  std::array<char, 4096> part{};
  for (ssize_t count = 1; count > 0;) {
    count = ::read(reader.Get(), part.data(), part.size());
    if (count > 0) answer.append(part.data(), static_cast<std::size_t>(count));
  }
  int status = -1;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_EQ(0, ::chmod(closed.c_str(), 0755)) << errno;
  return answer;
}

void BeforeOpeningOf(const std::string& name, std::function<void()> act) {
  awaited_name = name;
  awaited_act = std::move(act);
}

// Stands in the test program in front of the system's own, which it calls.
extern "C" int openat(int folder, const char* name, int flags, ...) {
  if (awaited_act && awaited_name == name) std::exchange(awaited_act, nullptr)();
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  static const auto real =
      reinterpret_cast<int (*)(int, const char*, int, ...)>(::dlsym(RTLD_NEXT, "openat"));
  return real(folder, name, flags, mode);
}

struct HeldOpen::Handle {
  FileDescriptor descriptor;
};

HeldOpen::HeldOpen(const Path& path)
    : handle_(new Handle{FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC))}) {
  EXPECT_TRUE(handle_->descriptor) << path;
}

HeldOpen::~HeldOpen() = default;

struct Exchanger::Work {
  std::atomic<bool> started{false};
  std::atomic<bool> stop{false};
  std::thread thread;
};

Exchanger::Exchanger(const Path& a, const Path& b, const Path& scratch)
    : work_(std::make_unique<Work>()) {
  static_cast<void>(scratch);
  work_->thread = std::thread([work = work_.get(), a, b] {
    while (!work->stop) {
      ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
      work->started = true;
    }
  });
  while (!work_->started) std::this_thread::yield();
}

Exchanger::~Exchanger() {
  work_->stop = true;
  work_->thread.join();
}

}  // namespace k7k::test
