// A portable OBS that a test makes wrong in one way or another.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/bundles.h"
#include "support/test_tree.h"
#include "targets/portable_target.h"

namespace k7k::test {

inline constexpr auto kNotAbsolute = L"Portable OBS root must be an absolute path";
inline constexpr auto kUnsafeRoot = L"Portable OBS root is unavailable or unsafe";
inline constexpr auto kUnsafeBin = L"The portable OBS executable path is unsafe";
inline constexpr auto kNoObs = L"The selected folder does not contain bin\\64bit\\obs64.exe";
inline constexpr auto kNoMarker = L"The selected OBS folder is not marked for portable mode";
inline constexpr auto kUnsafeParent = L"A portable OBS plugin parent is unavailable or unsafe";
inline constexpr auto kUnsafeDll = L"The portable OBS plugin DLL path is unsafe";

class PortableRootTestBase : public testing::Test {
 protected:
  void SetUp() override { test::WritePortableObs(root); }

  void ExpectAccepted(const Path& given) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    EXPECT_TRUE(ValidatePortableRoot(given, &detail)) << given;
    EXPECT_EQ(detail, kUntouched);
    EXPECT_TRUE(ValidatePortableRoot(given, nullptr)) << given;
    EXPECT_EQ(TakeTree(folder.path()), before);
  }
  void ExpectAccepted() const { ExpectAccepted(root); }

  void ExpectRefused(const Path& given, const std::wstring& message) const {
    const Tree before = TakeTree(folder.path());
    std::wstring detail = kUntouched;
    EXPECT_FALSE(ValidatePortableRoot(given, &detail)) << given;
    EXPECT_EQ(detail, message);
    EXPECT_FALSE(ValidatePortableRoot(given, nullptr)) << given;
    EXPECT_EQ(TakeTree(folder.path()), before);
  }
  void ExpectRefused(const std::wstring& message) const { ExpectRefused(root, message); }

  void Remove(const Path& path) const { ASSERT_TRUE(NativeDisk().RemoveAll(root / path)); }

  // Puts a link in the place of a folder of the root, to what was there.
  void ReplaceByLink(const Path& path) const {
    ASSERT_EQ(0, NativeDisk().Move(root / path, folder / "moved"));
    MakeFolderLink(folder / "moved", root / path);
  }

  const TestFolder folder;
  const Path root = folder / "obs";
  const Path executable = root / "bin/64bit/obs64.exe";
};

}  // namespace k7k::test
