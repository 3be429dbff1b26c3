#pragma once
// CAudioSignalSource: the one contract through which all audio moves. A
// source fills blocks of 44100 Hz interleaved stereo floats when pulled.
//
// Threads: Render, Render16 and SyncPhase run on the audio thread only and
// must not allocate, lock or block. The getters may be read from any thread;
// they answer plain words that can be a block stale.

#include <cstdint>

namespace vantaro {

constexpr int kSampleRate = 44100;  // frames per second, everywhere inside

class CAudioSignalSource {
 public:
  virtual ~CAudioSignalSource() = default;
  // Overwrites `frames` stereo frames of `buffer` with the next block.
  virtual void Render(float* buffer, int frames) = 0;
  // The same into signed 16-bit interleaved samples.
  virtual void Render16(std::int16_t* buffer, int frames) = 0;
  // Tempo at the current position in BPM; 0 when unknown.
  virtual float GetBPM() = 0;
  // Play position in frames.
  virtual std::int32_t GetPosition() = 0;
  // Length in frames.
  virtual std::int32_t GetLength() = 0;
  // Called with 0, 1 and 2 before every block, all inputs seeing a phase
  // before any sees the next: 0 refreshes the beat phase, 1 locks to
  // another source's fresh phase.
  virtual void SyncPhase(int phase) = 0;
};

}  // namespace vantaro
