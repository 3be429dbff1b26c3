#include "devices/offline_device.h"

#include <algorithm>
#include <cmath>

#include "base/realtime.h"
#include "engine/audio_render.h"

namespace vantaro {
namespace {

void PutLe16(std::FILE* file, std::uint16_t value) {
  const unsigned char bytes[2] = {static_cast<unsigned char>(value & 0xff),
                                  static_cast<unsigned char>(value >> 8)};
  std::fwrite(bytes, 1, 2, file);
}

void PutLe32(std::FILE* file, std::uint32_t value) {
  PutLe16(file, static_cast<std::uint16_t>(value & 0xffff));
  PutLe16(file, static_cast<std::uint16_t>(value >> 16));
}

void WriteWavHeader(std::FILE* file, int channels, std::uint32_t dataBytes) {
  std::fwrite("RIFF", 1, 4, file);
  PutLe32(file, 36 + dataBytes);
  std::fwrite("WAVEfmt ", 1, 8, file);
  PutLe32(file, 16);
  PutLe16(file, 1);  // PCM
  PutLe16(file, static_cast<std::uint16_t>(channels));
  PutLe32(file, 44100);
  PutLe32(file, 44100u * channels * 2);
  PutLe16(file, static_cast<std::uint16_t>(channels * 2));
  PutLe16(file, 16);
  std::fwrite("data", 1, 4, file);
  PutLe32(file, dataBytes);
}

}  // namespace

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

bool OfflineDevice::RenderToWav(long totalFrames, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const auto dataBytes = static_cast<std::uint32_t>(totalFrames * channels_ * 2);
  WriteWavHeader(file, channels_, dataBytes);
  std::vector<std::int16_t> samples;
  Run(totalFrames, [&](const float* block, int frames, int channels) {
    samples.resize(static_cast<std::size_t>(frames) * channels);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = FloatToDevice16(block[i]);
    for (std::int16_t s : samples) PutLe16(file, static_cast<std::uint16_t>(s));
  });
  const bool ok = std::ferror(file) == 0;
  return std::fclose(file) == 0 && ok;
}

}  // namespace vantaro
