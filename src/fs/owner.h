// Owner: a move-only holder of one operating-system handle, closed exactly once.
#pragma once

#include <utility>

namespace k7k {

// Traits say what the handle is: `Value`, `Invalid()` (the value that stands for "none", which
// differs between kinds of handles) and `Close(Value)`.
template <class Traits>
class Owner {
 public:
  using Value = typename Traits::Value;

  Owner() = default;
  explicit Owner(Value value) : value_(value) {}
  ~Owner() { Reset(); }

  Owner(Owner&& other) noexcept : value_(other.Release()) {}
  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) {
      Reset();
      value_ = other.Release();
    }
    return *this;
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  explicit operator bool() const { return value_ != Traits::Invalid(); }
  Value Get() const { return value_; }

  // Gives the handle away: the caller closes it.
  Value Release() { return std::exchange(value_, Traits::Invalid()); }

  // For a call that stores a handle through a pointer. What was held is closed first.
  Value* Receive() {
    Reset();
    return &value_;
  }

 private:
  void Reset() {
    if (*this) Traits::Close(Release());
  }

  Value value_ = Traits::Invalid();
};

}  // namespace k7k
