// The deck's store: block counts at the exact edges, pinning, the RAM test
// and the streaming mode, the table limit, eviction, readers, seeks, the
// load's life cycle, and out-of-order reads of a compressed file (the
// analysis feed: deck_analysis_test).
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "library/song_record.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

class DeckStore : public test::DeckTest {
 protected:
  std::string RampFile(std::int64_t frames) { return Song(test::MakeSignal(frames, test::Ramp)); }
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
    EXPECT_EQ(deck.GetSample16(frames - 1, 1), test::Ramp(frames - 1, 1));
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
  EXPECT_EQ(deck.GetSample16(-1, 0), test::Ramp(7 * 44100 - 1, 0));
  ASSERT_TRUE(deck.EvictBlock(1, true));
  std::vector<float> out(2 * 100, 7.0f);
  EXPECT_EQ(deck.ReadFrames(44100 - 50, 100, out.data()), 100);
  EXPECT_FLOAT_EQ(out[1], test::Ramp(44100 - 50, 1) * 3e-5f);
  EXPECT_EQ(test::Peak(std::vector<float>(out.begin() + 100, out.end()), 1, 0), 0.0);
  deck.ReadFrames(7 * 44100 - 1, 2, out.data());
  EXPECT_EQ(out[2], 0.0f) << "beyond the song";
}

TEST_F(DeckStore, StreamingStartsAtTheBudgetEdgeDecodesAWindowAndPullsBackwards) {
  // 172 KB a block and room for both decks: ten blocks need more than twenty.
  for (auto [budget, streaming] : {std::pair{21 * 172, false}, {20 * 172, true}, {0, true}}) {
    test::AvailKBOverride override(budget);
    ASSERT_TRUE(rig.Load(RampFile(10 * 44100)));
    EXPECT_EQ(deck.IsStreaming(), streaming) << budget;
  }

  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(RampFile(60 * 44100)));
  EXPECT_TRUE(deck.IsBlockPresent(20) && !deck.IsBlockPresent(21)) << "twenty blocks ahead";
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
    EXPECT_EQ(test::Peak(rig.Render(4410), 2, 0) > 0.1, block < kMaxBlocks) << block;
    EXPECT_TRUE(block < kMaxBlocks || decoder->reads == reads) << "no decode beyond the table";
  }
}

TEST_F(DeckStore, EvictionAndSeekRules) {
  deck.SeekRequest(1000);
  EXPECT_FALSE(deck.IsSeekPending()) << "no song ready";
  const std::string path = RampFile(8 * 44100);
  ASSERT_TRUE(rig.Load(path));
  // The ordinary mode keeps a decoded song whole: only a forced eviction
  // frees a block, and a freed block is decoded again on demand.
  EXPECT_FALSE(deck.EvictBlock(4, false));
  EXPECT_TRUE(deck.EvictBlock(4, true));
  EXPECT_EQ(deck.DecodeBlock(4) + deck.DecodeBlock(4), 1) << "decoded once";
  test::AvailKBOverride budget(0);
  ASSERT_TRUE(rig.Load(path));
  EXPECT_FALSE(deck.EvictBlock(0, false)) << "pinned";
  EXPECT_TRUE(deck.EvictBlock(3, false));
  deck.SeekRequest(44100.0 * 5);  // pending until the store thread runs
  EXPECT_FALSE(deck.EvictBlock(2, true)) << "no eviction while a seek waits";
  // Seeks wait for the store thread, one at a time, and apply in the song.
  deck.StoreThreadRun();
  deck.SeekRequest(3 * 44100 + 17);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 5 * 44100) << "moved only by the store thread";
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
  }
}

// A compressed file, whose decoder only goes forwards, still gives every
// block its own samples when the deck asks out of order: a seek before the
// song is decoded, then reverse play from behind the decoder.
TEST_F(DeckStore, OutOfOrderBlocksOfACompressedFileHoldTheirOwnSamples) {
  if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is needed to make the file";
  const std::string flac = dir.File("ramp.flac");
  ASSERT_EQ(test::RunCommand("ffmpeg -v error -y -i " + RampFile(60 * 44100) + " " + flac), 0);
  test::AvailKBOverride budget(0);  // streaming: only a window is decoded
  ASSERT_TRUE(rig.Load(flac));
  SeekAndServe(40 * 44100 + 100);  // far ahead of what is decoded
  EXPECT_EQ(deck.GetSample16(40 * 44100 + 7, 0), test::Ramp(40 * 44100 + 7, 0));
  deck.SetDirection(-1);
  SeekAndServe(30 * 44100 + 100);  // behind the decoder: it must start over
  deck.StoreThreadRun();           // the window pulls backwards
  for (std::int64_t frame : {30 * 44100 + 7, 20 * 44100 + 7})
    EXPECT_EQ(deck.GetSample16(frame, 0), test::Ramp(frame, 0)) << frame;
}

}  // namespace
}  // namespace vantaro
