// Removal of a tree on Windows through folder handles.
#pragma once

#include "fs/disk.h"

namespace k7k {

// Disk::RemoveAll. Each entry is opened relative to the open folder that holds it and deleted
// through that handle, so that a link put in a folder's place while the removal runs leads nowhere.
bool RemoveWithoutFollowing(const Path& path);

}  // namespace k7k
