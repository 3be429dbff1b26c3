// Loops, measured in the output: exact lengths from 1/64 to 32 beats, the
// sub-beat change on a beat, stop and reloop rules, refusals, and a join
// that does not click at any speed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "library/song_database.h"
#include "tests/engine/marked_song.h"

namespace vantaro {
namespace {

constexpr int kBeat = 22050;  // frames at 120 BPM

class LoopTest : public test::MarkedSongTest {
 protected:
  explicit LoopTest(int blockFrames = 50) : MarkedSongTest(blockFrames) {}
  bool LoadRamp(double seconds = 40) {
    return LoadOn(deck, Write({.bpm = 120, .seconds = seconds, .ramp = true}, "ramp.wav"));
  }
  // The period of the output from frame `from` on: the smallest p that
  // repeats the next `span` frames exactly, 0 when none up to `limit`.
  static long Period(const std::vector<float>& out, long from, long span, long limit) {
    const auto at = [&](long frame) { return out.begin() + 2 * frame; };
    for (long p = 1; p <= limit && 2 * (from + p + span) <= static_cast<long>(out.size()); ++p)
      if (std::equal(at(from), at(from + span), at(from + p))) return p;
    return 0;
  }
};

// At speed 1 every size repeats after exactly its frames, rint(beat × size
// / 64), crossfaded join included.
TEST_F(LoopTest, EverySizeFromOneSixtyFourthToThirtyTwoBeatsLastsItsFrames) {
  ASSERT_TRUE(LoadRamp());
  for (int size = 1; size <= 2048; size *= 2) {
    At(50000, true);
    ASSERT_EQ(deck.LoopForward(size), 1) << size;
    const long length = deck.LoopOut() - deck.LoopIn() + 1;
    EXPECT_NEAR(length, kBeat * size / 64.0, 0.5) << size;
    const std::vector<float> out = rig.Render(3 * length + 2000);
    EXPECT_EQ(Period(out, length + 1000, std::min(length, 3000L), length + 2), length) << size;
    deck.StopLoop(true);
  }
}

// A 1/2-beat loop changed to 1/4 beat after its first pass changes at the
// end of the second (an even pass); the same size twice stops a loop.
TEST_F(LoopTest, SubBeatChangeWaitsForAnEvenPassAndTheSameSizeTwiceStops) {
  ASSERT_TRUE(LoadRamp());
  At(50000, true);
  ASSERT_EQ(deck.LoopForward(32), 1);
  const std::int32_t in = deck.LoopIn(), half = kBeat / 2;
  rig.Render(half + 200);
  ASSERT_EQ(deck.LoopForward(16), 1);
  // The second wrap comes half a beat less 200 frames on (blocks of 50).
  EXPECT_NEAR(rig.FramesUntil(4 * half, [&] { return deck.LoopOut() != in + half - 1; }),
              half - 175, 25);
  EXPECT_NEAR(deck.LoopOut() - deck.LoopIn() + 1, kBeat / 4.0, 0.5);
  EXPECT_EQ(deck.GetLoopText().substr(0, 5), "1/4  ");

  ASSERT_EQ(deck.LoopForward(64), 1);
  rig.Render(kBeat);
  ASSERT_EQ(deck.LoopForward(64), 1);
  EXPECT_FALSE(deck.IsLooping());
}

// What a loop refuses changes nothing: a size below 1/64 beat, an end past
// the song's, a reloop of a loop under 44 frames, a saved loop that ends
// before it begins, and anything during a load.
TEST_F(LoopTest, RefusalsLeaveTheDeckAsItWas) {
  ASSERT_TRUE(LoadRamp(10));
  At(50000, true);
  EXPECT_EQ(deck.LoopForward(0), 0);
  At(10 * 44100 - kBeat + 10, true);
  EXPECT_EQ(deck.LoopForward(64), 0) << "past the end";
  EXPECT_FALSE(deck.IsLooping());

  for (auto [length, reloops] : {std::pair{43, 0}, {44, 1}}) {
    const std::string path =
        Write({.bpm = 120, .seconds = 2}, "r" + std::to_string(length) + ".wav");
    TZKSongRecord record;
    ASSERT_TRUE(FindSong(MakeSongKey(path), record));
    record.loop_in[0] = 1000;
    record.loop_out[0] = 999 + length;
    record.loop_in[1] = record.loop_out[1] = 3000;
    ASSERT_TRUE(StoreSong(record));
    ASSERT_TRUE(LoadOn(deck, path));
    EXPECT_EQ(deck.LoopSlot(1), 0) << "out <= in";
    ASSERT_EQ(deck.LoopSlot(0), 1);
    deck.StopLoop(true);
    EXPECT_EQ(deck.ReLoop(), reloops) << length;
  }
  ASSERT_TRUE(deck.LoadSong(dir.File("ramp.wav"), false, nullptr, false));
  EXPECT_EQ(deck.LoopForward(64) + deck.LoopBackward(64) + deck.LoopInOut() + deck.ReLoop(), 0);
}

// Beat skips: inside a loop they wrap, outside they stay in the song, and a
// held platter refuses them; with no tempo a beat is 22050 frames.
TEST_F(LoopTest, SkipBeatsWrapsInsideALoopAndStaysInTheSong) {
  ASSERT_TRUE(LoadRamp(10));
  At(100000, false);
  ASSERT_EQ(deck.LoopBackward(128), 1);  // two beats ending here
  const std::int32_t in = deck.LoopIn();
  At(in + 30000, false);
  ASSERT_EQ(deck.SkipBeats(1), 1);
  EXPECT_EQ(deck.GetExactPosition(), in + 30000 + kBeat - 2 * kBeat);
  deck.StopLoop(true);
  At(10 * 44100 - 10000, false);
  EXPECT_EQ(deck.SkipBeats(1), 0);
  EXPECT_EQ(deck.SkipBeats4(-1), 1);
  EXPECT_EQ(deck.GetExactPosition(), 10 * 44100 - 10000 - 4 * kBeat);
  deck.BeginScratch(0, true);
  Tick();
  EXPECT_EQ(deck.SkipBeats(-1), 0) << "under the hand";

  CSoundSource& plain = rig.AddDeck(2);  // no analysis: the tempo stays unknown
  ASSERT_TRUE(LoadOn(plain, dir.File("ramp.wav")));
  ASSERT_EQ(plain.SkipBeats(1), 1);
  EXPECT_EQ(plain.GetExactPosition(), 22050);
}

// The join of a wrap: at speeds 1.0 and 1.06, for a tone whose period
// divides the 1-beat loop (440 Hz: 220 periods) and one whose period does
// not (441 Hz: 220.5, the join meets the tone in opposite phase),
// the largest step between samples within 2 ms of a join is at most 1.5
// times the largest step elsewhere. One-frame blocks find each join.
class LoopJoinTest : public LoopTest {
 protected:
  LoopJoinTest() : LoopTest(1) {}
};

TEST_F(LoopJoinTest, JoinStepsStayWithinOneAndAHalfOfTheLargestStepElsewhere) {
  for (auto [hz, pitch] : {std::pair{441, 0}, {441, 600}, {440, 0}, {440, 600}}) {
    ASSERT_TRUE(LoadOn(deck, Write({.bpm = 120, .seconds = 6, .toneHz = double(hz)}, "tone.wav")));
    deck.SetPitch(pitch);
    At(30000.25, true);
    ASSERT_EQ(deck.LoopForward(64), 1);
    double nearJoin = 0, elsewhere = 0, before = deck.GetExactPosition();
    long lastJoin = -1000, joins = 0;
    float previous = 0;
    for (long t = 0; t < 4 * kBeat; ++t) {
      const float sample = rig.Render(1)[0];
      if (deck.GetExactPosition() < before) lastJoin = t, ++joins;
      before = deck.GetExactPosition();
      double& largest = t - lastJoin <= 88 ? nearJoin : elsewhere;
      if (t > 0) largest = std::max(largest, static_cast<double>(std::fabs(sample - previous)));
      previous = sample;
    }
    ASSERT_GE(joins, 3);
    EXPECT_LE(nearJoin, 1.5 * elsewhere) << hz << " Hz, pitch " << pitch;
    std::printf("join step ratio %d Hz pitch %d: %.3f\n", hz, pitch, nearJoin / elsewhere);
    deck.SetPitch(0);
  }
}

}  // namespace
}  // namespace vantaro
