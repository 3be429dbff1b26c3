#include "tests/devices/test_mix.h"

#include <cmath>
#include <cstring>
#include <fstream>

#include "tests/support/test_support.h"

namespace vantaro::test {
namespace {

void RenderTone(float* out, int frames, const ToneMix::Tone& tone, double& phase) {
  if (!out) return;
  const double step = tone.hz / 44100.0;
  for (int i = 0; i < frames; ++i) {
    const float value = static_cast<float>(std::sin(2 * M_PI * phase));
    out[i * 2] = value * tone.left;
    out[i * 2 + 1] = value * tone.right;
    phase += step;
    if (phase >= 1.0) phase -= 1.0;
  }
}

void Silence(float* out, int frames) {
  if (out) std::memset(out, 0, sizeof(float) * 2 * static_cast<std::size_t>(frames));
}

}  // namespace

void ToneMix::RenderMix(float* master, float* monitor, int frames) {
  RenderTone(master, frames, master_, masterPhase_);
  RenderTone(monitor, frames, monitor_, monitorPhase_);
}

void ToneMix::RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                             int frames) {
  RenderMix(deckA, monitor, frames);
  Silence(deckB, frames);
  Silence(others, frames);
}

void SamplePlayerMix::RenderMix(float* master, float* monitor, int frames) {
  const std::size_t total = samples_.size() / 2;
  for (int i = 0; i < frames; ++i) {
    master[i * 2] = total ? samples_[position_ * 2] : 0.0f;
    master[i * 2 + 1] = total ? samples_[position_ * 2 + 1] : 0.0f;
    if (total && ++position_ >= total) position_ = 0;
  }
  Silence(monitor, frames);
}

void SamplePlayerMix::RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                                     int frames) {
  RenderMix(deckA, monitor, frames);
  Silence(deckB, frames);
  Silence(others, frames);
}

void BlockNumberMix::RenderMix(float* master, float* monitor, int frames) {
  const float value = static_cast<float>(blocks_.fetch_add(1) % 128) / 256.0f;
  for (int i = 0; i < frames * 2; ++i) {
    master[i] = value;
    if (monitor) monitor[i] = value;
  }
}

void BlockNumberMix::RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                                    int frames) {
  RenderMix(deckA, monitor, frames);
  Silence(deckB, frames);
  Silence(others, frames);
}

std::vector<float> MakeToneWithSox(const std::string& folder, double hz, double seconds,
                                   double level) {
  const std::string path = folder + "/tone.f32";
  const std::string command = "sox -q -n -r 44100 -c 2 -e floating-point -b 32 -t raw '" + path +
                              "' synth " + std::to_string(seconds) + " sine " + std::to_string(hz) +
                              " vol " + std::to_string(level);
  if (RunCommand(command) != 0) return {};
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const std::streamsize bytes = in.tellg();
  if (bytes <= 0) return {};
  std::vector<float> samples(static_cast<std::size_t>(bytes) / sizeof(float));
  in.seekg(0);
  in.read(reinterpret_cast<char*>(samples.data()),
          static_cast<std::streamsize>(samples.size() * sizeof(float)));
  return samples;
}

}  // namespace vantaro::test
