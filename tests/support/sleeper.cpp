// Stands in for another running program: does nothing until it is ended, or until half a minute has
// passed, in case that the test which started it was ended before.
#include <chrono>
#include <thread>

int main() {
  std::this_thread::sleep_for(std::chrono::seconds(30));
  return 0;
}
