// Where the self-test may make its throw-away folder.
#pragma once

#include "fs/disk.h"

namespace k7k {

// The user's temporary folder as the system names it; empty when it names none. Not created here.
Path GetTemporaryFolder();

}  // namespace k7k
