// Cue points: the cue button in its modes, the table and its memory in the
// song record through a saved and re-read db.vtx, hold-to-clear, and the
// song's audible range.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "engine/engine_settings.h"
#include "library/song_database.h"
#include "tests/engine/marked_song.h"

namespace vantaro {
namespace {

class CueTest : public test::MarkedSongTest {
 protected:
  void SetUp() override { ASSERT_TRUE(LoadOn(deck, Write({.bpm = 120}, "cues.wav"))); }
  // After the render's next steps: paused at `frame`.
  void PausedAt(double frame) {
    rig.Render(500);
    EXPECT_FALSE(deck.IsPlaying());
    EXPECT_EQ(deck.GetExactPosition(), frame);
  }
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
  deck.CueRelease();
  PausedAt(10000);
  At(30000, true);
  deck.CuePress();
  PausedAt(10000);

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

// Mode 0: a press with a cue set waits for the release, which jumps there
// and plays on.
TEST_F(CueTest, ModeZeroRunsTheQueuedPressOnReleaseAndPlaysOn) {
  deck.SetCueMode(0);
  deck.SetCuePoint(5000);
  At(40000, true);
  deck.CueButtonDown();
  rig.Render(100);
  EXPECT_GT(deck.GetExactPosition(), 40000) << "queued until the release";
  deck.CueRelease();
  EXPECT_EQ(deck.GetExactPosition(), 5000);
  EXPECT_TRUE(deck.IsPlaying());
}

// Five cues, the song's start and end and a saved loop are stored the
// moment they change and at unload; a fresh database read from the saved
// db.vtx holds them. A cue button held past two counts of tick 6 clears its
// cue, one let go before keeps it. Entries 5 to 9 and what this file cannot
// use (records are shared by name) come back as the record had them; the
// active index 10 is stored as 0.
TEST_F(CueTest, TableAndLoopsSurviveUnloadAndASavedDatabaseUntouchedEntriesStay) {
  const std::string path = Write({.bpm = 120}, "memory.wav");
  TZKSongRecord seeded;
  ASSERT_TRUE(FindSong("memory.wav", seeded));
  seeded.cue[7] = 12345;
  seeded.cue[8] = 900000000;  // beyond this file's end
  seeded.loop_in[4] = 2000;
  seeded.loop_out[4] = 1000;  // ends before it begins
  ASSERT_TRUE(StoreSong(seeded));
  ASSERT_TRUE(LoadOn(deck, path));
  EXPECT_EQ(deck.GetCue(8), 0) << "refused";
  EXPECT_TRUE(deck.LoopSlotEmpty(4)) << "refused";

  for (int i = 0; i < 5; ++i) {
    At(44100.0 * (i + 1) + i, false);
    deck.CueButton(i);
  }
  ASSERT_TRUE(FindSong("memory.wav", seeded));
  EXPECT_EQ(seeded.cue[4], 44100 * 5 + 4) << "stored at once";
  At(3000, false);
  deck.SetCueEntry(10);
  At(800000, false);
  deck.SetCueEntry(11);
  At(100000, true);
  ASSERT_TRUE(deck.LoopForward(128));
  ASSERT_EQ(deck.LoopSlot(1), 1) << "an empty slot takes the running loop";
  for (int i : {2, 3}) {
    deck.CueButton(i);
    deck.HoldCue(i, true);
    for (int tick = 0; tick < 5 - i; ++tick) deck.AgeHolds();
    deck.HoldCue(i, false);
  }
  deck.SelectCue(10);
  deck.RequestUnload();
  deck.StoreThreadRun();

  ASSERT_TRUE(SaveSongDatabase(dir.File("db.vtx")));
  ASSERT_TRUE(LoadSongDatabase(dir.File("db.vtx")));
  TZKSongRecord read;
  ASSERT_TRUE(FindSong("memory.wav", read));
  using testing::ElementsAre;
  EXPECT_THAT(read.cue, ElementsAre(44100, 88201, 0, 176403, 220504, 0, 0, 12345, 900000000, 0));
  EXPECT_THAT(read.loop_in, ElementsAre(-1, 100000, -1, -1, 2000));
  EXPECT_THAT(read.loop_out, ElementsAre(-1, 144099, -1, -1, 1000));
  EXPECT_THAT((std::array{read.cue_in, read.cue_out, read.currentcue}),
              ElementsAre(3000, 800000, 0));
}

// A load or a seek in flight makes the cue actions no-ops.
TEST_F(CueTest, CueActionsWaitForLoadsAndSeeks) {
  deck.SeekRequest(60000);
  deck.CueButton(3);
  EXPECT_EQ(deck.GetCue(3), 0) << "during a seek";
  ASSERT_TRUE(deck.LoadSong(dir.File("cues.wav"), false, nullptr, false));
  deck.SetCueHere();
  EXPECT_EQ(deck.GetCue(-1), 0) << "during a load";
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
    constexpr std::int32_t end = 64 * 44100;
    EXPECT_EQ(deck.GetStart(), disacu ? 0 : 3 * 44100) << disacu;
    EXPECT_EQ(deck.GetEnd(), disacu ? end : end - 5 * 44100 - 100) << disacu;
    EXPECT_EQ(deck.GetExactPosition(), disacu ? 0 : 3 * 44100) << disacu;
  }
  TheEngineSettings().disableAutoCue = true;
}

}  // namespace
}  // namespace vantaro
