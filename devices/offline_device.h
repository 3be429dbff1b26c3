#pragma once
// OfflineDevice: a sound-card stand-in that pulls RenderDeviceBlock in
// blocks, exactly as a device's callback thread would, and hands each block
// to a sink (memory, for tests and benchmarks). The real device layer calls
// the same routine and converts as FloatToDevice16 does.
//
// Threads: Run blocks the calling thread for the whole render; each render
// call runs inside a RealtimeScope, so a callback that allocates or locks
// aborts in checked builds.

#include <cstdint>
#include <functional>
#include <vector>

namespace vantaro {

class AudioRenderer;

// Receives one device block: `frames` frames of `channels` floats.
using DeviceBlockSink = std::function<void(const float* block, int frames, int channels)>;

class OfflineDevice {
 public:
  // `blockFrames` is the device's period (at most AudioRenderer::kBufferFrames
  // is served in one call).
  OfflineDevice(AudioRenderer& renderer, int blockFrames, int channels);

  // Pulls `totalFrames` frames in blocks (the last may be shorter). Returns
  // the number of blocks for which the callback answered 0.
  int Run(long totalFrames, const DeviceBlockSink& sink);

  // Convenience: renders into memory, interleaved, `channels` per frame.
  std::vector<float> RenderToMemory(long totalFrames);

  int BlockFrames() const { return blockFrames_; }
  int Channels() const { return channels_; }

 private:
  AudioRenderer& renderer_;
  int blockFrames_;
  int channels_;
  std::vector<float> block_;
};

// The device conversion: float times 32000, rounded, clipped to 16 bits.
std::int16_t FloatToDevice16(float sample);

}  // namespace vantaro
