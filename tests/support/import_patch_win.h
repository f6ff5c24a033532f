// Win32 calls that answer as a test wants, for what nothing real brings about.
#pragma once

#include <windows.h>

#include <optional>
#include <utility>

namespace k7k::test {

// Has the running program's calls of a function that it imports go to another one. Gives the one
// that they went to before. Calls from other modules stay as they are: the C runtime's too
// where it is a DLL, while a runtime that is linked in calls through the same table.
void* ExchangeImport(const char* name, void* function);

// A function as GetProcAddress gives it.
template <class Function>
FARPROC LookedUp(Function* function) {
  // By way of void*: a direct cast between function types is a warning.
  return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

// While it lives, calls of a Win32 function come to `fake`, which is given the function in whose
// place it stands and then what the call was given:
//
//   const ImportPatch<decltype(::ReadFile)> patch("ReadFile", [](auto real, auto... given) {...});
template <class Function>
class ImportPatch;

template <class Result, class... Given>
class ImportPatch<Result(Given...)> {
 public:
  template <class Fake>
  ImportPatch(const char* name, Fake fake) : name_(name) {
    static std::optional<Fake> fake_in_use;  // every lambda is a type of its own
    static Result (*replaced)(Given...);
    fake_in_use.emplace(std::move(fake));
    Result (*const call)(Given...) = [](Given... given) {
      return (*fake_in_use)(replaced, given...);
    };
    previous_ = ExchangeImport(name, reinterpret_cast<void*>(call));
    replaced = reinterpret_cast<Result (*)(Given...)>(previous_);
  }
  ~ImportPatch() { ExchangeImport(name_, previous_); }
  ImportPatch(const ImportPatch&) = delete;
  ImportPatch& operator=(const ImportPatch&) = delete;

 private:
  const char* name_;
  void* previous_;
};

}  // namespace k7k::test
