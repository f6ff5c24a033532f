#include "support/reference_digest.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace k7k::test {

namespace {

using Words = std::array<std::uint32_t, 8>;

std::uint32_t FractionBits(double number) {
  return static_cast<std::uint32_t>((number - std::floor(number)) * 4294967296.0);
}

std::vector<double> Primes(std::size_t count) {
  std::vector<double> primes;
  for (int number = 2; primes.size() < count; ++number) {
    const auto divides = [&](double prime) { return std::fmod(number, prime) == 0; };
    if (std::none_of(primes.begin(), primes.end(), divides)) primes.push_back(number);
  }
  return primes;
}

std::vector<std::uint32_t> RoundConstants() {
  std::vector<std::uint32_t> constants;
  for (const double prime : Primes(64)) constants.push_back(FractionBits(std::cbrt(prime)));
  return constants;
}

void AddBlock(Words& state, const std::string& block) {
  static const std::vector<std::uint32_t> constants = RoundConstants();
  std::array<std::uint32_t, 64> w{};
  for (std::size_t i = 0; i < 64; ++i) {
    w[i / 4] = w[i / 4] << 8 | static_cast<unsigned char>(block[i]);
  }
  for (std::size_t i = 16; i < 64; ++i) {
    const std::uint32_t a = w[i - 15];
    const std::uint32_t b = w[i - 2];
    w[i] = w[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) + w[i - 7] +
           (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
  }
  Words s = state;
  for (std::size_t i = 0; i < 64; ++i) {
    const std::uint32_t t1 = s[7] +
                             (std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25)) +
                             ((s[4] & s[5]) ^ (~s[4] & s[6])) + constants[i] + w[i];
    const std::uint32_t t2 = (std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22)) +
                             ((s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]));
    std::rotate(s.begin(), s.end() - 1, s.end());
    s[4] += t1;
    s[0] = t1 + t2;
  }
  for (std::size_t i = 0; i < s.size(); ++i) state[i] += s[i];
}

}  // namespace

std::string ReferenceDigest(const std::string& content) {
  Words state{};
  const std::vector<double> primes = Primes(state.size());
  std::transform(primes.begin(), primes.end(), state.begin(),
                 [](double prime) { return FractionBits(std::sqrt(prime)); });
  std::string padded = content + '\x80';
  padded.resize((padded.size() + 8 + 63) / 64 * 64 - 8);
  for (int shift = 56; shift >= 0; shift -= 8) {
    padded += static_cast<char>(std::uint64_t{content.size()} * 8 >> shift & 255);
  }
  for (std::size_t at = 0; at < padded.size(); at += 64) AddBlock(state, padded.substr(at, 64));
  std::string digest;
  for (const std::uint32_t word : state) {
    for (int shift = 28; shift >= 0; shift -= 4) digest += "0123456789abcdef"[word >> shift & 15];
  }
  return digest;
}

}  // namespace k7k::test
