// What a deck takes from and gives back to its track's record.
#include "library/deck_song_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "library/song_database.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::SongDatabaseTest;
using testing::ElementsAre;

TEST_F(SongDatabaseTest, DeckLoadRestoresWhatTheLastUnloadStored) {
  ASSERT_FALSE(LoadSongDatabase(path));
  // Cues, a loop, a cue-in but no cue-out, and a key out of range.
  // clang-format off
  const TZKSongRecord remembered{"Anthem.mp3", 0, 30, 128, 0, 0, 0, 0, 0, 4,
                                 {1000, 0, 0, 0, 0, 0, 0, 0, 0, 9000}, 500, 0,
                                 {-1, -1, 2000, -1, -1}, {-1, -1, 4000, -1, -1}};
  // clang-format on
  ASSERT_TRUE(StoreSong(remembered));
  DeckCueState deck;
  deck.cueOut = 777;  // the deck's own end, kept when the record has none
  TZKSongRecord live;
  ASSERT_TRUE(RestoreDeckFromDatabase("/other/folder/Anthem.mp3", live, deck));
  EXPECT_EQ(live, remembered);
  const int restored[] = {deck.cue[0], deck.cue[9],    deck.currentCue, deck.cueIn,
                          deck.cueOut, deck.loopIn[2], deck.loopOut[2], deck.loopIn[0]};
  EXPECT_THAT(restored, ElementsAre(1000, 9000, 4, 500, 777, 2000, 4000, -1));

  // The DJ edits, then unloads.
  deck.cue[1] = 3000;
  deck.currentCue = 12;  // out of range: stored as 0
  deck.cueOut = 5000000;
  deck.loopIn[2] = deck.loopOut[2] = -1;
  ASSERT_TRUE(StoreDeckToDatabase(live, deck, 44100LL * 200));
  const TZKSongRecord stored = Find("Anthem.mp3");
  const int kept[] = {stored.cue[1],      stored.currentcue, stored.cue_out, stored.loop_in[2],
                      stored.duration_ms, stored.pitch_key,  int(stored.bpm)};
  EXPECT_THAT(kept, ElementsAre(3000, 0, 5000000, -1, 200000, 0, 128))
      << "a key outside 0..24 is cleared; fields the deck does not own are kept";

  // An unknown track: a new record, the deck left alone, nothing stored yet.
  deck.cue[0] = 42;
  EXPECT_FALSE(RestoreDeckFromDatabase("/music/New Tune.ogg", live, deck));
  EXPECT_EQ(live.name, "New Tune.ogg");
  EXPECT_TRUE(live.bpm == 0 && live.loop_in[2] == -1) << "a new record's values";
  EXPECT_EQ(deck.cue[0], 42);
  EXPECT_EQ(SongCount(), 1u);
  live.pitch_key = -1;
  ASSERT_TRUE(StoreDeckToDatabase(live, deck, 441));
  EXPECT_EQ(Find("New Tune.ogg").pitch_key, 0) << "below 0 is outside too";
}

TEST(DeckSongMemory, EqualiserAndGainAreRememberedByTheirRules) {
  TZKSongRecord live;
  NoteDeckEqualiser(live, /*trackLoaded=*/false, 1, 2, 3);
  NoteDeckEqualiser(live, true, -3, -100, -99.5f);  // -100: the band did not change
  float eq[3];
  RememberedEqualiser(live, eq[0], eq[1], eq[2]);
  EXPECT_THAT(eq, ElementsAre(-1, 0, -99.5f / 3)) << "a cut comes back a third as deep";

  int value = 12345;
  live.pgain = -3.26f;
  EXPECT_FALSE(AutoGainControlValue(live, 0, value)) << "no measured gain";
  EXPECT_EQ(value, 12345);
  live.pgain_valid = 1;
  // (-3.26 + 7.5) * 10 = 42.4; (-9.56 + 7.5 - 2) * 10 = -40.6
  for (auto [gain, reference, control] : {std::tuple{-3.26f, 0.0f, 42}, {-9.56f, -2.0f, -41}}) {
    live.pgain = gain;
    ASSERT_TRUE(AutoGainControlValue(live, reference, value));
    EXPECT_EQ(value, control) << gain << " " << reference;
  }
}

TEST_F(SongDatabaseTest, TrackNeedsAnalysisUntilTempoAndStripeAreKnown) {
  ASSERT_FALSE(LoadSongDatabase(path));
  const std::string stripes = dir.Path() + "/";
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "no record";
  StoreSong(test::Song("Beat.wav", 10));
  test::WriteFile(stripes + "Beat.wav.vs2", "stripe");
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "10 BPM is not a tempo";
  StoreSong(test::Song("Beat.wav", 10.5f));
  EXPECT_FALSE(SongNeedsAnalysis("/elsewhere/Beat.wav", stripes));
  std::remove((stripes + "Beat.wav.vs2").c_str());
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "no stripe file";
}

}  // namespace
}  // namespace vantaro
