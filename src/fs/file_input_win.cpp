#include "fs/file_input_win.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <streambuf>
#include <utility>

#include "fs/handle_win.h"

namespace k7k {

namespace {

constexpr std::streamsize kMostAtOnce = 65536;  // bytes

class FileInputBuffer : public std::streambuf {
 public:
  explicit FileInputBuffer(KernelHandle file) : file_(std::move(file)) {}

 protected:
  int_type underflow() override {
    const std::streamsize count = Read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    setg(bytes_.data(), bytes_.data(), bytes_.data() + count);
    return count > 0 ? traits_type::to_int_type(bytes_[0]) : traits_type::eof();
  }

  // What the buffer still holds, then the file's own bytes without the way through the buffer.
  std::streamsize xsgetn(char* to, std::streamsize wanted) override {
    const std::streamsize held = std::min<std::streamsize>(wanted, egptr() - gptr());
    std::copy_n(gptr(), held, to);
    gbump(static_cast<int>(held));
    for (std::streamsize done = held;;) {
      const std::streamsize count = done < wanted ? Read(to + done, wanted - done) : 0;
      if (count == 0) return done;
      done += count;
    }
  }

 private:
  // The number of bytes read, 0 at the end of the file.
  std::streamsize Read(char* to, std::streamsize wanted) {
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min(wanted, kMostAtOnce));
    if (!::ReadFile(file_.Get(), to, size, &count, nullptr)) {
      // A buffer has no other word for it: the stream catches this and turns bad, while anything
      // that is returned short is the end of the file to it.
      throw std::ios_base::failure("read error");
    }
    return count;
  }

  KernelHandle file_;
  std::array<char, 4096> bytes_;
};

class FileInput : public std::istream {
 public:
  explicit FileInput(KernelHandle file) : std::istream(nullptr), buffer_(std::move(file)) {
    rdbuf(&buffer_);
  }

 private:
  FileInputBuffer buffer_;
};

}  // namespace

std::unique_ptr<std::istream> OpenFileInput(const std::wstring& text) {
  KernelHandle file(::CreateFileW(text.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return nullptr;
  return std::make_unique<FileInput>(std::move(file));
}

}  // namespace k7k
