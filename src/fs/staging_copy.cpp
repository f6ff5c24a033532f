#include "fs/staging_copy.h"

#include "fs/detail.h"

namespace k7k {

namespace {

// The first two characters of the text, not the first element: an entry directly below the root
// whose name begins with two dots is refused too, and that is meant.
bool Escapes(const Path& relative) {
  const auto& text = relative.native();
  return text.empty() || (text.size() >= 2 && text[0] == '.' && text[1] == '.');
}

bool CopyEntry(const Path& entry, const Path& target, std::wstring* detail) {
  constexpr auto kNotCopied = L"Could not copy the complete payload";
  const FileStatus status = CurrentDisk().Status(entry);
  if (status == FileStatus::Folder) {
    return CreateFolders(target) || Explain(detail, kNotCopied, false);
  }
  if (!Exists(status)) return Explain(detail, kNotCopied, false);

  // Asked a second time, as a question of its own: the entry may have changed.
  const FileStatus again = CurrentDisk().Status(entry);
  if (!Exists(again)) return Explain(detail, kNotCopied, false);
  if (again != FileStatus::File) {
    return Explain(detail, L"Payload contains an unsupported entry", false);
  }
  const bool copied = CreateFolders(target.parent_path()) && CurrentDisk().Copy(entry, target);
  return copied || Explain(detail, kNotCopied, false);
}

}  // namespace

bool StageCopy(const Path& source, const Path& staging, std::wstring* detail) {
  if (!CurrentDisk().CreateFolder(staging)) {
    return Explain(detail, L"Could not create the staging directory", false);
  }
  // The end is asked for before the error, on purpose: see the header.
  const auto walk = CurrentDisk().Walk(source);
  for (; !walk->AtEnd(); walk->Advance()) {
    if (walk->Failed()) return Explain(detail, L"Could not read the complete payload", false);
    const Path entry = walk->Entry();
    const Path relative = entry.lexically_relative(source);
    if (Escapes(relative)) return Explain(detail, L"Payload entry escaped its root", false);
    if (!CopyEntry(entry, staging / relative, detail)) return false;
  }
  return true;
}

}  // namespace k7k
