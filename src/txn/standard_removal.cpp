#include "txn/standard_removal.h"

#include "bundle/installed_copy.h"
#include "fs/detail.h"
#include "fs/path_identity.h"
#include "fs/transaction_path.h"
#include "fs/tree_inspection.h"
#include "txn/flush_rename.h"
#include "txn/retrying_move.h"

namespace k7k {

RemovalOutcome RemovePlugin(const Path& plugin_parent, std::wstring* detail,
                            InjectedFailure injected) {
  Disk& disk = CurrentDisk();
  FileStatus status = disk.Status(plugin_parent);
  if (status == FileStatus::Unreadable) {
    return Explain(detail, L"Could not inspect the plugin parent", RemovalOutcome::Failed);
  }
  if (status == FileStatus::Absent) return RemovalOutcome::NotInstalled;
  // Asked again, as a question of its own: it may have changed.
  if (disk.Status(plugin_parent) != FileStatus::Folder || IsReparsePoint(plugin_parent)) {
    return Explain(detail, L"Plugin parent is unavailable or unsafe", RemovalOutcome::Refused);
  }

  const Path destination = PluginFolderIn(plugin_parent);
  status = disk.Status(destination);
  if (status == FileStatus::Unreadable) {
    return Explain(detail, L"Could not inspect the installed plugin", RemovalOutcome::Failed);
  }
  if (status == FileStatus::Absent) return RemovalOutcome::NotInstalled;
  if (disk.Status(destination) != FileStatus::Folder || !InspectTree(destination, detail)) {
    return Explain(detail, L"Installed plugin path is unsafe", RemovalOutcome::Refused);
  }

  const Path backup = TransactionPath(plugin_parent, L"remove-backup");
  if (disk.Status(backup) != FileStatus::Absent) {
    return Explain(detail, L"Could not reserve the removal backup path", RemovalOutcome::Failed);
  }
  if (RetryingMove(destination, backup) != 0) {
    return Explain(detail, L"Could not isolate the plugin; OBS may be running",
                   RemovalOutcome::Failed);
  }
  if (injected == InjectedFailure::AfterBackup) {
    if (RetryingMove(backup, destination) != 0) {
      return Explain(detail, L"Injected removal failure could not restore the plugin",
                     RemovalOutcome::Failed);
    }
    return Explain(detail, L"Injected removal failure", RemovalOutcome::InjectedFailureRolledBack);
  }

  // Not before a power cut can no longer put what is being deleted back into its place.
  if (FlushRename(backup, InstalledFiles(backup)) && RemoveTree(backup)) {
    return RemovalOutcome::Removed;
  }
  if (RetryingMove(backup, destination) != 0) {
    return Explain(detail, L"Plugin removal failed and its backup could not be restored",
                   RemovalOutcome::Failed);
  }
  return Explain(detail, L"Plugin removal failed and was rolled back", RemovalOutcome::Failed);
}

}  // namespace k7k
