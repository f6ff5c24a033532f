#include "fs/path_identity.h"

namespace k7k {

namespace {

// base with the names of rest behind it, "." and ".." taken out. base keeps its text: normalising
// it would cost a network share one of its two leading separators.
Path Append(Path base, const Path& rest) {
  for (const Path& name : rest) {
    if (name == "..") {
      base = base.parent_path();
    } else if (name != ".") {
      base /= name;
    }
  }
  return base;
}

}  // namespace

bool IsReparsePoint(const Path& path) { return CurrentDisk().IsReparsePoint(path); }

Path ResolvePath(const Path& path, std::error_code& error) {
  error.clear();
  Path existing = path;
  Path rest;
  while (!existing.empty()) {
    const FinalPathAnswer answer = CurrentDisk().FinalPath(existing);
    if (answer.status == FileStatus::Unreadable) {
      error = std::make_error_code(std::errc::io_error);
      return {};
    }
    if (answer.status != FileStatus::Absent) {
      return Append(answer.path, rest);
    }
    const Path parent = existing.parent_path();
    if (parent == existing) break;  // a root that is not there
    // A trailing separator names no component of its own.
    if (existing.has_filename()) {
      rest = rest.empty() ? existing.filename() : existing.filename() / rest;
    }
    existing = parent;
  }
  return path.lexically_normal();
}

bool IsWithin(const Path& candidate, const Path& root) {
  // The cross toolchain's library takes a network share for a relative path, below an empty one.
  const bool comparable = IsAbsolute(candidate) == IsAbsolute(root);
  const Path relative = comparable ? candidate.lexically_relative(root) : Path();
  if (relative.empty()) return candidate.compare(root) == 0;
  return *relative.begin() != "..";
}

bool Overlap(const Path& a, const Path& b) { return IsWithin(a, b) || IsWithin(b, a); }

}  // namespace k7k
