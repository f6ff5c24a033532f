// What a system's bare calls do for floor.cpp; each ends the program when it fails. floor_win.cpp
// makes them of Win32, floor_posix.cpp of POSIX.
#pragma once

#include <array>
#include <filesystem>
#include <vector>

namespace k7k::bench {

using Path = std::filesystem::path;
using Digest = std::array<unsigned char, 32>;

struct Entry {
  Path name;
  bool is_folder;
};

[[noreturn]] void Fail(const char* call, const Path& path);

Digest HashFile(const Path& file);  // SHA-256, read in pieces of 64 KiB
std::vector<Entry> ListFolder(const Path& folder);
void CopyFlushed(const Path& from, const Path& to);  // a file; the copy is flushed
void CreateFolder(const Path& folder);
void Flush(const Path& path);  // a file or a folder
void Rename(const Path& from, const Path& to);
void RemoveFile(const Path& file);
void RemoveFolder(const Path& folder);  // an empty one

}  // namespace k7k::bench
