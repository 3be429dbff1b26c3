#include "library/deck_song_memory.h"

#include <gtest/gtest.h>

#include "library/song_database.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::SongDatabaseTest;

TZKSongRecord Remembered() {
  TZKSongRecord record;
  record.name = "Anthem.mp3";
  record.bpm = 128;
  record.currentcue = 4;
  record.cue[0] = 1000;
  record.cue[9] = 9000;
  record.cue_in = 500;
  record.cue_out = 0;  // none: the deck keeps its own
  record.loop_in[2] = 2000;
  record.loop_out[2] = 4000;
  record.pitch_key = 30;
  return record;
}

TEST_F(SongDatabaseTest, DeckLoadRestoresWhatTheLastUnloadStored) {
  ASSERT_FALSE(LoadSongDatabase(path));
  ASSERT_TRUE(StoreSong(Remembered()));

  DeckCueState deck;
  deck.cueOut = 777;  // the deck's own end, kept when the record has none
  TZKSongRecord live;
  ASSERT_TRUE(RestoreDeckFromDatabase("/other/folder/Anthem.mp3", live, deck));
  EXPECT_EQ(live, Remembered());
  EXPECT_EQ(deck.cue[0], 1000);
  EXPECT_EQ(deck.cue[9], 9000);
  EXPECT_EQ(deck.currentCue, 4);
  EXPECT_EQ(deck.cueIn, 500);
  EXPECT_EQ(deck.cueOut, 777);
  EXPECT_EQ(deck.loopIn[2], 2000);
  EXPECT_EQ(deck.loopOut[2], 4000);
  EXPECT_EQ(deck.loopIn[0], -1);

  // The DJ edits, then unloads.
  deck.cue[1] = 3000;
  deck.currentCue = 12;  // out of range: stored as 0
  deck.cueOut = 5000000;
  deck.loopIn[2] = -1;
  deck.loopOut[2] = -1;
  ASSERT_TRUE(StoreDeckToDatabase(live, deck, 44100LL * 200));
  TZKSongRecord stored;
  ASSERT_TRUE(FindSong("Anthem.mp3", stored));
  EXPECT_EQ(stored.cue[1], 3000);
  EXPECT_EQ(stored.currentcue, 0);
  EXPECT_EQ(stored.cue_out, 5000000);
  EXPECT_EQ(stored.loop_in[2], -1);
  EXPECT_EQ(stored.duration_ms, 200000);
  EXPECT_EQ(stored.pitch_key, 0) << "a key outside 0..24 is cleared";
  EXPECT_EQ(stored.bpm, 128) << "fields the deck does not own are kept";

  // And it survives a restart.
  ASSERT_TRUE(SaveSongDatabase(path));
  ASSERT_TRUE(LoadSongDatabase(path));
  DeckCueState fresh;
  TZKSongRecord again;
  ASSERT_TRUE(RestoreDeckFromDatabase("/music/Anthem.mp3", again, fresh));
  EXPECT_EQ(fresh.cue[1], 3000);
  EXPECT_EQ(fresh.cueOut, 5000000);
}

TEST_F(SongDatabaseTest, DeckLoadOfAnUnknownTrackStartsANewRecord) {
  ASSERT_FALSE(LoadSongDatabase(path));
  DeckCueState deck;
  deck.cue[0] = 42;
  TZKSongRecord live;
  live.bpm = 99;
  EXPECT_FALSE(RestoreDeckFromDatabase("/music/New Tune.ogg", live, deck));
  EXPECT_EQ(live.name, "New Tune.ogg");
  EXPECT_EQ(live.bpm, 0);
  EXPECT_EQ(deck.cue[0], 42) << "the deck is left alone";
  EXPECT_EQ(SongCount(), 0u) << "nothing is stored before the unload";

  live.pitch_key = -1;
  EXPECT_TRUE(StoreDeckToDatabase(live, deck, 441));
  TZKSongRecord stored;
  ASSERT_TRUE(FindSong("New Tune.ogg", stored));
  EXPECT_EQ(stored.cue[0], 42);
  EXPECT_EQ(stored.duration_ms, 10);
  EXPECT_EQ(stored.pitch_key, 0);
}

TEST(DeckSongMemory, EqualiserIsNotedOnlyForLoadedTracksAndRealChanges) {
  TZKSongRecord live;
  NoteDeckEqualiser(live, /*trackLoaded=*/false, 1, 2, 3);
  EXPECT_EQ(live.eql + live.eqm + live.eqh, 0);
  NoteDeckEqualiser(live, true, 0.5f, -100, -99.5f);
  EXPECT_EQ(live.eql, 0.5f);
  EXPECT_EQ(live.eqm, 0) << "-100 means the band did not change";
  EXPECT_EQ(live.eqh, -99.5f);

  float low, mid, high;
  live.eql = -3;
  live.eqm = 0;
  live.eqh = 1.5f;
  RememberedEqualiser(live, low, mid, high);
  EXPECT_FLOAT_EQ(low, -1) << "a cut comes back a third as deep";
  EXPECT_EQ(mid, 0);
  EXPECT_EQ(high, 1.5f);
}

TEST(DeckSongMemory, AutomaticGainNeedsAMeasuredGain) {
  TZKSongRecord record;
  record.pgain = -3.26f;
  int value = 12345;
  EXPECT_FALSE(AutoGainControlValue(record, 0, value));
  EXPECT_EQ(value, 12345);
  record.pgain_valid = 1;
  ASSERT_TRUE(AutoGainControlValue(record, 0, value));
  EXPECT_EQ(value, 42);  // (-3.26 + 7.5) * 10 = 42.4
  ASSERT_TRUE(AutoGainControlValue(record, -2, value));
  EXPECT_EQ(value, 22);  // 22.4
  record.pgain = -9.56f;
  ASSERT_TRUE(AutoGainControlValue(record, 0, value));
  EXPECT_EQ(value, -21);  // -20.6
}

TEST_F(SongDatabaseTest, TrackNeedsAnalysisUntilTempoAndStripeAreKnown) {
  ASSERT_FALSE(LoadSongDatabase(path));
  const std::string stripes = dir.Path() + "/";
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "no record";
  TZKSongRecord record = test::Song("Beat.wav", 10);
  StoreSong(record);
  test::WriteFile(stripes + "Beat.wav.vs2", "stripe");
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "10 BPM is not a tempo";
  record.bpm = 10.5f;
  StoreSong(record);
  EXPECT_FALSE(SongNeedsAnalysis("/elsewhere/Beat.wav", stripes));
  std::remove((stripes + "Beat.wav.vs2").c_str());
  EXPECT_TRUE(SongNeedsAnalysis("/music/Beat.wav", stripes)) << "no stripe file";
}

}  // namespace
}  // namespace vantaro
