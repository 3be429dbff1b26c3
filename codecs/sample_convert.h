#pragma once
// The conversions of CCodecSet, as plain functions on sample buffers: byte
// swapping, widening of stored samples to 32-bit float, channel fitting and
// linear rate conversion. Stored samples are little-endian after swapping.
//
// Threads: any (pure functions, no allocation).

#include <cstdint>

namespace vantaro {

// Reverses the bytes of each of `count` samples of `bits` width, in place.
// 16, 24 and 32 bits are swapped; any other width is left alone.
void SwapSampleBytes(uint8_t* data, int64_t count, int bits);

// A signed little-endian 24-bit sample as a float in [-1, 1).
float Int24ToFloat(const uint8_t* p);

// Widens `count` stored samples of `bits` width to 32-bit floats in place,
// walking from the last sample to the first. `data` holds count * 4 bytes.
//   8 bit unsigned: (v - 128) * 0.0078125; signed: v * 0.0078125
//   16 bit: v * 3.0518e-5;  24 bit: Int24ToFloat
//   32 bit: float as it stands (NaN and infinity become 0), or a signed
//           integer scaled by 2^-31
// Returns false, leaving the data untouched, for any other width.
bool WidenToFloat(uint8_t* data, int64_t count, int bits, bool unsigned8, bool float32);

// Fits interleaved frames from `sourceChannels` to `targetChannels` in place.
// More target channels: target channel i takes source channel
// min(i, sourceChannels - 1). Fewer: the first target channels are kept.
// `samples` holds frames * max(sourceChannels, targetChannels) floats.
void FitChannels(float* samples, int64_t frames, int sourceChannels, int targetChannels);

// Linear interpolation of `inFrames` interleaved frames onto `outFrames`:
// output i takes position i * (inFrames / outFrames); the very last output
// frame is the last input frame. `in` must hold inFrames + 1 frames (the
// extra frame is read by interpolation just below the end).
void ResampleLinear(const float* in, int64_t inFrames, float* out, int64_t outFrames, int channels);

}  // namespace vantaro
