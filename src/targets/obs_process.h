// Whether OBS is running.
#pragma once

namespace k7k {

// Whether any process of the machine has the executable name "obs64.exe" in any letter case, from a
// fresh list at each call. False as well when the processes cannot be listed. Advice only: OBS may
// start a moment later.
bool IsObsRunning();

}  // namespace k7k
