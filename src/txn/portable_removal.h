// The removal transaction of a portable target.
#pragma once

#include <string>

#include "fs/disk.h"
#include "txn/outcomes.h"

namespace k7k {

// Takes the library and the data folder out of the portable OBS at root: move both aside, then
// delete them. A piece that cannot be moved aside leaves both at their places; a deletion that
// fails moves nothing back: the plugin is detached, and the rest stays under the private names. The
// plugin parents stay. detail (may be null) has the message of Refused, Failed and the injected
// failure, but for a data folder whose status cannot be read, which is Failed without a message.
RemovalOutcome RemovePortablePlugin(const Path& root, std::wstring* detail,
                                    InjectedFailure injected);

}  // namespace k7k
