#include "support/bundles.h"

#include "support/test_tree.h"

namespace k7k::test {

namespace {

// Digests of 1, 10, 100, 1000, 10000 and 100000 times "x", from sha256sum.
const Digests kSteppedDigests{
    "2d711642b726b04401627ca9fbac32f5c8530fb1903cc4db02258717921a4881",
    "fc11d6f28e59d3cc33c0b14ceb644bf0902ebd63d61218dffe9e7dac7c254542",
    "09ecb6ebc8bcefc733f6f2ec44f791abeed6a99edf0cc31519637898aebd52d8",
    "44f8354494a5ba03ba1792a8d3e9c534c47a9181980fde7a3f44b06ef2ae7c7f",
    "e4ee97ec252749d2096447e849628d0d7734f51700416eefbb33574bf0b3ee75",
    "d69e68988157833272305aaf21f453c800346e8a3640db6578e260215542e5d4",
};

constexpr std::array<const char*, 5> kLocales{"en-US.ini", "zh-TW.ini", "zh-CN.ini", "ja-JP.ini",
                                              "ko-KR.ini"};

}  // namespace

std::string ManifestText(const Digests& digests) {
  std::string text =
      "K7K_OBS_CONNECTOR_MANIFEST_V1\n"
      "connector-version=1.0.3.0\n"
      "protocol-version=1\n"
      "obs-major-range=29-32\n";
  for (std::size_t i = 0; i < kFiles.size(); ++i) text += digests[i] + "  " + kFiles[i] + "\n";
  return text;
}

std::string ManifestText(const std::string& digest_of_each) {
  Digests digests;
  digests.fill(digest_of_each);
  return ManifestText(digests);
}

void WriteBundle(const Path& folder, char letter) {
  for (const char* file : kFiles) WriteFile(folder / file, std::string(32, letter));
  WriteFile(folder / "manifest.sha256", ManifestText(letter == 'A' ? kDigestOfA : kDigestOfB));
}

void WriteSteppedBundle(const Path& folder) {
  std::size_t size = 1;
  for (const char* file : kFiles) {
    WriteFile(folder / file, std::string(size, 'x'));
    size *= 10;
  }
  WriteFile(folder / "manifest.sha256", ManifestText(kSteppedDigests));
}

std::uint64_t SteppedBytes(std::size_t count) {
  constexpr std::array<std::uint64_t, 7> kSums{0, 1, 11, 111, 1111, 11111, kSteppedBytes};
  return kSums.at(count);
}

void WritePortableObs(const Path& root) {
  WriteFile(root / "bin/64bit/obs64.exe", "fake-obs");
  WriteFile(root / "portable_mode.txt", "portable");
}

void WritePortableLibrary(const Path& root, char letter) {
  WriteFile(root / "obs-plugins/64bit/k7k-obs-audio.dll", std::string(32, letter));
}

void WritePortableData(const Path& root, char letter) {
  for (const char* locale : kLocales) {
    WriteFile(root / "data/obs-plugins/k7k-obs-audio/locale" / locale, std::string(32, letter));
  }
}

}  // namespace k7k::test
