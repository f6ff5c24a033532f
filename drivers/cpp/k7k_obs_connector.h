// Runs K7KObsConnectorInstaller and tells what came of it. C++17, this header alone, Windows and
// POSIX.
//
// A call starts the program, waits for its end, and takes an answer only if every line of it is one
// that the protocol has for that command and exit code; everything else is Outcome::Unavailable
// with its reason. No call throws for what the program does. Calls from several threads run one
// after the other; other processes are not held off.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <memory>
#else
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace k7k_obs_connector {

// made by drivers/make_drivers.py from protocol/protocol.json
// clang-format off

// What a call came to.
enum class Outcome {
  // Done, or answered: the state tells what was found.
  Done,
  // There was nothing to remove.
  NothingToDo,
  // OBS runs; nothing was touched.
  Busy,
  // Refused before anything of the plugin was touched.
  Refused,
  // Not done; what was there before is in its place.
  FailedRestored,
  // Not done, and what was there before may not be whole in its place: ask for the status. The old
  // copy can be under a private name.
  Failed,
  // The program gave no answer; the reason tells why.
  Unavailable,
};
inline std::string_view Word(Outcome value) {
  constexpr std::string_view words[] = {
      "done", "nothing-to-do", "busy", "refused", "failed-restored", "failed", "unavailable"};
  return words[static_cast<std::size_t>(value)];
}

// Why the program gave no answer.
enum class Reason {
  // The program could not be started.
  NotStarted,
  // It was ended, with what it had started, since its time was over.
  Timeout,
  // Its exit code is none of this command's, or a signal ended it.
  Crashed,
  // Its exit code is one of this command's, and its lines are not those of that code.
  Garbled,
  // It was ended, with what it had started, since it wrote too much on one stream.
  TooMuch,
};
inline std::string_view Word(Reason value) {
  constexpr std::string_view words[] = {"not-started", "timeout", "crashed", "garbled", "too-much"};
  return words[static_cast<std::size_t>(value)];
}

// Where the old copy may be.
enum class OldCopy {
  // Both pieces are in their places, unless the library could not be moved back: then it is under
  // its private name.
  PieceMoved,
  // The new files were taken away and the old ones moved back. Whether that succeeded is not told:
  // when the plugin is missing or damaged now, the old files are under a private `backup` name.
  RolledBack,
  // What could not be deleted is back in its place; files may be missing from it.
  PartlyRemoved,
  // Nothing is in the plugin's place. What could not be deleted is under a private `remove-backup`
  // name.
  MovedAway,
  // OBS no longer sees the plugin. What could not be deleted is under a private
  // `portable-remove-dll` or `portable-remove-data` name.
  Detached,
};
inline std::string_view Word(OldCopy value) {
  constexpr std::string_view words[] = {
      "piece-moved", "rolled-back", "partly-removed", "moved-away", "detached"};
  return words[static_cast<std::size_t>(value)];
}

namespace internal {
enum class Detail { Never, IfAny, Always };
enum class Retry { No, Yes, ByDetail };

// The lines of an answer on one stream, state= first; detail= is on standard error.
struct Answer {
  std::string_view state;
  bool on_stderr, obs_running;
  Detail detail;
  Outcome outcome;
  Retry retry;
};
struct Row {
  std::string_view word;
  std::uint32_t code;
  const Answer* answer;
};
constexpr std::size_t kMostCodes = 5;
// Exit codes with which a text says: trying again helps, or all is as before.
struct Text {
  std::string_view text;
  std::uint32_t retry[kMostCodes], restored[kMostCodes];
  std::optional<OldCopy> old_copy;  // with all other exit codes of Failed
};

inline constexpr std::string_view kValid = "installed-valid";
inline constexpr std::string_view kAbsent = "not-installed";
inline constexpr std::uint32_t kUsageCode = 64;
inline constexpr std::string_view kUsageBegins = "Usage: K7KObsConnectorInstaller ";
// Status, install and remove, of the standard and then of a portable target.
inline constexpr std::string_view kWords[] = {
    "--status-standard", "--install-standard", "--remove-standard", "--status-portable",
    "--install-portable", "--remove-portable"};
inline constexpr Answer kCopyValid = {
    "installed-valid", false, true, Detail::Never, Outcome::Done, Retry::No};
inline constexpr Answer kCopyInvalid = {
    "installed-invalid", false, true, Detail::IfAny, Outcome::Done, Retry::No};
inline constexpr Answer kStandardAbsent = {
    "not-installed", false, true, Detail::IfAny, Outcome::Done, Retry::No};
inline constexpr Answer kNoStandardTarget = {
    "target-unavailable", true, false, Detail::Never, Outcome::Refused, Retry::No};
inline constexpr Answer kInstalled = {
    "installed", false, false, Detail::Never, Outcome::Done, Retry::No};
inline constexpr Answer kObsRunning = {
    "obs-running", true, false, Detail::Never, Outcome::Busy, Retry::Yes};
inline constexpr Answer kBundleRefused = {
    "install-failed", true, false, Detail::Always, Outcome::Refused, Retry::ByDetail};
inline constexpr Answer kInstallRefused = {
    "install-failed", true, false, Detail::Always, Outcome::Refused, Retry::ByDetail};
inline constexpr Answer kInstallStopped = {
    "install-failed", true, false, Detail::Always, Outcome::FailedRestored, Retry::ByDetail};
inline constexpr Answer kInstallRolledBack = {
    "install-failed", true, false, Detail::Always, Outcome::Failed, Retry::ByDetail};
inline constexpr Answer kRemoved = {
    "removed", false, false, Detail::Never, Outcome::Done, Retry::No};
inline constexpr Answer kNothingRemoved = {
    "not-installed", false, false, Detail::Never, Outcome::NothingToDo, Retry::No};
inline constexpr Answer kRemovalRefused = {
    "remove-failed", true, false, Detail::Always, Outcome::Refused, Retry::ByDetail};
inline constexpr Answer kRemovalFailed = {
    "remove-failed", true, false, Detail::Always, Outcome::Failed, Retry::ByDetail};
inline constexpr Answer kPortableAbsent = {
    "not-installed", false, true, Detail::IfAny, Outcome::Done, Retry::No};
inline constexpr Answer kRootRefused = {
    "target-invalid", true, false, Detail::Always, Outcome::Refused, Retry::ByDetail};
inline constexpr Answer kPortableInstallStopped = {
    "install-failed", true, false, Detail::Always, Outcome::Failed, Retry::ByDetail};
inline constexpr Row kRows[] = {
    {"--status-standard", 0, &kCopyValid}, {"--status-standard", 0, &kCopyInvalid},
    {"--status-standard", 0, &kStandardAbsent}, {"--status-standard", 20, &kNoStandardTarget},
    {"--install-standard", 0, &kInstalled}, {"--install-standard", 20, &kNoStandardTarget},
    {"--install-standard", 21, &kObsRunning}, {"--install-standard", 23, &kBundleRefused},
    {"--install-standard", 24, &kInstallRefused}, {"--install-standard", 25, &kInstallStopped},
    {"--install-standard", 26, &kInstallRolledBack}, {"--remove-standard", 0, &kRemoved},
    {"--remove-standard", 0, &kNothingRemoved}, {"--remove-standard", 20, &kNoStandardTarget},
    {"--remove-standard", 21, &kObsRunning}, {"--remove-standard", 34, &kRemovalRefused},
    {"--remove-standard", 35, &kRemovalFailed}, {"--status-portable", 0, &kCopyValid},
    {"--status-portable", 0, &kCopyInvalid}, {"--status-portable", 0, &kPortableAbsent},
    {"--status-portable", 40, &kRootRefused}, {"--install-portable", 0, &kInstalled},
    {"--install-portable", 40, &kRootRefused}, {"--install-portable", 41, &kObsRunning},
    {"--install-portable", 43, &kBundleRefused}, {"--install-portable", 44, &kInstallRefused},
    {"--install-portable", 45, &kPortableInstallStopped},
    {"--install-portable", 46, &kInstallRolledBack}, {"--remove-portable", 0, &kRemoved},
    {"--remove-portable", 0, &kNothingRemoved}, {"--remove-portable", 40, &kRootRefused},
    {"--remove-portable", 41, &kObsRunning}, {"--remove-portable", 54, &kRemovalRefused},
    {"--remove-portable", 55, &kRemovalFailed}};
inline constexpr Text kTexts[] = {
    {"", {26, 40, 44, 54, 55}, {26, 55}, {}},
    {"A portable OBS plugin parent is unavailable or unsafe", {44, 54}, {}, {}},
    {"A required plugin file is empty", {26}, {26}, {}},
    {"Bundle contains a reparse point", {26}, {26}, {}},
    {"Bundle file hash does not match manifest", {23, 26, 43}, {26}, {}},
    {"Bundle integrity manifest entry is invalid", {26}, {26}, {}},
    {"Bundle integrity manifest is invalid", {26}, {26}, {}},
    {"Bundle integrity manifest is missing", {23, 26, 43}, {26}, {}},
    {"Bundle is missing a required plugin file", {}, {26}, {}},
    {"Could not back up portable OBS plugin data", {45}, {}, OldCopy::PieceMoved},
    {"Could not back up the existing plugin; OBS may be running", {25}, {}, {}},
    {"Could not back up the portable OBS plugin DLL; OBS may be running", {45}, {45}, {}},
    {"Could not copy the complete payload", {26}, {26}, {}},
    {"Could not create the staging directory", {}, {26}, {}},
    {"Could not inspect a portable OBS parent", {40, 44, 54}, {}, {}},
    {"Could not inspect every bundle entry", {23, 26, 43}, {26}, {}},
    {"Could not inspect portable OBS targets", {45}, {45}, {}},
    {"Could not inspect the bundle", {23, 26, 43}, {26}, {}},
    {"Could not inspect the existing plugin", {25}, {}, {}},
    {"Could not inspect the installed plugin", {35}, {35}, {}},
    {"Could not inspect the plugin parent", {35}, {35}, {}},
    {"Could not isolate portable plugin data", {55}, {}, OldCopy::PieceMoved},
    {"Could not isolate the plugin; OBS may be running", {35}, {35}, {}},
    {"Could not isolate the portable plugin DLL; OBS may be running", {55}, {55}, {}},
    {"Could not read the complete payload", {26}, {26}, {}},
    {"Could not reserve portable OBS transaction paths", {45}, {45}, {}},
    {"Could not reserve the removal backup path", {35}, {35}, {}},
    {"Could not reserve transaction paths", {25}, {}, {}},
    {"Could not stage and verify the portable OBS plugin", {46}, {46}, {}},
    {"Path does not exist", {23, 26, 43}, {26}, {}},
    {"Payload contains an unsupported entry", {}, {26}, {}},
    {"Payload entry escaped its root", {}, {26}, {}},
    {"Plugin removal failed and its backup could not be restored", {}, {}, OldCopy::MovedAway},
    {"Plugin removal failed and was rolled back", {35}, {}, OldCopy::PartlyRemoved},
    {"Plugin replacement failed and was rolled back", {26}, {}, OldCopy::RolledBack},
    {"Portable OBS plugin replacement failed and was rolled back", {45}, {}, OldCopy::RolledBack},
    {"Portable OBS plugin verification failed and was rolled back", {46}, {}, OldCopy::RolledBack},
    {"Portable OBS root is unavailable or unsafe", {44, 54}, {}, {}},
    {"Portable plugin was detached, but a private backup remains", {}, {}, OldCopy::Detached},
    {"Reparse-point roots are not accepted", {26}, {26}, {}},
    {"The portable OBS executable path is unsafe", {44, 54}, {}, {}},
    {"The portable OBS plugin DLL path is unsafe", {44, 54}, {}, {}},
    {"The portable OBS plugin data path is unsafe", {44, 54}, {}, {}},
    {"The selected OBS folder is not marked for portable mode", {44, 54}, {}, {}},
    {"The selected folder does not contain bin\\64bit\\obs64.exe", {44, 54}, {}, {}},
};
}  // namespace internal
// clang-format on
// end of what is made

struct Result {
  Outcome outcome = Outcome::Unavailable;
  std::optional<Reason> reason;  // why it is Unavailable
  std::string state;             // the answer's word, or empty
  std::optional<std::uint32_t> exit_code;
  std::optional<std::string> detail;
  std::optional<OldCopy> old_copy;  // where it may be, if it Failed and the answer tells
  std::optional<bool> obs_running;
  bool retryable = false;  // the answer says that the same call can succeed later
  std::string out, err;    // both streams as they came
};

// The machine's OBS, or a portable one in a folder.
class Target {
 public:
  static Target Standard() { return Target(std::nullopt); }
  static Target Portable(std::filesystem::path obs_root) { return Target(std::move(obs_root)); }
  const std::optional<std::filesystem::path>& Root() const { return root_; }

 private:
  explicit Target(std::optional<std::filesystem::path> root) : root_(std::move(root)) {}
  std::optional<std::filesystem::path> root_;
};

namespace internal {

using Argument = std::filesystem::path::string_type;
constexpr std::size_t kMostOutput = 64 * 1024;
constexpr std::chrono::milliseconds kStep(5);

#ifdef _WIN32
// One argument as CommandLineToArgvW reads it: backslashes count double before a quote only.
inline std::wstring Quoted(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t letter : argument) {
    if (letter == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = letter == L'\\' ? backslashes + 1 : 0;
    quoted += letter;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

struct CloseIt {
  void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseIt>;

// A program that runs in a job of its own, with pipes for output and error and no input.
class Process {
 public:
  explicit Process(const std::vector<Argument>& arguments) {
    HANDLE ends[2] = {};
    Handle writers[2];
    for (int stream = 0; stream < 2; ++stream) {
      HANDLE reader = nullptr;
      if (!::CreatePipe(&reader, &ends[stream], nullptr, 0)) return;
      readers_[stream].reset(reader);
      writers[stream].reset(ends[stream]);
      ::SetHandleInformation(ends[stream], HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    job_.reset(::CreateJobObjectW(nullptr, nullptr));
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> memory(size);
    auto* const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    if (!job_ || !::InitializeProcThreadAttributeList(list, 1, 0, &size)) return;
    // Of all that this process lets be inherited, the program gets the two pipes and nothing else.
    if (::UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, ends, sizeof ends,
                                    nullptr, nullptr)) {
      Start(arguments, ends, list);
    }
    ::DeleteProcThreadAttributeList(list);
  }

  bool Started() const { return process_ != nullptr; }

  // Takes what a stream has by now; whether it had anything. Never waits.
  bool Read(int stream, std::string* text) {
    DWORD count = 0;
    char chunk[4096];
    if (!readers_[stream]) return false;
    HANDLE const reader = readers_[stream].get();
    if (!::PeekNamedPipe(reader, nullptr, 0, nullptr, &count, nullptr)) {
      readers_[stream].reset();
      return false;
    }
    if (count == 0 || !::ReadFile(reader, chunk, sizeof chunk, &count, nullptr)) return false;
    text->append(chunk, count);
    return count > 0;
  }

  bool Reading() const { return readers_[0] || readers_[1]; }
  static void Wait() { std::this_thread::sleep_for(kStep); }

  bool Ended(std::optional<std::uint32_t>* code) const {
    DWORD value = 0;
    if (::WaitForSingleObject(process_.get(), 0) != WAIT_OBJECT_0) return false;
    if (::GetExitCodeProcess(process_.get(), &value)) *code = value;
    return true;
  }

  void Kill() const {
    ::TerminateJobObject(job_.get(), 1);
    ::TerminateProcess(process_.get(), 1);
  }

 private:
  void Start(const std::vector<Argument>& arguments, const HANDLE* ends,
             LPPROC_THREAD_ATTRIBUTE_LIST list) {
    std::wstring line;
    for (const Argument& argument : arguments)
      line += (line.empty() ? L"" : L" ") + Quoted(argument);
    STARTUPINFOEXW info{};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdOutput = ends[0];
    info.StartupInfo.hStdError = ends[1];
    info.lpAttributeList = list;
    PROCESS_INFORMATION made{};
    const DWORD flags = CREATE_NO_WINDOW | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT;
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr,
                          &info.StartupInfo, &made)) {
      return;
    }
    Handle process(made.hProcess);
    const Handle thread(made.hThread);
    // Before its first instruction, so that each of its children is in the job too.
    if (!::AssignProcessToJobObject(job_.get(), made.hProcess)) {
      ::TerminateProcess(made.hProcess, 1);
      return;
    }
    process_ = std::move(process);
    ::ResumeThread(made.hThread);
  }

  Handle readers_[2], process_, job_;
};

#else

// A program that runs in a process group of its own, with pipes for output and error and no input.
class Process {
 public:
  explicit Process(const std::vector<Argument>& arguments) {
    int writers[2] = {-1, -1};
    for (int stream = 0; stream < 2; ++stream) {
      int ends[2] = {-1, -1};
      if (::pipe2(ends, O_CLOEXEC) != 0) break;
      readers_[stream].fd = ends[0];
      writers[stream] = ends[1];
      ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    if (writers[1] != -1) Start(arguments, writers);
    for (const int writer : writers) {
      if (writer != -1) ::close(writer);
    }
  }

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    for (int stream = 0; stream < 2; ++stream) Close(stream);
  }

  bool Started() const { return process_ != -1; }

  // Takes what a stream has by now; whether it had anything. Never waits.
  bool Read(int stream, std::string* text) {
    char chunk[4096];
    if (readers_[stream].fd == -1) return false;
    const ssize_t count = ::read(readers_[stream].fd, chunk, sizeof chunk);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) Close(stream);
    if (count > 0) text->append(chunk, static_cast<std::size_t>(count));
    return count > 0;
  }

  bool Reading() const { return readers_[0].fd != -1 || readers_[1].fd != -1; }
  void Wait() { ::poll(readers_, 2, static_cast<int>(kStep.count())); }

  bool Ended(std::optional<std::uint32_t>* code) const {
    int status = 0;
    const pid_t ended = ::waitpid(process_, &status, WNOHANG);
    if (ended == process_) {
      const int value = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      *code = static_cast<std::uint32_t>(value);
    }
    return ended == process_ || (ended == -1 && errno != EINTR);
  }

  void Kill() const { ::kill(-process_, SIGKILL); }

 private:
  void Start(const std::vector<Argument>& arguments, const int* writers) {
    std::vector<char*> words;
    for (const Argument& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    // Input last: a caller without streams of its own can have a pipe in its place.
    ::posix_spawn_file_actions_adddup2(&actions, writers[0], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, writers[1], STDERR_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    if (::posix_spawnp(&process_, words[0], &actions, &attributes, words.data(), environ) != 0) {
      process_ = -1;
    }
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
  }

  void Close(int stream) {
    if (readers_[stream].fd != -1) ::close(readers_[stream].fd);
    readers_[stream].fd = -1;
  }

  pollfd readers_[2] = {{-1, POLLIN, 0}, {-1, POLLIN, 0}};
  pid_t process_ = -1;
};
#endif

// Runs a program to its end, or ends it when its time is over or a stream is too long.
inline Result RunProgram(const std::vector<Argument>& arguments,
                         std::chrono::milliseconds timeout) {
  Result result;
  for (const Argument& argument : arguments) {
    // The system would take such an argument for a shorter one.
    if (argument.find(Argument::value_type()) != Argument::npos) result.reason = Reason::NotStarted;
  }
  if (result.reason) return result;
  Process process(arguments);
  if (!process.Started()) {
    result.reason = Reason::NotStarted;
    return result;
  }
  const auto begin = std::chrono::steady_clock::now();
  while (!result.reason) {
    const bool out = process.Read(0, &result.out);
    const bool err = process.Read(1, &result.err);
    if (!process.Reading() && process.Ended(&result.exit_code)) {
      // A caller that ignores its children's ends learns no code.
      if (!result.exit_code) result.reason = Reason::Crashed;
      return result;
    }
    if (result.out.size() > kMostOutput || result.err.size() > kMostOutput) {
      result.reason = Reason::TooMuch;
    } else if (std::chrono::steady_clock::now() - begin >= timeout) {
      result.reason = Reason::Timeout;
    } else if (!out && !err) {
      process.Wait();
    }
  }
  process.Kill();
  // So that it works on no target any more; bounded, because a system call can hold up its end.
  std::optional<std::uint32_t> code;
  for (int wait = 0; wait < 400 && !process.Ended(&code); ++wait) {
    std::this_thread::sleep_for(kStep);
  }
  for (std::string* stream : {&result.out, &result.err}) {
    if (stream->size() > kMostOutput) stream->resize(kMostOutput);
  }
  return result;
}

inline std::string WithoutCarriages(std::string text) {
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) text.erase(at, 1);
  return text;
}

inline bool Skip(std::string_view* text, std::string_view part) {
  if (text->substr(0, part.size()) != part) return false;
  text->remove_prefix(part.size());
  return true;
}

// Whether the streams hold an answer's lines and nothing else; takes their values if they do.
inline bool Take(const Answer& answer, std::string_view out, std::string_view err, Result* result) {
  std::string_view& report = answer.on_stderr ? err : out;
  if (!Skip(&report, "state=") || !Skip(&report, answer.state) || !Skip(&report, "\n"))
    return false;
  std::optional<bool> obs_running;
  if (answer.obs_running) {
    obs_running = Skip(&report, "obsRunning=1\n");
    if (!*obs_running && !Skip(&report, "obsRunning=0\n")) return false;
  }
  std::optional<std::string> detail;
  if (answer.detail != Detail::Never && Skip(&err, "detail=")) {
    const auto end =
        std::find_if(err.begin(), err.end(), [](char c) { return c < ' ' || c > '~'; });
    detail.emplace(err.begin(), end);
    err.remove_prefix(detail->size());
    if (!Skip(&err, "\n")) return false;
  }
  if (!out.empty() || !err.empty() || (answer.detail == Detail::Always && !detail)) return false;
  result->state = answer.state;
  result->obs_running = obs_running;
  result->detail = detail;
  return true;
}

// Reads what a run of a command has answered.
inline void Judge(std::string_view word, Result* result) {
  const std::uint32_t code = *result->exit_code;
  const auto has_code = [code](const auto& codes) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
  };
  const std::string out = WithoutCarriages(result->out);
  const std::string err = WithoutCarriages(result->err);
  if (code == kUsageCode && out.empty() && err.rfind(kUsageBegins, 0) == 0) {
    result->outcome = Outcome::Refused;
    return;
  }
  result->reason = code == kUsageCode ? Reason::Garbled : Reason::Crashed;
  for (const Row& row : kRows) {
    if (row.word != word || row.code != code) continue;
    result->reason = Reason::Garbled;
    if (!Take(*row.answer, out, err, result)) continue;
    result->reason = std::nullopt;
    result->outcome = row.answer->outcome;
    result->retryable = row.answer->retry == Retry::Yes;
    if (row.answer->retry != Retry::ByDetail) return;
    for (const Text& text : kTexts) {
      if (text.text != result->detail) continue;
      result->retryable = has_code(text.retry);
      if (has_code(text.restored)) result->outcome = Outcome::FailedRestored;
      if (result->outcome == Outcome::Failed) result->old_copy = text.old_copy;
    }
    return;
  }
}

// One for all targets: the same folder can be spelled in many ways.
inline std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}

}  // namespace internal

class Driver {
 public:
  // The command is the program, behind what starts it if there is such a thing; a name without a
  // folder is looked for as the system does. The timeout is that of each run.
  explicit Driver(std::vector<std::filesystem::path> command,
                  std::chrono::milliseconds timeout = std::chrono::minutes(10))
      : command_(std::move(command)),
        timeout_(std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24))) {}

  Result Status(const Target& target) const { return Alone(target, kStatus); }
  Result Install(const Target& target) const { return Alone(target, kInstall); }
  Result Remove(const Target& target) const { return Alone(target, kRemove); }

  // Installs unless the status is installed-valid already (NothingToDo), and asks for it again.
  Result EnsureInstalled(const Target& target, int attempts = 3,
                         std::chrono::milliseconds pause = std::chrono::seconds(1)) const {
    return Ensure(kInstall, internal::kValid, target, attempts, pause);
  }

  // Removes, and asks for the status unless nothing was there (NothingToDo).
  Result EnsureRemoved(const Target& target, int attempts = 3,
                       std::chrono::milliseconds pause = std::chrono::seconds(1)) const {
    return Ensure(kRemove, internal::kAbsent, target, attempts, pause);
  }

 private:
  enum Verb { kStatus, kInstall, kRemove };
  Result Run(const Target& target, Verb verb) const {
    const std::string_view word = internal::kWords[verb + (target.Root() ? 3 : 0)];
    std::vector<internal::Argument> arguments;
    for (const std::filesystem::path& part : command_) arguments.push_back(part.native());
    arguments.emplace_back(word.begin(), word.end());
    if (target.Root()) arguments.push_back(target.Root()->native());
    Result result = internal::RunProgram(arguments, timeout_);
    if (!result.reason) internal::Judge(word, &result);
    return result;
  }

  Result Alone(const Target& target, Verb verb) const {
    const std::lock_guard<std::mutex> lock(internal::Lock());
    return Run(target, verb);
  }

  static Result As(Outcome outcome, Result result) {
    result.outcome = outcome;
    return result;
  }

  Result Ensure(Verb verb, std::string_view wanted, const Target& target, int attempts,
                std::chrono::milliseconds pause) const {
    const std::lock_guard<std::mutex> lock(internal::Lock());
    // What an earlier attempt has done is not nothing.
    for (Outcome nothing = Outcome::NothingToDo;; nothing = Outcome::Done) {
      std::optional<Result> before;
      if (verb == kInstall) before = Run(target, kStatus);
      if (before && before->state == wanted) return As(nothing, *before);
      const bool acts = !before || before->outcome == Outcome::Done;
      Result result = acts ? Run(target, verb) : *before;
      if (verb == kRemove && result.outcome == Outcome::Busy && !target.Root()) {
        // A removal looks for OBS before it looks for the plugin.
        const Result found = Run(target, kStatus);
        if (found.state == wanted && !found.detail) return As(nothing, found);
      }
      if (result.outcome == Outcome::NothingToDo) return As(nothing, result);
      if (result.outcome == Outcome::Done) {
        result = Run(target, kStatus);
        if (result.state == wanted) return result;
        if (result.outcome == Outcome::Done) {
          result.outcome = Outcome::Failed;
          result.retryable = true;
        }
      }
      if (!result.retryable || --attempts < 1) return result;
      std::this_thread::sleep_for(pause);
    }
  }

  std::vector<std::filesystem::path> command_;
  std::chrono::milliseconds timeout_;
};

}  // namespace k7k_obs_connector
