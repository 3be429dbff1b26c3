// The deck's block store: block counts at the exact edges, pinning, the RAM
// test and the streaming mode, the table limit, eviction rules, readers,
// seeks, load failures and the analysis feed.
#include <gtest/gtest.h>

#include <cmath>

#include "base/realtime.h"
#include "engine/engine_settings.h"
#include "library/song_record.h"
#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::DeckRig;
using test::TempDir;

// A recognisable value per frame: left counts frames, right is its negative.
std::int16_t Ramp(std::int64_t frame, int channel) {
  const auto v = static_cast<std::int16_t>(frame % 30000);
  return channel == 0 ? v : static_cast<std::int16_t>(-v);
}

std::string WriteRampFile(const TempDir& dir, const std::string& name, std::int64_t frames) {
  const std::string path = dir.File(name);
  EXPECT_TRUE(test::WriteStereoWav(path, test::MakeSignal(frames, Ramp)));
  return path;
}

// One deck on a rig, and a folder for its songs.
class DeckStore : public ::testing::Test {
 protected:
  TempDir dir;
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
};

TEST_F(DeckStore, BlockCountIsTheCeilingAndTheLastBlockHoldsTheRest) {
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "exact.wav", 3 * 44100)));
  EXPECT_EQ(deck.BlockCount(), 3);
  EXPECT_EQ(deck.GetLength(), 3 * 44100);
  EXPECT_EQ(deck.BlockFramesDecoded(2), 44100);
  EXPECT_EQ(deck.GetDecodedPercent(), 100);

  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "plus_one.wav", 3 * 44100 + 1)));
  EXPECT_EQ(deck.BlockCount(), 4);
  EXPECT_EQ(deck.BlockFramesDecoded(3), 1) << "a last block of one frame";
  // That one frame holds the file's last frame, not the start of a read.
  EXPECT_EQ(deck.GetSample16(3 * 44100, 0), Ramp(3 * 44100, 0));
  EXPECT_EQ(deck.GetSample16(3 * 44100, 1), Ramp(3 * 44100, 1));
  EXPECT_EQ(deck.StripeCount(), static_cast<int>(std::lrint((3 * 44100 + 1) * 0.01)));
  std::lock_guard<std::mutex> hold(deck.StripeLock());
  for (int which = 0; which < 3; ++which)
    EXPECT_EQ(deck.Stripes(which).size(), static_cast<size_t>(deck.StripeCount() + 1));
}

TEST_F(DeckStore, FirstAndLastTwoBlocksArePinned) {
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "two.wav", 2 * 44100 - 5)));
  EXPECT_EQ(deck.BlockCount(), 2);
  EXPECT_TRUE(deck.IsBlockPinned(0));
  EXPECT_TRUE(deck.IsBlockPinned(1));

  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "six.wav", 6 * 44100)));
  const bool expected[6] = {true, false, false, false, true, true};
  for (int b = 0; b < 6; ++b) EXPECT_EQ(deck.IsBlockPinned(b), expected[b]) << "block " << b;
  // The blocks around the cue are pinned too.
  deck.SetCuePoint(2 * 44100 + 10);
  EXPECT_TRUE(deck.IsBlockPinned(1));
  EXPECT_TRUE(deck.IsBlockPinned(3));
}

TEST_F(DeckStore, RamTestChoosesStreamingAtTheBudgetEdge) {
  const std::string path = WriteRampFile(dir, "ten.wav", 10 * 44100);
  {
    // 172 KB a block, room for both decks: ten blocks fit when the budget
    // holds more than twenty.
    test::AvailKBOverride budget(21 * 172);
    ASSERT_TRUE(rig.Load(path));
    EXPECT_FALSE(deck.IsStreaming());
  }
  {
    test::AvailKBOverride budget(20 * 172);
    ASSERT_TRUE(rig.Load(path));
    EXPECT_TRUE(deck.IsStreaming());
  }
  {
    test::AvailKBOverride budget(0);
    ASSERT_TRUE(rig.Load(WriteRampFile(dir, "one.wav", 1000)));
    EXPECT_TRUE(deck.IsStreaming()) << "availKB 0 streams every song";
    EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  }
}

TEST_F(DeckStore, StreamingDecodesAWindowAndReversePullsBlocksBackwards) {
  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "long.wav", 60 * 44100)));
  ASSERT_TRUE(deck.IsStreaming());
  EXPECT_EQ(deck.GetDecodedPercent(), 100);
  for (int b = 0; b <= 20; ++b) EXPECT_TRUE(deck.IsBlockPresent(b)) << b;
  EXPECT_FALSE(deck.IsBlockPresent(21)) << "only twenty blocks ahead";

  deck.SeekRequest(40.5 * 44100);
  deck.SetDirection(-1);
  deck.StoreThreadRun();  // serves the seek and drops what is far from it
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 40.5 * 44100);
  for (int b = 1; b <= 38; ++b) EXPECT_FALSE(deck.IsBlockPresent(b)) << b;
  EXPECT_TRUE(deck.IsBlockPresent(0)) << "pinned";
  EXPECT_TRUE(deck.IsBlockPresent(39)) << "the next block in the direction of travel";
  EXPECT_TRUE(deck.IsBlockPresent(40));

  deck.StoreThreadRun();
  for (int b = 20; b <= 40; ++b) EXPECT_TRUE(deck.IsBlockPresent(b)) << b;
  EXPECT_FALSE(deck.IsBlockPresent(19));
  for (int b = 41; b <= 57; ++b) EXPECT_FALSE(deck.IsBlockPresent(b)) << b;
  EXPECT_EQ(deck.BlockState(30), kBlockPresent);
  EXPECT_EQ(deck.BlockState(45), kBlockNeverDecoded);
}

TEST_F(DeckStore, BlocksBeyondTheTableReadAsSilenceAndAreNeverDecoded) {
  const std::int64_t frames = static_cast<std::int64_t>(kMaxBlocks + 2) * 44100;
  auto generated = std::make_unique<test::GeneratedDecoder>(frames, 10000);
  test::GeneratedDecoder* decoder = generated.get();
  deck.UseDecoder(std::move(generated));
  test::AvailKBOverride budget(0);  // streaming: a window, not the whole song
  ASSERT_TRUE(rig.Load("generated$"));
  EXPECT_EQ(deck.BlockCount(), kMaxBlocks + 2);

  // Just below the limit the deck plays.
  deck.SeekRequest((kMaxBlocks - 1) * 44100.0 + 100);
  deck.StoreThreadRun();
  deck.Play(1);
  std::vector<float> out = rig.Render(4410);
  EXPECT_GT(test::Peak(out, 2, 0), 0.1);

  const int readsBefore = decoder->Reads();
  EXPECT_EQ(deck.DecodeBlock(kMaxBlocks), 0);
  EXPECT_EQ(deck.DecodeBlock(kMaxBlocks + 1), 0);
  EXPECT_EQ(decoder->Reads(), readsBefore) << "no decode attempted beyond the table";

  deck.SeekRequest(kMaxBlocks * 44100.0 + 500);
  deck.StoreThreadRun();
  ASSERT_DOUBLE_EQ(deck.GetExactPosition(), kMaxBlocks * 44100.0 + 500);
  out = rig.Render(4410);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
  EXPECT_EQ(test::Peak(out, 2, 1), 0.0);
  EXPECT_FALSE(deck.IsBlockPresent(kMaxBlocks));
  float frame[2] = {1, 1};
  deck.ReadFrames(kMaxBlocks * 44100LL + 7, 1, frame);
  EXPECT_EQ(frame[0], 0.0f);
  EXPECT_EQ(decoder->Reads(), readsBefore);
}

TEST_F(DeckStore, EvictionRulesOfBothModes) {
  const std::string path = WriteRampFile(dir, "eight.wav", 8 * 44100);
  ASSERT_TRUE(rig.Load(path));
  ASSERT_FALSE(deck.IsStreaming());
  // The ordinary mode keeps a decoded song whole: only a forced eviction
  // frees a block, and a freed block is decoded again on demand.
  EXPECT_FALSE(deck.EvictBlock(4, false));
  EXPECT_TRUE(deck.IsBlockPresent(4));
  EXPECT_TRUE(deck.EvictBlock(4, true));
  EXPECT_FALSE(deck.IsBlockPresent(4));
  EXPECT_EQ(deck.BlockState(4), kBlockNeverDecoded);
  EXPECT_FALSE(deck.EvictBlock(4, true)) << "already absent";
  EXPECT_FALSE(deck.EvictBlock(-1, true));
  EXPECT_FALSE(deck.EvictBlock(8, true));
  EXPECT_EQ(deck.DecodeBlock(4), 1);
  EXPECT_EQ(deck.DecodeBlock(4), 0) << "present already";
  EXPECT_EQ(deck.GetSample16(4 * 44100 + 3, 0), Ramp(4 * 44100 + 3, 0));

  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(path));
  ASSERT_TRUE(deck.IsStreaming());
  EXPECT_FALSE(deck.EvictBlock(0, false)) << "pinned";
  EXPECT_TRUE(deck.EvictBlock(3, false));
  EXPECT_EQ(deck.BlockState(3), kBlockNeverDecoded);
  deck.Play(1);
  deck.SeekRequest(44100.0 * 5);  // pending until the store thread runs
  EXPECT_FALSE(deck.EvictBlock(2, true)) << "no eviction while a seek waits";
  deck.StoreThreadRun();
  EXPECT_FALSE(deck.IsSeekPending());
}

TEST_F(DeckStore, ReadersScaleWrapAndReadMissingAsZero) {
  const std::int64_t frames = 2 * 44100 + 300;
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "r.wav", frames)));
  EXPECT_EQ(deck.GetSample16(1234, 0), 1234);
  EXPECT_EQ(deck.GetSample16(1234, 1), -1234);
  EXPECT_FLOAT_EQ(deck.GetSampleFloat(1234, 0), 1234 * 3e-5f);
  EXPECT_EQ(deck.GetSample16(frames + 5, 0), 5) << "indices wrap by the song length";
  EXPECT_EQ(deck.GetSample16(-1, 0), Ramp(frames - 1, 0));

  std::vector<float> out(2 * 100, 7.0f);
  EXPECT_EQ(deck.ReadFrames(frames - 50, 100, out.data()), 100);
  EXPECT_FLOAT_EQ(out[0], Ramp(frames - 50, 0) * 3e-5f);
  EXPECT_FLOAT_EQ(out[1], Ramp(frames - 50, 1) * 3e-5f);
  for (int i = 50; i < 100; ++i) EXPECT_EQ(out[i * 2], 0.0f) << "beyond the song";

  ASSERT_TRUE(deck.EvictBlock(1, true));
  deck.ReadFrames(44100 + 10, 1, out.data());
  EXPECT_EQ(out[0], 0.0f) << "an absent block reads as zeros";
}

TEST_F(DeckStore, SeekWaitsForItsBlockAndIsRefusedWhenItCannotApply) {
  deck.SeekRequest(1000);
  EXPECT_FALSE(deck.IsSeekPending()) << "no song ready";
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "s.wav", 5 * 44100)));
  deck.SeekRequest(3 * 44100 + 17);
  EXPECT_TRUE(deck.IsSeekPending());
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 0.0) << "moved only by the store thread";
  deck.SeekRequest(100);  // ignored: one seek at a time
  deck.StoreThreadRun();
  EXPECT_FALSE(deck.IsSeekPending());
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3 * 44100 + 17);

  deck.SeekRequest(99 * 44100.0);  // beyond the song: served, position kept
  deck.StoreThreadRun();
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3 * 44100 + 17);

  deck.BeginScratch(0, false);
  deck.ScratchTick(CSoundSource::kJogIdleLimit);
  deck.SeekRequest(10);
  EXPECT_FALSE(deck.IsSeekPending()) << "refused while scratching";
  deck.EndScratch();
  deck.ScratchTick(CSoundSource::kJogIdleLimit);
}

TEST_F(DeckStore, LoadFailuresLeaveAnEmptyDeckMarkedFailed) {
  ASSERT_TRUE(test::WriteStereoWav(dir.File("empty.wav"), {}));
  for (const char* name : {"missing.wav", "empty.wav"}) {
    EXPECT_FALSE(rig.Load(dir.File(name))) << name;
    EXPECT_EQ(deck.GetUiState(), kUiFailed) << name;
    EXPECT_FALSE(deck.IsSongLoaded()) << name;
    EXPECT_EQ(deck.GetLength(), 0) << name;
  }

  // A failed load after a good one leaves nothing of the old song.
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "ok.wav", 44100)));
  EXPECT_FALSE(rig.Load(dir.File("missing.wav")));
  EXPECT_EQ(deck.BlockCount(), 0);
  EXPECT_FALSE(deck.IsBlockPresent(0));
  std::vector<float> out = rig.Render(441);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
}

TEST_F(DeckStore, LoadSongQueuesOneLoadAndAutoPlayStartsIt) {
  const std::string path = WriteRampFile(dir, "a.wav", 44100);
  EXPECT_EQ(deck.LoadSong(path, true, nullptr, false), 1);
  EXPECT_EQ(deck.GetUiState(), kUiLoading);
  EXPECT_EQ(deck.LoadSong(path, false, nullptr, false), 0) << "a load is already waiting";
  EXPECT_FALSE(deck.IsSongReady());
  deck.StoreThreadRun();
  EXPECT_TRUE(deck.IsSongReady());
  EXPECT_TRUE(deck.IsPlaying()) << "autoPlay";
  EXPECT_EQ(deck.LoadSong(path, false, nullptr, false), 1);
  EXPECT_FALSE(deck.IsPlaying()) << "a load stops the deck";
}

// What the analysis feed was given; every block must carry the ramp's own
// values.
struct FeedLog {
  std::vector<int> blocks;
  std::vector<int> frames;
  int songDecoded = 0;
};

DeckAnalysisFeed LoggingFeed(FeedLog& log) {
  DeckAnalysisFeed feed;
  feed.user = &log;
  feed.blockDecoded = [](CSoundSource&, int block, const std::int16_t* samples, int frames,
                         void* user) {
    auto* l = static_cast<FeedLog*>(user);
    l->blocks.push_back(block);
    l->frames.push_back(frames);
    EXPECT_EQ(samples[2 * 5], Ramp(block * 44100LL + 5, 0));
  };
  feed.songDecoded = [](CSoundSource&, void* user) { ++static_cast<FeedLog*>(user)->songDecoded; };
  return feed;
}

TEST_F(DeckStore, AnalysisFeedSeesEveryFirstDecodeOnce) {
  FeedLog log;
  deck.SetAnalysisFeed(LoggingFeed(log));
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "f.wav", 3 * 44100 + 10)));
  std::vector<int> sorted = log.blocks;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(log.frames[std::find(log.blocks.begin(), log.blocks.end(), 3) - log.blocks.begin()],
            10);
  EXPECT_EQ(log.songDecoded, 1);
  EXPECT_EQ(deck.GetUiState(), kUiTempoAnalysis);
  deck.StoreThreadRun();
  EXPECT_EQ(log.songDecoded, 1) << "tempo analysis is started once";
  deck.SetSongTempo(128.0f);
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  EXPECT_FLOAT_EQ(deck.GetBPM(), 128.0f);
}

TEST_F(DeckStore, ATempoFromTheDatabaseSkipsTheAnalysis) {
  const std::string path = WriteRampFile(dir, "t.wav", 3 * 44100);
  FeedLog log;
  deck.SetAnalysisFeed(LoggingFeed(log));

  TZKSongRecord record;
  record.bpm = 126.0f;
  ASSERT_EQ(deck.LoadSong(path, false, &record, false), 1);
  record.bpm = 90.0f;  // the deck took its copy when asked to load
  deck.StoreThreadRun();
  EXPECT_FLOAT_EQ(deck.GetBPM(), 126.0f);
  EXPECT_TRUE(log.blocks.empty());
  EXPECT_EQ(log.songDecoded, 0);
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);

  // Streamed, every first decode still feeds the analysis; the song's tempo
  // stands in until the blocks have their own.
  test::AvailKBOverride budget(0);
  ASSERT_EQ(deck.LoadSong(path, false, &record, false), 1);
  deck.StoreThreadRun();
  EXPECT_EQ(log.blocks.size(), 3u);
  EXPECT_FLOAT_EQ(deck.GetBPM(), 90.0f);

  ASSERT_EQ(deck.LoadSong(path, false, nullptr, false), 1);
  deck.StoreThreadRun();
  EXPECT_EQ(deck.GetBPM(), 0.0f) << "no record, no tempo";
}

struct LoadEvents {
  std::vector<int> events;
};

TEST_F(DeckStore, UnloadFreesEverythingAndReportsIt) {
  LoadEvents events;
  deck.SetLoadCallback(
      [](int, int loaded, void* user) { static_cast<LoadEvents*>(user)->events.push_back(loaded); },
      &events);
  ASSERT_TRUE(rig.Load(WriteRampFile(dir, "u.wav", 4 * 44100)));
  deck.RequestUnload();
  deck.StoreThreadRun();
  EXPECT_FALSE(deck.IsSongLoaded());
  EXPECT_EQ(deck.GetLength(), 0);
  for (int b = 0; b < 4; ++b) EXPECT_FALSE(deck.IsBlockPresent(b));
  EXPECT_EQ(deck.StripeCount(), 0);
  EXPECT_EQ(events.events, (std::vector<int>{1, 0}));
}

}  // namespace
}  // namespace vantaro
