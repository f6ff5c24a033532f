// Random choices that are the same on every platform and in every run with the same seed; the
// standard library's distributions are not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace k7k::test {

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  // A number from 0 to below limit, which is not 0.
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }
  bool OneIn(std::size_t n) { return Below(n) == 0; }
  char Byte() { return static_cast<char>(Below(256)); }

  std::string Bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = Byte();
    return bytes;
  }

  template <class List>
  auto& From(List& list) {
    return list[Below(std::size(list))];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace k7k::test
