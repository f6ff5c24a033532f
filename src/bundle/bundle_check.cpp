#include "bundle/bundle_check.h"

#include <limits>

#include "bundle/manifest.h"
#include "bundle/required_files.h"
#include "fs/detail.h"
#include "fs/tree_inspection.h"

namespace k7k {

namespace {

// Adds each size as soon as it is known, so that a stop reports the files before it.
bool CheckRequiredFiles(const Path& folder, std::uint64_t& bytes, std::wstring* detail) {
  for (const RequiredFile& file : RequiredFiles) {
    const Path path = folder / file.path;
    if (!IsPlainFile(path)) {
      return Explain(detail, L"Bundle is missing a required plugin file", false);
    }
    const std::optional<std::uint64_t> size = CurrentDisk().Size(path);
    if (!size || *size == 0) return Explain(detail, L"A required plugin file is empty", false);
    bytes += *size;
  }
  return true;
}

}  // namespace

CopyVerdict InspectBundle(const Path& folder, std::wstring* detail) {
  CopyVerdict verdict;
  switch (CurrentDisk().Status(folder)) {
    case FileStatus::Unreadable:
      return Explain(detail, L"Could not inspect the bundle", verdict);
    case FileStatus::Absent:
      return verdict;
    default:
      verdict.present = true;
  }
  // Asked again, as a question of its own; whatever is not a folder gets no message.
  if (CurrentDisk().Status(folder) != FileStatus::Folder) return verdict;
  if (!InspectTree(folder, detail)) return verdict;
  if (!CheckRequiredFiles(folder, verdict.bytes, detail)) return verdict;
  if (!VerifyManifest(folder, detail)) return verdict;

  const std::optional<std::uint64_t> manifest = CurrentDisk().Size(folder / kManifestName);
  // An unreadable size counts as all ones and wraps the sum to one less, without a message: meant.
  verdict.bytes += manifest.value_or(std::numeric_limits<std::uint64_t>::max());
  verdict.valid = manifest.has_value();
  return verdict;
}

}  // namespace k7k
