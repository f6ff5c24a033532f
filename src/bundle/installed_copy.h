// Whether an installed copy of the plugin is intact and the same as the bundle. Files are compared
// by their digests, in the order of RequiredFiles, and the first that fails ends the comparison.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bundle/copy_verdict.h"
#include "fs/disk.h"

namespace k7k {

// The plugin's folder in a plugin parent folder: the two joined, nothing resolved or checked.
Path PluginFolderIn(const Path& plugin_parent);

// Where the required files lie in an installed copy, and the data files of a portable one in its
// data folder.
std::vector<Path> InstalledFiles(const Path& installed);
std::vector<Path> PortableDataFiles(const Path& data);

// The verdict on the copy in plugin_parent: it must be a complete bundle itself, the bundle must be
// valid too, and their required files must be the same. bytes: the sizes of the installed files
// for a valid copy (without the manifest, unlike InspectBundle), else 0. A missing copy writes no
// message to detail (may be null).
CopyVerdict CheckInstalledCopy(const Path& plugin_parent, const Path& bundle, std::wstring* detail);

// Whether each required file of installed is a plain file with the digest of the bundle's. Stores
// the sum of the installed sizes in *bytes (may be null) on success alone. Writes no message.
bool CompareInstalledFiles(const Path& bundle, const Path& installed, std::uint64_t* bytes);

// The same for the two places of a portable installation: the library by its full path, the data
// files below data as they lie below the bundle's "data" folder.
bool ComparePortableFiles(const Path& bundle, const Path& library, const Path& data,
                          std::uint64_t* bytes);

}  // namespace k7k
