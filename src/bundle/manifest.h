// The integrity manifest: a text file at a bundle's root that names the connector's version and
// records the SHA-256 of each required file. This is the one place that knows its format.
//
//   K7K_OBS_CONNECTOR_MANIFEST_V1
//   connector-version=<four numbers>
//   protocol-version=<number>
//   obs-major-range=<first>-<last>
//   <64 lower-case hex characters>  bin/64bit/k7k-obs-audio.dll
//   ... an entry for each other required file ...
//
// Written with line feeds only, read with or without a carriage return before each. The header
// lines are matched as they stand; entries may come in any order. The entries alone (`tail -n +5`)
// are what `sha256sum -c` reads.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

inline constexpr wchar_t kManifestName[] = L"manifest.sha256";

// Writes the manifest of the bundle in folder, over an existing one. On false, detail (may be null)
// has the message. Up to the moment at which the file is opened a failure leaves an existing
// manifest as it was; one found after it leaves an empty or partial manifest, which never verifies.
// Empty required files are hashed like others: only the check of the bundle refuses them.
bool WriteManifest(const Path& folder, std::wstring* detail);

// Whether the manifest in folder is well-formed and every required file has the digest that it
// records. On false, detail (may be null) has the message.
bool VerifyManifest(const Path& folder, std::wstring* detail);

}  // namespace k7k
