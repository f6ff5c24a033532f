// SHA-256 a second time, without the engine and slowly: what the engine's digests are held against.
#pragma once

#include <string>

namespace k7k::test {

// SHA-256 as 64 lower-case hexadecimal characters.
std::string ReferenceDigest(const std::string& content);

}  // namespace k7k::test
