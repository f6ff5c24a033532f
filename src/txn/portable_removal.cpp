#include "txn/portable_removal.h"

#include "bundle/installed_copy.h"
#include "fs/detail.h"
#include "fs/transaction_path.h"
#include "targets/portable_target.h"
#include "txn/flush_rename.h"
#include "txn/retrying_move.h"

namespace k7k {

RemovalOutcome RemovePortablePlugin(const Path& root, std::wstring* detail,
                                    InjectedFailure injected) {
  if (!ValidatePortableRoot(root, detail) || !CheckPortableTargets(root, detail)) {
    return RemovalOutcome::Refused;
  }

  const Path dll = PortableDllPath(root);
  const Path data = PortableDataPath(root);
  // A status error counts as absence for the library and fails silently for the data: meant.
  const bool dll_existed = Exists(CurrentDisk().Status(dll));
  const FileStatus data_status = CurrentDisk().Status(data);
  if (data_status == FileStatus::Unreadable) return RemovalOutcome::Failed;
  const bool data_existed = Exists(data_status);
  if (!dll_existed && !data_existed) return RemovalOutcome::NotInstalled;

  // Not tested for being free, unlike every other private name: their uniqueness is relied on.
  const Path dll_backup = TransactionPath(dll.parent_path(), L"portable-remove-dll");
  const Path data_backup = TransactionPath(data.parent_path(), L"portable-remove-data");
  if (dll_existed && RetryingMove(dll, dll_backup) != 0) {
    return Explain(detail, L"Could not isolate the portable plugin DLL; OBS may be running",
                   RemovalOutcome::Failed);
  }
  if (data_existed && RetryingMove(data, data_backup) != 0) {
    if (dll_existed) RetryingMove(dll_backup, dll);
    return Explain(detail, L"Could not isolate portable plugin data", RemovalOutcome::Failed);
  }
  if (injected == InjectedFailure::AfterBackup) {
    const int dll_error = dll_existed ? RetryingMove(dll_backup, dll) : 0;
    const int data_error = data_existed ? RetryingMove(data_backup, data) : 0;
    if (dll_error != 0 || data_error != 0) {
      return Explain(detail, L"Injected portable removal failure could not restore targets",
                     RemovalOutcome::Failed);
    }
    return Explain(detail, L"Injected portable removal failure",
                   RemovalOutcome::InjectedFailureRolledBack);
  }

  // Not before a power cut can no longer put what is being deleted back into its place.
  const bool dll_durable = !dll_existed || FlushRename(dll_backup, {dll_backup});
  const bool data_durable =
      !data_existed || FlushRename(data_backup, PortableDataFiles(data_backup));
  const bool durable = dll_durable && data_durable;
  const bool dll_deleted = !dll_existed || (durable && RemoveTree(dll_backup));
  const bool data_deleted = !data_existed || (durable && RemoveTree(data_backup));
  if (dll_deleted && data_deleted) return RemovalOutcome::Removed;
  // Nothing is moved back, unlike in the standard removal: OBS no longer sees the plugin. Meant.
  return Explain(detail, L"Portable plugin was detached, but a private backup remains",
                 RemovalOutcome::Failed);
}

}  // namespace k7k
