#include "selftest/fixtures.h"

#include <string>

#include "bundle/manifest.h"
#include "bundle/required_files.h"

namespace k7k {

bool WriteBinaryFile(const Path& path, std::string_view bytes) {
  if (!CreateFolders(path.parent_path())) return false;
  const std::unique_ptr<std::ostream> file = CurrentDisk().OpenOutput(path);
  if (!file) return false;
  file->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return file->good();
}

char ReadFirstByte(const Path& path) {
  const std::unique_ptr<std::istream> file = CurrentDisk().OpenInput(path);
  char byte = 0;
  if (file) file->get(byte);
  return byte;
}

bool WriteFixturePayload(const Path& folder, char fill) {
  const std::string content(32, fill);
  for (const RequiredFile& file : RequiredFiles) {
    if (!WriteBinaryFile(folder / file.path, content)) return false;
  }
  std::wstring discarded;
  return WriteManifest(folder, &discarded);
}

}  // namespace k7k
