// Removal of a tree on POSIX through folder handles.
#pragma once

#include <unistd.h>

#include "fs/disk.h"
#include "fs/owner.h"

namespace k7k {

struct FileDescriptorTraits {
  using Value = int;
  static Value Invalid() { return -1; }
  static void Close(Value descriptor) { ::close(descriptor); }
};
using FileDescriptor = Owner<FileDescriptorTraits>;

// Disk::RemoveAll. Each entry is removed relative to the open folder that holds it, so that a link
// put in a folder's place while the removal runs leads nowhere.
bool RemoveWithoutFollowing(const Path& path);

}  // namespace k7k
