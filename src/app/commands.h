// The three command handlers. Each calls one engine operation, writes the report and returns the
// exit code. Answers go to standard output; failures and every "detail=" line to standard error.
//
//   0 success   1, 2 bundle   20 no standard target   21, 41 OBS runs   40 portable root refused
//   22 + InstallOutcome, 42 + InstallOutcome   32 + RemovalOutcome, 52 + RemovalOutcome
//
// A command that is not the handler's own returns kUsageExitCode without a line.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

int RunBundleCommand(const std::wstring& command);
int RunStandardCommand(const std::wstring& command);
int RunPortableCommand(const std::wstring& command, const Path& obs_root);

}  // namespace k7k
