#include <openssl/evp.h>

#include "bundle/sha256.h"

namespace k7k {

namespace {

class EvpSha256 : public Sha256 {
 public:
  bool Start() {
    return context_ && ::EVP_DigestInit_ex(context_.get(), ::EVP_sha256(), nullptr) == 1;
  }

  bool Add(const char* bytes, std::size_t count) override {
    return ::EVP_DigestUpdate(context_.get(), bytes, count) == 1;
  }

  bool Finish(Sha256Digest& digest) override {
    return ::EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) == 1;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> context_{::EVP_MD_CTX_new(),
                                                                     &::EVP_MD_CTX_free};
};

}  // namespace

std::unique_ptr<Sha256> StartSha256() {
  auto hash = std::make_unique<EvpSha256>();
  if (!hash->Start()) return nullptr;
  return hash;
}

}  // namespace k7k
