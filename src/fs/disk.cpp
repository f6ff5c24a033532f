#include "fs/disk.h"

namespace k7k {

namespace {

Disk*& DiskInUse() {
  static Disk* disk = &NativeDisk();
  return disk;
}

}  // namespace

Disk& CurrentDisk() { return *DiskInUse(); }

DiskOverride::DiskOverride(Disk& disk) : previous_(DiskInUse()) { DiskInUse() = &disk; }

DiskOverride::~DiskOverride() { DiskInUse() = previous_; }

namespace {

bool CreateMissing(const Path& path, bool durably) {
  const Path folder = WithoutTrailingSeparators(path);
  switch (CurrentDisk().Status(folder)) {
    case FileStatus::Folder:
      return true;
    case FileStatus::Absent:
      break;
    default:
      return false;
  }
  const Path parent = folder.parent_path();
  // A relative name has no parent to create; a root that is absent cannot be created at all.
  if (!parent.empty() && (parent == folder || !CreateMissing(parent, durably))) return false;
  return CurrentDisk().CreateFolder(folder) &&
         (!durably || CurrentDisk().Flush(parent.empty() ? Path(".") : parent));
}

}  // namespace

bool CreateFolders(const Path& path) { return CreateMissing(path, false); }

bool CreateFoldersDurably(const Path& path) { return CreateMissing(path, true); }

Path WithoutTrailingSeparators(const Path& path) {
  Path name = path;
  while (name.has_relative_path() && (!name.has_filename() || name.filename() == ".") &&
         name.has_parent_path()) {
    name = name.parent_path();
  }
  return name;
}

}  // namespace k7k
