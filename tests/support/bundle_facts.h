// What a bundle must hold, written by hand and without the engine: the one copy of it in the C++
// tests, from which their other expectations follow. (The Python tests' is protocol/payload.py.)
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace k7k::test {

// The required files, in order; the first is the library.
inline constexpr std::array kFiles{
    "bin/64bit/k7k-obs-audio.dll", "data/locale/en-US.ini", "data/locale/zh-TW.ini",
    "data/locale/zh-CN.ini",       "data/locale/ja-JP.ini", "data/locale/ko-KR.ini",
};

// The manifest's first lines.
inline constexpr std::array<std::string_view, 4> kHeaderLines{
    "K7K_OBS_CONNECTOR_MANIFEST_V1",
    "connector-version=1.0.3.0",
    "protocol-version=1",
    "obs-major-range=29-32",
};

inline constexpr std::span kDataFiles = std::span(kFiles).subspan(1);

// A locale file of no language, so that it is never required.
inline constexpr char kExtraLocale[] = "data/locale/xx-XX.ini";

constexpr std::size_t PlaceOf(std::string_view file) {
  return static_cast<std::size_t>(std::find(kFiles.begin(), kFiles.end(), file) - kFiles.begin());
}

// The name below the bundle's "data" folder of a file there.
constexpr std::string_view BelowData(std::string_view file) { return file.substr(5); }

inline constexpr std::uint64_t kManifestBytes = [] {
  std::uint64_t bytes = 0;
  for (const std::string_view line : kHeaderLines) bytes += line.size() + 1;
  for (const std::string_view file : kFiles) bytes += 64 + 2 + file.size() + 1;
  return bytes;
}();

// Of WriteBundle: the required files, and all.
inline constexpr std::uint64_t kFilesBytes = 32 * kFiles.size();
inline constexpr std::uint64_t kBundleBytes = kFilesBytes + kManifestBytes;

// Of WriteSteppedBundle: each required file, the first of them, all of them, and the whole bundle.
// No two sums of some of the sizes are equal, so that a sum tells which files are in it.
constexpr std::uint64_t SteppedSize(std::size_t place) {
  return place == 0 ? 100000 : std::uint64_t{1} << (place - 1);
}
constexpr std::uint64_t SteppedBytes(std::size_t count) {
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < count; ++i) bytes += SteppedSize(i);
  return bytes;
}
inline constexpr std::uint64_t kSteppedBytes = SteppedBytes(kFiles.size());
inline constexpr std::uint64_t kSteppedBundleBytes = kSteppedBytes + kManifestBytes;

// The same numbers counted by hand, so that a slip above does not carry all the tests with it.
static_assert(kFiles.size() == 6 && kFilesBytes == 192);
static_assert(kManifestBytes == 631 && kBundleBytes == 823);
static_assert(kSteppedBytes == 100031 && kSteppedBundleBytes == 100662);

}  // namespace k7k::test
