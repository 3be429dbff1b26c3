#pragma once
// OfflineDevice: a sound-card stand-in that pulls RenderDeviceBlock in
// blocks, exactly as a device's callback thread would, and hands each block
// to a sink: memory, or a 16-bit WAV file converted as a real device does
// (times 32000, rounded, clipped). Tests and offline renders use it; the
// real device layer calls the same routine.
//
// Threads: Run blocks the calling thread for the whole render; each render
// call runs inside a RealtimeScope, so a callback that allocates or locks
// aborts in checked builds.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
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

  // Renders into a 16-bit PCM WAV at 44100 Hz. Returns false when the file
  // cannot be written.
  bool RenderToWav(long totalFrames, const std::string& path);

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
