#include "plan.h"

namespace k7k::test {

namespace {

constexpr auto kStaging = "programdata/obs-studio/plugins/<staging>";
constexpr auto kBackup = "programdata/obs-studio/plugins/<backup>";
constexpr auto kRemovalBackup = "programdata/obs-studio/plugins/<remove-backup>";

std::optional<Ruling> CreatesParent(const Asked& asked) {
  if (!FailsCreation(asked)) return std::nullopt;
  return Ends(InstallOutcome::Refused, L"Plugin parent is unavailable or unsafe");
}

std::optional<Ruling> Reserves(const Asked& asked) {
  const bool staging_taken = Is(asked, Call::Status, kStaging) && asked.answer;
  const bool backup_taken = Is(asked, Call::Status, kBackup) && asked.status != FileStatus::Absent;
  if (!staging_taken && !backup_taken) return std::nullopt;
  return Ends(InstallOutcome::Failed, L"Could not reserve transaction paths");
}

std::optional<Ruling> Stages(const Asked& asked) {
  const auto message = StagingCopyMessage(asked, kBundle, kStaging);
  if (!message) return std::nullopt;
  return Ends(InstallOutcome::RolledBack, *message);
}

// The staging folder is asked about during the copy as well, but never straight after a flush.
bool StagedCheckStarts(const Asked& asked, const Asked* previous) {
  return Is(asked, Call::Status, kStaging) && previous != nullptr && previous->call == Call::Flush;
}

// Without an old copy there is none to keep, and nothing to tell.
std::optional<Ruling> MakesSwapDurable(const Asked& asked) {
  if (!LeavesRenameOpen(asked) || asked.seen.empty()) return std::nullopt;
  return Ends(InstallOutcome::Installed, L"Plugin was installed, but its private backup remains");
}

std::optional<Ruling> ChecksInstalled(const Asked& asked) {
  if (!BundleCheckMessage(asked, kPluginFolder)) return std::nullopt;
  return Ends(InstallOutcome::RolledBack, L"Plugin replacement failed and was rolled back");
}

}  // namespace

Plan InstallPlan(InjectedFailure injected) {
  constexpr auto kNotSeparate = L"Payload and plugin destination must be separate trees";
  Plan plan;
  plan.steps = {
      {"bundle check", nullptr, ChecksBundle(kBundle, InstallOutcome::BundleInvalid)},
      {"plugin parent", StartsAt(Call::Status, kPluginParent), CreatesParent},
      {"payload resolution", StartsAt(Call::FinalPath, kBundle),
       EndsOnUnresolved(Ends(InstallOutcome::Refused, L"Could not resolve the payload root"))},
      {"parent resolution", StartsAt(Call::FinalPath, kPluginParent),
       EndsOnUnresolved(Ends(InstallOutcome::Refused, kNotSeparate))},
      {"existing plugin", StartsAt(Call::Status, kPluginFolder), NeverEnds},
      {"reservation", StartsAt(Call::Status, kStaging), Reserves},
      {"staging", StartsAt(Call::CreateFolder, kStaging), Stages},
      {"staged check", StagedCheckStarts, ChecksBundle(kStaging, InstallOutcome::RolledBack)},
      {"inspection", StartsAt(Call::Status, kPluginFolder),
       EndsOnStatus(kPluginFolder, FileStatus::Unreadable,
                    Ends(InstallOutcome::Failed, L"Could not inspect the existing plugin"))},
      {"backup", StartsAt(Call::Move, kPluginFolder),
       EndsOnMove(kPluginFolder,
                  Ends(InstallOutcome::Failed,
                       L"Could not back up the existing plugin; OBS may be running")),
       true},
  };
  plan.looks_for_old = "inspection";
  if (injected == InjectedFailure::AfterBackup) {
    plan.otherwise =
        Ends(InstallOutcome::InjectedFailureRolledBack, L"Injected transaction failure");
    plan.otherwise.unless_restored = {static_cast<int>(InstallOutcome::Failed),
                                      L"Injected failure could not restore backup: "};
    plan.otherwise.with_code = true;
    return plan;
  }
  plan.steps.push_back(
      {"swap", StartsAt(Call::Move, kStaging),
       EndsOnMove(kStaging, Ends(InstallOutcome::RolledBack,
                                 L"Plugin replacement failed and was rolled back"))});
  plan.steps.push_back({"installed check", StartsAt(Call::Status, kPluginFolder), ChecksInstalled});
  plan.steps.push_back({kDurability, StartsAt(Call::Flush, kPluginParent), MakesSwapDurable});
  plan.steps.push_back(
      {"commit", StartsAt(Call::Status, kBackup),
       EndsOnKept(kBackup, Ends(InstallOutcome::Installed,
                                L"Plugin was installed, but its private backup remains")),
       true});
  plan.otherwise = Ends(InstallOutcome::Installed);
  return plan;
}

namespace {

std::optional<Ruling> RemovalLooksAtParent(const Asked& asked) {
  if (!Is(asked, Call::Status, kPluginParent)) return std::nullopt;
  if (asked.nth == 1 && asked.status == FileStatus::Unreadable) {
    return Ends(RemovalOutcome::Failed, L"Could not inspect the plugin parent");
  }
  if (asked.nth == 1 && asked.status == FileStatus::Absent) {
    return Ends(RemovalOutcome::NotInstalled);
  }
  if (asked.nth == 2 && asked.status != FileStatus::Folder) {
    return Ends(RemovalOutcome::Refused, L"Plugin parent is unavailable or unsafe");
  }
  return std::nullopt;
}

std::optional<Ruling> RemovalLooksAtPlugin(const Asked& asked) {
  const Ruling unsafe = Ends(RemovalOutcome::Refused, L"Installed plugin path is unsafe");
  if (KeptEntryAndFailed(asked)) return unsafe;
  if (!Is(asked, Call::Status, kPluginFolder)) return std::nullopt;
  if (asked.nth == 1 && asked.status == FileStatus::Unreadable) {
    return Ends(RemovalOutcome::Failed, L"Could not inspect the installed plugin");
  }
  if (asked.nth == 1 && asked.status == FileStatus::Absent) {
    return Ends(RemovalOutcome::NotInstalled);
  }
  if (asked.nth == 2 && asked.status != FileStatus::Folder) return unsafe;
  if (asked.nth == 3 && !asked.answer) return unsafe;
  return std::nullopt;
}

std::optional<Ruling> RemovalReserves(const Asked& asked) {
  if (!Is(asked, Call::Status, kRemovalBackup) || asked.status == FileStatus::Absent) {
    return std::nullopt;
  }
  return Ends(RemovalOutcome::Failed, L"Could not reserve the removal backup path");
}

}  // namespace

Plan RemovalPlan(InjectedFailure injected) {
  const int failed = static_cast<int>(RemovalOutcome::Failed);
  Plan plan;
  plan.steps = {
      {"plugin parent", nullptr, RemovalLooksAtParent},
      {"installed plugin", StartsAt(Call::Status, kPluginFolder), RemovalLooksAtPlugin},
      {"reservation", StartsAt(Call::Status, kRemovalBackup), RemovalReserves},
      {"isolation", StartsAt(Call::Move, kPluginFolder),
       EndsOnMove(kPluginFolder, Ends(RemovalOutcome::Failed,
                                      L"Could not isolate the plugin; OBS may be running"))},
  };
  if (injected == InjectedFailure::AfterBackup) {
    plan.otherwise = Ends(RemovalOutcome::InjectedFailureRolledBack, L"Injected removal failure");
    plan.otherwise.unless_restored = {failed,
                                      L"Injected removal failure could not restore the plugin"};
    return plan;
  }
  Ruling not_deleted = Ends(RemovalOutcome::Failed, L"Plugin removal failed and was rolled back");
  not_deleted.unless_restored = {failed,
                                 L"Plugin removal failed and its backup could not be restored"};
  plan.steps.push_back(
      {kDurability, StartsAt(Call::Flush, kPluginParent), EndsOnOpenRename(not_deleted)});
  plan.steps.push_back({"deletion", StartsAt(Call::Status, kRemovalBackup),
                        EndsOnKept(kRemovalBackup, not_deleted)});
  plan.otherwise = Ends(RemovalOutcome::Removed);
  return plan;
}

}  // namespace k7k::test
