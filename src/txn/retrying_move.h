// The one way in which a transaction moves anything.
#pragma once

#include "fs/disk.h"

namespace k7k {

// Renames a file or a whole folder, up to kAttempts times. Returns 0, or the system's raw error
// code of the last attempt; then nothing has moved.
int RetryingMove(const Path& from, const Path& to);

}  // namespace k7k
