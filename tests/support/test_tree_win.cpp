#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "fs/handle_win.h"
#include "fs/path_text_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k::test {

namespace {

// Z: is the Unix root of a Wine prefix.
std::wstring UnixName(const Path& path) {
  std::wstring text = path.native();
  if (text.starts_with(L"\\\\?\\")) text.erase(0, 4);
  std::replace(text.begin(), text.end(), L'\\', L'/');
  return text.size() > 2 && text[1] == L':' ? text.substr(2) : text;
}

// Wine makes no links itself, but it runs Unix programs. They cannot be waited for.
void MakeUnixLink(const Path& target, const Path& link) {
  std::wstring command = L"ln -s -- \"" + UnixName(target) + L"\" \"" + UnixName(link) + L"\"";
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  PROCESS_INFORMATION process{};
  ASSERT_TRUE(::CreateProcessW(L"Z:\\bin\\ln", command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &start, &process))
      << ::GetLastError();
  const Path parent = link.parent_path();
  for (int i = 0; i < 1000; ++i) {
    // By the parent's list: a dangling link answers no query by its path.
    WIN32_FIND_DATAW data{};
    const FindHandle found(::FindFirstFileW(Win32Text(link).c_str(), &data));
    if (found) return;
    std::wstring script;
    ::Sleep(5);
    if (i > 20 && ::GetFileAttributesW(Win32Text(link).c_str()) == INVALID_FILE_ATTRIBUTES &&
        NativeDisk().Status(target) != FileStatus::Folder &&
        NativeDisk().Status(target) != FileStatus::File) {
      return;  // dangling or a loop: it does not show in any query
    }
  }
  FAIL() << "ln made no " << link;
}

}  // namespace

void MakeFolderLink(const Path& target, const Path& link) {
  if (RunsUnderWine()) return MakeUnixLink(target, link);
  ASSERT_TRUE(::CreateSymbolicLinkW(
      Win32Text(link).c_str(), Win32Text(target).c_str(),
      SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE))
      << ::GetLastError();
}

void MakeFileLink(const Path& target, const Path& link) {
  if (RunsUnderWine()) return MakeUnixLink(target, link);
  ASSERT_TRUE(::CreateSymbolicLinkW(Win32Text(link).c_str(), Win32Text(target).c_str(),
                                    SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE))
      << ::GetLastError();
}

void MakeReadOnly(const Path& file) {
  const std::wstring text = Win32Text(file);
  ASSERT_TRUE(::SetFileAttributesW(text.c_str(),
                                   ::GetFileAttributesW(text.c_str()) | FILE_ATTRIBUTE_READONLY));
}

bool IsReadOnly(const Path& file) {
  return (::GetFileAttributesW(Win32Text(file).c_str()) & FILE_ATTRIBUTE_READONLY) != 0;
}

}  // namespace k7k::test
