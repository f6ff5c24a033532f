// The command line: one command a run.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

// The exit code of a command line that is not one of the program's.
inline constexpr int kUsageExitCode = 64;

// Runs the command that the command line names and returns the exit code. argument_count counts the
// program's own name, word is the first argument and folder the second (empty when missing). Words
// are matched exactly; anything else gets the usage text on standard error and kUsageExitCode.
int Dispatch(int argument_count, const std::wstring& word, const Path& folder);

}  // namespace k7k
