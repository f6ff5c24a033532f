// The files that the self-test makes for itself.
#pragma once

#include <string_view>

#include "fs/disk.h"

namespace k7k {

// Writes a file, over an existing one, with the parent folders that it needs. True when the stream
// was still good after the last byte; false without opening the file when a folder could not be
// created.
bool WriteBinaryFile(const Path& path, std::string_view bytes);

// The first byte of a file; 0 when it cannot be opened or is empty.
char ReadFirstByte(const Path& path);

// Makes folder a complete bundle: each required file is 32 times the fill character, and the
// manifest is theirs. False at the first write that fails; what was written stays.
bool WriteFixturePayload(const Path& folder, char fill);

}  // namespace k7k
