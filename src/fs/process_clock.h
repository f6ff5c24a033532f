// What makes a private name unique: this process and this moment.
#pragma once

#include <cstdint>

namespace k7k {

std::uint64_t MillisecondsSinceStart();  // since the system started, never decreasing
std::uint32_t ProcessIdentifier();

}  // namespace k7k
