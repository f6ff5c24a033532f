#include "fs/remove_win.h"

#include <windows.h>

// Needs windows.h before it.
#include <winternl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fs/handle_win.h"
#include "fs/path_text_win.h"
#include "fs/system_library_win.h"

namespace k7k {

namespace {

// NtCreateFile options and status values, from the pages "NtCreateFile function (winternl.h)" and
// "NTSTATUS Values"; the headers of the toolchains do not agree on which of them they define.
constexpr ULONG kOpenExisting = 1;             // FILE_OPEN
constexpr ULONG kSynchronous = 0x20;           // FILE_SYNCHRONOUS_IO_NONALERT
constexpr ULONG kOpenForBackup = 0x4000;       // FILE_OPEN_FOR_BACKUP_INTENT
constexpr ULONG kOpenReparsePoint = 0x200000;  // FILE_OPEN_REPARSE_POINT
constexpr ULONG kDoNotReparse = 0x1000;        // OBJ_DONT_REPARSE
constexpr NTSTATUS kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);
constexpr NTSTATUS kNoSuchFile = static_cast<NTSTATUS>(0xC000000F);
constexpr NTSTATUS kNameNotFound = static_cast<NTSTATUS>(0xC0000034);
constexpr NTSTATUS kAccessDenied = static_cast<NTSTATUS>(0xC0000022);
constexpr NTSTATUS kSharingViolation = static_cast<NTSTATUS>(0xC0000043);

// What an identifier of 64 bits is where there is none, and where the file system's own are wider
// ("FILE_INTERNAL_INFORMATION structure (ntifs.h)").
constexpr std::uint64_t kNoIdentifier = 0;
constexpr std::uint64_t kTooWide = ~std::uint64_t{0};

// FileDispositionInfoEx, from the page "FILE_INFO_BY_HANDLE_CLASS enumeration (minwinbase.h)".
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);

struct ListedEntry {
  std::wstring name;
  DWORD attributes;
};

bool IsPlainFolder(DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

bool IsLink(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }

// Opens an entry of an open folder by its bare name. Win32 has no such call, the native one has.
NTSTATUS OpenIn(HANDLE folder, const std::wstring& name, ACCESS_MASK access, KernelHandle& opened) {
  static const auto create =
      FindFunction<decltype(::NtCreateFile)>(::GetModuleHandleW(L"ntdll.dll"), "NtCreateFile");
  if (create == nullptr) return kAccessDenied;
  UNICODE_STRING text{};
  text.Buffer = const_cast<wchar_t*>(name.c_str());
  text.Length = static_cast<USHORT>(name.size() * sizeof(wchar_t));
  text.MaximumLength = text.Length;
  OBJECT_ATTRIBUTES attributes{};
  attributes.Length = sizeof(attributes);
  attributes.RootDirectory = folder;
  attributes.ObjectName = &text;
  IO_STATUS_BLOCK block{};
  HANDLE handle = nullptr;
  NTSTATUS status = kInvalidParameter;
  // Older versions of Windows refuse kDoNotReparse. The name is that of one entry, which
  // kOpenReparsePoint by itself keeps from being followed.
  for (const ULONG reparse : {kDoNotReparse, ULONG{0}}) {
    attributes.Attributes = OBJ_CASE_INSENSITIVE | reparse;
    status = create(&handle, access | SYNCHRONIZE, &attributes, &block, nullptr, 0, kShareAll,
                    kOpenExisting, kSynchronous | kOpenForBackup | kOpenReparsePoint, nullptr, 0);
    if (status != kInvalidParameter) break;
  }
  if (status >= 0) opened = KernelHandle(handle);
  return status;
}

// Listing a folder and clearing a read-only bit need rights of their own, which an entry that can
// be deleted, or whoever has it open, may deny. They are given up one after the other.
NTSTATUS OpenForDeletion(HANDLE folder, const std::wstring& name, KernelHandle& opened) {
  constexpr ACCESS_MASK kDelete = DELETE | FILE_READ_ATTRIBUTES;
  NTSTATUS status = kAccessDenied;
  for (const int more : {FILE_LIST_DIRECTORY | FILE_WRITE_ATTRIBUTES, FILE_LIST_DIRECTORY,
                         FILE_WRITE_ATTRIBUTES, 0}) {
    status = OpenIn(folder, name, kDelete | static_cast<ACCESS_MASK>(more), opened);
    if (status != kAccessDenied && status != kSharingViolation) break;
  }
  return status;
}

std::optional<DWORD> AttributesOf(HANDLE handle) {
  FILE_BASIC_INFO info{};  // every file system answers this; FAT knows no FileAttributeTagInfo
  if (!::GetFileInformationByHandleEx(handle, FileBasicInfo, &info, sizeof(info))) {
    return std::nullopt;
  }
  return info.FileAttributes;
}

// The path of an open entry without its volume, links resolved, in the form in which it was opened;
// empty when it cannot be told.
std::wstring NameOf(HANDLE handle) {
  alignas(FILE_NAME_INFO) static char buffer[sizeof(FILE_NAME_INFO) + 65536];
  auto* info = reinterpret_cast<FILE_NAME_INFO*>(buffer);
  if (!::GetFileInformationByHandleEx(handle, FileNameInfo, info, sizeof(buffer))) return {};
  return std::wstring(info->FileName, info->FileNameLength / sizeof(wchar_t));
}

// Goes through the entries of an open folder: one call of `visit` with each of its records of the
// given kind. False when the folder cannot be listed to its end.
template <class Record, class Visit>
bool ForEachRecord(HANDLE folder, FILE_INFO_BY_HANDLE_CLASS from_start,
                   FILE_INFO_BY_HANDLE_CLASS further, Visit visit) {
  alignas(Record) static char buffer[65536];
  FILE_INFO_BY_HANDLE_CLASS next = from_start;
  while (::GetFileInformationByHandleEx(folder, next, buffer, sizeof(buffer))) {
    next = further;
    for (const char* at = buffer;;) {
      const auto* record = reinterpret_cast<const Record*>(at);
      visit(*record, std::wstring(record->FileName, record->FileNameLength / sizeof(wchar_t)));
      if (record->NextEntryOffset == 0) break;
      at += record->NextEntryOffset;
    }
  }
  const DWORD error = ::GetLastError();
  return error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND;
}

bool ListEntries(HANDLE folder, std::vector<ListedEntry>& entries) {
  return ForEachRecord<FILE_FULL_DIR_INFO>(
      folder, FileFullDirectoryRestartInfo, FileFullDirectoryInfo,
      [&](const FILE_FULL_DIR_INFO& record, std::wstring name) {
        if (name != L"." && name != L"..") {
          entries.push_back({std::move(name), record.FileAttributes});
        }
      });
}

bool AreSameName(const std::wstring& a, const std::wstring& b) {
  return ::CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

bool IsPathIn(std::wstring folder, const std::wstring& name, const std::wstring& entry) {
  if (folder.empty()) return false;
  if (folder.back() != L'\\') folder += L'\\';
  return AreSameName(folder + name, entry);
}

// The identifier of an open entry on its volume; kNoIdentifier when it has none.
std::uint64_t IdentifierOf(HANDLE entry) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!::GetFileInformationByHandle(entry, &info)) return kNoIdentifier;
  return (std::uint64_t{info.nFileIndexHigh} << 32) | info.nFileIndexLow;
}

// Whether an open folder lists the identifier of an opened entry once, under that name or with that
// short name. A link and its target can be listed with the same.
bool IsListedAs(HANDLE folder, const std::wstring& name, HANDLE entry, DWORD attributes) {
  const std::uint64_t identifier = IdentifierOf(entry);
  bool listed = false;
  int records = 0;
  const bool whole = ForEachRecord<FILE_ID_BOTH_DIR_INFO>(
      folder, FileIdBothDirectoryRestartInfo, FileIdBothDirectoryInfo,
      [&](const FILE_ID_BOTH_DIR_INFO& record, const std::wstring& found) {
        if (static_cast<std::uint64_t>(record.FileId.QuadPart) != identifier) return;
        ++records;
        const std::wstring short_name(
            record.ShortName, static_cast<std::size_t>(record.ShortNameLength) / sizeof(wchar_t));
        listed = (AreSameName(found, name) || AreSameName(short_name, name)) &&
                 IsLink(record.FileAttributes) == IsLink(attributes);
      });
  return whole && listed && records == 1 && identifier != kNoIdentifier && identifier != kTooWide;
}

// Whether an opened entry is the one that its folder holds under that name. Some file systems open
// the target of a link although the link itself was asked for; the opened name then tells. Of two
// handles one can be told by the short names by which it was opened, and the other not: their final
// paths tell. The identifiers that a folder lists count where no paths can be had, or where the
// entry is told by another name of the same folder; never for one told elsewhere, because those
// that open the target list the target's identifier too.
bool IsEntryOf(HANDLE folder, const std::wstring& name, HANDLE entry, DWORD attributes) {
  if (IsPathIn(NameOf(folder), name, NameOf(entry))) return true;
  constexpr DWORD kForm = FILE_NAME_NORMALIZED | VOLUME_NAME_NONE;
  const std::wstring final_folder = FinalPathText(folder, kForm);
  const std::wstring final_entry = FinalPathText(entry, kForm);
  if (IsPathIn(final_folder, name, final_entry)) return true;
  const std::wstring told = final_entry.substr(final_entry.rfind(L'\\') + 1);
  const bool is_told_elsewhere =
      !final_folder.empty() && !final_entry.empty() && !IsPathIn(final_folder, told, final_entry);
  return !is_told_elsewhere && IsListedAs(folder, name, entry, attributes);
}

// Deletes what the handle stands for once it is closed; on a current Windows at once, whoever else
// has it open, and read-only or not. Other file systems know the older request alone, which a
// read-only bit stops.
bool DeleteOpened(HANDLE entry, DWORD attributes) {
  FILE_DISPOSITION_INFO_EX now{};
  now.Flags = FILE_DISPOSITION_FLAG_DELETE | FILE_DISPOSITION_FLAG_POSIX_SEMANTICS |
              FILE_DISPOSITION_FLAG_IGNORE_READONLY_ATTRIBUTE;
  if (::SetFileInformationByHandle(entry, kDispositionEx, &now, sizeof(now))) return true;
  const DWORD error = ::GetLastError();
  const bool read_only = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  const bool is_unknown = error == ERROR_INVALID_PARAMETER || error == ERROR_NOT_SUPPORTED ||
                          error == ERROR_INVALID_FUNCTION || error == ERROR_INVALID_LEVEL;
  // Some take the request and heed the read-only bit all the same.
  const bool is_stopped_by_bit = read_only && error == ERROR_ACCESS_DENIED;
  if (!is_unknown && !is_stopped_by_bit) return false;
  FILE_BASIC_INFO basic{};  // zero times are left as they are
  basic.FileAttributes = attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
  if (basic.FileAttributes == 0) basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  if (read_only && !::SetFileInformationByHandle(entry, FileBasicInfo, &basic, sizeof(basic))) {
    return false;
  }
  FILE_DISPOSITION_INFO on_close{};
  on_close.DeleteFile = TRUE;
  if (::SetFileInformationByHandle(entry, FileDispositionInfo, &on_close, sizeof(on_close))) {
    return true;
  }
  if (read_only) {  // what could not be deleted stays as it was
    basic.FileAttributes = attributes;
    ::SetFileInformationByHandle(entry, FileBasicInfo, &basic, sizeof(basic));
  }
  return false;
}

bool RemoveIn(HANDLE folder, const std::wstring& name, std::optional<DWORD> listed) {
  KernelHandle entry;
  const NTSTATUS status = OpenForDeletion(folder, name, entry);
  if (status < 0) return status == kNoSuchFile || status == kNameNotFound;

  const std::optional<DWORD> attributes = AttributesOf(entry.Get());
  if (!attributes || !IsEntryOf(folder, name, entry.Get(), *attributes)) return false;
  if (listed && IsLink(*listed) != IsLink(*attributes)) return false;

  if (IsPlainFolder(*attributes)) {
    std::vector<ListedEntry> entries;
    if (!ListEntries(entry.Get(), entries)) return false;
    for (const ListedEntry& child : entries) {
      if (!RemoveIn(entry.Get(), child.name, child.attributes)) return false;
    }
  }
  return DeleteOpened(entry.Get(), *attributes);
}

}  // namespace

bool RemoveWithoutFollowing(const Path& path) {
  const Path parent = path.has_parent_path() ? path.parent_path() : Path(L".");
  const std::wstring text = Win32Text(parent);
  KernelHandle folder;
  DWORD error = 0;
  // Listing needs a right of its own, which is not needed to delete what the folder holds.
  for (const int access : {FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY, FILE_READ_ATTRIBUTES}) {
    folder =
        KernelHandle(::CreateFileW(text.c_str(), static_cast<DWORD>(access), kShareAll, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    error = folder ? 0 : ::GetLastError();
    if (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) break;
  }
  if (!folder) return IsNotFound(error);
  const std::optional<DWORD> attributes = AttributesOf(folder.Get());
  if (!attributes) return false;
  if ((*attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return true;  // nothing is below a file
  return path.has_filename() && RemoveIn(folder.Get(), path.filename().native(), std::nullopt);
}

}  // namespace k7k
