#include "tests/devices/test_mix.h"

#include <cmath>
#include <cstring>

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

void BlockNumberMix::RenderMix(float* master, float* monitor, int frames) {
  const float value = static_cast<float>(blocks_.fetch_add(1) % 128) / 256.0f;
  for (int i = 0; i < frames * 2; ++i) {
    master[i] = value;
    if (monitor) monitor[i] = value;
  }
}

void TestMix::RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                             int frames) {
  RenderMix(deckA, monitor, frames);
  Silence(deckB, frames);
  Silence(others, frames);
}

}  // namespace vantaro::test
