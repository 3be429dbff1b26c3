// The deck's own analysis with the real chain: a click track analysed on
// its first load and taken from the database and its stripe file on the
// second, the BPM dialog's reset, and the chain on its threads (filter
// DeckThreads*, also under the thread sanitizer).
#include "analysis/deck_analysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "analysis/analysis_worker.h"
#include "library/song_database.h"
#include "tests/analysis/test_tracks.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

using namespace std::chrono_literals;

// The real analysis, counting the blocks it is fed and its whole-track
// steps, each of which waits at its start while `hold` is set.
struct HeldAnalysis : DeckAnalysis {
  using DeckAnalysis::DeckAnalysis;
  void FeedBlock(const std::int16_t* samples, int frames, float* stripe) override {
    ++feeds;
    DeckAnalysis::FeedBlock(samples, frames, stripe);
  }
  WholeTrackResult WholeTrack(float* stripe, float* onset, int length, int mode) override {
    ++steps;
    while (hold) std::this_thread::sleep_for(1ms);
    return DeckAnalysis::WholeTrack(stripe, onset, length, mode);
  }
  std::atomic<bool> hold{false};
  std::atomic<int> feeds{0}, steps{0};
};

// Deck 0 with the real analysis, a song database and a Stripes folder of
// its own, and the worker the deck hands its tracks to.
class DeckChain : public test::DeckTest {
 protected:
  DeckChain() {
    std::filesystem::create_directory(stripes);
    LoadSongDatabase(dir.File("db.vtx"));
    auto owned = std::make_unique<HeldAnalysis>(
        stripes, [this](const std::string& path) { worker.QueueForAnalysis(path); });
    analysis = owned.get();
    deck.SetAnalysisFeed(std::move(owned));
    EXPECT_TRUE(test::WriteWav(path, test::MakeTrack(plan)));
  }
  ~DeckChain() override { SaveSongDatabase(dir.File("db.vtx")); }
  std::vector<float> Stripe() {
    std::lock_guard<std::mutex> hold(deck.StripeLock());
    return deck.Stripes(0);
  }
  float Bpm() {
    rig.Render(50);  // the render publishes the tempo of the block under the position
    return deck.GetBPM();
  }
  // A whole load and analysis; under the thread sanitizer on a loaded
  // machine that can pass a minute.
  bool Done() {
    return test::WaitFor([&] { return deck.GetUiState() == kUiAllDone; }, 180000);
  }
  // Holds the next whole-track step at its start; Held waits for it.
  void HoldNextStep() {
    analysis->hold = true;
    stepsBefore = analysis->steps;
  }
  bool Held() {
    return test::WaitFor([&] { return analysis->steps > stepsBefore; });
  }

  const std::string stripes = dir.Path() + "/Stripes/";
  const std::string path = dir.File("clicks.wav");
  const test::TrackPlan plan{.bpm = 120, .seconds = 62};
  AnalysisWorker worker{stripes, nullptr, nullptr};
  HeldAnalysis* analysis = nullptr;
  int stepsBefore = 0;
};

// First load: interim tempos for the six full groups of ten blocks while
// the whole-track step waits (none for the last two blocks), then the
// whole-track tempo in every block, marks on the beats, the record learnt.
// Once the worker has written the stripe file, a second load analyses
// nothing; a reset there feeds the blocks again and finds the same tempo.
TEST_F(DeckChain, ClickTrackAnalysedOnFirstLoadAndTakenFromTheStoreOnTheSecond) {
  ASSERT_TRUE(StoreSong({.name = "clicks.wav", .cue_in = 5000}));
  HoldNextStep();
  ASSERT_TRUE(rig.Load(path));
  ASSERT_TRUE(Held());
  EXPECT_EQ(deck.GetUiState(), kUiTempoAnalysis);
  EXPECT_NEAR(Bpm(), 120, 1) << "the interim tempo of blocks 0 to 9";
  EXPECT_FALSE(test::MarksIn(Stripe(), 50, 60).empty()) << "the interim step marks";
  At(61 * 44100 + 10, false);
  EXPECT_EQ(Bpm(), 0.0f) << "blocks 60 and 61 make no group";
  analysis->hold = false;
  ASSERT_TRUE(Done());
  analysis->hold = true;  // a second step would hang here
  deck.StoreThreadRun();
  EXPECT_EQ(deck.GetProgress(), 101) << "one whole-track step a load";
  analysis->hold = false;
  At(10, false);
  EXPECT_EQ(Bpm(), 120.0f) << "block 0 gives up its interim tempo";
  const std::vector<int> marks = test::MarksIn(Stripe(), 50, 60);
  EXPECT_GE(marks.size(), test::BeatFrames(plan).size() * 9 / 10);
  EXPECT_EQ(test::MarksOnBeats(plan, marks), static_cast<int>(marks.size()));
  TZKSongRecord stored;
  ASSERT_TRUE(FindSong("clicks.wav", stored));
  EXPECT_EQ(stored.bpm, 120.0f);
  EXPECT_TRUE(stored.pgain_valid == 1 && stored.pgain > -10 && stored.pgain < 0) << stored.pgain;
  EXPECT_EQ(stored.duration_ms, 62000);
  EXPECT_EQ(stored.cue_in, 5000) << "the analysis leaves the cues to the deck's unload";
  const TZKSongRecord live = deck.SongRecord();
  EXPECT_EQ(live.cue_in, 5000) << "a cue in force";
  EXPECT_EQ(live.cue_out, 62 * 44100) << "searched: music never reaches the level";

  worker.RunStep();
  analysis->feeds = 0;
  ASSERT_TRUE(rig.Load(path));
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  EXPECT_EQ(analysis->feeds, 0);
  EXPECT_NEAR(Bpm(), 120, 0.5) << "the worker's tempo, not rounded";
  deck.ResetTempoAnalysis(0);
  deck.StoreThreadRun();
  ASSERT_TRUE(Done());
  EXPECT_EQ(analysis->feeds, 62);
  EXPECT_EQ(Bpm(), 120.0f);
}

// Streamed, each batch of ten blocks in the window has a tempo of its own
// (the song has none), and no whole-track step runs.
TEST_F(DeckChain, StreamedBatchesOfTenHaveTheirOwnTempo) {
  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(path));
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  EXPECT_NEAR(Bpm(), 120, 1);
  EXPECT_EQ(analysis->steps, 0);
}

// The BPM dialog's reset: every mark comes off and the tempo is forgotten
// before the next run, which takes the dialog's mode (a manual 100 BPM
// finds a tempo near 100); a reset to the automatic mode then gives the
// very stripe and tempo of the first run.
TEST_F(DeckChain, ResetTakesTheMarksOffAndTheNextRunMatchesTheFirst) {
  ASSERT_TRUE(rig.Load(path));
  ASSERT_TRUE(Done());
  const std::vector<float> first = Stripe();
  HoldNextStep();
  deck.ResetTempoAnalysis(100);
  deck.StoreThreadRun();
  ASSERT_TRUE(Held());
  EXPECT_TRUE(test::MarksIn(Stripe(), 50, 1e9).empty());
  EXPECT_EQ(Bpm(), 0.0f);
  analysis->hold = false;
  ASSERT_TRUE(Done());
  EXPECT_NEAR(Bpm(), 100, 3) << "the tracker may walk a little past 99..101";
  deck.ResetTempoAnalysis(0);
  deck.StoreThreadRun();
  ASSERT_TRUE(Done());
  EXPECT_EQ(Bpm(), 120.0f);
  EXPECT_TRUE(Stripe() == first);
}

// The chain on its threads: the store thread loads and analyses while the
// audio thread plays the track and a screen tick reads the stripe under its
// lock; then a reset, and an unload while its whole-track step runs.
using DeckThreadsChain = DeckChain;
TEST_F(DeckThreadsChain, AnalysisRacesPlaybackAndStripeReadsAndUnloadJoinsIt) {
  std::atomic<bool> stop{false};
  std::atomic<int> marksSeen{0};
  std::thread audio([&] {
    while (!stop) rig.Render(4410);
  });
  std::thread screen([&] {
    for (; !stop; std::this_thread::sleep_for(1ms)) {
      std::lock_guard<std::mutex> hold(deck.StripeLock());
      const std::vector<float>& stripe = deck.Stripes(0);
      marksSeen += static_cast<int>(
          std::count_if(stripe.begin(), stripe.end(), [](float v) { return v > 50; }));
    }
  });
  ASSERT_TRUE(deck.StartStoreThread());
  ASSERT_EQ(deck.LoadSong(path, true, nullptr, false), 1);
  ASSERT_TRUE(Done());
  HoldNextStep();
  deck.ResetTempoAnalysis(0);
  ASSERT_TRUE(Held());
  deck.RequestUnload();
  std::this_thread::sleep_for(20ms);  // the store thread waits in the join
  analysis->hold = false;
  EXPECT_TRUE(test::WaitFor([&] { return !deck.IsSongLoaded() && deck.StripeCount() == 0; }));
  stop = true;
  audio.join();
  screen.join();
  deck.StopStoreThread();
  EXPECT_GT(marksSeen, 0);
  EXPECT_EQ(Bpm(), 0.0f);
  EXPECT_EQ(deck.GetUiState(), 0);
}
}  // namespace
}  // namespace vantaro
