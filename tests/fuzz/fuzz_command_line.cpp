// The command line: an input is the argument count (one byte), a word, a zero and a folder. The
// commands run on a disk in memory that has a portable OBS and no bundle and refuses every change,
// so that each has one answer and none can touch the machine.
#include "app/dispatch.h"

#include <cstdlib>

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_disk.h"
#include "fuzz/path_parts.h"
#include "support/captured_output.h"
#include "support/platform.h"

namespace k7k::test {

namespace {

const std::string kUsage = "usage";
const std::string kAnswered = "command";
const std::string kRelative = "relative folder";
const std::string kNoFolder = "no folder";
const std::string kNoObs = "folder without OBS";
const std::string kPortable = "portable OBS";

struct Answer {
  int code = 0;
  std::wstring out;
  std::wstring err;

  bool operator==(const Answer&) const = default;
};

struct Expectation {
  std::string outcome;
  Answer answer;
  // The answer while some process of the machine is named obs64.exe: nobody can know that none is.
  Answer while_obs_runs;

  Expectation(std::string what, Answer always)
      : outcome(std::move(what)), answer(always), while_obs_runs(std::move(always)) {}
  Expectation(std::string what, Answer usual, Answer during)
      : outcome(std::move(what)), answer(std::move(usual)), while_obs_runs(std::move(during)) {}
};

const Expectation& UsageText() {
  static const Expectation usage{
      kUsage,
      {64, L"",
       L"Usage: K7KObsConnectorInstaller --self-test | --status-bundled | "
       L"--write-bundled-manifest | --status-standard | --install-standard | --remove-standard | "
       L"--status-portable <OBS root> | --install-portable <OBS root> | "
       L"--remove-portable <OBS root>\n"}};
  return usage;
}

Expectation StatusAnswer(const std::string& outcome) {
  return {outcome,
          {0, L"state=not-installed\nobsRunning=0\n", L""},
          {0, L"state=not-installed\nobsRunning=1\n", L""}};
}

bool HasProgramData() {
  const char* text = std::getenv("ProgramData");
  return RunsOnWindows() || (text != nullptr && text[0] == '/');
}

Expectation ExpectStandard(const std::wstring& word) {
  if (!HasProgramData()) return {kAnswered, {20, L"", L"state=target-unavailable\n"}};
  if (word == L"--status-standard") return StatusAnswer(kAnswered);
  const Answer running{21, L"", L"state=obs-running\n"};
  if (word == L"--install-standard") {
    return {kAnswered, {23, L"", L"state=install-failed\ndetail=\n"}, running};
  }
  return {kAnswered, {0, L"state=not-installed\n", L""}, running};
}

Expectation ExpectTargetInvalid(const std::string& outcome, const std::wstring& message) {
  return {outcome, {40, L"", L"state=target-invalid\ndetail=" + message + L"\n"}};
}

Expectation ExpectPortable(const std::wstring& word, const Text& folder, const MemoryDisk& disk) {
  if (!TakeApart(folder).IsAbsolute()) {
    return ExpectTargetInvalid(kRelative, L"Portable OBS root must be an absolute path");
  }
  const auto name = disk.Find(folder);
  if (!name || disk.files.contains(*name)) {
    return ExpectTargetInvalid(kNoFolder, L"Portable OBS root is unavailable or unsafe");
  }
  if (name != "obs") {
    return ExpectTargetInvalid(kNoObs, L"The portable OBS executable path is unsafe");
  }
  if (word == L"--status-portable") return StatusAnswer(kPortable);
  const Answer running{41, L"", L"state=obs-running\n"};
  if (word == L"--install-portable") {
    return {kPortable, {43, L"", L"state=install-failed\ndetail=\n"}, running};
  }
  return {kPortable, {0, L"state=not-installed\n", L""}, running};
}

Expectation Expect(int count, const std::wstring& word, const Text& folder,
                   const MemoryDisk& disk) {
  if (count == 2 && word == L"--self-test") {
    // Its fixtures cannot be written.
    return {kAnswered, {2, L"K7K OBS connector installer self-test: failed (2)\n", L""}};
  }
  if (count == 2 && word == L"--status-bundled") {
    return {kAnswered, {1, L"state=not-installed\nbytes=0\n", L""}};
  }
  if (count == 2 && word == L"--write-bundled-manifest") {
    return {kAnswered, {2, L"", L"state=manifest-failed\ndetail=Path does not exist\n"}};
  }
  if (count == 2 && (word == L"--status-standard" || word == L"--install-standard" ||
                     word == L"--remove-standard")) {
    return ExpectStandard(word);
  }
  if (count == 3 && (word == L"--status-portable" || word == L"--install-portable" ||
                     word == L"--remove-portable")) {
    return ExpectPortable(word, folder, disk);
  }
  return UsageText();
}

MemoryDisk& DiskWithObs() {
  static MemoryDisk disk;
  if (disk.files.empty()) {
    disk.files = {
        {"obs/bin/64bit/obs64.exe", "obs"}, {"obs/portable_mode.txt", ""}, {"other/file", ""}};
  }
  return disk;
}

void Judge(int count, const std::wstring& word, const Text& folder) {
  MemoryDisk& disk = DiskWithObs();
  const Expectation expected = Expect(count, word, folder, disk);
  disk.calls = 0;
  disk.changes = 0;
  Answer got;
  {
    const CapturedOutput output;
    got.code = Dispatch(count, word, folder);
    got.out = output.Out();
    got.err = output.Err();
  }
  // The self-test alone tries to write; whatever is no command must not even look.
  const bool may_try = word == L"--self-test" && expected.outcome != kUsage;
  const bool quiet = expected.outcome != kUsage || disk.calls == 0;
  const bool right = got == expected.answer || got == expected.while_obs_runs;
  if (!right || !quiet || (disk.changes != 0 && !may_try)) {
    Disagree("count " + std::to_string(count) + " word " + Shown(word) + " folder " +
             Shown(folder) + "\nexpected " + std::to_string(expected.answer.code) + " " +
             Shown(expected.answer.out) + " " + Shown(expected.answer.err) + "\ngot      " +
             std::to_string(got.code) + " " + Shown(got.out) + " " + Shown(got.err) +
             "\ndisk calls " + std::to_string(disk.calls) + ", changes " +
             std::to_string(disk.changes));
  }
  CountOutcome(expected.outcome);
}

// As the entry points widen a word: unit by unit.
std::wstring Widened(const Text& word) {
  std::wstring wide;
  for (const Text::value_type unit : word) {
    wide += static_cast<wchar_t>(static_cast<std::make_unsigned_t<Text::value_type>>(unit));
  }
  return wide;
}

}  // namespace

std::vector<std::string> OutcomesOfTarget() {
  return {kUsage, kAnswered, kRelative, kNoFolder, kNoObs, kPortable};
}

}  // namespace k7k::test

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace k7k::test;
  if (size == 0) return 0;
  const std::string bytes(data + 1, data + size);
  std::vector<Text> arguments = SplitAtZero(TextFromBytes(bytes));
  arguments.resize(2);
  Judge(data[0] % 8, Widened(arguments[0]), arguments[1]);
  return 0;
}
