// Whether a folder tree may be trusted as a plain tree.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

// True when root exists, is not a reparse point, and no entry below it is one. Looks only, changes
// nothing. On false, detail (may be null) is one of
//   "Path does not exist", "Reparse-point roots are not accepted",
//   "Bundle contains a reparse point", "Could not inspect every bundle entry".
// A root that is a file passes, and so does what cannot be listed: the walk simply ends there.
// Callers that need a folder, or its content, test for it themselves.
bool InspectTree(const Path& root, std::wstring* detail);

}  // namespace k7k
