#include "fs/staging_copy.h"

#include <algorithm>
#include <vector>

#include "fs/detail.h"

namespace k7k {

namespace {

// The first two characters of the text, not the first element: an entry directly below the root
// whose name begins with two dots is refused too, and that is meant.
bool Escapes(const Path& relative) {
  const auto& text = relative.native();
  return text.empty() || (text.size() >= 2 && text[0] == '.' && text[1] == '.');
}

constexpr auto kNotCopied = L"Could not copy the complete payload";

// A folder is added to `folders`: its list of entries is flushed when it is complete.
bool CopyEntry(const Path& entry, const Path& target, std::vector<Path>& folders,
               std::wstring* detail) {
  const FileStatus status = CurrentDisk().Status(entry);
  if (status == FileStatus::Folder) {
    folders.push_back(target);
    return CreateFolders(target) || Explain(detail, kNotCopied, false);
  }
  if (!Exists(status)) return Explain(detail, kNotCopied, false);

  // Asked a second time, as a question of its own: the entry may have changed.
  const FileStatus again = CurrentDisk().Status(entry);
  if (!Exists(again)) return Explain(detail, kNotCopied, false);
  if (again != FileStatus::File) {
    return Explain(detail, L"Payload contains an unsupported entry", false);
  }
  const bool copied = CreateFolders(target.parent_path()) && CurrentDisk().Copy(entry, target) &&
                      CurrentDisk().Flush(target);
  return copied || Explain(detail, kNotCopied, false);
}

}  // namespace

bool StageCopy(const Path& source, const Path& staging, std::wstring* detail) {
  if (!CurrentDisk().CreateFolder(staging)) {
    return Explain(detail, L"Could not create the staging directory", false);
  }
  std::vector<Path> folders{staging};
  // The end is asked for before the error, on purpose: see the header.
  const auto walk = CurrentDisk().Walk(source);
  for (; !walk->AtEnd(); walk->Advance()) {
    if (walk->Failed()) return Explain(detail, L"Could not read the complete payload", false);
    const Path entry = walk->Entry();
    const Path relative = entry.lexically_relative(source);
    if (Escapes(relative)) return Explain(detail, L"Payload entry escaped its root", false);
    if (!CopyEntry(entry, staging / relative, folders, detail)) return false;
  }
  const bool flushed = std::all_of(folders.begin(), folders.end(),
                                   [](const Path& folder) { return CurrentDisk().Flush(folder); });
  return flushed || Explain(detail, kNotCopied, false);
}

}  // namespace k7k
