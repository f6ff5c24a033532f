// The digest on a system whose cryptography lacks something or fails.
#include <gtest/gtest.h>
#include <windows.h>

// Needs windows.h before it.
#include <bcrypt.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "bundle/sha256.h"
#include "support/import_patch_win.h"
#include "support/new_process_win.h"

namespace k7k {
namespace {

using test::ImportPatch;
using test::InNewProcess;
using test::LookedUp;

constexpr std::array<const char*, 7> kFunctions{"BCryptOpenAlgorithmProvider",
                                                "BCryptGetProperty",
                                                "BCryptCreateHash",
                                                "BCryptHashData",
                                                "BCryptFinishHash",
                                                "BCryptDestroyHash",
                                                "BCryptCloseAlgorithmProvider"};
enum { kOpen, kGetProperty, kCreate, kAdd, kFinish, kDestroy, kClose };

// What the functions do in a test, each by its number above, and what they did.
struct Cryptography {
  std::array<FARPROC, 7> real{};
  int fails = -1;
  int fails_at = 1;          // the number of its call, from 1
  ULONG digest_length = 32;  // that the provider tells
  bool wants_object = true;  // memory of the caller's for the hash

  std::array<int, 7> calls{};
  std::array<int, 7> successes{};
  ULONG object_length = 0;
} cryptography;

template <int function, class... Given>
NTSTATUS WINAPI Watched(Given... given) {
  if (++cryptography.calls[function] == cryptography.fails_at && cryptography.fails == function) {
    return static_cast<NTSTATUS>(0xC0000001);  // STATUS_UNSUCCESSFUL
  }
  ++cryptography.successes[function];
  if constexpr (function == kClose) {
    EXPECT_EQ(cryptography.successes[kDestroy], cryptography.successes[kCreate])
        << "the hash goes before its provider";
  }
  return reinterpret_cast<NTSTATUS(WINAPI*)(Given...)>(
      reinterpret_cast<void*>(cryptography.real[function]))(given...);
}

NTSTATUS WINAPI GetProperty(BCRYPT_HANDLE provider, const wchar_t* name, UCHAR* to, ULONG room,
                            ULONG* written, ULONG flags) {
  const NTSTATUS status = Watched<kGetProperty>(provider, name, to, room, written, flags);
  auto& number = *reinterpret_cast<ULONG*>(to);
  if (name == std::wstring_view(L"HashDigestLength")) number = cryptography.digest_length;
  if (name == std::wstring_view(L"ObjectLength") && !cryptography.wants_object) number = 0;
  return status;
}

NTSTATUS WINAPI Create(BCRYPT_ALG_HANDLE provider, BCRYPT_HASH_HANDLE* hash, UCHAR* object,
                       ULONG length, UCHAR* secret, ULONG secret_length, ULONG flags) {
  EXPECT_EQ(object != nullptr, length > 0);
  cryptography.object_length = length;
  return Watched<kCreate>(provider, hash, object, length, secret, secret_length, flags);
}

template <int function, class... Given>
FARPROC Watch(NTSTATUS(WINAPI*)(Given...)) {
  return LookedUp(&Watched<function, Given...>);
}

FARPROC WatchedFunction(std::size_t function) {
  const std::array<FARPROC, 7> all{Watch<kOpen>(decltype(&::BCryptOpenAlgorithmProvider){}),
                                   LookedUp(&GetProperty),
                                   LookedUp(&Create),
                                   Watch<kAdd>(decltype(&::BCryptHashData){}),
                                   Watch<kFinish>(decltype(&::BCryptFinishHash){}),
                                   Watch<kDestroy>(decltype(&::BCryptDestroyHash){}),
                                   Watch<kClose>(decltype(&::BCryptCloseAlgorithmProvider){})};
  return all[function];
}

// "right" for the digest of "abc" (FIPS 180-2, appendix B.1), else what went wrong.
std::string DigestOfAbc() {
  const auto hash = StartSha256();
  if (!hash) return "not started";
  if (!hash->Add("ab", 2) || !hash->Add("c", 1)) return "not added";
  Sha256Digest digest{};
  if (!hash->Finish(digest)) return "not finished";
  const Sha256Digest expected{0xba, 0x78, 0x16, 0xbf, 0x8f, 0x01, 0xcf, 0xea, 0x41, 0x41, 0x40,
                              0xde, 0x5d, 0xae, 0x22, 0x23, 0xb0, 0x03, 0x61, 0xa3, 0x96, 0x17,
                              0x7a, 0x9c, 0xb4, 0x10, 0xff, 0x61, 0xf2, 0x00, 0x15, 0xad};
  return digest == expected ? "right" : "wrong";
}

// What comes of the digest where these functions are the system's. What was opened must have been
// closed after it.
void ExpectDigest(const Cryptography& given, const std::string& expected) {
  InNewProcess([&] {
    cryptography = given;
    const ImportPatch<decltype(::GetProcAddress)> patch(
        "GetProcAddress", [](auto real, HMODULE library, const char* name) {
          for (std::size_t i = 0; i < kFunctions.size(); ++i) {
            if (kFunctions[i] != std::string_view(name)) continue;
            cryptography.real[i] = real(library, name);
            return WatchedFunction(i);
          }
          return real(library, name);
        });
    EXPECT_EQ(DigestOfAbc(), expected);
    EXPECT_EQ(cryptography.successes[kClose], cryptography.successes[kOpen]);
    EXPECT_EQ(cryptography.successes[kDestroy], cryptography.successes[kCreate]);
    if (expected == "right") {
      EXPECT_EQ(cryptography.successes[kDestroy], 1);
      EXPECT_EQ(cryptography.object_length > 0, given.wants_object);
    }
  });
}

TEST(Sha256WinTest, StartSha256_NothingFails_DigestIsRight) { ExpectDigest({}, "right"); }

TEST(Sha256WinTest, StartSha256_ProviderWithMemoryOfItsOwn_DigestIsRight) {
  ExpectDigest({.wants_object = false}, "right");
}

TEST(Sha256WinTest, StartSha256_AnyStepFails_IsNone) {
  ExpectDigest({.fails = kOpen}, "not started");
  ExpectDigest({.fails = kGetProperty, .fails_at = 1}, "not started");
  ExpectDigest({.fails = kGetProperty, .fails_at = 2}, "not started");
  ExpectDigest({.fails = kCreate}, "not started");
}

TEST(Sha256WinTest, StartSha256_DigestOfAnotherLength_IsNone) {
  for (const ULONG length : {0, 31, 33}) ExpectDigest({.digest_length = length}, "not started");
}

TEST(Sha256WinTest, Add_Failure_IsTold) {
  ExpectDigest({.fails = kAdd, .fails_at = 1}, "not added");
  ExpectDigest({.fails = kAdd, .fails_at = 2}, "not added");
}

TEST(Sha256WinTest, Finish_Failure_IsTold) { ExpectDigest({.fails = kFinish}, "not finished"); }

TEST(Sha256WinTest, StartSha256_AnyFunctionMissing_IsNone) {
  for (const std::string_view missing : kFunctions) {
    InNewProcess([missing] {
      const ImportPatch<decltype(::GetProcAddress)> patch(
          "GetProcAddress", [missing](auto real, HMODULE library, const char* name) {
            return name == missing ? nullptr : real(library, name);
          });
      EXPECT_FALSE(StartSha256()) << missing;
    });
  }
}

TEST(Sha256WinTest, StartSha256_LibraryMissing_IsNone) {
  InNewProcess([] {
    const ImportPatch<decltype(::LoadLibraryExW)> patch(
        "LoadLibraryExW", [](auto, const wchar_t*, HANDLE, DWORD) { return HMODULE{}; });
    EXPECT_FALSE(StartSha256());
  });
}

TEST(Sha256WinTest, StartSha256_Library_ComesFromTheSystemFolderAlone) {
  InNewProcess([] {
    std::vector<std::wstring> loaded;
    const ImportPatch<decltype(::LoadLibraryExW)> patch(
        "LoadLibraryExW", [&](auto real, const wchar_t* name, HANDLE file, DWORD flags) {
          loaded.push_back(name);
          EXPECT_EQ(flags, 0x800U);  // LOAD_LIBRARY_SEARCH_SYSTEM32
          return real(name, file, flags);
        });
    EXPECT_TRUE(StartSha256());
    EXPECT_TRUE(StartSha256());
    EXPECT_EQ(loaded, std::vector<std::wstring>{L"bcrypt.dll"});
  });
}

}  // namespace
}  // namespace k7k
