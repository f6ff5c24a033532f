// Digests of files. Contents are compared by these texts and in no other way.
#pragma once

#include <string>

#include "fs/disk.h"

namespace k7k {

// Stores the SHA-256 of a file's content as 64 lower-case hexadecimal characters. False when digest
// is null (nothing is opened then), when the file cannot be opened or read to its end, or when the
// platform cannot hash; digest keeps what it held. Reads in chunks: memory does not grow with the
// file. Links are followed.
bool HashFileSha256(const Path& path, std::string* digest);

// Whether both files can be hashed and have the same digest. Two failures are not equal; b is not
// opened when a fails.
bool SameFileDigest(const Path& a, const Path& b);

}  // namespace k7k
