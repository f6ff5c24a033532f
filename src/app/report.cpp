#include "app/report.h"

#include <iostream>

#include "targets/obs_process.h"

namespace k7k {

const wchar_t* StateWord(const CopyVerdict& verdict) {
  switch (StateOf(verdict)) {
    case InstallState::NotInstalled:
      return L"not-installed";
    case InstallState::InstalledValid:
      return L"installed-valid";
    default:
      return L"installed-invalid";
  }
}

void WriteDetail(const std::wstring& detail) { std::wcerr << L"detail=" << detail << L"\n"; }

void WriteDetailUnlessEmpty(const std::wstring& detail) {
  if (!detail.empty()) WriteDetail(detail);
}

int ReportStatus(const CopyVerdict& verdict, const std::wstring& detail) {
  std::wcout << L"state=" << StateWord(verdict) << L"\nobsRunning=" << (IsObsRunning() ? 1 : 0)
             << L"\n";
  WriteDetailUnlessEmpty(detail);
  return 0;
}

int ReportFailure(const wchar_t* state, const std::wstring& detail, int exit_code) {
  std::wcerr << L"state=" << state << L"\n";
  WriteDetail(detail);
  return exit_code;
}

int ReportInstall(InstallOutcome outcome, const std::wstring& detail, int band) {
  if (outcome != InstallOutcome::Installed) {
    return ReportFailure(L"install-failed", detail, band + static_cast<int>(outcome));
  }
  std::wcout << L"state=installed\n";
  return 0;
}

int ReportRemoval(RemovalOutcome outcome, const std::wstring& detail, int band) {
  if (outcome != RemovalOutcome::Removed && outcome != RemovalOutcome::NotInstalled) {
    return ReportFailure(L"remove-failed", detail, band + static_cast<int>(outcome));
  }
  std::wcout << L"state=" << (outcome == RemovalOutcome::Removed ? L"removed" : L"not-installed")
             << L"\n";
  return 0;
}

}  // namespace k7k
