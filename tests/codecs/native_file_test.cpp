// The native WAV, AIFF and Au readers and writers through the codec set:
// every sample depth they open, crafted float samples, lying headers, files
// made by sox, files written and read back. The valid and crafted files are
// also the seed corpus of the codec fuzz target (tests/fuzz), written into
// $VANTARO_FUZZ_SEEDS, else <build>/fuzz_seeds/codecs.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/sample_convert.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/fuzz/codec_fuzz_input.h"

namespace vantaro {
namespace {

using test::AiffFile;
using test::AuFile;
using test::WavFile;

// Writes `bytes` as the fuzz seed `name`, behind the selector byte of its
// ending (the fuzzer varies the target format bits itself).
void WriteSeed(const std::string& name, const std::string& bytes) {
  const char* chosen = std::getenv("VANTARO_FUZZ_SEEDS");
  const std::string folder = chosen && *chosen ? chosen : VANTARO_BINARY_DIR "/fuzz_seeds/codecs";
  std::filesystem::create_directories(folder);
  const char selector = static_cast<char>(fuzz::SelectorFor(name.substr(name.rfind('.'))));
  test::WriteFile(folder + "/" + name, selector + bytes);
}

// The samples of `path` as sox decodes them: interleaved 32-bit floats.
std::vector<float> SoxDecode(const std::string& path) {
  std::string raw;
  if (test::RunCommand("sox '" + path + "' -t f32 - 2>/dev/null", &raw) != 0) return {};
  std::vector<float> samples(raw.size() / 4);
  std::memcpy(samples.data(), raw.data(), samples.size() * 4);
  return samples;
}

// `value` as a `bits`-deep integer sample, left-justified in ceil(bits / 8)
// bytes; a float sample when `bits` is 0 (32-bit) or -1 (64-bit).
std::string Sample(double value, int bits, bool bigEndian) {
  const float single = static_cast<float>(value);
  const int bytes = bits == 0 ? 4 : bits < 0 ? 8 : (bits + 7) / 8;
  uint64_t word = 0;
  if (bits <= 0) std::memcpy(&word, bits ? static_cast<const void*>(&value) : &single, bytes);
  const long double top = std::ldexp(1.0L, bits - 1) - 1;
  if (bits > 0)
    word =
        static_cast<uint64_t>(std::llround(std::min(std::ldexp((long double)value, bits - 1), top)))
            << (64 - bits) >>
        (64 - 8 * bytes);
  std::string out;
  test::AppendBytes(out, word, bytes, bigEndian);
  return out;
}

// Every depth a native reader opens is read at full scale, and nothing a
// float file holds reaches a reader of the set (the analysis in floats, the
// deck in 16 bits) as NaN, infinity or a sample far past full scale: those
// are silence, or the largest sample. 16-bit files in the deck's own format
// are read straight into its buffer, swapped where they are big-endian.
TEST(NativeFiles, EveryDepthIsConvertedAndFinite) {
  constexpr int kFrames = 512;
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> plain = {0.5, -0.25, 0.9990234375, -1.0, 0.0001220703125, 0.0};
  std::vector<double> crafted = plain;
  crafted.insert(crafted.end(), {NAN, inf, -inf, 1e30, -1e300});
  const struct {
    const char* ending;
    int bits;  // 0: 32-bit float, -1: 64-bit float
  } cases[] = {{"wav", 8},   {"wav", 12},  {"wav", 16},  {"wav", 20}, {"wav", 24},  {"wav", 32},
               {"wav", 48},  {"wav", 64},  {"wav", 0},   {"wav", -1}, {"aiff", 16}, {"aiff", 20},
               {"aiff", 24}, {"aiff", 28}, {"aiff", 32}, {"au", 8},   {"au", 16},   {"au", 24},
               {"au", 32},   {"au", 0},    {"au", -1}};
  test::TempDir dir;
  for (const auto& [ending, bits] : cases) {
    const std::string name = std::to_string(bits) + "." + ending;
    SCOPED_TRACE(name);
    const bool wav = ending[0] == 'w', aiff = ending[1] == 'i';
    const std::vector<double>& values = bits > 0 ? plain : crafted;
    std::string data;
    for (int i = 0; i < kFrames; ++i) {
      std::string sample = Sample(values[i % values.size()], bits, !wav);
      if (wav && bits == 8) sample[0] ^= '\x80';  // unsigned
      data += sample + sample;                    // the same on both channels
    }
    const uint32_t size = static_cast<uint32_t>(data.size()),
                   depth = bits > 0 ? bits : 32 - 32 * bits;
    const std::string file =
        wav    ? WavFile(bits > 0 ? 1 : 3, 2, 44100, depth, size, data)
        : aiff ? AiffFile(2, kFrames, bits, 44100, size + 8, data)
               : AuFile(24, size, bits > 0 ? bits / 8 + 1 : 6 - bits, 44100, 2, data);
    test::WriteFile(dir.File(name), file);
    WriteSeed("depth-" + name, file);
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(dir.File(name), format, kCodecRead, kFrames), 1);
    std::vector<float> floats(kFrames * 2);
    std::vector<int16_t> shorts(kFrames * 2);
    ASSERT_EQ(set.GetFloatSamples(floats.data(), kFrames, 0), kFrames);
    ASSERT_EQ(set.GetShortSamples(shorts.data(), kFrames, 0), kFrames);
    const double step = std::max(std::ldexp(1.0, 1 - std::min<int>(depth, 24)), 1e-6);
    for (int i = 0; i < kFrames; ++i) {
      double want = values[i % values.size()];
      if (bits == 0) want = static_cast<float>(want);
      const float v = floats[i * 2];
      ASSERT_TRUE(std::isfinite(v) && std::fabs(v) <= kLargestSample) << i << ": " << v;
      if (!(std::fabs(want) <= 1.0)) {
        ASSERT_EQ(shorts[i * 2], std::isfinite(want) ? (want > 0 ? 32767 : -32768) : 0) << i;
        ASSERT_TRUE(std::isfinite(want) || v == 0.0f) << i;
        continue;
      }
      ASSERT_NEAR(v, want, step) << i;
      ASSERT_NEAR(shorts[i * 2], want * 32767, 1.0 + 32767 * step) << i;
    }
  }
}

// Opens `bytes` as file `name` through a codec set (44100 Hz float stereo)
// and reads the stream and past it, so that the sanitizers see every read.
// Returns the source frames when a native reader took the file, -2 when the
// FFmpeg reader behind them did, -1 when nothing did; `first` gets the first
// sample read.
int OpenCrafted(const std::string& name, const std::string& bytes, float& first) {
  static test::TempDir dir;
  test::WriteFile(dir.File(name), bytes);
  CCodecSet set(30);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  if (!set.Open(dir.File(name), format, kCodecRead, 1024)) return -1;
  std::vector<float> buffer(1024 * 2);
  int64_t total = 0;
  for (int64_t start = 0; start < format.frames + 2048; start += 1024) {
    total += set.GetFloatSamples(buffer.data(), 1024, start);
    if (start == 0) first = buffer[0];
  }
  if (std::string(set.CurrentCodecName()) == "ffmpeg-audio") return -2;
  EXPECT_LE(total, format.frames + 1) << "no read beyond the stream";
  return set.SourceFormat().frames;
}

std::string Replaced(std::string s, size_t at, const std::string& bytes) {
  return s.replace(at, bytes.size(), bytes);
}

// Headers that lie: what cannot be read safely is refused (and logged where
// the samples could not be converted), sizes past the end of the file are
// cut to it, chunk walks end, and the data starts where the header says.
TEST(NativeFiles, LyingHeadersAreRefusedOrCut) {
  std::string ramp, rampBE;  // 64 stereo 16-bit frames rising from -1000
  for (int i = 0; i < 128; ++i) {
    test::AppendBytes(ramp, static_cast<uint16_t>(i * 7 - 1000), 2, false);
    test::AppendBytes(rampBE, static_cast<uint16_t>(i * 7 - 1000), 2, true);
  }
  const std::string wav = WavFile(1, 2, 44100, 16, 256, ramp);
  const std::string aiff = AiffFile(2, 64, 16, 44100, 264, rampBE);
  const std::string list =
      wav.substr(0, 36) + std::string("LIST\x0a\0\0\0INFOabcdef", 18) + wav.substr(36);
  std::string zeros = wav.substr(0, 36), many = aiff.substr(0, 12);
  for (int i = 0; i < 500; ++i) zeros += std::string("JUNK\0\0\0\0", 8);
  for (int i = 0; i < 150; ++i) many += std::string("JUNK\0\0\0\0", 8);
  auto wavOf = [&](int tag, int ch, uint32_t rate, int bits, uint32_t size = 256) {
    return WavFile(tag, ch, rate, bits, size, ramp);
  };
  auto aiffAt = [&](uint32_t rate, int bits = 16, uint32_t comm = 18, uint32_t ssnd = 264) {
    return AiffFile(2, 64, bits, rate, ssnd, rampBE, comm);
  };
  auto au = [&](uint32_t offset, uint32_t size, uint32_t encoding, uint32_t rate, uint32_t ch) {
    return AuFile(offset, size, encoding, rate, ch, rampBE);
  };
  const struct {
    const char* name;
    std::string bytes;
    int frames;  // -1: refused by all, -2: taken by FFmpeg; the others start with the ramp
  } cases[] = {
      {"ok.wav", wav, 64},
      {"adpcm.wav", wavOf(2, 2, 44100, 16), -2},
      {"float16.wav", wavOf(3, 2, 44100, 16), -1},
      {"ch65535.wav", wavOf(1, 65535, 44100, 16), -1},
      {"rate4g.wav", wavOf(1, 2, 0xFFFFFFFFu, 16), -1},
      {"bits0.wav", wavOf(1, 2, 44100, 0), -1},
      {"bits65535.wav", wavOf(1, 2, 44100, 65535), -1},
      {"size4g.wav", wavOf(1, 2, 44100, 16, 0xFFFFFFFFu), 64},
      {"odd.wav", wavOf(1, 2, 44100, 16, 255), 63},
      {"ext18.wav", Replaced(wav, 16, "\x12"), -1},
      {"cut.wav", wav.substr(0, 30), -1},
      {"list.wav", list, 64},
      {"jump.wav", Replaced(wav, 36, std::string("JUNK\xF0\xFF\xFF\xFF", 8)), -1},
      {"zeros.wav", zeros, -1},
      {"aifc.aiff", aiffAt(44100, 16, 22), -2},
      {"11024.aiff", aiffAt(11024), -2},
      {"11025.aiff", aiffAt(11025), 64},
      {"96000.aiff", aiffAt(96000), 64},
      {"96001.aiff", aiffAt(96001), -2},
      {"8bit.aiff", aiffAt(44100, 8), -2},
      {"40bit.aiff", aiffAt(44100, 40), -1},
      {"cut.aiff", aiff.substr(0, 40), -1},
      {"many.aiff", many + aiff.substr(12), -1},
      {"tiny.aiff", aiffAt(44100, 16, 18, 3), 0},
      // The SSND offset field moves the first sample; (size - 8) still counts it.
      {"offset.aiff", Replaced(AiffFile(2, 1, 16, 44100, 12, "skip" + rampBE), 49, "\4"), 1},
      {"offset0.au", au(0, 256, 3, 44100, 2), 64},
      {"mulaw.au", au(24, 256, 1, 44100, 2), -2},
      {"ch2g.au", au(24, 256, 3, 44100, 0x80000000u), -1},
      {"far.au", au(0x7FFFFFF0u, 256, 3, 44100, 2), 0},
      {"cut.au", au(24, 256, 3, 44100, 2).substr(0, 20), -1},
      {"inner.au", au(8, 16, 3, 44100, 2), 4}};  // data inside the header
  test::LogCapture log;
  for (const auto& c : cases) {
    float first = NAN;
    EXPECT_EQ(OpenCrafted(c.name, c.bytes, first), c.frames) << c.name;
    const bool startsWithRamp = c.frames > 0 && std::strcmp(c.name, "inner.au") != 0;
    EXPECT_TRUE(!startsWithRamp || first == -1000 * 3.0518e-5f) << c.name << ": " << first;
    WriteSeed(std::string("crafted-") + c.name, c.bytes);
  }
  EXPECT_NE(log.Text().find("16-bit float samples are not read"), std::string::npos);
}

// Files made by sox read as sox reads them, to one quantisation step, from
// any start frame (endings are compared in lower case). Read as
// 44100 Hz floats of another channel count, the length follows the rounding
// rule, mono goes to both sides, extra channels are dropped (300 and 450 Hz
// are the first two), missing ones repeat the last, and blocks join without
// a click.
TEST(NativeFiles, SoxFilesReadAsSoxReadsThemAndConverted) {
  const struct {
    const char* type;  // sox's name of the container
    int rate, channels;
    const char* format;
    int bits, targetChannels;
  } cases[] = {
      {"wavpcm", 22050, 1, "-b 16", 16, 2},     {"wavpcm", 48000, 5, "-b 24", 24, 2},
      {"wavpcm", 11025, 2, "-b 8", 8, 1},       {"wavpcm", 44100, 2, "-e signed -b 32", 32, 4},
      {"aiff", 96000, 1, "-b 32", 32, 2},       {"aiff", 11025, 2, "-b 24", 24, 2},
      {"au", 44100, 2, "-e signed -b 8", 8, 2}, {"au", 48000, 2, "-e float -b 32", 32, 2}};
  test::TempDir dir;
  for (const auto& c : cases) {
    const std::string ending = c.type[0] == 'w' ? "wav" : c.type;
    const std::string name = std::to_string(&c - cases) + (ending == "wav" ? ".WAV" : "." + ending);
    SCOPED_TRACE(name);
    const std::string path = dir.File(name);
    ASSERT_TRUE(
        test::MakeSoxTone(path, c.rate, c.channels, c.format + std::string(" -t ") + c.type, 0.3));
    WriteSeed("sox-" + name, test::ReadFile(path));
    ASSERT_TRUE(test::MakeZip(path + ".zip", {{name, test::ReadFile(path)}}));
    WriteSeed("sox-" + name + ".zip", test::ReadFile(path + ".zip"));
    CCodecSet set(30);
    TCodecFormat format{c.rate, c.channels, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
    EXPECT_EQ(set.CurrentCodecName(), ending);
    const std::vector<float> reference = SoxDecode(path);
    std::vector<float> decoded = test::ReadAllFloats(set, format);
    const double step = std::max(std::ldexp(1.0, 1 - c.bits), 1.2e-7);
    ASSERT_EQ(decoded.size(), reference.size());
    for (size_t i = 0; i < decoded.size(); ++i) ASSERT_NEAR(decoded[i], reference[i], step) << i;
    ASSERT_EQ(set.GetFloatSamples(decoded.data(), 256, 1000), 256);
    EXPECT_NEAR(decoded[0], reference[1000 * c.channels], step) << "read from frame 1000";
    set.Close();

    const int targetChannels = c.targetChannels;
    format = {44100, targetChannels, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 1000), 1);
    EXPECT_EQ(format.frames, std::llround(set.SourceFormat().frames * 44100.0 / c.rate));
    const std::vector<float> all = test::ReadAllFloats(set, format, 1000);
    ASSERT_EQ(all.size(), static_cast<size_t>(format.frames) * targetChannels);
    for (int channel = 0; channel < targetChannels; ++channel) {
      const double hz = 300 + 150 * std::min(channel, c.channels - 1);
      EXPECT_NEAR(test::ToneFrequency(all, targetChannels, channel), hz, 1.5) << channel;
      EXPECT_NEAR(test::Rms(all, targetChannels, channel), 0.7 / std::sqrt(2.0), 0.02);
      // A sine of 0.7 moves at most 0.7 * 2 pi hz / rate in one source frame.
      // Block starts and lengths are rounded apart, and the last output of a
      // block is its last source frame, so a join may span two source frames;
      // a stale or foreign sample jumps further.
      EXPECT_LT(test::LargestStep(all, targetChannels, channel),
                2 * 0.7 * 2 * M_PI * hz / std::min(c.rate, 44100) + 0.01);
    }
  }
}

// Every depth the writers take, written in uneven chunks through a codec
// set, reads back the same through a second set, and sox agrees on the
// length and depth. The Au writer's size field counts frames, not bytes, so
// every reader that trusts it sees a frame size'th of the file.
TEST(NativeFiles, WrittenFilesReadBackAsWritten) {
  constexpr int kFrames = 3000;
  const struct {
    const char* ending;
    int bits;  // 0: 32-bit float
  } cases[] = {{"wav", 16},  {"wav", 24}, {"wav", 0}, {"aiff", 16}, {"aiff", 24},
               {"aiff", 32}, {"au", 8},   {"au", 16}, {"au", 24},   {"au", 32}};
  for (const auto& c : cases) {
    const std::string ending = c.ending;
    SCOPED_TRACE(ending + " " + std::to_string(c.bits));
    const int bytes = c.bits ? c.bits / 8 : 4;
    std::vector<float> signal;
    std::string stored;
    for (int i = 0; i < kFrames * 2; ++i) {
      signal.push_back(static_cast<float>(0.6 * std::sin(0.0628 * (i / 2) * (1 + i % 2))));
      stored += Sample(signal.back(), c.bits, ending != "wav");
    }
    test::TempDir dir;
    const std::string path = dir.File("out." + ending);
    CCodecSet writer(100);
    TCodecFormat wanted{44100, 2, c.bits ? c.bits : 32, c.bits ? c.bits : 32, 0, 0};
    ASSERT_EQ(writer.Open(path, wanted, kCodecWrite, 4096), 1);
    for (int start = 0; start < kFrames; start += 700)
      writer.PutSamples(stored.data() + start * 2 * bytes, std::min(700, kFrames - start));
    writer.Close();

    const int frames = ending == "au" ? kFrames / (2 * bytes) : kFrames;
    std::string soxLength, soxBits;
    test::RunCommand("soxi -s '" + path + "' 2>/dev/null", &soxLength);
    test::RunCommand("soxi -b '" + path + "' 2>/dev/null", &soxBits);
    EXPECT_EQ(std::stoi(soxLength), frames);
    EXPECT_EQ(std::stoi(soxBits), c.bits ? c.bits : 32);
    CCodecSet reader(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(reader.Open(path, format, kCodecRead, 4096), 1);
    EXPECT_EQ(format.frames, frames);
    const std::vector<float> back = test::ReadAllFloats(reader, format);
    ASSERT_EQ(back.size(), static_cast<size_t>(frames) * 2);
    for (size_t i = 0; i < back.size(); ++i)
      ASSERT_NEAR(back[i], signal[i], c.bits ? std::ldexp(1.0, 1 - c.bits) : 1e-7) << i;
  }
}

}  // namespace
}  // namespace vantaro
