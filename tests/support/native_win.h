// Conditions that Windows alone has. Paths have "\" or "/" as separators and no more than 247
// characters.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "fs/disk.h"
#include "fs/handle_win.h"

namespace k7k::test {

// A folder that is a reparse point to another one, which need not exist. Windows alone, not Wine.
void MakeJunction(const Path& target, const Path& junction);

// A file or folder that somebody has open for reading, or with the rights given, sharing what the
// FILE_SHARE_ bits say.
class SharedOpen {
 public:
  SharedOpen(Path path, DWORD share, DWORD access = GENERIC_READ);

 private:
  KernelHandle handle_;
};

// Every byte of a file locked by somebody: opening it works, reading and writing it do not. Windows
// alone: Wine lets others read.
class LockedBytes {
 public:
  explicit LockedBytes(Path path);

 private:
  KernelHandle handle_;
};

// While it lives, a free drive letter stands for a folder, as "subst" makes it.
class SubstitutedDrive {
 public:
  explicit SubstitutedDrive(Path folder);
  ~SubstitutedDrive();
  SubstitutedDrive(const SubstitutedDrive&) = delete;
  SubstitutedDrive& operator=(const SubstitutedDrive&) = delete;

  Path root() const { return drive_ + L"\\"; }

 private:
  std::wstring folder_;
  std::wstring drive_;  // "X:"
};

// The path with the short name of its last component; nothing when the volume makes none.
std::optional<Path> ShortPath(const Path& path);

}  // namespace k7k::test
