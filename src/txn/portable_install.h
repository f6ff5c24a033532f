// The install transaction of a portable target, whose two pieces change together.
#pragma once

#include <string>

#include "fs/disk.h"
#include "txn/outcomes.h"

namespace k7k {

// Puts the library and the data folder of bundle into the portable OBS at root: stage both beside
// their targets, verify, move the old ones aside, move the new ones in, verify, delete the old
// ones. Any failure puts both old pieces back. The plugin parents that it creates stay.
//
// Whatever the outcome, each old piece that was seen or each new one is complete: at its place, or,
// when a move back failed, under its private backup name beside it. detail (may be null) has the
// message of every outcome but Installed, which writes one only when a backup stays: it could not
// be deleted, or the swap not be flushed.
InstallOutcome InstallPortablePlugin(const Path& bundle, const Path& root, std::wstring* detail,
                                     InjectedFailure injected);

}  // namespace k7k
