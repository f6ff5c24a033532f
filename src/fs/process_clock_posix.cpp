#include <time.h>
#include <unistd.h>

#include "fs/process_clock.h"

namespace k7k {

std::uint64_t MillisecondsSinceStart() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  const auto seconds = static_cast<std::uint64_t>(now.tv_sec);
  const auto nanoseconds = static_cast<std::uint64_t>(now.tv_nsec);
  return (seconds * 1000) + (nanoseconds / 1000000);
}

std::uint32_t ProcessIdentifier() { return static_cast<std::uint32_t>(::getpid()); }

}  // namespace k7k
