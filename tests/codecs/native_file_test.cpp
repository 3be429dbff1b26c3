// The native WAV, AIFF and Au readers through the codec set: every sample
// depth they open, crafted float samples, lying headers, files made by sox,
// and what the writers write. The valid and crafted files are also the seed
// corpus of the codec fuzz target (tests/fuzz), written into
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
#include "codecs/decoder_au.h"
#include "codecs/sample_convert.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/fuzz/codec_fuzz_input.h"

namespace vantaro {
namespace {

using test::AiffFile;
using test::AuFile;
using test::WavFile;

// Writes `bytes` as the fuzz seed `name`, behind the selector byte of its
// ending and of `targetBits` (target rate, channels, 16-bit reads).
void WriteSeed(const std::string& name, const std::string& bytes, uint8_t targetBits = 0) {
  static const std::string folder = [] {
    const char* chosen = std::getenv("VANTARO_FUZZ_SEEDS");
    std::string path = chosen && *chosen ? chosen : VANTARO_BINARY_DIR "/fuzz_seeds/codecs";
    std::filesystem::create_directories(path);
    return path;
  }();
  const uint8_t selector = fuzz::SelectorFor(name.substr(name.rfind('.'))) | targetBits;
  test::WriteFile(folder + "/" + name, std::string(1, static_cast<char>(selector)) + bytes);
}

// `value` as a `bits`-deep integer sample, left-justified in ceil(bits / 8)
// bytes.
std::string IntSample(double value, int bits, bool bigEndian) {
  const int bytes = (bits + 7) / 8;
  const long double scaled = std::ldexp(static_cast<long double>(value), bits - 1);
  const long double top = std::ldexp(1.0L, bits - 1) - 1;
  const auto word = static_cast<uint64_t>(std::llround(std::min(scaled, top))) << (64 - bits);
  std::string out;
  for (int i = 0; i < bytes; ++i)
    out += static_cast<char>(word >> (64 - 8 * (bigEndian ? i + 1 : bytes - i)));
  return out;
}

template <typename T>
std::string FloatSample(T value, bool bigEndian) {
  std::string out(sizeof(T), '\0');
  std::memcpy(out.data(), &value, sizeof(T));
  if (bigEndian) std::reverse(out.begin(), out.end());
  return out;
}

// Every depth a native reader opens is read at full scale, and nothing a
// float file holds reaches a reader of the set (the analysis in floats, the
// deck in 16 bits) as NaN, infinity or a sample far past full scale.
TEST(NativeFiles, EveryDepthIsConvertedAndFinite) {
  constexpr int kFrames = 512;
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> plain = {0.5, -0.25, 0.9990234375, -1.0, 0.0001220703125, 0.0};
  std::vector<double> crafted = plain;
  crafted.insert(crafted.end(), {NAN, inf, -inf, 1e30, -1e300});
  const struct {
    const char* ending;
    int bits;
    bool isFloat;
  } cases[] = {{"wav", 8, false},   {"wav", 12, false},  {"wav", 16, false},  {"wav", 20, false},
               {"wav", 24, false},  {"wav", 32, false},  {"wav", 48, false},  {"wav", 64, false},
               {"wav", 32, true},   {"wav", 64, true},   {"aiff", 16, false}, {"aiff", 20, false},
               {"aiff", 24, false}, {"aiff", 28, false}, {"aiff", 32, false}, {"au", 8, false},
               {"au", 16, false},   {"au", 24, false},   {"au", 32, false},   {"au", 32, true},
               {"au", 64, true}};
  test::TempDir dir;
  for (const auto& c : cases) {
    const std::string name = std::to_string(c.bits) + (c.isFloat ? "f." : "i.") + c.ending;
    SCOPED_TRACE(name);
    const bool wav = std::strcmp(c.ending, "wav") == 0, aiff = std::strcmp(c.ending, "aiff") == 0;
    const std::vector<double>& values = c.isFloat ? crafted : plain;
    std::string data;
    for (int i = 0; i < kFrames; ++i) {
      const double v = values[i % values.size()];
      if (c.isFloat) {
        data += c.bits == 32 ? FloatSample(static_cast<float>(v), !wav) : FloatSample(v, !wav);
      } else {
        data += IntSample(v, c.bits, !wav);
        if (wav && c.bits == 8) data.back() ^= '\x80';  // unsigned
      }
    }
    const uint32_t size = static_cast<uint32_t>(data.size());
    const std::string file =
        wav    ? WavFile(c.isFloat ? 3 : 1, 1, 44100, c.bits, size, data)
        : aiff ? AiffFile(1, kFrames, c.bits, 44100, size + 8, data)
               : AuFile(24, size, c.isFloat ? c.bits / 32 + 5 : c.bits / 8 + 1, 44100, 1, data);
    test::WriteFile(dir.File(name), file);
    WriteSeed("depth-" + name, file);
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(dir.File(name), format, kCodecRead, kFrames), 1);
    std::vector<float> floats(kFrames * 2);
    std::vector<int16_t> shorts(kFrames * 2);
    ASSERT_EQ(set.GetFloatSamples(floats.data(), kFrames, 0), kFrames);
    ASSERT_EQ(set.GetShortSamples(shorts.data(), kFrames, 0), kFrames);
    const double step = std::max(std::ldexp(1.0, 1 - std::min(c.bits, 24)), 1e-6);
    for (int i = 0; i < kFrames; ++i) {
      double want = values[i % values.size()];
      if (c.isFloat && c.bits == 32) want = static_cast<float>(want);
      const float v = floats[i * 2];
      ASSERT_TRUE(std::isfinite(v) && std::fabs(v) <= kLargestSample) << i << ": " << v;
      if (!(std::fabs(want) <= 1.0)) {  // NaN, infinity: silence; past full scale: clipped
        ASSERT_EQ(shorts[i * 2], std::isfinite(want) ? (want > 0 ? 32767 : -32768) : 0) << i;
        ASSERT_TRUE(std::isfinite(want) || v == 0.0f) << i;
        continue;
      }
      ASSERT_NEAR(v, want, step) << i;
      ASSERT_NEAR(shorts[i * 2], want * 32767, 1.0 + 32767 * step) << i;
    }
  }
}

// `frames` stereo 16-bit frames of a ramp starting at -1000.
std::string Ramp16(int frames, bool bigEndian) {
  std::string s;
  for (int i = 0; i < frames * 2; ++i)
    (bigEndian ? test::AppendBE16 : test::AppendLE16)(s, static_cast<uint16_t>(i * 7 - 1000));
  return s;
}

std::string Replaced(std::string s, size_t at, const std::string& bytes) {
  return s.replace(at, bytes.size(), bytes);
}

// Opens `bytes` as file `name` through a codec set (44100 Hz float stereo)
// and reads the stream and past it, so that the sanitizers see every read.
// Returns the source frames when a native reader took the file, else -1;
// `first` gets the first sample read.
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
  const std::string codec = set.CurrentCodecName();
  if (codec != "wav" && codec != "aiff" && codec != "au") return -1;  // a fallback took it
  EXPECT_LE(total, format.frames + 1) << "no read beyond the stream";
  return set.SourceFormat().frames;
}

// Headers that lie: what cannot be read safely is refused (and the set
// stays closed and reusable), sizes past the end of the file are cut to it,
// chunk walks end, and the data starts where the header says.
TEST(NativeFiles, LyingHeadersAreRefusedOrCut) {
  const std::string ramp = Ramp16(64, false), rampBE = Ramp16(64, true);
  const std::string wav = WavFile(1, 2, 44100, 16, 256, ramp);
  const std::string aiff = AiffFile(2, 64, 16, 44100, 264, rampBE);
  std::string list = wav.substr(0, 36) + "LIST";
  test::AppendLE32(list, 10);
  list += "INFOabcdef" + wav.substr(36);
  std::string zeros = wav.substr(0, 36), many = aiff.substr(0, 12);
  for (int i = 0; i < 500; ++i) zeros += std::string("JUNK\0\0\0\0", 8);
  for (int i = 0; i < 150; ++i) many += std::string("JUNK\0\0\0\0", 8);
  many += aiff.substr(12);
  auto aiffAt = [&](uint32_t rate, int bits = 16, uint32_t comm = 18) {
    return AiffFile(2, 64, bits, rate, 264, rampBE, comm);
  };
  auto au = [&](uint32_t offset, uint32_t size, uint32_t encoding, uint32_t rate, uint32_t ch) {
    return AuFile(offset, size, encoding, rate, ch, rampBE);
  };
  const struct {
    const char* name;
    std::string bytes;
    int frames;  // -1: refused by the native readers
    bool rampFirst = true;
  } cases[] = {
      {"ok.wav", wav, 64},
      {"adpcm.wav", WavFile(2, 2, 44100, 16, 256, ramp), -1},
      {"float16.wav", WavFile(3, 2, 44100, 16, 256, ramp), -1},
      {"mono0.wav", WavFile(1, 0, 44100, 16, 256, ramp), -1},
      {"ch65535.wav", WavFile(1, 65535, 44100, 16, 256, ramp), -1},
      {"rate4g.wav", WavFile(1, 2, 0xFFFFFFFFu, 16, 256, ramp), -1},
      {"bits0.wav", WavFile(1, 2, 44100, 0, 256, ramp), -1},
      {"bits65535.wav", WavFile(1, 2, 44100, 65535, 256, ramp), -1},
      {"ext18.wav", Replaced(wav, 16, "\x12"), -1},
      {"xiff.wav", Replaced(wav, 0, "X"), -1},
      {"cut.wav", wav.substr(0, 30), -1},
      {"nodata.wav", wav.substr(0, 36), -1},
      {"list.wav", list, 64},
      {"size4g.wav", WavFile(1, 2, 44100, 16, 0xFFFFFFFFu, ramp), 64},
      {"odd.wav", WavFile(1, 2, 44100, 16, 255, ramp), 63},
      {"jump.wav", Replaced(wav, 36, std::string("JUNK\xF0\xFF\xFF\xFF", 8)), -1},
      {"zeros.wav", zeros, -1},
      {"ok.aiff", aiff, 64},
      {"aifc.aiff", aiffAt(44100, 16, 22), -1},
      {"form.aiff", Replaced(aiff, 8, "AIFC"), -1},
      {"11024.aiff", aiffAt(11024), -1},
      {"11025.aiff", aiffAt(11025), 64},
      {"96000.aiff", aiffAt(96000), 64},
      {"96001.aiff", aiffAt(96001), -1},
      {"8bit.aiff", aiffAt(44100, 8), -1},
      {"40bit.aiff", aiffAt(44100, 40), -1},
      {"cut.aiff", aiff.substr(0, 40), -1},
      {"many.aiff", many, -1},
      {"size4g.aiff", AiffFile(2, 64, 16, 44100, 0xFFFFFFFFu, rampBE), 64},
      {"tiny.aiff", AiffFile(2, 64, 16, 44100, 3, rampBE), 0, false},
      // The SSND offset moves the first sample; (size - 8) still counts it.
      {"offset.aiff", Replaced(AiffFile(2, 1, 16, 44100, 12, "skip" + rampBE), 49, "\x04"), 1},
      {"ok.au", au(24, 256, 3, 44100, 2), 64},
      {"offset0.au", au(0, 256, 3, 44100, 2), 64},
      {"mulaw.au", au(24, 256, 1, 44100, 2), -1},
      {"ch2g.au", au(24, 256, 3, 44100, 0x80000000u), -1},
      {"size4g.au", au(24, 0xFFFFFFFFu, 3, 44100, 2), 64},
      {"far.au", au(0x7FFFFFF0u, 256, 3, 44100, 2), 0, false},
      {"cut.au", au(24, 256, 3, 44100, 2).substr(0, 20), -1},
      {"inner.au", AuFile(8, 16, 3, 44100, 1, rampBE), 8, false},  // data inside the header
  };
  test::LogCapture log;
  for (const auto& c : cases) {
    float first = NAN;
    EXPECT_EQ(OpenCrafted(c.name, c.bytes, first), c.frames) << c.name;
    if (c.frames > 0 && c.rampFirst) {
      EXPECT_FLOAT_EQ(first, -1000 * 3.0518e-5f) << c.name;
    }
    WriteSeed(std::string("crafted-") + c.name, c.bytes);
  }
  EXPECT_NE(log.Text().find("16-bit float samples are not read"), std::string::npos);
}

// Files made by sox read as sox reads them, to one quantisation step.
TEST(NativeFiles, SoxFilesReadAsSoxReadsThem) {
  const struct {
    const char* type;  // sox's name of the container
    int rate, channels;
    const char* soxFormat;
    int bits;
    uint8_t targetBits;  // of the fuzz seed
  } cases[] = {{"wavpcm", 44100, 2, "-b 16", 16, 0x00},
               {"wavpcm", 48000, 1, "-b 8", 8, 0x04},
               {"wavpcm", 22050, 5, "-b 24", 24, 0x20},
               {"wavpcm", 44100, 2, "-e signed-integer -b 32", 32, 0x48},
               {"aiff", 11025, 2, "-b 24", 24, 0x0C},
               {"aiff", 96000, 1, "-b 32", 32, 0x44},
               {"au", 44100, 2, "-e signed-integer -b 8", 8, 0x30},
               {"au", 48000, 2, "-e floating-point -b 32", 32, 0x10}};
  test::TempDir dir;
  for (const auto& c : cases) {
    const std::string ending = c.type[0] == 'w' ? "wav" : c.type;
    const std::string path = dir.File(std::to_string(c.rate) + "_" + std::to_string(c.channels) +
                                      "_" + std::to_string(c.bits) + "." + ending);
    SCOPED_TRACE(path);
    ASSERT_TRUE(
        test::MakeSoxTone(path, c.rate, c.channels, c.soxFormat + std::string(" -t ") + c.type));
    WriteSeed("sox-" + path.substr(path.rfind('/') + 1), test::ReadFile(path), c.targetBits);
    CCodecSet set(30);
    TCodecFormat format{c.rate, c.channels, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
    EXPECT_EQ(set.CurrentCodecName(), ending);
    const std::vector<float> decoded = test::ReadAllFloats(set, format);
    EXPECT_LE(test::LargestDifference(decoded, test::SoxDecode(path)),
              std::max(std::ldexp(1.0, 1 - c.bits), 1.2e-7));
    EXPECT_GT(test::Rms(decoded, c.channels, 0), 0.4) << "the tone is there";
  }
}

// Reads into another rate and channel count: the length follows the rounding
// rule, mono goes to both sides, extra channels are dropped (300 and 450 Hz
// are the first two), missing ones repeat the last, and blocks join without
// a click.
TEST(NativeFiles, ConvertedReadsKeepLengthPitchAndChannels) {
  test::TempDir dir;
  const struct {
    int rate, channels, targetChannels;
  } cases[] = {{22050, 1, 2}, {48000, 5, 2}, {11025, 2, 1}, {44100, 2, 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.rate) + " Hz, " + std::to_string(c.channels) + " channels");
    const std::string path = dir.File("tone.wav");
    ASSERT_TRUE(test::MakeSoxTone(path, c.rate, c.channels, "-b 16 -t wavpcm", 0.3));
    CCodecSet set(30);
    TCodecFormat format{44100, c.targetChannels, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 1000), 1);
    EXPECT_EQ(format.frames, std::llround(set.SourceFormat().frames * 44100.0 / c.rate));
    const std::vector<float> all = test::ReadAllFloats(set, format, 1000);
    ASSERT_EQ(all.size(), static_cast<size_t>(format.frames) * c.targetChannels);
    for (int channel = 0; channel < c.targetChannels; ++channel) {
      const double hz = 300 + 150 * std::min(channel, c.channels - 1);
      EXPECT_NEAR(test::ToneFrequency(all, c.targetChannels, channel), hz, 1.5) << channel;
      EXPECT_NEAR(test::Rms(all, c.targetChannels, channel), 0.7 / std::sqrt(2.0), 0.02);
      // A sine of 0.7 moves at most 0.7 * 2 pi hz / rate in one source frame.
      // Block starts and lengths are rounded apart, and the last output of a
      // block is its last source frame, so a join may span two source frames;
      // a stale or foreign sample jumps further.
      EXPECT_LT(test::LargestStep(all, c.targetChannels, channel),
                2 * 0.7 * 2 * M_PI * hz / std::min(c.rate, 44100) + 0.005);
    }
  }
}

// A ramp read with a start frame, then on from there, then past the end;
// seconds count the whole stream in WAV and the frames read in AIFF and Au.
TEST(NativeFiles, StartFramesEndsAndSeconds) {
  test::TempDir dir;
  // Endings are compared in lower case.
  for (const char* ending : {"WAV", "Aiff", "aU"}) {
    SCOPED_TRACE(ending);
    const bool wav = ending[0] == 'W', au = ending[1] == 'U';
    const std::string path = dir.File(std::string("ramp.") + ending);
    test::WriteFile(path, wav  ? WavFile(1, 2, 44100, 16, 400, Ramp16(100, false))
                          : au ? AuFile(24, 400, 3, 44100, 2, Ramp16(100, true))
                               : AiffFile(2, 100, 16, 44100, 408, Ramp16(100, true)));
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 16, 16, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 512), 1);
    EXPECT_FLOAT_EQ(set.GetSeconds(), wav ? 100 / 44100.0f : 0.0f);
    std::vector<int16_t> shorts(512 * 2, 7);
    ASSERT_EQ(set.GetShortSamples(shorts.data(), 256, 50), 50) << "the last 50 frames";
    EXPECT_EQ(shorts[0], 100 * 7 - 1000);
    EXPECT_FLOAT_EQ(set.GetSeconds(), wav ? 100 / 44100.0f : 50 / 44100.0f);
    EXPECT_EQ(set.GetShortSamples(shorts.data(), 256, 100), 0) << "after the end";
    CDecoderAu decoder(1);
    EXPECT_EQ(decoder.Open(path, format, kCodecRead), au) << "the ending decides";
    EXPECT_EQ(decoder.Open(path, format, kCodecRead), 0) << "already open, or refused";
  }
}

// Writes a two-tone signal in chunks of 700 frames; the header, sox's reading
// and the codec set's reading of the file all agree with it. The Au size
// field counts frames, not bytes: sox trusts it (and reads all only when
// told to ignore it), and so does the codec set.
TEST(NativeFiles, WrittenFilesReadBackBySoxAndTheSet) {
  constexpr int kFrames = 3000;
  std::vector<float> signal;
  for (int i = 0; i < kFrames * 2; ++i)
    signal.push_back(
        static_cast<float>(0.6 * std::sin(2 * M_PI * (i % 2 ? 220.5 : 441.0) * (i / 2) / 44100.0)));
  const struct {
    const char* ending;
    int bits;
  } cases[] = {{"wav", 16},  {"wav", 24}, {"wav", 32}, {"aiff", 16}, {"aiff", 24},
               {"aiff", 32}, {"au", 8},   {"au", 16},  {"au", 24},   {"au", 32}};
  test::TempDir dir;
  for (const auto& [ending, bits] : cases) {
    SCOPED_TRACE(std::string(ending) + " " + std::to_string(bits));
    const bool wav = std::strcmp(ending, "wav") == 0, au = std::strcmp(ending, "au") == 0;
    const bool isFloat = wav && bits == 32;
    std::string stored;
    for (float v : signal) {
      stored += isFloat ? FloatSample(v, false) : IntSample(v, bits, !wav);
    }
    const std::string path = dir.File(std::string("out.") + ending);
    const int frameSize = bits / 8 * 2;
    CCodecSet writer(100);
    TCodecFormat format{44100, 2, bits, bits, 0, 0};
    ASSERT_EQ(writer.Open(path, format, kCodecWrite, 4096), 1);
    int answered = 0;
    for (int start = 0; start < kFrames; start += 700)
      answered +=
          writer.PutSamples(stored.data() + start * frameSize, std::min(700, kFrames - start));
    EXPECT_EQ(answered, au ? 0 : kFrames) << "the Au writer answers 0 while healthy";
    EXPECT_NEAR(writer.GetSeconds(), kFrames / 44100.0, 1e-6);
    writer.Close();
    const std::string file = test::ReadFile(path);
    const uint32_t bytes = kFrames * frameSize;
    const int framesInHeader = au ? kFrames / frameSize : kFrames;
    if (wav) {
      EXPECT_EQ(file, WavFile(isFloat ? 3 : 1, 2, 44100, bits, bytes, stored));
    } else if (au) {
      EXPECT_EQ(file, AuFile(24, kFrames, bits / 8 + 1, 44100, 2, stored));
    } else {
      EXPECT_EQ(test::BE32At(file, 4), bytes + 46) << "FORM size";
      EXPECT_EQ(file.substr(8), AiffFile(2, kFrames, bits, 44100, bytes + 8, stored).substr(8));
    }
    const double step = std::max(std::ldexp(1.0, 1 - bits), 1.2e-7);
    EXPECT_LE(test::LargestDifference(test::SoxDecode(path, au ? "--ignore-length" : ""), signal),
              step);
    CCodecSet reader(30);
    TCodecFormat read{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(reader.Open(path, read, kCodecRead, 4096), 1);
    EXPECT_EQ(read.frames, framesInHeader);
    EXPECT_LE(test::LargestDifference(
                  test::ReadAllFloats(reader, read),
                  std::vector<float>(signal.begin(), signal.begin() + framesInHeader * 2)),
              step);
  }
  CCodecSet set(100);
  TCodecFormat bad{44100, 0, 16, 16, 0, 0};
  EXPECT_EQ(set.Open(dir.File("none.wav"), bad, kCodecWrite, 1024), 0) << "no channels";
  TCodecFormat good{44100, 2, 16, 16, 0, 0};
  EXPECT_EQ(set.Open(dir.File("missing/x.wav"), good, kCodecWrite, 1024), 0);
  ASSERT_EQ(set.Open(dir.File("empty.wav"), good, kCodecWrite, 1024), 1);
  std::vector<float> floats(1024 * 2);
  EXPECT_EQ(set.GetFloatSamples(floats.data(), 1024, 0), 0) << "a writer delivers nothing";
  set.Close();
  EXPECT_EQ(test::Soxi("-s", dir.File("empty.wav")), "0") << "an empty file is still valid";
}

}  // namespace
}  // namespace vantaro
