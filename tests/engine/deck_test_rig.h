#pragma once
// Helpers of the deck tests: songs written sample by sample (so every
// frame's value is known), a rig that plays decks through the real audio
// callback and the offline device, a generated decoder for lengths no file
// on disk could have, and the fixture the deck tests share.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devices/offline_device.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"
#include "engine/sound_source.h"
#include "tests/support/test_support.h"
#include "tests/support/wait_for.h"

namespace vantaro::test {

// `frames` frames whose left and right values come from `value(frame, channel)`.
std::vector<std::int16_t> MakeSignal(std::int64_t frames,
                                     const std::function<std::int16_t(std::int64_t, int)>& value);
// A recognisable value per frame, a line on either side of 32000 frames:
// left counts frames modulo 32000, right is its negative.
inline std::int16_t Ramp(std::int64_t frame, int channel) {
  return static_cast<std::int16_t>((frame % 32000) * (channel ? -1 : 1));
}
// A sine of `hz` and `amplitude` (stored units) on both channels.
std::vector<std::int16_t> MakeSine(std::int64_t frames, double hz, double amplitude);
// Left channel of an interleaved stereo buffer, frames [first, first + count).
std::vector<float> LeftChannel(const std::vector<float>& stereo, long first = 0, long count = -1);
// Peak of the left channel over the same frames.
inline double LeftPeak(const std::vector<float>& stereo, long first = 0, long count = -1) {
  return Peak(LeftChannel(stereo, first, count), 1, 0);
}

// Sets `availKB` for the lifetime of the object.
struct AvailKBOverride {
  explicit AvailKBOverride(std::uint32_t kilobytes) { TheEngineSettings().availKB = kilobytes; }
  ~AvailKBOverride() { TheEngineSettings().availKB = saved; }
  const std::uint32_t saved = TheEngineSettings().availKB.load();
};

// Decks (their store threads not started) played through the audio
// callback by an offline stereo device that pulls `blockFrames` frames a
// block: the rig is the mix, each deck's Render adds into the master bus.
// Preallocated, so nothing allocates on the audio thread.
class DeckRig : public MixRenderer {
 public:
  explicit DeckRig(int blockFrames)
      : blockFrames_(blockFrames), device_(*renderer_, blockFrames, 2) {
    renderer_->mix.store(this);
  }
  ~DeckRig() override { renderer_->mix.store(nullptr); }
  CSoundSource& AddDeck(int deckIndex);
  CSoundSource& Deck(int i) { return *decks_[i]; }
  // Renders `frames` frames; returns interleaved stereo floats.
  std::vector<float> Render(long frames) { return device_.RenderToMemory(frames); }
  // Renders device blocks until `done` holds after one; returns the frames
  // rendered, or -1 when `limit` frames pass first.
  long FramesUntil(long limit, const std::function<bool()>& done);
  // LoadSong on deck 0 plus one synchronous store run (loads and fills the song).
  bool Load(const std::string& path);
  void RenderMix(float* master, float* monitor, int frames) override;
  // Runs SyncPhase(0..2) over the decks before each block, as the mixer does.
  bool syncPhases = false;
  void RenderExternal(float* deckA, float*, float*, float* monitor, int frames) override {
    RenderMix(deckA, monitor, frames);
  }

 private:
  const int blockFrames_;
  std::unique_ptr<AudioRenderer> renderer_ = std::make_unique<AudioRenderer>();
  OfflineDevice device_;
  std::vector<std::unique_ptr<CSoundSource>> decks_;
  float scratch_[AudioRenderer::kBufferFrames * 2] = {};
};

// A decoder that makes its samples up: left = right = `value` everywhere,
// `frames` long. Counts its reads.
struct GeneratedDecoder : DeckDecoder {
  GeneratedDecoder(std::int64_t frames, std::int16_t value) : frames(frames), value(value) {}
  bool Open(const std::string&, std::int64_t& totalFrames) override {
    totalFrames = frames;
    return true;
  }
  int Read(std::int16_t* out, int count, std::int64_t start) override {
    ++reads;
    const auto got = static_cast<int>(std::clamp<std::int64_t>(frames - start, 0, count));
    std::fill(out, out + got * 2, value);
    return got;
  }
  void Close() override {}
  const std::int64_t frames;
  const std::int16_t value;
  int reads = 0;
};

// The fixture of the deck tests: deck 0 on a rig, and songs written to a
// folder of their own.
class DeckTest : public ::testing::Test {
 protected:
  explicit DeckTest(int blockFrames = 50) : rig(blockFrames) {}
  // Writes `samples` as a 16-bit stereo WAV file; returns its path.
  std::string Song(const std::vector<std::int16_t>& samples);
  // Loads `samples` on deck 0 with one store run; false when it did not load.
  bool Load(const std::vector<std::int16_t>& samples) { return rig.Load(Song(samples)); }
  // Playing past the start ramp (when `play`), then at `position` exactly.
  void At(double position, bool play);
  void Tick() { deck.ScratchTick(CSoundSource::kJogIdleLimit); }

  TempDir dir;
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck(0);
  int songs_ = 0;
};

}  // namespace vantaro::test
