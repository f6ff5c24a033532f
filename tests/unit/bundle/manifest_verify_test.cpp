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
using test::kFirstEntry;
using test::kInvalid;
using test::kMissing;
using test::MakeFolder;
using test::WithEnds;

class ManifestVerifyTest : public test::ManifestLinesTest {
 protected:
  // A header line with another digit in its last place.
  static std::string WithOtherEnd(std::string line) {
    line.back() = line.back() == '9' ? '8' : static_cast<char>(line.back() + 1);
    return line;
  }
};

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

TEST_F(ManifestVerifyTest, VerifyManifest_ReadErrorAfterTheLastLine_IsInvalid) {
  test::BreakingDisk disk(manifest, test::kManifestBytes);
  ExpectRefused(kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_EmptyFile_IsInvalid) { ExpectRefused("", kInvalid); }

TEST_F(ManifestVerifyTest, VerifyManifest_OneEmptyLineMoreAtTheEnd_IsInvalid) {
  ExpectRefused(WithEnds(lines) + "\n", kInvalid);
  ExpectRefused(WithEnds(lines, "\r\n") + "\r\n", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LoneCarriageReturnAfterTheLastLine_IsALineMore) {
  ExpectRefused(WithEnds(lines) + "\r", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OneEntryMore_IsInvalid) {
  lines.push_back(Entry(test::kExtraLocale));
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LineMissing_IsInvalid) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::vector<std::string> fewer = lines;
    fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
    ExpectRefused(WithEnds(fewer), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_EmptyLineBetween_IsInvalid) {
  for (std::size_t i = 0; i <= lines.size(); ++i) {
    std::vector<std::string> more = lines;
    more.insert(more.begin() + static_cast<std::ptrdiff_t>(i), "");
    ExpectRefused(WithEnds(more), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_AsManyEmptyLines_IsInvalid) {
  ExpectRefused(std::string(lines.size(), '\n'), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_AllOnOneLine_IsInvalid) {
  ExpectRefused(WithEnds(lines, " "), kInvalid);
  ExpectRefused(WithEnds(lines, "\r"), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_ByteOrderMark_IsInvalid) {
  ExpectRefused("\xef\xbb\xbf" + WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherConnectorVersion_IsInvalid) {
  const std::string line = lines[1];
  const std::size_t version = line.find('=') + 1;
  for (const std::string& other :
       {WithOtherEnd(line), line.substr(0, line.rfind('.')), line + "0",
        std::string(line).insert(version, "0"), line.substr(0, version)}) {
    lines[1] = other;
    ExpectRefused(WithEnds(lines), kInvalid);
  }
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherProtocolVersion_IsInvalid) {
  lines[2] = WithOtherEnd(lines[2]);
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherRangeOfObsVersions_IsInvalid) {
  lines[3] = WithOtherEnd(lines[3]);
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_OtherFormatName_IsInvalid) {
  lines[0] = WithOtherEnd(lines[0]);
  ExpectRefused(WithEnds(lines), kInvalid);
}

// Each header line must match byte for byte.
TEST_F(ManifestVerifyTest, VerifyManifest_HeaderLineAlmostTheSame_IsInvalid) {
  const auto refuse = [&](std::size_t i, const std::string& text) {
    std::vector<std::string> changed = lines;
    changed[i] = text;
    ExpectRefused(WithEnds(changed), kInvalid);
  };
  for (std::size_t i = 0; i < kFirstEntry; ++i) {
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
  for (std::size_t i = 0; i < kFirstEntry; ++i) {
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
  ExpectRefused(std::string(test::kManifestBytes, '\0'), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_EndMarkOfTextModeInALine_IsNotTheEnd) {
  ExpectRefused(WithEnds(lines) + "\x1a" + WithEnds(lines), kInvalid);
}

// Pairs that fail together: the earlier check wins.

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeaderAndBadEntry_TheHeaderWins) {
  lines[3] = WithOtherEnd(lines[3]);
  lines[4] = "not an entry";
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_LineTooManyAndBadEntry_TheCountWins) {
  lines[4] = "not an entry";
  ExpectRefused(WithEnds(lines) + "\n", kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeaderAndChangedFile_TheHeaderWins) {
  test::WriteFile(bundle / "data/locale/ko-KR.ini", "changed");
  lines[1] = WithOtherEnd(lines[1]);
  ExpectRefused(WithEnds(lines), kInvalid);
}

TEST_F(ManifestVerifyTest, VerifyManifest_BadHeader_NoFileIsHashed) {
  lines[1] = WithOtherEnd(lines[1]);
  WriteManifestFile(WithEnds(lines));
  FaultDisk disk;
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
  EXPECT_EQ(disk.Count(Call::OpenInput), 1);
}

}  // namespace
}  // namespace k7k
