// A bundle whose manifest a test changes line by line.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bundle/manifest.h"
#include "support/bundles.h"
#include "support/test_tree.h"

namespace k7k::test {

inline constexpr auto kMissing = L"Bundle integrity manifest is missing";
inline constexpr auto kInvalid = L"Bundle integrity manifest is invalid";
inline constexpr auto kBadEntry = L"Bundle integrity manifest entry is invalid";
inline constexpr auto kMismatch = L"Bundle file hash does not match manifest";

// The place of the first line that is an entry.
inline constexpr std::size_t kFirstEntry = kHeaderLines.size();

inline std::string WithEnds(const std::vector<std::string>& lines, const std::string& end = "\n") {
  std::string text;
  for (const std::string& line : lines) text += line + end;
  return text;
}

class ManifestLinesTest : public testing::Test {
 protected:
  void SetUp() override { WriteBundle(bundle, 'A'); }

  void WriteManifestFile(const std::string& text) const { WriteFile(manifest, text); }

  void ExpectVerified(const std::string& text) const {
    WriteManifestFile(text);
    std::wstring detail = kUntouched;
    EXPECT_TRUE(VerifyManifest(bundle, &detail));
    EXPECT_EQ(detail, kUntouched);
  }

  // What is on disk must be refused with the message, and nothing may change.
  void ExpectRefused(const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    EXPECT_FALSE(VerifyManifest(bundle, &detail));
    EXPECT_EQ(detail, message);
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  void ExpectRefused(const std::string& text, const std::wstring& message) const {
    WriteManifestFile(text);
    ExpectRefused(message);
  }

  static std::string Entry(const std::string& path) { return kDigestOfA + ("  " + path); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path manifest = bundle / "manifest.sha256";

  // The lines of the bundle's manifest without their ends: the header, then the entries.
  std::vector<std::string> lines = ManifestLines(DigestOfEach(kDigestOfA));
};

}  // namespace k7k::test
