#include "txn/portable_install.h"

#include <algorithm>
#include <array>

#include "bundle/bundle_check.h"
#include "bundle/installed_copy.h"
#include "bundle/required_files.h"
#include "fs/detail.h"
#include "fs/path_identity.h"
#include "fs/staging_copy.h"
#include "fs/transaction_path.h"
#include "targets/portable_target.h"
#include "txn/flush_rename.h"
#include "txn/retrying_move.h"

namespace k7k {

namespace {

// One of the two pieces: its place, its private names beside it, and whether an old one was found.
struct Piece {
  Path target;
  Path staging;
  Path backup;
  bool existed = false;

  int MoveAside() const { return existed ? RetryingMove(target, backup) : 0; }
  int MoveIn() const { return RetryingMove(staging, target); }
  int Restore() const { return existed ? RetryingMove(backup, target) : 0; }
};

struct PortablePieces {
  Piece dll;
  Piece data;

  void RemoveStagings() const {
    RemoveTree(dll.staging);
    RemoveTree(data.staging);
  }

  // Undoes whatever was done to either piece. True when every restore that was needed succeeded; an
  // old piece whose restore failed stays under its backup name.
  bool RollBackPortable() const {
    RemoveTree(dll.target);
    RemoveTree(data.target);
    const int dll_error = dll.Restore();
    const int data_error = data.Restore();
    RemoveStagings();
    return dll_error == 0 && data_error == 0;
  }
};

bool CheckSeparateTrees(const Path& bundle, const Path& root, std::wstring* detail) {
  // The second resolution clears the first one's error, so a bundle root that cannot be resolved is
  // not refused for it and goes on as an empty path: meant.
  std::error_code error;
  const Path resolved_bundle = ResolvePath(bundle, error);
  const Path resolved_root = ResolvePath(root, error);
  if (!error && !Overlap(resolved_root, resolved_bundle)) return true;
  return Explain(detail, L"Payload and portable OBS destination must be separate trees", false);
}

PortablePieces NamePieces(const Path& root) {
  PortablePieces pieces;
  pieces.dll.target = PortableDllPath(root);
  pieces.data.target = PortableDataPath(root);
  const Path dll_parent = pieces.dll.target.parent_path();
  const Path data_parent = pieces.data.target.parent_path();
  pieces.dll.staging = TransactionPath(dll_parent, L"portable-dll-staging");
  pieces.data.staging = TransactionPath(data_parent, L"portable-data-staging");
  pieces.dll.backup = TransactionPath(dll_parent, L"portable-dll-backup");
  pieces.data.backup = TransactionPath(data_parent, L"portable-data-backup");
  return pieces;
}

bool AllNamesAreFree(const PortablePieces& pieces) {
  const std::array names{&pieces.dll.staging, &pieces.data.staging, &pieces.dll.backup,
                         &pieces.data.backup};
  return std::all_of(names.begin(), names.end(), [](const Path* name) {
    return CurrentDisk().Status(*name) == FileStatus::Absent;
  });
}

bool StageAndVerify(const Path& bundle, const PortablePieces& pieces) {
  return CurrentDisk().Copy(bundle / RequiredFiles.front().path, pieces.dll.staging) &&
         CurrentDisk().Flush(pieces.dll.staging) &&
         StageCopy(bundle / "data", pieces.data.staging, nullptr) &&
         ComparePortableFiles(bundle, pieces.dll.staging, pieces.data.staging, nullptr);
}

// Finds the old pieces and moves them aside. On false they are where they were (unless the library
// could not be put back), the stagings are gone and detail has the message.
bool BackUp(PortablePieces& pieces, std::wstring* detail) {
  // A status error counts as absence for the library and is a failure for the data: meant, although
  // a library that was not seen has no backup when a later step rolls back.
  pieces.dll.existed = Exists(CurrentDisk().Status(pieces.dll.target));
  const FileStatus data = CurrentDisk().Status(pieces.data.target);
  if (data == FileStatus::Unreadable) {
    pieces.RemoveStagings();
    return Explain(detail, L"Could not inspect portable OBS targets", false);
  }
  pieces.data.existed = Exists(data);

  if (pieces.dll.MoveAside() != 0) {
    pieces.RemoveStagings();
    return Explain(detail, L"Could not back up the portable OBS plugin DLL; OBS may be running",
                   false);
  }
  if (pieces.data.MoveAside() != 0) {
    pieces.dll.Restore();
    pieces.RemoveStagings();
    return Explain(detail, L"Could not back up portable OBS plugin data", false);
  }
  return true;
}

InstallOutcome UndoInjectedFailure(const PortablePieces& pieces, const wchar_t* undone,
                                   const wchar_t* not_undone, std::wstring* detail) {
  if (pieces.RollBackPortable()) {
    return Explain(detail, undone, InstallOutcome::InjectedFailureRolledBack);
  }
  return Explain(detail, not_undone, InstallOutcome::Failed);
}

// Moves both new pieces in, verifies them and deletes the old ones.
InstallOutcome Commit(const Path& bundle, const PortablePieces& pieces, std::wstring* detail,
                      InjectedFailure injected) {
  if (pieces.dll.MoveIn() != 0) {
    pieces.RollBackPortable();
    // Failed here, RolledBack in the standard install for its like message: meant.
    return Explain(detail, L"Portable OBS plugin replacement failed and was rolled back",
                   InstallOutcome::Failed);
  }
  if (injected == InjectedFailure::AfterDllCommit) {
    return UndoInjectedFailure(pieces, L"Injected portable commit failure",
                               L"Injected portable commit failure could not restore its backup",
                               detail);
  }
  // A data folder that cannot be moved in is reported as a failed verification: meant.
  if (pieces.data.MoveIn() != 0 ||
      !ComparePortableFiles(bundle, pieces.dll.target, pieces.data.target, nullptr)) {
    pieces.RollBackPortable();
    return Explain(detail, L"Portable OBS plugin verification failed and was rolled back",
                   InstallOutcome::RolledBack);
  }
  // No old piece goes before a power cut can no longer take either new one back.
  const Path& dll = pieces.dll.target;
  const Path& data = pieces.data.target;
  const bool dll_durable = FlushRename(dll, {dll});
  const bool durable = FlushRename(data, PortableDataFiles(data)) && dll_durable;
  if (pieces.dll.existed && !(durable && RemoveTree(pieces.dll.backup))) {
    Explain(detail, L"Portable plugin installed; DLL backup remains", InstallOutcome::Installed);
  }
  if (pieces.data.existed && !(durable && RemoveTree(pieces.data.backup))) {
    Explain(detail, L"Portable plugin installed; data backup remains", InstallOutcome::Installed);
  }
  return InstallOutcome::Installed;
}

}  // namespace

InstallOutcome InstallPortablePlugin(const Path& bundle, const Path& root, std::wstring* detail,
                                     InjectedFailure injected) {
  if (!InspectBundle(bundle, detail).valid) return InstallOutcome::BundleInvalid;
  if (!ValidatePortableRoot(root, detail) || !CheckPortableParents(root, true, detail) ||
      !CheckPortableTargets(root, detail) || !CheckSeparateTrees(bundle, root, detail)) {
    return InstallOutcome::Refused;
  }

  PortablePieces pieces = NamePieces(root);
  if (!AllNamesAreFree(pieces)) {
    return Explain(detail, L"Could not reserve portable OBS transaction paths",
                   InstallOutcome::Failed);
  }
  if (!StageAndVerify(bundle, pieces)) {
    pieces.RemoveStagings();
    return Explain(detail, L"Could not stage and verify the portable OBS plugin",
                   InstallOutcome::RolledBack);
  }
  if (!BackUp(pieces, detail)) return InstallOutcome::Failed;
  if (injected == InjectedFailure::AfterBackup) {
    return UndoInjectedFailure(pieces, L"Injected portable transaction failure",
                               L"Injected portable failure could not restore its backup", detail);
  }
  return Commit(bundle, pieces, detail, injected);
}

}  // namespace k7k
