#include "devices/offline_device.h"

#include <algorithm>
#include <cmath>

#include "base/realtime.h"
#include "devices/denormals.h"
#include "engine/audio_render.h"

namespace vantaro {

std::int16_t FloatToDevice16(float sample) {
  const float scaled = std::nearbyint(sample * 32000.0f);
  return static_cast<std::int16_t>(std::clamp(scaled, -32768.0f, 32767.0f));
}

OfflineDevice::OfflineDevice(AudioRenderer& renderer, int blockFrames, int channels)
    : renderer_(renderer),
      blockFrames_(std::max(1, blockFrames)),
      channels_(std::max(1, channels)),
      block_(static_cast<std::size_t>(blockFrames_) * channels_) {}

int OfflineDevice::Run(long totalFrames, const DeviceBlockSink& sink) {
  int refused = 0;
  for (long done = 0; done < totalFrames;) {
    const int frames = static_cast<int>(std::min<long>(blockFrames_, totalFrames - done));
    int answered;
    {
      RealtimeScope realtime;
      FlushDenormalsScope flushDenormals;
      answered = renderer_.RenderDeviceBlock(block_.data(), frames, channels_);
    }
    if (answered == 0) ++refused;
    if (sink) sink(block_.data(), frames, channels_);
    done += frames;
  }
  return refused;
}

std::vector<float> OfflineDevice::RenderToMemory(long totalFrames) {
  std::vector<float> out;
  out.reserve(static_cast<std::size_t>(totalFrames) * channels_);
  Run(totalFrames, [&out](const float* block, int frames, int channels) {
    out.insert(out.end(), block, block + static_cast<std::size_t>(frames) * channels);
  });
  return out;
}

}  // namespace vantaro
