// Makes calls of the C++ driver; tests/drivers/adapters.py tells how it is asked.
#include <cctype>
#include <cstdio>
#include <future>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "../../../drivers/cpp/k7k_obs_connector.h"

namespace {

using k7k_obs_connector::Driver;
using k7k_obs_connector::Result;
using k7k_obs_connector::Target;

std::string Decoded(const std::string& text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool coded = text[at] == '%';
    decoded += coded ? static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)) : text[at];
    if (coded) at += 2;
  }
  return decoded;
}

std::string Encoded(std::string_view text) {
  std::string encoded;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    char code[4] = {letter, 0};
    if (!std::isalnum(byte)) std::snprintf(code, sizeof code, "%%%02X", unsigned{byte});
    encoded += code;
  }
  return encoded;
}

void Tell(const char* key, std::string_view value) {
  std::cout << key << ' ' << Encoded(value) << '\n';
}

void Tell(const Result& result) {
  Tell("outcome", Word(result.outcome));
  if (result.reason) Tell("reason", Word(*result.reason));
  Tell("state", result.state);
  if (result.exit_code) Tell("exitCode", std::to_string(*result.exit_code));
  if (result.detail) Tell("detail", *result.detail);
  if (result.old_copy) Tell("oldCopy", Word(*result.old_copy));
  if (result.obs_running) Tell("obsRunning", *result.obs_running ? "true" : "false");
  Tell("retryable", result.retryable ? "true" : "false");
  Tell("stdout", result.out);
  Tell("stderr", result.err);
  std::cout << '\n';
}

struct Asked {
  std::vector<std::filesystem::path> command;
  std::map<std::string, std::string> fields;
};

// A request; without a command at the end of the input.
Asked ReadAsked() {
  Asked asked;
  for (std::string line; std::getline(std::cin, line) && !line.empty();) {
    const std::size_t space = line.find(' ');
    const std::string key = line.substr(0, space);
    const std::string value = Decoded(line.substr(space + 1));
    if (key == "command") {
      asked.command.push_back(std::filesystem::u8path(value));
    } else {
      asked.fields[key] = value;
    }
  }
  return asked;
}

Result Call(const Driver& driver, std::map<std::string, std::string> fields, std::size_t number) {
  const auto asked = fields.find("target");
  const Target target =
      asked == fields.end()
          ? Target::Standard()
          : Target::Portable(std::filesystem::u8path(asked->second + std::string(number, '/')));
  const int attempts = std::stoi(fields["attempts"]);
  const std::chrono::milliseconds pause(std::stoi(fields["pauseMs"]));
  const std::string call = fields["call"];
  if (call == "status") return driver.Status(target);
  if (call == "install") return driver.Install(target);
  if (call == "remove") return driver.Remove(target);
  if (call == "ensureInstalled") return driver.EnsureInstalled(target, attempts, pause);
  return driver.EnsureRemoved(target, attempts, pause);
}

}  // namespace

int main() {
  for (Asked asked = ReadAsked(); !asked.command.empty(); asked = ReadAsked()) {
    const std::chrono::milliseconds timeout(std::stoi(asked.fields["timeoutMs"]));
    const Driver driver(asked.command, timeout);
    std::vector<std::future<Result>> calls;
    for (std::size_t number = 0; number < std::stoul(asked.fields["parallel"]); ++number) {
      calls.push_back(std::async(std::launch::async,
                                 [&, number] { return Call(driver, asked.fields, number); }));
    }
    for (std::future<Result>& call : calls) Tell(call.get());
    std::cout.flush();
  }
}
