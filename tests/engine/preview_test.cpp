// The preview player: an under-run mid-file, the end and the warning before
// it, what the buses hear while it plays, and Open/Seek/Close against the
// render and the reader thread (PreviewThreads*, also under the thread
// sanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/realtime.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/preview_player.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

class PreviewTest : public test::DeckTest {};
class PreviewThreads : public test::DeckTest {};

std::vector<float> RenderBlock(CZKPreviewPlayer& p, int frames) {
  std::vector<float> out(static_cast<std::size_t>(frames) * 2, 1.0f);
  RealtimeScope audio;
  p.Render(out.data(), frames);
  return out;
}

bool Silent(const std::vector<float>& block) {
  return std::all_of(block.begin(), block.end(), [](float v) { return v == 0.0f; });
}

TEST_F(PreviewTest, AnUnderRunIsOneSilentBlockAndNoFrameIsLost) {
  constexpr int kFrames = 100000, kBlock = 1000;
  CZKPreviewPlayer preview(0, true);  // the test is the reader
  ASSERT_TRUE(preview.Open(Song(test::MakeSignal(kFrames, test::Ramp))));
  EXPECT_EQ(preview.GetLength(), kFrames);
  preview.SetPlaying(true);
  preview.ReaderStep();
  std::vector<float> heard;  // left channel of the blocks with sound
  int silentBlocks = 0;
  for (int block = 0; block < 200 && preview.IsPlaying(); ++block) {
    const std::vector<float> out = RenderBlock(preview, kBlock);
    if (Silent(out) && preview.IsPlaying()) {
      ++silentBlocks;
      preview.ReaderStep();  // woken by the under-run
      continue;
    }
    for (int i = 0; i < kBlock; ++i) heard.push_back(out[i * 2]);
  }
  EXPECT_EQ(silentBlocks, 2) << "one per run of 44100 frames read";
  EXPECT_EQ(preview.TakeEventBits(), CZKPreviewPlayer::kEventEnded);
  EXPECT_EQ(preview.GetPosition(), kFrames);
  ASSERT_GE(heard.size(), static_cast<std::size_t>(kFrames));
  for (int f = 1; f < kFrames; f += 7)
    ASSERT_NEAR((heard[f] - heard[f - 1]) * 32768, f % 32000 ? 1.0 : -31999.0, 0.01) << f;
  EXPECT_TRUE(Silent(std::vector<float>(heard.begin() + kFrames, heard.end())));
}

TEST_F(PreviewTest, AFileShorterThanTheWarningRaisesItAtTheFirstBlock) {
  struct Case {
    int frames;
    std::uint32_t bits;  // after the first block
  };
  for (const Case& c : {Case{44100, CZKPreviewPlayer::kEventEndNear}, Case{88200 + 44101, 0u}}) {
    SCOPED_TRACE(c.frames);
    CZKPreviewPlayer preview(0, true, 88200);
    ASSERT_TRUE(preview.Open(Song(test::MakeSignal(c.frames, test::Ramp))));
    preview.SetPlaying(true);
    preview.ReaderStep();
    RenderBlock(preview, 256);
    EXPECT_EQ(preview.TakeEventBits(), c.bits);
    EXPECT_EQ(preview.TakeEventBits(), 0u) << "taken";
  }
  CZKPreviewPlayer unopened(0, true);
  EXPECT_FALSE(unopened.Open(dir.File("absent.wav")));
  unopened.SetPlaying(true);
  EXPECT_FALSE(unopened.IsPlaying());
  EXPECT_TRUE(Silent(RenderBlock(unopened, 256)));
}

TEST_F(PreviewTest, OnlyTheMonitorHearsThePreview) {
  CZKPreviewPlayer preview(-1, false);
  ASSERT_TRUE(preview.Open(Song(test::MakeSine(5 * 44100, 1000, 16000))));
  preview.SetPlaying(true);
  MixerRig rig;
  CAudioSignalSource* decks[2] = {nullptr, nullptr};
  ASSERT_TRUE(CreateMixerObjects(rig, decks, nullptr));
  ASSERT_TRUE(WireMixer(rig, &preview, nullptr, 0));
  // The headphones listen to the preview alone.
  for (int input = 0; input < rig.mixer->InputCount(); ++input) {
    if (rig.mixer->GetInputRole(input) != kInputPreview) continue;
    rig.mixer->SetCue(input, 127);
    rig.mixer->SetCueFull(input, true);
  }
  std::vector<float> master(2 * 4096), monitor(2 * 4096);
  float vu[2][2] = {};
  for (int block = 0; block < 20; ++block) {
    RealtimeScope audio;
    rig.mixer->RenderMix(master.data(), monitor.data(), 4096);
  }
  rig.mixer->ReadMasterVu(&vu[0][0], &vu[0][1]);
  rig.mixer->ReadMonitorVu(&vu[1][0], &vu[1][1]);
  EXPECT_FLOAT_EQ(vu[0][0], -159.35f);
  EXPECT_FLOAT_EQ(vu[0][1], -159.35f);
  EXPECT_GT(vu[1][0], -20.0f) << "the monitor hears it";
  EXPECT_TRUE(preview.IsPlaying());
  DestroyMixerObjects(rig);
}

TEST_F(PreviewThreads, OpenSeekAndCloseWhileTheRenderDrains) {
  const std::string song = Song(test::MakeSignal(3 * 44100, test::Ramp));
  CZKPreviewPlayer preview(-1, false);
  std::atomic<bool> stop{false};
  std::thread audio([&] {
    std::vector<float> block(512);
    RealtimeScope realtime;
    while (!stop) {
      preview.Render(block.data(), 256);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(preview.Open(song));
    preview.SetPlaying(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    preview.Seek((i * 997) % 44100);
    if (i % 3 == 0) preview.Close();
  }
  stop = true;
  audio.join();
  // After all that, a seek still lands on its frame.
  ASSERT_TRUE(preview.Open(song));
  preview.Seek(1000);
  preview.SetPlaying(true);
  std::vector<float> out = RenderBlock(preview, 256);
  for (int tries = 0; Silent(out) && tries < 60000; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    out = RenderBlock(preview, 256);
  }
  EXPECT_NEAR(out[0] * 32768, 1000, 0.1);
  EXPECT_NEAR(out[255 * 2] * 32768, 1255, 0.1);
}

}  // namespace
}  // namespace vantaro
