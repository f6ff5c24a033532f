// What the tests need to know of the platform that they run on.
#pragma once

#include "fs/disk.h"

namespace k7k::test {

bool RunsOnWindows();  // the Windows build, under Wine or not
bool RunsUnderWine();

// Error codes that the platform gives for a failed move.
int AccessDeniedCode();
int SharingViolationCode();  // POSIX: busy

// A path of an absolute folder that need not exist: "C:\..." or "/...", from a text like "a/b".
Path AbsolutePath(const char* relative);

}  // namespace k7k::test
