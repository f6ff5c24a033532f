// The one check of a bundle: a folder with the required files and their manifest.
#pragma once

#include <string>

#include "bundle/copy_verdict.h"
#include "fs/disk.h"

namespace k7k {

// Checks that folder is a plain tree with all required files, none empty, and a manifest that
// verifies. Other files in it are neither checked nor counted. The first failure ends the check and
// writes its message to detail (may be null); a missing folder and a path that is not a folder
// write none.
//
// bytes: the sizes of the required files, summed up to where the check stopped, and for a valid
// bundle the size of the manifest too. When the manifest verified and its size then cannot be read,
// the verdict is not valid and bytes is one less than the sum of the files (see the .cpp file).
CopyVerdict InspectBundle(const Path& folder, std::wstring* detail);

}  // namespace k7k
