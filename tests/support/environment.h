// What a test sets up around the program for a while: settings of the system, running programs and
// files that fail by themselves.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "fs/disk.h"

namespace k7k::test {

// While it lives, the system names this program-data folder to this process, or names none. The
// text is taken as it is. On Windows the folder must exist: the system checks it.
class ProgramDataSetting {
 public:
  explicit ProgramDataSetting(const std::optional<Path>& folder);
  ~ProgramDataSetting();
  ProgramDataSetting(const ProgramDataSetting&) = delete;
  ProgramDataSetting& operator=(const ProgramDataSetting&) = delete;

 private:
  std::optional<Path> previous_;
};

// While it lives, this is the temporary folder of this process.
class TemporaryFolderSetting {
 public:
  explicit TemporaryFolderSetting(const Path& folder);
  ~TemporaryFolderSetting();
  TemporaryFolderSetting(const TemporaryFolderSetting&) = delete;
  TemporaryFolderSetting& operator=(const TemporaryFolderSetting&) = delete;

 private:
  std::optional<Path> previous_;
};

// Held by a test that runs a program named like OBS, or that needs that none runs: the question is
// about the whole machine, and another test program may run at the same time. Waits for its turn.
class ObsNameLock {
 public:
  ObsNameLock();
  ~ObsNameLock();
  ObsNameLock(const ObsNameLock&) = delete;
  ObsNameLock& operator=(const ObsNameLock&) = delete;

 private:
  std::array<std::intptr_t, 2> handles_{};
};

// A program that runs under this name in this folder until it goes out of scope.
class RunningProgram {
 public:
  RunningProgram(const Path& folder, const char* name);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

 private:
  std::intptr_t process_ = 0;
};

// While it lives, this process can open nothing more. POSIX alone.
class NothingCanBeOpened {
 public:
  NothingCanBeOpened();
  ~NothingCanBeOpened();
  NothingCanBeOpened(const NothingCanBeOpened&) = delete;
  NothingCanBeOpened& operator=(const NothingCanBeOpened&) = delete;

 private:
  std::uint64_t previous_ = 0;
};

// The files and handles that this process holds open.
std::size_t OpenHandles();

// A file that can be opened and whose first read fails.
Path FileThatFailsToRead();

// A file that can be opened for writing and has room for nothing: an error shows when a stream
// hands its buffer on.
Path FileWithoutRoom();

}  // namespace k7k::test
