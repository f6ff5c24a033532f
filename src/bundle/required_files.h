// The files that make a copy of the plugin complete.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "fs/disk.h"

namespace k7k {

struct RequiredFile {
  // The text is ASCII, so that both forms are the same characters. One too long does not compile.
  template <std::size_t length>
  constexpr RequiredFile(const char (&text)[length]) : key(text) {
    std::copy(text, text + length, path);
  }

  wchar_t path[64]{};  // relative to the bundle folder, joined to it to reach the file
  const char* key;     // the same text, under which the file stands in the manifest
};

// In the order of every check, comparison and manifest entry: it decides which failure is met
// first. The first is the plugin library, the others are its data files.
inline constexpr auto RequiredFiles = std::to_array<RequiredFile>({
    "bin/64bit/k7k-obs-audio.dll",
    "data/locale/en-US.ini",
    "data/locale/zh-TW.ini",
    "data/locale/zh-CN.ini",
    "data/locale/ja-JP.ini",
    "data/locale/ko-KR.ini",
});

// Whether a file is there as itself: a regular file whose name is not a reparse point.
bool IsPlainFile(const Path& path);

}  // namespace k7k
