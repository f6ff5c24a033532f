#include <algorithm>

#include "plan.h"
#include "support/bundle_facts.h"

namespace k7k::test {

namespace {

bool IsRequired(const std::string& name, const std::string& folder) {
  return std::any_of(kFiles.begin(), kFiles.end(),
                     [&](const char* file) { return name == folder + "/" + file; });
}

}  // namespace

bool Is(const Asked& asked, Call call, const std::string& name) {
  return asked.call == call && asked.name == name;
}

std::function<bool(const Asked&, const Asked*)> StartsAt(Call call, const std::string& name) {
  return [call, name](const Asked& asked, const Asked*) { return Is(asked, call, name); };
}

Ruling Ends(int outcome, std::wstring message) {
  return {{outcome, std::move(message)}, std::nullopt, false, true};
}

Ruling Ends(InstallOutcome outcome, std::wstring message) {
  return Ends(static_cast<int>(outcome), std::move(message));
}

Ruling Ends(RemovalOutcome outcome, std::wstring message) {
  return Ends(static_cast<int>(outcome), std::move(message));
}

bool KeptEntryAndFailed(const Asked& asked) {
  const bool step = asked.call == Call::WalkOpen || asked.call == Call::WalkAdvance;
  return step && asked.failed && asked.in_part && !asked.at_end;
}

std::optional<std::wstring> BundleCheckMessage(const Asked& asked, const std::string& folder) {
  const std::string manifest = folder + "/manifest.sha256";
  if (Is(asked, Call::Status, folder)) {
    if (asked.nth == 1 && asked.status == FileStatus::Unreadable) {
      return L"Could not inspect the bundle";
    }
    if (asked.nth <= 2 && asked.status != FileStatus::Folder) return kUntouched;
    if (asked.nth == 3 && !asked.answer) return L"Path does not exist";
  }
  if (KeptEntryAndFailed(asked)) return L"Could not inspect every bundle entry";
  if (asked.call == Call::Status && IsRequired(asked.name, folder) &&
      asked.status != FileStatus::File) {
    return L"Bundle is missing a required plugin file";
  }
  if (asked.answer) return std::nullopt;
  if (asked.call == Call::Size) {
    if (IsRequired(asked.name, folder)) return L"A required plugin file is empty";
    if (asked.name == manifest) return kUntouched;
  }
  if (Is(asked, Call::OpenInput, manifest)) return L"Bundle integrity manifest is missing";
  if (Is(asked, Call::Read, manifest)) return L"Bundle integrity manifest is invalid";
  if ((asked.call == Call::OpenInput || asked.call == Call::Read) &&
      IsRequired(asked.name, folder)) {
    return L"Bundle file hash does not match manifest";
  }
  return std::nullopt;
}

bool FailsCreation(const Asked& asked) {
  // Up to the root of the file system an absent folder is one to create; the root cannot be.
  if (asked.call == Call::Status) {
    return asked.status == FileStatus::Unreadable || (asked.name == "/" && !asked.answer);
  }
  return (asked.call == Call::CreateFolder || asked.call == Call::Flush) && !asked.answer;
}

std::optional<std::wstring> StagingCopyMessage(const Asked& asked, const std::string& source,
                                               const std::string& staging) {
  if (Is(asked, Call::CreateFolder, staging) && asked.nth == 1 && !asked.answer) {
    return L"Could not create the staging directory";
  }
  if (KeptEntryAndFailed(asked)) return L"Could not read the complete payload";
  const bool entry = asked.call == Call::Status && IsAtOrBelow(asked.name, source);
  const bool fails = entry                      ? !asked.answer
                     : asked.call == Call::Copy ? !asked.answer
                                                : FailsCreation(asked);
  if (fails) return L"Could not copy the complete payload";
  return std::nullopt;
}

Rule ChecksBundle(const std::string& folder, InstallOutcome outcome) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    const auto message = BundleCheckMessage(asked, folder);
    if (message) return Ends(outcome, *message);
    return std::nullopt;
  };
}

Rule EndsOnStatus(const std::string& name, FileStatus status, const Ruling& ruling) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    if (Is(asked, Call::Status, name) && asked.nth == 1 && asked.status == status) return ruling;
    return std::nullopt;
  };
}

Rule EndsOnUnresolved(const Ruling& ruling) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    if (asked.call == Call::FinalPath && asked.status == FileStatus::Unreadable) return ruling;
    return std::nullopt;
  };
}

Rule EndsOnMove(const std::string& from, const Ruling& ruling) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    if (Is(asked, Call::Move, from) && !asked.answer) return ruling;
    return std::nullopt;
  };
}

Rule EndsOnKept(const std::string& folder, const Ruling& ruling) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    const bool not_asked =
        Is(asked, Call::Status, folder) && asked.nth == 1 && asked.status == FileStatus::Unreadable;
    const bool not_removed = asked.call == Call::Remove && asked.failed;
    if (not_asked || not_removed) return ruling;
    return std::nullopt;
  };
}

bool LeavesRenameOpen(const Asked& asked) {
  if (asked.call == Call::Status) {
    return asked.status == FileStatus::File || asked.status == FileStatus::Unreadable;
  }
  const bool is_parent =
      asked.name == kPluginParent || asked.name == kDllParent || asked.name == kDataParent;
  return asked.call == Call::Flush && is_parent && !asked.answer;
}

Rule EndsOnOpenRename(const Ruling& ruling) {
  return [=](const Asked& asked) -> std::optional<Ruling> {
    if (LeavesRenameOpen(asked)) return ruling;
    return std::nullopt;
  };
}

std::optional<Ruling> NeverEnds(const Asked&) { return std::nullopt; }

}  // namespace k7k::test
