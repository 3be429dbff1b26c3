// The conversion steps of the codec set on hand-made buffers: byte order,
// widening at the extremes of each width, channel fitting in place, linear
// rate conversion, and the extended float of AIFF rates.

#include "codecs/sample_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "codecs/byte_order.h"
#include "codecs/codec_set.h"

namespace vantaro {
namespace {

std::vector<float> AsFloats(const std::vector<uint8_t>& bytes, size_t count) {
  std::vector<float> out(count);
  std::memcpy(out.data(), bytes.data(), count * 4);
  return out;
}

TEST(SampleConvert, SwapReversesEachSampleOf16To32Bits) {
  // 8 bits are not swapped; other widths pass unconverted.
  const struct {
    int count, bits;
    std::vector<uint8_t> want;
  } cases[] = {{2, 16, {2, 1, 4, 3, 5, 6, 7, 8}},
               {2, 24, {3, 2, 1, 6, 5, 4, 7, 8}},
               {2, 32, {4, 3, 2, 1, 8, 7, 6, 5}},
               {2, 8, {1, 2, 3, 4, 5, 6, 7, 8}},
               {1, 64, {1, 2, 3, 4, 5, 6, 7, 8}}};
  for (const auto& c : cases) {
    std::vector<uint8_t> data = {1, 2, 3, 4, 5, 6, 7, 8};
    SwapSampleBytes(data.data(), c.count, c.bits);
    EXPECT_EQ(data, c.want) << c.bits << " bits";
  }
}

template <typename T>
std::vector<uint8_t> BytesOf(std::initializer_list<T> values) {
  std::vector<uint8_t> out(values.size() * sizeof(T));
  std::memcpy(out.data(), values.begin(), out.size());
  return out;
}

TEST(SampleConvert, WideningAtTheEdgesOfEachWidth) {
  const struct {
    std::vector<uint8_t> bytes;
    int bits;
    bool unsigned8, float32;
    std::vector<float> want;
  } cases[] = {
      {{0, 128, 255}, 8, true, true, {-1.0f, 0.0f, 127 * 0.0078125f}},
      {{0x80, 0, 0x7f}, 8, false, true, {-1.0f, 0.0f, 127 * 0.0078125f}},
      {BytesOf<int16_t>({-32768, 32767, 1}),
       16,
       true,
       true,
       {-32768 * 3.0518e-5f, 32767 * 3.0518e-5f, 3.0518e-5f}},
      {{0x00, 0x00, 0x80, 0xff, 0xff, 0x7f, 0xff, 0xff, 0xff},
       24,
       true,
       true,
       {-1.0f, 8388607 / 8388608.0f, -1 / 8388608.0f}},
      {BytesOf<int32_t>({INT32_MIN, 1 << 30}), 32, true, false, {-1.0f, 0.5f}},
      // Floats stay as they are, but NaN and infinity become silence; loud
      // but finite samples stay.
      {BytesOf<float>({-0.123f, NAN, -INFINITY, 2.5f}), 32, true, true, {-0.123f, 0, 0, 2.5f}},
  };
  for (const auto& c : cases) {
    std::vector<uint8_t> data = c.bytes;
    data.resize(c.want.size() * 4);
    ASSERT_TRUE(WidenToFloat(data.data(), c.want.size(), c.bits, c.unsigned8, c.float32));
    EXPECT_EQ(AsFloats(data, c.want.size()), c.want) << c.bits << " bits";
  }
  std::vector<uint8_t> odd = {1, 2, 3, 4};
  EXPECT_FALSE(WidenToFloat(odd.data(), 1, 12, true, true));
  EXPECT_EQ(odd, (std::vector<uint8_t>{1, 2, 3, 4}));
}

TEST(SampleConvert, FittingChannelsInPlace) {
  // Mono to three channels: every channel is the mono sample.
  std::vector<float> up = {1, 2, 3, 0, 0, 0, 0, 0, 0};
  FitChannels(up.data(), 3, 1, 3);
  EXPECT_EQ(up, (std::vector<float>{1, 1, 1, 2, 2, 2, 3, 3, 3}));
  // Stereo to four: channels 2 and 3 repeat the last source channel.
  std::vector<float> stereo = {1, 2, 3, 4, 0, 0, 0, 0};
  FitChannels(stereo.data(), 2, 2, 4);
  EXPECT_EQ(stereo, (std::vector<float>{1, 2, 2, 2, 3, 4, 4, 4}));
  // Five to two: the first two kept, nothing mixed in.
  std::vector<float> five = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  FitChannels(five.data(), 2, 5, 2);
  EXPECT_EQ(std::vector<float>(five.begin(), five.begin() + 4), (std::vector<float>{1, 2, 6, 7}));
}

TEST(SampleConvert, LinearResamplingOfARampAndItsEnds) {
  // A ramp stays a ramp: output i sits at i * (in / out) input frames.
  const int inFrames = 100, outFrames = 147;
  std::vector<float> in((inFrames + 1) * 2, 0.0f);
  for (int i = 0; i < inFrames; ++i) {
    in[i * 2] = static_cast<float>(i);
    in[i * 2 + 1] = static_cast<float>(-2 * i);
  }
  std::vector<float> out(outFrames * 2, -99.0f);
  ResampleLinear(in.data(), inFrames, out.data(), outFrames, 2);
  const double step = static_cast<double>(inFrames) / outFrames;
  for (int i = 0; i + 1 < outFrames; ++i) {
    ASSERT_NEAR(out[i * 2], i * step, 1e-4) << i;
    ASSERT_NEAR(out[i * 2 + 1], -2 * i * step, 2e-4) << i;
  }
  EXPECT_EQ(out[(outFrames - 1) * 2], inFrames - 1) << "the last output is the last input";
  EXPECT_EQ(out[(outFrames - 1) * 2 + 1], -2 * (inFrames - 1));

  // Downsampling by two picks every other frame exactly.
  std::vector<float> down(50 * 2);
  ResampleLinear(in.data(), inFrames, down.data(), 50, 2);
  EXPECT_EQ(down[10 * 2], 20.0f);
  EXPECT_EQ(down[49 * 2], 99.0f);
}

TEST(SampleConvert, FrameCountConversionRoundsAndRefusesNonPositive) {
  EXPECT_EQ(ConvertFrameCount(1000, 44100, 22050), 2000);
  EXPECT_EQ(ConvertFrameCount(1001, 44100, 48000), 920) << "919.67 rounds up";
  EXPECT_EQ(ConvertFrameCount(3, 1, 2), 2) << "1.5 rounds away from zero";
  EXPECT_EQ(ConvertFrameCount(0, 44100, 48000), 0);
  EXPECT_EQ(ConvertFrameCount(10, 0, 48000), 0);
  EXPECT_EQ(ConvertFrameCount(10, 44100, 0), 0);
  EXPECT_EQ(ConvertFrameCount(-10, 44100, 48000), 0);
  EXPECT_EQ(ConvertFrameCount(int64_t{1} << 40, 96000, 44100),
            std::llround(static_cast<double>(int64_t{1} << 40) * 96000 / 44100))
      << "no 32-bit overflow";
  EXPECT_EQ(ConvertFrameCount(INT64_MAX, INT64_MAX, 1), INT64_MAX) << "saturates";
}

TEST(ByteOrder, ExtendedFloatRatesRoundTrip) {
  for (uint32_t rate : {1u, 8000u, 11025u, 22050u, 44100u, 48000u, 96000u, 192000u}) {
    uint8_t bytes[10];
    WriteExtended80(bytes, rate);
    EXPECT_EQ(ReadExtended80(bytes), static_cast<double>(rate)) << rate;
  }
  uint8_t known[10] = {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(ReadExtended80(known), 44100.0);
  uint8_t zero[10] = {};
  EXPECT_EQ(ReadExtended80(zero), 0.0);
  uint8_t infinite[10] = {0x7f, 0xff, 0x80, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_LT(ReadExtended80(infinite), 0.0) << "infinity is no rate";
  uint8_t negative[10] = {0xC0, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(ReadExtended80(negative), -44100.0);
}

}  // namespace
}  // namespace vantaro
