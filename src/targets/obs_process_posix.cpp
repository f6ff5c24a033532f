#include <strings.h>

#include <cctype>
#include <fstream>
#include <string>

#include "fs/disk.h"
#include "targets/obs_process.h"

namespace k7k {

namespace {

// The kernel's name of a process: its executable's, cut to 15 characters, which none of ours needs.
std::string ProcessName(const Path& process) {
  std::string name;
  std::ifstream file(process / "comm", std::ios::binary);
  std::getline(file, name);
  return name;
}

}  // namespace

bool IsObsRunning() {
  std::error_code error;
  std::filesystem::directory_iterator processes("/proc", error);
  for (; processes != std::filesystem::end(processes); processes.increment(error)) {
    const std::string id = processes->path().filename().native();
    if (std::isdigit(static_cast<unsigned char>(id.front())) != 0 &&
        ::strcasecmp(ProcessName(processes->path()).c_str(), "obs64.exe") == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace k7k
