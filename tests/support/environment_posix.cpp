#include "support/environment.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "app/program_folder.h"

namespace k7k::test {

namespace {

std::optional<Path> Setting(const char* name) {
  const char* text = std::getenv(name);
  if (text == nullptr) return std::nullopt;
  return text;
}

void Set(const char* name, const std::optional<Path>& value) {
  if (value) {
    ASSERT_EQ(0, ::setenv(name, value->c_str(), 1));
  } else {
    ASSERT_EQ(0, ::unsetenv(name));
  }
}

rlim_t SetOpenFiles(rlim_t count) {
  rlimit limit{};
  EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
  const rlim_t previous = std::exchange(limit.rlim_cur, count);
  EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
  return previous;
}

std::string ProcessName(const std::string& process) {
  std::string name;
  std::ifstream file("/proc/" + process + "/comm");
  std::getline(file, name);
  return name;
}

int Lock(const Path& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  EXPECT_EQ(0, ::flock(file, LOCK_EX)) << path;
  return file;
}

}  // namespace

ProgramDataSetting::ProgramDataSetting(const std::optional<Path>& folder)
    : previous_(Setting("ProgramData")) {
  Set("ProgramData", folder);
}

ProgramDataSetting::~ProgramDataSetting() { Set("ProgramData", previous_); }

TemporaryFolderSetting::TemporaryFolderSetting(const Path& folder) : previous_(Setting("TMPDIR")) {
  Set("TMPDIR", folder);
}

TemporaryFolderSetting::~TemporaryFolderSetting() { Set("TMPDIR", previous_); }

// The folder is shared by all trees on the machine; a lock on it leaves no file behind. The file is
// the one that the protocol tests of this tree lock for the same purpose.
ObsNameLock::ObsNameLock()
    : handles_{Lock("/tmp", O_RDONLY | O_DIRECTORY),
               Lock(GetProgramFolder() / "../../obs-process.lock", O_RDWR | O_CREAT)} {}

ObsNameLock::~ObsNameLock() {
  for (const std::intptr_t file : handles_) ::close(static_cast<int>(file));
}

RunningProgram::RunningProgram(const Path& folder, const char* name) {
  const Path program = folder / name;
  EXPECT_TRUE(NativeDisk().Copy(GetProgramFolder() / "sleeper", program));
  char* arguments[] = {const_cast<char*>(program.c_str()), nullptr};
  pid_t process = 0;
  EXPECT_EQ(0, ::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ));
  process_ = process;
  // The call returns a moment before the kernel gives the process its new name.
  while (ProcessName(std::to_string(process)) == ProcessName("self")) ::usleep(100);
}

RunningProgram::~RunningProgram() {
  const auto process = static_cast<pid_t>(process_);
  if (process <= 0) return;
  EXPECT_EQ(0, ::kill(process, SIGKILL));
  EXPECT_EQ(process, ::waitpid(process, nullptr, 0));
}

NothingCanBeOpened::NothingCanBeOpened() : previous_(SetOpenFiles(0)) {}
NothingCanBeOpened::~NothingCanBeOpened() { SetOpenFiles(previous_); }

std::size_t OpenHandles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

Path FileThatFailsToRead() { return "/proc/self/mem"; }  // nothing is mapped at address 0

Path FileWithoutRoom() { return "/dev/full"; }

}  // namespace k7k::test
