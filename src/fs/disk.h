// The one seam to the disk. Everything above this header asks the disk through a Disk and nothing
// else; disk_win.cpp implements it on Win32, disk_posix.cpp on POSIX and the standard library.
//
// What it promises on every platform:
// - No call throws for what it finds on disk, and no call retries: both are the callers' affair.
// - A reparse point (on POSIX: a symbolic link) is followed only where the contract says so.
// - Nothing is cached: each call asks the disk afresh.
//
// On Windows std::filesystem is used for the path type alone, because its implementation in the
// cross toolchain does not see links and deletes what lies behind them.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>

namespace k7k {

using Path = std::filesystem::path;

// The outcome of a status query. Unreadable is the error outcome (access denied, a link loop, a
// sharing violation): it is never taken for absence.
enum class FileStatus { Unreadable, Absent, Folder, File, Other };

inline bool Exists(FileStatus status) {
  return status != FileStatus::Unreadable && status != FileStatus::Absent;
}

// What the file system calls a path once every link in it is resolved.
struct FinalPathAnswer {
  FileStatus status = FileStatus::Unreadable;  // Unreadable and Absent: there is no final path
  Path path;
};

// A walk over everything below a folder, entries in the file system's order, a folder before its
// content. Links are listed and never entered, names that Win32 would trim ("x.") are taken as they
// are. A step that fails ends the walk: AtEnd and Failed are then both true.
class TreeWalk {
 public:
  virtual ~TreeWalk() = default;
  virtual bool AtEnd() const = 0;
  // Whether the last step (the opening or the latest Advance) reported an error.
  virtual bool Failed() const = 0;
  // The current entry: the root as given, joined with the names below it. Not at the end.
  virtual Path Entry() const = 0;
  virtual void Advance() = 0;
};

class Disk {
 public:
  virtual ~Disk() = default;

  // What is at the path, links followed. A dangling link and a path through a file are Absent; a
  // link that cannot be resolved for any other reason is Unreadable.
  virtual FileStatus Status(const Path& path) = 0;

  // Whether the last component is itself a reparse point of any kind. The link is not followed,
  // also when the path ends in a separator; the ancestors are not examined. False when the
  // attributes cannot be read.
  virtual bool IsReparsePoint(const Path& path) = 0;

  // The path with all links resolved and with the disk's own letter case.
  virtual FinalPathAnswer FinalPath(const Path& path) = 0;

  // Size in bytes of a file, links followed. Nothing for a folder and for what cannot be read.
  virtual std::optional<std::uint64_t> Size(const Path& path) = 0;

  // A walk below root. A root that is missing, is not a folder or cannot be listed gives a walk
  // that is at its end and failed.
  virtual std::unique_ptr<TreeWalk> Walk(const Path& root) = 0;

  // Creates one folder; its parent must exist. True when a folder is there afterwards, false when
  // the path is taken by a file or a link or cannot be created.
  virtual bool CreateFolder(const Path& path) = 0;

  // Copies one file, a link's target for a link. Fails when anything is at `to` already, a dangling
  // link too. A failure may leave a partial file at `to`.
  virtual bool Copy(const Path& from, const Path& to) = 0;

  // Has what was written to a file, or the list of a folder's entries, put on the medium, links
  // followed, so that a power cut does not take it back. A read-only file stays read-only. True
  // also where the file system knows no such request, and for what the user may not open for it.
  // False when the system says that it could not be written, when another process keeps it from
  // being opened for that, and when nothing is there.
  virtual bool Flush(const Path& path) = 0;

  // Renames a file or a whole folder, links not followed. Replaces a file at `to`, never a folder
  // with content. Returns 0, or the raw error code of the system (Win32 error, errno); then nothing
  // has moved.
  virtual int Move(const Path& from, const Path& to) = 0;

  // Removes a file, a link or a folder with everything below it, read-only files too. No link is
  // ever followed, not even one that appears while the removal runs: it is removed as a link, or
  // the removal fails. True when nothing is left (also when nothing was there); false may leave a
  // part of the tree.
  virtual bool RemoveAll(const Path& path) = 0;

  // Opens a file for binary reading; for binary writing, which creates or truncates it in place.
  // Null when it cannot be opened, and for a folder; a file is as it was then. A read that fails
  // makes the stream bad and is no end of the file. What is written in pieces of less than 1024
  // bytes stays in the stream's buffer until that is full (4096 bytes at least) or the stream is
  // destroyed.
  virtual std::unique_ptr<std::istream> OpenInput(const Path& path) = 0;
  virtual std::unique_ptr<std::ostream> OpenOutput(const Path& path) = 0;

  // Waits before another attempt. Part of the seam so that a test counts the waits instead of
  // spending them.
  virtual void Pause(std::chrono::milliseconds time) = 0;
};

// The real disk of this platform.
Disk& NativeDisk();

// The disk that the engine uses: the real one, unless a DiskOverride is alive.
Disk& CurrentDisk();

// Puts another disk in the real one's place while it lives. For tests; not for threads.
class DiskOverride {
 public:
  explicit DiskOverride(Disk& disk);
  ~DiskOverride();
  DiskOverride(const DiskOverride&) = delete;
  DiskOverride& operator=(const DiskOverride&) = delete;

 private:
  Disk* previous_;
};

// Creates a folder and its missing ancestors. True when a folder is there afterwards; on false the
// ancestors created so far stay.
bool CreateFolders(const Path& path);

// The same, with each folder that got a new entry flushed: what is put into the new folder later is
// not lost with it. False also when that could not be done; the folder may be there then.
bool CreateFoldersDurably(const Path& path);

// Whether a path is absolute by the platform's own rule. On Windows `C:\x`, `\\server\share` and
// `\\?\C:\x` are; `C:x`, `\x` and `x` are not.
bool IsAbsolute(const Path& path);

// The path without trailing separators and "." elements: the name of the entry itself, which a
// system call would otherwise follow if it is a link. A root stays as it is.
Path WithoutTrailingSeparators(const Path& path);

}  // namespace k7k
