#include "txn/standard_install.h"

#include "bundle/bundle_check.h"
#include "bundle/installed_copy.h"
#include "fs/detail.h"
#include "fs/path_identity.h"
#include "fs/staging_copy.h"
#include "fs/transaction_path.h"
#include "txn/flush_rename.h"
#include "txn/retrying_move.h"

namespace k7k {

namespace {

bool CheckDestination(const Path& payload, const Path& plugin_parent, const Path& destination,
                      std::wstring* detail) {
  constexpr auto kNotSeparate = L"Payload and plugin destination must be separate trees";
  if (!CreateFoldersDurably(plugin_parent) || IsReparsePoint(plugin_parent)) {
    return Explain(detail, L"Plugin parent is unavailable or unsafe", false);
  }
  std::error_code error;
  const Path resolved_payload = ResolvePath(payload, error);
  if (error) return Explain(detail, L"Could not resolve the payload root", false);
  const Path resolved_parent = ResolvePath(plugin_parent, error);
  if (error) return Explain(detail, kNotSeparate, false);  // shares the overlap message: meant
  if (Overlap(resolved_parent, resolved_payload)) return Explain(detail, kNotSeparate, false);
  if (Exists(CurrentDisk().Status(destination)) && IsReparsePoint(destination)) {
    return Explain(detail, L"Existing plugin path is unsafe", false);
  }
  return true;
}

// Puts the old copy back after a failed swap. The message says so even when that failed as well,
// and the backup is then where the old copy is: meant.
InstallOutcome RollBack(const Path& destination, const Path& staging, const Path& backup,
                        bool backup_made, std::wstring* detail) {
  RemoveTree(destination);
  if (backup_made) RetryingMove(backup, destination);
  RemoveTree(staging);
  return Explain(detail, L"Plugin replacement failed and was rolled back",
                 InstallOutcome::RolledBack);
}

InstallOutcome UndoInjectedFailure(const Path& destination, const Path& staging, const Path& backup,
                                   bool backup_made, std::wstring* detail) {
  const int error = backup_made ? RetryingMove(backup, destination) : 0;
  RemoveTree(staging);
  if (error != 0) {
    return Explain(detail, L"Injected failure could not restore backup: " + std::to_wstring(error),
                   InstallOutcome::Failed);
  }
  return Explain(detail, L"Injected transaction failure",
                 InstallOutcome::InjectedFailureRolledBack);
}

}  // namespace

InstallOutcome InstallPlugin(const Path& payload, const Path& plugin_parent, std::wstring* detail,
                             InjectedFailure injected) {
  if (!InspectBundle(payload, detail).valid) return InstallOutcome::BundleInvalid;
  const Path destination = PluginFolderIn(plugin_parent);
  if (!CheckDestination(payload, plugin_parent, destination, detail)) {
    return InstallOutcome::Refused;
  }

  const Path staging = TransactionPath(plugin_parent, L"staging");
  const Path backup = TransactionPath(plugin_parent, L"backup");
  // The backup alone must be known to be free; a status error on staging is let through: meant.
  if (Exists(CurrentDisk().Status(staging)) || CurrentDisk().Status(backup) != FileStatus::Absent) {
    return Explain(detail, L"Could not reserve transaction paths", InstallOutcome::Failed);
  }

  if (!StageCopy(payload, staging, detail) || !InspectBundle(staging, detail).valid) {
    RemoveTree(staging);
    return InstallOutcome::RolledBack;
  }

  const FileStatus previous = CurrentDisk().Status(destination);
  if (previous == FileStatus::Unreadable) {
    RemoveTree(staging);
    return Explain(detail, L"Could not inspect the existing plugin", InstallOutcome::Failed);
  }
  const bool backup_made = previous != FileStatus::Absent;
  if (backup_made && RetryingMove(destination, backup) != 0) {
    RemoveTree(staging);
    return Explain(detail, L"Could not back up the existing plugin; OBS may be running",
                   InstallOutcome::Failed);
  }
  if (injected == InjectedFailure::AfterBackup) {
    return UndoInjectedFailure(destination, staging, backup, backup_made, detail);
  }

  if (RetryingMove(staging, destination) != 0 || !InspectBundle(destination, detail).valid) {
    return RollBack(destination, staging, backup, backup_made, detail);
  }

  // The old copy goes only when a power cut can no longer take the new one back.
  const bool durable = FlushRename(destination, InstalledFiles(destination));
  if (backup_made && !(durable && RemoveTree(backup))) {
    return Explain(detail, L"Plugin was installed, but its private backup remains",
                   InstallOutcome::Installed);
  }
  return InstallOutcome::Installed;
}

}  // namespace k7k
