#include "codecs/sample_convert.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace vantaro {

static_assert(std::endian::native == std::endian::little,
              "the codec layer assumes a little-endian host");

void SwapSampleBytes(uint8_t* data, int64_t count, int bytes) {
  if (bytes < 2 || bytes > 8) return;
  for (int64_t i = 0; i < count; ++i) std::reverse(data + i * bytes, data + (i + 1) * bytes);
}

float Int24ToFloat(const uint8_t* p) {
  int32_t v =
      static_cast<int32_t>(static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                           (static_cast<uint32_t>(p[2]) << 16));
  if (v & 0x800000) v -= 0x1000000;
  return static_cast<float>(v) * (1.0f / 8388608.0f);
}

bool CanWidenToFloat(int bytes, bool isFloat) {
  return isFloat ? (bytes == 4 || bytes == 8) : (bytes >= 1 && bytes <= 8);
}

namespace {

constexpr double kInt32Scale = 1.0 / 2147483648.0;

void StoreFloat(uint8_t* data, int64_t index, float value) {
  std::memcpy(data + index * 4, &value, 4);
}

float FiniteSample(double v) {
  if (!std::isfinite(v)) return 0.0f;
  return static_cast<float>(std::clamp(v, double{-kLargestSample}, double{kLargestSample}));
}

// Widens `count` samples of type T to floats in place, a block at a time from
// the end: each block is copied out before its floats are stored, and every
// stored float lands on source bytes whose blocks were already copied, so
// the loops run without aliasing (and vectorise).
template <typename T, typename Convert>
void WidenBlocksBackwards(uint8_t* data, int64_t count, Convert convert) {
  constexpr int64_t kBlock = 1024;
  T source[kBlock];
  float widened[kBlock];
  for (int64_t end = count; end > 0; end -= kBlock) {
    const int64_t begin = end > kBlock ? end - kBlock : 0;
    const int64_t n = end - begin;
    std::memcpy(source, data + begin * sizeof(T), static_cast<size_t>(n) * sizeof(T));
    for (int64_t i = 0; i < n; ++i) widened[i] = convert(source[i]);
    std::memcpy(data + begin * 4, widened, static_cast<size_t>(n) * 4);
  }
}

// Samples wider than their float narrow in place from the first to the last:
// sample i is read whole before its float is stored at 4 * i, and later
// samples start at bytes * i or beyond, past every float stored so far.
void NarrowForwards(uint8_t* data, int64_t count, int bytes, bool isFloat) {
  for (int64_t i = 0; i < count; ++i) {
    const uint8_t* p = data + i * bytes;
    float value;
    if (isFloat) {
      double v;
      std::memcpy(&v, p, 8);
      value = FiniteSample(v);
    } else {
      int32_t top;
      std::memcpy(&top, p + bytes - 4, 4);
      value = static_cast<float>(top * kInt32Scale);
    }
    StoreFloat(data, i, value);
  }
}

}  // namespace

bool WidenToFloat(uint8_t* data, int64_t count, int bytes, bool unsigned8, bool isFloat) {
  if (!CanWidenToFloat(bytes, isFloat)) return false;
  switch (bytes) {
    case 1:
      for (int64_t i = count - 1; i >= 0; --i) {
        const int v = unsigned8 ? data[i] - 128 : static_cast<int8_t>(data[i]);
        StoreFloat(data, i, static_cast<float>(v) * 0.0078125f);
      }
      return true;
    case 2:
      WidenBlocksBackwards<int16_t>(data, count,
                                    [](int16_t v) { return static_cast<float>(v) * 3.0518e-5f; });
      return true;
    case 3:
      for (int64_t i = count - 1; i >= 0; --i) StoreFloat(data, i, Int24ToFloat(data + i * 3));
      return true;
    case 4:
      for (int64_t i = 0; i < count; ++i) {
        if (isFloat) {
          float v;
          std::memcpy(&v, data + i * 4, 4);
          StoreFloat(data, i, FiniteSample(v));
        } else {
          int32_t v;
          std::memcpy(&v, data + i * 4, 4);
          StoreFloat(data, i, static_cast<float>(v * kInt32Scale));
        }
      }
      return true;
    default:
      NarrowForwards(data, count, bytes, isFloat);
      return true;
  }
}

void KeepSamplesFinite(float* samples, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    const float v = samples[i];
    // One comparison pair lets ordinary samples through; NaN fails both.
    if (!(v >= -kLargestSample && v <= kLargestSample)) samples[i] = FiniteSample(v);
  }
}

void FitChannels(float* samples, int64_t frames, int sourceChannels, int targetChannels) {
  if (sourceChannels == targetChannels || sourceChannels <= 0 || targetChannels <= 0) return;
  if (targetChannels > sourceChannels) {
    for (int64_t f = frames - 1; f >= 0; --f) {
      for (int i = targetChannels - 1; i >= 0; --i) {
        samples[f * targetChannels + i] =
            samples[f * sourceChannels + std::min(i, sourceChannels - 1)];
      }
    }
  } else {
    for (int64_t f = 0; f < frames; ++f) {
      for (int i = 0; i < targetChannels; ++i) {
        samples[f * targetChannels + i] = samples[f * sourceChannels + i];
      }
    }
  }
}

void ResampleLinear(const float* in, int64_t inFrames, float* out, int64_t outFrames,
                    int channels) {
  if (inFrames <= 0 || outFrames <= 0 || channels <= 0) return;
  const double step = static_cast<double>(inFrames) / static_cast<double>(outFrames);
  for (int64_t i = 0; i + 1 < outFrames; ++i) {
    const double position = static_cast<double>(i) * step;
    int64_t p = static_cast<int64_t>(position);
    if (p >= inFrames) p = inFrames - 1;  // guards rounding of a huge step
    const float f = static_cast<float>(position - static_cast<double>(p));
    // Past the last input frame lies nothing of this read: when upsampling,
    // the outputs just below the end hold the last frame instead of leaning
    // towards a cleared or stale one (a click at every block join).
    const int64_t next = std::min(p + 1, inFrames - 1);
    for (int c = 0; c < channels; ++c) {
      out[i * channels + c] = in[p * channels + c] * (1.0f - f) + in[next * channels + c] * f;
    }
  }
  for (int c = 0; c < channels; ++c) {
    out[(outFrames - 1) * channels + c] = in[(inFrames - 1) * channels + c];
  }
}

}  // namespace vantaro
