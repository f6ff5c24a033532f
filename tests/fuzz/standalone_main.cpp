// Runs a fuzz target without a fuzzer: every file of a corpus, then random mutations of them, the
// same in every run with the same seed.
//
//   program CORPUS-FOLDER MUTATIONS [SEED]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/fuzz_target.h"
#include "fuzz/random.h"

namespace k7k::test {

namespace {

using Corpus = std::vector<std::string>;

Corpus ReadCorpus(const Path& folder) {
  std::vector<Path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  Corpus corpus;
  for (const Path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    corpus.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  return corpus;
}

struct Range {
  std::size_t at;
  std::size_t count;
};

Range SomeRange(Random& random, const std::string& text) {
  const std::size_t at = random.Below(text.size() + 1);
  return {at, random.Below(std::min<std::size_t>(text.size() - at, 80) + 1)};
}

// A byte that means something to some reader, more often than any other.
char SomeByte(Random& random) {
  static constexpr char kMeaningful[] = "\0\n\r\t /\\.:-=\x1a\x7f\x80\xef\xff";
  return random.OneIn(2) ? kMeaningful[random.Below(sizeof(kMeaningful) - 1)] : random.Byte();
}

void Mutate(Random& random, const Corpus& corpus, std::string& text) {
  const auto [at, count] = SomeRange(random, text);
  switch (random.Below(8)) {
    case 0:
      if (at < text.size()) text[at] = static_cast<char>(text[at] ^ 1 << random.Below(8));
      return;
    case 1:
      if (at < text.size()) text[at] = SomeByte(random);
      return;
    case 2:
      text.insert(at, 1, SomeByte(random));
      return;
    case 3:
      text.erase(at, 1 + random.Below(3));
      return;
    case 4:
      text.erase(at, count);
      return;
    case 5:
      text.insert(random.Below(text.size() + 1), text.substr(at, count));
      return;
    case 6: {  // the range changes places with what follows it
      const std::size_t more = random.Below(text.size() - at - count + 1);
      const auto begin = text.begin() + static_cast<std::ptrdiff_t>(at);
      std::rotate(begin, begin + static_cast<std::ptrdiff_t>(count),
                  begin + static_cast<std::ptrdiff_t>(count + more));
      return;
    }
    default: {
      const std::string& other = random.From(corpus);
      const auto [from, length] = SomeRange(random, other);
      text.replace(at, count, other, from, length);
    }
  }
}

void Run(const std::string& input) {
  // A copy of its own size, so that a sanitizer sees a read beyond it.
  const std::vector<unsigned char> exact(input.begin(), input.end());
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

int RunAll(const Path& folder, long mutations, unsigned long seed) {
  const Corpus corpus = ReadCorpus(folder);
  if (corpus.empty()) {
    std::fprintf(stderr, "fuzz: no corpus in %s\n", folder.string().c_str());
    return 2;
  }
  for (const std::string& input : corpus) Run(input);
  Random random(seed);
  for (long i = 0; i < mutations; ++i) {
    std::string input = random.From(corpus);
    do {
      Mutate(random, corpus, input);
    } while (!random.OneIn(3));
    Run(input);
  }

  bool all_met = true;
  std::printf("fuzz: target=%s executions=%ld", folder.filename().string().c_str(),
              static_cast<long>(corpus.size()) + mutations);
  for (const std::string& outcome : OutcomesOfTarget()) {
    std::printf(" \"%s\"=%ld", outcome.c_str(), OutcomeCount(outcome));
    all_met = all_met && OutcomeCount(outcome) > 0;
  }
  std::printf("\n");
  if (!all_met) std::fprintf(stderr, "fuzz: an outcome was never met\n");
  return all_met ? 0 : 1;
}

}  // namespace

}  // namespace k7k::test

int main(int argument_count, char** arguments) {
  if (argument_count < 3) {
    std::fprintf(stderr, "usage: %s CORPUS-FOLDER MUTATIONS [SEED]\n", arguments[0]);
    return 2;
  }
  const unsigned long seed = argument_count > 3 ? std::strtoul(arguments[3], nullptr, 10) : 1;
  return k7k::test::RunAll(arguments[1], std::strtol(arguments[2], nullptr, 10), seed);
}
