#pragma once
// Waiting in a test for another thread or process to reach a state.

#include <chrono>
#include <functional>
#include <thread>

namespace vantaro::test {

// Polls `condition` every millisecond; false when it did not hold within
// `limitMs` polls. The limit only stops a broken build from hanging (slow
// sanitizer builds on a loaded machine take long); it is no timing check.
inline bool WaitFor(const std::function<bool()>& condition, int limitMs = 60000) {
  for (int waited = 0; waited < limitMs && !condition(); ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return condition();
}

}  // namespace vantaro::test
