// Compressed files played on a deck: loaded through the deck's codec set,
// rendered through the audio callback by the offline device, from the first
// frame to the real end of the file.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "devices/offline_device.h"
#include "engine/audio_render.h"
#include "engine/sound_source.h"
#include "tests/codecs/ffmpeg_fixtures.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::FFmpegFixture;
using test::kSignalFrames;

// A stored sample times 3e-5 is the deck's float sample.
constexpr double kDeckScale = 3e-5;

// One deck is the whole master bus (the renderer hands over its working
// buffer as it stands: the mix writes every sample).
class OneDeckMix : public MixRenderer {
 public:
  explicit OneDeckMix(CSoundSource& deck) : deck_(deck) {}
  void RenderMix(float* master, float*, int frames) override {
    deck_.Render(scratch_, frames);
    for (int i = 0; i < frames * 2; ++i) master[i] = scratch_[i];
  }
  void RenderExternal(float* deckA, float*, float*, float* monitor, int frames) override {
    RenderMix(deckA, monitor, frames);
  }

 private:
  CSoundSource& deck_;
  float scratch_[AudioRenderer::kBufferFrames * 2] = {};
};

struct DeckPlay {
  bool loaded = false;
  int64_t length = 0;
  std::vector<float> output;  // stereo, the length plus one second
};

// Loads fixture `name` (or the file `name`) with auto-play, lets the store
// run decode the whole song, and renders one second more than its length.
DeckPlay PlayOnDeck(const std::string& name) {
  DeckPlay play;
  const std::string path = name.find('/') != std::string::npos ? name : FFmpegFixture(name);
  EXPECT_FALSE(path.empty()) << "could not make " << name;
  test::TempDir dataRoot;
  CSoundSource deck(0, dataRoot.Path() + "/");
  OneDeckMix mix(deck);
  AudioRenderer renderer;
  renderer.mix.store(&mix);
  OfflineDevice device(renderer, 441, 2);
  if (!deck.LoadSong(path, true, nullptr, false)) return play;
  for (int run = 0; run < 20 && (run == 0 || deck.GetDecodedPercent() < 100); ++run)
    deck.StoreThreadRun();
  play.loaded = deck.IsSongReady();
  play.length = deck.GetLength();
  if (play.loaded) play.output = device.RenderToMemory(static_cast<long>(play.length + 44100));
  renderer.mix.store(nullptr);
  return play;
}

// Last frame whose left sample passes `threshold`, or -1.
int64_t LastSoundFrame(const std::vector<float>& stereo, float threshold) {
  for (int64_t i = static_cast<int64_t>(stereo.size() / 2) - 1; i >= 0; --i)
    if (std::fabs(stereo[i * 2]) > threshold) return i;
  return -1;
}

struct DeckCase {
  const char* file;
  bool gapless;  // the file says how much encoder delay and padding to drop
  double leftHz = test::kSignalHz;
  double rightHz = test::kSignalHz;
};

void PrintTo(const DeckCase& c, std::ostream* out) {
  *out << c.file;
}

class FFmpegOnDeckTest : public ::testing::TestWithParam<DeckCase> {};

TEST_P(FFmpegOnDeckTest, PlaysFromStartToItsRealEnd) {
  const DeckCase& c = GetParam();
  const DeckPlay play = PlayOnDeck(c.file);
  ASSERT_TRUE(play.loaded);
  // Header-less MP3 and raw AAC keep encoder delay and padding: at most two
  // packets.
  EXPECT_GE(play.length, kSignalFrames);
  EXPECT_LE(play.length, kSignalFrames + 2304);

  // The tone runs to the end of the song and not further: after the deck's
  // stop fade (under 500 frames) there is silence; and where the file names
  // its exact end, the tone is at full level up to the last 1000 frames, so
  // no silence was added to the reported length.
  const int64_t lastSound = LastSoundFrame(play.output, 0.01f);
  EXPECT_GT(lastSound, play.length - 1200);
  EXPECT_LE(lastSound, play.length + 500);
  const std::vector<float> tail = test::Frames(play.output, 2, play.length + 600, 44100 - 600);
  EXPECT_LT(test::Peak(tail, 2, 0), 1e-4);
  if (c.gapless) {
    EXPECT_EQ(play.length, kSignalFrames);
    const std::vector<float> end = test::Frames(play.output, 2, play.length - 1000, 1000);
    EXPECT_GT(test::Rms(end, 2, 0),
              0.9 * test::Rms(test::Frames(play.output, 2, 44100, 44100), 2, 0));
  }

  // Level against the signal as the deck scales it.
  const double deckGainDb = 20 * std::log10(32768 * kDeckScale);
  const std::vector<float> middle = test::Frames(play.output, 2, 22050, 88200);
  for (int channel = 0; channel < 2; ++channel) {
    EXPECT_NEAR(test::ToneFrequency(middle, 2, channel), channel == 0 ? c.leftHz : c.rightHz, 0.5)
        << channel;
    EXPECT_NEAR(test::LevelDb(middle, 2, channel), deckGainDb, 0.5) << channel;
  }
}

// The five-channel file has its own tone per channel (300, 500, 700, 900,
// 1100 Hz): the deck plays the first two, nothing mixed in.
INSTANTIATE_TEST_SUITE_P(Formats, FFmpegOnDeckTest,
                         ::testing::Values(DeckCase{"cbr.mp3", true}, DeckCase{"vbr.mp3", true},
                                           DeckCase{"cbr_noxing.mp3", false},
                                           DeckCase{"vbr_noxing.mp3", false},
                                           DeckCase{"aac.m4a", true}, DeckCase{"vorbis.ogg", true},
                                           DeckCase{"opus.opus", true}, DeckCase{"flac.flac", true},
                                           DeckCase{"flac48.flac", true},
                                           DeckCase{"flac96.flac", true},
                                           DeckCase{"adts.aac", false}, DeckCase{"ext24.wav", true},
                                           DeckCase{"five.m4a", true, 300, 500}),
                         [](const ::testing::TestParamInfo<DeckCase>& info) {
                           return test::FileTestName(info.param.file);
                         });

// The stream's start time (1 s) is silence at the head of the song on the
// deck, and the song's length counts it.
TEST(FFmpegOnDeck, StartTimePlaysAsLeadingSilence) {
  const DeckPlay play = PlayOnDeck("late1.ogg");
  ASSERT_TRUE(play.loaded);
  EXPECT_NEAR(play.length, 44100 + kSignalFrames, 300);
  const int64_t first = test::FirstSoundFrame(play.output, 2, 0.01f);
  EXPECT_NEAR(first, 44100, 300);
  EXPECT_NEAR(test::ToneFrequency(test::Frames(play.output, 2, first + 4410, 44100), 2, 0),
              test::kSignalHz, 0.5);
  EXPECT_LE(LastSoundFrame(play.output, 0.01f), play.length + 500);
}

// An MP3 cut at 60 % of its bytes plays on the deck up to where it breaks,
// then the deck falls silent; nothing crashes.
TEST(FFmpegOnDeck, TruncatedMp3PlaysToTheBreakThenSilence) {
  const DeckPlay play = PlayOnDeck(test::CutFixture("cbr.mp3", "deck_cut.mp3", 0.6));
  ASSERT_TRUE(play.loaded);
  const int64_t lastSound = LastSoundFrame(play.output, 0.01f);
  EXPECT_NEAR(lastSound, kSignalFrames * 0.6, 0.05 * kSignalFrames);
  EXPECT_LE(play.length, kSignalFrames * 0.65);
  EXPECT_NEAR(test::ToneFrequency(test::Frames(play.output, 2, 22050, 44100), 2, 0),
              test::kSignalHz, 0.5);
}

TEST(FFmpegOnDeck, VideoOnlyFileIsRefused) {
  ASSERT_FALSE(FFmpegFixture("video.ogg").empty());
  const DeckPlay play = PlayOnDeck("video.ogg");
  EXPECT_FALSE(play.loaded);
  EXPECT_EQ(play.length, 0);
}

}  // namespace
}  // namespace vantaro
