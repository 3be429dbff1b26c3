#pragma once
// Helpers of the deck tests: WAV files written sample by sample (so every
// frame's value is known), a mix that plays decks through the real audio
// callback and the offline device, and a generated decoder for lengths no
// file on disk could have.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devices/offline_device.h"
#include "engine/audio_render.h"
#include "engine/sound_source.h"

namespace vantaro::test {

// Writes interleaved 16-bit stereo at 44100 Hz. Returns false on failure.
bool WriteStereoWav(const std::string& path, const std::vector<std::int16_t>& samples);

// `frames` frames whose left and right values come from `value(frame, channel)`.
std::vector<std::int16_t> MakeSignal(std::int64_t frames,
                                     const std::function<std::int16_t(std::int64_t, int)>& value);
// A sine of `hz` and `amplitude` (stored units) on both channels.
std::vector<std::int16_t> MakeSine(std::int64_t frames, double hz, double amplitude);

// Sets `availKB` for the lifetime of the object.
class AvailKBOverride {
 public:
  explicit AvailKBOverride(std::uint32_t kilobytes);
  ~AvailKBOverride();

 private:
  std::uint32_t saved_;
};

// Plays decks through the audio callback: each deck's Render adds into the
// master bus. Preallocated, so nothing allocates on the audio thread.
class DeckMix : public MixRenderer {
 public:
  void Add(CSoundSource* deck) { decks_.push_back(deck); }
  void RenderMix(float* master, float* monitor, int frames) override;
  void RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                      int frames) override;

 private:
  std::vector<CSoundSource*> decks_;
  float scratch_[AudioRenderer::kBufferFrames * 2] = {};
};

// One or two decks wired to a renderer and an offline stereo device.
class DeckRig {
 public:
  explicit DeckRig(int blockFrames = 441);
  ~DeckRig();
  // Adds a deck with `deckIndex` to the mix (its store thread not started).
  CSoundSource& AddDeck(int deckIndex = 0);
  CSoundSource& Deck(int i = 0) { return *decks_[i]; }
  // Renders `frames` frames; returns interleaved stereo floats.
  std::vector<float> Render(long frames) { return device_.RenderToMemory(frames); }
  // Renders and calls `after` after every device block (speed probes).
  void RenderWatching(long frames, const std::function<void(long framesDone)>& after);
  // LoadSong plus one synchronous store run (loads and fills the song).
  bool Load(const std::string& path, int deck = 0, bool autoPlay = false);
  OfflineDevice& Device() { return device_; }

 private:
  std::unique_ptr<AudioRenderer> renderer_;
  DeckMix mix_;
  OfflineDevice device_;
  std::vector<std::unique_ptr<CSoundSource>> decks_;
};

// A decoder that makes its samples up: left = right = `value` everywhere,
// `frames` long. Counts its reads.
class GeneratedDecoder : public DeckDecoder {
 public:
  GeneratedDecoder(std::int64_t frames, std::int16_t value) : frames_(frames), value_(value) {}
  bool Open(const std::string&, std::int64_t& totalFrames) override {
    totalFrames = frames_;
    return true;
  }
  int Read(std::int16_t* out, int frames, std::int64_t start) override;
  void Close() override {}
  int Reads() const { return reads_; }

 private:
  std::int64_t frames_;
  std::int16_t value_;
  int reads_ = 0;
};

// Left channel of an interleaved stereo buffer, frames [first, first + count).
std::vector<float> LeftChannel(const std::vector<float>& stereo, long first = 0, long count = -1);

}  // namespace vantaro::test
