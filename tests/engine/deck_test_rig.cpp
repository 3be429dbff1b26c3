#include "tests/engine/deck_test_rig.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "codecs/codec_set.h"
#include "engine/engine_settings.h"

namespace vantaro::test {
bool WriteStereoWav(const std::string& path, const std::vector<std::int16_t>& samples) {
  // The program's own WAV writer makes the test files.
  CCodecSet writer(100);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  const int frames = static_cast<int>(samples.size() / 2);
  if (!writer.Open(path, format, kCodecWrite, std::max(frames, 1))) return false;
  const bool written = frames == 0 || writer.PutSamples(samples.data(), frames) == frames;
  writer.Close();
  return written;
}

std::vector<std::int16_t> MakeSignal(std::int64_t frames,
                                     const std::function<std::int16_t(std::int64_t, int)>& value) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(frames) * 2);
  for (std::int64_t i = 0; i < frames; ++i) {
    samples[i * 2] = value(i, 0);
    samples[i * 2 + 1] = value(i, 1);
  }
  return samples;
}

std::vector<std::int16_t> MakeSine(std::int64_t frames, double hz, double amplitude) {
  return MakeSignal(frames, [&](std::int64_t i, int) {
    return static_cast<std::int16_t>(std::lrint(amplitude * std::sin(2 * M_PI * hz * i / 44100.0)));
  });
}

AvailKBOverride::AvailKBOverride(std::uint32_t kilobytes)
    : saved_(TheEngineSettings().availKB.load()) {
  TheEngineSettings().availKB.store(kilobytes);
}
AvailKBOverride::~AvailKBOverride() {
  TheEngineSettings().availKB.store(saved_);
}

void DeckMix::RenderMix(float* master, float* monitor, int frames) {
  // The buses are ours to fill: they hold the previous block.
  std::memset(master, 0, sizeof(float) * 2 * frames);
  if (monitor) std::memset(monitor, 0, sizeof(float) * 2 * frames);
  for (CSoundSource* deck : decks_) {
    deck->Render(scratch_, frames);
    for (int i = 0; i < frames * 2; ++i) master[i] += scratch_[i];
  }
}

void DeckMix::RenderExternal(float* deckA, float*, float*, float* monitor, int frames) {
  RenderMix(deckA, monitor, frames);
}

DeckRig::DeckRig(int blockFrames)
    : renderer_(std::make_unique<AudioRenderer>()), device_(*renderer_, blockFrames, 2) {
  renderer_->mix.store(&mix_);
}

DeckRig::~DeckRig() {
  renderer_->mix.store(nullptr);
}

CSoundSource& DeckRig::AddDeck(int deckIndex) {
  decks_.push_back(std::make_unique<CSoundSource>(deckIndex, "/tmp/"));
  mix_.Add(decks_.back().get());
  return *decks_.back();
}

void DeckRig::RenderWatching(long frames, const std::function<void(long)>& after) {
  long done = 0;
  device_.Run(frames, [&](const float*, int blockFrames, int) {
    done += blockFrames;
    after(done);
  });
}

bool DeckRig::Load(const std::string& path, int deck, bool autoPlay) {
  CSoundSource& source = *decks_[deck];
  if (!source.LoadSong(path, autoPlay, nullptr, false)) return false;
  source.StoreThreadRun();
  return source.IsSongReady();
}

int GeneratedDecoder::Read(std::int16_t* out, int frames, std::int64_t start) {
  ++reads_;
  const std::int64_t count = std::clamp<std::int64_t>(frames_ - start, 0, frames);
  for (std::int64_t i = 0; i < count * 2; ++i) out[i] = value_;
  return static_cast<int>(count);
}

std::vector<float> LeftChannel(const std::vector<float>& stereo, long first, long count) {
  const long frames = static_cast<long>(stereo.size() / 2);
  if (count < 0) count = frames - first;
  std::vector<float> left;
  for (long i = first; i < first + count && i < frames; ++i) left.push_back(stereo[i * 2]);
  return left;
}

}  // namespace vantaro::test
