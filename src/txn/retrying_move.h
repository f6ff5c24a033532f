// The one way in which a transaction moves anything.
#pragma once

#include "fs/disk.h"

namespace k7k {

// Renames a file or a whole folder, up to 20 times, 25 milliseconds apart: another process, OBS
// above all, may hold it open for a moment. Returns 0, or the system's raw error code of the last
// attempt; then nothing has moved.
int RetryingMove(const Path& from, const Path& to);

}  // namespace k7k
