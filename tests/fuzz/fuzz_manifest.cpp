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

// The bundle's files hold 32 times "A" to "F". Their digests, from sha256sum.
const Contents& Digests() {
  static const Contents digests{
      {"bin/64bit/k7k-obs-audio.dll",
       "22a48051594c1949deed7040850c1f0f8764537f5191be56732d16a54c1d8153"},
      {"data/locale/en-US.ini", "425ed4e4a36b30ea21b90e21c712c649e8214c29b7eaf68089d1039c6e55384c"},
      {"data/locale/zh-TW.ini", "4113d54b0b611294b7f595b691c9db541fc0fc719848d6c5c34522eacc0b3a24"},
      {"data/locale/zh-CN.ini", "bb391415c05e39d77ca17381d3be3f7d0cd5e5332e5a579311adaa0aa62106e9"},
      {"data/locale/ja-JP.ini", "6c80f166689b9cbb37686ddf9f0d01f6ae1e618d9c6d833679f983f49a72fcf9"},
      {"data/locale/ko-KR.ini", "ddd3c9e68bc7f05f01f584db9b1b4e27a0d1aa379a6bdcd6988235a515e94003"},
  };
  return digests;
}

MemoryDisk& DiskWithBundle() {
  static MemoryDisk disk;
  if (disk.files.empty()) {
    char fill = 'A';
    for (const std::string& name : RequiredNames()) {
      disk.files["bundle/" + name] = std::string(32, fill++);
    }
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
