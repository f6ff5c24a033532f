// The comparison file by file, for the two places of a portable target.
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
using test::ReadFile;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

// Where a required file lies in the portable target of these tests.
std::string TargetOf(std::size_t place) {
  return place == 0 ? "target/any name" : std::string("target/") + test::kFiles[place];
}

class InstalledCopyPortableTest : public testing::Test {
 protected:
  void SetUp() override {
    test::WriteSteppedBundle(bundle);
    for (std::size_t i = 0; i < test::kFiles.size(); ++i) {
      WriteFile(folder / TargetOf(i), ReadFile(bundle / test::kFiles[i]));
    }
  }

  void ExpectSame() const {
    std::uint64_t bytes = 7;
    EXPECT_TRUE(ComparePortableFiles(bundle, library, data, &bytes));
    EXPECT_EQ(bytes, test::kSteppedBytes);
    EXPECT_TRUE(ComparePortableFiles(bundle, library, data, nullptr));
  }

  void ExpectDifferent() const {
    const Tree before = TakeTree(folder.path());
    std::uint64_t bytes = 7;
    EXPECT_FALSE(ComparePortableFiles(bundle, library, data, &bytes));
    EXPECT_EQ(bytes, 7u);
    EXPECT_FALSE(ComparePortableFiles(bundle, library, data, nullptr));
    EXPECT_EQ(TakeTree(folder.path()), before);
  }

  static void Remove(const Path& path) { ASSERT_TRUE(NativeDisk().RemoveAll(path)); }

  const TestFolder folder;
  const Path bundle = folder / "bundle";
  const Path library = folder / "target/any name";
  const Path data = folder / "target/data";
};

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_SameFiles_StoresTheSumOfTheFiles) {
  ExpectSame();
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_DataFolderWithTrailingSeparator_IsTheSame) {
  EXPECT_TRUE(ComparePortableFiles(bundle, library, data / "", nullptr));
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_KoreanFileMissing_Differ) {
  Remove(data / "locale/ko-KR.ini");
  ExpectDifferent();
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_ExtraLocaleFile_IsTheSame) {
  WriteFile(data / test::BelowData(test::kExtraLocale), "extra");
  ExpectSame();
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_NullCounter_AnswersTheSame) {
  EXPECT_TRUE(ComparePortableFiles(bundle, library, data, nullptr));
  Remove(library);
  EXPECT_FALSE(ComparePortableFiles(bundle, library, data, nullptr));
}

TEST_F(InstalledCopyPortableTest,
       ComparePortableFiles_LibraryPathIsTakenAsGiven_NotJoinedToAnything) {
  ASSERT_EQ(0, NativeDisk().Move(library, folder / "elsewhere.bin"));
  std::uint64_t bytes = 7;
  EXPECT_TRUE(ComparePortableFiles(bundle, folder / "elsewhere.bin", data, &bytes));
  EXPECT_EQ(bytes, test::kSteppedBytes);
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_LocaleFilesBelowDataTwice_Differ) {
  // As if the bundle's own "data" had been kept in the path.
  ASSERT_EQ(0, NativeDisk().Move(data, folder / "target/moved"));
  MakeFolder(data);
  ASSERT_EQ(0, NativeDisk().Move(folder / "target/moved", data / "data"));
  ExpectDifferent();
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_NoManifestAnywhere_IsTheSame) {
  Remove(bundle / "manifest.sha256");
  ExpectSame();
}

TEST_F(InstalledCopyPortableTest, ComparePortableFiles_LibraryDiffers_NoLocaleFileIsLookedAt) {
  WriteFile(library, "other");
  FaultDisk disk;
  EXPECT_FALSE(ComparePortableFiles(bundle, library, data, nullptr));
  EXPECT_EQ(disk.Count(Call::OpenInput), 2);
  for (const test::DiskCall& call : disk.calls) {
    EXPECT_TRUE(call.path == library || call.path == bundle / test::kFiles[0]) << call.path;
  }
}

class InstalledCopyPortableEachTest : public InstalledCopyPortableTest,
                                      public testing::WithParamInterface<std::size_t> {
 protected:
  const Path source = bundle / test::kFiles[GetParam()];
  const Path target = folder / TargetOf(GetParam());
};

INSTANTIATE_TEST_SUITE_P(All, InstalledCopyPortableEachTest,
                         testing::Range<std::size_t>(0, test::kFiles.size()));

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetMissing_Differ) {
  Remove(target);
  ExpectDifferent();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetIsAFolder_Differ) {
  Remove(target);
  MakeFolder(target);
  ExpectDifferent();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetHasTheSameSizeOnly_Differ) {
  std::string content = ReadFile(target);
  content.front() = 'y';
  WriteFile(target, content);
  ExpectDifferent();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_SourceMissing_Differ) {
  Remove(source);
  ExpectDifferent();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetStatusUnreadable_Differ) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, target);
  ExpectDifferent();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetIsALinkOfAnyKind_Differ) {
  test::LateLinkDisk disk(target, 1);
  std::uint64_t bytes = 7;
  EXPECT_FALSE(ComparePortableFiles(bundle, library, data, &bytes));
  EXPECT_EQ(bytes, 7u);
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetAttributesUnreadable_IsNoLink) {
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, target);
  ExpectSame();
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_EitherSideCannotBeRead_Differ) {
  for (const Path& file : {source, target}) {
    FaultDisk disk;
    disk.fails = FailEach(Call::Read, file);
    ExpectDifferent();
  }
}

TEST_P(InstalledCopyPortableEachTest, ComparePortableFiles_TargetSizeUnreadable_Differ) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Size, target);
  ExpectDifferent();
}

}  // namespace
}  // namespace k7k
