// What stand_in.py plays, for a driver that runs under Wine: stand_in.exe [FOLDER] WORD [OBS_ROOT].
// Without a folder it is its own.
//
// The file run.N in the folder has what its run N does: a line for each field, its name, a space
// and its value in percent encoding. A signal is an access violation; a child has no way to be
// apart.
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Fields = std::map<std::string, std::string>;

std::string Decoded(const std::string& text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool coded = text[at] == '%';
    decoded += coded ? static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)) : text[at];
    if (coded) at += 2;
  }
  return decoded;
}

std::string Json(std::wstring_view text) {
  std::string json = "\"";
  for (const wchar_t unit : text) {
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", unsigned{unit});
    json += code;
  }
  return json + '"';
}

// Adds an entry to the log; gives how often it was asked before.
int Log(const std::filesystem::path& folder, const std::string& entry) {
  int asked = 0;
  std::ifstream before(folder / "log");
  for (std::string line; std::getline(before, line);) asked += line.rfind("{\"asked\"", 0) == 0;
  std::ofstream(folder / "log", std::ios::app | std::ios::binary) << entry << '\n';
  return asked;
}

Fields ReadRun(const std::filesystem::path& file) {
  Fields run;
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t space = line.find(' ');
    run[line.substr(0, space)] = Decoded(line.substr(space + 1));
  }
  return run;
}

void Write(DWORD stream, const std::string& text, const Fields& run) {
  const bool slowly = run.count("slowly") != 0;
  for (int times = run.count("times") ? std::stoi(run.at("times")) : 1; times > 0; --times) {
    for (std::string_view rest = text; !rest.empty();) {
      const std::string_view part = rest.substr(0, slowly ? 1 : rest.size());
      DWORD count = 0;
      const auto size = static_cast<DWORD>(part.size());
      if (!::WriteFile(::GetStdHandle(stream), part.data(), size, &count, nullptr)) return;
      rest.remove_prefix(count);
      if (slowly) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
}

void StartChild(const std::wstring& program, const std::wstring& seconds, const wchar_t* folder) {
  std::wstring line = L"\"" + program + L"\" --child " + seconds + L" \"" + folder + L"\"";
  STARTUPINFOW info{};
  info.cb = sizeof info;
  PROCESS_INFORMATION made{};
  ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &info, &made);
}

void Sleep(const std::string& seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(std::stod(seconds)));
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (std::wstring_view(arguments[1]) == L"--child") {
    Sleep(std::filesystem::path(arguments[2]).string());
    return 0;
  }
  const bool beside = std::wstring_view(arguments[1]).substr(0, 2) == L"--";
  const std::filesystem::path folder =
      beside ? std::filesystem::path(arguments[0]).parent_path() : arguments[1];
  std::string words;
  for (int word = beside ? 1 : 2; word < count; ++word) {
    words += (words.empty() ? "" : ", ") + Json(arguments[word]);
  }
  const int number = Log(folder, "{\"asked\": [" + words + "]}");
  Fields run = ReadRun(folder / ("run." + std::to_string(number)));
  if (run.count("child")) {
    const std::wstring seconds = std::filesystem::path(run["child"]).wstring();
    StartChild(arguments[0], seconds, folder.c_str());
  }
  Write(STD_OUTPUT_HANDLE, run["out"], run);
  Write(STD_ERROR_HANDLE, run["err"], run);
  if (run.count("close")) {
    ::CloseHandle(::GetStdHandle(STD_OUTPUT_HANDLE));
    ::CloseHandle(::GetStdHandle(STD_ERROR_HANDLE));
  }
  if (run.count("hang")) Sleep("600");
  Log(folder, "{\"ends\": 0}");
  const DWORD code = run.count("code") ? static_cast<DWORD>(std::stoul(run["code"])) : 0;
  ::TerminateProcess(::GetCurrentProcess(),
                     run.count("signal") ? EXCEPTION_ACCESS_VIOLATION : code);
  return 1;
}
