// What the fuzz targets share. A target is one function that gives one input to the engine and
// holds the answer against one that it worked out by itself. The same function runs under libFuzzer
// and under the standalone driver.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fs/disk.h"

namespace k7k::test {

using Text = Path::string_type;  // as the platform spells a path

// An input's bytes as text. Where a text is made of 16-bit units, a byte below 0x80 stands for
// itself and any other is followed by the two bytes of one unit, low byte first, so that every unit
// can occur.
Text TextFromBytes(std::string_view bytes);

// The pieces between zero units: no path and no argument can hold one.
std::vector<Text> SplitAtZero(const Text& text);

// For messages: what is not printable ASCII as a number.
std::string Shown(const Text& text);
std::string Shown(std::wstring_view text);

// Ends the run: the engine's answer is not the expected one.
[[noreturn]] void Disagree(const std::string& what);

// Notes that an input came out this way.
void CountOutcome(std::string_view outcome);
long OutcomeCount(std::string_view outcome);

// The outcomes of a target; each target defines it. A run that does not meet all of them tests less
// than it says, and the standalone driver fails it.
std::vector<std::string> OutcomesOfTarget();

}  // namespace k7k::test

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
