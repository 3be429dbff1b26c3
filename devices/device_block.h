#pragma once
// The part of an output device that runs on its callback thread: render one
// block of floats through the device's render callback, then convert it to
// the device's 16-bit samples (times 32000, rounded, clipped). Also the
// timing record of those callbacks.
//
// Threads: OutputBlockFiller::Fill and CallbackTiming::Record run on the
// device's callback thread and never allocate, lock or block. Everything
// else runs on the owning (GUI) thread, or reads counters from any thread.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantaro {

class AudioRenderer;

// Fills `out` with `frames` frames of `channels` interleaved floats. Returns
// the frame count, or 0 when the block is to be played as silence.
using DeviceRenderCallback = int (*)(float* out, int frames, int channels, void* userData);

// The callbacks of slot 0 and slot 1; `userData` is the AudioRenderer.
int RenderFirstDeviceCallback(float* out, int frames, int channels, void* userData);
// Always stereo: `channels` must be 2. Plays silence while the monitor ring
// holds less than a block.
int RenderSecondDeviceCallback(float* out, int frames, int channels, void* userData);

// `count` samples: times 32000, rounded to nearest, clipped to 16 bits. The
// scale is 32000 rather than 32767: a deck's 3e-5 sample scale makes the path
// nearly unity while leaving headroom for the effects.
void ConvertToDevice16(const float* in, std::int16_t* out, std::size_t count);

// Callback durations in microseconds: a histogram of 1 us buckets up to
// kMaxMicros, beyond that one overflow bucket.
class CallbackTiming {
 public:
  static constexpr int kMaxMicros = 20000;
  CallbackTiming();
  void Record(std::int64_t nanoseconds);  // callback thread
  void Reset();                           // while no callback runs
  std::uint64_t Count() const;
  // Sum of the recorded durations in microseconds.
  double TotalMicros() const { return totalNanos_.load(std::memory_order_relaxed) / 1000.0; }
  // Smallest duration (microseconds) that `fraction` (0..1) of the recorded
  // callbacks did not exceed; kMaxMicros + 1 when it lies in the overflow,
  // 0 when nothing was recorded.
  int PercentileMicros(double fraction) const;

 private:
  std::unique_ptr<std::atomic<std::uint32_t>[]> buckets_;  // kMaxMicros + 2
  std::atomic<std::int64_t> totalNanos_{0};
};

class OutputBlockFiller {
 public:
  // `maxFrames` is the largest block rendered in one callback call; larger
  // device requests are served in pieces.
  OutputBlockFiller(DeviceRenderCallback callback, void* userData, int channels, int maxFrames);
  OutputBlockFiller(const OutputBlockFiller&) = delete;
  OutputBlockFiller& operator=(const OutputBlockFiller&) = delete;

  // Renders and converts `frames` frames into `out`. While `stopped` is set,
  // or without a callback, writes silence. Callback thread.
  void Fill(std::int16_t* out, long frames);

  int Channels() const { return channels_; }
  int MaxFrames() const { return maxFrames_; }

  // Set by the GUI thread before the stream is stopped: the callback then
  // plays silence and touches nothing else.
  std::atomic<bool> stopped{false};
  // Diagnostics, written by the callback thread.
  std::atomic<long> callbacks{0};
  std::atomic<long> underflows{0};
  CallbackTiming timing;

 private:
  DeviceRenderCallback callback_;
  void* userData_;
  int channels_;
  int maxFrames_;
  std::unique_ptr<float[]> scratch_;  // maxFrames * channels floats
};

}  // namespace vantaro
