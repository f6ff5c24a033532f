// How large a part of a campaign is run.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "fault_platform.h"

namespace k7k::test {

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// Shares are given as the n of "one in n".
struct Shares {
  int usual = 1;
  int sanitized = 1;
  int slow = 1;  // where opening files is slow
};

// K7K_CAMPAIGN says it: "full", or a number n. Without it the share that suits the build.
inline int WantedShare(const Shares& shares) {
  const char* wanted = std::getenv("K7K_CAMPAIGN");
  if (wanted == nullptr) {
    return OpeningFilesIsSlow() ? shares.slow : kSanitized ? shares.sanitized : shares.usual;
  }
  return std::string_view(wanted) == "full" ? 1 : std::max(1, std::atoi(wanted));
}

// The same ones in every run of a campaign, and spread so that they do not keep step with what
// takes turns, whatever the share (multiplication by the golden ratio).
inline bool IsInShare(int number, int share) {
  const std::uint32_t spread = static_cast<std::uint32_t>(number) * 2654435769U;
  return spread <= std::numeric_limits<std::uint32_t>::max() / static_cast<std::uint32_t>(share);
}

}  // namespace k7k::test
