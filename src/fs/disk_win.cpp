// The disk on Windows, by Win32 calls: the standard library of the cross toolchain follows links
// where this program must not.
#include <windows.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <vector>

#include "fs/disk.h"
#include "fs/file_input_win.h"
#include "fs/flush_win.h"
#include "fs/handle_win.h"
#include "fs/path_text_win.h"
#include "fs/remove_win.h"

namespace k7k {

namespace {

FileStatus AfterError(DWORD error) {
  return IsNotFound(error) ? FileStatus::Absent : FileStatus::Unreadable;
}

// What is at a path, links followed, opened to ask about it and for nothing else.
struct OpenedToAsk {
  KernelHandle handle;
  DWORD error = 0;  // when there is no handle
};

OpenedToAsk OpenToAsk(const Path& path) {
  const std::wstring text = Win32Text(path);
  OpenedToAsk opened;
  opened.handle = KernelHandle(::CreateFileW(text.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                             OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!opened.handle) opened.error = ::GetLastError();
  return opened;
}

FileStatus StatusOf(DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileStatus::Folder : FileStatus::File;
}

// Drops the prefix before a drive letter and turns the one before a network share into "\\".
Path WithoutLongPathPrefix(const std::wstring& text) {
  constexpr std::wstring_view kShare = L"\\\\?\\UNC\\";
  constexpr std::wstring_view kLong = L"\\\\?\\";
  if (text.starts_with(kShare)) return L"\\\\" + text.substr(kShare.size());
  if (text.starts_with(kLong) && text.size() > 5 && text[5] == L':') {
    return text.substr(kLong.size());
  }
  return text;
}

bool IsReparsePointByText(const std::wstring& text) {
  const DWORD attributes = ::GetFileAttributesW(text.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// The text of an entry, or of a pattern, in a folder given by its text.
std::wstring TextIn(std::wstring folder, const wchar_t* name) {
  if (folder.back() != L'\\') folder += L'\\';
  return folder + name;
}

class WindowsTreeWalk : public TreeWalk {
 public:
  explicit WindowsTreeWalk(const Path& root) {
    // With a separator at the end: what Win32 trims there is more than it trims before a separator.
    if (root.empty()) {
      Fail();  // Win32 would list the current folder
    } else {
      Enter(root, LongText(SeparatedText(root / L"")));
    }
  }

  bool AtEnd() const override { return levels_.empty(); }
  bool Failed() const override { return failed_; }
  Path Entry() const override { return levels_.back().folder / levels_.back().data.cFileName; }

  void Advance() override {
    const DWORD attributes = levels_.back().data.dwFileAttributes;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
        (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
      const std::wstring text = TextIn(levels_.back().text, levels_.back().data.cFileName);
      // Asked afresh: a link may have taken the folder's place since it was listed.
      if (IsReparsePointByText(text)) return Fail();
      Enter(Entry(), text);
    } else {
      Next();
    }
  }

 private:
  struct Level {
    Path folder;
    std::wstring text;  // by which Win32 reaches the folder, whatever the names below the root
    FindHandle search;
    WIN32_FIND_DATAW data;
  };

  void Fail() {
    failed_ = true;
    levels_.clear();
  }

  static bool IsDots(const WIN32_FIND_DATAW& data) {
    const std::wstring_view name = data.cFileName;
    return name == L"." || name == L"..";
  }

  void Enter(const Path& folder, const std::wstring& text) {
    const std::wstring pattern = TextIn(text, L"*");
    Level level{folder, text, FindHandle(), {}};
    level.search = FindHandle(::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &level.data,
                                                 FindExSearchNameMatch, nullptr, 0));
    const DWORD error = level.search ? 0 : ::GetLastError();
    // The root of a drive lists no "." and ".."; without a file it gives "file not found".
    if (!level.search && error != ERROR_FILE_NOT_FOUND) return Fail();
    const bool found = level.search && !IsDots(level.data);
    levels_.push_back(std::move(level));
    if (!found) Next();
  }

  // Goes on to the next entry of the innermost folder, or of the one around it at its end.
  void Next() {
    while (!levels_.empty()) {
      Level& level = levels_.back();
      while (level.search && ::FindNextFileW(level.search.Get(), &level.data)) {
        if (!IsDots(level.data)) return;
      }
      if (level.search && ::GetLastError() != ERROR_NO_MORE_FILES) return Fail();
      levels_.pop_back();
    }
  }

  std::vector<Level> levels_;
  bool failed_ = false;
};

// The C runtime of the cross toolchain gives a stream 512 bytes of buffer, less than a manifest.
// The buffer is a base so that it outlives the stream, which flushes into it last.
struct StreamBuffer {
  std::array<char, 8192> bytes;
};

class BufferedOutput : private StreamBuffer, public std::ofstream {
 public:
  explicit BufferedOutput(const std::wstring& path) {
    rdbuf()->pubsetbuf(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    open(Path(path), std::ios::out | std::ios::trunc | std::ios::binary);
  }
};

class WindowsDisk : public Disk {
 public:
  FileStatus Status(const Path& path) override {
    const std::wstring text = Win32Text(path);
    const DWORD attributes = ::GetFileAttributesW(text.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return AfterError(::GetLastError());
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return StatusOf(attributes);

    const OpenedToAsk target = OpenToAsk(path);
    if (!target.handle) return AfterError(target.error);
    FILE_BASIC_INFO info{};
    if (!::GetFileInformationByHandleEx(target.handle.Get(), FileBasicInfo, &info, sizeof(info))) {
      return FileStatus::Unreadable;
    }
    return StatusOf(info.FileAttributes);
  }

  bool IsReparsePoint(const Path& path) override {
    const Path entry = WithoutTrailingSeparators(path);
    if (IsReparsePointByText(Win32Text(entry))) return true;
    const std::vector<std::wstring> others = ExactTexts(entry);
    return std::any_of(others.begin(), others.end(), IsReparsePointByText);
  }

  FinalPathAnswer FinalPath(const Path& path) override {
    const OpenedToAsk found = OpenToAsk(path);
    if (!found.handle) return {AfterError(found.error), {}};
    std::wstring text = FinalPathText(found.handle.Get(), FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (text.empty() && ::GetLastError() == ERROR_PATH_NOT_FOUND) {
      // A volume without a drive letter has a device name alone.
      text = FinalPathText(found.handle.Get(), FILE_NAME_NORMALIZED | VOLUME_NAME_NT);
      if (!text.empty()) text.insert(0, L"\\\\?\\GLOBALROOT");
    }
    if (text.empty()) return {FileStatus::Unreadable, {}};
    return {Status(path), WithoutLongPathPrefix(text)};
  }

  std::optional<std::uint64_t> Size(const Path& path) override {
    const OpenedToAsk file = OpenToAsk(path);
    FILE_STANDARD_INFO info{};
    if (!file.handle ||
        !::GetFileInformationByHandleEx(file.handle.Get(), FileStandardInfo, &info, sizeof(info)) ||
        info.Directory) {
      return std::nullopt;
    }
    return static_cast<std::uint64_t>(info.EndOfFile.QuadPart);
  }

  std::unique_ptr<TreeWalk> Walk(const Path& root) override {
    return std::make_unique<WindowsTreeWalk>(root);
  }

  bool CreateFolder(const Path& path) override {
    const std::wstring text = Win32Text(path);
    if (::CreateDirectoryW(text.c_str(), nullptr)) return true;
    return ::GetLastError() == ERROR_ALREADY_EXISTS && Status(path) == FileStatus::Folder &&
           !IsReparsePoint(path);
  }

  bool Copy(const Path& from, const Path& to) override {
    // The system would create the missing target of a dangling link.
    if (IsReparsePoint(to)) return false;
    return ::CopyFileW(Win32Text(from).c_str(), Win32Text(to).c_str(), TRUE) != FALSE;
  }

  bool Flush(const Path& path) override { return FlushToMedium(Win32Text(path)); }

  int Move(const Path& from, const Path& to) override {
    const std::wstring from_text = Win32Text(from);
    const std::wstring to_text = Win32Text(to);
    if (::MoveFileExW(from_text.c_str(), to_text.c_str(),
                      MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)) {
      return 0;
    }
    return static_cast<int>(::GetLastError());
  }

  bool RemoveAll(const Path& path) override {
    return RemoveWithoutFollowing(WithoutTrailingSeparators(path));
  }

  std::unique_ptr<std::istream> OpenInput(const Path& path) override {
    return OpenFileInput(Win32Text(path));
  }

  std::unique_ptr<std::ostream> OpenOutput(const Path& path) override {
    auto stream = std::make_unique<BufferedOutput>(Win32Text(path));
    if (!stream->is_open()) return nullptr;
    return stream;
  }

  void Pause(std::chrono::milliseconds time) override { ::Sleep(static_cast<DWORD>(time.count())); }
};

}  // namespace

Disk& NativeDisk() {
  static WindowsDisk disk;
  return disk;
}

bool IsAbsolute(const Path& path) {
  // The standard library of the cross toolchain denies it to "\\server\share" and "\\?\C:\".
  const std::wstring text = SeparatedText(path);
  if (text.starts_with(L"\\\\")) return text.size() > 2 && text[2] != L'\\';
  if (text.starts_with(L"\\??\\")) return text.size() == 4 || text[4] != L'\\';
  const bool letter = !text.empty() && ((text[0] >= L'A' && text[0] <= L'Z') ||
                                        (text[0] >= L'a' && text[0] <= L'z'));
  return letter && text.size() > 2 && text[1] == L':' && text[2] == L'\\';
}

}  // namespace k7k
