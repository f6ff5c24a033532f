#include <windows.h>

#include "fs/process_clock.h"

namespace k7k {

std::uint64_t MillisecondsSinceStart() { return ::GetTickCount64(); }

std::uint32_t ProcessIdentifier() { return ::GetCurrentProcessId(); }

}  // namespace k7k
