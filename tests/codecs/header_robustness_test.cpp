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
int OpenCrafted(const test::TempDir& dir, const std::string& name, const std::string& bytes) {
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
  test::TempDir dir;
  const std::string data = Ramp16(64, false);
  EXPECT_EQ(OpenCrafted(dir, "good.wav", WavFile(1, 2, 44100, 16, 256, data)), 64);
  // Extensible format chunks of 18 and 40 bytes.
  for (uint32_t fmtSize : {18u, 40u}) {
    std::string file = WavFile(1, 2, 44100, 16, 256, data);
    file.replace(16, 4, std::string("\x00\x00\x00\x00", 4));
    file[16] = static_cast<char>(fmtSize);
    EXPECT_EQ(OpenCrafted(dir, "ext.wav", file), -1) << fmtSize;
  }
  EXPECT_EQ(OpenCrafted(dir, "tag.wav", WavFile(2, 2, 44100, 16, 256, data)), -1) << "ADPCM tag";
  std::string notRiff = WavFile(1, 2, 44100, 16, 256, data);
  notRiff[0] = 'X';
  EXPECT_EQ(OpenCrafted(dir, "riff.wav", notRiff), -1);
  EXPECT_EQ(OpenCrafted(dir, "short.wav", WavFile(1, 2, 44100, 16, 256, data).substr(0, 30)), -1)
      << "truncated header";
  EXPECT_EQ(OpenCrafted(dir, "nodata.wav", WavFile(1, 2, 44100, 16, 256, data).substr(0, 36)), -1)
      << "no data chunk";
  EXPECT_EQ(OpenCrafted(dir, "noch.wav", WavFile(1, 0, 44100, 16, 256, data)), -1)
      << "zero channels";
  EXPECT_EQ(OpenCrafted(dir, "norate.wav", WavFile(1, 2, 0, 16, 256, data)), -1) << "zero rate";
  EXPECT_EQ(OpenCrafted(dir, "nobits.wav", WavFile(1, 2, 44100, 0, 256, data)), -1) << "zero bits";
  EXPECT_EQ(OpenCrafted(dir, "widebits.wav", WavFile(1, 2, 44100, 65535, 256, data)), -1)
      << "8 KB samples";
  EXPECT_EQ(OpenCrafted(dir, "12bits.wav", WavFile(1, 2, 44100, 12, 256, data)), 64)
      << "an odd depth opens and reaches the codec set unconverted";
  EXPECT_EQ(OpenCrafted(dir, "manych.wav", WavFile(1, 65535, 44100, 16, 256, data)), -1)
      << "65535 channels";
  EXPECT_EQ(OpenCrafted(dir, "hugerate.wav", WavFile(1, 2, 0xFFFFFFFFu, 16, 256, data)), -1);
}

TEST(WavHeader, LyingSizesAreReadToTheRealEnd) {
  test::TempDir dir;
  const std::string data = Ramp16(256, false);  // 1 KB of samples
  EXPECT_EQ(OpenCrafted(dir, "4g.wav", WavFile(1, 2, 44100, 16, 0xFFFFFFFFu, data)), 256)
      << "a 4 GB data size on a 1 KB file";
  EXPECT_EQ(OpenCrafted(dir, "odd.wav", WavFile(1, 2, 44100, 16, 1023, data)), 255)
      << "a size that ends inside a frame counts whole frames";
  // A chunk before "data" whose size jumps past the end of the file.
  std::string jump = WavFile(1, 2, 44100, 16, 1024, data);
  jump.replace(36, 4, "JUNK");
  jump.replace(40, 4, std::string("\xF0\xFF\xFF\xFF", 4));
  EXPECT_EQ(OpenCrafted(dir, "jump.wav", jump), -1);
  // Chunks of size 0 only move the walk by their 8-byte header: it ends at
  // the end of the file instead of looping.
  std::string zeros = WavFile(1, 2, 44100, 16, 0, "");
  zeros.resize(36);
  for (int i = 0; i < 500; ++i) zeros += std::string("JUNK\0\0\0\0", 8);
  EXPECT_EQ(OpenCrafted(dir, "zeros.wav", zeros), -1);
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
  test::TempDir dir;
  const std::string data = Ramp16(64, true);
  EXPECT_EQ(OpenCrafted(dir, "good.aiff", AiffFile(2, 64, 16, 44100, 264, data)), 64);
  EXPECT_EQ(OpenCrafted(dir, "aifc.aiff", AiffFile(2, 64, 16, 44100, 264, data, 22)), -1)
      << "a 22-byte COMM chunk is AIFC";
  EXPECT_EQ(OpenCrafted(dir, "8k.aiff", AiffFile(2, 64, 16, 8000, 264, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "11024.aiff", AiffFile(2, 64, 16, 11024, 264, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "11025.aiff", AiffFile(2, 64, 16, 11025, 264, data)), 64);
  EXPECT_EQ(OpenCrafted(dir, "96k.aiff", AiffFile(2, 64, 16, 96000, 264, data)), 64);
  EXPECT_EQ(OpenCrafted(dir, "96001.aiff", AiffFile(2, 64, 16, 96001, 264, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "8bit.aiff", AiffFile(2, 64, 8, 44100, 136, data.substr(0, 128))), -1);
  EXPECT_EQ(OpenCrafted(dir, "40bit.aiff", AiffFile(2, 64, 40, 44100, 264, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "noch.aiff", AiffFile(0, 64, 16, 44100, 264, data)), -1);
  std::string notAiff = AiffFile(2, 64, 16, 44100, 264, data);
  notAiff.replace(8, 4, "AIFC");
  EXPECT_EQ(OpenCrafted(dir, "form.aiff", notAiff), -1);
  EXPECT_EQ(OpenCrafted(dir, "cut.aiff", AiffFile(2, 64, 16, 44100, 264, data).substr(0, 40)), -1)
      << "end of file inside the chunk walk";
}

TEST(AiffHeader, ChunkWalkIsBoundedAndSizesAreCut) {
  test::TempDir dir;
  const std::string data = Ramp16(256, true);
  EXPECT_EQ(OpenCrafted(dir, "4g.aiff", AiffFile(2, 256, 16, 44100, 0xFFFFFFFFu, data)), 256);
  EXPECT_EQ(OpenCrafted(dir, "tiny.aiff", AiffFile(2, 256, 16, 44100, 3, data)), 0)
      << "an SSND size below its own header gives an empty stream";
  // 150 empty chunks before COMM: the walk gives up after 100.
  std::string many = "FORM";
  test::AppendBE32(many, 0);
  many += "AIFF";
  for (int i = 0; i < 150; ++i) many += std::string("JUNK\0\0\0\0", 8);
  many += AiffFile(2, 256, 16, 44100, 1032, data).substr(12);
  EXPECT_EQ(OpenCrafted(dir, "many.aiff", many), -1);
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
  test::TempDir dir;
  const std::string data = Ramp16(64, true);
  EXPECT_EQ(OpenCrafted(dir, "good.au", AuFile(24, 256, 3, 44100, 2, data)), 64);
  EXPECT_EQ(OpenCrafted(dir, "zero.au", AuFile(0, 256, 3, 44100, 2, data)), 64)
      << "offset 0 means 24";
  EXPECT_EQ(OpenCrafted(dir, "mulaw.au", AuFile(24, 256, 1, 44100, 2, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "alaw.au", AuFile(24, 256, 27, 44100, 2, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "g721.au", AuFile(24, 256, 23, 44100, 2, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "noch.au", AuFile(24, 256, 3, 44100, 0, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "norate.au", AuFile(24, 256, 3, 0, 2, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "bigch.au", AuFile(24, 256, 3, 44100, 0x80000000u, data)), -1);
  EXPECT_EQ(OpenCrafted(dir, "widech.au", AuFile(24, 256, 7, 44100, 0x736e6400u, data)), -1)
      << "64-bit samples times a huge channel count";
  EXPECT_EQ(OpenCrafted(dir, "4g.au", AuFile(24, 0xFFFFFFFFu, 3, 44100, 2, data)), 64);
  EXPECT_EQ(OpenCrafted(dir, "far.au", AuFile(0x7FFFFFF0u, 256, 3, 44100, 2, data)), 0)
      << "an offset past the end leaves nothing to read";
  EXPECT_EQ(OpenCrafted(dir, "cut.au", AuFile(24, 256, 3, 44100, 2, data).substr(0, 20)), -1);
  // Encoding 7 (64-bit float) opens and reaches the codec set unconverted.
  EXPECT_EQ(OpenCrafted(dir, "double.au", AuFile(24, 512, 7, 44100, 2, data)), 16)
      << "256 bytes of 16-byte frames";
  // An offset inside the header is taken as it stands.
  const std::string path = dir.File("inner.au");
  test::WriteFile(path, AuFile(8, 16, 3, 44100, 1, data));
  CDecoderAu au(1);
  TCodecFormat format{};
  ASSERT_EQ(au.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(au.DataStart(), 8);
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
