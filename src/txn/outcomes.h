// The results of the transactions, and the switch that makes them fail on purpose. The numbers are
// part of the exit codes.
#pragma once

namespace k7k {

enum class InstallOutcome : int {
  Installed = 0,      // the new copy is in place and verified
  BundleInvalid = 1,  // the bundle failed its check; nothing was touched
  Refused = 2,        // a precondition failed; at most missing plugin parents were created
  Failed = 3,         // could not start or go on, or an injected failure could not be undone
  RolledBack = 4,     // staging, swap or verification failed and was undone
  InjectedFailureRolledBack = 5,
};

// The injected value is 4 here and 5 there: the two scales differ and are kept apart.
enum class RemovalOutcome : int {
  Removed = 0,
  NotInstalled = 1,  // nothing was there and nothing was done
  Refused = 2,       // a path is not what it should be, or holds a reparse point
  Failed = 3,
  InjectedFailureRolledBack = 4,
};

// Where a transaction stops, undoes what it did and reports the injected failure. A transaction
// takes a value that it does not know for None.
enum class InjectedFailure : unsigned {
  None = 0,
  AfterBackup = 1,     // the old copy was moved aside; nothing was moved in or deleted yet
  AfterDllCommit = 2,  // portable install alone: the new library is in place, its data is not
};

}  // namespace k7k
