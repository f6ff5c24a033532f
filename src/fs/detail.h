// The detail message: one fixed English sentence that says why an operation did not succeed.
#pragma once

#include <string>
#include <string_view>

namespace k7k {

// Replaces the whole content of *detail with message and hands result back, so that a failed check
// is one line: `return Explain(detail, L"...", false);`. A null detail is allowed: the caller does
// not want to know.
template <class Result>
Result Explain(std::wstring* detail, std::wstring_view message, Result result) {
  if (detail != nullptr) *detail = message;
  return result;
}

}  // namespace k7k
