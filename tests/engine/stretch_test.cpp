// The key lock heard through the audio callback and the offline device, on
// files made by sox: a tone keeps its pitch at another tempo and its
// changes come when the position says, on each path (the cheap path in the
// frame loop, Rubber Band's R2 and R3 on the stretch thread); and the cheap
// path's jump search on a block table the test fills itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine/cheap_stretch.h"
#include "engine/deck_block_store.h"
#include "engine/engine_settings.h"
#include "tests/engine/stretch_rig.h"

namespace vantaro {
namespace {

using test::Slice;
using test::StretchPath;

constexpr double kSpeed = 1.06;  // pitch +600
const std::string kTones = "synth 10 sine 440 vol 0.5";
const std::string kHigherTones = "synth 10 sine 660 vol 0.5";

double Cents(double hz, double reference) {
  return 1200.0 * std::log2(hz / reference);
}

// The first frame from `from` on where a rising zero crossing follows the
// previous one by less than `period` frames: where a lower tone gives way
// to a higher one. -1 when none does.
long FirstShorterPeriod(const std::vector<float>& out, long from, double period) {
  double last = -1;
  for (long i = from + 1; i < static_cast<long>(out.size() / 2); ++i) {
    const double a = out[(i - 1) * 2], b = out[i * 2];
    if (a >= 0 || b < 0) continue;
    const double crossing = i - 1 + (-a / (b - a));
    if (last >= 0 && crossing - last < period) return i;
    last = crossing;
  }
  return -1;
}

// The longest run of frames whose left sample stays within 0.001 of 0: a
// tone of 0.5 crosses 0 within two frames.
long LongestQuiet(const std::vector<float>& out) {
  long longest = 0, run = 0;
  for (std::size_t i = 0; i < out.size(); i += 2)
    longest = std::max(longest, run = std::fabs(out[i]) < 1e-3f ? run + 1 : 0);
  return longest;
}

// Frames at which `channel` rises above half full scale after at least 1000
// quieter ones: where a click is heard, not its stretched fringe.
std::vector<long> Onsets(const std::vector<float>& out, int channel) {
  std::vector<long> onsets;
  long quiet = 0;
  for (std::size_t i = channel; i < out.size(); i += 2) {
    const bool loud = std::fabs(out[i]) > 0.5f;
    if (loud && quiet >= 1000) onsets.push_back(static_cast<long>(i / 2));
    quiet = loud ? 0 : quiet + 1;
  }
  return onsets;
}

class StretchQuality : public test::StretchTest {};

// A 440 Hz tone at speed 1.06 stays at 440 Hz within 2 cents over a second
// of steady output, and the switch to 660 Hz at 10 s of the file is heard
// at 10 / 1.06 s within 0.5 %. Without key lock the same speed raises the
// tone (by then 660 Hz) by 100.9 cents.
TEST_P(StretchQuality, ToneKeepsItsPitchAndItsChangeComesOnTime) {
  ASSERT_TRUE(LoadSox(kTones, kHigherTones));
  UsePath(GetParam());
  if (GetParam() == StretchPath::kCheap) {
    // A key shift without the stretcher is told once and shifts nothing.
    deck.SetKeyShift(100);
    deck.SetKeyShift(200);
    EXPECT_EQ(deck.TakeKeyLockNotices(), kNoticeKeyShiftNeedsHQ);
  }
  deck.SetPitch(600);
  deck.Play(1);
  const std::vector<float> out = Play(11 * 44100);
  const double steady = test::ToneFrequency(Slice(out, 3 * 44100, 44100), 2, 0);
  EXPECT_NEAR(Cents(steady, 440.0), 0.0, 2.0) << steady << " Hz";
  const long heard = FirstShorterPeriod(out, 5 * 44100, 44100.0 / 550.0);
  EXPECT_NEAR(heard, 10 * 44100 / kSpeed, 0.005 * 10 * 44100 / kSpeed);
  std::printf("%s: %.3f Hz (%+.2f cents), 660 Hz heard at %.4f s (%+.3f %%)\n", Name(GetParam()),
              steady, Cents(steady, 440.0), heard / 44100.0,
              100.0 * (heard - 10 * 44100 / kSpeed) / (10 * 44100 / kSpeed));
  if (GetParam() != StretchPath::kCheap) return;  // the ordinary path is one for all
  deck.SetKeyLock(false);
  const double plain = test::ToneFrequency(Slice(Play(44100), 4410, 22050), 2, 0);
  EXPECT_NEAR(Cents(plain, 660.0), 1200.0 * std::log2(kSpeed), 2.0) << plain << " Hz";
}

INSTANTIATE_TEST_SUITE_P(Paths, StretchQuality, test::kAllPaths, test::PathName);

class KeyLock : public test::StretchTest {};

// A key shift of +100 cents gives 466.16 Hz within 3 cents, and the song's
// key moves a semitone: seven places round the wheel of fifths, within its
// group of twelve (A minor, 8A, becomes B flat minor, 3A).
TEST_P(KeyLock, KeyShiftMovesTheToneAndTheKey) {
  TZKSongRecord record;
  record.pitch_key = 8;
  ASSERT_TRUE(deck.LoadSong(Sox(kTones), false, &record, false));
  deck.StoreThreadRun();
  UsePath(GetParam());
  deck.SetKeyShift(100);
  deck.Play(1);
  const double hz = test::ToneFrequency(Slice(Play(3 * 44100), 2 * 44100, 44100), 2, 0);
  EXPECT_NEAR(Cents(hz, 466.1638), 0.0, 3.0) << hz << " Hz";
  std::printf("%s: +100 cents gives %.3f Hz (%+.2f cents)\n", Name(GetParam()), hz,
              Cents(hz, 466.1638));
  EXPECT_EQ(deck.TakeKeyLockNotices(), 0);
  for (auto [cents, key] : {std::pair{100, 3}, {-100, 1}, {1200, 8}, {-700, 7}}) {
    deck.SetKeyShift(cents);
    EXPECT_EQ(deck.GetShiftedKey(), key) << cents;
  }
}

// A click track key-locked at 1.06 against the same clicks unlocked at 1.06
// on another deck, both from the same place: the onsets lie within 1 ms.
TEST_P(KeyLock, ClicksKeepTimeWithAnUnlockedDeck) {
  const std::string clicks = "synth 0.005 sine 2000 pad 0 0.495 repeat 39 remix ";
  ASSERT_TRUE(LoadSox(clicks + "1 0"));
  CSoundSource& other = rig.AddDeck(1);
  ASSERT_TRUE(LoadSox(clicks + "0 1", "", &other));
  UsePath(GetParam());
  for (CSoundSource* d : {&deck, &other}) {
    d->SetPitch(600);
    d->Play(1);
  }
  Play(44100);
  for (CSoundSource* d : {&deck, &other}) {
    d->SeekRequest(3 * 44100);
    d->StoreThreadRun();
  }
  const std::vector<float> out = Play(8 * 44100, 441);
  const std::vector<long> locked = Onsets(out, 0), unlocked = Onsets(out, 1);
  ASSERT_GE(unlocked.size(), 14u);
  long largest = 0;
  for (long onset : unlocked) {
    long nearest = 44100;
    for (long l : locked) nearest = std::min(nearest, std::abs(l - onset));
    largest = std::max(largest, nearest);
  }
  EXPECT_LE(largest, 44) << Name(GetParam());
  std::printf("%s: key-locked onsets within %ld frames of the unlocked deck's\n", Name(GetParam()),
              largest);
}

// A pitch change switches rings with the short fade and no silent frame; a
// hand on the platter leaves the path and letting go returns to it; a jump
// is silent for less than the latency target (20 ms on R2, 60 ms on R3)
// and then plays what is there.
TEST_P(KeyLock, ChangesSwitchRingsLeaveAndReturnAndJump) {
  ASSERT_TRUE(LoadSox(kTones, kHigherTones));
  UsePath(GetParam());
  deck.SetPitch(600);
  deck.Play(1);
  Play(44100);
  ASSERT_TRUE(deck.IsHighQualityActive());
  deck.SetPitch(800);
  std::vector<float> out = Play(44100);
  EXPECT_LE(LongestQuiet(out), 2);
  EXPECT_NEAR(Cents(test::ToneFrequency(Slice(out, 22050, 22050), 2, 0), 440.0), 0.0, 2.0);

  deck.BeginScratch(0, true);
  Tick();
  Play(4410);
  EXPECT_FALSE(deck.IsHighQualityActive());
  deck.EndScratch();
  Tick();
  out = Play(8820);
  EXPECT_TRUE(deck.IsHighQualityActive());
  EXPECT_LE(LongestQuiet(Slice(out, 441, 8000)), 2);

  deck.SkipFrames(static_cast<float>(12 * 44100 - deck.GetExactPosition()));
  out = Play(44100, 441);
  long silent = 0;
  while (silent < 44100 && std::fabs(out[silent * 2]) < 1e-3f) ++silent;
  EXPECT_LT(silent, GetParam() == StretchPath::kFaster ? 882 : 2646);
  const double hz = test::ToneFrequency(Slice(out, silent + 4410, 22050), 2, 0);
  EXPECT_NEAR(Cents(hz, 660.0), 0.0, 2.0) << hz << " Hz";
  std::printf("%s: a jump is silent for %ld frames\n", Name(GetParam()), silent);
}

// A one-beat loop (22050 frames: the song has no tempo) of a 441 Hz tone,
// whose period does not divide it, on the high-quality path at 1.06: the
// largest step between samples over three wraps stays within 1.5 times
// the largest of the first pass, and the loop lasts its frames / 1.06.
TEST_P(KeyLock, LoopsWrapSeamlessly) {
  ASSERT_TRUE(LoadSox("synth 10 sine 441 vol 0.5"));
  UsePath(GetParam());
  deck.SetPitch(600);
  deck.Play(1);
  Play(44100);
  ASSERT_EQ(deck.LoopForward(64), 1);
  const std::int32_t in = deck.LoopIn();
  const std::vector<float> out = Play(4 * 20802);
  EXPECT_TRUE(deck.IsHighQualityActive());
  EXPECT_EQ(deck.LoopIn(), in);
  const double firstPass = test::LargestStep(Slice(out, 100, 20000), 2, 0);
  EXPECT_LE(test::LargestStep(Slice(out, 20000, 3 * 20802), 2, 0), 1.5 * firstPass);
}

INSTANTIATE_TEST_SUITE_P(Paths, KeyLock, test::kHighQualityPaths, test::PathName);

using StretchThreads = test::StretchTest;

// The render (marked as the audio thread: an allocation or a lock in it
// aborts) against the running stretch and store threads for 20 s, while
// this thread changes speed, key, position, path and engine: no sanitizer
// report, and the render kept going.
TEST_F(StretchThreads, RenderRacesTheStretchThreadThroughEveryKindOfChange) {
  ASSERT_TRUE(LoadSox(kTones, kHigherTones));
  deck.SetRepeat(true);
  deck.SetHQ(true);
  deck.SetKeyLock(true);
  deck.Play(1);
  ASSERT_TRUE(deck.StartStoreThread());
  std::atomic<bool> stop{false};
  std::atomic<long> blocks{0};
  std::thread render([&] {
    for (; !stop.load(); blocks.fetch_add(1)) {
      rig.Render(441);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
    switch (i % 6) {
      case 0:
        deck.SetPitch((i * 370) % 1600 - 800);
        break;
      case 1:
        deck.SetKeyShift((i * 130) % 800 - 400);
        break;
      case 2:
        deck.SkipFrames((i * 9973) % 88200 - 44100.0f);
        break;
      case 3:
        TheEngineSettings().highQualityFine = (i / 6) % 3 == 0;
        break;
      case 4:
        deck.SetKeyLock((i / 6) % 4 != 0);
        break;
      case 5:
        deck.SetHQ((i / 6) % 5 != 0);
        break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
  }
  stop.store(true);
  render.join();
  deck.StopStoreThread();
  EXPECT_GT(blocks.load(), 500);
}

// The cheap path's search on stored songs the test lays out block by block:
// the jumps it makes from segment to segment, at speed 1.0 and 1.06.
class CheapStretchSearch : public ::testing::Test {
 protected:
  // A fresh table with blocks [0, kBlocks) of `value(frame)`, but `missing`.
  template <typename Value>
  void Fill(Value value, int missing = -1) {
    store_ = std::make_unique<DeckBlockStore>();  // frees the old one's blocks
    for (int b = 0; b < kBlocks; ++b) {
      if (b == missing) continue;
      DeckBlock* block = DeckBlockStore::AllocateBlock();
      for (int i = 0; i < kBlockFrames; ++i)
        block->samples[i * 2] = block->samples[i * 2 + 1] = value(b * kBlockFrames + i);
      store_->Publish(b, block);
    }
    stretch_.Reset();
  }
  // The jumps of `segments` segments from frame 44100 at `speed`; `moved`
  // is how far the jumps took the position (the last one pending counted).
  std::vector<int> Jumps(double speed, int segments, double* moved = nullptr) {
    double position = 44100;
    std::vector<int> jumps;
    for (long i = 1; i <= static_cast<long>(segments) * CheapStretch::kSegmentLength; ++i) {
      stretch_.Step(position, speed, *store_, kBlocks * kBlockFrames);
      if (i % CheapStretch::kSegmentLength == 0) jumps.push_back(stretch_.Jump());
    }
    if (moved) *moved = position - 44100 - segments * CheapStretch::kSegmentLength + jumps.back();
    return jumps;
  }

  static constexpr int kBlocks = 4;
  std::unique_ptr<DeckBlockStore> store_;
  CheapStretch stretch_;
};

// A tone of exactly 100 frames a period: every jump is a whole number of
// periods and the jumps add up to the speed's distance within the search
// range. On a level signal (every lag alike) and where the search meets a
// missing block (every correlation 0), the first lag searched wins: a
// later equal one does not replace it.
TEST_F(CheapStretchSearch, JumpsFollowThePeriodAndTiesKeepTheFirstLag) {
  for (double speed : {1.0, kSpeed, 0.94}) {
    Fill([](int frame) {
      return std::int16_t(std::lrint(8000 * std::sin(2 * M_PI * frame / 100)));
    });
    double moved = 0;
    for (int jump : Jumps(speed, 20, &moved)) EXPECT_EQ(jump % 100, 0) << speed;
    const double wanted = 20 * std::lrint((speed - 1) * CheapStretch::kSegmentLength);
    EXPECT_NEAR(moved, wanted, CheapStretch::kSearchRange + CheapStretch::kFineRange) << speed;
  }
  const int first =
      -(CheapStretch::kSearchRange / CheapStretch::kCoarseStep) * CheapStretch::kCoarseStep;
  for (int missing : {-1, 1}) {
    Fill([](int) { return std::int16_t{1000}; }, missing);
    EXPECT_EQ(Jumps(1.0, 1).front(), -first) << "missing block " << missing;
  }
}

}  // namespace
}  // namespace vantaro
