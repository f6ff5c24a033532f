// Where the plugins of an installed OBS lie.
#pragma once

#include "fs/disk.h"

namespace k7k {

// The folder obs-studio\plugins under the program-data folder: the plugin parent of the standard
// target. Empty when the system gives no program-data folder. Nothing on disk is looked at.
Path GetStandardPluginsRoot();

// The program-data folder as the system gives it (Windows: the known folder ProgramData; POSIX: the
// environment variable of that name, which must be an absolute path). Empty when it gives none.
Path GetProgramDataFolder();

}  // namespace k7k
