// The codec set's own rules: entry checks, open and close, the path rules
// (kv:/, the .cdg neighbour), silence where a read delivers nothing, and the
// lock the audio thread must never take.

#include "codecs/codec_set.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/realtime.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

// A test codec taking every path that ends in `ending` as 16-bit stereo at
// 44100 Hz of 100000 frames, stored in `frameSize` bytes a frame (3 is a
// width no conversion reads). It remembers the path it was offered last.
class CFakeCodec : public CBaseCodec {
 public:
  CFakeCodec(const char* ending, int storedFrameSize)
      : CBaseCodec(0), ending_(ending), storedFrameSize_(storedFrameSize) {}
  int Open(const std::string& path, TCodecFormat& format, int) override {
    offered = path;
    format = {44100, 2, 16, 16, 0, 100000};
    frameSize = storedFrameSize_;
    return opened = path.ends_with(ending_);
  }
  int GetSamples(void*, int, int64_t) override { return 0; }
  int PutSamples(const void*, int) override { return 0; }
  int IsBigEndian() override { return 0; }
  float GetSeconds() override { return 0; }
  void Close() override { opened = 0; }
  const char* GetName() override { return "fake"; }

  std::string offered;

 private:
  std::string ending_;
  int storedFrameSize_;
};

// A codec set and a folder for its files; Open reads as 44100 Hz float stereo.
class CodecSetTest : public ::testing::Test {
 protected:
  std::string Tone(const std::string& name, double seconds = 0.25) {
    EXPECT_TRUE(test::MakeSoxTone(dir.File(name), 44100, 2, "-b 16", seconds));
    return dir.File(name);
  }
  int Open(const std::string& path, int maxFrames = 1024) {
    format = {44100, 2, 32, 32, 0, 0};
    return set.Open(path, format, kCodecRead, maxFrames);
  }

  test::TempDir dir;
  CCodecSet set{30};
  TCodecFormat format;
};
using CodecSetDeathTest = CodecSetTest;

// Target formats without a rate or channels, or whose buffers would run to
// terabytes, are refused; so is a second Open, which keeps the first; so are
// reads of a null buffer, of fewer than 256 or more than maxFrames frames, or
// from before the start, leaving the buffer untouched.
TEST_F(CodecSetTest, BadOpensAndReadArgumentsAreRefused) {
  const std::string path = Tone("tone.wav");
  for (const auto& [rate, channels, maxFrames] :
       {std::tuple{0, 2, 1024}, {44100, 0, 1024}, {44100, INT32_MAX, 1024}, {1, 2, INT32_MAX}}) {
    TCodecFormat target{rate, channels, 32, 32, 0, 0};
    EXPECT_EQ(set.Open(path, target, kCodecRead, maxFrames) + set.IsOpen(), 0) << rate << channels;
  }
  ASSERT_EQ(Open(path, 2048), 1) << "the set is still usable";
  EXPECT_EQ(Open(Tone("second.wav", 1.0), 44100), 0);
  std::vector<float> floats(4096 * 2, 123.0f);
  std::vector<int16_t> shorts(4096 * 2, 7);
  for (const auto& [null, frames, start] :
       {std::tuple{false, 255, 0}, {true, 1024, 0}, {false, 1024, -1}, {false, 2049, 0}}) {
    EXPECT_EQ(set.GetFloatSamples(null ? nullptr : floats.data(), frames, start), 0);
    EXPECT_EQ(set.GetShortSamples(null ? nullptr : shorts.data(), frames, start), 0);
  }
  EXPECT_EQ(floats[0] + shorts[0], 130.0f) << "a refused read leaves the buffer untouched";
  EXPECT_EQ(set.GetFloatSamples(floats.data(), 2048, 10000), 1025) << "the first file, to its end";
  set.Close();
  set.Close();
  EXPECT_EQ(Open(dir.File("second.wav"), 44100), 1) << "reusable after Close";
}

// What no codec takes, or what a codec delivers in a width no conversion
// reads, is logged; a "$" path is offered without a file on disk, a missing
// file is not. The set stays closed and reusable.
TEST_F(CodecSetTest, UnknownPathsAreLoggedAndLeaveTheSetReusable) {
  ASSERT_TRUE(set.AddCodec(std::make_unique<CFakeCodec>(".odd", 3)));
  test::LogCapture log;
  test::WriteFile(dir.File("notes.txt"), "x");
  test::WriteFile(dir.File("sound.odd"), "x");
  for (const char* name : {"notes.txt", "Track01.cda$", "sound.odd", "missing.wav"})
    EXPECT_EQ(Open(dir.File(name)) + set.IsOpen(), 0) << name;
  const std::string text = log.Text();
  int lines = 0;
  for (size_t at = 0; (at = text.find("no suitable codec", at)) != std::string::npos; ++at) ++lines;
  EXPECT_EQ(lines, 3);
  EXPECT_NE(text.find("fake delivers 16-bit samples that cannot be converted"), std::string::npos);
  EXPECT_EQ(Open(Tone("ok.wav")), 1);
}

// The codecs are offered "kv:/" in front of .mpe and .m3e paths, and an .mp3
// through the .cdg of the same name when there is one (names on this disk
// are case-sensitive).
TEST_F(CodecSetTest, PathRulesRewriteWhatTheCodecsAreOffered) {
  auto* fake = new CFakeCodec("", 4);
  ASSERT_TRUE(set.AddCodec(std::unique_ptr<CBaseCodec>(fake)));
  EXPECT_FALSE(set.AddCodec(nullptr));
  for (const char* name : {"karaoke.cdg", "LOUD.CDG", "clip.MPE", "song.m3e", "alone.mp3",
                           "karaoke.mp3", "LOUD.MP3", "plain.ogg"})
    test::WriteFile(dir.File(name), "x");
  const std::pair<const char*, std::string> cases[] = {
      {"clip.MPE", "kv:/" + dir.File("clip.MPE")}, {"song.m3e", "kv:/" + dir.File("song.m3e")},
      {"alone.mp3", dir.File("alone.mp3")},        {"karaoke.mp3", dir.File("karaoke.cdg")},
      {"LOUD.MP3", dir.File("LOUD.CDG")},          {"plain.ogg", dir.File("plain.ogg")}};
  for (const auto& [name, offered] : cases) {
    ASSERT_EQ(Open(dir.File(name)), 1) << name;
    EXPECT_EQ(fake->offered, offered);
    EXPECT_EQ(format.frames, 100000) << "same rate: frames unchanged";
    set.Close();
  }
}

// Where a read delivers less than asked, the rest is silence: not the samples
// of the read before, and for unsigned 8-bit samples not the -1.0 a cleared
// byte would widen to.
TEST_F(CodecSetTest, WhatAReadDoesNotDeliverIsSilence) {
  test::WriteFile(dir.File("u8.wav"),
                  test::WavFile(1, 2, 44100, 8, 2600, std::string(2600, '\xc8')));
  ASSERT_EQ(Open(dir.File("u8.wav")), 1);
  std::vector<float> buffer(1024 * 2);
  ASSERT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 1024);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 1024), 276);
  EXPECT_FLOAT_EQ(buffer[275 * 2 + 1], 72 * 0.0078125f);
  EXPECT_EQ(test::Peak(std::vector<float>(buffer.begin() + 276 * 2, buffer.end()), 2, 0), 0.0);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 5000), 0);
  EXPECT_EQ(test::Peak(buffer, 2, 0), 0.0) << "a read wholly past the end is silence";
}

TEST_F(CodecSetDeathTest, TheAudioThreadNeverTakesTheCodecLock) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built";
  ASSERT_EQ(Open(Tone("tone.wav")), 1);
  std::vector<float> buffer(1024 * 2);
  EXPECT_DEATH(
      {
        RealtimeScope audio;
        set.GetFloatSamples(buffer.data(), 1024, 0);
      },
      "codec lock");
}

}  // namespace
}  // namespace vantaro
