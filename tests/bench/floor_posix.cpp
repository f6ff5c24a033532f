#include <dirent.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <string_view>

#include "bench/floor.h"

namespace k7k::bench {

namespace {

int Open(const Path& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  if (file < 0) Fail("open", path);
  return file;
}

void FlushOpened(int file, const Path& path) {
  if (::fsync(file) != 0) Fail("fsync", path);
}

}  // namespace

Digest HashFile(const Path& file) {
  static unsigned char piece[65536];
  static EVP_MD_CTX* const hash = ::EVP_MD_CTX_new();
  const int input = Open(file, O_RDONLY);
  ::EVP_DigestInit_ex(hash, ::EVP_sha256(), nullptr);
  ssize_t count = 0;
  while ((count = ::read(input, piece, sizeof(piece))) > 0) {
    ::EVP_DigestUpdate(hash, piece, static_cast<std::size_t>(count));
  }
  if (count < 0) Fail("read", file);
  ::close(input);
  Digest digest{};
  if (::EVP_DigestFinal_ex(hash, digest.data(), nullptr) != 1) Fail("digest", file);
  return digest;
}

std::vector<Entry> ListFolder(const Path& folder) {
  DIR* const stream = ::opendir(folder.c_str());
  if (stream == nullptr) Fail("opendir", folder);
  std::vector<Entry> entries;
  while (const dirent* entry = ::readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") entries.push_back({name, entry->d_type == DT_DIR});
  }
  ::closedir(stream);
  return entries;
}

void CopyFlushed(const Path& from, const Path& to) {
  const int input = Open(from, O_RDONLY);
  const int output = Open(to, O_WRONLY | O_CREAT | O_EXCL);
  ssize_t count = 0;
  while ((count = ::copy_file_range(input, nullptr, output, nullptr, INT_MAX, 0)) > 0) {
  }
  if (count < 0) Fail("copy_file_range", to);
  FlushOpened(output, to);
  ::close(output);
  ::close(input);
}

void CreateFolder(const Path& folder) {
  if (::mkdir(folder.c_str(), 0777) != 0) Fail("mkdir", folder);
}

void Flush(const Path& path) {
  const int opened = Open(path, O_RDONLY);
  FlushOpened(opened, path);
  ::close(opened);
}

void Rename(const Path& from, const Path& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) Fail("rename", from);
}

void RemoveFile(const Path& file) {
  if (::unlink(file.c_str()) != 0) Fail("unlink", file);
}

void RemoveFolder(const Path& folder) {
  if (::rmdir(folder.c_str()) != 0) Fail("rmdir", folder);
}

}  // namespace k7k::bench
