// The files that make a copy of the plugin complete.
#pragma once

#include <array>

#include "fs/disk.h"

namespace k7k {

struct RequiredFile {
  const wchar_t* path;  // relative to the bundle folder, joined to it to reach the file
  const char* key;      // the same text, under which the file stands in the manifest
};

// In the order of every check, comparison and manifest entry: it decides which failure is met
// first. The first is the plugin library, the others are its data files.
inline constexpr std::array<RequiredFile, 6> RequiredFiles{{
    {L"bin/64bit/k7k-obs-audio.dll", "bin/64bit/k7k-obs-audio.dll"},
    {L"data/locale/en-US.ini", "data/locale/en-US.ini"},
    {L"data/locale/zh-TW.ini", "data/locale/zh-TW.ini"},
    {L"data/locale/zh-CN.ini", "data/locale/zh-CN.ini"},
    {L"data/locale/ja-JP.ini", "data/locale/ja-JP.ini"},
    {L"data/locale/ko-KR.ini", "data/locale/ko-KR.ini"},
}};

// Whether a file is there as itself: a regular file whose name is not a reparse point.
bool IsPlainFile(const Path& path);

}  // namespace k7k
