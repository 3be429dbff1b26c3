// The FFmpeg reader: formats and channel layouts to their real end,
// refusals, leading silence, damaged files. Its place in the codec set, the
// fallback behind the native readers, is proven by the native tests' lying
// headers and by the deck test. Every file carries one test signal (a 1000 Hz sine at 0.5, 3 s at
// 44100 Hz) made by sox and encoded by ffmpeg, once per process; the
// many-channel files carry 300, 500, 700, ... Hz instead.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "codecs/decoder_ffmpeg.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

constexpr int kSignalFrames = 132300;

// Path of the test file `name`, made on first use. A recipe is "|name", the
// channel count (0: no sound) and ffmpeg's output options; "high" files carry
// 15 kHz.
std::string Fixture(const std::string& name) {
  static test::TempDir folder;
  static const std::string kRecipes =
      "|cbr.mp3 2 -c:a libmp3lame -b:a 192k|vbr.mp3 2 -c:a libmp3lame -q:a 2"
      "|cbr_noxing.mp3 2 -c:a libmp3lame -b:a 192k -write_xing 0"
      "|vbr_noxing.mp3 2 -c:a libmp3lame -q:a 2 -write_xing 0|aac.m4a 2 -c:a aac -b:a 192k"
      "|adts.aac 2 -c:a aac -b:a 192k|vorbis.ogg 2 -c:a libvorbis -q:a 6|flac.flac 2"
      "|opus.opus 2 -c:a libopus -b:a 160k|wma.wma 2 -c:a wmav2 -b:a 192k|eight.flac 8"
      "|flac48.flac 2 -ar 48000|high48.flac 2 -ar 48000|ext24.wav 2 -c:a pcm_s24le"
      "|late1.ogg 2 -c:a libvorbis -output_ts_offset 1|five.m4a 5 -c:a aac -b:a 256k"
      "|late5.ogg 2 -c:a libvorbis -output_ts_offset 5"
      "|video.ogg 0 -f lavfi -i testsrc=size=64x48:rate=10 -t 1 -c:v libtheora|";
  const size_t at = kRecipes.find("|" + name + " ") + name.size() + 2;
  const std::string recipe = kRecipes.substr(at, kRecipes.find('|', at) - at);
  const std::string path = folder.File(name);
  std::string command =
      "ffmpeg -nostdin -loglevel error -y " + recipe.substr(1) + " '" + path + "'";
  if (recipe[0] != '0') {
    std::string tones;
    for (int i = 0; i < recipe[0] - '0'; ++i)
      tones += " sine " + std::to_string(name[0] == 'h'    ? 15000
                                         : recipe[0] > '2' ? 300 + 200 * i
                                                           : 1000);
    command = "sox -D -n -r 44100 -c " + recipe.substr(0, 1) + " -b 16 -t wav - synth 3" + tones +
              " vol 0.5 | " + command.insert(6, " -i -");
  }
  EXPECT_TRUE(!test::ReadFile(path).empty() || test::RunCommand(command) == 0) << command;
  return path;
}

// A decoder that opened `path` and was read to its end in reads of `block`
// frames from frame 0; `samples` are floats of the 16-bit output.
struct Played {
  CDecoderFFMpeg decoder{1};
  TCodecFormat format;
  std::vector<float> samples;
  int64_t frames = 0;
};
std::unique_ptr<Played> Play(const std::string& path, int channels = 2, int block = 44100) {
  auto played = std::make_unique<Played>();
  EXPECT_EQ(played->decoder.Open(path, played->format, kCodecRead), 1) << path;
  std::vector<int16_t> buffer(static_cast<size_t>(block) * channels);
  for (int64_t start = 0, got = block; got == block; start = kContinueFrame) {
    got = played->decoder.GetSamples(buffer.data(), block, start);
    for (int i = 0; i < got * channels; ++i) played->samples.push_back(buffer[i] / 32768.0f);
  }
  played->frames = static_cast<int64_t>(played->samples.size()) / channels;
  return played;
}

std::vector<float> Frames(const std::vector<float>& samples, int channels, int64_t first,
                          int64_t count) {
  const size_t end = std::min(samples.size(), static_cast<size_t>((first + count) * channels));
  return std::vector<float>(samples.begin() + std::min(end, size_t(first * channels)),
                            samples.begin() + end);
}

// Level of one channel against the test signal, dB.
double LevelDb(const std::vector<float>& samples, int channels, int channel) {
  return 20 * std::log10(test::Rms(samples, channels, channel) / (0.5 / std::sqrt(2.0)));
}

int64_t FirstSound(const std::vector<float>& samples, int channels) {
  for (size_t i = 0; i < samples.size(); i += channels)
    if (std::fabs(samples[i]) > 0.01f) return static_cast<int64_t>(i / channels);
  return -1;
}

// Each format plays from its first frame to its real end: the length known
// at Open is the length delivered (WMA states one its decoder does not
// deliver, and is corrected at its end), each channel keeps its tone and
// level in its place, and a read past the end delivers nothing. Reads of
// 33333 frames split the decoded packets, so the pending ring carries
// overshoot across every join (a lost or doubled block is a click); for eight
// channels one read is more than the ring holds. 48 kHz keeps its top octave
// through the rate conversion.
TEST(FFmpegDecoder, FormatsPlayWholeSignalToTheirRealEnd) {
  const struct {
    const char* file;
    int channels;
    // Frames past the signal the stream may carry: 0 where the file says how
    // much encoder delay and padding to drop. MP3 without an Info header
    // keeps its delay and padding, raw ADTS its priming and padding.
    int extraFrames;
    double firstHz = 1000, stepHz = 0;
    int missingFrames = 0;  // WMA's decoder delay is nowhere in the file
  } cases[] = {{"cbr.mp3", 2, 0},
               {"vbr.mp3", 2, 0},
               {"cbr_noxing.mp3", 2, 2300},
               {"aac.m4a", 2, 0},
               {"adts.aac", 2, 2048},
               {"vbr_noxing.mp3", 2, 2300},
               {"vorbis.ogg", 2, 0},
               {"opus.opus", 2, 0},
               {"wma.wma", 2, 4096, 1000, 0, 4096},
               {"flac.flac", 2, 0},
               {"flac48.flac", 2, 0},
               {"high48.flac", 2, 0, 15000},
               {"ext24.wav", 2, 0},
               {"five.m4a", 5, 0, 300, 200},
               {"eight.flac", 8, 0, 300, 200}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const auto p = Play(Fixture(c.file), c.channels, 33333);
    EXPECT_EQ(p->format.channels, c.channels);
    EXPECT_TRUE(c.missingFrames || p->frames == p->format.frames) << "Open: " << p->format.frames;
    EXPECT_EQ(p->decoder.GetFrames(), p->frames);
    EXPECT_GE(p->frames, kSignalFrames - c.missingFrames);
    EXPECT_LE(p->frames, kSignalFrames + c.extraFrames);
    EXPECT_TRUE(c.extraFrames || FirstSound(p->samples, c.channels) < 20) << "encoder delay played";
    const std::vector<float> middle = Frames(p->samples, c.channels, 22050, 88200);
    for (int channel = 0; channel < c.channels; ++channel) {
      const double hz = c.firstHz + channel * c.stepHz;
      EXPECT_NEAR(test::ToneFrequency(middle, c.channels, channel), hz, std::max(0.5, hz / 7500));
      EXPECT_NEAR(LevelDb(middle, c.channels, channel), 0.0, 0.5) << channel;
      // A sine of 0.5 moves at most 0.5 * 2 pi hz / 44100 per sample; a
      // larger step, past room for codec noise, is a lost or doubled block.
      EXPECT_LT(test::LargestStep(middle, c.channels, channel), std::max(0.085, M_PI * hz / 36750));
    }
    std::vector<int16_t> after(4096 * c.channels, 7);
    EXPECT_EQ(p->decoder.GetSamples(after.data(), 4096, kContinueFrame), 0);
    EXPECT_EQ(after[0], 7) << "a read past the end wrote into the buffer";
  }
}

// What cannot be played is refused and leaves the decoder closed and usable:
// a video-only file, an ending not read here, a header claiming 452 MHz or
// 200 channels (the resampler would ask for gigabytes). "kv:/" in front of a
// path is dropped.
TEST(FFmpegDecoder, PathsAndRefusals) {
  test::TempDir dir;
  test::WriteFile(dir.File("text.flac"), std::string(5000, 'x'));
  test::WriteFile(dir.File("song.mp4"), test::ReadFile(Fixture("cbr.mp3")));
  for (auto [rate, channels] : {std::pair{452000000u, 1u}, std::pair{8000u, 200u}})
    test::WriteFile(dir.File(std::to_string(channels) + ".au"),
                    test::AuFile(24, 8000, 1, rate, channels, std::string(8000, 'U')));
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  for (const std::string& path :
       {Fixture("video.ogg"), dir.File("1.au"), dir.File("text.flac"), dir.File("song.mp4"),
        dir.File("200.au"), dir.File("missing.mp3")}) {
    EXPECT_EQ(decoder.Open(path, format, kCodecRead), 0) << path;
    EXPECT_EQ(decoder.frameSize + decoder.GetSeconds(), 1.0f) << path;
  }
  ASSERT_EQ(decoder.Open("kv:/" + Fixture("cbr.mp3"), format, kCodecRead), 1);
  EXPECT_EQ(format.frames, kSignalFrames);
  EXPECT_EQ(decoder.Open(Fixture("cbr.mp3"), format, kCodecRead), 0) << "already open";
}

// A positive start time (1 s) is silence in front of the stream; 5 s stop at
// 441,000 bytes.
TEST(FFmpegDecoder, StartTimeBecomesLeadingSilence) {
  const auto p = Play(Fixture("late1.ogg"), 2, 60000);
  EXPECT_NEAR(p->format.frames, 44100 + kSignalFrames, 300);
  EXPECT_NEAR(FirstSound(p->samples, 2), 44100, 300);
  EXPECT_NEAR(test::ToneFrequency(Frames(p->samples, 2, 46000, 10000), 2, 0), 1000, 0.5);

  const auto late = Play(Fixture("late5.ogg"));
  const int64_t cap = CDecoderFFMpeg::kMaxLeadingSilenceBytes / 4;
  EXPECT_NEAR(late->format.frames, cap + kSignalFrames, 300);
  EXPECT_NEAR(FirstSound(late->samples, 2), cap + 5, 5);
}

// Cut or damaged files play up to where they break, then stop, and the length
// is corrected to what was delivered. MP3 packets counted at Open end at the
// cut (one cut packet is taken off later); a cut FLAC states its whole length
// in its header; garbage in an MP3 costs the packets it hit and one log line.
TEST(FFmpegDecoder, DamagedFilesPlayToTheBreak) {
  const struct {
    std::string file;
    double keep;                      // of the bytes; 0.5 is the damaged file
    int64_t least, most, atOpenOver;  // frames delivered; the Open count past them
  } cases[] = {{"vbr_noxing.mp3", 0.6, 72765, 86000, 1152},
               {"flac.flac", 1.0 / 3, 1, kSignalFrames / 2, kSignalFrames},
               {"cbr.mp3", 0.5, kSignalFrames * 8 / 10, kSignalFrames, kSignalFrames}};
  test::LogCapture log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file + " " + std::to_string(c.keep));
    std::string data = test::ReadFile(Fixture(c.file));
    unsigned seed = 12345;
    for (size_t i = data.size() / 2; c.keep == 0.5 && i < data.size() / 2 + 3000; ++i)
      data[i] = static_cast<char>((seed = seed * 1103515245u + 12345u) >> 16);
    const std::string path = Fixture(c.file) + ".damaged" + c.file.substr(c.file.rfind('.'));
    test::WriteFile(path, c.keep == 0.5 ? data : data.substr(0, size_t(data.size() * c.keep)));
    const auto p = Play(path);
    EXPECT_GE(p->frames, c.least);
    EXPECT_LE(p->frames, c.most);
    EXPECT_GE(p->format.frames, p->frames);
    EXPECT_LE(p->format.frames, p->frames + c.atOpenOver);
    EXPECT_EQ(p->decoder.GetFrames(), p->frames) << "length not corrected at the real end";
    EXPECT_NEAR(test::ToneFrequency(Frames(p->samples, 2, 4410, 22050), 2, 0), 1000, 0.5);
  }
  EXPECT_NE(log.Text().find("damaged packets skipped)"), std::string::npos) << log.Text();
}

}  // namespace
}  // namespace vantaro
