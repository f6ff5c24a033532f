#include <windows.h>

// Needs windows.h before it.
#include <tlhelp32.h>

#include <cwchar>

#include "fs/handle_win.h"
#include "targets/obs_process.h"

namespace k7k {

bool IsObsRunning() {
  const KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) return false;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL read = ::Process32FirstW(snapshot.Get(), &entry); read;
       read = ::Process32NextW(snapshot.Get(), &entry)) {
    if (::_wcsicmp(entry.szExeFile, L"obs64.exe") == 0) return true;
  }
  return false;
}

}  // namespace k7k
