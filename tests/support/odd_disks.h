// Disks that answer in other ways than failing: see fault_disk.h for those that fail.
#pragma once

#include <functional>
#include <memory>

#include "support/fault_disk.h"

namespace k7k::test {

// For FaultDisk::fails: every call of one kind on a path, or only the nth (from 1).
std::function<bool(const DiskCall&)> FailEach(Call call, const Path& path);
std::function<bool(const DiskCall&)> FailNth(Call call, const Path& path, int n);

// Says that a path is a reparse point from the nth question (from 1) on: a link that appears while
// the engine looks, of a kind that no platform under test has to have.
class LateLinkDisk : public FaultDisk {
 public:
  LateLinkDisk(Path link, int from) : link_(std::move(link)), from_(from) {}
  bool IsReparsePoint(const Path& path) override;

 private:
  Path link_;
  int from_;
  int asked_ = 0;
};

// Gives the first bytes of one file and then a read error.
class BreakingDisk : public FaultDisk {
 public:
  BreakingDisk(Path file, std::size_t bytes) : file_(std::move(file)), bytes_(bytes) {}
  std::unique_ptr<std::istream> OpenInput(const Path& path) override;

 private:
  Path file_;
  std::size_t bytes_;
};

// Gives streams that take everything and fail only when they are flushed.
class LateWriteErrorDisk : public FaultDisk {
 public:
  std::unique_ptr<std::ostream> OpenOutput(const Path& path) override;
};

// Keeps what lies below one folder in another one.
class RedirectedDisk : public FaultDisk {
 public:
  RedirectedDisk(Path from, Path to) : from_(std::move(from)), to_(std::move(to)) {}

  FileStatus Status(const Path& path) override;
  bool IsReparsePoint(const Path& path) override;
  FinalPathAnswer FinalPath(const Path& path) override;
  std::optional<std::uint64_t> Size(const Path& path) override;
  std::unique_ptr<TreeWalk> Walk(const Path& root) override;
  bool CreateFolder(const Path& path) override;
  bool Copy(const Path& from, const Path& to) override;
  bool Flush(const Path& path) override;
  int Move(const Path& from, const Path& to) override;
  bool RemoveAll(const Path& path) override;
  std::unique_ptr<std::istream> OpenInput(const Path& path) override;
  std::unique_ptr<std::ostream> OpenOutput(const Path& path) override;

 private:
  Path There(const Path& path) const;

  Path from_;
  Path to_;
};

}  // namespace k7k::test
