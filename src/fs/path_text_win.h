// The texts by which Win32 reaches a path.
#pragma once

#include <string>
#include <vector>

#include "fs/disk.h"

namespace k7k {

// The path with "\" as its only separator, as Win32 takes it: behind a "\\?\" prefix it knows no
// other, and there the name of a volume without a separator after it is the device, not its root
// folder.
std::wstring SeparatedText(Path path);

// A path as the text of a Win32 call. Absolute paths of 240 characters and more get the form of
// LongText, because without a setting of the system Win32 takes 259 characters, 247 for a new
// folder ("Maximum Path Length Limitation"). They mean what Win32 takes shorter ones for.
std::wstring Win32Text(const Path& path);

// What Win32 takes a text for, behind a "\\?\" or "\\?\UNC\" prefix: the full path without ".",
// "..", doubled separators and the dots and spaces that Win32 trims; a separator at the end stays.
// Names that are put behind it are taken as they are, and its length has no limit. A text with the
// prefix "\\.\" is taken apart like any other. One with "\\?\" or "\??\", and the bare name of a
// device ("nul"), stay as they are.
std::wstring LongText(const std::wstring& text);

// The long texts of a path in which the names from one that Win32 would trim on are taken as they
// are: one text for each such name, because a path does not tell where its names stop being those
// that the user wrote, which Win32 trims, and begin to be those that a walk found. Empty for a path
// without such names and for one with the prefix "\\?\" or "\??\".
std::vector<std::wstring> ExactTexts(const Path& path);

}  // namespace k7k
