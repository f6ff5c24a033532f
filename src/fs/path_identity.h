// The rules by which the program judges a path: is it a reparse point, where does it really lie,
// and does it lie inside another. No other place compares path texts.
#pragma once

#include <system_error>

#include "fs/disk.h"

namespace k7k {

// Whether the last component of path is a reparse point (link, junction, mount point, any other).
// A path whose attributes cannot be read is none, so callers ask for existence first.
bool IsReparsePoint(const Path& path);

// The comparable form of a path: the longest existing part by its final path (links resolved,
// letter case from the disk), the rest appended after lexical normalisation. Clears error first.
// Sets error and returns an empty path when the existing part cannot be resolved for any reason
// other than that nothing is there. The result is for comparing, never for a file operation.
Path ResolvePath(const Path& path, std::error_code& error);

// Whether candidate is root or lies below it, by their texts alone: case-sensitive, runs of
// separators count as one. Meant for two results of ResolvePath.
bool IsWithin(const Path& candidate, const Path& root);

// Whether one of two paths is, or lies inside, the other.
bool Overlap(const Path& a, const Path& b);

}  // namespace k7k
