// The mixer with the real decks playing test files made by sox: the fader
// and crossfader ends against a twin deck rendered straight.
#include <gtest/gtest.h>

#include <cmath>

#include "base/realtime.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"
#include "tests/engine/mixer_test_sources.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr int kBlock = 256;

// A sine file of `seconds` at `hz`, 16-bit stereo, no dither (exact samples).
std::string MakeSineFile(const test::TempDir& dir, const std::string& name, double hz,
                         double seconds) {
  const std::string path = dir.File(name);
  const std::string command = "sox -D -n -r 44100 -c 2 -b 16 '" + path + "' synth " +
                              std::to_string(seconds) + " sine " + std::to_string(hz) +
                              " vol 0.5 2>/dev/null";
  return test::RunCommand(command) == 0 ? path : std::string();
}

bool LoadAndPlay(CSoundSource& deck, const std::string& path) {
  if (!deck.LoadSong(path, false, nullptr, false)) return false;
  deck.StoreThreadRun();
  if (!deck.IsSongReady()) return false;
  deck.Play(1);
  return true;
}

// Renders a deck straight, in the device's blocks, as the mixer would pull it.
std::vector<float> RenderStraight(CSoundSource& deck, long frames) {
  std::vector<float> out(frames * 2);
  RealtimeScope audio;
  for (long done = 0; done < frames; done += kBlock) {
    const int n = static_cast<int>(std::min<long>(kBlock, frames - done));
    for (int phase = 0; phase < 3; ++phase) deck.SyncPhase(phase);
    deck.Render(out.data() + done * 2, n);
  }
  return out;
}

// Equal bit for bit, except where the deck plays an exact zero: the channel's
// 1e-25 denormal guard may survive there, far below any audible level.
void ExpectSameSignal(const std::vector<float>& out, const std::vector<float>& reference) {
  ASSERT_EQ(out.size(), reference.size());
  long exact = 0;
  for (size_t i = 0; i < out.size(); ++i) {
    if (reference[i] == 0.0f) {
      ASSERT_LT(std::fabs(out[i]), 1e-24f) << i;
    } else {
      ASSERT_EQ(out[i], reference[i]) << i;
      ++exact;
    }
  }
  EXPECT_GT(exact, static_cast<long>(out.size() * 9 / 10));
}

class MixerWithDecks : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::HaveProgram("sox")) GTEST_SKIP() << "sox is needed to make the test files";
    fileA = MakeSineFile(dir, "a.wav", 440.0, 3.0);
    fileB = MakeSineFile(dir, "b.wav", 1000.0, 3.0);
    ASSERT_FALSE(fileA.empty());
    ASSERT_FALSE(fileB.empty());
    for (int d = 0; d < 2; ++d) {
      decks[d] = std::make_unique<CSoundSource>(d, dir.Path() + "/");
      twins[d] = std::make_unique<CSoundSource>(d, dir.Path() + "/");
    }
    ASSERT_TRUE(LoadAndPlay(*decks[0], fileA));
    ASSERT_TRUE(LoadAndPlay(*twins[0], fileA));
    ASSERT_TRUE(LoadAndPlay(*decks[1], fileB));
    ASSERT_TRUE(LoadAndPlay(*twins[1], fileB));
    CAudioSignalSource* sources[2] = {decks[0].get(), decks[1].get()};
    ASSERT_TRUE(CreateMixerObjects(rig, sources, nullptr));
    ASSERT_TRUE(WireMixer(rig, nullptr, nullptr, 0));
    renderer = std::make_unique<AudioRenderer>();
    renderer->mix = rig.mixer.get();
    device = std::make_unique<OfflineDevice>(*renderer, kBlock, 2);
  }
  void TearDown() override {
    if (renderer) renderer->mix = nullptr;
  }
  std::vector<float> Render(long frames) { return device->RenderToMemory(frames); }
  // Renders the mix and both twins over the same frames.
  std::vector<float> RenderWithTwins(long frames, std::vector<float> twinOut[2]) {
    std::vector<float> out = Render(frames);
    for (int d = 0; d < 2; ++d) twinOut[d] = RenderStraight(*twins[d], frames);
    return out;
  }

  // Lets the fader ramps end, then expects the master to be twin `d`.
  void ExpectMasterIsTwin(int d) {
    std::vector<float> twin[2];
    RenderWithTwins(1024, twin);
    const std::vector<float> out = RenderWithTwins(22050, twin);
    ExpectSameSignal(out, twin[d]);
  }

  test::TempDir dir;
  std::string fileA, fileB;
  std::unique_ptr<CSoundSource> decks[2], twins[2];
  MixerRig rig;
  std::unique_ptr<AudioRenderer> renderer;
  std::unique_ptr<OfflineDevice> device;
};

TEST_F(MixerWithDecks, FaderAndCrossfaderEndsAgainstTheTwins) {
  CMixer& mixer = *rig.mixer;
  mixer.SetFader(0, 127);
  ExpectMasterIsTwin(0);
  mixer.SetFader(1, 127);
  mixer.SetCrossfader(127);
  ExpectMasterIsTwin(1);
  mixer.SetCrossfader(0);
  ExpectMasterIsTwin(0);
  // Deck B cut by the crossfader, deck A by its fader: the master channel's
  // 1e-25 denormal guard is all that is left, and the device's 16-bit
  // samples are exact zeros.
  mixer.SetFader(0, 0);
  std::vector<float> twin[2];
  RenderWithTwins(1024, twin);
  for (float v : RenderWithTwins(22050, twin)) {
    ASSERT_LE(std::fabs(v), 1e-24f);
    ASSERT_EQ(FloatToDevice16(v), 0);
  }
}

}  // namespace
}  // namespace vantaro
