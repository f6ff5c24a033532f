// The floor under the program's times: each command's hash passes, copies, renames, deletions and
// flushes, and nothing else of what the program does.
//   floor COMMAND BUNDLE PLACE
// The command is a word of the program; the place is the plugins folder, or the portable OBS root.
#include "bench/floor.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "support/bundle_facts.h"

namespace k7k::bench {

void Fail(const char* call, const Path& path) {
  std::fprintf(stderr, "floor: %s failed: %s\n", call, path.string().c_str());
  std::exit(1);
}

namespace {

// A copy's two pieces: in a bundle, in a standard target, in a portable one, or staged.
struct Pieces {
  Path library;
  Path data;
};

Pieces PiecesOf(const Path& folder) { return {folder / test::kFiles[0], folder / "data"}; }

// One hash pass.
std::vector<Digest> Hash(const Pieces& copy) {
  std::vector<Digest> digests{HashFile(copy.library)};
  for (const char* file : test::kDataFiles) {
    digests.push_back(HashFile(copy.data / test::BelowData(file)));
  }
  return digests;
}

void Compare(const Pieces& a, const Pieces& b) {
  if (Hash(a) != Hash(b)) Fail("comparison", b.library);
}

void CopyEntries(const Path& from, const Path& to, std::vector<Path>& folders) {
  CreateFolder(to);
  folders.push_back(to);
  for (const auto& [name, is_folder] : ListFolder(from)) {
    if (is_folder) {
      CopyEntries(from / name, to / name, folders);
    } else {
      CopyFlushed(from / name, to / name);
    }
  }
}

void CopyTree(const Path& from, const Path& to) {
  std::vector<Path> folders;
  CopyEntries(from, to, folders);
  for (const Path& folder : folders) Flush(folder);
}

void FlushRename(const Path& renamed, const Path& file) {
  Flush(renamed.parent_path());
  Flush(file);
}

void RemoveTree(const Path& folder) {
  for (const auto& [name, is_folder] : ListFolder(folder)) {
    if (is_folder) {
      RemoveTree(folder / name);
    } else {
      RemoveFile(folder / name);
    }
  }
  RemoveFolder(folder);
}

void WriteManifest(const Path& bundle) {
  const Path manifest = bundle / "manifest.sha256";
  std::string text(test::kManifestBytes, '\0');
  std::ifstream(manifest, std::ios::binary).read(text.data(), test::kManifestBytes);
  Hash(PiecesOf(bundle));
  std::ofstream(manifest, std::ios::binary) << text;
}

void StatusStandard(const Path& bundle, const Path& plugin) {
  Hash(PiecesOf(plugin));
  Hash(PiecesOf(bundle));
  Compare(PiecesOf(bundle), PiecesOf(plugin));
}

void InstallStandard(const Path& bundle, const Path& plugin) {
  const Path staging = plugin.parent_path() / "floor-staging";
  const Path backup = plugin.parent_path() / "floor-backup";
  Hash(PiecesOf(bundle));
  CopyTree(bundle, staging);
  Hash(PiecesOf(staging));
  Rename(plugin, backup);
  Rename(staging, plugin);
  Hash(PiecesOf(plugin));
  FlushRename(plugin, PiecesOf(plugin).library);
  RemoveTree(backup);
}

void RemoveStandard(const Path& plugin) {
  const Path backup = plugin.parent_path() / "floor-backup";
  Rename(plugin, backup);
  FlushRename(backup, PiecesOf(backup).library);
  RemoveTree(backup);
}

void StatusPortable(const Path& bundle, const Pieces& target) {
  Hash(PiecesOf(bundle));
  Compare(PiecesOf(bundle), target);
}

Pieces Beside(const Pieces& target, const char* name) {
  return {target.library.parent_path() / name, target.data.parent_path() / name};
}

void RenameBoth(const Pieces& from, const Pieces& to) {
  Rename(from.library, to.library);
  Rename(from.data, to.data);
}

void FlushRenames(const Pieces& renamed) {
  FlushRename(renamed.library, renamed.library);
  FlushRename(renamed.data, renamed.data / "locale" / "en-US.ini");
}

void RemovePieces(const Pieces& backup) {
  RemoveFile(backup.library);
  RemoveTree(backup.data);
}

void InstallPortable(const Path& bundle, const Pieces& target) {
  const Pieces staging = Beside(target, "floor-staging");
  const Pieces backup = Beside(target, "floor-backup");
  Hash(PiecesOf(bundle));
  CopyFlushed(PiecesOf(bundle).library, staging.library);
  CopyTree(bundle / "data", staging.data);
  Compare(PiecesOf(bundle), staging);
  RenameBoth(target, backup);
  RenameBoth(staging, target);
  Compare(PiecesOf(bundle), target);
  FlushRenames(target);
  RemovePieces(backup);
}

void RemovePortable(const Pieces& target) {
  const Pieces backup = Beside(target, "floor-backup");
  RenameBoth(target, backup);
  FlushRenames(backup);
  RemovePieces(backup);
}

void Run(std::string_view command, const Path& bundle, const Path& place) {
  const Path plugin = place / "k7k-obs-audio";
  const Pieces portable{place / "obs-plugins" / "64bit" / "k7k-obs-audio.dll",
                        place / "data" / "obs-plugins" / "k7k-obs-audio"};
  if (command == "--status-bundled") return void(Hash(PiecesOf(bundle)));
  if (command == "--write-bundled-manifest") return WriteManifest(bundle);
  if (command == "--status-standard") return StatusStandard(bundle, plugin);
  if (command == "--install-standard") return InstallStandard(bundle, plugin);
  if (command == "--remove-standard") return RemoveStandard(plugin);
  if (command == "--status-portable") return StatusPortable(bundle, portable);
  if (command == "--install-portable") return InstallPortable(bundle, portable);
  if (command == "--remove-portable") return RemovePortable(portable);
  Fail("the command line", command);
}

}  // namespace

}  // namespace k7k::bench

int main(int argument_count, char** arguments) {
  if (argument_count != 4) k7k::bench::Fail("the command line", "");
  k7k::bench::Run(arguments[1], arguments[2], arguments[3]);
}
