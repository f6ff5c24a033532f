#include "support/bundles.h"

#include "support/reference_digest.h"
#include "support/test_tree.h"

namespace k7k::test {

Digests DigestOfEach(const std::string& digest) {
  Digests digests;
  digests.fill(digest);
  return digests;
}

std::vector<std::string> ManifestLines(const Digests& digests) {
  std::vector<std::string> lines(kHeaderLines.begin(), kHeaderLines.end());
  for (std::size_t i = 0; i < kFiles.size(); ++i) lines.push_back(digests[i] + "  " + kFiles[i]);
  return lines;
}

std::string ManifestText(const Digests& digests) {
  std::string text;
  for (const std::string& line : ManifestLines(digests)) text += line + "\n";
  return text;
}

std::string ManifestText(const std::string& digest_of_each) {
  return ManifestText(DigestOfEach(digest_of_each));
}

void WriteBundle(const Path& folder, char letter) {
  for (const char* file : kFiles) WriteFile(folder / file, std::string(32, letter));
  WriteFile(folder / "manifest.sha256", ManifestText(letter == 'A' ? kDigestOfA : kDigestOfB));
}

void WriteSteppedBundle(const Path& folder) {
  static const Digests kDigests = [] {
    Digests digests;
    for (std::size_t i = 0; i < digests.size(); ++i) {
      digests[i] = ReferenceDigest(std::string(SteppedSize(i), 'x'));
    }
    return digests;
  }();
  for (std::size_t i = 0; i < kFiles.size(); ++i) {
    WriteFile(folder / kFiles[i], std::string(SteppedSize(i), 'x'));
  }
  WriteFile(folder / "manifest.sha256", ManifestText(kDigests));
}

void WritePortableObs(const Path& root) {
  WriteFile(root / "bin/64bit/obs64.exe", "fake-obs");
  WriteFile(root / "portable_mode.txt", "portable");
}

void WritePortableLibrary(const Path& root, char letter) {
  WriteFile(root / "obs-plugins/64bit/k7k-obs-audio.dll", std::string(32, letter));
}

void WritePortableData(const Path& root, char letter) {
  for (const char* file : kDataFiles) {
    WriteFile(root / "data/obs-plugins/k7k-obs-audio" / BelowData(file), std::string(32, letter));
  }
}

}  // namespace k7k::test
