#pragma once
// The audio callback: RenderDeviceBlock produces one interleaved block for
// the first output device from the mix object, and RenderSecondDeviceBlock
// feeds a second (headphone) device from the monitor ring.
//
// Threads: RenderDeviceBlock runs on the first device's callback thread,
// RenderSecondDeviceBlock on the second's. Neither allocates, locks or
// blocks. The steering words (output mode, external mixer, swap, no-audio,
// cue-is-master) and the hook pointers are atomics written by the GUI
// thread; a change takes effect at the next block. Hooks (mix, limiter,
// recorder) are set while no device runs, or swapped atomically; the object
// behind a pointer must outlive every block that can still see it.

#include <atomic>
#include <cstddef>

#include "base/byte_ring.h"

namespace vantaro {

class CEffect;

// What the callback asks of the mix object (CMixer implements it).
class MixRenderer {
 public:
  virtual ~MixRenderer() = default;
  // Normal mode: fills `master` and `monitor` (monitor may be null).
  virtual void RenderMix(float* master, float* monitor, int frames) = 0;
  // External-mixer mode: deck 0 to `deckA`, deck 1 to `deckB`, the other
  // inputs to `others`, the monitor bus to `monitor`.
  virtual void RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                              int frames) = 0;
};

// What the callback asks of the recorder: take the master after the
// limiter. Returns 0 once a write has failed, `frames` otherwise.
class BlockRecorder {
 public:
  virtual ~BlockRecorder() = default;
  virtual int WriteBlock(const float* buffer, int frames) = 0;
};

// Output modes (`audmod`).
enum OutputMode { kOutputNormal = 0, kOutputSplit = 1, kOutputMultichannel = 2 };

class AudioRenderer {
 public:
  static constexpr int kBufferFrames = 8820;                // each working buffer
  static constexpr std::size_t kMonitorRingBytes = 141120;  // 17640 frames

  AudioRenderer();
  AudioRenderer(const AudioRenderer&) = delete;
  AudioRenderer& operator=(const AudioRenderer&) = delete;

  // Fills `out` (`frames` frames of `channels` interleaved floats). Returns
  // `frames`, or 0 when multichannel mode meets a device of fewer than two
  // channels.
  int RenderDeviceBlock(float* out, int frames, int channels);
  // Fills a stereo block for the second device from the monitor ring; leaves
  // `out` as it was when the ring holds less than a block.
  void RenderSecondDeviceBlock(float* out, int frames);

  // Steering words, written by the GUI thread.
  std::atomic<int> outputMode{kOutputNormal};     // audmod
  std::atomic<bool> externalMixer{false};         // extmix
  std::atomic<bool> reverseMasterMonitor{false};  // revmmo
  std::atomic<bool> noAudio{false};               // naudio
  std::atomic<bool> cueIsMaster{false};
  std::atomic<bool> secondDeviceActive{false};
  // Set by the callback when the recorder reports a failure; the screen tick
  // clears it after stopping the recording.
  std::atomic<bool> recorderFailed{false};

  std::atomic<MixRenderer*> mix{nullptr};
  std::atomic<CEffect*> limiter{nullptr};
  std::atomic<BlockRecorder*> recorder{nullptr};

  ByteRing& MonitorRing() { return monitorRing_; }
  // Number of RenderDeviceBlock calls so far (diagnostics, tests).
  long BlocksRendered() const { return blocks_.load(std::memory_order_relaxed); }

 private:
  int RenderChunk(float* out, int frames, int channels);
  void RenderNormal(float* out, int frames, int channels);
  void RenderExternal(float* out, int frames, int channels);

  float masterBuffer_[kBufferFrames * 2] = {};
  float monitorBuffer_[kBufferFrames * 2] = {};
  float deckBBuffer_[kBufferFrames * 2] = {};
  float othersBuffer_[kBufferFrames * 2] = {};
  ByteRing monitorRing_;
  std::atomic<long> blocks_{0};
};

// The program's one renderer, used by the output devices.
AudioRenderer& TheAudioRenderer();

// The callbacks of the first and second output device, on TheAudioRenderer.
int RenderDeviceBlock(float* out, int frames, int channels);
void RenderSecondDeviceBlock(float* out, int frames);

}  // namespace vantaro
