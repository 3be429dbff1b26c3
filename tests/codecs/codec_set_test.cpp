// The codec set's own rules: entry checks, open and close, the path rules
// (kv:/, the .cdg neighbour), readers that deliver less than they count, and
// the lock the audio thread must never take.

#include "codecs/codec_set.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/realtime.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

// A test codec taking the paths that end in `ending`, 16-bit stereo at
// 44100 Hz of 100000 frames. It remembers the path it was offered last, and
// like a stream reader at its end it counts every frame asked for but fills
// only the first `filled` (value 16384). `frameSize` 3 is a width no
// conversion reads.
class CFakeCodec : public CBaseCodec {
 public:
  CFakeCodec(std::string ending, int storedFrameSize = 4)
      : CBaseCodec(0), ending_(std::move(ending)), storedFrameSize_(storedFrameSize) {}
  int Open(const std::string& path, TCodecFormat& format, int) override {
    offered = path;
    if (!path.ends_with(ending_)) return 0;
    format = {44100, 2, 16, 16, 0, 100000};
    frameSize = storedFrameSize_;
    opened = 1;
    return 1;
  }
  int GetSamples(void* buffer, int frames, int64_t) override {
    for (int i = 0; i < std::min(frames, filled) * 2; ++i) static_cast<int16_t*>(buffer)[i] = 16384;
    return frames;
  }
  int PutSamples(const void*, int) override { return 0; }
  int IsBigEndian() override { return 0; }
  float GetSeconds() override { return 0; }
  void Close() override { opened = 0; }
  const char* GetName() override { return "fake"; }

  std::string offered;
  int filled = 1024;

 private:
  std::string ending_;
  int storedFrameSize_;
};

// A codec set and a folder for its files; Open reads as `format`.
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

TEST_F(CodecSetTest, BadTargetFormatsAndReadArgumentsAreRefused) {
  const std::string path = Tone("tone.wav");
  // No rate, no channels; buffers for the last two would run to terabytes.
  const int bad[][3] = {
      {0, 2, 1024}, {44100, 0, 1024}, {44100, INT32_MAX, 1024}, {1, 2, INT32_MAX}};
  for (const auto& [rate, channels, maxFrames] : bad) {
    TCodecFormat target{rate, channels, 32, 32, 0, 0};
    EXPECT_EQ(set.Open(path, target, kCodecRead, maxFrames), 0) << rate << " Hz " << channels;
    EXPECT_FALSE(set.IsOpen());
  }
  ASSERT_EQ(Open(path, 2048), 1) << "the set is still usable";
  std::vector<float> floats(4096 * 2, 123.0f);
  std::vector<int16_t> shorts(4096 * 2, 7);
  const struct {
    bool null;
    int frames;
    int64_t start;
  } reads[] = {{false, 255, 0}, {true, 1024, 0}, {false, 1024, -1}, {false, 2049, 0}};
  for (const auto& r : reads) {
    EXPECT_EQ(set.GetFloatSamples(r.null ? nullptr : floats.data(), r.frames, r.start), 0);
    EXPECT_EQ(set.GetShortSamples(r.null ? nullptr : shorts.data(), r.frames, r.start), 0);
  }
  EXPECT_EQ(floats[0], 123.0f) << "a refused read leaves the buffer untouched";
  EXPECT_EQ(shorts[0], 7);
  EXPECT_EQ(set.GetFloatSamples(floats.data(), 256, 0), 256);
}

TEST_F(CodecSetTest, SecondOpenFailsAndKeepsTheFirst) {
  ASSERT_EQ(Open(Tone("first.wav", 0.1)), 1);
  const int firstFrames = format.frames;
  const std::string second = Tone("second.wav", 0.3);
  TCodecFormat other{44100, 2, 32, 32, 0, 0};
  EXPECT_EQ(set.Open(second, other, kCodecRead, 1024), 0);
  EXPECT_EQ(test::ReadAllFloats(set, format, 1024).size(), static_cast<size_t>(firstFrames) * 2);
  set.Close();
  set.Close();
  EXPECT_EQ(set.Open(second, other, kCodecRead, 1024), 1) << "reusable after Close";
  EXPECT_GT(other.frames, firstFrames);
}

// What no codec takes, or what a codec delivers in a width no conversion
// reads, is logged; the set stays closed and reusable.
TEST_F(CodecSetTest, UnknownPathsAreLoggedAndLeaveTheSetReusable) {
  ASSERT_TRUE(set.AddCodec(std::make_unique<CFakeCodec>(".odd", 3)));
  test::LogCapture log;
  const std::pair<const char*, bool> files[] = {
      {"notes.txt", true}, {"Track01.cda$", false}, {"sound.odd", true}, {"missing.wav", false}};
  for (const auto& [name, onDisk] : files) {
    if (onDisk) test::WriteFile(dir.File(name), "x");
    EXPECT_EQ(Open(dir.File(name)), 0) << name;
    EXPECT_FALSE(set.IsOpen());
  }
  const std::string text = log.Text();
  size_t lines = 0;
  for (size_t at = text.find("no suitable codec"); at != std::string::npos;
       at = text.find("no suitable codec", at + 1))
    ++lines;
  EXPECT_EQ(lines, 3u) << "a $ path is offered without a file on disk; a missing file is not";
  EXPECT_NE(text.find("fake delivers 16-bit samples that cannot be converted"), std::string::npos);
  EXPECT_EQ(Open(Tone("ok.wav")), 1);
  EXPECT_STREQ(set.CurrentCodecName(), "wav");
}

TEST_F(CodecSetTest, PathRulesRewriteWhatTheCodecsAreOffered) {
  auto* fake = new CFakeCodec("");
  ASSERT_TRUE(set.AddCodec(std::unique_ptr<CBaseCodec>(fake)));
  EXPECT_FALSE(set.AddCodec(nullptr));
  test::WriteFile(dir.File("karaoke.cdg"), "graphics");
  test::WriteFile(dir.File("LOUD.CDG"), "graphics");
  const std::pair<std::string, std::string> cases[] = {
      {"clip.MPE", "kv:/" + dir.File("clip.MPE")}, {"song.m3e", "kv:/" + dir.File("song.m3e")},
      {"alone.mp3", dir.File("alone.mp3")},      // no .cdg neighbour
      {"karaoke.mp3", dir.File("karaoke.cdg")},  // the pair opens through its graphics
      {"LOUD.MP3", dir.File("LOUD.CDG")},        // names on this disk are case-sensitive
      {"plain.ogg", dir.File("plain.ogg")}};
  for (const auto& [name, offered] : cases) {
    test::WriteFile(dir.File(name), "x");
    ASSERT_EQ(Open(dir.File(name)), 1) << name;
    EXPECT_EQ(fake->offered, offered);
    EXPECT_EQ(format.frames, 100000) << "same rate: frames unchanged";
    set.Close();
  }
}

// The set clears its read buffer before each read: what a reader counts but
// does not fill reads as silence, not as stale samples of the last read; and
// an unsigned 8-bit file's cleared tail stays 0.0, not -1.0.
TEST_F(CodecSetTest, WhatAReaderLeavesUnfilledIsSilence) {
  auto* fake = new CFakeCodec(".stream");
  ASSERT_TRUE(set.AddCodec(std::unique_ptr<CBaseCodec>(fake)));
  test::WriteFile(dir.File("a.stream"), "x");
  ASSERT_EQ(Open(dir.File("a.stream")), 1);
  std::vector<float> buffer(1024 * 2, 9.0f);
  ASSERT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 1024);
  EXPECT_NEAR(test::Peak(buffer, 2, 1), 0.5, 1e-3);
  fake->filled = 100;  // the stream ends inside the next read
  ASSERT_EQ(set.GetFloatSamples(buffer.data(), 1024, 1024), 1024);
  EXPECT_NEAR(buffer[99 * 2 + 1], 0.5f, 1e-3);
  EXPECT_EQ(test::Peak(std::vector<float>(buffer.begin() + 200, buffer.end()), 2, 0), 0.0);
  set.Close();

  test::WriteFile(dir.File("u8.wav"), test::WavFile(1, 2, 44100, 8, 600, std::string(600, '\xc8')));
  ASSERT_EQ(Open(dir.File("u8.wav")), 1);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 300);
  EXPECT_FLOAT_EQ(buffer[299 * 2 + 1], 72 * 0.0078125f);
  EXPECT_EQ(test::Peak(std::vector<float>(buffer.begin() + 600, buffer.end()), 2, 0), 0.0);
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
