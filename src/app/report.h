// The report lines that several commands share.
#pragma once

#include <string>

#include "bundle/copy_verdict.h"
#include "txn/outcomes.h"

namespace k7k {

const wchar_t* StateWord(const CopyVerdict& verdict);

// "detail=" and the message, on standard error.
void WriteDetail(const std::wstring& detail);
void WriteDetailUnlessEmpty(const std::wstring& detail);

// The answer of a status command: the state and whether OBS runs at this moment. Returns 0.
int ReportStatus(const CopyVerdict& verdict, const std::wstring& detail);

// A failure: its state and the detail line, empty or not, on standard error. Returns exit_code.
int ReportFailure(const wchar_t* state, const std::wstring& detail, int exit_code);

// The result of a transaction. The exit code of a failure is band plus outcome.
int ReportInstall(InstallOutcome outcome, const std::wstring& detail, int band);
int ReportRemoval(RemovalOutcome outcome, const std::wstring& detail, int band);

}  // namespace k7k
