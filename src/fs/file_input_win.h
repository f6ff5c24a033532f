// Reading of files on Windows. The standard library's file streams do not serve: they share no
// deletion, so that they cannot open a file that a virus scanner has open with the right to delete
// it; and some take a failed read for the end of the file.
#pragma once

#include <istream>
#include <memory>
#include <string>

namespace k7k {

// Opens a file for binary reading by its Win32 text. Null when it cannot be opened, and for a
// folder. Others may read, write, move and delete the file meanwhile. A failed read makes the
// stream bad and is no end of the file.
std::unique_ptr<std::istream> OpenFileInput(const std::wstring& text);

}  // namespace k7k
