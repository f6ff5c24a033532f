// The manifest reader: an input is the bytes of a manifest that stands in a bundle.
#include "bundle/manifest.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_disk.h"
#include "fuzz/reference_manifest.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

const std::string kAccepted = "accepted";
const std::string kInvalid = "Bundle integrity manifest is invalid";
const std::string kEntryInvalid = "Bundle integrity manifest entry is invalid";
const std::string kMismatch = "Bundle file hash does not match manifest";

// What the corpus is made for (make_corpus.py): the bundle's files hold 32 times "A", "B" and so
// on.
Contents FilesOfBundle() {
  Contents files;
  char fill = 'A';
  for (const std::string& name : RequiredNames()) files[name] = std::string(32, fill++);
  return files;
}

const Contents& Digests() {
  static const Contents digests = [] {
    Contents of_files = FilesOfBundle();
    for (auto& [name, content] : of_files) content = ReferenceDigest(content);
    return of_files;
  }();
  return digests;
}

MemoryDisk& DiskWithBundle() {
  static MemoryDisk disk;
  if (disk.files.empty()) {
    for (const auto& [name, content] : FilesOfBundle()) disk.files["bundle/" + name] = content;
  }
  return disk;
}

}  // namespace

std::vector<std::string> OutcomesOfTarget() {
  return {kAccepted, kInvalid, kEntryInvalid, kMismatch};
}

}  // namespace k7k::test

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace k7k::test;
  const std::string manifest(data, data + size);
  MemoryDisk& disk = DiskWithBundle();
  disk.files["bundle/manifest.sha256"] = manifest;

  const std::wstring expected = JudgeManifestByDigests(manifest, Digests());
  constexpr auto kUntouched = L"untouched";
  std::wstring detail = kUntouched;
  const bool accepted = k7k::VerifyManifest(AbsolutePath("bundle"), &detail);
  const bool right =
      expected.empty() ? accepted && detail == kUntouched : !accepted && detail == expected;
  if (!right || disk.changes != 0) {
    Disagree("expected " + Shown(expected) + ", got " + (accepted ? "accepted " : "refused ") +
             Shown(detail) + ", changes: " + std::to_string(disk.changes));
  }
  CountOutcome(accepted ? kAccepted : std::string(detail.begin(), detail.end()));
  return 0;
}
