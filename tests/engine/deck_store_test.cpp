// The deck's store: block counts at the exact edges, pinning, the RAM test
// and the streaming mode, the table limit, eviction, readers, seeks, the
// load's life cycle, the analysis feed, and out-of-order reads of a
// compressed file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "library/song_record.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

// A recognisable value per frame: left counts frames, right is its negative.
std::int16_t Ramp(std::int64_t frame, int channel) {
  return static_cast<std::int16_t>((frame % 30000) * (channel ? -1 : 1));
}

class DeckStore : public test::DeckTest {
 protected:
  std::string RampFile(std::int64_t frames) { return Song(test::MakeSignal(frames, Ramp)); }
  void SeekAndServe(double target) {
    deck.SeekRequest(target);
    deck.StoreThreadRun();
  }
};

TEST_F(DeckStore, BlocksCountFramesPinAndReadBack) {
  for (auto [frames, blocks, last] : {std::tuple{3 * 44100, 3, 44100}, {3 * 44100 + 1, 4, 1}}) {
    ASSERT_TRUE(rig.Load(RampFile(frames)));
    EXPECT_EQ(deck.BlockCount(), blocks);
    EXPECT_EQ(deck.BlockFramesDecoded(blocks - 1), last);
    // The last frame holds the file's last frame, not the start of a read.
    EXPECT_EQ(deck.GetSample16(frames - 1, 1), Ramp(frames - 1, 1));
    std::lock_guard<std::mutex> hold(deck.StripeLock());
    EXPECT_EQ(deck.Stripes(2).size(), static_cast<size_t>(deck.StripeCount() + 1));
  }
  // Pinned: the first block, the last two, and the three around the cue.
  ASSERT_TRUE(rig.Load(RampFile(7 * 44100)));
  deck.SetCuePoint(3 * 44100 + 10);
  const bool pinned[7] = {true, false, true, true, true, true, true};
  for (int b = 0; b < 7; ++b) EXPECT_EQ(deck.IsBlockPinned(b), pinned[b]) << "block " << b;
  // Readers scale, wrap by the length, and read what is absent as zeros.
  EXPECT_FLOAT_EQ(deck.GetSampleFloat(7 * 44100 + 1234, 1), -1234 * 3e-5f);
  EXPECT_EQ(deck.GetSample16(-1, 0), Ramp(7 * 44100 - 1, 0));
  ASSERT_TRUE(deck.EvictBlock(1, true));
  std::vector<float> out(2 * 100, 7.0f);
  EXPECT_EQ(deck.ReadFrames(44100 - 50, 100, out.data()), 100);
  EXPECT_FLOAT_EQ(out[1], Ramp(44100 - 50, 1) * 3e-5f);
  EXPECT_EQ(test::Peak(std::vector<float>(out.begin() + 100, out.end()), 1, 0), 0.0);
  deck.ReadFrames(7 * 44100 - 1, 2, out.data());
  EXPECT_EQ(out[2], 0.0f) << "beyond the song";
}

TEST_F(DeckStore, RamTestChoosesStreamingAtTheBudgetEdge) {
  // 172 KB a block and room for both decks: ten blocks need more than twenty.
  for (auto [budget, streaming] : {std::pair{21 * 172, false}, {20 * 172, true}, {0, true}}) {
    test::AvailKBOverride override(budget);
    ASSERT_TRUE(rig.Load(RampFile(10 * 44100)));
    EXPECT_EQ(deck.IsStreaming(), streaming) << budget;
  }
}

TEST_F(DeckStore, StreamingDecodesAWindowAndReversePullsBlocksBackwards) {
  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(RampFile(60 * 44100)));
  EXPECT_TRUE(deck.IsBlockPresent(20));
  EXPECT_FALSE(deck.IsBlockPresent(21)) << "only twenty blocks ahead";
  EXPECT_EQ(deck.GetDecodedPercent(), 100) << "a streamed song counts as decoded";
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  deck.SetDirection(-1);
  SeekAndServe(40.5 * 44100);  // serves the seek and drops what is far from it
  for (int b = 1; b <= 38; ++b) ASSERT_FALSE(deck.IsBlockPresent(b)) << b;
  EXPECT_TRUE(deck.IsBlockPresent(0)) << "pinned";
  EXPECT_TRUE(deck.IsBlockPresent(39)) << "the next block in the direction of travel";
  deck.StoreThreadRun();
  for (int b = 20; b <= 40; ++b) ASSERT_EQ(deck.BlockState(b), kBlockPresent) << b;
  EXPECT_FALSE(deck.IsBlockPresent(19) || deck.IsBlockPresent(45));
}

TEST_F(DeckStore, BlocksBeyondTheTableReadAsSilenceAndAreNeverDecoded) {
  auto generated = std::make_unique<test::GeneratedDecoder>((kMaxBlocks + 2) * 44100LL, 10000);
  test::GeneratedDecoder* decoder = generated.get();
  deck.UseDecoder(std::move(generated));
  test::AvailKBOverride budget(0);  // streaming: a window, not the whole song
  ASSERT_TRUE(rig.Load("generated$"));
  deck.Play(1);
  for (int block : {kMaxBlocks - 1, kMaxBlocks}) {
    const int reads = decoder->reads;
    SeekAndServe(block * 44100.0 + 100);
    ASSERT_DOUBLE_EQ(deck.GetExactPosition(), block * 44100.0 + 100);
    EXPECT_EQ(test::Peak(rig.Render(4410), 2, 0) > 0.1, block < kMaxBlocks) << block;
    EXPECT_TRUE(block < kMaxBlocks || decoder->reads == reads) << "no decode beyond the table";
  }
}

TEST_F(DeckStore, EvictionRulesOfBothModes) {
  const std::string path = RampFile(8 * 44100);
  ASSERT_TRUE(rig.Load(path));
  // The ordinary mode keeps a decoded song whole: only a forced eviction
  // frees a block, and a freed block is decoded again on demand.
  EXPECT_FALSE(deck.EvictBlock(4, false));
  EXPECT_TRUE(deck.EvictBlock(4, true));
  EXPECT_FALSE(deck.EvictBlock(4, true)) << "already absent";
  EXPECT_EQ(deck.DecodeBlock(4) + deck.DecodeBlock(4), 1) << "decoded once";
  EXPECT_EQ(deck.GetSample16(4 * 44100 + 3, 0), Ramp(4 * 44100 + 3, 0));
  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(path));
  EXPECT_FALSE(deck.EvictBlock(0, false)) << "pinned";
  EXPECT_TRUE(deck.EvictBlock(3, false));
  deck.SeekRequest(44100.0 * 5);  // pending until the store thread runs
  EXPECT_FALSE(deck.EvictBlock(2, true)) << "no eviction while a seek waits";
}

TEST_F(DeckStore, SeekWaitsForItsBlockAndIsRefusedWhenItCannotApply) {
  deck.SeekRequest(1000);
  EXPECT_FALSE(deck.IsSeekPending()) << "no song ready";
  ASSERT_TRUE(rig.Load(RampFile(5 * 44100)));
  deck.SeekRequest(3 * 44100 + 17);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 0.0) << "moved only by the store thread";
  SeekAndServe(100);           // ignored: one seek at a time
  SeekAndServe(99 * 44100.0);  // beyond the song: served, position kept
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3 * 44100 + 17);
  deck.BeginScratch(0, false);
  deck.ScratchTick(CSoundSource::kJogIdleLimit);
  deck.SeekRequest(10);
  EXPECT_FALSE(deck.IsSeekPending()) << "refused while scratching";
}

TEST_F(DeckStore, LoadsQueueOnePlayStopFailAndUnloadCleanly) {
  std::vector<int> events;
  deck.SetLoadCallback(
      [](int, int loaded, void* e) { static_cast<std::vector<int>*>(e)->push_back(loaded); },
      &events);
  const std::string path = RampFile(44100);
  EXPECT_EQ(deck.LoadSong(path, true, nullptr, false), 1);
  EXPECT_EQ(deck.GetUiState(), kUiLoading);
  EXPECT_EQ(deck.LoadSong(path, false, nullptr, false), 0) << "a load is already waiting";
  deck.StoreThreadRun();
  EXPECT_TRUE(deck.IsPlaying()) << "autoPlay";
  EXPECT_EQ(deck.LoadSong(path, false, nullptr, false), 1);
  EXPECT_FALSE(deck.IsPlaying()) << "a load stops the deck";
  deck.StoreThreadRun();
  deck.RequestUnload();
  deck.StoreThreadRun();
  EXPECT_EQ(events, (std::vector<int>{1, 0, 1, 0}));
  EXPECT_EQ(deck.StripeCount(), 0);
  for (const std::string& name : {dir.File("missing.wav"), Song({})}) {
    ASSERT_TRUE(rig.Load(path));
    EXPECT_FALSE(rig.Load(name)) << name;
    EXPECT_EQ(deck.GetUiState(), kUiFailed) << name;
    EXPECT_FALSE(deck.IsSongLoaded() || deck.IsBlockPresent(0) || deck.GetLength()) << name;
    EXPECT_EQ(test::Peak(rig.Render(441), 2, 0), 0.0) << name;
  }
}

TEST_F(DeckStore, AnalysisFeedSeesFirstDecodesUnlessTheDatabaseKnowsTheTempo) {
  std::vector<int> fed;  // block * 100000 + frames of each first decode; -1: the song's end
  DeckAnalysisFeed feed;
  feed.user = &fed;
  feed.blockDecoded = [](CSoundSource&, int block, const std::int16_t* samples, int frames,
                         void* log) {
    const bool own = samples[10] == Ramp(block * 44100LL + 5, 0);
    static_cast<std::vector<int>*>(log)->push_back(own ? block * 100000 + frames : -2);
  };
  feed.songDecoded = [](CSoundSource&, void* log) {
    static_cast<std::vector<int>*>(log)->push_back(-1);
  };
  deck.SetAnalysisFeed(feed);
  const std::string path = RampFile(2 * 44100 + 10);
  ASSERT_TRUE(rig.Load(path));
  EXPECT_EQ(deck.GetUiState(), kUiTempoAnalysis);
  deck.StoreThreadRun();  // the tempo analysis is started once
  std::sort(fed.begin(), fed.end());
  EXPECT_EQ(fed, (std::vector<int>{-1, 44100, 144100, 200010}));
  deck.SetSongTempo(128.0f);
  EXPECT_EQ(deck.GetUiState(), kUiAllDone);
  EXPECT_FLOAT_EQ(deck.GetBPM(), 128.0f);
  // A tempo from the database skips the analysis; streamed, every first
  // decode still feeds it. A song without one has no tempo.
  const std::tuple<float, bool, size_t> cases[] = {
      {126.0f, false, 0}, {90.0f, true, 3}, {0, true, 3}};
  for (auto [bpm, streamed, decodes] : cases) {
    TZKSongRecord record;
    record.bpm = bpm;
    fed.clear();
    test::AvailKBOverride budget(streamed ? 0 : 1 << 30);
    ASSERT_EQ(deck.LoadSong(path, false, &record, false), 1);
    record.bpm = 1.0f;  // the deck took its copy when asked to load
    deck.StoreThreadRun();
    EXPECT_FLOAT_EQ(deck.GetBPM(), bpm);
    EXPECT_EQ(fed.size(), decodes) << bpm;
  }
}

// A compressed file, whose decoder only goes forwards, still gives every
// block its own audio when the deck asks out of order (a seek before the
// song is decoded, reverse play): 0-25 s at 440 Hz, to 35 s 1000 Hz, then
// 2000 Hz to 60 s.
TEST_F(DeckStore, OutOfOrderBlocksOfACompressedFileHoldTheirOwnAudio) {
  if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is needed to make the file";
  double phase = 0;
  const std::string wav = Song(test::MakeSignal(60 * 44100, [&](std::int64_t i, int c) {
    if (c == 0) phase += (i < 25 * 44100 ? 440 : i < 35 * 44100 ? 1000 : 2000) / 44100.0;
    return static_cast<std::int16_t>(std::lrint(12000 * std::sin(2 * M_PI * phase)));
  }));
  ASSERT_EQ(test::RunCommand("ffmpeg -v error -y -i " + wav + " " + dir.File("s.flac")), 0);
  const auto heardHz = [&](std::int64_t first) {
    std::vector<float> frames(2 * 8820);
    deck.ReadFrames(first, 8820, frames.data());
    return test::ToneFrequency(frames, 2, 0);
  };
  test::AvailKBOverride budget(0);  // streaming: only a window is decoded
  ASSERT_TRUE(rig.Load(dir.File("s.flac")));
  EXPECT_NEAR(heardHz(10 * 44100), 440, 2);
  SeekAndServe(40 * 44100 + 100);  // far ahead of what is decoded
  EXPECT_NEAR(heardHz(40 * 44100 + 1000), 2000, 4);
  deck.SetDirection(-1);
  SeekAndServe(30 * 44100 + 100);  // behind the decoder: it must start over
  deck.StoreThreadRun();
  EXPECT_NEAR(heardHz(30 * 44100 + 1000), 1000, 3);
  EXPECT_NEAR(heardHz(20 * 44100 + 1000), 440, 2) << "the window pulled backwards";
}

}  // namespace
}  // namespace vantaro
