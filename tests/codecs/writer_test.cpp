// Files written through the codec set are read back by sox and by the codec
// set itself: same samples, and the header fields the writers promise.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
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

std::vector<float> Expected(int frames) {
  std::vector<float> out;
  for (int f = 0; f < frames * 2; ++f) out.push_back(Signal(f / 2, f % 2));
  return out;
}

// `Signal` stored as `bits`-wide samples in the given byte order (32 bits are
// floats when `float32`).
std::string Stored(int bits, bool bigEndian, bool float32) {
  std::string bytes;
  for (float v : Expected(kFrames)) {
    uint32_t word;
    if (float32) {
      std::memcpy(&word, &v, 4);
    } else {
      word = static_cast<uint32_t>(std::llround(v * std::ldexp(1.0, bits - 1)));
    }
    for (int i = 0; i < bits / 8; ++i)
      bytes += static_cast<char>(word >> (8 * (bigEndian ? bits / 8 - 1 - i : i)));
  }
  return bytes;
}

struct WriterCase {
  const char* ending;
  int bits;
};

void PrintTo(const WriterCase& c, std::ostream* out) {
  *out << c.ending << " " << c.bits << " bits";
}

class WrittenFileTest : public ::testing::TestWithParam<WriterCase> {};

// Writes the signal in chunks of 700 frames, then checks the header byte by
// byte, sox's reading, and the codec set's reading of the file.
TEST_P(WrittenFileTest, HeaderAndSamplesReadBackBySoxAndTheCodecSet) {
  const auto [ending, bits] = GetParam();
  const bool wav = std::strcmp(ending, "wav") == 0, au = std::strcmp(ending, "au") == 0;
  test::TempDir dir;
  const std::string path = dir.File(std::string("out.") + ending);
  const std::string bytes = Stored(bits, !wav, wav && bits == 32);
  const int frameSize = bits / 8 * 2;
  {
    CCodecSet set(100);
    TCodecFormat format{44100, 2, bits, bits, 0, 0};
    ASSERT_EQ(set.Open(path, format, kCodecWrite, 4096), 1);
    int answered = 0;
    for (int start = 0; start < kFrames; start += 700)
      answered += set.PutSamples(bytes.data() + start * frameSize, std::min(700, kFrames - start));
    // The Au writer answers 0 while the stream is healthy.
    EXPECT_EQ(answered, au ? 0 : kFrames);
    EXPECT_NEAR(set.GetSeconds(), kFrames / 44100.0, 1e-6) << "frames written / rate";
    set.Close();
  }
  const std::string file = test::ReadFile(path);
  const uint32_t dataBytes = kFrames * frameSize;
  const double step = std::max(std::ldexp(1.0, -(bits - 1)), 1.2e-7);
  // The Au size field counts frames, not bytes (3000 = 0xBB8): sox trusts it
  // and reads only kFrames bytes; told to ignore it, it reads them all. The
  // codec set trusts it too.
  int framesInHeader = kFrames;
  if (wav) {
    ASSERT_EQ(file.size(), 44 + dataBytes);
    EXPECT_EQ(file.substr(0, 44), test::WavFile(bits == 32 ? 3 : 1, 2, 44100, bits, dataBytes, ""));
  } else if (au) {
    ASSERT_EQ(file.size(), 24 + dataBytes);
    EXPECT_EQ(file.substr(0, 24), test::AuFile(24, kFrames, bits / 8 + 1, 44100, 2, ""));
    framesInHeader = kFrames / frameSize;
    EXPECT_EQ(test::SoxDecode(path).size(), static_cast<size_t>(framesInHeader * 2));
  } else {
    ASSERT_EQ(file.size(), 54 + dataBytes);
    EXPECT_EQ(test::BE32At(file, 4), dataBytes + 46) << "FORM size";
    EXPECT_EQ(file.substr(8, 46),
              test::AiffFile(2, kFrames, bits, 44100, dataBytes + 8, "").substr(8));
  }
  EXPECT_EQ(test::Soxi("-r", path), "44100");
  EXPECT_EQ(test::Soxi("-c", path), "2");
  EXPECT_EQ(test::Soxi("-b", path), std::to_string(bits));
  EXPECT_LE(test::LargestDifference(test::SoxDecode(path, au ? "--ignore-length" : ""),
                                    Expected(kFrames)),
            step);

  CCodecSet set(30);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
  EXPECT_EQ(format.frames, framesInHeader);
  EXPECT_LE(test::LargestDifference(test::ReadAllFloats(set, format), Expected(framesInHeader)),
            step);
}

INSTANTIATE_TEST_SUITE_P(Formats, WrittenFileTest,
                         ::testing::Values(WriterCase{"wav", 16}, WriterCase{"wav", 24},
                                           WriterCase{"wav", 32}, WriterCase{"aiff", 16},
                                           WriterCase{"aiff", 24}, WriterCase{"aiff", 32},
                                           WriterCase{"au", 8}, WriterCase{"au", 16},
                                           WriterCase{"au", 24}, WriterCase{"au", 32}),
                         [](const ::testing::TestParamInfo<WriterCase>& info) {
                           return info.param.ending + std::to_string(info.param.bits);
                         });

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
