// Files that lie in their headers, and the refusals the native readers make:
// a refusal is silent and leaves the codec set closed and reusable; a lying
// size is read to the real end of the file.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/decoder_aif.h"
#include "codecs/decoder_au.h"
#include "codecs/decoder_wav.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::AiffFile;
using test::AuFile;
using test::WavFile;

// `frames` stereo 16-bit frames of a rising ramp, as little- or big-endian
// bytes.
std::string Ramp16(int frames, bool bigEndian) {
  std::string s;
  for (int i = 0; i < frames * 2; ++i) {
    const uint32_t v = static_cast<uint16_t>(i * 7 - 1000);
    bigEndian ? test::AppendBE16(s, v) : test::AppendLE16(s, v);
  }
  return s;
}

// True when the current codec of `set` is one of the native readers.
bool NativeCodecIsCurrent(const CCodecSet& set) {
  const std::string name = set.CurrentCodecName();
  return name == "wav" || name == "aiff" || name == "au";
}

// Opens `bytes` written to `name` through a codec set (target 44100 Hz
// stereo); returns the source frames a native reader opened, or -1 when the native readers
// refused. Whatever codec takes the file, the whole stream is read in blocks
// to prove every read stays inside its buffer.
int OpenCrafted(const std::string& name, const std::string& bytes) {
  static test::TempDir dir;
  const std::string path = dir.File(name);
  test::WriteFile(path, bytes);
  CCodecSet set(30);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  if (!set.Open(path, format, kCodecRead, 1024)) {
    EXPECT_FALSE(set.IsOpen());
    EXPECT_EQ(set.CurrentCodecIndex(), -1);
    return -1;
  }
  std::vector<float> buffer(1024 * 2);
  int total = 0;
  for (int64_t start = 0; start < format.frames + 2048; start += 1024) {
    total += set.GetFloatSamples(buffer.data(), 1024, start);
  }
  std::vector<int16_t> shorts(1024 * 2);
  set.GetShortSamples(shorts.data(), 1024, 0);
  if (!NativeCodecIsCurrent(set)) return -1;  // a later fallback reader took it
  EXPECT_LE(total, format.frames + 1) << "no read beyond the stream";
  return set.SourceFormat().frames;
}

TEST(WavHeader, RefusesWhatItDoesNotRead) {
  const std::string data = Ramp16(64, false);
  auto wav = [&](int tag, int channels, uint32_t rate, int bits) {
    return OpenCrafted("x.wav", WavFile(tag, channels, rate, bits, 256, data));
  };
  EXPECT_EQ(wav(1, 2, 44100, 16), 64);
  EXPECT_EQ(wav(1, 2, 44100, 12), 64) << "an odd depth opens and reaches the set unconverted";
  EXPECT_EQ(wav(2, 2, 44100, 16), -1) << "ADPCM tag";
  EXPECT_EQ(wav(1, 0, 44100, 16), -1) << "zero channels";
  EXPECT_EQ(wav(1, 65535, 44100, 16), -1) << "65535 channels";
  EXPECT_EQ(wav(1, 2, 0, 16), -1) << "zero rate";
  EXPECT_EQ(wav(1, 2, 0xFFFFFFFFu, 16), -1) << "huge rate";
  EXPECT_EQ(wav(1, 2, 44100, 0), -1) << "zero bits";
  EXPECT_EQ(wav(1, 2, 44100, 65535), -1) << "8 KB samples";
  const std::string good = WavFile(1, 2, 44100, 16, 256, data);
  // Extensible format chunks of 18 and 40 bytes.
  for (char fmtSize : {18, 40}) {
    std::string file = good;
    file[16] = fmtSize;
    EXPECT_EQ(OpenCrafted("ext.wav", file), -1) << int{fmtSize};
  }
  EXPECT_EQ(OpenCrafted("riff.wav", "X" + good.substr(1)), -1) << "not RIFF";
  EXPECT_EQ(OpenCrafted("short.wav", good.substr(0, 30)), -1) << "truncated header";
  EXPECT_EQ(OpenCrafted("nodata.wav", good.substr(0, 36)), -1) << "no data chunk";
}

TEST(WavHeader, LyingSizesAreReadToTheRealEnd) {
  const std::string data = Ramp16(256, false);  // 1 KB of samples
  EXPECT_EQ(OpenCrafted("4g.wav", WavFile(1, 2, 44100, 16, 0xFFFFFFFFu, data)), 256)
      << "a 4 GB data size on a 1 KB file";
  EXPECT_EQ(OpenCrafted("odd.wav", WavFile(1, 2, 44100, 16, 1023, data)), 255)
      << "a size that ends inside a frame counts whole frames";
  // A chunk before "data" whose size jumps past the end of the file.
  std::string jump = WavFile(1, 2, 44100, 16, 1024, data);
  jump.replace(36, 4, "JUNK");
  jump.replace(40, 4, std::string("\xF0\xFF\xFF\xFF", 4));
  EXPECT_EQ(OpenCrafted("jump.wav", jump), -1);
  // Chunks of size 0 only move the walk by their 8-byte header: it ends at
  // the end of the file instead of looping.
  std::string zeros = WavFile(1, 2, 44100, 16, 0, "");
  zeros.resize(36);
  for (int i = 0; i < 500; ++i) zeros += std::string("JUNK\0\0\0\0", 8);
  EXPECT_EQ(OpenCrafted("zeros.wav", zeros), -1);
}

TEST(WavHeader, ListChunkBeforeDataIsWalkedOver) {
  test::TempDir dir;
  const std::string data = Ramp16(100, false);
  std::string file = WavFile(1, 2, 44100, 16, 400, data).substr(0, 36);
  file += "LIST";
  test::AppendLE32(file, 10);
  file += "INFOabcdef";
  file += "data";
  test::AppendLE32(file, 400);
  file += data;
  const std::string path = dir.File("list.wav");
  test::WriteFile(path, file);
  CDecoderWAV wav(1);
  TCodecFormat format{};
  ASSERT_EQ(wav.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(wav.DataStart(), 36 + 18 + 8);
  EXPECT_EQ(format.frames, 100);
  int16_t first[2];
  ASSERT_EQ(wav.GetSamples(first, 1, 0), 1);
  EXPECT_EQ(first[0], -1000);
  EXPECT_EQ(first[1], -993);
}

TEST(AiffHeader, RefusalsAndRateLimits) {
  const std::string data = Ramp16(64, true);
  auto aiff = [&](int channels, int bits, uint32_t rate, uint32_t commSize = 18) {
    return OpenCrafted("x.aiff", AiffFile(channels, 64, bits, rate, 264, data, commSize));
  };
  EXPECT_EQ(aiff(2, 16, 44100), 64);
  EXPECT_EQ(aiff(2, 16, 44100, 22), -1) << "a 22-byte COMM chunk is AIFC";
  for (uint32_t rate : {8000u, 11024u, 96001u}) EXPECT_EQ(aiff(2, 16, rate), -1) << rate;
  for (uint32_t rate : {11025u, 96000u}) EXPECT_EQ(aiff(2, 16, rate), 64) << rate;
  EXPECT_EQ(OpenCrafted("8bit.aiff", AiffFile(2, 64, 8, 44100, 136, data.substr(0, 128))), -1);
  EXPECT_EQ(aiff(2, 40, 44100), -1);
  EXPECT_EQ(aiff(0, 16, 44100), -1);
  const std::string good = AiffFile(2, 64, 16, 44100, 264, data);
  EXPECT_EQ(OpenCrafted("form.aiff", good.substr(0, 8) + "AIFC" + good.substr(12)), -1);
  EXPECT_EQ(OpenCrafted("cut.aiff", good.substr(0, 40)), -1) << "end of file inside the walk";
}

TEST(AiffHeader, ChunkWalkIsBoundedAndSizesAreCut) {
  test::TempDir dir;
  const std::string data = Ramp16(256, true);
  EXPECT_EQ(OpenCrafted("4g.aiff", AiffFile(2, 256, 16, 44100, 0xFFFFFFFFu, data)), 256);
  EXPECT_EQ(OpenCrafted("tiny.aiff", AiffFile(2, 256, 16, 44100, 3, data)), 0)
      << "an SSND size below its own header gives an empty stream";
  // 150 empty chunks before COMM: the walk gives up after 100.
  std::string many = "FORM";
  test::AppendBE32(many, 0);
  many += "AIFF";
  for (int i = 0; i < 150; ++i) many += std::string("JUNK\0\0\0\0", 8);
  many += AiffFile(2, 256, 16, 44100, 1032, data).substr(12);
  EXPECT_EQ(OpenCrafted("many.aiff", many), -1);
  // The SSND offset field moves the first sample.
  std::string offset = AiffFile(2, 2, 16, 44100, 8 + 4 + 8, std::string("\0\0\0\0", 4) + data);
  offset.replace(46, 4, std::string("\0\0\0\x04", 4));
  const std::string path = dir.File("offset.aiff");
  test::WriteFile(path, offset);
  CDecoderAIF aif(1);
  TCodecFormat format{};
  ASSERT_EQ(aif.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(aif.DataStart(), 54 + 4);
  EXPECT_EQ(format.frames, 3) << "(ssndSize - 8) / frameSize, offset not subtracted";
}

TEST(AuHeader, EncodingsAndOffsets) {
  const std::string data = Ramp16(64, true);
  auto au = [&](uint32_t offset, uint32_t size, uint32_t encoding, uint32_t rate, uint32_t ch) {
    return OpenCrafted("x.au", AuFile(offset, size, encoding, rate, ch, data));
  };
  EXPECT_EQ(au(24, 256, 3, 44100, 2), 64);
  EXPECT_EQ(au(0, 256, 3, 44100, 2), 64) << "offset 0 means 24";
  for (uint32_t encoding : {1u, 27u, 23u})
    EXPECT_EQ(au(24, 256, encoding, 44100, 2), -1) << "mu-law, A-law, G.721";
  EXPECT_EQ(au(24, 256, 3, 44100, 0), -1);
  EXPECT_EQ(au(24, 256, 3, 0, 2), -1);
  EXPECT_EQ(au(24, 256, 3, 44100, 0x80000000u), -1);
  EXPECT_EQ(au(24, 256, 7, 44100, 0x736e6400u), -1) << "64-bit samples times a huge channel count";
  EXPECT_EQ(au(24, 0xFFFFFFFFu, 3, 44100, 2), 64);
  EXPECT_EQ(au(0x7FFFFFF0u, 256, 3, 44100, 2), 0) << "an offset past the end leaves nothing";
  EXPECT_EQ(OpenCrafted("cut.au", AuFile(24, 256, 3, 44100, 2, data).substr(0, 20)), -1);
  // Encoding 7 (64-bit float) opens and reaches the codec set unconverted.
  EXPECT_EQ(au(24, 512, 7, 44100, 2), 16) << "256 bytes of 16-byte frames";
  // An offset inside the header is taken as it stands.
  test::TempDir dir;
  const std::string path = dir.File("inner.au");
  test::WriteFile(path, AuFile(8, 16, 3, 44100, 1, data));
  CDecoderAu decoder(1);
  TCodecFormat format{};
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(decoder.DataStart(), 8);
  EXPECT_EQ(format.frames, 8);
}

TEST(NativeDecoders, PathEndingsAndReopen) {
  test::TempDir dir;
  const std::string data = Ramp16(16, false);
  const std::string wavBytes = WavFile(1, 2, 44100, 16, 64, data);
  // The ending alone is compared, in lower case.
  for (const char* name : {"a.wav", "b.WAV", "cwav", "d.Wav"}) {
    test::WriteFile(dir.File(name), wavBytes);
    CDecoderWAV wav(1);
    TCodecFormat format{};
    EXPECT_EQ(wav.Open(dir.File(name), format, kCodecRead), 1) << name;
  }
  test::WriteFile(dir.File("e.wave"), wavBytes);
  CDecoderWAV wav(1);
  TCodecFormat format{};
  EXPECT_EQ(wav.Open(dir.File("e.wave"), format, kCodecRead), 0);
  ASSERT_EQ(wav.Open(dir.File("a.wav"), format, kCodecRead), 1);
  EXPECT_EQ(wav.Open(dir.File("b.WAV"), format, kCodecRead), 0) << "already open";
  EXPECT_EQ(wav.frameSize, 4);
  EXPECT_EQ(wav.sampleRate, 44100);
  wav.Close();
  wav.Close();
  EXPECT_EQ(wav.opened, 0);
  EXPECT_EQ(wav.frameSize, 1);
  EXPECT_EQ(wav.sampleRate, 0);
  int16_t buffer[8];
  EXPECT_EQ(wav.GetSamples(buffer, 2, 0), 0) << "closed";
  EXPECT_EQ(wav.Open(dir.File("missing.wav"), format, kCodecRead), 0);
}

TEST(NativeDecoders, ReadsHonourTheStartFrameAndStopAtTheEnd) {
  test::TempDir dir;
  const std::string path = dir.File("ramp.au");
  test::WriteFile(path, AuFile(24, 100 * 4, 3, 44100, 2, Ramp16(100, true)));
  CDecoderAu au(1);
  TCodecFormat format{};
  ASSERT_EQ(au.Open(path, format, kCodecRead), 1);
  uint8_t bytes[4 * 40];
  ASSERT_EQ(au.GetSamples(bytes, 10, 50), 10);
  EXPECT_EQ(test::BE16At(std::string(reinterpret_cast<char*>(bytes), 4), 0),
            static_cast<uint16_t>(100 * 7 - 1000));
  ASSERT_EQ(au.GetSamples(bytes, 10, kContinueFrame), 10) << "goes on at frame 60";
  EXPECT_EQ(test::BE16At(std::string(reinterpret_cast<char*>(bytes), 4), 0),
            static_cast<uint16_t>(120 * 7 - 1000));
  EXPECT_EQ(au.GetSamples(bytes, 40, 90), 10) << "the last 10 frames";
  EXPECT_EQ(au.GetSamples(bytes, 40, kContinueFrame), 0) << "after the end";
  EXPECT_EQ(au.GetSamples(bytes, 40, 1000), 0);
  EXPECT_EQ(au.GetSamples(bytes, 40, -5), 0);
  EXPECT_FLOAT_EQ(au.GetSeconds(), 30.0f / 44100.0f) << "frames read so far";
  EXPECT_EQ(au.PutSamples(bytes, 1), 0) << "reading, not writing";
}

}  // namespace
}  // namespace vantaro
