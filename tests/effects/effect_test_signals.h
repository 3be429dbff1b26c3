#pragma once
// Signals and measurements shared by the effect tests.

#include <cmath>
#include <vector>

namespace vantaro::test {

// `frames` interleaved stereo frames of a sine of `hz` at `amplitude`.
inline std::vector<float> StereoSine(double hz, int frames, float amplitude = 0.5f) {
  std::vector<float> out(static_cast<size_t>(frames) * 2);
  for (int i = 0; i < frames; ++i) {
    const float v = static_cast<float>(amplitude * std::sin(2.0 * M_PI * hz * i / 44100.0));
    out[i * 2] = v;
    out[i * 2 + 1] = v;
  }
  return out;
}

// Frames [from, to) of an interleaved stereo buffer.
inline std::vector<float> FrameRange(const std::vector<float>& in, int from, int to) {
  return std::vector<float>(in.begin() + from * 2, in.begin() + to * 2);
}

inline double ToDb(double ratio) {
  return 20.0 * std::log10(ratio);
}

}  // namespace vantaro::test
