#include "fuzz/fuzz_target.h"

#include <cstdio>
#include <cstdlib>
#include <map>

namespace k7k::test {

namespace {

std::map<std::string, long, std::less<>>& Outcomes() {
  static std::map<std::string, long, std::less<>> outcomes;
  return outcomes;
}

template <class String>
std::string ShownUnits(const String& text) {
  std::string shown = "\"";
  for (const auto unit : text) {
    const auto number = static_cast<unsigned long>(
        static_cast<std::make_unsigned_t<typename String::value_type>>(unit));
    char buffer[16];
    const bool plain = number >= 0x20 && number < 0x7f;
    std::snprintf(buffer, sizeof(buffer), plain ? "%c" : "<%x>", static_cast<unsigned>(number));
    shown += buffer;
  }
  return shown + "\"";
}

}  // namespace

Text TextFromBytes(std::string_view bytes) {
  if constexpr (sizeof(Text::value_type) == 1) {
    return Text(bytes.begin(), bytes.end());
  } else {
    Text text;
    const auto unsigned_at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      unsigned unit = unsigned_at(i);
      if (unit >= 0x80 && i + 2 < bytes.size()) {
        unit = unsigned_at(i + 1) | unsigned_at(i + 2) * 0x100U;
        i += 2;
      }
      text += static_cast<Text::value_type>(unit);
    }
    return text;
  }
}

std::vector<Text> SplitAtZero(const Text& text) {
  std::vector<Text> pieces(1);
  for (const Text::value_type unit : text) {
    if (unit == 0) {
      pieces.emplace_back();
    } else {
      pieces.back() += unit;
    }
  }
  return pieces;
}

std::string Shown(const Text& text) { return ShownUnits(text); }
std::string Shown(std::wstring_view text) { return ShownUnits(text); }

void Disagree(const std::string& what) {
  std::fprintf(stderr, "fuzz: the engine disagrees\n%s\n", what.c_str());
  std::fflush(stderr);
  std::abort();
}

void CountOutcome(std::string_view outcome) {
  const auto found = Outcomes().find(outcome);
  if (found != Outcomes().end()) {
    ++found->second;
  } else {
    Outcomes().emplace(outcome, 1);
  }
}

long OutcomeCount(std::string_view outcome) {
  const auto found = Outcomes().find(outcome);
  return found == Outcomes().end() ? 0 : found->second;
}

}  // namespace k7k::test
