#include "fs/path_text_win.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace k7k {

namespace {

constexpr std::size_t kLongFrom = 240;  // characters

// Whether a text is one that Win32 hands on as it is.
bool IsExact(std::wstring_view text) {
  return text.starts_with(L"\\\\?\\") || text.starts_with(L"\\??\\");
}

// Whether it has the prefix of devices, behind which Win32 takes a path apart like any other ("File
// path formats on Windows systems").
bool IsDevicePath(std::wstring_view text) { return text.starts_with(L"\\\\.\\"); }

// Whether Win32 drops the end of a name, where it stands at the end of a path or in its middle.
bool IsTrimmed(std::wstring_view name) {
  if (name.empty() || name == L"." || name == L"..") return false;
  return name.back() == L'.' || name.back() == L' ';
}

// By the rules of Win32 itself, without asking the disk; empty when it cannot be told.
std::wstring FullText(const std::wstring& text) {
  std::wstring full(text.size() + MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetFullPathNameW(text.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    const bool fits = length < full.size();
    full.resize(length);  // otherwise the length wanted, the terminator included
    if (fits) return full;
  }
}

}  // namespace

std::wstring SeparatedText(Path path) {
  std::wstring text = path.make_preferred().native();
  const bool has_prefix = text.starts_with(L"\\\\?\\") || IsDevicePath(text);
  if (has_prefix && text.size() > 4 && text.find(L'\\', 4) == std::wstring::npos) text += L'\\';
  return text;
}

std::wstring Win32Text(const Path& path) {
  const std::wstring text = SeparatedText(path);
  return text.size() >= kLongFrom && IsAbsolute(path) ? LongText(text) : text;
}

std::wstring LongText(const std::wstring& text) {
  if (IsExact(text)) return text;
  const std::wstring full = FullText(text);
  if (full.empty() || IsExact(full)) return text;
  // A device's bare name, like "nul", gets the prefix of devices only here.
  if (IsDevicePath(full)) return IsDevicePath(text) ? L"\\\\?\\" + full.substr(4) : text;
  const bool is_share = full.starts_with(L"\\\\");
  return is_share ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

std::vector<std::wstring> ExactTexts(const Path& path) {
  std::vector<std::wstring> texts;
  const std::wstring text = SeparatedText(path);
  if (IsExact(text)) return texts;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find(L'\\', start), text.size());
    if (IsTrimmed(std::wstring_view(text).substr(start, end - start))) {
      texts.push_back(LongText(text.substr(0, start)) + text.substr(start));
    }
    start = end + 1;
  }
  return texts;
}

}  // namespace k7k
