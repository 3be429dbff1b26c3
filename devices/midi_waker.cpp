#include "devices/midi_waker.h"

#include <cerrno>

namespace vantaro {

MidiWaker::MidiWaker(RingWake wake) : wake_(wake) {
  sem_init(&semaphore_, 0, 0);
  thread_ = std::thread([this] { Run(); });
}

MidiWaker::~MidiWaker() {
  stopping_.store(true, std::memory_order_release);
  sem_post(&semaphore_);
  thread_.join();
  sem_destroy(&semaphore_);
}

void MidiWaker::Signal() {
  if (pending_.exchange(true, std::memory_order_acq_rel)) return;
  sem_post(&semaphore_);
}

void MidiWaker::Run() {
  for (;;) {
    while (sem_wait(&semaphore_) != 0 && errno == EINTR) {
    }
    if (stopping_.load(std::memory_order_acquire)) return;
    pending_.store(false, std::memory_order_release);
    if (wake_) wake_(kMidiEventId);
  }
}

}  // namespace vantaro
