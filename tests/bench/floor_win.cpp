#include <windows.h>

// Needs windows.h before it.
#include <bcrypt.h>

#include <string_view>

#include "bench/floor.h"

namespace k7k::bench {

namespace {

HANDLE Open(const Path& path, DWORD access) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = ::CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) Fail("CreateFile", path);
  return file;
}

BCRYPT_ALG_HANDLE OpenProvider() {
  BCRYPT_ALG_HANDLE provider = nullptr;
  if (::BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0) < 0) {
    Fail("BCryptOpenAlgorithmProvider", L"");
  }
  return provider;
}

}  // namespace

Digest HashFile(const Path& file) {
  static UCHAR piece[65536];
  static const BCRYPT_ALG_HANDLE provider = OpenProvider();
  BCRYPT_HASH_HANDLE hash = nullptr;
  if (::BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0) < 0) Fail("hash", file);
  const HANDLE input = Open(file, GENERIC_READ);
  DWORD count = 0;
  do {
    if (!::ReadFile(input, piece, sizeof(piece), &count, nullptr)) Fail("ReadFile", file);
    ::BCryptHashData(hash, piece, count, 0);
  } while (count > 0);
  ::CloseHandle(input);
  Digest digest{};
  if (::BCryptFinishHash(hash, digest.data(), digest.size(), 0) < 0) Fail("digest", file);
  ::BCryptDestroyHash(hash);
  return digest;
}

std::vector<Entry> ListFolder(const Path& folder) {
  WIN32_FIND_DATAW found{};
  const HANDLE search = ::FindFirstFileExW((folder / L"*").c_str(), FindExInfoBasic, &found,
                                           FindExSearchNameMatch, nullptr, 0);
  if (search == INVALID_HANDLE_VALUE) Fail("FindFirstFileEx", folder);
  std::vector<Entry> entries;
  do {
    const std::wstring_view name = found.cFileName;
    const bool is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (name != L"." && name != L"..") entries.push_back({name, is_folder});
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
  return entries;
}

void CopyFlushed(const Path& from, const Path& to) {
  if (!::CopyFileW(from.c_str(), to.c_str(), TRUE)) Fail("CopyFile", to);
  Flush(to);
}

void CreateFolder(const Path& folder) {
  if (!::CreateDirectoryW(folder.c_str(), nullptr)) Fail("CreateDirectory", folder);
}

void Flush(const Path& path) {
  const HANDLE file = Open(path, GENERIC_WRITE);
  if (!::FlushFileBuffers(file)) Fail("FlushFileBuffers", path);
  ::CloseHandle(file);
}

void Rename(const Path& from, const Path& to) {
  if (!::MoveFileExW(from.c_str(), to.c_str(), 0)) Fail("MoveFileEx", from);
}

void RemoveFile(const Path& file) {
  if (!::DeleteFileW(file.c_str())) Fail("DeleteFile", file);
}

void RemoveFolder(const Path& folder) {
  if (!::RemoveDirectoryW(folder.c_str())) Fail("RemoveDirectory", folder);
}

}  // namespace k7k::bench
