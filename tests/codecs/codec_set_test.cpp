// The codec set itself: entry checks, open and close rules, path rules
// (kv:/, the .cdg neighbour, archives), the short path, the global lock.

#include "codecs/codec_set.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "codecs/codec_lock.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Test codecs: 16-bit stereo at 44100 Hz of `frames` frames; only the
// parts each test looks at differ.
class CFakeCodec : public CBaseCodec {
 public:
  CFakeCodec() : CBaseCodec(0) {}
  int Open(const std::string& path, TCodecFormat& format, int) override {
    if (!Accepts(path)) return 0;
    format = {44100, 2, 16, 16, 0, frames_};
    frameSize = 4;
    opened = 1;
    return 1;
  }
  int GetSamples(void*, int, int64_t) override { return 0; }
  int PutSamples(const void*, int) override { return 0; }
  int IsBigEndian() override { return 0; }
  float GetSeconds() override { return 0; }
  void Close() override { opened = 0; }

 protected:
  virtual bool Accepts(const std::string& path) = 0;
  int frames_ = 1000;
};

// Takes every path offered to it (after the real codecs refused) and
// remembers the last one: the window on the path rules.
class CRecordingCodec : public CFakeCodec {
 public:
  explicit CRecordingCodec(std::string* offered) : offered_(offered) {}
  const char* GetName() override { return "recording"; }

 private:
  bool Accepts(const std::string& path) override {
    *offered_ = path;
    return true;
  }
  std::string* offered_;
};

// In the manner of a stream reader at its end: counts every frame asked for,
// but fills only the first `filled` of them (value 16384).
class CShortFillingCodec : public CFakeCodec {
 public:
  explicit CShortFillingCodec(int* filled) : filled_(filled) { frames_ = 100000; }
  int GetSamples(void* buffer, int frames, int64_t) override {
    int16_t* out = static_cast<int16_t*>(buffer);
    for (int i = 0; i < std::min(frames, *filled_) * 2; ++i) out[i] = 16384;
    return frames;
  }

 private:
  bool Accepts(const std::string& path) override { return path.ends_with(".stream"); }
  int* filled_;
};

// Sets TMPDIR for the lifetime of the object, so archives unpack into a
// folder the test owns.
class ScopedTmpDir {
 public:
  explicit ScopedTmpDir(const std::string& folder) {
    const char* old = std::getenv("TMPDIR");
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv("TMPDIR", folder.c_str(), 1);
  }
  ~ScopedTmpDir() { had_ ? setenv("TMPDIR", old_.c_str(), 1) : unsetenv("TMPDIR"); }

 private:
  bool had_ = false;
  std::string old_;
};

// A codec set and a folder for its files; Open reads as `format` (44100 Hz
// float stereo unless a test sets another).
class CodecSetTest : public ::testing::Test {
 protected:
  // A 16-bit stereo 44100 Hz sox tone in the folder.
  std::string Tone(const std::string& name, double seconds = 0.25) {
    const std::string path = dir.File(name);
    EXPECT_TRUE(test::MakeSoxTone(path, 44100, 2, "-b 16", seconds));
    return path;
  }
  int Open(const std::string& path, int maxFrames = 1024) {
    return set.Open(path, format, kCodecRead, maxFrames);
  }

  test::TempDir dir;
  CCodecSet set{30};
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
};
using CodecSetDeathTest = CodecSetTest;

TEST_F(CodecSetTest, BadTargetFormatsAndReadArgumentsAreRefused) {
  const std::string path = Tone("tone.wav");
  std::vector<float> buffer(4096 * 2, 123.0f);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 0) << "nothing open";
  // No rate, no channels; buffers for the last two would run to terabytes:
  // refused, not attempted.
  for (auto [rate, channels, maxFrames] :
       {std::tuple{0, 2, 1024}, std::tuple{44100, 0, 1024}, std::tuple{44100, INT32_MAX, 1024},
        std::tuple{1, 2, INT32_MAX}}) {
    TCodecFormat bad{rate, channels, 32, 32, 0, 0};
    EXPECT_EQ(set.Open(path, bad, kCodecRead, maxFrames), 0) << rate << " Hz " << channels;
    EXPECT_FALSE(set.IsOpen());
  }
  ASSERT_EQ(Open(path, 2048), 1) << "and the set is still usable";
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 255, 0), 0);
  EXPECT_EQ(buffer[0], 123.0f) << "a refused read leaves the buffer untouched";
  EXPECT_EQ(set.GetFloatSamples(nullptr, 1024, 0), 0);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, -1), 0);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 2049, 0), 0) << "more than maxFrames";
  EXPECT_EQ(buffer[0], 123.0f);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 256, 0), 256);
  std::vector<int16_t> shorts(4096 * 2, 7);
  EXPECT_EQ(set.GetShortSamples(shorts.data(), 255, 0), 0);
  EXPECT_EQ(shorts[0], 7);
  EXPECT_EQ(set.GetShortSamples(shorts.data(), 256, -3), 0);
}

TEST_F(CodecSetTest, SecondOpenFailsAndKeepsTheFirst) {
  const std::string first = Tone("first.wav", 0.1);
  const std::string second = Tone("second.wav", 0.3);
  ASSERT_EQ(Open(first), 1);
  const int firstFrames = format.frames;
  TCodecFormat other{44100, 2, 32, 32, 0, 0};
  EXPECT_EQ(set.Open(second, other, kCodecRead, 1024), 0);
  EXPECT_EQ(set.SourceFormat().frames, firstFrames);
  EXPECT_EQ(test::ReadAllFloats(set, format, 1024).size(), static_cast<size_t>(firstFrames) * 2);
  set.Close();
  set.Close();
  EXPECT_EQ(set.Open(second, other, kCodecRead, 1024), 1) << "reusable after Close";
  EXPECT_GT(other.frames, firstFrames);
}

TEST_F(CodecSetTest, UnknownPathsAreLoggedAndLeaveTheSetReusable) {
  SetDebugLogFolder(dir.Path());
  test::WriteFile(dir.File("notes.txt"), "not a sound");
  EXPECT_EQ(Open(dir.File("notes.txt")), 0);
  EXPECT_EQ(Open(dir.File("Track01.cda$")), 0)
      << "a $ path is offered to the codecs without a file on disk";
  const std::string log = test::ReadFile(dir.File("vantaro.log"));
  SetDebugLogFolder("");
  size_t lines = 0;
  for (size_t at = log.find("no suitable codec found"); at != std::string::npos;
       at = log.find("no suitable codec found", at + 1)) {
    ++lines;
  }
  EXPECT_EQ(lines, 2u);
  EXPECT_FALSE(set.IsOpen());
  EXPECT_EQ(Open(dir.File("missing.wav")), 0) << "missing file";
  EXPECT_EQ(Open(Tone("ok.wav")), 1);
  EXPECT_STREQ(set.CurrentCodecName(), "wav");
}

TEST_F(CodecSetTest, PathRulesRewriteWhatTheCodecsAreOffered) {
  std::string offered;
  ASSERT_TRUE(set.AddCodec(std::make_unique<CRecordingCodec>(&offered)));
  // The path the codecs were offered for file `name` ("" when nothing opened).
  auto offer = [&](const std::string& name) {
    test::WriteFile(dir.File(name), "x");
    offered.clear();
    format = {44100, 2, 32, 32, 0, 0};
    if (!Open(dir.File(name))) return std::string();
    set.Close();
    return offered;
  };
  EXPECT_EQ(offer("clip.MPE"), "kv:/" + dir.File("clip.MPE"));
  EXPECT_EQ(offer("song.m3e"), "kv:/" + dir.File("song.m3e"));
  EXPECT_EQ(offer("alone.mp3"), dir.File("alone.mp3")) << "no .cdg neighbour";
  test::WriteFile(dir.File("karaoke.cdg"), "graphics");
  EXPECT_EQ(offer("karaoke.mp3"), dir.File("karaoke.cdg"))
      << "the pair opens through its graphics file";
  test::WriteFile(dir.File("LOUD.CDG"), "graphics");
  EXPECT_EQ(offer("LOUD.MP3"), dir.File("LOUD.CDG")) << "upper-case pairs on a case-sensitive disk";
  EXPECT_EQ(offer("plain.ogg"), dir.File("plain.ogg"));
  EXPECT_EQ(format.frames, 1000) << "same rate: frames unchanged";
  EXPECT_FALSE(set.AddCodec(nullptr));
}

TEST_F(CodecSetTest, ArchivesUnpackIntoTheTemporaryFolder) {
  test::TempDir temporary;
  ScopedTmpDir tmp(temporary.Path());
  std::string offered;
  set.AddCodec(std::make_unique<CRecordingCodec>(&offered));
  // A karaoke pair, in lower and in upper case: opened through its .cdg;
  // Close removes both unpacked files.
  for (auto [stem, mp3, cdg] :
       {std::tuple{"Singer - Song", ".mp3", ".cdg"}, std::tuple{"SHOUT", ".MP3", ".CDG"}}) {
    test::WriteFile(dir.File(stem + std::string(mp3)), "audio");
    test::WriteFile(dir.File(stem + std::string(cdg)), "graphics");
    ASSERT_TRUE(test::MakeZip(dir.File("pair.zip"), {dir.File(stem + std::string(mp3)),
                                                     dir.File(stem + std::string(cdg))}));
    ASSERT_EQ(Open(dir.File("pair.zip")), 1) << stem;
    const std::string unpacked = temporary.Path() + "/" + stem;
    EXPECT_EQ(offered, unpacked + cdg);
    EXPECT_EQ(set.TempPath(), unpacked + cdg);
    EXPECT_EQ(test::ReadFile(unpacked + mp3), "audio");
    set.Close();
    EXPECT_TRUE(std::filesystem::is_empty(temporary.Path())) << "both removed";
    EXPECT_EQ(set.TempPath(), "");
  }

  // A single WAV in an archive plays through the native reader; its unpacked
  // copy is not a karaoke pair and stays in the temporary folder.
  const std::string wav = Tone("inside.wav");
  ASSERT_TRUE(test::MakeZip(dir.File("one.ZIP"), {wav}));
  ASSERT_EQ(Open(dir.File("one.ZIP")), 1);
  EXPECT_STREQ(set.CurrentCodecName(), "wav");
  EXPECT_LE(test::LargestDifference(test::ReadAllFloats(set, format, 1024), test::SoxDecode(wav)),
            1.0 / 32768);
  set.Close();
  EXPECT_TRUE(std::filesystem::exists(temporary.Path() + "/inside.wav"));

  // A damaged archive is refused and leaves nothing behind.
  std::string damaged = test::ReadFile(dir.File("pair.zip"));
  damaged.resize(damaged.size() / 2);
  test::WriteFile(dir.File("bad.zip"), damaged);
  std::filesystem::remove(temporary.Path() + "/inside.wav");
  EXPECT_EQ(Open(dir.File("bad.zip")), 0);
  EXPECT_TRUE(std::filesystem::is_empty(temporary.Path()));
}

TEST_F(CodecSetTest, ShortSamplesDirectAndConverted) {
  // Direct path: 16-bit stereo at the target rate is the file's own samples,
  // big-endian ones (AIFF) swapped.
  format = {44100, 2, 16, 16, 0, 0};
  std::vector<int16_t> shorts(2048 * 2);
  for (const char* name : {"s16.wav", "s16.aiff"}) {
    const std::string path = Tone(name);
    std::string raw;
    ASSERT_EQ(test::RunCommand("sox '" + path + "' -t s16 - 2>/dev/null", &raw), 0);
    ASSERT_EQ(Open(path, 2048), 1);
    ASSERT_EQ(set.GetShortSamples(shorts.data(), 2048, 1000), 2048);
    EXPECT_EQ(std::memcmp(shorts.data(), raw.data() + 1000 * 4, 2048 * 4), 0) << name;
    set.Close();
  }

  // Converted path: a mono 24-bit file becomes rint(v * 32767) on both sides.
  const std::string mono = dir.File("m24.aiff");
  ASSERT_TRUE(test::MakeSoxTone(mono, 44100, 1, "-b 24"));
  const std::vector<float> reference = test::SoxDecode(mono);
  ASSERT_EQ(Open(mono, 2048), 1);
  ASSERT_EQ(set.GetShortSamples(shorts.data(), 2048, 0), 2048);
  int worst = 0;
  for (int i = 0; i < 2048; ++i) {
    const int want = static_cast<int>(std::lrint(reference[i] * 32767.0));
    worst = std::max({worst, std::abs(shorts[i * 2] - want), std::abs(shorts[i * 2 + 1] - want)});
  }
  EXPECT_LE(worst, 1);
}

TEST_F(CodecSetTest, ShortSamplesClampFloatsBeyondFullScale) {
  std::string data;
  for (float v : {1.5f, -1.5f, 0.5f, -0.25f, NAN}) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    for (int i = 0; i < 128; ++i) test::AppendLE32(data, bits);
  }
  const std::string path = dir.File("loud.wav");
  test::WriteFile(path, test::WavFile(3, 1, 22050, 32, static_cast<uint32_t>(data.size()), data));
  format = {22050, 2, 16, 16, 0, 0};
  ASSERT_EQ(Open(path, 512), 1);
  std::vector<int16_t> shorts(512 * 2);
  ASSERT_EQ(set.GetShortSamples(shorts.data(), 512, 0), 512);
  EXPECT_EQ(shorts[0], 32767);
  EXPECT_EQ(shorts[1], 32767);
  EXPECT_EQ(shorts[128 * 2], -32768);
  EXPECT_EQ(shorts[256 * 2], static_cast<int16_t>(std::lrint(0.5 * 32767)));
  EXPECT_EQ(shorts[384 * 2 + 1], static_cast<int16_t>(std::lrint(-0.25 * 32767)));
  ASSERT_EQ(set.GetShortSamples(shorts.data(), 512, 256), 384) << "640 frames in the file";
  EXPECT_EQ(shorts[256 * 2], 0) << "a NaN sample reads as silence";
  EXPECT_EQ(shorts[383 * 2], 0);
}

TEST_F(CodecSetTest, ReadsPastTheEndGiveSilenceAndTheRealCount) {
  // 8-bit unsigned: a cleared tail must stay silent, not become -1.0.
  const std::string path = dir.File("u8.wav");
  std::string data(300 * 2, static_cast<char>(200));
  test::WriteFile(path, test::WavFile(1, 2, 44100, 8, 600, data));
  ASSERT_EQ(Open(path), 1);
  EXPECT_EQ(format.frames, 300);
  std::vector<float> buffer(1024 * 2, 9.0f);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 300);
  EXPECT_FLOAT_EQ(buffer[0], 72 * 0.0078125f);
  EXPECT_FLOAT_EQ(buffer[299 * 2 + 1], 72 * 0.0078125f);
  EXPECT_EQ(buffer[300 * 2], 0.0f);
  EXPECT_EQ(buffer[1023 * 2 + 1], 0.0f);
  EXPECT_EQ(set.GetFloatSamples(buffer.data(), 1024, 5000), 0);
  EXPECT_EQ(test::Peak(buffer, 2, 0), 0.0) << "a read wholly past the end is silence";
  EXPECT_NEAR(set.GetSeconds(), 300 / 44100.0, 1e-6) << "WAV: total frames / rate";
}

TEST_F(CodecSetTest, WhatAReaderLeavesUnfilledIsSilence) {
  int filled = 1024;
  ASSERT_TRUE(set.AddCodec(std::make_unique<CShortFillingCodec>(&filled)));
  test::WriteFile(dir.File("a.stream"), "x");
  ASSERT_EQ(Open(dir.File("a.stream")), 1);
  std::vector<float> buffer(1024 * 2);
  ASSERT_EQ(set.GetFloatSamples(buffer.data(), 1024, 0), 1024);
  EXPECT_NEAR(test::Peak(buffer, 2, 1), 0.5, 1e-3);
  filled = 100;  // the stream ends inside the next read
  ASSERT_EQ(set.GetFloatSamples(buffer.data(), 1024, 1024), 1024);
  EXPECT_NEAR(buffer[99 * 2 + 1], 0.5f, 1e-3);
  EXPECT_EQ(buffer[100 * 2], 0.0f) << "no stale samples of the earlier read";
  EXPECT_EQ(test::Peak(std::vector<float>(buffer.begin() + 200, buffer.end()), 2, 0), 0.0);
}

TEST_F(CodecSetTest, AiffSecondsCountTheFramesRead) {
  const std::string path = Tone("t.aiff", 0.5);
  ASSERT_EQ(Open(path, 4410), 1);
  EXPECT_EQ(set.GetSeconds(), 0.0f);
  std::vector<float> buffer(4410 * 2);
  set.GetFloatSamples(buffer.data(), 4410, 0);
  set.GetFloatSamples(buffer.data(), 4410, 4410);
  EXPECT_NEAR(set.GetSeconds(), 0.2, 1e-6);
  set.Close();
  EXPECT_EQ(set.GetSeconds(), 0.0f);
}

TEST_F(CodecSetTest, ReadsWaitForTheGlobalCodecLock) {
  const std::string path = Tone("tone.wav");
  ASSERT_EQ(Open(path), 1);
  std::atomic<int> delivered{-1};
  std::vector<float> buffer(1024 * 2);
  GlobalCodecLock().lock();
  std::thread reader([&] { delivered = set.GetFloatSamples(buffer.data(), 1024, 0); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(delivered.load(), -1) << "the read ran while another thread held the lock";
  GlobalCodecLock().unlock();
  reader.join();
  EXPECT_EQ(delivered.load(), 1024);
}

TEST_F(CodecSetTest, TwoSetsOnTwoThreadsReadTheirOwnFiles) {
  const std::string a = dir.File("a.wav"), b = dir.File("b.aiff");
  ASSERT_TRUE(test::MakeSoxTone(a, 44100, 2, "-b 16", 1.0));
  ASSERT_TRUE(test::MakeSoxTone(b, 22050, 1, "-b 24", 1.0));
  std::vector<float> fromA, fromB;
  auto read = [](const std::string& path, std::vector<float>* out) {
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    if (set.Open(path, format, kCodecRead, 512)) *out = test::ReadAllFloats(set, format, 512);
  };
  std::thread first(read, a, &fromA), second(read, b, &fromB);
  first.join();
  second.join();
  EXPECT_NEAR(test::ToneFrequency(fromA, 2, 1), 450.0, 1.0);
  EXPECT_NEAR(test::ToneFrequency(fromB, 2, 1), 300.0, 1.0) << "mono on both channels";
  EXPECT_EQ(fromA.size(), fromB.size());
}

TEST_F(CodecSetDeathTest, TheAudioThreadNeverTakesTheCodecLock) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built";
  const std::string path = Tone("tone.wav");
  ASSERT_EQ(Open(path), 1);
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
