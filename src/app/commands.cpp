#include "app/commands.h"

#include <iostream>

#include "app/dispatch.h"
#include "app/program_folder.h"
#include "app/report.h"
#include "bundle/bundle_check.h"
#include "bundle/installed_copy.h"
#include "bundle/manifest.h"
#include "targets/obs_process.h"
#include "targets/portable_target.h"
#include "targets/standard_target.h"
#include "txn/portable_install.h"
#include "txn/portable_removal.h"
#include "txn/standard_install.h"
#include "txn/standard_removal.h"

namespace k7k {

namespace {

int ReportObsRunning(int exit_code) {
  std::wcerr << L"state=obs-running\n";
  return exit_code;
}

int StatusBundled(const Path& bundle) {
  std::wstring detail;
  const CopyVerdict verdict = InspectBundle(bundle, &detail);
  std::wcout << L"state=" << StateWord(verdict) << L"\nbytes=" << verdict.bytes << L"\n";
  WriteDetailUnlessEmpty(detail);
  if (verdict.valid) return 0;
  return verdict.present ? 2 : 1;
}

int WriteBundledManifest(const Path& bundle) {
  std::wstring detail;
  if (!WriteManifest(bundle, &detail)) return ReportFailure(L"manifest-failed", detail, 2);
  std::wcout << L"state=manifest-written\n";
  return 0;
}

}  // namespace

int RunBundleCommand(const std::wstring& command) {
  const Path bundle = GetBundleRoot();
  if (command == L"--status-bundled") return StatusBundled(bundle);
  if (command == L"--write-bundled-manifest") return WriteBundledManifest(bundle);
  return kUsageExitCode;
}

int RunStandardCommand(const std::wstring& command) {
  std::wstring detail;
  const Path plugins = GetStandardPluginsRoot();
  if (plugins.empty()) {
    std::wcerr << L"state=target-unavailable\n";
    return 20;
  }
  if (command == L"--status-standard") {
    const Path bundle = GetBundleRoot();
    const CopyVerdict verdict = CheckInstalledCopy(plugins, bundle, &detail);
    return ReportStatus(verdict, detail);
  }
  if (IsObsRunning()) return ReportObsRunning(21);
  if (command == L"--install-standard") {
    const Path bundle = GetBundleRoot();
    const InstallOutcome outcome = InstallPlugin(bundle, plugins, &detail, InjectedFailure::None);
    return ReportInstall(outcome, detail, 22);
  }
  if (command == L"--remove-standard") {
    const RemovalOutcome outcome = RemovePlugin(plugins, &detail, InjectedFailure::None);
    return ReportRemoval(outcome, detail, 32);
  }
  return kUsageExitCode;
}

int RunPortableCommand(const std::wstring& command, const Path& obs_root) {
  std::wstring detail;
  const Path bundle = GetBundleRoot();
  if (!ValidatePortableRoot(obs_root, &detail)) return ReportFailure(L"target-invalid", detail, 40);
  if (command == L"--status-portable") {
    const CopyVerdict verdict = GetPortableStatus(obs_root, bundle, &detail);
    return ReportStatus(verdict, detail);
  }
  if (IsObsRunning()) return ReportObsRunning(41);
  if (command == L"--install-portable") {
    const InstallOutcome outcome =
        InstallPortablePlugin(bundle, obs_root, &detail, InjectedFailure::None);
    return ReportInstall(outcome, detail, 42);
  }
  if (command == L"--remove-portable") {
    const RemovalOutcome outcome = RemovePortablePlugin(obs_root, &detail, InjectedFailure::None);
    return ReportRemoval(outcome, detail, 52);
  }
  return kUsageExitCode;
}

}  // namespace k7k
