// A disk that is a few files in memory: nothing of the machine's is seen and nothing on it can
// change. For inputs that come by the hundred thousand.
#pragma once

#include <map>
#include <string>

#include "fs/disk.h"

namespace k7k::test {

// One drive (C: on Windows) with files and without links. Every other path is absent, and every
// call that would change something is refused and counted. Lives as the CurrentDisk of the test.
class MemoryDisk : public Disk {
 public:
  MemoryDisk() : override_(*this) {}

  // Files by their names below the drive's root, with "/"; their folders are there by themselves.
  std::map<std::string, std::string> files;
  int calls = 0;    // all so far
  int changes = 0;  // those of them that were meant to change something

  // What the path leads to, as the name below the drive's root ("" for the root itself); nothing
  // for what is not there. A step up starts from a folder that is there.
  std::optional<std::string> Find(const Path& path) const;

  FileStatus Status(const Path& path) override;
  bool IsReparsePoint(const Path& path) override;
  FinalPathAnswer FinalPath(const Path& path) override;
  std::optional<std::uint64_t> Size(const Path& path) override;
  std::unique_ptr<TreeWalk> Walk(const Path& root) override;  // lists nothing
  bool CreateFolder(const Path& path) override;
  bool Copy(const Path& from, const Path& to) override;
  bool Flush(const Path& path) override;
  int Move(const Path& from, const Path& to) override;
  bool RemoveAll(const Path& path) override;
  std::unique_ptr<std::istream> OpenInput(const Path& path) override;
  std::unique_ptr<std::ostream> OpenOutput(const Path& path) override;
  void Pause(std::chrono::milliseconds time) override;

 private:
  bool IsFolder(const std::string& name) const;
  bool Refuse();

  DiskOverride override_;
};

}  // namespace k7k::test
