// Cue points: the cue button in its modes, the table and its memory in the
// song record through a saved and re-read db.vtx, hold-to-clear, and the
// song's audible range.
#include <gtest/gtest.h>

#include "engine/engine_settings.h"
#include "library/song_database.h"
#include "tests/engine/marked_song.h"

namespace vantaro {
namespace {

class CueTest : public test::MarkedSongTest {
 protected:
  void SetUp() override { ASSERT_TRUE(LoadOn(deck, Write({.bpm = 120}, "cues.wav"))); }
  void Settle() { rig.Render(500); }
};

// Mode 2: a press on the cue plays while held and the release returns; a
// press off the cue while playing stops and returns to it; after a scratch
// of the paused deck the next press stores the position.
TEST_F(CueTest, ModeTwoHoldPlaysReleaseReturnsPressOffTheCueStopsThere) {
  At(10000, false);
  deck.SetCueHere();
  deck.CuePress();
  EXPECT_TRUE(deck.IsPlaying());
  rig.Render(3000);
  EXPECT_GT(deck.GetExactPosition(), 10000 + 100);
  deck.CueRelease();
  Settle();
  EXPECT_FALSE(deck.IsPlaying());
  EXPECT_EQ(deck.GetExactPosition(), 10000);

  At(30000, true);
  deck.CuePress();
  Settle();
  EXPECT_FALSE(deck.IsPlaying()) << "off the cue: stop";
  EXPECT_EQ(deck.GetExactPosition(), 10000);
  EXPECT_EQ(test::LeftPeak(rig.Render(500)), 0.0) << "silent after the stop";

  deck.BeginScratch(0, true);
  deck.MoveScratch(-3000);
  Tick();
  rig.Render(4000);
  deck.EndScratch();
  Tick();
  const double moved = deck.GetExactPosition();
  ASSERT_NE(moved, 10000);
  deck.CuePress();
  EXPECT_EQ(deck.GetCue(-1), static_cast<std::int32_t>(moved)) << "the press stores the cue";
  EXPECT_FALSE(deck.IsPlaying());
}

// Mode 0 jumps while playing and keeps playing, and a press with a cue set
// waits for the release; mode 1 stops on the cue.
TEST_F(CueTest, ModeZeroJumpsOnReleaseAndModeOneStopsOnTheCue) {
  deck.SetCueMode(0);
  At(5000, true);
  deck.CueButtonDown();
  EXPECT_EQ(deck.GetCue(-1), 5000) << "no cue yet: the press sets it";
  At(40000, true);
  deck.CueButtonDown();
  rig.Render(100);
  EXPECT_GT(deck.GetExactPosition(), 40000) << "queued until the release";
  deck.CueRelease();
  EXPECT_NEAR(deck.GetExactPosition(), 5000, 1);
  EXPECT_TRUE(deck.IsPlaying());

  deck.SetCueMode(1);
  deck.CuePress();
  Settle();
  EXPECT_FALSE(deck.IsPlaying());
  EXPECT_EQ(deck.GetExactPosition(), 5000);
}

// Five cues, the song's start and end and two saved loops are stored the
// moment they change and at unload; a fresh database read from the saved
// db.vtx holds them. Entries 5 to 9 and what this file cannot use (records
// are shared by name) come back as the record had them; the active index
// 10 is stored as 0.
TEST_F(CueTest, TableAndLoopsSurviveUnloadAndASavedDatabaseUntouchedEntriesStay) {
  deck.RequestUnload();
  deck.StoreThreadRun();
  TZKSongRecord seeded;
  ASSERT_TRUE(FindSong("cues.wav", seeded));
  seeded.cue[7] = 12345;
  seeded.cue[8] = 900000000;  // beyond this file's end
  seeded.loop_in[4] = 2000;
  seeded.loop_out[4] = 1000;  // ends before it begins
  ASSERT_TRUE(StoreSong(seeded));
  ASSERT_TRUE(LoadOn(deck, dir.File("cues.wav")));
  EXPECT_EQ(deck.GetCue(8), 0) << "refused";
  EXPECT_TRUE(deck.LoopSlotEmpty(4)) << "refused";

  for (int i = 0; i < 5; ++i) {
    At(44100.0 * (i + 1) + i, false);
    deck.CueButton(i);
  }
  TZKSongRecord now;
  ASSERT_TRUE(FindSong("cues.wav", now));
  EXPECT_EQ(now.cue[4], 44100 * 5 + 4) << "stored at once";
  At(3000, false);
  deck.SetCueEntry(10);
  At(800000, false);
  deck.SetCueEntry(11);
  At(100000, true);
  ASSERT_TRUE(deck.LoopForward(128));
  ASSERT_EQ(deck.LoopSlot(1), 1) << "an empty slot takes the running loop";
  deck.SelectCue(10);
  deck.RequestUnload();
  deck.StoreThreadRun();

  ASSERT_TRUE(SaveSongDatabase(dir.File("db.vtx")));
  ASSERT_TRUE(LoadSongDatabase(dir.File("db.vtx")));
  TZKSongRecord read;
  ASSERT_TRUE(FindSong("cues.wav", read));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(read.cue[i], 44100 * (i + 1) + i) << i;
  EXPECT_EQ(read.cue[7], 12345);
  EXPECT_EQ(read.cue[8], 900000000);
  EXPECT_EQ(read.cue_in, 3000);
  EXPECT_EQ(read.cue_out, 800000);
  EXPECT_EQ(read.currentcue, 0);
  EXPECT_EQ(read.loop_in[1], deck.LoopIn());
  EXPECT_EQ(read.loop_out[1] - read.loop_in[1] + 1, 44100);
  EXPECT_EQ(read.loop_in[4], 2000);
  EXPECT_EQ(read.loop_out[4], 1000);

  ASSERT_TRUE(LoadOn(deck, dir.File("cues.wav")));
  EXPECT_EQ(deck.GetCue(4), 44100 * 5 + 4);
  ASSERT_EQ(deck.LoopSlot(1), 1) << "the saved loop plays";
  EXPECT_TRUE(deck.IsPlaying());
  EXPECT_EQ(deck.LoopOut() - deck.LoopIn() + 1, 44100);
}

// A cue button held past two counts of tick 6 clears its cue; one let go
// before keeps it. A load or a seek in flight makes the cue actions no-ops.
TEST_F(CueTest, HoldClearsTheActiveCueAndActionsWaitForLoadsAndSeeks) {
  At(20000, false);
  deck.CueButton(2);
  deck.HoldCue(2, true);
  deck.AgeHolds();
  deck.AgeHolds();
  deck.HoldCue(2, false);
  deck.AgeHolds();
  EXPECT_EQ(deck.GetCue(2), 20000);
  deck.HoldCue(2, true);
  for (int tick = 0; tick < 3; ++tick) deck.AgeHolds();
  EXPECT_EQ(deck.GetCue(2), 0);

  deck.SeekRequest(60000);
  deck.SetCueHere();
  deck.CueButton(3);
  EXPECT_EQ(deck.GetCue(3), 0) << "during a seek";
  deck.StoreThreadRun();
  ASSERT_TRUE(deck.LoadSong(dir.File("cues.wav"), false, nullptr, false));
  deck.SetCueHere();
  EXPECT_EQ(deck.GetCue(-1), 0) << "during a load";
  deck.StoreThreadRun();
}

// With automatic cueing the song starts where it becomes audible and ends
// where it falls silent (3 s of silence at the head, 5 s at the tail), and
// a load that keeps the cue waits at the start; without it, 0 and the end.
TEST_F(CueTest, AudibleRangeGivesStartAndEndOnlyWithAutomaticCueing) {
  const std::string path =
      Write({.bpm = 120, .seconds = 64, .soundFrom = 3, .soundTail = 5}, "quiet.wav");
  for (bool disacu : {true, false}) {
    TheEngineSettings().disableAutoCue = disacu;
    ASSERT_TRUE(LoadOn(deck, path, /*keepCue=*/true));
    rig.Render(100);
    const std::int32_t end = 64 * 44100;
    EXPECT_EQ(deck.GetStart(), disacu ? 0 : 3 * 44100) << disacu;
    EXPECT_EQ(deck.GetEnd(), disacu ? end : end - 5 * 44100 - 100) << disacu;
    EXPECT_EQ(deck.GetExactPosition(), disacu ? 0 : 3 * 44100) << disacu;
  }
  TheEngineSettings().disableAutoCue = true;
}

}  // namespace
}  // namespace vantaro
