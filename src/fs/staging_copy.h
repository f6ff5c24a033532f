// The copy of a payload tree into a private folder, where it is verified before it is used.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

// Copies everything below source into staging. staging itself is created (its parent must exist); a
// folder that is there already is used, and a file in it that is in the way makes the copy fail.
// Folders and regular files are copied, links followed, and flushed, the folders last; callers have
// the payload inspected for links first. Stops at the first problem and leaves what it has copied:
// the caller removes it. On false, detail (may be null) is one of
//   "Could not create the staging directory", "Could not read the complete payload",
//   "Payload entry escaped its root", "Payload contains an unsupported entry",
//   "Could not copy the complete payload".
// A folder that cannot be listed ends the copy with success; the check of the staged copy finds
// what is missing.
bool StageCopy(const Path& source, const Path& staging, std::wstring* detail);

}  // namespace k7k
