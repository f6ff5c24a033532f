// SHA-256 by the platform's own cryptography: CNG on Windows, libcrypto on POSIX.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace k7k {

using Sha256Digest = std::array<unsigned char, 32>;

// One running digest. A false from either call ends its use.
class Sha256 {
 public:
  virtual ~Sha256() = default;
  virtual bool Add(const char* bytes, std::size_t count) = 0;
  virtual bool Finish(Sha256Digest& digest) = 0;
};

// Null when the platform cannot provide SHA-256.
std::unique_ptr<Sha256> StartSha256();

}  // namespace k7k
