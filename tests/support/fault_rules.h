// Rules for FaultDisk: which calls of a transaction fail, and what happens behind its back.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/fault_disk.h"

namespace k7k::test {

using Rule = std::function<bool(const DiskCall&)>;

inline constexpr std::wstring_view kPrivatePrefix = L".k7k-obs-audio.";

// Whether a path has a private name, of any tag or of that one.
inline bool IsPrivate(const Path& path) {
  return path.filename().wstring().starts_with(kPrivatePrefix);
}

inline bool IsPrivate(const Path& path, std::wstring_view tag) {
  const std::wstring prefix = std::wstring(kPrivatePrefix).append(tag) + L".";
  return path.filename().wstring().starts_with(prefix);
}

inline bool IsAtOrBelow(const Path& path, const Path& root) {
  auto part = path.begin();
  for (const Path& of_root : root) {
    if (part == path.end() || *part++ != of_root) return false;
  }
  return true;
}

// Rules: a call fails when ...
inline Rule MovesTo(const wchar_t* tag) {
  return [=](const DiskCall& call) { return call.call == Call::Move && IsPrivate(call.to, tag); };
}

inline Rule MovesFrom(const wchar_t* tag) {
  return [=](const DiskCall& call) { return call.call == Call::Move && IsPrivate(call.path, tag); };
}

inline Rule On(Call kind, const Path& path) {
  return [=](const DiskCall& call) { return call.call == kind && call.path == path; };
}

inline Rule OnPrivate(Call kind, const wchar_t* tag) {
  return [=](const DiskCall& call) { return call.call == kind && IsPrivate(call.path, tag); };
}

// A removal of anything at or below a private name with that tag.
inline Rule RemovesPrivate(const wchar_t* tag) {
  return [=](const DiskCall& call) {
    if (call.call != Call::Remove) return false;
    for (Path path = call.path; path.has_relative_path(); path = path.parent_path()) {
      if (IsPrivate(path, tag)) return true;
    }
    return false;
  };
}

inline Rule Either(Rule a, Rule b) {
  return [=](const DiskCall& call) { return a(call) || b(call); };
}

// The first `count` calls that the rule means.
inline Rule First(int count, Rule rule) {
  return [=](const DiskCall& call) mutable { return rule(call) && count-- > 0; };
}

// Not a failure: runs an action before the first call that the rule means.
template <class Action>
Rule Before(Rule rule, Action action) {
  return [=, done = false](const DiskCall& call) mutable {
    if (!done && rule(call)) {
      done = true;
      action(call.path);
    }
    return false;
  };
}

// Writes a file behind the engine's back. Its folder must exist.
inline void Plant(const Path& path, std::string_view content) {
  const auto stream = NativeDisk().OpenOutput(path);
  ASSERT_TRUE(stream) << path;
  stream->write(content.data(), static_cast<std::streamsize>(content.size()));
}

// The moves made so far, as the last names of both ends; private names without process and time.
inline std::vector<std::string> Moves(const FaultDisk& disk) {
  const auto name = [](const Path& path) {
    std::string text = path.filename().generic_string();
    if (IsPrivate(path)) text.resize(text.find('.', kPrivatePrefix.size()));
    return text;
  };
  std::vector<std::string> moves;
  for (const DiskCall& call : disk.calls) {
    if (call.call == Call::Move) moves.push_back(name(call.path) + " > " + name(call.to));
  }
  return moves;
}

// How many calls were about private names.
inline int PrivateCalls(const FaultDisk& disk) {
  int count = 0;
  for (const DiskCall& call : disk.calls) count += IsPrivate(call.path) || IsPrivate(call.to);
  return count;
}

}  // namespace k7k::test
