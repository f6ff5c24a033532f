#include "support/odd_disks.h"

#include <algorithm>
#include <sstream>
#include <streambuf>
#include <string>

#include "support/test_tree.h"

namespace k7k::test {

namespace {

class BreakingBuffer : public std::streambuf {
 public:
  explicit BreakingBuffer(std::string bytes) : bytes_(std::move(bytes)) {
    setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
  }

 protected:
  int_type underflow() override { throw std::ios_base::failure("read error"); }

 private:
  std::string bytes_;
};

class BreakingInput : private BreakingBuffer, public std::istream {
 public:
  explicit BreakingInput(std::string bytes)
      : BreakingBuffer(std::move(bytes)), std::istream(static_cast<BreakingBuffer*>(this)) {}
};

class UnflushableBuffer : public std::stringbuf {
 protected:
  int sync() override { return -1; }
};

class UnflushableOutput : private UnflushableBuffer, public std::ostream {
 public:
  UnflushableOutput() : std::ostream(static_cast<UnflushableBuffer*>(this)) {}
};

// Names the entries as if they lay where the walk was asked to start.
class RedirectedWalk : public TreeWalk {
 public:
  RedirectedWalk(std::unique_ptr<TreeWalk> real, Path real_root, Path root)
      : real_(std::move(real)), real_root_(std::move(real_root)), root_(std::move(root)) {}

  bool AtEnd() const override { return real_->AtEnd(); }
  bool Failed() const override { return real_->Failed(); }
  Path Entry() const override { return root_ / real_->Entry().lexically_relative(real_root_); }
  void Advance() override { real_->Advance(); }

 private:
  std::unique_ptr<TreeWalk> real_;
  Path real_root_;
  Path root_;
};

}  // namespace

std::function<bool(const DiskCall&)> FailEach(Call call, const Path& path) {
  return [=](const DiskCall& made) { return made.call == call && made.path == path; };
}

std::function<bool(const DiskCall&)> FailNth(Call call, const Path& path, int n) {
  return [=, left = n](const DiskCall& made) mutable {
    return made.call == call && made.path == path && --left == 0;
  };
}

bool LateLinkDisk::IsReparsePoint(const Path& path) {
  const bool real = FaultDisk::IsReparsePoint(path);
  return path == link_ ? ++asked_ >= from_ || real : real;
}

std::unique_ptr<std::istream> BreakingDisk::OpenInput(const Path& path) {
  auto stream = FaultDisk::OpenInput(path);
  if (!stream || path != file_) return stream;
  return std::make_unique<BreakingInput>(ReadFile(path).substr(0, bytes_));
}

std::unique_ptr<std::ostream> LateWriteErrorDisk::OpenOutput(const Path& path) {
  if (!FaultDisk::OpenOutput(path)) return nullptr;
  return std::make_unique<UnflushableOutput>();
}

Path RedirectedDisk::There(const Path& path) const {
  const Path relative = path.lexically_relative(from_);
  if (relative.empty() || *relative.begin() == "..") return path;
  return relative == "." ? to_ : to_ / relative;
}

FileStatus RedirectedDisk::Status(const Path& path) { return FaultDisk::Status(There(path)); }

bool RedirectedDisk::IsReparsePoint(const Path& path) {
  return FaultDisk::IsReparsePoint(There(path));
}

FinalPathAnswer RedirectedDisk::FinalPath(const Path& path) {
  return FaultDisk::FinalPath(There(path));
}

std::optional<std::uint64_t> RedirectedDisk::Size(const Path& path) {
  return FaultDisk::Size(There(path));
}

std::unique_ptr<TreeWalk> RedirectedDisk::Walk(const Path& root) {
  const Path there = There(root);
  return std::make_unique<RedirectedWalk>(FaultDisk::Walk(there), there, root);
}

bool RedirectedDisk::CreateFolder(const Path& path) { return FaultDisk::CreateFolder(There(path)); }

bool RedirectedDisk::Copy(const Path& from, const Path& to) {
  return FaultDisk::Copy(There(from), There(to));
}

bool RedirectedDisk::Flush(const Path& path) { return FaultDisk::Flush(There(path)); }

int RedirectedDisk::Move(const Path& from, const Path& to) {
  return FaultDisk::Move(There(from), There(to));
}

bool RedirectedDisk::RemoveAll(const Path& path) { return FaultDisk::RemoveAll(There(path)); }

std::unique_ptr<std::istream> RedirectedDisk::OpenInput(const Path& path) {
  return FaultDisk::OpenInput(There(path));
}

std::unique_ptr<std::ostream> RedirectedDisk::OpenOutput(const Path& path) {
  return FaultDisk::OpenOutput(There(path));
}

}  // namespace k7k::test
