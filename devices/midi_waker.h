#pragma once
// MidiWaker: wakes the GUI thread's MIDI drain for input callbacks that may
// not post the event themselves (a real-time thread must not allocate, and
// posting a toolkit event does). The callback's Signal sets a flag and posts
// a semaphore; the waker's own thread (normal priority) calls the ring's
// wake-up function. One wake-up per burst: Signal posts only when the flag
// was clear, and the thread clears it before it wakes the GUI.
//
// Threads: Signal from any thread, real-time safe (an atomic exchange and
// sem_post); construction and destruction on the GUI thread.

#include <semaphore.h>

#include <atomic>
#include <thread>

#include "control/gui_sync.h"
#include "devices/midi_input.h"

namespace vantaro {

class MidiWaker final : public MidiWake {
 public:
  explicit MidiWaker(RingWake wake);
  ~MidiWaker() override;
  MidiWaker(const MidiWaker&) = delete;
  MidiWaker& operator=(const MidiWaker&) = delete;

  void Signal() override;

 private:
  void Run();

  RingWake wake_;
  sem_t semaphore_;
  std::atomic<bool> pending_{false};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace vantaro
