#include "fs/handle_win.h"

namespace k7k {

bool IsNotFound(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_NETNAME_DELETED:
    case ERROR_INVALID_NAME:
    case ERROR_DIRECTORY:
      return true;
    default:
      return false;
  }
}

std::wstring FinalPathText(HANDLE handle, DWORD form) {
  std::wstring text(512, L'\0');
  for (;;) {
    const DWORD length =
        ::GetFinalPathNameByHandleW(handle, text.data(), static_cast<DWORD>(text.size()), form);
    if (length < text.size()) {
      text.resize(length);
      return text;
    }
    text.resize(length);  // the length wanted, the terminator included
  }
}

}  // namespace k7k
