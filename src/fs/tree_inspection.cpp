#include "fs/tree_inspection.h"

#include "fs/detail.h"
#include "fs/path_identity.h"

namespace k7k {

bool InspectTree(const Path& root, std::wstring* detail) {
  if (!Exists(CurrentDisk().Status(root))) return Explain(detail, L"Path does not exist", false);
  if (IsReparsePoint(root)) {
    return Explain(detail, L"Reparse-point roots are not accepted", false);
  }
  // The end is asked for before the error, on purpose: a folder that cannot be listed ends the
  // walk, and the inspection with success.
  const auto walk = CurrentDisk().Walk(root);
  for (; !walk->AtEnd(); walk->Advance()) {
    if (walk->Failed()) return Explain(detail, L"Could not inspect every bundle entry", false);
    if (IsReparsePoint(walk->Entry())) {
      return Explain(detail, L"Bundle contains a reparse point", false);
    }
  }
  return true;
}

}  // namespace k7k
