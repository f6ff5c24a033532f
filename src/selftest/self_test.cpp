#include "selftest/self_test.h"

#include <iostream>
#include <string>

#include "bundle/bundle_check.h"
#include "bundle/installed_copy.h"
#include "fs/path_identity.h"
#include "fs/process_clock.h"
#include "selftest/fixtures.h"
#include "selftest/temporary_folder.h"
#include "targets/obs_process.h"
#include "targets/portable_target.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"
#include "txn/standard_install.h"
#include "txn/standard_removal.h"

namespace k7k {

namespace {

bool IsGone(const Path& path) { return CurrentDisk().Status(path) == FileStatus::Absent; }

// The fixtures below one test root, and the scenarios on them. A scenario returns 0 or the failure
// number of its first expectation that does not hold; each builds on the state that the one before
// it left.
class SelfTest {
 public:
  explicit SelfTest(const Path& root) : root_(root) {}

  int WriteFixtures();
  int InstallStandard();
  int RemoveStandard();
  int RefuseUnsafeParents();
  int ValidateRoots();
  int InstallPortable();
  int RepairPortable();
  int RemovePortable();

 private:
  bool PluginFolderIsValid() { return InspectBundle(PluginFolderIn(plugins_), &detail_).valid; }
  bool InstalledMatches(const Path& bundle) {
    return CheckInstalledCopy(plugins_, bundle, &detail_).valid;
  }
  bool PortableMatches(const Path& bundle) {
    return GetPortableStatus(portable_, bundle, &detail_).valid;
  }
  InstallOutcome Install(const Path& bundle, InjectedFailure injected) {
    return InstallPlugin(bundle, plugins_, &detail_, injected);
  }
  InstallOutcome PortableInstall(const Path& bundle, InjectedFailure injected) {
    return InstallPortablePlugin(bundle, portable_, &detail_, injected);
  }
  char InstalledByte() const { return ReadFirstByte(installed_library_); }
  char PortableByte() const { return ReadFirstByte(portable_library_); }
  char PortableLocaleByte() const { return ReadFirstByte(portable_locale_); }

  const Path root_;
  const Path plugins_ = root_ / "plugins";
  const Path payload_a_ = root_ / "payload-a";
  const Path payload_b_ = root_ / "payload-b";
  const Path payload_tampered_ = root_ / "payload-tampered";
  const Path payload_invalid_ = root_ / "payload-invalid";
  const Path portable_ = root_ / "portable-obs";
  const Path not_portable_ = root_ / "not-portable-obs";
  const Path not_a_directory_ = root_ / "not-a-directory";
  const Path installed_library_ = plugins_ / "k7k-obs-audio/bin/64bit/k7k-obs-audio.dll";
  const Path portable_library_ = portable_ / "obs-plugins/64bit/k7k-obs-audio.dll";
  const Path portable_locale_ = portable_ / "data/obs-plugins/k7k-obs-audio/locale/en-US.ini";
  std::wstring detail_;  // shared by all calls, each overwrites it
};

int SelfTest::WriteFixtures() {
  const Path library = "bin/64bit/k7k-obs-audio.dll";
  const Path executable = "bin/64bit/obs64.exe";
  if (!WriteFixturePayload(payload_a_, 'A') || !WriteFixturePayload(payload_b_, 'B') ||
      !WriteFixturePayload(payload_tampered_, 'T') ||
      !WriteBinaryFile(payload_invalid_ / library, "invalid")) {
    return 2;
  }
  if (!WriteBinaryFile(payload_tampered_ / library, "tampered-after-manifest") ||
      InspectBundle(payload_tampered_, nullptr).valid) {
    return 14;
  }
  if (!WriteBinaryFile(portable_ / executable, "fake-obs") ||
      !WriteBinaryFile(portable_ / "portable_mode.txt", "portable") ||
      !WriteBinaryFile(not_portable_ / executable, "fake-obs")) {
    return 15;
  }
  return 0;
}

int SelfTest::InstallStandard() {
  if (Install(payload_a_, InjectedFailure::None) != InstallOutcome::Installed) return 3;
  if (!PluginFolderIsValid() || !InstalledMatches(payload_a_) || InstalledMatches(payload_b_) ||
      InstalledByte() != 'A') {
    return 4;
  }

  const InstallOutcome injected = Install(payload_b_, InjectedFailure::AfterBackup);
  const bool valid = PluginFolderIsValid();
  const char first = InstalledByte();
  if (injected != InstallOutcome::InjectedFailureRolledBack || !valid || first != 'A') {
    std::wcerr << L"rollback result=" << static_cast<int>(injected) << L", valid="
               << (valid ? 1 : 0) << L", first="
               << static_cast<int>(static_cast<signed char>(first)) << L", error=" << detail_
               << L"\n";
    return 5;
  }

  if (Install(payload_b_, InjectedFailure::None) != InstallOutcome::Installed ||
      !InstalledMatches(payload_b_) || InstalledMatches(payload_a_) || InstalledByte() != 'B') {
    return 6;
  }
  if (Install(payload_invalid_, InjectedFailure::None) != InstallOutcome::BundleInvalid ||
      InstalledByte() != 'B') {
    return 7;
  }
  return 0;
}

int SelfTest::RemoveStandard() {
  const auto remove = [&](InjectedFailure injected) {
    return RemovePlugin(plugins_, &detail_, injected);
  };
  // A removal's value for an undone injected failure is 4, an install's is 5: the number counts.
  if (remove(InjectedFailure::AfterBackup) != RemovalOutcome::InjectedFailureRolledBack ||
      !PluginFolderIsValid() || InstalledByte() != 'B') {
    return 11;
  }
  if (remove(InjectedFailure::None) != RemovalOutcome::Removed ||
      !IsGone(PluginFolderIn(plugins_))) {
    return 12;
  }
  return remove(InjectedFailure::None) == RemovalOutcome::NotInstalled ? 0 : 13;
}

int SelfTest::RefuseUnsafeParents() {
  const auto is_refused = [&](const Path& plugin_parent) {
    return InstallPlugin(payload_a_, plugin_parent, &detail_, InjectedFailure::None) ==
           InstallOutcome::Refused;
  };
  if (!WriteBinaryFile(not_a_directory_, "blocked") || !is_refused(not_a_directory_)) return 8;
  return is_refused(payload_a_ / "nested/plugins") ? 0 : 10;
}

int SelfTest::ValidateRoots() {
  return ValidatePortableRoot(portable_, &detail_) && !ValidatePortableRoot(not_portable_, &detail_)
             ? 0
             : 16;
}

int SelfTest::InstallPortable() {
  const auto rolls_back = [&](InjectedFailure injected) {
    return PortableInstall(payload_b_, injected) == InstallOutcome::InjectedFailureRolledBack &&
           PortableMatches(payload_a_) && PortableByte() == 'A';
  };
  if (PortableInstall(payload_a_, InjectedFailure::None) != InstallOutcome::Installed ||
      !PortableMatches(payload_a_)) {
    return 17;
  }
  if (PortableByte() != 'A' || PortableLocaleByte() != 'A') return 18;
  if (!rolls_back(InjectedFailure::AfterBackup)) return 19;
  if (!rolls_back(InjectedFailure::AfterDllCommit)) return 20;
  if (PortableInstall(payload_b_, InjectedFailure::None) != InstallOutcome::Installed ||
      !PortableMatches(payload_b_) || PortableByte() != 'B' || PortableLocaleByte() != 'B') {
    return 21;
  }
  return 0;
}

int SelfTest::RepairPortable() {
  return WriteBinaryFile(portable_locale_, "tampered") && !PortableMatches(payload_b_) &&
                 PortableInstall(payload_a_, InjectedFailure::None) == InstallOutcome::Installed &&
                 PortableMatches(payload_a_)
             ? 0
             : 22;
}

int SelfTest::RemovePortable() {
  const auto remove = [&](InjectedFailure injected) {
    return RemovePortablePlugin(portable_, &detail_, injected);
  };
  if (remove(InjectedFailure::AfterBackup) != RemovalOutcome::InjectedFailureRolledBack ||
      !PortableMatches(payload_a_)) {
    return 23;
  }
  if (remove(InjectedFailure::None) != RemovalOutcome::Removed || !IsGone(portable_library_) ||
      !IsGone(portable_locale_)) {
    return 24;
  }
  return remove(InjectedFailure::None) == RemovalOutcome::NotInstalled ? 0 : 25;
}

}  // namespace

int RunSelfTest() {
  const Path temporary = GetTemporaryFolder();
  if (temporary.empty()) return 1;
  const Path root = temporary / ("K7KObsConnectorSelfTest." + std::to_string(ProcessIdentifier()) +
                                 "." + std::to_string(MillisecondsSinceStart()));
  // A link that someone put there first would lead the fixtures elsewhere: they are not written.
  if (IsReparsePoint(root)) return 2;
  SelfTest test(root);
  if (const int failed = test.WriteFixtures()) return failed;
  if (const int failed = test.InstallStandard()) return failed;
  if (const int failed = test.RemoveStandard()) return failed;
  IsObsRunning();  // only exercises the list of processes; OBS may well be running
  if (const int failed = test.RefuseUnsafeParents()) return failed;
  if (const int failed = test.ValidateRoots()) return failed;
  if (const int failed = test.InstallPortable()) return failed;
  if (const int failed = test.RepairPortable()) return failed;
  if (const int failed = test.RemovePortable()) return failed;
  return CurrentDisk().RemoveAll(root) ? 0 : 9;
}

}  // namespace k7k
