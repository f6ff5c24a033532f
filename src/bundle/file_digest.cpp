#include "bundle/file_digest.h"

#include <vector>

#include "bundle/sha256.h"

namespace k7k {

namespace {

constexpr std::size_t kChunkBytes = 65536;

std::string HexText(const Sha256Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

bool AddContent(std::istream& file, Sha256& hash) {
  std::vector<char> chunk(kChunkBytes);
  while (!file.fail()) {
    file.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    const auto count = static_cast<std::size_t>(file.gcount());
    if (count > 0 && !hash.Add(chunk.data(), count)) return false;
  }
  return file.eof();  // otherwise it was a read error that ended the loop
}

}  // namespace

bool HashFileSha256(const Path& path, std::string* digest) {
  if (digest == nullptr) return false;
  const std::unique_ptr<Sha256> hash = StartSha256();
  if (!hash) return false;
  const std::unique_ptr<std::istream> file = CurrentDisk().OpenInput(path);
  if (!file || !AddContent(*file, *hash)) return false;
  Sha256Digest bytes{};
  if (!hash->Finish(bytes)) return false;
  *digest = HexText(bytes);
  return true;
}

bool SameFileDigest(const Path& a, const Path& b) {
  std::string digest_a;
  std::string digest_b;
  return HashFileSha256(a, &digest_a) && HashFileSha256(b, &digest_b) && digest_a == digest_b;
}

}  // namespace k7k
