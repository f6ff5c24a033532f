// The removal transaction of the standard target.
#pragma once

#include <string>

#include "fs/disk.h"
#include "txn/outcomes.h"

namespace k7k {

// Takes the plugin's folder out of plugin_parent: move it aside, then delete it; when the deletion
// fails, what is left of it is moved back. plugin_parent itself stays, even when empty. detail (may
// be null) has the message of every outcome but Removed and NotInstalled. After Failed the folder
// is at its place, or, when the move back failed too, under the private backup name beside it.
RemovalOutcome RemovePlugin(const Path& plugin_parent, std::wstring* detail,
                            InjectedFailure injected);

}  // namespace k7k
