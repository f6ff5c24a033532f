#include <string_view>

#include "app/dispatch.h"

int main(int argument_count, char** arguments) {
  // Widened byte by byte: the commands are ASCII, and any other byte must match none of them,
  // whatever its encoding. The folder keeps its bytes as they are.
  const std::string_view word = argument_count > 1 ? arguments[1] : "";
  std::wstring wide;
  for (const char byte : word) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return k7k::Dispatch(argument_count, wide, argument_count > 2 ? arguments[2] : "");
}
