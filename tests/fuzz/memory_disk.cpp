#include "fuzz/memory_disk.h"

#include <sstream>

#include "fuzz/path_parts.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

class EmptyWalk : public TreeWalk {
 public:
  bool AtEnd() const override { return true; }
  bool Failed() const override { return false; }
  Path Entry() const override { return {}; }
  void Advance() override {}
};

}  // namespace

bool MemoryDisk::IsFolder(const std::string& name) const {
  if (name.empty()) return true;
  const auto first = files.lower_bound(name + "/");
  return first != files.end() && first->first.starts_with(name + "/");
}

std::optional<std::string> MemoryDisk::Find(const Path& path) const {
  const PathParts parts = TakeApart(path.native());
  if (!parts.rooted || parts.root_name != TakeApart(AbsolutePath("").native()).root_name) {
    return std::nullopt;
  }
  std::string name;
  for (const Text& element : parts.elements) {
    if (!IsFolder(name)) return std::nullopt;
    if (element.empty() || element == Path(".").native()) continue;
    if (element == Path("..").native()) {
      const std::size_t cut = name.rfind('/');
      name.erase(cut == std::string::npos ? 0 : cut);
      continue;
    }
    if (!name.empty()) name += '/';
    for (const Text::value_type unit : element) {
      if (unit < 0x20 || unit > 0x7e) return std::nullopt;
      name += static_cast<char>(unit);
    }
    if (!IsFolder(name) && !files.contains(name)) return std::nullopt;
  }
  return name;
}

bool MemoryDisk::Refuse() {
  ++calls;
  ++changes;
  return false;
}

FileStatus MemoryDisk::Status(const Path& path) {
  ++calls;
  const auto name = Find(path);
  if (!name) return FileStatus::Absent;
  return IsFolder(*name) ? FileStatus::Folder : FileStatus::File;
}

bool MemoryDisk::IsReparsePoint(const Path&) {
  ++calls;
  return false;
}

FinalPathAnswer MemoryDisk::FinalPath(const Path& path) {
  const FileStatus status = Status(path);
  if (status == FileStatus::Absent) return {status, {}};
  return {status, AbsolutePath(Find(path)->c_str())};
}

std::optional<std::uint64_t> MemoryDisk::Size(const Path& path) {
  if (Status(path) != FileStatus::File) return std::nullopt;
  return files.at(*Find(path)).size();
}

std::unique_ptr<TreeWalk> MemoryDisk::Walk(const Path&) {
  ++calls;
  return std::make_unique<EmptyWalk>();
}

bool MemoryDisk::CreateFolder(const Path&) { return Refuse(); }
bool MemoryDisk::Copy(const Path&, const Path&) { return Refuse(); }
bool MemoryDisk::Flush(const Path&) { return Refuse(); }
int MemoryDisk::Move(const Path&, const Path&) { return Refuse() ? 0 : AccessDeniedCode(); }
bool MemoryDisk::RemoveAll(const Path&) { return Refuse(); }

std::unique_ptr<std::istream> MemoryDisk::OpenInput(const Path& path) {
  if (Status(path) != FileStatus::File) return nullptr;
  return std::make_unique<std::istringstream>(files.at(*Find(path)));
}

std::unique_ptr<std::ostream> MemoryDisk::OpenOutput(const Path&) {
  Refuse();
  return nullptr;
}

void MemoryDisk::Pause(std::chrono::milliseconds) { ++calls; }

}  // namespace k7k::test
