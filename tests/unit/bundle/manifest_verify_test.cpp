// The manifest's lines: how many, what ends them, and the header.
#include <gtest/gtest.h>

#include <algorithm>

#include "bundle/manifest.h"
#include "support/manifest_lines.h"
#include "support/odd_disks.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::kInvalid;
using test::kMissing;
using test::MakeFolder;
using test::WithEnds;

class ManifestVerifyTest : public test::ManifestLinesTest {};

TEST_F(ManifestVerifyTest, VerifyManifest_AsWritten_Verifies) { ExpectVerified(WithEnds(lines)); }

TEST_F(ManifestVerifyTest, VerifyManifest_CarriageReturnAndLineFeedEverywhere_Verifies) {
  ExpectVerified(WithEnds(lines, "\r\n"));
}

TEST_F(ManifestVerifyTest, VerifyManifest_BothKindsOfLineEnds_Verifies) {
  lines[0] += "\r";
  lines[7] += "\r";
  ExpectVerified(WithEnds(lines));
}

TEST_F(ManifestVerifyTest, VerifyManifest_LastLineWithoutLineFeed_Verifies) {
  std::string text = WithEnds(lines);
  text.pop_back();
  ExpectVerified(text);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LastLineWithCarriageReturnAlone_Verifies) {
  std::string text = WithEnds(lines, "\r\n");
  text.pop_back();
  ExpectVerified(text);
}

TEST_F(ManifestVerifyTest, VerifyManifest_NullDetail_AnswersTheSame) {
  WriteManifestFile(WithEnds(lines));
  EXPECT_TRUE(VerifyManifest(bundle, nullptr));
  WriteManifestFile("");
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
}

TEST_F(ManifestVerifyTest, VerifyManifest_NoManifest_IsMissing) {
  ASSERT_TRUE(NativeDisk().RemoveAll(manifest));
  ExpectRefused(kMissing);
}

TEST_F(ManifestVerifyTest, VerifyManifest_NoBundle_IsMissing) {
  ASSERT_TRUE(NativeDisk().RemoveAll(bundle));
  ExpectRefused(kMissing);
}

TEST_F(ManifestVerifyTest, VerifyManifest_FolderNamedLikeTheManifest_IsMissing) {
  ASSERT_TRUE(NativeDisk().RemoveAll(manifest));
  MakeFolder(manifest);
  ExpectRefused(kMissing);
}

TEST_F(ManifestVerifyTest, VerifyManifest_CannotBeOpened_IsMissing) {
  FaultDisk disk;
  disk.fails = FailEach(Call::OpenInput, manifest);
  ExpectRefused(kMissing);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ReadErrorAtOnce_IsInvalid) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Read, manifest);
  ExpectRefused(kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ReadErrorInTheMiddle_IsInvalid) {
  test::BreakingDisk disk(manifest, 300);
  ExpectRefused(kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ReadErrorAfterTenGoodLines_IsInvalid) {
  test::BreakingDisk disk(manifest, 631);
  ExpectRefused(kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_EmptyFile_IsInvalid) { ExpectRefused("", kInvalid); }

TEST_F(ManifestVerifyTest, VerifyManifest_OneEmptyLineMoreAtTheEnd_IsInvalid) {
  ExpectRefused(WithEnds(lines) + "\n", kInvalid);
  ExpectRefused(WithEnds(lines, "\r\n") + "\r\n", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LoneCarriageReturnAfterTheLastLine_IsAnEleventhLine) {
  ExpectRefused(WithEnds(lines) + "\r", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ElevenEntriesAndAll_IsInvalid) {
  lines.push_back(std::string(64, 'a') + "  data/locale/fr-FR.ini");
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LineMissing_IsInvalid) {
  for (std::size_t i = 0; i < 10; ++i) {
    std::vector<std::string> nine = lines;
    nine.erase(nine.begin() + static_cast<std::ptrdiff_t>(i));
    ExpectRefused(WithEnds(nine), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_EmptyLineBetween_IsInvalid) {
  for (std::size_t i = 0; i <= 10; ++i) {
    std::vector<std::string> eleven = lines;
    eleven.insert(eleven.begin() + static_cast<std::ptrdiff_t>(i), "");
    ExpectRefused(WithEnds(eleven), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_TenEmptyLines_IsInvalid) {
  ExpectRefused(std::string(10, '\n'), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_AllOnOneLine_IsInvalid) {
  ExpectRefused(WithEnds(lines, " "), kInvalid);
  ExpectRefused(WithEnds(lines, "\r"), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ByteOrderMark_IsInvalid) {
  ExpectRefused("\xef\xbb\xbf" + WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherConnectorVersion_IsInvalid) {
  for (const char* version : {"1.0.3.1", "1.0.3", "1.0.3.00", "01.0.3.0", ""}) {
    lines[1] = std::string("connector-version=") + version;
    ExpectRefused(WithEnds(lines), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherProtocolVersion_IsInvalid) {
  lines[2] = "protocol-version=2";
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherRangeOfObsVersions_IsInvalid) {
  lines[3] = "obs-major-range=29-33";
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherFormatName_IsInvalid) {
  lines[0] = "K7K_OBS_CONNECTOR_MANIFEST_V2";
  ExpectRefused(WithEnds(lines), kInvalid);
}

// Each header line must match byte for byte.
TEST_F(ManifestVerifyTest, VerifyManifest_HeaderLineAlmostTheSame_IsInvalid) {
  const auto refuse = [&](std::size_t i, const std::string& text) {
    std::vector<std::string> changed = lines;
    changed[i] = text;
    ExpectRefused(WithEnds(changed), kInvalid);
  };
  for (std::size_t i = 0; i < 4; ++i) {
    refuse(i, lines[i] + " ");
    refuse(i, " " + lines[i]);
    refuse(i, lines[i].substr(1));
    refuse(i, lines[i].substr(0, lines[i].size() - 1));
    refuse(i, lines[i] + '\0');
    refuse(i, lines[i] + "\r\r");
    refuse(i, "");
    std::string other_case = lines[i];
    other_case[0] ^= 0x20;
    refuse(i, other_case);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_HeaderLinesInAnotherOrder_IsInvalid) {
  for (std::size_t i = 0; i < 4; ++i) {
    std::vector<std::string> swapped = lines;
    std::swap(swapped[i], swapped[i + 1]);
    ExpectRefused(WithEnds(swapped), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_VeryLongHeaderLine_IsInvalid) {
  lines[0].append(1 << 20, 'x');
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_NoLineEndAnywhere_IsInvalid) {
  ExpectRefused(std::string(1 << 20, 'x'), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_NulBytesAlone_IsInvalid) {
  ExpectRefused(std::string(631, '\0'), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_EndMarkOfTextModeInALine_IsNotTheEnd) {
  ExpectRefused(WithEnds(lines) + "\x1a" + WithEnds(lines), kInvalid);
}

// Pairs that fail together: the earlier check wins.

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeaderAndBadEntry_TheHeaderWins) {
  lines[3] = "obs-major-range=29-33";
  lines[4] = "not an entry";
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ElevenLinesAndBadEntry_TheCountWins) {
  lines[4] = "not an entry";
  ExpectRefused(WithEnds(lines) + "\n", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeaderAndChangedFile_TheHeaderWins) {
  test::WriteFile(bundle / "data/locale/ko-KR.ini", "changed");
  lines[1] = "connector-version=1.0.3.1";
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeader_NoFileIsHashed) {
  lines[1] = "connector-version=1.0.3.1";
  WriteManifestFile(WithEnds(lines));
  FaultDisk disk;
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
  EXPECT_EQ(disk.Count(Call::OpenInput), 1);
}

}  // namespace
}  // namespace k7k
