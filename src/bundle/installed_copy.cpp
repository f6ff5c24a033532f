#include "bundle/installed_copy.h"

#include <algorithm>

#include "bundle/bundle_check.h"
#include "bundle/file_digest.h"
#include "bundle/required_files.h"
#include "fs/detail.h"

namespace k7k {

namespace {

// Compares one pair of files and adds the target's size to sum.
bool SameFile(const Path& source, const Path& target, std::uint64_t& sum) {
  if (!IsPlainFile(target) || !SameFileDigest(source, target)) return false;
  const std::optional<std::uint64_t> size = CurrentDisk().Size(target);
  if (!size) return false;
  sum += *size;
  return true;
}

// Compares each required file of the bundle with the path that target_of gives for it.
template <class TargetOf>
bool CompareFiles(const Path& bundle, TargetOf target_of, std::uint64_t* bytes) {
  std::uint64_t sum = 0;
  for (const RequiredFile& file : RequiredFiles) {
    if (!SameFile(bundle / file.path, target_of(file), sum)) return false;
  }
  if (bytes != nullptr) *bytes = sum;
  return true;
}

// Below the data folder.
Path DataPath(const RequiredFile& file) { return Path(file.path).lexically_relative(L"data"); }

}  // namespace

Path PluginFolderIn(const Path& plugin_parent) { return plugin_parent / L"k7k-obs-audio"; }

std::vector<Path> InstalledFiles(const Path& installed) {
  std::vector<Path> files(RequiredFiles.size());
  std::transform(RequiredFiles.begin(), RequiredFiles.end(), files.begin(),
                 [&](const RequiredFile& file) { return installed / file.path; });
  return files;
}

std::vector<Path> PortableDataFiles(const Path& data) {
  std::vector<Path> files(RequiredFiles.size() - 1);
  std::transform(RequiredFiles.begin() + 1, RequiredFiles.end(), files.begin(),
                 [&](const RequiredFile& file) { return data / DataPath(file); });
  return files;
}

CopyVerdict CheckInstalledCopy(const Path& plugin_parent, const Path& bundle,
                               std::wstring* detail) {
  const Path installed = PluginFolderIn(plugin_parent);
  CopyVerdict verdict;
  switch (CurrentDisk().Status(installed)) {
    case FileStatus::Unreadable:
      return Explain(detail, L"Could not inspect the installed bundle", verdict);
    case FileStatus::Absent:
      return verdict;
    default:
      verdict.present = true;
  }
  if (!InspectBundle(installed, detail).valid) return verdict;
  if (!InspectBundle(bundle, detail).valid) return verdict;
  verdict.valid = CompareInstalledFiles(bundle, installed, &verdict.bytes);
  if (verdict.valid) return verdict;
  return Explain(detail, L"Installed OBS plugin files differ from the bundled connector", verdict);
}

bool CompareInstalledFiles(const Path& bundle, const Path& installed, std::uint64_t* bytes) {
  return CompareFiles(
      bundle, [&](const RequiredFile& file) { return installed / file.path; }, bytes);
}

bool ComparePortableFiles(const Path& bundle, const Path& library, const Path& data,
                          std::uint64_t* bytes) {
  const auto target_of = [&](const RequiredFile& file) {
    if (&file == &RequiredFiles.front()) return library;
    return data / DataPath(file);
  };
  return CompareFiles(bundle, target_of, bytes);
}

}  // namespace k7k
