// Files written through the codec set are read back by sox: same samples,
// and the header fields the writers promise.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/decoder_au.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr int kFrames = 3000;

// A stereo test signal: a 441 Hz sine on the left, a slower one on the right,
// both below full scale.
float Signal(int frame, int channel) {
  const double hz = channel == 0 ? 441.0 : 220.5;
  return static_cast<float>(0.6 * std::sin(2 * M_PI * hz * frame / 44100.0));
}

// `Signal` stored as `bits`-wide samples in the given byte order (32 bits are
// floats when `float32`).
std::string Stored(int bits, bool bigEndian, bool float32) {
  std::string bytes;
  for (int f = 0; f < kFrames; ++f) {
    for (int c = 0; c < 2; ++c) {
      const double v = Signal(f, c);
      uint8_t b[4];
      if (bits == 32 && float32) {
        const float x = static_cast<float>(v);
        std::memcpy(b, &x, 4);
      } else {
        const int64_t scaled = std::llround(v * std::ldexp(1.0, bits - 1));
        for (int i = 0; i < 4; ++i)
          b[i] = static_cast<uint8_t>(static_cast<uint64_t>(scaled) >> (8 * i));
      }
      const int width = bits / 8;
      if (bigEndian) {
        for (int i = width - 1; i >= 0; --i) bytes += static_cast<char>(b[i]);
      } else {
        bytes.append(reinterpret_cast<char*>(b), width);
      }
    }
  }
  return bytes;
}

std::vector<float> Expected(int frames) {
  std::vector<float> out;
  for (int f = 0; f < frames; ++f) {
    for (int c = 0; c < 2; ++c) out.push_back(Signal(f, c));
  }
  return out;
}

// Writes the signal through a codec set in chunks of 700 frames; returns the
// sum of what PutSamples answered.
int WriteThroughCodecSet(const std::string& path, int bits, const std::string& bytes) {
  CCodecSet set(100);
  TCodecFormat format{44100, 2, bits, bits, 0, 0};
  EXPECT_EQ(set.Open(path, format, kCodecWrite, 4096), 1);
  const int frameSize = bits / 8 * 2;
  int answered = 0;
  for (int start = 0; start < kFrames; start += 700) {
    const int n = std::min(700, kFrames - start);
    answered += set.PutSamples(bytes.data() + start * frameSize, n);
  }
  EXPECT_NEAR(set.GetSeconds(), kFrames / 44100.0, 1e-6) << "frames written / rate";
  set.Close();
  return answered;
}

double Step(int bits) {
  return std::max(std::ldexp(1.0, -(bits - 1)), 1.2e-7);
}

TEST(WrittenFiles, WavIsReadBackBySoxWithItsHeaderFields) {
  test::TempDir dir;
  for (int bits : {16, 24, 32}) {
    SCOPED_TRACE(bits);
    const std::string path = dir.File("out" + std::to_string(bits) + ".wav");
    EXPECT_EQ(WriteThroughCodecSet(path, bits, Stored(bits, false, bits == 32)), kFrames);
    const std::string file = test::ReadFile(path);
    const uint32_t bytes = kFrames * 2 * (bits / 8);
    ASSERT_EQ(file.size(), 44 + bytes);
    EXPECT_EQ(file.substr(0, 4), "RIFF");
    EXPECT_EQ(test::LE32At(file, 4), bytes + 36);
    EXPECT_EQ(file.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(test::LE32At(file, 16), 16u);
    EXPECT_EQ(test::LE16At(file, 20), bits == 32 ? 3 : 1) << "tag";
    EXPECT_EQ(test::LE16At(file, 22), 2);
    EXPECT_EQ(test::LE32At(file, 24), 44100u);
    EXPECT_EQ(test::LE32At(file, 28), 44100u * 2 * (bits / 8)) << "byte rate";
    EXPECT_EQ(test::LE16At(file, 32), 2 * (bits / 8)) << "block align";
    EXPECT_EQ(test::LE16At(file, 34), bits);
    EXPECT_EQ(file.substr(36, 4), "data");
    EXPECT_EQ(test::LE32At(file, 40), bytes);
    EXPECT_EQ(test::Soxi("-c", path), "2");
    EXPECT_EQ(test::Soxi("-r", path), "44100");
    EXPECT_EQ(test::Soxi("-s", path), std::to_string(kFrames));
    EXPECT_LE(test::LargestDifference(test::SoxDecode(path), Expected(kFrames)), Step(bits));
  }
}

TEST(WrittenFiles, AiffIsReadBackBySoxWithItsHeaderFields) {
  test::TempDir dir;
  for (int bits : {16, 24, 32}) {
    SCOPED_TRACE(bits);
    const std::string path = dir.File("out" + std::to_string(bits) + ".aiff");
    EXPECT_EQ(WriteThroughCodecSet(path, bits, Stored(bits, true, false)), kFrames);
    const std::string file = test::ReadFile(path);
    const uint32_t bytes = kFrames * 2 * (bits / 8);
    ASSERT_EQ(file.size(), 54 + bytes);
    EXPECT_EQ(file.substr(0, 4), "FORM");
    EXPECT_EQ(test::BE32At(file, 4), bytes + 8 + 38);
    EXPECT_EQ(file.substr(8, 8), "AIFFCOMM");
    EXPECT_EQ(test::BE32At(file, 16), 18u);
    EXPECT_EQ(test::BE16At(file, 20), 2);
    EXPECT_EQ(test::BE32At(file, 22), static_cast<uint32_t>(kFrames));
    EXPECT_EQ(test::BE16At(file, 26), bits);
    EXPECT_EQ(file.substr(28, 4), std::string("\x40\x0E\xAC\x44", 4)) << "44100 as extended";
    EXPECT_EQ(file.substr(38, 4), "SSND");
    EXPECT_EQ(test::BE32At(file, 42), bytes + 8);
    EXPECT_EQ(test::BE32At(file, 46), 0u);
    EXPECT_EQ(test::BE32At(file, 50), 0u);
    EXPECT_EQ(test::Soxi("-r", path), "44100");
    EXPECT_EQ(test::Soxi("-b", path), std::to_string(bits));
    EXPECT_LE(test::LargestDifference(test::SoxDecode(path), Expected(kFrames)), Step(bits));
  }
}

TEST(WrittenFiles, AuCountsFramesInItsSizeField) {
  test::TempDir dir;
  for (int bits : {8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    const std::string path = dir.File("out" + std::to_string(bits) + ".au");
    // The Au writer answers 0 while the stream is healthy.
    EXPECT_EQ(WriteThroughCodecSet(path, bits, Stored(bits, true, false)), 0);
    const std::string file = test::ReadFile(path);
    const int frameSize = 2 * (bits / 8);
    ASSERT_EQ(file.size(), 24u + kFrames * frameSize);
    EXPECT_EQ(file.substr(0, 4), ".snd");
    EXPECT_EQ(test::BE32At(file, 4), 24u);
    EXPECT_EQ(test::BE32At(file, 8), static_cast<uint32_t>(kFrames)) << "frames, not bytes";
    EXPECT_EQ(test::BE32At(file, 12), CDecoderAu::EncodingOfBits(bits));
    EXPECT_EQ(test::BE32At(file, 16), 44100u);
    EXPECT_EQ(test::BE32At(file, 20), 2u);
    // sox trusts the size field and so reads kFrames bytes, the first
    // kFrames / frameSize frames; told to ignore it, it reads them all.
    const std::vector<float> trusted = test::SoxDecode(path);
    EXPECT_EQ(trusted.size(), static_cast<size_t>(kFrames / frameSize * 2));
    EXPECT_LE(test::LargestDifference(test::SoxDecode(path, "--ignore-length"), Expected(kFrames)),
              Step(bits));
  }
}

TEST(WrittenFiles, WrittenFilesReadBackThroughTheCodecSet) {
  test::TempDir dir;
  const struct {
    const char* name;
    int bits;
    bool bigEndian;
  } cases[] = {{"back.wav", 16, false}, {"back.aiff", 24, true}, {"back.au", 16, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = dir.File(c.name);
    WriteThroughCodecSet(path, c.bits, Stored(c.bits, c.bigEndian, false));
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
    // The Au file says kFrames in its size field, so only kFrames bytes count.
    const int expectedFrames =
        std::string(c.name).ends_with(".au") ? kFrames / (2 * c.bits / 8) : kFrames;
    EXPECT_EQ(format.frames, expectedFrames);
    const std::vector<float> decoded = test::ReadAllFloats(set, format);
    EXPECT_LE(test::LargestDifference(decoded, Expected(expectedFrames)), Step(c.bits));
  }
}

TEST(WrittenFiles, WriterRefusalsAndModes) {
  test::TempDir dir;
  CCodecSet set(100);
  TCodecFormat bad{44100, 0, 16, 16, 0, 0};
  EXPECT_EQ(set.Open(dir.File("zero.wav"), bad, kCodecWrite, 1024), 0);
  EXPECT_EQ(set.Open(dir.File("missing/folder/x.wav"), bad, kCodecWrite, 1024), 0);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  ASSERT_EQ(set.Open(dir.File("w.wav"), format, kCodecWrite, 1024), 1);
  std::vector<float> floats(1024 * 2);
  EXPECT_EQ(set.GetFloatSamples(floats.data(), 1024, 0), 0) << "a writer delivers nothing";
  set.Close();
  EXPECT_EQ(set.PutSamples(floats.data(), 10), 0) << "closed";
  EXPECT_EQ(test::Soxi("-s", dir.File("w.wav")), "0") << "an empty file is still a valid file";
}

}  // namespace
}  // namespace vantaro
