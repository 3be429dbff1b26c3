#include "engine/audio_render.h"

#include <algorithm>
#include <cstring>

#include "effects/effect.h"

namespace vantaro {
namespace {

// Writes stereo `buffer` to device channels 2*pair and 2*pair+1.
void WritePair(float* out, int frames, int channels, int pair, const float* buffer) {
  const int left = pair * 2;
  if (left + 1 >= channels) return;
  for (int i = 0; i < frames; ++i) {
    out[i * channels + left] = buffer[i * 2];
    out[i * channels + left + 1] = buffer[i * 2 + 1];
  }
}

// Writes the mono sum (left + right) * 0.5 of `buffer` to one device channel.
void WriteMono(float* out, int frames, int channels, int channel, const float* buffer) {
  if (channel >= channels) return;
  for (int i = 0; i < frames; ++i)
    out[i * channels + channel] = (buffer[i * 2] + buffer[i * 2 + 1]) * 0.5f;
}

void ZeroChannels(float* out, int frames, int channels, int first, int last) {
  for (int i = 0; i < frames; ++i)
    for (int c = first; c <= last && c < channels; ++c) out[i * channels + c] = 0.0f;
}

}  // namespace

AudioRenderer::AudioRenderer() : monitorRing_(kMonitorRingBytes) {}

int AudioRenderer::RenderDeviceBlock(float* out, int frames, int channels) {
  if (frames <= 0 || channels <= 0) return frames;
  // The device layer never asks for more than the working buffers hold; a
  // larger request is served in buffer-sized chunks rather than refused.
  int done = 0;
  while (done < frames) {
    const int chunk = std::min(frames - done, kBufferFrames);
    if (RenderChunk(out + static_cast<std::size_t>(done) * channels, chunk, channels) == 0)
      return 0;
    done += chunk;
  }
  blocks_.fetch_add(1, std::memory_order_relaxed);
  return frames;
}

int AudioRenderer::RenderChunk(float* out, int frames, int channels) {
  std::memset(out, 0, sizeof(float) * static_cast<std::size_t>(frames) * channels);
  if (outputMode.load(std::memory_order_relaxed) == kOutputMultichannel && channels < 2) return 0;
  if (externalMixer.load(std::memory_order_relaxed))
    RenderExternal(out, frames, channels);
  else
    RenderNormal(out, frames, channels);
  // No-audio silences only the device: meters, recording and positions have
  // moved on above.
  if (noAudio.load(std::memory_order_relaxed))
    std::memset(out, 0, sizeof(float) * static_cast<std::size_t>(frames) * channels);
  return frames;
}

void AudioRenderer::RenderNormal(float* out, int frames, int channels) {
  const bool swap = reverseMasterMonitor.load(std::memory_order_relaxed);
  float* masterDest = swap ? monitorBuffer_ : masterBuffer_;
  float* monitorDest = swap ? masterBuffer_ : monitorBuffer_;
  if (MixRenderer* mixer = mix.load(std::memory_order_acquire))
    mixer->RenderMix(masterDest, monitorDest, frames);
  // The limiter and the recorder follow the master wherever the swap put it,
  // so a recording is always of the master.
  // The limiter is switched by its request (alimit): on and off fade, and
  // while off it costs nothing.
  if (CEffect* limit = limiter.load(std::memory_order_acquire))
    limit->ProcessBlock(masterDest, frames, 0.0f, EffectMix::kFullyWet, true);
  if (BlockRecorder* rec = recorder.load(std::memory_order_acquire)) {
    if (rec->WriteBlock(masterDest, frames) == 0 && !recorderFailed.load())
      recorderFailed.store(true);
  }
  if (cueIsMaster.load(std::memory_order_relaxed))
    std::memcpy(monitorBuffer_, masterBuffer_, sizeof(float) * 2 * frames);
  if (secondDeviceActive.load(std::memory_order_relaxed))
    monitorRing_.Write(monitorBuffer_, sizeof(float) * 2 * frames);

  switch (outputMode.load(std::memory_order_relaxed)) {
    case kOutputNormal:
      if (channels >= 2)
        WritePair(out, frames, channels, 0, masterBuffer_);
      else
        WriteMono(out, frames, channels, 0, masterBuffer_);
      break;
    case kOutputSplit:
      WriteMono(out, frames, channels, 0, masterBuffer_);
      WriteMono(out, frames, channels, 1, monitorBuffer_);
      break;
    case kOutputMultichannel:
      if (channels < 4) break;  // 2 or 3 channels: silence
      WritePair(out, frames, channels, 0, masterBuffer_);
      WritePair(out, frames, channels, 1, monitorBuffer_);
      if (channels >= 6) WritePair(out, frames, channels, 2, monitorBuffer_);
      if (channels >= 8) WritePair(out, frames, channels, 3, monitorBuffer_);
      break;
    default:
      break;
  }
}

void AudioRenderer::RenderExternal(float* out, int frames, int channels) {
  if (MixRenderer* mixer = mix.load(std::memory_order_acquire))
    mixer->RenderExternal(masterBuffer_, deckBBuffer_, othersBuffer_, monitorBuffer_, frames);
  if (secondDeviceActive.load(std::memory_order_relaxed))
    monitorRing_.Write(monitorBuffer_, sizeof(float) * 2 * frames);

  const int mode = outputMode.load(std::memory_order_relaxed);
  if (mode == kOutputNormal || mode == kOutputSplit) {
    WriteMono(out, frames, channels, 0, masterBuffer_);
    WriteMono(out, frames, channels, 1, deckBBuffer_);
    return;
  }
  if (mode != kOutputMultichannel) return;
  // Exact channel counts decide: 9, 11, 2 and 3 channels match no row and
  // stay silent, on purpose.
  const bool fourOrMore = channels == 4 || channels == 5 || channels == 6 || channels == 7 ||
                          channels == 8 || channels == 10 || channels >= 12;
  if (!fourOrMore) return;
  WritePair(out, frames, channels, 0, masterBuffer_);
  WritePair(out, frames, channels, 1, deckBBuffer_);
  if (channels >= 6) WritePair(out, frames, channels, 2, othersBuffer_);
  if (channels >= 8) WritePair(out, frames, channels, 3, monitorBuffer_);
  if (channels == 10) ZeroChannels(out, frames, channels, 8, 9);
  if (channels >= 12) ZeroChannels(out, frames, channels, 8, 11);
}

void AudioRenderer::RenderSecondDeviceBlock(float* out, int frames) {
  const std::size_t bytes = sizeof(float) * 2 * static_cast<std::size_t>(frames);
  monitorRing_.Read(out, bytes);
  // Fallen behind by more than a block: drop one so the delay cannot grow.
  if (monitorRing_.Available() > bytes) monitorRing_.Read(out, bytes);
  if (noAudio.load(std::memory_order_relaxed)) std::memset(out, 0, bytes);
}

AudioRenderer& TheAudioRenderer() {
  static AudioRenderer renderer;
  return renderer;
}

int RenderDeviceBlock(float* out, int frames, int channels) {
  return TheAudioRenderer().RenderDeviceBlock(out, frames, channels);
}

void RenderSecondDeviceBlock(float* out, int frames) {
  TheAudioRenderer().RenderSecondDeviceBlock(out, frames);
}

}  // namespace vantaro
