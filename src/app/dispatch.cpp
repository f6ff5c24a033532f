#include "app/dispatch.h"

#include <iostream>

#include "app/commands.h"
#include "selftest/self_test.h"

namespace k7k {

namespace {

constexpr auto kUsage =
    L"Usage: K7KObsConnectorInstaller --self-test | --status-bundled | --write-bundled-manifest | "
    L"--status-standard | --install-standard | --remove-standard | --status-portable <OBS root> | "
    L"--install-portable <OBS root> | --remove-portable <OBS root>\n";

int ReportSelfTest() {
  const int result = RunSelfTest();
  std::wcout << L"K7K OBS connector installer self-test: " << (result == 0 ? L"passed" : L"failed")
             << L" (" << result << L")\n";
  return result;
}

}  // namespace

int Dispatch(int argument_count, const std::wstring& word, const Path& folder) {
  if (argument_count == 2) {
    if (word == L"--self-test") return ReportSelfTest();
    if (word == L"--status-bundled" || word == L"--write-bundled-manifest") {
      return RunBundleCommand(word);
    }
    if (word == L"--status-standard" || word == L"--install-standard" ||
        word == L"--remove-standard") {
      return RunStandardCommand(word);
    }
  }
  if (argument_count == 3 && (word == L"--status-portable" || word == L"--install-portable" ||
                              word == L"--remove-portable")) {
    return RunPortableCommand(word, folder);
  }
  std::wcerr << kUsage;
  return kUsageExitCode;
}

}  // namespace k7k
