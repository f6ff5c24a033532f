#include <cerrno>

#include "support/platform.h"

namespace k7k::test {

bool RunsOnWindows() { return false; }
bool RunsUnderWine() { return false; }
int AccessDeniedCode() { return EACCES; }
int SharingViolationCode() { return EBUSY; }
Path AbsolutePath(const char* relative) { return Path("/") / relative; }

}  // namespace k7k::test
