// What keeps a power cut from taking a rename back.
#pragma once

#include <vector>

#include "fs/disk.h"

namespace k7k {

// Has the new entry of a renamed file or folder put on the medium. Its folder's list of entries is
// flushed, and so is a file at or below the new name: FAT answers the flush of a folder without
// doing it, and takes the folders above a file along when that is flushed ("fastfat File System
// Driver", sample). It is the first of `files` that can be flushed; when none of them is there the
// folder is enough. Both are asked for, whatever the first answers. On false a power cut may take
// the rename back.
bool FlushRename(const Path& renamed, const std::vector<Path>& files);

}  // namespace k7k
