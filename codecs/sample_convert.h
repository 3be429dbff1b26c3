#pragma once
// The conversions of CCodecSet, as plain functions on sample buffers: byte
// swapping, widening of stored samples to 32-bit float, the finite-output
// guard, channel fitting and linear rate conversion. Stored samples are
// little-endian after swapping.
//
// Threads: any (pure functions, no allocation).

#include <cstdint>

namespace vantaro {

// Largest magnitude a converted sample may have (+36 dB over full scale).
// Float files may go past 1.0, but nothing real comes near this; a crafted
// 1e38 would overflow to infinity at the first gain stage downstream.
inline constexpr float kLargestSample = 64.0f;

// Reverses the bytes of each of `count` samples of `bytes` width, in place.
// Widths 2 to 8 are swapped; 1-byte samples are left alone.
void SwapSampleBytes(uint8_t* data, int64_t count, int bytes);

// A signed little-endian 24-bit sample as a float in [-1, 1).
float Int24ToFloat(const uint8_t* p);

// True when WidenToFloat reads samples of `bytes` width and this coding:
// integers of 1 to 8 bytes, IEEE floats of 4 or 8 bytes.
bool CanWidenToFloat(int bytes, bool isFloat);

// Converts `count` stored samples of `bytes` width to 32-bit floats in place.
// `data` holds count * max(bytes, 4) bytes. Integers are read by their width
// alone: WAV and AIFF store a depth like 12 or 20 bits left-justified in 2 or
// 3 bytes, so every depth reads at full scale.
//   1 byte: unsigned (v - 128) * 0.0078125, or signed v * 0.0078125
//   2 bytes: v * 3.0518e-5;  3 bytes: Int24ToFloat
//   4 to 8 bytes: the top four bytes as a signed integer scaled by 2^-31
//   4 or 8 bytes float: as it stands, NaN and infinity 0, held within
//   +-kLargestSample
// Returns false, leaving the data untouched, when !CanWidenToFloat.
bool WidenToFloat(uint8_t* data, int64_t count, int bytes, bool unsigned8, bool isFloat);

// The last step of every float read: NaN and infinity become 0, and every
// sample is held within +-kLargestSample, so no decoder path can hand the
// mixer a sample that poisons its filter states.
void KeepSamplesFinite(float* samples, int64_t count);

// Fits interleaved frames from `sourceChannels` to `targetChannels` in place.
// More target channels: target channel i takes source channel
// min(i, sourceChannels - 1). Fewer: the first target channels are kept.
// `samples` holds frames * max(sourceChannels, targetChannels) floats.
void FitChannels(float* samples, int64_t frames, int sourceChannels, int targetChannels);

// Linear interpolation of `inFrames` interleaved frames onto `outFrames`:
// output i takes position i * (inFrames / outFrames); the very last output
// frame is the last input frame, and no output reads past it.
void ResampleLinear(const float* in, int64_t inFrames, float* out, int64_t outFrames, int channels);

}  // namespace vantaro
