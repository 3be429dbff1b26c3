// The native WAV, AIFF and Au readers through the codec set: every sample
// depth they accept, crafted float samples, lying headers, sox's own files,
// and what the writers write.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "base/debug_log.h"
#include "codecs/codec_set.h"
#include "codecs/decoder_wav.h"
#include "codecs/sample_convert.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::AiffFile;
using test::AuFile;
using test::WavFile;

constexpr int kDepthFrames = 512;
const double kDepthValues[] = {0.5, -0.25, 0.9990234375, -1.0, 0.0001220703125, 0.0};

// `value` as a `bits`-deep integer sample, left-justified in ceil(bits / 8)
// bytes, in the given byte order.
std::string IntSample(double value, int bits, bool bigEndian) {
  const int bytes = (bits + 7) / 8;
  const long double scaled = std::ldexp(static_cast<long double>(value), bits - 1);
  const long double top = std::ldexp(1.0L, bits - 1) - 1;
  const auto word = static_cast<uint64_t>(std::llround(std::min(scaled, top))) << (64 - bits);
  std::string out;
  for (int i = 0; i < bytes; ++i) {
    const int shift = 64 - 8 * (bigEndian ? i + 1 : bytes - i);
    out += static_cast<char>(word >> shift);
  }
  return out;
}

template <typename T>
std::string FloatSample(T value, bool bigEndian) {
  std::string out(sizeof(T), '\0');
  std::memcpy(out.data(), &value, sizeof(T));
  if (bigEndian) std::reverse(out.begin(), out.end());
  return out;
}

struct DepthCase {
  const char* name;
  int bits;
  char kind;  // 'i' integer, 'f' float
};

// A mono 44100 Hz file of `c` repeating kDepthValues (and, for floats, NaN,
// infinities and values far past full scale), in the case's container.
std::string DepthFile(const DepthCase& c, std::vector<double>& expected) {
  const std::string ending = std::string(c.name).substr(0, std::string(c.name).find('_'));
  const bool big = ending != "wav";
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> values(std::begin(kDepthValues), std::end(kDepthValues));
  if (c.kind == 'f') values.insert(values.end(), {NAN, inf, -inf, 1e30, -1e300});
  std::string data;
  expected.clear();
  for (int i = 0; i < kDepthFrames; ++i) {
    const double v = values[i % values.size()];
    if (c.kind == 'i') {
      std::string sample = IntSample(v, c.bits, big);
      if (ending == "wav" && c.bits == 8) sample[0] ^= '\x80';  // unsigned
      data += sample;
    }
    if (c.kind == 'f') data += c.bits == 32 ? FloatSample(float(v), big) : FloatSample(v, big);
    expected.push_back(std::isfinite(v) ? std::clamp(v, -1e9, 1e9) : 0.0);
  }
  const uint32_t size = static_cast<uint32_t>(data.size());
  if (ending == "wav") return WavFile(c.kind == 'f' ? 3 : 1, 1, 44100, c.bits, size, data);
  if (ending == "aiff") return AiffFile(1, kDepthFrames, c.bits, 44100, size + 8, data);
  const uint32_t encoding = c.kind == 'f' ? (c.bits == 32 ? 6 : 7) : c.bits / 8 + 1;
  return AuFile(24, size, encoding, 44100, 1, data);
}

// Every depth a native reader opens is converted at full scale, and nothing
// a float file holds reaches a reader of the codec set as NaN, infinity or a
// sample far past full scale.
TEST(NativeDepths, EveryAcceptedDepthIsConvertedAndFinite) {
  test::TempDir dir;
  const DepthCase cases[] = {{"wav_8", 8, 'i'},    {"wav_12", 12, 'i'},  {"wav_16", 16, 'i'},
                             {"wav_20", 20, 'i'},  {"wav_24", 24, 'i'},  {"wav_32", 32, 'i'},
                             {"wav_48", 48, 'i'},  {"wav_64", 64, 'i'},  {"wav_f32", 32, 'f'},
                             {"wav_f64", 64, 'f'}, {"aiff_16", 16, 'i'}, {"aiff_20", 20, 'i'},
                             {"aiff_24", 24, 'i'}, {"aiff_28", 28, 'i'}, {"aiff_32", 32, 'i'},
                             {"au_8", 8, 'i'},     {"au_16", 16, 'i'},   {"au_24", 24, 'i'},
                             {"au_32", 32, 'i'},   {"au_f32", 32, 'f'},  {"au_f64", 64, 'f'}};
  for (const DepthCase& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<double> expected;
    const std::string path = dir.File(std::string(c.name) + "." +
                                      std::string(c.name).substr(0, std::string(c.name).find('_')));
    test::WriteFile(path, DepthFile(c, expected));
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, kDepthFrames), 1);
    EXPECT_EQ(set.SourceFormat().bitsPerSample, c.bits);
    std::vector<float> floats(kDepthFrames * 2);
    ASSERT_EQ(set.GetFloatSamples(floats.data(), kDepthFrames, 0), kDepthFrames);
    std::vector<int16_t> shorts(kDepthFrames * 2);
    ASSERT_EQ(set.GetShortSamples(shorts.data(), kDepthFrames, 0), kDepthFrames);
    const double step = std::max(std::ldexp(1.0, 1 - std::min(c.bits, 24)), 1e-6);
    for (int i = 0; i < kDepthFrames; ++i) {
      const float v = floats[i * 2];
      ASSERT_TRUE(std::isfinite(v) && std::fabs(v) <= kLargestSample) << i << ": " << v;
      if (std::fabs(expected[i]) <= 1.0) {
        ASSERT_NEAR(v, expected[i], step) << i;
        ASSERT_NEAR(shorts[i * 2], expected[i] * 32767, 1.0 + 32767 * step) << i;
      }
      if (expected[i] == 0.0) {
        ASSERT_EQ(v, 0.0f) << i;
      }
    }
  }
}

}  // namespace
}  // namespace vantaro
