// The disk on POSIX. It exists so that the whole engine runs under sanitizers and fault injection.
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ext/stdio_filebuf.h>

#include <cerrno>
#include <cstdio>
#include <thread>

#include "fs/disk.h"
#include "fs/remove_posix.h"

namespace k7k {

namespace {

FileStatus AfterError(int error) {
  return error == ENOENT || error == ENOTDIR ? FileStatus::Absent : FileStatus::Unreadable;
}

// libstdc++ opens a folder as a stream without complaint and fails at the first read, so a stream
// here stands on a descriptor that was looked at first.
template <class Stream>
class DescriptorStream : public Stream {
 public:
  DescriptorStream(int descriptor, std::ios::openmode mode)
      : Stream(nullptr), buffer_(descriptor, mode | std::ios::binary) {
    this->rdbuf(&buffer_);
  }

 private:
  __gnu_cxx::stdio_filebuf<char> buffer_;  // closes the descriptor; holds BUFSIZ (8192) bytes
};

// O_NONBLOCK keeps a named pipe in a bundle from holding the program up; it does nothing to a file.
template <class Stream>
std::unique_ptr<Stream> OpenStream(const Path& path, int flags, std::ios::openmode mode) {
  FileDescriptor file(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0666));
  struct stat found{};
  if (!file || ::fstat(file.Get(), &found) != 0 || S_ISDIR(found.st_mode)) return nullptr;
  // Not by O_TRUNC: a file that turns out not to be usable keeps its content.
  const bool empties = mode == std::ios::out && S_ISREG(found.st_mode);
  if (empties && ::ftruncate(file.Get(), 0) != 0) return nullptr;
  return std::make_unique<DescriptorStream<Stream>>(file.Release(), mode);
}

class PosixTreeWalk : public TreeWalk {
 public:
  explicit PosixTreeWalk(const Path& root) : entries_(root, error_) {}

  bool AtEnd() const override { return entries_ == std::filesystem::end(entries_); }
  bool Failed() const override { return static_cast<bool>(error_); }
  Path Entry() const override { return entries_->path(); }
  void Advance() override { entries_.increment(error_); }

 private:
  std::error_code error_;
  std::filesystem::recursive_directory_iterator entries_;
};

class PosixDisk : public Disk {
 public:
  FileStatus Status(const Path& path) override {
    struct stat found{};
    if (::stat(path.c_str(), &found) != 0) return AfterError(errno);
    if (S_ISDIR(found.st_mode)) return FileStatus::Folder;
    return S_ISREG(found.st_mode) ? FileStatus::File : FileStatus::Other;
  }

  bool IsReparsePoint(const Path& path) override {
    struct stat found{};
    return ::lstat(WithoutTrailingSeparators(path).c_str(), &found) == 0 && S_ISLNK(found.st_mode);
  }

  FinalPathAnswer FinalPath(const Path& path) override {
    const std::unique_ptr<char, decltype(&::free)> found(::realpath(path.c_str(), nullptr),
                                                         &::free);
    if (!found) return {AfterError(errno), {}};
    return {Status(path), found.get()};
  }

  std::optional<std::uint64_t> Size(const Path& path) override {
    struct stat found{};
    if (::stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(found.st_size);
  }

  std::unique_ptr<TreeWalk> Walk(const Path& root) override {
    return std::make_unique<PosixTreeWalk>(root);
  }

  bool CreateFolder(const Path& path) override {
    if (::mkdir(path.c_str(), 0777) == 0) return true;
    return errno == EEXIST && Status(path) == FileStatus::Folder && !IsReparsePoint(path);
  }

  bool Copy(const Path& from, const Path& to) override {
    std::error_code error;
    return std::filesystem::copy_file(from, to, std::filesystem::copy_options::none, error);
  }

  bool Flush(const Path& path) override {
    const FileDescriptor entry(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!entry) return errno == EACCES;
    return ::fsync(entry.Get()) == 0 || errno == EINVAL;  // no flush is known there (fsync(2))
  }

  int Move(const Path& from, const Path& to) override {
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
  }

  bool RemoveAll(const Path& path) override {
    return RemoveWithoutFollowing(WithoutTrailingSeparators(path));
  }

  std::unique_ptr<std::istream> OpenInput(const Path& path) override {
    return OpenStream<std::istream>(path, O_RDONLY, std::ios::in);
  }

  std::unique_ptr<std::ostream> OpenOutput(const Path& path) override {
    return OpenStream<std::ostream>(path, O_WRONLY | O_CREAT, std::ios::out);
  }

  void Pause(std::chrono::milliseconds time) override { std::this_thread::sleep_for(time); }
};

}  // namespace

Disk& NativeDisk() {
  static PosixDisk disk;
  return disk;
}

bool IsAbsolute(const Path& path) { return path.is_absolute(); }

}  // namespace k7k
