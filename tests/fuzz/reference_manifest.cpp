#include "fuzz/reference_manifest.h"

#include <algorithm>
#include <set>

#include "support/bundle_facts.h"

namespace k7k::test {

namespace {

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const bool carriage_return = end > begin && text[end - 1] == '\r';
    lines.push_back(text.substr(begin, end - begin - (carriage_return ? 1 : 0)));
    begin = end + 1;
  }
  return lines;
}

// The first two spaces that follow each other stand behind 64 characters, and a path behind them.
bool IsEntry(const std::string& line) {
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    if (line[i] == ' ' && line[i + 1] == ' ') return i == 64 && line.size() > 66;
  }
  return false;
}

}  // namespace

const std::vector<std::string>& RequiredNames() {
  static const std::vector<std::string> names(kFiles.begin(), kFiles.end());
  return names;
}

std::vector<std::string> ReferenceLines(const Contents& contents) {
  std::vector<std::string> lines(kHeaderLines.begin(), kHeaderLines.end());
  for (const std::string& name : RequiredNames()) {
    lines.push_back(ReferenceDigest(contents.at(name)) + "  " + name);
  }
  return lines;
}

std::string Joined(const std::vector<std::string>& lines, const std::string& end) {
  std::string text;
  for (const std::string& line : lines) text += line + end;
  return text;
}

std::wstring JudgeManifestByDigests(const std::optional<std::string>& manifest,
                                    const Contents& digests) {
  if (!manifest) return L"Bundle integrity manifest is missing";
  const std::vector<std::string> lines = LinesOf(*manifest);
  if (lines.size() != kHeaderLines.size() + kFiles.size() ||
      !std::equal(kHeaderLines.begin(), kHeaderLines.end(), lines.begin())) {
    return L"Bundle integrity manifest is invalid";
  }
  const auto first_entry = lines.begin() + kHeaderLines.size();
  const std::set<std::string> entries(first_entry, lines.end());
  std::set<std::string> paths;
  for (auto line = first_entry; line != lines.end(); ++line) {
    if (!IsEntry(*line) || !paths.insert(line->substr(66)).second) {
      return L"Bundle integrity manifest entry is invalid";
    }
  }
  for (const std::string& name : RequiredNames()) {
    const auto digest = digests.find(name);
    if (digest == digests.end() || !entries.contains(digest->second + "  " + name)) {
      return L"Bundle file hash does not match manifest";
    }
  }
  return L"";
}

std::wstring JudgeManifest(const std::optional<std::string>& manifest, const Contents& contents) {
  Contents digests;
  for (const auto& [name, content] : contents) digests[name] = ReferenceDigest(content);
  return JudgeManifestByDigests(manifest, digests);
}

}  // namespace k7k::test
