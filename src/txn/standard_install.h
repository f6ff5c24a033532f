// The install transaction of the standard target.
#pragma once

#include <string>

#include "fs/disk.h"
#include "txn/outcomes.h"

namespace k7k {

// Puts a verified copy of payload (a bundle folder) into the plugin's folder in plugin_parent,
// which is created when missing: stage beside the target, verify, move the old copy aside, move the
// new one in, verify, delete the old one. Any failure puts the old copy back.
//
// Whatever the outcome, the old or the new copy is complete: at its place, or, when a move back
// failed, under the private backup name beside it. Every way out tries to remove the staging
// folder. detail (may be null) has the message of every outcome but Installed, which writes one
// only when the backup stays: it could not be deleted, or the swap not be flushed.
InstallOutcome InstallPlugin(const Path& payload, const Path& plugin_parent, std::wstring* detail,
                             InjectedFailure injected);

}  // namespace k7k
