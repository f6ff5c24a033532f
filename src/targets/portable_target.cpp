#include "targets/portable_target.h"

#include <algorithm>
#include <array>

#include "bundle/bundle_check.h"
#include "bundle/installed_copy.h"
#include "bundle/required_files.h"
#include "fs/detail.h"
#include "fs/path_identity.h"
#include "fs/tree_inspection.h"

namespace k7k {

namespace {

bool IsPlainFolder(const Path& path) {
  return CurrentDisk().Status(path) == FileStatus::Folder && !IsReparsePoint(path);
}

bool HasObsExecutable(const Path& root) {
  const Path executable = root / "bin" / "64bit" / "obs64.exe";
  return IsPlainFile(executable) && CurrentDisk().Size(executable).value_or(0) > 0;
}

// A marker that is a folder or a link does not count, and the next name is tried.
bool HasPortableMarker(const Path& root) {
  constexpr std::array kMarkers{"portable_mode", "obs_portable_mode", "portable_mode.txt",
                                "obs_portable_mode.txt"};
  return std::any_of(kMarkers.begin(), kMarkers.end(),
                     [&](const char* marker) { return IsPlainFile(root / marker); });
}

}  // namespace

Path PortableDllPath(const Path& root) {
  return root / "obs-plugins" / "64bit" / "k7k-obs-audio.dll";
}

Path PortableDataPath(const Path& root) { return root / "data" / "obs-plugins" / "k7k-obs-audio"; }

bool ValidatePortableRoot(const Path& root, std::wstring* detail) {
  if (root.empty() || !IsAbsolute(root)) {
    return Explain(detail, L"Portable OBS root must be an absolute path", false);
  }
  if (!IsPlainFolder(root)) {
    return Explain(detail, L"Portable OBS root is unavailable or unsafe", false);
  }
  // A missing bin folder gets this message too, not the one about the executable: meant.
  if (!IsPlainFolder(root / "bin") || !IsPlainFolder(root / "bin" / "64bit")) {
    return Explain(detail, L"The portable OBS executable path is unsafe", false);
  }
  if (!HasObsExecutable(root)) {
    return Explain(detail, L"The selected folder does not contain bin\\64bit\\obs64.exe", false);
  }
  if (!HasPortableMarker(root)) {
    return Explain(detail, L"The selected OBS folder is not marked for portable mode", false);
  }
  return CheckPortableParents(root, false, detail) && CheckPortableTargets(root, detail);
}

bool CheckPortableParents(const Path& root, bool create, std::wstring* detail) {
  constexpr auto kUnsafe = L"A portable OBS plugin parent is unavailable or unsafe";
  const std::array parents{root / "obs-plugins", root / "obs-plugins" / "64bit", root / "data",
                           root / "data" / "obs-plugins"};
  for (const Path& parent : parents) {
    if (create && !CreateFoldersDurably(parent)) return Explain(detail, kUnsafe, false);
    const FileStatus status = CurrentDisk().Status(parent);
    if (status == FileStatus::Absent) continue;
    if (status == FileStatus::Unreadable) {
      return Explain(detail, L"Could not inspect a portable OBS parent", false);
    }
    if (!IsPlainFolder(parent)) return Explain(detail, kUnsafe, false);
  }
  return true;
}

bool CheckPortableTargets(const Path& root, std::wstring* detail) {
  // A status error is ignored for the library and fails without a word for the data: meant.
  const Path dll = PortableDllPath(root);
  if (Exists(CurrentDisk().Status(dll)) && !IsPlainFile(dll)) {
    return Explain(detail, L"The portable OBS plugin DLL path is unsafe", false);
  }
  const Path data = PortableDataPath(root);
  const FileStatus status = CurrentDisk().Status(data);
  if (status == FileStatus::Absent) return true;
  if (status == FileStatus::Unreadable) return false;
  if (status != FileStatus::Folder || !InspectTree(data, nullptr)) {
    return Explain(detail, L"The portable OBS plugin data path is unsafe", false);
  }
  return true;
}

CopyVerdict GetPortableStatus(const Path& root, const Path& bundle, std::wstring* detail) {
  CopyVerdict verdict;
  if (!ValidatePortableRoot(root, detail) || !InspectBundle(bundle, detail).valid) return verdict;

  const Path dll = PortableDllPath(root);
  const Path data = PortableDataPath(root);
  const FileStatus dll_status = CurrentDisk().Status(dll);
  const FileStatus data_status = CurrentDisk().Status(data);
  verdict.present = Exists(dll_status) || Exists(data_status);
  if (!verdict.present) return verdict;
  // As in CheckPortableTargets, a data folder that cannot be asked about gets no message: meant.
  if (data_status == FileStatus::Unreadable) return verdict;

  verdict.valid = Exists(dll_status) && Exists(data_status) &&
                  ComparePortableFiles(bundle, dll, data, &verdict.bytes);
  if (verdict.valid) return verdict;
  return Explain(detail,
                 L"Portable OBS plugin files are incomplete or differ from the bundled connector",
                 verdict);
}

}  // namespace k7k
