// The manifest's entries: their form, their paths and their digests.
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
using test::kBadEntry;
using test::kDigestOfA;
using test::kDigestOfB;
using test::kExtraLocale;
using test::kFirstEntry;
using test::kMismatch;
using test::WithEnds;
using test::WriteFile;

class ManifestEntryTest : public test::ManifestLinesTest {
 protected:
  // Puts the text in the place of each entry in turn; each time the manifest must be refused.
  void ExpectRefusedAnywhere(const std::string& entry, const std::wstring& message) const {
    for (std::size_t i = kFirstEntry; i < lines.size(); ++i) {
      std::vector<std::string> changed = lines;
      changed[i] = entry;
      ExpectRefused(WithEnds(changed), message);
    }
  }

  // Does that to each entry with its own path.
  void ExpectEachRefused(const std::string& before_path, const std::wstring& message) const {
    for (std::size_t i = kFirstEntry; i < lines.size(); ++i) {
      std::vector<std::string> changed = lines;
      changed[i] = before_path + test::kFiles[i - kFirstEntry];
      ExpectRefused(WithEnds(changed), message);
    }
  }
};

TEST_F(ManifestEntryTest, VerifyManifest_EntriesInReverseOrder_Verifies) {
  std::reverse(lines.begin() + kFirstEntry, lines.end());
  ExpectVerified(WithEnds(lines));
}

TEST_F(ManifestEntryTest, VerifyManifest_ContentsThatDiffer_Verifies) {
  test::WriteSteppedBundle(bundle);
  ExpectVerified(test::ReadFile(manifest));
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestOf63Characters_EntryIsInvalid) {
  ExpectEachRefused(std::string(63, 'a') + "  ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestOf65Characters_EntryIsInvalid) {
  ExpectEachRefused(std::string(65, 'a') + "  ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_OneSpace_EntryIsInvalid) {
  ExpectEachRefused(std::string(kDigestOfA) + " ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_TabsInsteadOfSpaces_EntryIsInvalid) {
  ExpectEachRefused(std::string(kDigestOfA) + "\t\t", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_BinaryMarkOfSha256sum_EntryIsInvalid) {
  ExpectEachRefused(std::string(kDigestOfA) + " *", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_SpacesBeforeTheDigest_EntryIsInvalid) {
  ExpectEachRefused("  " + std::string(kDigestOfA) + "  ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_TwoSpacesInsideTheDigestToo_EntryIsInvalid) {
  std::string digest = kDigestOfA;
  digest.replace(30, 2, "  ");
  ExpectEachRefused(digest + "  ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestEndsInASpace_EntryIsInvalid) {
  // Three spaces in a row: the first two start at 63.
  ExpectEachRefused(std::string(kDigestOfA).substr(0, 63) + "   ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_EmptyPath_EntryIsInvalid) {
  ExpectRefusedAnywhere(std::string(kDigestOfA) + "  ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_EmptyPathBeforeACarriageReturn_EntryIsInvalid) {
  ExpectRefusedAnywhere(std::string(kDigestOfA) + "  \r", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_ShortLine_EntryIsInvalid) {
  for (const char* line : {"", " ", "  ", "x", "\r", "   "}) ExpectRefusedAnywhere(line, kBadEntry);
  ExpectRefusedAnywhere(kDigestOfA, kBadEntry);
  ExpectRefusedAnywhere(std::string(kDigestOfA) + " ", kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_VeryLongLineWithoutSpaces_EntryIsInvalid) {
  ExpectRefusedAnywhere(std::string(1 << 18, 'a'), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_VeryLongPath_HashDoesNotMatch) {
  ExpectRefusedAnywhere(Entry(std::string(1 << 18, 'a')), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_TwoEntriesForOnePath_EntryIsInvalid) {
  lines[6] = lines[5];
  ExpectRefused(WithEnds(lines), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_TwoEntriesForOnePathWithTwoDigests_EntryIsInvalid) {
  lines.back() = std::string(kDigestOfB) + "  data/locale/en-US.ini";
  ExpectRefused(WithEnds(lines), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_TwoEntriesForAPathThatIsNotRequired_EntryIsInvalid) {
  lines[4] = Entry("other");
  lines.back() = Entry("other");
  ExpectRefused(WithEnds(lines), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_ThreeSpaces_HashDoesNotMatch) {
  ExpectEachRefused(std::string(kDigestOfA) + "   ", kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_SpaceAfterThePath_HashDoesNotMatch) {
  ExpectRefusedAnywhere(Entry("data/locale/en-US.ini  "), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_OneCarriageReturnTooMany_IsPartOfThePath) {
  lines[5] += "\r\r";
  ExpectRefused(WithEnds(lines), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_NulByteInThePath_HashDoesNotMatch) {
  lines[5] += '\0';
  ExpectRefused(WithEnds(lines), kMismatch);
  lines[5].insert(67, 1, '\0');
  ExpectRefused(WithEnds(lines), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_NulBytesAsDigest_HashDoesNotMatch) {
  ExpectEachRefused(std::string(64, '\0') + "  ", kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_PathWithBackslashes_HashDoesNotMatch) {
  for (std::size_t i = kFirstEntry; i < lines.size(); ++i) {
    std::vector<std::string> changed = lines;
    std::replace(changed[i].begin(), changed[i].end(), '/', '\\');
    ExpectRefused(WithEnds(changed), kMismatch);
  }
}

TEST_F(ManifestEntryTest, VerifyManifest_PathInAnotherLetterCase_HashDoesNotMatch) {
  lines[5] = Entry("data/locale/en-us.ini");
  ExpectRefused(WithEnds(lines), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_PathThatMeansTheSame_HashDoesNotMatch) {
  for (const char* path : {"./data/locale/en-US.ini", "data//locale/en-US.ini",
                           "data/locale/../locale/en-US.ini", "/data/locale/en-US.ini"}) {
    lines[5] = Entry(path);
    ExpectRefused(WithEnds(lines), kMismatch);
  }
}

TEST_F(ManifestEntryTest, VerifyManifest_EntryForAnotherLocaleFile_HashDoesNotMatch) {
  WriteFile(bundle / kExtraLocale, std::string(32, 'A'));
  ExpectRefusedAnywhere(Entry(kExtraLocale), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_EntryForTheManifestItself_HashDoesNotMatch) {
  ExpectRefusedAnywhere(Entry("manifest.sha256"), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_UpperCaseDigest_HashDoesNotMatch) {
  ExpectEachRefused("22A48051594C1949DEED7040850C1F0F8764537F5191BE56732D16A54C1D8153  ",
                    kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestThatIsNotHexadecimal_HashDoesNotMatch) {
  ExpectEachRefused(std::string(64, 'z') + "  ", kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestOfAnotherContent_HashDoesNotMatch) {
  ExpectEachRefused(std::string(kDigestOfB) + "  ", kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_DigestsOfTwoFilesSwapped_HashDoesNotMatch) {
  WriteFile(bundle / "data/locale/ja-JP.ini", std::string(32, 'B'));
  lines.back() = kDigestOfB + std::string("  ") + test::kFiles.back();
  ExpectRefused(WithEnds(lines), kMismatch);
}

TEST_F(ManifestEntryTest, VerifyManifest_OneByteOfAFileChanged_HashDoesNotMatch) {
  for (const char* file : test::kFiles) {
    test::WriteBundle(bundle, 'A');
    std::string content(32, 'A');
    content.back() = 'a';
    WriteFile(bundle / file, content);
    ExpectRefused(kMismatch);
  }
}

TEST_F(ManifestEntryTest, VerifyManifest_FileMissing_HashDoesNotMatch) {
  for (const char* file : test::kFiles) {
    test::WriteBundle(bundle, 'A');
    ASSERT_TRUE(NativeDisk().RemoveAll(bundle / file));
    ExpectRefused(kMismatch);
  }
}

TEST_F(ManifestEntryTest, VerifyManifest_FileCannotBeOpenedOrRead_HashDoesNotMatch) {
  for (const char* file : test::kFiles) {
    for (const Call call : {Call::OpenInput, Call::Read}) {
      FaultDisk disk;
      disk.fails = FailEach(call, bundle / file);
      ExpectRefused(kMismatch);
    }
  }
}

TEST_F(ManifestEntryTest, VerifyManifest_FirstPathWithoutEntry_NothingIsHashed) {
  lines[4] = Entry("other");
  WriteManifestFile(WithEnds(lines));
  FaultDisk disk;
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
  EXPECT_EQ(disk.Count(Call::OpenInput), 1);  // the manifest
}

TEST_F(ManifestEntryTest, VerifyManifest_LastPathWithoutEntry_TheFilesBeforeItWereHashed) {
  lines.back() = Entry("other");
  WriteManifestFile(WithEnds(lines));
  FaultDisk disk;
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
  // The manifest too, but not the last file.
  EXPECT_EQ(disk.Count(Call::OpenInput), static_cast<int>(test::kFiles.size()));
}

// Pairs that fail together: the earlier check wins.

TEST_F(ManifestEntryTest, VerifyManifest_BadLastEntryAndChangedFirstFile_TheEntryWins) {
  WriteFile(bundle / "bin/64bit/k7k-obs-audio.dll", "changed");
  lines.back() = "not an entry";
  ExpectRefused(WithEnds(lines), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_UnknownPathAndRepeatedPathAfterIt_TheRepeatedOneWins) {
  lines[4] = Entry("other");
  lines[6] = lines[5];
  ExpectRefused(WithEnds(lines), kBadEntry);
}

TEST_F(ManifestEntryTest, VerifyManifest_BadEntry_NoFileIsHashed) {
  lines.back() = "not an entry";
  WriteManifestFile(WithEnds(lines));
  FaultDisk disk;
  EXPECT_FALSE(VerifyManifest(bundle, nullptr));
  EXPECT_EQ(disk.Count(Call::OpenInput), 1);
}

}  // namespace
}  // namespace k7k
