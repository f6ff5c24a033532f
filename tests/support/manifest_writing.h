// A bundle whose manifest is written, or refused.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "bundle/manifest.h"
#include "support/bundles.h"
#include "support/test_tree.h"

namespace k7k::test {

inline constexpr auto kIncomplete = L"Cannot manifest an incomplete bundle";
inline constexpr auto kNotHashed = L"Could not hash a required plugin file";
inline constexpr auto kNotCreated = L"Could not create the integrity manifest";
inline constexpr auto kNotFinished = L"Could not finish the integrity manifest";

class ManifestWriteTestBase : public testing::Test {
 protected:
  void SetUp() override { test::WriteBundle(bundle, 'A'); }

  void ExpectWritten(const std::string& content) const {
    std::wstring detail = kUntouched;
    EXPECT_TRUE(WriteManifest(bundle, &detail));
    EXPECT_EQ(detail, kUntouched);
    EXPECT_EQ(ReadFile(manifest), content);
  }

  // The writer must fail and leave everything on disk as it was, the old manifest too.
  void ExpectRefused(const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    EXPECT_FALSE(WriteManifest(bundle, &detail));
    EXPECT_EQ(detail, message);
    EXPECT_FALSE(WriteManifest(bundle, nullptr));
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  void Remove(const Path& path) const { ASSERT_TRUE(NativeDisk().RemoveAll(bundle / path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path manifest = bundle / "manifest.sha256";
  const Path library = bundle / "bin/64bit/k7k-obs-audio.dll";
};

}  // namespace k7k::test
