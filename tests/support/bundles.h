// Bundles and OBS folders for the tests, written without any help of the engine: paths, manifest
// lines and digests stand here as texts of their own.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "fs/disk.h"

namespace k7k::test {

// What a test puts into a detail message to see that nothing wrote it.
inline constexpr wchar_t kUntouched[] = L"(what it held before)";

// The required files, in order.
inline constexpr std::array<const char*, 6> kFiles{
    "bin/64bit/k7k-obs-audio.dll", "data/locale/en-US.ini", "data/locale/zh-TW.ini",
    "data/locale/zh-CN.ini",       "data/locale/ja-JP.ini", "data/locale/ko-KR.ini",
};

inline constexpr std::uint64_t kManifestBytes = 631;

// Digests of 32 times "A" and 32 times "B", from sha256sum.
inline constexpr char kDigestOfA[] =
    "22a48051594c1949deed7040850c1f0f8764537f5191be56732d16a54c1d8153";
inline constexpr char kDigestOfB[] =
    "425ed4e4a36b30ea21b90e21c712c649e8214c29b7eaf68089d1039c6e55384c";

using Digests = std::array<std::string, 6>;

// The manifest that records these digests.
std::string ManifestText(const Digests& digests);
std::string ManifestText(const std::string& digest_of_each);

// A complete bundle, each required file 32 times the letter ("A" or "B").
void WriteBundle(const Path& folder, char letter);

// A complete bundle whose files have 1, 10, 100, 1000, 10000 and 100000 bytes, so that a sum of
// sizes tells which files are in it.
void WriteSteppedBundle(const Path& folder);
inline constexpr std::uint64_t kSteppedBytes = 111111;
// The sum of the first `count` sizes.
std::uint64_t SteppedBytes(std::size_t count);

// A portable OBS without the plugin: the executable and the marker "portable_mode.txt".
void WritePortableObs(const Path& root);

// The plugin's pieces in a portable OBS, as WriteBundle's files with the letter.
void WritePortableLibrary(const Path& root, char letter);
void WritePortableData(const Path& root, char letter);

}  // namespace k7k::test
