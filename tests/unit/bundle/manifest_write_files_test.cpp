// The manifest writer's view of each required file in turn.
#include <gtest/gtest.h>

#include "support/manifest_writing.h"
#include "support/odd_disks.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::kIncomplete;
using test::kNotHashed;
using test::kUntouched;
using test::MakeFolder;
using test::TakeTree;
using test::Tree;

// The parameter is the place of a required file in the list.
class ManifestWriteFilesTest : public test::ManifestWriteTestBase,
                               public testing::WithParamInterface<std::size_t> {
 protected:
  const Path file = bundle / test::kFiles[GetParam()];
};

INSTANTIATE_TEST_SUITE_P(All, ManifestWriteFilesTest,
                         testing::Range<std::size_t>(0, test::kFiles.size()));

TEST_P(ManifestWriteFilesTest, WriteManifest_FileMissing_IsAnIncompleteBundle) {
  Remove(test::kFiles[GetParam()]);
  ExpectRefused(kIncomplete);
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileIsAFolder_IsAnIncompleteBundle) {
  Remove(test::kFiles[GetParam()]);
  MakeFolder(file);
  ExpectRefused(kIncomplete);
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileStatusUnreadable_IsAnIncompleteBundle) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, file);
  ExpectRefused(kIncomplete);
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileBecomesALink_IsAnIncompleteBundle) {
  const Tree before = TakeTree(folder.path());
  test::LateLinkDisk disk(file, 2);
  std::wstring detail = kUntouched;
  EXPECT_FALSE(WriteManifest(bundle, &detail));
  EXPECT_EQ(detail, kIncomplete);
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileAttributesUnreadable_IsNoLink) {
  FaultDisk disk;
  disk.fails = FailEach(Call::IsReparsePoint, file);
  ExpectWritten(test::ManifestText(test::kDigestOfA));
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileCannotBeOpened_CouldNotHashIt) {
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, file);
  ExpectRefused(kNotHashed);
}

TEST_P(ManifestWriteFilesTest, WriteManifest_FileCannotBeRead_CouldNotHashIt) {
  test::BreakingDisk disk(file, 16);
  ExpectRefused(kNotHashed);
}

}  // namespace
}  // namespace k7k
