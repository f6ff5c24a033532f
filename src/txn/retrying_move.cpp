#include "txn/retrying_move.h"

namespace k7k {

int RetryingMove(const Path& from, const Path& to) {
  constexpr int kAttempts = 20;
  constexpr std::chrono::milliseconds kBetweenAttempts(25);
  for (int attempt = 1;; ++attempt) {
    const int error = CurrentDisk().Move(from, to);
    if (error == 0 || attempt == kAttempts) return error;
    CurrentDisk().Pause(kBetweenAttempts);
  }
}

}  // namespace k7k
