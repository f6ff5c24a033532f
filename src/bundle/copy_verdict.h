// The answer to every question about a copy of the plugin.
#pragma once

#include <cstdint>

namespace k7k {

struct CopyVerdict {
  bool present = false;     // it exists; false as well when its status cannot be read
  bool valid = false;       // every check passed; never true when present is false
  std::uint64_t bytes = 0;  // as the operation that returns the verdict counts
};

enum class InstallState { NotInstalled, InstalledValid, InstalledInvalid };

inline InstallState StateOf(const CopyVerdict& verdict) {
  if (!verdict.present) return InstallState::NotInstalled;
  return verdict.valid ? InstallState::InstalledValid : InstallState::InstalledInvalid;
}

}  // namespace k7k
