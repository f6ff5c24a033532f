// Where the program lies, and the bundle beside it.
#pragma once

#include "fs/disk.h"

namespace k7k {

// The folder that holds the running executable; empty when the system does not tell.
Path GetProgramFolder();

// The bundle folder that belongs to a program folder: <folder>\..\plugin\k7k-obs-audio by taking
// the parent's name, not checked. For an empty program folder the relative path that is left over
// is meant: it is then looked up in the current folder, and the bundle's check judges it.
Path BundleRootBeside(const Path& program_folder);

// The bundle folder of the running program.
Path GetBundleRoot();

}  // namespace k7k
