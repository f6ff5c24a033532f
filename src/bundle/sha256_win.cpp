#include <windows.h>

// Needs windows.h before it.
#include <bcrypt.h>

#include <vector>

#include "bundle/sha256.h"
#include "fs/owner.h"
#include "fs/system_library_win.h"

namespace k7k {

namespace {

// The functions of bcrypt.dll. A static import would load a DLL of that name that someone put
// beside the program.
struct Cng {
  SystemLibrary library{L"bcrypt.dll"};
  decltype(&::BCryptOpenAlgorithmProvider) open_provider =
      library.Find<decltype(::BCryptOpenAlgorithmProvider)>("BCryptOpenAlgorithmProvider");
  decltype(&::BCryptGetProperty) get_property =
      library.Find<decltype(::BCryptGetProperty)>("BCryptGetProperty");
  decltype(&::BCryptCreateHash) create_hash =
      library.Find<decltype(::BCryptCreateHash)>("BCryptCreateHash");
  decltype(&::BCryptHashData) hash_data =
      library.Find<decltype(::BCryptHashData)>("BCryptHashData");
  decltype(&::BCryptFinishHash) finish_hash =
      library.Find<decltype(::BCryptFinishHash)>("BCryptFinishHash");
  decltype(&::BCryptDestroyHash) destroy_hash =
      library.Find<decltype(::BCryptDestroyHash)>("BCryptDestroyHash");
  decltype(&::BCryptCloseAlgorithmProvider) close_provider =
      library.Find<decltype(::BCryptCloseAlgorithmProvider)>("BCryptCloseAlgorithmProvider");

  bool Complete() const {
    return open_provider != nullptr && get_property != nullptr && create_hash != nullptr &&
           hash_data != nullptr && finish_hash != nullptr && destroy_hash != nullptr &&
           close_provider != nullptr;
  }
};

const Cng& TheCng() {
  static const Cng cng;
  return cng;
}

struct ProviderTraits {
  using Value = BCRYPT_ALG_HANDLE;
  static Value Invalid() { return nullptr; }
  static void Close(Value provider) { TheCng().close_provider(provider, 0); }
};

struct HashTraits {
  using Value = BCRYPT_HASH_HANDLE;
  static Value Invalid() { return nullptr; }
  static void Close(Value hash) { TheCng().destroy_hash(hash); }
};

bool GetNumber(BCRYPT_ALG_HANDLE provider, const wchar_t* property, ULONG& number) {
  ULONG written = 0;
  return TheCng().get_property(provider, property, reinterpret_cast<UCHAR*>(&number),
                               sizeof(number), &written, 0) >= 0;
}

class CngSha256 : public Sha256 {
 public:
  bool Start() {
    if (!TheCng().Complete()) return false;
    if (TheCng().open_provider(provider_.Receive(), L"SHA256", nullptr, 0) < 0) return false;
    ULONG object_length = 0;
    ULONG digest_length = 0;
    if (!GetNumber(provider_.Get(), L"ObjectLength", object_length) ||
        !GetNumber(provider_.Get(), L"HashDigestLength", digest_length)) {
      return false;
    }
    if (digest_length != Sha256Digest().size()) return false;
    object_.resize(object_length);
    return TheCng().create_hash(provider_.Get(), hash_.Receive(),
                                object_.empty() ? nullptr : object_.data(), object_length, nullptr,
                                0, 0) >= 0;
  }

  bool Add(const char* bytes, std::size_t count) override {
    auto* data = reinterpret_cast<UCHAR*>(const_cast<char*>(bytes));
    return TheCng().hash_data(hash_.Get(), data, static_cast<ULONG>(count), 0) >= 0;
  }

  bool Finish(Sha256Digest& digest) override {
    return TheCng().finish_hash(hash_.Get(), digest.data(), static_cast<ULONG>(digest.size()), 0) >=
           0;
  }

 private:
  // In this order: the hash goes first, then the memory it lives in, then the provider.
  Owner<ProviderTraits> provider_;
  std::vector<UCHAR> object_;
  Owner<HashTraits> hash_;
};

}  // namespace

std::unique_ptr<Sha256> StartSha256() {
  auto hash = std::make_unique<CngSha256>();
  if (!hash->Start()) return nullptr;
  return hash;
}

}  // namespace k7k
