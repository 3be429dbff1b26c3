#include "app/signal_watcher.h"

#include <pthread.h>
#include <signal.h>

#include <thread>

namespace vantaro {
namespace {

// SIGUSR1 is the watcher's own stop request.
sigset_t WatchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGUSR1);
  return set;
}

std::thread& Watcher() {
  static std::thread watcher;
  return watcher;
}

}  // namespace

void BlockCloseSignals() {
  sigset_t set = WatchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void StartSignalWatcher(std::function<void(int)> onSignal) {
  Watcher() = std::thread([onSignal = std::move(onSignal)] {
    const sigset_t set = WatchedSignals();
    for (;;) {
      int signal = 0;
      if (sigwait(&set, &signal) != 0) continue;
      if (signal == SIGUSR1) return;
      onSignal(signal);
    }
  });
}

void StopSignalWatcher() {
  if (!Watcher().joinable()) return;
  pthread_kill(Watcher().native_handle(), SIGUSR1);
  Watcher().join();
}

}  // namespace vantaro
