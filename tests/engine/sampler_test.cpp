// The sampler: a slot's edge cases (lengths, the end of a one-shot, the
// autosync limit, a deck's loop taken in), autosync through the real mixer
// (a 120 BPM sample on a 126 BPM deck keeps the deck's beat), the sampler
// file, and a sample replaced while it plays (SamplerThreads*, also under
// the thread sanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <thread>

#include "base/realtime.h"
#include "devices/offline_device.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/sampler_set.h"
#include "tests/engine/marked_song.h"

namespace vantaro {
namespace {

constexpr int kBeat120 = 22050;  // frames per beat at 120 BPM

// A sample of `beats` beats at 120 BPM, a click at each beat start on the
// right channel, silent on the left.
std::vector<std::int16_t> ClickSample(int beats) {
  return test::MakeSignal(static_cast<std::int64_t>(beats) * kBeat120, [](std::int64_t f, int c) {
    return static_cast<std::int16_t>(c == 1 && f % kBeat120 < 200 ? 16000 : 0);
  });
}

std::vector<float> RenderSlot(CSamplerPlayer& slot, int frames) {
  std::vector<float> out(static_cast<std::size_t>(frames) * 2);
  RealtimeScope audio;
  slot.SyncPhase(0);
  slot.SyncPhase(1);
  slot.Render(out.data(), frames);
  return out;
}

class SamplerTest : public test::MarkedSongTest {};

int ends = 0;
void CountEnd(int, int, int) {
  ++ends;
}

TEST_F(SamplerTest, LengthsEndsAndDirectionsOfASlot) {
  CSamplerPlayer slot(3);
  // 30 s is the longest sample.
  EXPECT_EQ(slot.LoadSample(Song(test::MakeSignal(CSamplerPlayer::kMaxFrames + 1, test::Ramp))), 0);
  EXPECT_FALSE(slot.IsLoaded());
  EXPECT_EQ(slot.LoadSample(dir.File("absent.wav")), 0);
  ASSERT_EQ(slot.LoadSample(Song(test::MakeSignal(CSamplerPlayer::kMaxFrames, test::Ramp))), 1);
  EXPECT_EQ(slot.GetLength(), CSamplerPlayer::kMaxFrames);
  // A tail shorter than the decoder's smallest read still arrives.
  ASSERT_EQ(slot.LoadSample(Song(test::MakeSignal(44100 + 100, test::Ramp))), 1);
  slot.Play(1);
  const std::vector<float> tail = RenderSlot(slot, 44100 + 100);
  EXPECT_FLOAT_EQ(tail[44198 * 2] * 32768, 44199 % 32000);

  // 1000 frames whose left value is the frame number: a one-shot plays
  // frames 1..999 at 1/32768, then silence; the end is told once.
  ASSERT_EQ(slot.LoadSample(Song(test::MakeSignal(1000, test::Ramp))), 1);
  slot.SetEndCallback(&CountEnd);
  ends = 0;
  slot.Play(1);
  std::vector<float> out = RenderSlot(slot, 1200);
  EXPECT_FLOAT_EQ(out[0], 1 / 32768.0f);
  EXPECT_FLOAT_EQ(out[998 * 2], 999 / 32768.0f);
  EXPECT_EQ(test::Peak(std::vector<float>(out.begin() + 999 * 2, out.end()), 2, 0), 0.0);
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(slot.TakeEnded() && !slot.IsPlaying());
  RenderSlot(slot, 500);
  EXPECT_EQ(ends, 1) << "told once";

  // Looping wraps to frame 0; half speed interpolates; backwards wraps to
  // the last frame.
  struct Case {
    bool loop;
    int pitch, direction;
    int frame;     // output frame looked at
    float value;   // its left value, in stored units
    bool playing;  // after 1200 frames
  };
  for (const Case& c : {Case{true, 0, 1, 1000, 1, true}, Case{false, -5000, 1, 0, 0.5f, true},
                        Case{true, 0, -1, 0, 999, true}, Case{false, 0, -1, 5, 0, false}}) {
    SCOPED_TRACE(testing::Message() << c.loop << " " << c.pitch << " " << c.direction);
    slot.Play(0);
    slot.SetLoop(c.loop);
    slot.SetDirection(c.direction);
    slot.SetPitch(c.pitch);
    slot.Play(1);
    out = RenderSlot(slot, 1200);
    EXPECT_FLOAT_EQ(out[c.frame * 2] * 32768, c.value);
    EXPECT_EQ(slot.IsPlaying(), c.playing);
  }
}

TEST_F(SamplerTest, AutosyncFollowsTheReferenceDeckWithinFiftyPercent) {
  // The reference deck for each crossfader side and pair of playing decks.
  const int want[2][4] = {{0, 0, 1, 0}, {1, 0, 1, 1}};  // [side][deck0 + 2 * deck1 playing]
  for (int side = 0; side < 2; ++side)
    for (int playing = 0; playing < 4; ++playing)
      EXPECT_EQ(ReferenceDeck(side ? 64 : 63, playing & 1, playing & 2), want[side][playing])
          << side << playing;

  const std::string deckSong = Write({.bpm = 126, .seconds = 10}, "d126.wav");
  ASSERT_TRUE(LoadOn(deck, deckSong));
  CSamplerPlayer slot(0);
  ASSERT_EQ(slot.LoadSample(Song(ClickSample(4))), 1);
  EXPECT_EQ(slot.GetBPM(), 0.0f) << "no beats, no tempo";
  EXPECT_FALSE(slot.SyncToDeck(&deck));
  // Beats that make the slot's tempo need 50.01 % and 49.99 % of pitch.
  struct Case {
    double slotBpm;
    bool follows;
    int pitch;
  };
  for (const Case& c : {Case{126 / 1.5001, false, 0}, Case{126 / 1.4999, true, 4999},
                        Case{126 / 0.5001, true, -4999}}) {
    SCOPED_TRACE(c.slotBpm);
    // Four beats in the length that gives that tempo: 2646000 / (length / 4).
    ASSERT_EQ(slot.LoadSample(Song(test::MakeSignal(
                  static_cast<std::int64_t>(std::lrint(2646000 / c.slotBpm * 4)), test::Ramp))),
              1);
    slot.SetBeats(4);
    slot.SetAutosync(true);
    slot.Play(1, &deck);
    EXPECT_EQ(slot.SyncDeck() == &deck, c.follows);
    EXPECT_EQ(slot.Pitch(), c.pitch);
    EXPECT_EQ(slot.IsSyncArmed(), c.follows);
  }
}

TEST_F(SamplerTest, ADeckLoopOfAQuarterBeatBecomesFourRepeats) {
  ASSERT_TRUE(LoadOn(deck, Write({.bpm = 120, .seconds = 10, .ramp = true}, "ramp.wav")));
  deck.Play(1);
  rig.Render(44100);
  CSamplerSet set;
  EXPECT_FALSE(set.LoopToSampler(0, deck)) << "no loop running";
  ASSERT_EQ(deck.LoopForward(16), 1);
  rig.Render(4410);
  ASSERT_TRUE(set.LoopToSampler(2, deck));
  CSamplerPlayer& slot = set.Slot(2);
  const int loop = deck.LoopOut() - deck.LoopIn();
  EXPECT_EQ(slot.GetLength(), 4 * loop);
  EXPECT_EQ(slot.Beats(), 1);
  EXPECT_TRUE(slot.IsLooping() && slot.IsAutosync());
  EXPECT_EQ(set.Volume(2), 102);
  slot.Play(1);
  const std::vector<float> out = RenderSlot(slot, 4 * loop);
  std::vector<float> first(static_cast<std::size_t>(loop) * 2);
  deck.ReadFrames(deck.LoopIn() + 1, loop, first.data());
  for (int r = 0; r < 4; ++r)
    for (int i = 0; i + 1 < loop; i += 97)
      ASSERT_NEAR(out[(r * loop + i) * 2], first[i * 2] / CSoundSource::kSampleScale / 32768, 1e-4)
          << "repeat " << r << " frame " << i;
}

// Deck clicks on the left, the sampler's on the right, through the mixer as
// the program wires it: after an autosync start their onsets coincide.
TEST_F(SamplerTest, AutosyncKeepsTheBeatOfTheReferenceDeckOnEitherCrossfaderSide) {
  const std::string d0 = Write({.bpm = 126, .seconds = 30, .clickChannel = 0}, "a.wav");
  const std::string d1 =
      Write({.bpm = 126, .seconds = 30, .clickChannel = 0, .soundFrom = 0.21}, "b.wav");
  for (int side = 0; side < 2; ++side) {
    SCOPED_TRACE(side);
    ASSERT_TRUE(LoadOn(deck, d0));
    ASSERT_TRUE(LoadOn(deck1, d1));
    CSamplerSet set;
    ASSERT_TRUE(set.LoadSlot(0, Song(ClickSample(4))));
    set.Slot(0).SetBeats(4);
    set.Slot(0).SetAutosync(true);
    set.Slot(0).SetLoop(true);
    MixerRig mixerRig;
    CAudioSignalSource* decks[2] = {&deck, &deck1};
    ASSERT_TRUE(CreateMixerObjects(mixerRig, decks, nullptr));
    ASSERT_TRUE(WireMixer(mixerRig, nullptr, set.Sources(), kSamplerSlots));
    const int crossfader = side ? 127 : 0;
    mixerRig.mixer->SetCrossfader(crossfader);
    for (int input = 2; input < mixerRig.mixer->InputCount(); ++input)
      mixerRig.mixer->SetFader(input, 127);
    AudioRenderer renderer;
    renderer.mix = mixerRig.mixer.get();
    OfflineDevice device(renderer, 256, 2);
    deck.Play(1);
    deck1.Play(1);
    device.RenderToMemory(3 * 44100 + 1234);
    CSoundSource* const pair[2] = {&deck, &deck1};
    set.Play(0, 1, crossfader, pair);
    EXPECT_EQ(set.Slot(0).SyncDeck(), pair[side]);
    const std::vector<float> out = device.RenderToMemory(16 * 21000);
    const std::vector<long> deckOnsets = Onsets(out, 0), slotOnsets = Onsets(out, 1);
    ASSERT_GE(slotOnsets.size(), 12u);
    // 126 BPM: the slot's beats come every 21000 frames, as the deck's.
    EXPECT_NEAR(
        static_cast<double>(slotOnsets.back() - slotOnsets.front()) / (slotOnsets.size() - 1),
        21000.0, 2.0);
    const long offset = LargestOffset(slotOnsets, deckOnsets);
    EXPECT_LE(offset, 44) << "1 ms";
    std::printf("crossfader %d: largest onset offset %ld frames over %zu beats\n", crossfader,
                offset, slotOnsets.size());
    renderer.mix = nullptr;
    DestroyMixerObjects(mixerRig);
    deck.Play(0);
    deck1.Play(0);
  }
}

// ---- the sampler file ------------------------------------------------------

TEST(SamplerFile, RoundTripAndMissingBrokenAndPartialFiles) {
  test::TempDir dir;
  SamplerEntries entries;
  entries[0] = {true, dir.File("kick & snare.wav"), 4, true, true, -250, 102};
  entries[7] = {true, "/media/unmounted/horn\"<1>.wav", 0, false, false, 0, 0};
  const std::string text = FormatSamplerFile(entries);
  SamplerEntries back;
  ASSERT_EQ(ParseSamplerFile(text, "t", back), SamplerFileStatus::kRead);
  EXPECT_EQ(back, entries);

  struct Case {
    const char* name;
    std::string text;
    SamplerFileStatus status;
    int used;  // slots read
  };
  const std::string head = text.substr(0, text.find("<sample "));
  const Case cases[] = {
      {"torn in the second element", text.substr(0, text.rfind("volume")), SamplerFileStatus::kRead,
       1},
      {"another root", "<config version=\"100\"><sample index=\"1\" file=\"x\" /></config>",
       SamplerFileStatus::kBroken, 0},
      {"not xml", "\x01\x02garbage", SamplerFileStatus::kBroken, 0},
      {"bad and missing indexes",
       head + "<sample index=\"8\" file=\"a\" /><sample index=\"-1\" file=\"b\" />"
              "<sample file=\"c\" /><sample index=\"2x\" file=\"d\" />"
              "<sample index=\"3\" /><sample index=\"4\" file=\"e\" /></sampler>",
       SamplerFileStatus::kRead, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SamplerEntries got;
    EXPECT_EQ(ParseSamplerFile(c.text, "t", got), c.status);
    EXPECT_EQ(std::count_if(got.begin(), got.end(), [](const auto& e) { return e.used; }), c.used);
  }
  SamplerEntries partial;
  ParseSamplerFile(head + "<sample index=\"4\" file=\"e\" /></sampler>", "t", partial);
  EXPECT_EQ(partial[4].volume, 127) << "missing attributes keep their defaults";

  // Through the set: a missing file, then a slot whose sample is gone keeps
  // its entry at the next save.
  CSamplerSet set;
  EXPECT_EQ(set.Load(dir.File("sampler.xml")), SamplerFileStatus::kMissing);
  test::WriteFile(dir.File("sampler.xml"), text);
  EXPECT_EQ(set.Load(dir.File("sampler.xml")), SamplerFileStatus::kRead);
  EXPECT_FALSE(set.Slot(7).IsLoaded());
  EXPECT_EQ(set.Slot(0).Pitch(), -250);
  ASSERT_TRUE(set.Save(dir.File("again.xml")));
  SamplerEntries saved;
  ASSERT_EQ(ParseSamplerFile(test::ReadFile(dir.File("again.xml")), "t", saved),
            SamplerFileStatus::kRead);
  EXPECT_EQ(saved, entries);
}

// ---- threads ---------------------------------------------------------------

TEST(SamplerThreads, ASampleReplacedWhilePlayingIsNeverReadAfterItsFree) {
  CSamplerPlayer slot(0);
  const auto constant = [](std::int16_t v) { return std::vector<std::int16_t>(2 * 4410, v); };
  ASSERT_TRUE(slot.TakeSample(constant(1000), ""));
  slot.SetLoop(true);
  slot.Play(1);
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::thread audio([&] {
    std::vector<float> block(512);
    RealtimeScope realtime;
    while (!stop) {
      slot.Render(block.data(), 256);
      // One sample per block: every sound of a block is the same value (a
      // replacement may stop the slot mid-block: silence after it).
      float heard = 0.0f;
      for (float v : block) {
        if (v != 0.0f && heard != 0.0f && v != heard) ++torn;
        if (v != 0.0f) heard = v;
      }
    }
  });
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(slot.TakeSample(constant(static_cast<std::int16_t>(1000 + i % 7)), ""));
    slot.SetLoop(true);
    slot.Play(1);
  }
  stop = true;
  audio.join();
  EXPECT_EQ(torn.load(), 0);
}

}  // namespace
}  // namespace vantaro
