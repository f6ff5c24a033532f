#include "bundle/manifest.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "bundle/file_digest.h"
#include "bundle/manifest_header.h"
#include "bundle/required_files.h"
#include "fs/detail.h"
#include "fs/tree_inspection.h"

namespace k7k {

namespace {

constexpr std::string_view kGap = "  ";  // between digest and path
constexpr std::size_t kDigestLength = 64;
constexpr std::size_t kLineCount = kManifestHeader.size() + RequiredFiles.size();

// Both point into the lines that were read: a hostile manifest may have very long ones.
using DigestByPath = std::map<std::string_view, std::string_view>;

// The lines of a manifest without their ends. False after a read error.
bool ReadLines(std::istream& stream, std::vector<std::string>& lines) {
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    // A line too many already makes it no manifest, whatever follows and however long it is.
    if (lines.size() > kLineCount) return false;
  }
  return stream.eof();
}

bool AddEntry(std::string_view line, DigestByPath& entries) {
  if (line.find(kGap) != kDigestLength) return false;
  const std::string_view path = line.substr(kDigestLength + kGap.size());
  if (path.empty()) return false;
  // The digest is taken as it is: one that is not lower-case hex equals no computed digest.
  return entries.emplace(path, line.substr(0, kDigestLength)).second;
}

}  // namespace

bool WriteManifest(const Path& folder, std::wstring* detail) {
  if (!InspectTree(folder, detail)) return false;

  std::vector<std::pair<std::string_view, std::string>> entries;
  for (const RequiredFile& file : RequiredFiles) {
    const Path path = folder / file.path;
    if (!IsPlainFile(path)) return Explain(detail, L"Cannot manifest an incomplete bundle", false);
    std::string digest;
    if (!HashFileSha256(path, &digest)) {
      return Explain(detail, L"Could not hash a required plugin file", false);
    }
    entries.emplace_back(file.key, std::move(digest));
  }

  const std::unique_ptr<std::ostream> stream = CurrentDisk().OpenOutput(folder / kManifestName);
  if (!stream) return Explain(detail, L"Could not create the integrity manifest", false);
  for (const std::string_view line : kManifestHeader) *stream << line << '\n';
  for (const auto& [path, digest] : entries) *stream << digest << kGap << path << '\n';
  // One test, before the close that flushes: an error that only shows then goes unreported, and the
  // next verification finds it. Meant.
  if (!stream->good()) return Explain(detail, L"Could not finish the integrity manifest", false);
  return true;
}

bool VerifyManifest(const Path& folder, std::wstring* detail) {
  const std::unique_ptr<std::istream> stream = CurrentDisk().OpenInput(folder / kManifestName);
  if (!stream) return Explain(detail, L"Bundle integrity manifest is missing", false);

  std::vector<std::string> lines;
  if (!ReadLines(*stream, lines) || lines.size() != kLineCount ||
      !std::equal(kManifestHeader.begin(), kManifestHeader.end(), lines.begin())) {
    return Explain(detail, L"Bundle integrity manifest is invalid", false);
  }

  DigestByPath entries;
  for (std::size_t i = kManifestHeader.size(); i < lines.size(); ++i) {
    if (!AddEntry(lines[i], entries)) {
      return Explain(detail, L"Bundle integrity manifest entry is invalid", false);
    }
  }

  for (const RequiredFile& file : RequiredFiles) {
    const auto entry = entries.find(file.key);
    std::string digest;
    if (entry == entries.end() || !HashFileSha256(folder / file.path, &digest) ||
        digest != entry->second) {
      return Explain(detail, L"Bundle file hash does not match manifest", false);
    }
  }
  return true;
}

}  // namespace k7k
