#include "fs/remove_posix.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

namespace k7k {

namespace {

struct DirectoryStreamTraits {
  using Value = DIR*;
  static Value Invalid() { return nullptr; }
  static void Close(Value stream) { ::closedir(stream); }
};
using DirectoryStream = Owner<DirectoryStreamTraits>;

// The names are read before anything is deleted: a folder that changes under a reader may skip
// entries. Takes the folder's handle over.
bool ListNames(FileDescriptor folder, DirectoryStream& stream, std::vector<std::string>& names) {
  stream = DirectoryStream(::fdopendir(folder.Get()));
  if (!stream) return false;
  static_cast<void>(folder.Release());
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.Get());
    if (entry == nullptr) return errno == 0;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

bool RemoveAt(int parent, const std::string& name) {
  // unlinkat without AT_REMOVEDIR removes a link as a link and refuses a folder. The analyzer takes
  // parent for -1, which dirfd gives for no stream that is open.
  // NOLINTNEXTLINE(clang-analyzer-unix.StdCLibraryFunctions)
  if (::unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT) return true;
  if (errno != EISDIR) return false;

  FileDescriptor folder(
      ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) return errno == ENOENT;
  DirectoryStream stream;
  std::vector<std::string> names;
  if (!ListNames(std::move(folder), stream, names)) return false;
  for (const std::string& child : names) {
    if (!RemoveAt(::dirfd(stream.Get()), child)) return false;
  }
  return ::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace

bool RemoveWithoutFollowing(const Path& path) {
  const Path parent = path.has_parent_path() ? path.parent_path() : Path(".");
  const FileDescriptor folder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return errno == ENOENT || errno == ENOTDIR;
  return path.has_filename() && RemoveAt(folder.Get(), path.filename().native());
}

}  // namespace k7k
