// The comparison file by file, for the standard target.
#include <gtest/gtest.h>

#include "bundle/installed_copy.h"
#include "support/bundles.h"
#include "support/odd_disks.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::MakeFolder;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

class InstalledCopyCompareTest : public testing::Test {
 protected:
  void SetUp() override {
    test::WriteSteppedBundle(bundle);
    test::WriteSteppedBundle(installed);
  }

  void ExpectSame() const {
    std::uint64_t bytes = 7;
    EXPECT_TRUE(CompareInstalledFiles(bundle, installed, &bytes));
    EXPECT_EQ(bytes, test::kSteppedBytes);
    EXPECT_TRUE(CompareInstalledFiles(bundle, installed, nullptr));
  }

  // A comparison that fails leaves the counter alone and the disk too.
  void ExpectDifferent() const {
    const Tree before = TakeTree(folder.path());
    std::uint64_t bytes = 7;
    EXPECT_FALSE(CompareInstalledFiles(bundle, installed, &bytes));
    EXPECT_EQ(bytes, 7u);
    EXPECT_FALSE(CompareInstalledFiles(bundle, installed, nullptr));
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path installed = folder / "installed";
};

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_SameFiles_StoresTheSumOfTheFiles) {
  ExpectSame();
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_ManifestsDifferOrAreMissing_AreNotCompared) {
  WriteFile(installed / "manifest.sha256", "another");
  ExpectSame();
  Remove(installed / "manifest.sha256");
  Remove(bundle / "manifest.sha256");
  ExpectSame();
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_ExtraFiles_AreNotCompared) {
  WriteFile(installed / test::kExtraLocale, "extra");
  WriteFile(bundle / "data/locale/extra.ini", "extra");
  ExpectSame();
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_EmptyFilesOnBothSides_AreTheSame) {
  for (const char* file : test::kFiles) {
    WriteFile(bundle / file, "");
    WriteFile(installed / file, "");
  }
  std::uint64_t bytes = 7;
  EXPECT_TRUE(CompareInstalledFiles(bundle, installed, &bytes));
  EXPECT_EQ(bytes, 0u);
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_NothingOnBothSides_Differ) {
  Remove(bundle);
  Remove(installed);
  ExpectDifferent();
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_SameFolder_IsTheSame) {
  std::uint64_t bytes = 7;
  EXPECT_TRUE(CompareInstalledFiles(bundle, bundle, &bytes));
  EXPECT_EQ(bytes, test::kSteppedBytes);
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_ThirdFileDiffers_NothingAfterItIsLookedAt) {
  WriteFile(installed / test::kFiles[2], "other");
  FaultDisk disk;
  EXPECT_FALSE(CompareInstalledFiles(bundle, installed, nullptr));
  for (const test::DiskCall& call : disk.calls) {
    for (std::size_t i = 3; i < test::kFiles.size(); ++i) {
      EXPECT_NE(call.path, bundle / test::kFiles[i]);
      EXPECT_NE(call.path, installed / test::kFiles[i]);
    }
  }
  EXPECT_EQ(disk.Count(Call::OpenInput), 6);  // three pairs
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_SourceFiles_AreHashedAndNotAskedForStatus) {
  FaultDisk disk;
  EXPECT_TRUE(CompareInstalledFiles(bundle, installed, nullptr));
  for (const test::DiskCall& call : disk.calls) {
    if (call.call == Call::OpenInput || call.call == Call::Read) continue;
    EXPECT_NE(*call.path.lexically_relative(folder.path()).begin(), "bundle") << call.path;
  }
}

TEST_F(InstalledCopyCompareTest, CompareInstalledFiles_TargetIsARealLinkToTheSource_Differ) {
  if (test::RunsUnderWine()) GTEST_SKIP() << "a Unix link to a file does not show as one in Wine";
  for (const char* file : test::kFiles) {
    test::WriteSteppedBundle(installed);
    Remove(installed / file);
    test::MakeFileLink(bundle / file, installed / file);
    ExpectDifferent();
    Remove(installed / file);
  }
}

// The parameter is the place of a required file in the list.
class InstalledCopyCompareEachTest : public InstalledCopyCompareTest,
                                     public testing::WithParamInterface<std::size_t> {
 protected:
  const Path source = bundle / test::kFiles[GetParam()];
  const Path target = installed / test::kFiles[GetParam()];
};

INSTANTIATE_TEST_SUITE_P(All, InstalledCopyCompareEachTest,
                         testing::Range<std::size_t>(0, test::kFiles.size()));

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetMissing_Differ) {
  Remove(target);
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetIsAFolder_Differ) {
  Remove(target);
  MakeFolder(target);
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetHasTheSameSizeOnly_Differ) {
  std::string content = test::ReadFile(target);
  content.back() = 'y';
  WriteFile(target, content);
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetIsLonger_Differ) {
  WriteFile(target, test::ReadFile(target) + "x");
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_SourceMissing_Differ) {
  Remove(source);
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetStatusUnreadable_Differ) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, target);
  ExpectDifferent();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetIsALinkOfAnyKind_Differ) {
  test::LateLinkDisk disk(target, 1);
  std::uint64_t bytes = 7;
  EXPECT_FALSE(CompareInstalledFiles(bundle, installed, &bytes));
  EXPECT_EQ(bytes, 7u);
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetAttributesUnreadable_IsNoLink) {
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, target);
  ExpectSame();
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_EitherSideCannotBeRead_Differ) {
  for (const Path& file : {source, target}) {
    for (const Call call : {Call::OpenInput, Call::Read}) {
      FaultDisk disk;
      disk.fails = FailEach(call, file);
      ExpectDifferent();
    }
  }
}

TEST_P(InstalledCopyCompareEachTest, CompareInstalledFiles_TargetSizeUnreadable_Differ) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, target);
  ExpectDifferent();
}

}  // namespace
}  // namespace k7k
