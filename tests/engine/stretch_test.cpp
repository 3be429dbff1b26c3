// The key lock heard through the audio callback and the offline device, on
// files made by sox (undithered, so every run hears the same samples), on
// each path: the cheap path in the frame loop, Rubber Band's R2 and R3 on
// the stretch thread, whose routine runs between chunks of the render (the
// offline device renders faster than real time); the race of the real
// threads; and the cheap path's jump search on a block table of the test's.
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
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

enum class Path { kCheap, kFaster, kFiner };
constexpr const char* kPathNames[] = {"cheap", "R2", "R3"};
constexpr double kSpeed = 1.06;  // pitch +600
const std::string kTones = "synth 10 sine 440 vol 0.5";
const std::string kHigherTones = "synth 10 sine 660 vol 0.5";

double Cents(double hz, double reference) {
  return 1200.0 * std::log2(hz / reference);
}

std::vector<float> Slice(const std::vector<float>& stereo, long first, long count) {
  return {stereo.begin() + first * 2, stereo.begin() + (first + count) * 2};
}

// Frequency of the left channel over `count` frames from `first`.
double Hz(const std::vector<float>& out, long first, long count) {
  return test::ToneFrequency(Slice(out, first, count), 2, 0);
}

// The first frame from `from` on where a rising zero crossing follows the
// last by less than `period` frames: where a tone gives way to a higher one.
long FirstShorterPeriod(const std::vector<float>& out, long from, double period) {
  double last = -1;
  for (long i = from + 1; i < static_cast<long>(out.size() / 2); ++i) {
    const double a = out[(i - 1) * 2], b = out[i * 2];
    if (a >= 0 || b < 0) continue;
    if (last >= 0 && i - 1 - a / (b - a) - last < period) return i;
    last = i - 1 - a / (b - a);
  }
  return -1;
}

// Frames of `channel` that stay within `level` of 0: the longest run, and the
// frames at which it rises above `level` after 1000 quieter ones.
long LongestQuiet(const std::vector<float>& out, float level = 1e-3f) {
  long longest = 0, run = 0;
  for (std::size_t i = 0; i < out.size(); i += 2)
    longest = std::max(longest, run = std::fabs(out[i]) < level ? run + 1 : 0);
  return longest;
}
std::vector<long> Onsets(const std::vector<float>& out, int channel, float level) {
  std::vector<long> onsets;
  for (long i = channel, quiet = 0; i < static_cast<long>(out.size()); i += 2) {
    if (std::fabs(out[i]) > level && quiet >= 1000) onsets.push_back(i / 2);
    quiet = std::fabs(out[i]) > level ? 0 : quiet + 1;
  }
  return onsets;
}

class KeyLockTest : public test::DeckTest, public ::testing::WithParamInterface<Path> {
 protected:
  KeyLockTest() : DeckTest(441) {}
  ~KeyLockTest() override { TheEngineSettings().highQualityFine = false; }
  const char* Name() const { return kPathNames[static_cast<int>(GetParam())]; }
  bool High() const { return GetParam() != Path::kCheap; }
  // The sox synth `effects`, then `more` when given, loaded on `d` with one
  // store run.
  bool LoadSox(CSoundSource& d, const std::string& effects, const std::string& more = "",
               const TZKSongRecord* record = nullptr) {
    const std::string path = dir.File("sox" + std::to_string(++songs_) + ".wav");
    std::string parts;
    for (const std::string* part : {&effects, &more}) {
      const std::string file = path + std::to_string(part == &more) + ".wav";
      if (part->empty()) continue;
      if (test::RunCommand("sox -D -n -r 44100 -c 2 -b 16 '" + file + "' " + *part) != 0)
        return false;
      parts += " '" + file + "'";
    }
    if (test::RunCommand("sox" + parts + " '" + path + "'") != 0) return false;
    if (!d.LoadSong(path, false, record, false)) return false;
    d.StoreThreadRun();
    return d.IsSongReady();
  }
  // Key lock on `d` by the test's path; the stretcher is built for its engine.
  void UsePath(CSoundSource& d, Path path) {
    TheEngineSettings().highQualityFine = path == Path::kFiner;
    d.SetHQ(path != Path::kCheap);
    d.SetKeyLock(true);
    if (path == Path::kCheap) return;
    d.StretchThreadRun();
    stretched.push_back(&d);
  }
  // Renders in chunks, each stretch routine run before each chunk.
  std::vector<float> Play(long frames, long chunk = 4410) {
    std::vector<float> out;
    for (long done = 0; done < frames; done += chunk) {
      for (CSoundSource* d : stretched) d->StretchThreadRun();
      const std::vector<float> part = rig.Render(std::min(chunk, frames - done));
      out.insert(out.end(), part.begin(), part.end());
    }
    return out;
  }

  std::vector<CSoundSource*> stretched;
};

using StretchQuality = KeyLockTest;

// At speed 1.06 a 440 Hz tone stays at 440 Hz within 2 cents over a second
// of steady output, and its change to 660 Hz at 10 s of the file is heard
// at 10 / 1.06 s within 0.5 %. On the stretcher a key shift of +100 cents
// gives 466.16 Hz within 3 cents, and the song's key moves a semitone:
// seven places round the wheel of fifths, within its group of twelve (8A,
// A minor, becomes 3A). Without the stretcher a key shift is told once and
// shifts nothing; without key lock the speed raises the tone 100.9 cents.
TEST_P(StretchQuality, ToneKeepsItsPitchItsChangeComesOnTimeAndTheKeyShifts) {
  TZKSongRecord record;
  record.pitch_key = 8;
  ASSERT_TRUE(LoadSox(deck, kTones, kHigherTones, &record));
  UsePath(deck, GetParam());
  deck.SetKeyShift(High() ? 0 : 200);
  EXPECT_EQ(deck.TakeKeyLockNotices(), High() ? 0 : kNoticeKeyShiftNeedsHQ);
  deck.SetPitch(600);
  deck.Play(1);
  std::vector<float> out = Play(3 * 44100);
  const double steady = Hz(out, 44100, 44100);
  EXPECT_NEAR(Cents(steady, 440.0), 0.0, 2.0) << steady << " Hz";
  deck.SetKeyShift(High() ? 100 : 0);
  const std::vector<float> rest = Play(8 * 44100);
  out.insert(out.end(), rest.begin(), rest.end());
  const double shifted = Hz(out, 4 * 44100, 44100);
  EXPECT_NEAR(Cents(shifted, High() ? 466.1638 : 440.0), 0.0, 3.0) << shifted << " Hz";
  const long heard = FirstShorterPeriod(out, 6 * 44100, 44100.0 / 550.0);
  EXPECT_NEAR(heard, 10 * 44100 / kSpeed, 0.005 * 10 * 44100 / kSpeed);
  std::printf("%s: %.3f Hz (%+.2f cents); 660 Hz heard at %.4f s (%+.3f %%); shifted %.3f Hz\n",
              Name(), steady, Cents(steady, 440.0), heard / 44100.0,
              100.0 * (heard * kSpeed / 441000 - 1), shifted);
  for (auto [cents, key] : {std::pair{100, 3}, {-100, 1}, {1200, 8}, {-700, 7}}) {
    deck.SetKeyShift(cents);
    EXPECT_EQ(deck.GetShiftedKey(), key) << cents;
  }
  EXPECT_EQ(deck.TakeKeyLockNotices(), 0) << "told once";
  if (High()) return;
  deck.SetKeyLock(false);
  const double plain = Hz(Play(22050), 4410, 11025);
  EXPECT_NEAR(Cents(plain, 660.0), 1200.0 * std::log2(kSpeed), 2.0) << plain << " Hz";
}

INSTANTIATE_TEST_SUITE_P(Paths, StretchQuality,
                         ::testing::Values(Path::kCheap, Path::kFaster, Path::kFiner),
                         [](const auto& info) { return kPathNames[int(info.param)]; });

using KeyLock = KeyLockTest;

// Clicks key-locked at 1.06 against the same clicks unlocked at 1.06 on
// another deck, both from the same place: where each click reaches half
// full scale (where it is heard, not its stretched fringe), within 1 ms.
TEST_P(KeyLock, ClicksKeepTimeWithAnUnlockedDeck) {
  const std::string clicks = "synth 0.005 sine 2000 pad 0 0.495 repeat 39 remix ";
  CSoundSource& other = rig.AddDeck(1);
  ASSERT_TRUE(LoadSox(deck, clicks + "1 0") && LoadSox(other, clicks + "0 1"));
  UsePath(deck, GetParam());
  for (CSoundSource* d : {&deck, &other}) d->SetPitch(600), d->Play(1);
  Play(44100);
  for (CSoundSource* d : {&deck, &other}) d->SeekRequest(3 * 44100), d->StoreThreadRun();
  const std::vector<float> out = Play(8 * 44100, 441);
  const std::vector<long> locked = Onsets(out, 0, 0.5f), unlocked = Onsets(out, 1, 0.5f);
  ASSERT_GE(unlocked.size(), 14u);
  long largest = 0;
  for (long onset : unlocked) {
    long nearest = 44100;
    for (long l : locked) nearest = std::min(nearest, std::abs(l - onset));
    largest = std::max(largest, nearest);
  }
  EXPECT_LE(largest, 44);
  std::printf("%s: key-locked onsets within %ld frames of the unlocked deck's\n", Name(), largest);
}

// A change of pitch and key switches rings without a silent frame or a step
// between samples beyond 1.5 times the largest of steady play; a hand on the
// platter leaves the path and letting go returns to it; a one-beat loop
// (22050 frames: the song has no tempo) wraps within the same bound; a
// jump is silent for less than the latency target (20 ms on R2, 60 ms on
// R3) and then plays what is there.
TEST_P(KeyLock, ChangesSwitchRingsLeaveAndReturnLoopAndJump) {
  ASSERT_TRUE(LoadSox(deck, kTones, kHigherTones));
  UsePath(deck, GetParam());
  deck.SetPitch(600);
  deck.Play(1);
  std::vector<float> out = Play(44100);
  const double steadyStep = test::LargestStep(Slice(out, 4410, 30000), 2, 0);
  ASSERT_TRUE(deck.IsHighQualityActive());
  deck.SetPitch(800);
  deck.SetKeyShift(300);  // the rings then differ in their waveform too
  const double shift = std::pow(2.0, 0.25);
  out.erase(out.begin(), out.end() - 2);  // the switch may come with the next frame
  const std::vector<float> changed = Play(44100);
  out.insert(out.end(), changed.begin(), changed.end());
  EXPECT_LE(LongestQuiet(out), 2);
  EXPECT_LE(test::LargestStep(out, 2, 0), 1.5 * steadyStep);
  EXPECT_NEAR(Cents(Hz(out, 22050, 22050), 440.0 * shift), 0.0, 3.0);

  deck.BeginScratch(0, true);
  Tick();
  Play(4410);
  EXPECT_FALSE(deck.IsHighQualityActive());
  deck.EndScratch();
  Tick();
  EXPECT_LE(LongestQuiet(Slice(Play(8820), 441, 8000)), 2);
  EXPECT_TRUE(deck.IsHighQualityActive());

  ASSERT_EQ(deck.LoopForward(64), 1);
  out = Play(4 * 20418);  // 22050 / 1.08 frames a pass
  EXPECT_TRUE(deck.IsHighQualityActive() && deck.IsLooping());
  EXPECT_LE(test::LargestStep(out, 2, 0), 1.5 * steadyStep);
  deck.StopLoop(true);

  deck.SkipFrames(static_cast<float>(12 * 44100 - deck.GetExactPosition()));
  out = Play(44100, 441);
  long silent = 0;
  while (silent < 44100 && std::fabs(out[silent * 2]) < 1e-3f) ++silent;
  EXPECT_LT(silent, GetParam() == Path::kFaster ? 882 : 2646);
  EXPECT_NEAR(Cents(Hz(out, silent + 4410, 22050), 660.0 * shift), 0.0, 3.0);
}

INSTANTIATE_TEST_SUITE_P(Paths, KeyLock, ::testing::Values(Path::kFaster, Path::kFiner),
                         [](const auto& info) { return kPathNames[int(info.param)]; });

using StretchThreads = KeyLockTest;

// The render (marked as the audio thread: an allocation or a lock in it
// aborts) against the running stretch and store threads for 20 s, while
// this thread changes speed, key, position, path and engine: no sanitizer
// report, and the render kept going.
TEST_F(StretchThreads, RenderRacesTheStretchThreadThroughEveryKindOfChange) {
  ASSERT_TRUE(LoadSox(deck, kTones, kHigherTones));
  deck.SetRepeat(true);
  UsePath(deck, Path::kFaster);
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
    const int round = i / 6;
    if (i % 6 == 0) deck.SetPitch((i * 370) % 1600 - 800);
    if (i % 6 == 1) deck.SetKeyShift((i * 130) % 800 - 400);
    if (i % 6 == 2) deck.SkipFrames(static_cast<float>((i * 9973) % 88200 - 44100));
    if (i % 6 == 3) TheEngineSettings().highQualityFine = round % 3 == 0;
    if (i % 6 == 4) deck.SetKeyLock(round % 4 != 0);
    if (i % 6 == 5) deck.SetHQ(round % 5 != 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
  }
  stop.store(true);
  render.join();
  deck.StopStoreThread();
  EXPECT_GT(blocks.load(), 500);
}

// The cheap path's search on a table the test fills: on a tone of exactly
// 100 frames a period every jump is whole periods and the jumps add up to
// the speed's distance within the search range. On a level signal (every
// lag alike) and where the windows meet a missing block (every correlation
// 0) the first lag searched wins: a later equal one does not replace it.
TEST(CheapStretchSearch, JumpsFollowThePeriodAndTiesKeepTheFirstLag) {
  constexpr int kBlocks = 4, kSegment = CheapStretch::kSegmentLength;
  constexpr int kReach = CheapStretch::kSearchRange + CheapStretch::kFineRange;
  const auto jumps = [&](auto value, int missing, double speed, int segments, double* moved) {
    DeckBlockStore store;
    for (int b = 0; b < kBlocks; ++b) {
      if (b == missing) continue;
      DeckBlock* block = DeckBlockStore::AllocateBlock();
      for (int i = 0; i < kBlockFrames * 2; ++i)
        block->samples[i] = value(b * kBlockFrames + i / 2);
      store.Publish(b, block);
    }
    CheapStretch stretch;
    std::vector<int> made;
    double position = 44100;
    for (long i = 1; i <= static_cast<long>(segments) * kSegment; ++i) {
      stretch.Step(position, speed, store, kBlocks * kBlockFrames);
      if (i % kSegment == 0) made.push_back(stretch.Jump());
    }
    *moved = position - 44100 - segments * kSegment + made.back();  // the last one pending
    return made;
  };
  const auto tone = [](int frame) {
    return static_cast<std::int16_t>(std::lrint(8000 * std::sin(2 * M_PI * frame / 100)));
  };
  double moved = 0;
  for (double speed : {1.0, kSpeed, 0.94}) {
    for (int jump : jumps(tone, -1, speed, 20, &moved)) EXPECT_EQ(jump % 100, 0) << speed;
    EXPECT_NEAR(moved, 20 * std::lrint((speed - 1) * kSegment), kReach) << speed;
  }
  const int first =
      CheapStretch::kSearchRange / CheapStretch::kCoarseStep * CheapStretch::kCoarseStep;
  for (int missing : {-1, 1}) {
    const auto level = [](int) { return std::int16_t{1000}; };
    EXPECT_EQ(jumps(level, missing, 1.0, 1, &moved).front(), first) << missing;
  }
}

}  // namespace
}  // namespace vantaro
