// Random bundles on the real disk: what the reader and the writer of the manifest must do for every
// one of them. K7K_PROPERTY_SEED and K7K_PROPERTY_ROUNDS pick others than the usual ones.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "bundle/bundle_check.h"
#include "bundle/manifest.h"
#include "fuzz/random.h"
#include "fuzz/reference_manifest.h"
#include "support/bundle_facts.h"
#include "support/test_tree.h"

namespace k7k::test {
namespace {

const std::wstring kUntouched = L"untouched";

unsigned long FromEnvironment(const char* name, unsigned long usual) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 10) : usual;
}

void ForEachSeed(unsigned long usual_rounds, const std::function<void(Random&)>& round) {
  const unsigned long first = FromEnvironment("K7K_PROPERTY_SEED", 1);
  const unsigned long rounds = FromEnvironment("K7K_PROPERTY_ROUNDS", usual_rounds);
  std::printf("seeds %lu to %lu\n", first, first + rounds - 1);
  for (unsigned long seed = first; seed < first + rounds; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    round(random);
    if (::testing::Test::HasFailure()) return;
  }
}

// Around the block of a digest and the chunk in which files are read, now and then.
std::string SomeContent(Random& random) {
  if (random.OneIn(40)) return random.Bytes(65535 + random.Below(3));
  if (random.OneIn(4)) return random.Bytes(54 + random.Below(12));
  return random.Bytes(1 + random.Below(300));
}

Contents SomeContents(Random& random) {
  Contents contents;
  for (const std::string& name : RequiredNames()) contents[name] = SomeContent(random);
  return contents;
}

std::string& SomeEntry(Random& random, std::vector<std::string>& lines) {
  const std::size_t header = kHeaderLines.size();
  const std::size_t entries = lines.size() > header ? lines.size() - header : 0;
  return lines[entries > 0 ? header + random.Below(entries) : random.Below(lines.size())];
}

void EditLines(Random& random, std::vector<std::string>& lines) {
  std::string& line = SomeEntry(random, lines);
  switch (random.Below(14)) {
    case 0:
      return std::swap(line, SomeEntry(random, lines));
    case 1:
      line = SomeEntry(random, lines);
      return;
    case 2:
      lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(random.Below(lines.size())));
      if (lines.empty()) lines.emplace_back();
      return;
    case 3:
      lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(random.Below(lines.size() + 1)),
                   random.OneIn(2) ? std::string() : std::string(line));
      return;
    case 4:
      for (char& unit : line)
        unit = static_cast<char>(std::toupper(static_cast<unsigned char>(unit)));
      return;
    case 5:
      line.insert(random.Below(line.size() + 1), 1, ' ');
      return;
    case 6:
      if (!line.empty()) line.erase(random.Below(line.size()), 1);
      return;
    case 7:
      if (!line.empty()) line[random.Below(line.size())] = random.Byte();
      return;
    case 8:
      line.resize(std::min<std::size_t>(line.size(), 66));
      return;
    case 9:
      line.append(random.OneIn(2) ? "\r" : "\x1a");
      return;
    case 10:
      line.replace(0, std::min<std::size_t>(line.size(), 64), ReferenceDigest(random.Bytes(9)));
      return;
    case 11:
      if (line.size() > 66) line.replace(66, std::string::npos, random.From(RequiredNames()));
      return;
    case 12:
      for (char& unit : line) unit = unit == '/' ? '\\' : unit;
      return;
    default:
      random.From(lines) = SomeEntry(random, lines);
  }
}

std::string SomeManifest(Random& random, const Contents& contents) {
  std::vector<std::string> lines = ReferenceLines(contents);
  for (std::size_t edits = random.Below(3); edits > 0; --edits) EditLines(random, lines);
  std::string text = Joined(lines, random.OneIn(3) ? "\r\n" : "\n");
  if (random.OneIn(6)) text.pop_back();
  if (random.OneIn(20)) text.insert(0, "\xef\xbb\xbf");
  if (random.OneIn(20)) text += random.Byte();
  if (random.OneIn(20)) text.insert(random.Below(text.size() + 1), 1, random.Byte());
  return text;
}

// A bundle on disk and what is known of it.
struct Bundle {
  Contents contents;  // of the required files that are there as files
  std::optional<std::string> manifest;
};

void WriteTree(Random& random, const Path& folder, bool damaged, Bundle& bundle) {
  for (const std::string& name : RequiredNames()) {
    if (damaged && random.OneIn(8)) {
      bundle.contents.erase(name);
      if (random.OneIn(2)) MakeFolder(folder / name);
      continue;
    }
    if (damaged && random.OneIn(8)) bundle.contents[name] = SomeContent(random);
    if (damaged && random.OneIn(16)) bundle.contents[name].clear();
    WriteFile(folder / name, bundle.contents[name]);
  }
  if (random.OneIn(3)) WriteFile(folder / kExtraLocale, "extra");
}

Bundle WriteSomeBundle(Random& random, const Path& folder) {
  Bundle bundle{SomeContents(random), std::nullopt};
  bundle.manifest = SomeManifest(random, bundle.contents);
  WriteTree(random, folder, random.OneIn(3), bundle);
  if (random.OneIn(15)) {
    bundle.manifest.reset();
    if (random.OneIn(2)) MakeFolder(folder / kManifestName);
  } else {
    WriteFile(folder / kManifestName, *bundle.manifest);
  }
  return bundle;
}

struct Verdict {
  CopyVerdict copy;
  std::wstring message;
};

Verdict JudgeBundle(const Bundle& bundle) {
  Verdict verdict{{true, false, 0}, L""};
  for (const std::string& name : RequiredNames()) {
    const auto content = bundle.contents.find(name);
    if (content == bundle.contents.end()) {
      verdict.message = L"Bundle is missing a required plugin file";
      return verdict;
    }
    if (content->second.empty()) {
      verdict.message = L"A required plugin file is empty";
      return verdict;
    }
    verdict.copy.bytes += content->second.size();
  }
  verdict.message = JudgeManifest(bundle.manifest, bundle.contents);
  verdict.copy.valid = verdict.message.empty();
  if (verdict.copy.valid) verdict.copy.bytes += bundle.manifest->size();
  return verdict;
}

std::wstring DetailAfter(const std::wstring& message) {
  return message.empty() ? kUntouched : message;
}

TEST(ManifestProperty, Readers_RandomTreesAndManifests_AnswerAsTheFormatSays) {
  std::map<std::wstring, int> answers;
  ForEachSeed(250, [&](Random& random) {
    const TestFolder folder;
    const Bundle bundle = WriteSomeBundle(random, folder.path());

    const std::wstring message = JudgeManifest(bundle.manifest, bundle.contents);
    std::wstring detail = kUntouched;
    EXPECT_EQ(VerifyManifest(folder.path(), &detail), message.empty());
    EXPECT_EQ(detail, DetailAfter(message));

    const Verdict expected = JudgeBundle(bundle);
    detail = kUntouched;
    const CopyVerdict verdict = InspectBundle(folder.path(), &detail);
    EXPECT_TRUE(verdict.present);
    EXPECT_EQ(verdict.valid, expected.copy.valid);
    EXPECT_EQ(verdict.bytes, expected.copy.bytes);
    EXPECT_EQ(detail, DetailAfter(expected.message));
    ++answers[expected.message];
  });
  EXPECT_EQ(answers.size(), 7U) << "valid and each of six messages must be met";
}

TEST(ManifestProperty, WriteManifest_RandomTrees_WritesOneThatVerifiesOrNone) {
  int written_count = 0;
  int refused_count = 0;
  ForEachSeed(100, [&](Random& random) {
    const TestFolder folder;
    Bundle bundle{SomeContents(random), SomeManifest(random, SomeContents(random))};
    WriteTree(random, folder.path(), random.OneIn(3), bundle);
    WriteFile(folder / kManifestName, *bundle.manifest);

    std::wstring detail = kUntouched;
    const bool complete = bundle.contents.size() == RequiredNames().size();
    ASSERT_EQ(WriteManifest(folder.path(), &detail), complete);
    const std::string written = ReadFile(folder / kManifestName);
    if (!complete) {
      EXPECT_EQ(detail, L"Cannot manifest an incomplete bundle");
      EXPECT_EQ(written, *bundle.manifest);
      ++refused_count;
      return;
    }
    EXPECT_EQ(written, Joined(ReferenceLines(bundle.contents)));
    EXPECT_EQ(written.size(), kManifestBytes);
    EXPECT_TRUE(VerifyManifest(folder.path(), &detail));
    EXPECT_EQ(detail, kUntouched);
    ++written_count;
  });
  EXPECT_GT(written_count, 0);
  EXPECT_GT(refused_count, 0);
}

}  // namespace
}  // namespace k7k::test
