// The private names of a transaction, and the removal of what stands under them.
#pragma once

#include <cstdint>
#include <string>

#include "fs/disk.h"

namespace k7k {

// A private path in parent: ".k7k-obs-audio.", the tag, ".", the process identifier, ".", the
// milliseconds since the system started. Touches no disk and reserves nothing: the caller asks
// whether the path is free. Two calls within a millisecond differ by their tags alone.
Path TransactionPath(const Path& parent, const wchar_t* tag);

// The name alone, of a given process and moment.
std::wstring TransactionName(const wchar_t* tag, std::uint32_t process, std::uint64_t milliseconds);

// Removes a file, or a folder with everything below it; links inside are removed as links. True
// when nothing remains (a dangling link counts as nothing and stays). False when the path cannot be
// examined, is a reparse point (it and its target stay), or was not removed completely.
bool RemoveTree(const Path& path);

}  // namespace k7k
