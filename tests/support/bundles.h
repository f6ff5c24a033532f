// Bundles and OBS folders for the tests, written without any help of the engine.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "fs/disk.h"
#include "support/bundle_facts.h"

namespace k7k::test {

// What a test puts into a detail message to see that nothing wrote it.
inline constexpr wchar_t kUntouched[] = L"(what it held before)";

// Digests of 32 times "A" and 32 times "B", from sha256sum.
inline constexpr char kDigestOfA[] =
    "22a48051594c1949deed7040850c1f0f8764537f5191be56732d16a54c1d8153";
inline constexpr char kDigestOfB[] =
    "425ed4e4a36b30ea21b90e21c712c649e8214c29b7eaf68089d1039c6e55384c";

using Digests = std::array<std::string, kFiles.size()>;
Digests DigestOfEach(const std::string& digest);

// The manifest that records these digests: its lines without their ends, and its text.
std::vector<std::string> ManifestLines(const Digests& digests);
std::string ManifestText(const Digests& digests);
std::string ManifestText(const std::string& digest_of_each);

// A complete bundle, each required file 32 times the letter ("A" or "B").
void WriteBundle(const Path& folder, char letter);

// A complete bundle whose files have the stepped sizes.
void WriteSteppedBundle(const Path& folder);

// A portable OBS without the plugin: the executable and the marker "portable_mode.txt".
void WritePortableObs(const Path& root);

// The plugin's pieces in a portable OBS, as WriteBundle's files with the letter.
void WritePortableLibrary(const Path& root, char letter);
void WritePortableData(const Path& root, char letter);

}  // namespace k7k::test
