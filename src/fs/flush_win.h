// Putting written data on the medium, on Windows.
#pragma once

#include <string>

namespace k7k {

// What Disk::Flush promises, for a text that Win32 takes.
bool FlushToMedium(const std::wstring& text);

}  // namespace k7k
