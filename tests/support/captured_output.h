// What the program writes to its two streams.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace k7k::test {

// While it lives, the wide standard streams of the process write here.
class CapturedOutput {
 public:
  CapturedOutput() = default;
  ~CapturedOutput() {
    std::wcout.rdbuf(previous_out_);
    std::wcerr.rdbuf(previous_err_);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::wstring Out() const { return out_.str(); }
  std::wstring Err() const { return err_.str(); }

 private:
  std::wstringbuf out_;
  std::wstringbuf err_;
  std::wstreambuf* previous_out_ = std::wcout.rdbuf(&out_);
  std::wstreambuf* previous_err_ = std::wcerr.rdbuf(&err_);
};

}  // namespace k7k::test
