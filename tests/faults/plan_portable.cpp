#include "plan.h"

namespace k7k::test {

namespace {

constexpr auto kDllStaging = "obs/obs-plugins/64bit/<portable-dll-staging>";
constexpr auto kDataStaging = "obs/data/obs-plugins/<portable-data-staging>";
constexpr auto kDllBackup = "obs/obs-plugins/64bit/<portable-dll-backup>";
constexpr auto kDataBackup = "obs/data/obs-plugins/<portable-data-backup>";
constexpr auto kDllRemoval = "obs/obs-plugins/64bit/<portable-remove-dll>";
constexpr auto kDataRemoval = "obs/data/obs-plugins/<portable-remove-data>";

constexpr auto kUnsafeParent = L"A portable OBS plugin parent is unavailable or unsafe";
constexpr auto kNotInspectedParent = L"Could not inspect a portable OBS parent";

// Both scales have 2 for a refusal.
constexpr int kRefused = 2;
static_assert(kRefused == static_cast<int>(InstallOutcome::Refused) &&
              kRefused == static_cast<int>(RemovalOutcome::Refused));

std::optional<Ruling> LooksAtRoot(const Asked& asked) {
  if (Is(asked, Call::Status, kObsRoot) && asked.status != FileStatus::Folder) {
    return Ends(kRefused, L"Portable OBS root is unavailable or unsafe");
  }
  const bool executable_folder =
      Is(asked, Call::Status, "obs/bin") || Is(asked, Call::Status, "obs/bin/64bit");
  if (executable_folder && asked.status != FileStatus::Folder) {
    return Ends(kRefused, L"The portable OBS executable path is unsafe");
  }
  const bool executable = asked.name == "obs/bin/64bit/obs64.exe";
  if (executable && (asked.call == Call::Status || asked.call == Call::Size) && !asked.answer) {
    return Ends(kRefused, L"The selected folder does not contain bin\\64bit\\obs64.exe");
  }
  // The marker there is; the other names are not, and a false answer for them changes nothing.
  if (Is(asked, Call::Status, "obs/portable_mode.txt") && !asked.answer) {
    return Ends(kRefused, L"The selected OBS folder is not marked for portable mode");
  }
  return std::nullopt;
}

bool IsParent(const std::string& name) {
  return name == "obs/obs-plugins" || name == kDllParent || name == "obs/data" ||
         name == kDataParent;
}

// Each parent is asked about once, and if it is there once more.
std::optional<Ruling> LooksAtParents(const Asked& asked) {
  if (asked.call != Call::Status || !IsParent(asked.name)) return std::nullopt;
  if (asked.nth == 1) {
    if (asked.status != FileStatus::Unreadable) return std::nullopt;
    return Ends(kRefused, kNotInspectedParent);
  }
  if (asked.status == FileStatus::Folder) return std::nullopt;
  return Ends(kRefused, kUnsafeParent);
}

// Before the two questions comes the creation's own; a parent that is not there is asked about
// once more after it is made, and later by the creation of what is below it.
std::optional<Ruling> MakesParents(const Asked& asked) {
  const Ruling unsafe = Ends(kRefused, kUnsafeParent);
  const bool question = asked.call == Call::Status && IsParent(asked.name);
  if (question && asked.nth == 2) {
    if (asked.status != FileStatus::Unreadable) return std::nullopt;
    return Ends(kRefused, kNotInspectedParent);
  }
  // Not the creation of what is below it, after a false "absent" had the third question left out.
  if (question && asked.nth == 3 && asked.repeated) {
    if (asked.status == FileStatus::Folder) return std::nullopt;
    return unsafe;
  }
  if (FailsCreation(asked)) return unsafe;
  return std::nullopt;
}

// The library: a false answer to the first question is ignored, one to the second is not.
std::optional<Ruling> LooksAtDll(const Asked& asked) {
  if (!Is(asked, Call::Status, kDll) || asked.nth != 2 || asked.answer) return std::nullopt;
  return Ends(kRefused, L"The portable OBS plugin DLL path is unsafe");
}

// The data: a status error refuses without a word.
std::optional<Ruling> LooksAtData(const Asked& asked) {
  const Ruling unsafe = Ends(kRefused, L"The portable OBS plugin data path is unsafe");
  if (KeptEntryAndFailed(asked)) return unsafe;
  if (!Is(asked, Call::Status, kData)) return std::nullopt;
  if (asked.nth == 1 && asked.status == FileStatus::Unreadable) return Ends(kRefused);
  if (asked.nth == 2 && !asked.answer) return unsafe;
  return std::nullopt;
}

std::vector<Step> ValidatesRoot() {
  return {
      {"root", nullptr, LooksAtRoot},
      {"parents", StartsAt(Call::Status, "obs/obs-plugins"), LooksAtParents},
      {"DLL target", StartsAt(Call::Status, kDll), LooksAtDll},
      {"data target", StartsAt(Call::Status, kData), LooksAtData},
  };
}

void Append(std::vector<Step>& steps, std::vector<Step> more) {
  for (Step& step : more) steps.push_back(std::move(step));
}

bool IsPortableName(const std::string& name) {
  return name == kDllStaging || name == kDataStaging || name == kDllBackup || name == kDataBackup;
}

std::optional<Ruling> ReservesPortable(const Asked& asked) {
  const bool taken = asked.call == Call::Status && IsPortableName(asked.name) &&
                     asked.status != FileStatus::Absent;
  if (!taken) return std::nullopt;
  return Ends(InstallOutcome::Failed, L"Could not reserve portable OBS transaction paths");
}

// Whether the comparison with the bundle fails on this answer: about the file at the target a
// status, about either file an opening or a reading, about the target a size.
bool FailsComparison(const Asked& asked, const std::string& dll, const std::string& data) {
  if (asked.answer) return false;
  const bool target = asked.name == dll || IsAtOrBelow(asked.name, data + "/locale");
  if (asked.call == Call::Status || asked.call == Call::Size) return target;
  return asked.call == Call::OpenInput || asked.call == Call::Read;
}

std::optional<Ruling> StagesPortable(const Asked& asked) {
  const Ruling ruling =
      Ends(InstallOutcome::RolledBack, L"Could not stage and verify the portable OBS plugin");
  // A folder in staging is asked about while its content is copied, a file when it is compared.
  const bool file = asked.name == kDllStaging ||
                    (IsAtOrBelow(asked.name, kDataStaging) && asked.name.ends_with(".ini"));
  const bool missing = asked.call == Call::Status && file && !asked.answer;
  const bool unread =
      (asked.call == Call::Size || asked.call == Call::OpenInput || asked.call == Call::Read) &&
      !asked.answer;
  if (missing || unread || StagingCopyMessage(asked, "bundle/data", kDataStaging)) return ruling;
  return std::nullopt;
}

std::vector<Step> PreparesPortable() {
  std::vector<Step> steps{
      {"bundle check", nullptr, ChecksBundle(kBundle, InstallOutcome::BundleInvalid)}};
  std::vector<Step> validation = ValidatesRoot();
  validation[0].starts = StartsAt(Call::Status, kObsRoot);
  Append(steps, validation);
  Append(
      steps,
      {
          {"made parents", StartsAt(Call::Status, "obs/obs-plugins"), MakesParents},
          {"DLL target again", StartsAt(Call::Status, kDll), LooksAtDll},
          {"data target again", StartsAt(Call::Status, kData), LooksAtData},
          // Only the second resolution's error counts.
          {"bundle resolution", StartsAt(Call::FinalPath, kBundle), NeverEnds},
          {"root resolution", StartsAt(Call::FinalPath, kObsRoot),
           EndsOnUnresolved(Ends(InstallOutcome::Refused,
                                 L"Payload and portable OBS destination must be separate trees"))},
          {"reservation", StartsAt(Call::Status, kDllStaging), ReservesPortable},
          {"staging", StartsAt(Call::Copy, "bundle/bin/64bit/k7k-obs-audio.dll"), StagesPortable},
          {"inspection", StartsAt(Call::Status, kDll),
           EndsOnStatus(kData, FileStatus::Unreadable,
                        Ends(InstallOutcome::Failed, L"Could not inspect portable OBS targets"))},
          {"DLL backup", StartsAt(Call::Move, kDll),
           EndsOnMove(kDll, Ends(InstallOutcome::Failed,
                                 L"Could not back up the portable OBS plugin DLL; OBS may be "
                                 L"running")),
           true},
          {"data backup", StartsAt(Call::Move, kData),
           EndsOnMove(kData,
                      Ends(InstallOutcome::Failed, L"Could not back up portable OBS plugin data")),
           true},
      });
  return steps;
}

std::optional<Ruling> CommitsData(const Asked& asked) {
  const bool not_moved = Is(asked, Call::Move, kDataStaging) && !asked.answer;
  if (!not_moved && !FailsComparison(asked, kDll, kData)) return std::nullopt;
  return Ends(InstallOutcome::RolledBack,
              L"Portable OBS plugin verification failed and was rolled back");
}

// Both old pieces are kept, and the message tells of the last one.
std::optional<Ruling> MakesPiecesDurable(const Asked& asked) {
  if (!LeavesRenameOpen(asked) || asked.seen.empty()) return std::nullopt;
  return Ends(InstallOutcome::Installed, asked.seen.contains(kData)
                                             ? L"Portable plugin installed; data backup remains"
                                             : L"Portable plugin installed; DLL backup remains");
}

Ruling InjectedPortable(const wchar_t* undone, const wchar_t* not_undone) {
  Ruling ruling = Ends(InstallOutcome::InjectedFailureRolledBack, undone);
  ruling.unless_restored = {static_cast<int>(InstallOutcome::Failed), not_undone};
  return ruling;
}

}  // namespace

Plan PortableInstallPlan(InjectedFailure injected) {
  Plan plan;
  plan.steps = PreparesPortable();
  plan.looks_for_old = "inspection";
  if (injected == InjectedFailure::AfterBackup) {
    plan.otherwise = InjectedPortable(L"Injected portable transaction failure",
                                      L"Injected portable failure could not restore its backup");
    return plan;
  }
  Append(plan.steps,
         {{"DLL commit", StartsAt(Call::Move, kDllStaging),
           EndsOnMove(kDllStaging,
                      // 3 here, 4 in the standard install for its like.
                      Ends(InstallOutcome::Failed,
                           L"Portable OBS plugin replacement failed and was rolled back"))}});
  if (injected == InjectedFailure::AfterDllCommit) {
    plan.otherwise =
        InjectedPortable(L"Injected portable commit failure",
                         L"Injected portable commit failure could not restore its backup");
    return plan;
  }
  Ruling dll_remains =
      Ends(InstallOutcome::Installed, L"Portable plugin installed; DLL backup remains");
  dll_remains.final = false;
  const Ruling data_remains =
      Ends(InstallOutcome::Installed, L"Portable plugin installed; data backup remains");
  Append(plan.steps, {{"data commit", StartsAt(Call::Move, kDataStaging), CommitsData},
                      {kDurability, StartsAt(Call::Flush, kDllParent), MakesPiecesDurable},
                      {"DLL clean-up", StartsAt(Call::Status, kDllBackup),
                       EndsOnKept(kDllBackup, dll_remains), true},
                      {"data clean-up", StartsAt(Call::Status, kDataBackup),
                       EndsOnKept(kDataBackup, data_remains), true}});
  plan.otherwise = Ends(InstallOutcome::Installed);
  return plan;
}

namespace {

// A piece that is not seen is not removed; a library that cannot be asked about is not seen.
std::optional<Ruling> RemovalLooksAtData(const Asked& asked) {
  if (Is(asked, Call::Status, kData) && asked.status == FileStatus::Unreadable) {
    return Ends(RemovalOutcome::Failed);
  }
  return std::nullopt;
}

Ruling Detached() {
  return Ends(RemovalOutcome::Failed,
              L"Portable plugin was detached, but a private backup remains");
}

std::optional<Ruling> DeletesPortable(const Asked& asked) {
  const Ruling detached = Detached();
  const auto dll = EndsOnKept(kDllRemoval, detached)(asked);
  return dll ? dll : EndsOnKept(kDataRemoval, detached)(asked);
}

bool DurabilityStarts(const Asked& asked, const Asked*) {
  return Is(asked, Call::Flush, kDllParent) || Is(asked, Call::Flush, kDataParent);
}

// The library's backup is asked about as well when it could not be flushed.
bool DeletionStarts(const Asked& asked, const Asked* previous) {
  const bool is_flushing = Is(*previous, Call::Flush, kDllRemoval) && !previous->answer;
  return (Is(asked, Call::Status, kDllRemoval) && !is_flushing) ||
         Is(asked, Call::Status, kDataRemoval);
}

}  // namespace

Plan PortableRemovalPlan(InjectedFailure injected) {
  Plan plan;
  plan.steps = ValidatesRoot();
  Append(
      plan.steps,
      {{"DLL target again", StartsAt(Call::Status, kDll), LooksAtDll},
       {"data target again", StartsAt(Call::Status, kData), LooksAtData},
       {"inspection", StartsAt(Call::Status, kDll), RemovalLooksAtData},
       {"DLL isolation", StartsAt(Call::Move, kDll),
        EndsOnMove(kDll, Ends(RemovalOutcome::Failed,
                              L"Could not isolate the portable plugin DLL; OBS may be running")),
        true},
       {"data isolation", StartsAt(Call::Move, kData),
        EndsOnMove(kData, Ends(RemovalOutcome::Failed, L"Could not isolate portable plugin data")),
        true}});
  plan.looks_for_old = "inspection";
  plan.when_none_is_seen = Ends(RemovalOutcome::NotInstalled);
  if (injected == InjectedFailure::AfterBackup) {
    plan.otherwise =
        Ends(RemovalOutcome::InjectedFailureRolledBack, L"Injected portable removal failure");
    plan.otherwise.unless_restored = {
        static_cast<int>(RemovalOutcome::Failed),
        L"Injected portable removal failure could not restore targets"};
  } else {
    plan.steps.push_back({kDurability, DurabilityStarts, EndsOnOpenRename(Detached())});
    plan.steps.push_back({"deletion", DeletionStarts, DeletesPortable});
    plan.otherwise = Ends(RemovalOutcome::Removed);
  }
  return plan;
}

}  // namespace k7k::test
