// A disk that fails on demand: a decorator over the real one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fs/disk.h"

namespace k7k::test {

enum class Call {
  Status,
  IsReparsePoint,
  FinalPath,
  Size,  // queries
  WalkOpen,
  WalkAdvance,  // a failed one ends the walk
  CreateFolder,
  Copy,
  Flush,
  Move,
  Remove,  // one for each entry of a removed tree, deepest first
  OpenInput,
  Read,  // Read: the content of an opened file
  OpenOutput,
  Write,
};

struct DiskCall {
  Call call;
  Path path;  // what it is about; for Copy and Move the source
  Path to;    // Copy and Move alone
};

// Hands each call to the real disk unless `fails` says that it fails; a failed call changes nothing
// on disk. Counts the pauses and the flushes instead of spending their time. Lives as the
// CurrentDisk of the test.
class FaultDisk : public Disk {
 public:
  FaultDisk() : override_(*this) {}

  // Asked once for each call, in order; true makes it fail. Also the place to change the disk
  // behind the engine's back. Null: nothing fails.
  std::function<bool(const DiskCall&)> fails;
  int move_error = 5;                                 // what a failed Move returns
  FileStatus failed_status = FileStatus::Unreadable;  // what a failed Status or FinalPath answers
  bool failed_walk_yields = false;  // a failed walk step keeps its entry, for once
  std::vector<DiskCall> calls;      // all so far
  std::vector<std::chrono::milliseconds> pauses;

  int Count(Call call) const;

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
  void Pause(std::chrono::milliseconds time) override;

  // Notes a call and says whether it fails.
  bool Fails(Call call, const Path& path, const Path& to = {});

 private:
  Disk& real_ = NativeDisk();
  DiskOverride override_;
};

}  // namespace k7k::test
