// A portable OBS: a folder chosen by the user that holds OBS with its own plugin folders. Whether a
// folder is one, where the plugin's two pieces go in it, and what state they are in.
#pragma once

#include <string>

#include "bundle/copy_verdict.h"
#include "fs/disk.h"

namespace k7k {

// The plugin's library and its data folder below an OBS root; pure joins, nothing is checked.
Path PortableDllPath(const Path& root);
Path PortableDataPath(const Path& root);

// Whether root is a portable OBS into which the plugin may go: an absolute path to a plain folder
// with bin\64bit\obs64.exe and a portable-mode marker, whose plugin parents and plugin pieces are
// safe where they exist. On false, detail (may be null) has the message of the first failed check,
// but for one silent case (see CheckPortableTargets). Changes nothing.
bool ValidatePortableRoot(const Path& root, std::wstring* detail);

// Whether the four folders on the way to the plugin's pieces are plain folders; one that is missing
// is accepted. With create set, missing ones are created first, and stay on a later failure. On
// false, detail (may be null) has the message.
bool CheckPortableParents(const Path& root, bool create, std::wstring* detail);

// Whether the plugin's pieces are what they should be where they exist: a plain file, and a folder
// without a reparse point in it. A library whose status cannot be read passes; a data folder whose
// status cannot be read fails without a message. Otherwise, on false, detail (may be null) has one.
bool CheckPortableTargets(const Path& root, std::wstring* detail);

// The state of the plugin in root against a bundle. present: at least one piece exists; valid: both
// do and are the same as the bundle's; bytes: the sizes of the installed files when valid, else
// 0. A root or a bundle that is refused counts as not present, with the refusal in detail if it
// wrote one.
CopyVerdict GetPortableStatus(const Path& root, const Path& bundle, std::wstring* detail);

}  // namespace k7k
