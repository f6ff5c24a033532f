// Conditions that make the disk refuse or change for real, as far as the platform can make them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fs/disk.h"

namespace k7k::test {

// Names of one entry that are unusual and valid on every platform: with spaces, with letters
// outside ASCII and outside the basic plane, with more than 200 characters, with dots.
std::vector<Path> OddNames();

// The path in the form in which the platform takes its names as they are, dots and spaces at their
// ends too (Windows: with the "\\?\" prefix).
Path ExactPath(const Path& path);

// An exact folder path below parent that has more than 260 characters. Not created.
Path LongFolder(const Path& parent);

// A named pipe in the file system. POSIX alone.
void MakeNamedPipe(const Path& path);

// What `ask` answers to somebody without special rights who works in the folder `base`, while the
// permission bits of `closed` are `mode`. POSIX asks in a process that has given up its rights.
// Windows denies reading or writing, as the bits say, to the account; never the way through a
// folder, which is everybody's there. Not under Wine, which denies nothing to the user of the
// prefix.
std::string AnswerWithoutRights(const Path& base, const Path& closed, unsigned mode,
                                const std::function<std::string()>& ask);

// Has `act` done once, just before the entry of that name is opened in an open folder: the moment
// for which a race waits long. POSIX alone.
void BeforeOpeningOf(const std::string& name, std::function<void()> act);

// A file or folder held open by somebody: others may read and write it. On Windows nobody may
// delete or move it; POSIX keeps nobody from that.
class HeldOpen {
 public:
  explicit HeldOpen(const Path& path);
  ~HeldOpen();
  HeldOpen(const HeldOpen&) = delete;
  HeldOpen& operator=(const HeldOpen&) = delete;

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
};

// Somebody who exchanges what stands at two paths, again and again, until destroyed. Either path
// may vanish meanwhile.
class Exchanger {
 public:
  // Scratch is a folder on their volume that the exchanger may use.
  Exchanger(const Path& a, const Path& b, const Path& scratch);
  ~Exchanger();
  Exchanger(const Exchanger&) = delete;
  Exchanger& operator=(const Exchanger&) = delete;

 private:
  struct Work;
  std::unique_ptr<Work> work_;
};

}  // namespace k7k::test
