#include "tests/engine/deck_test_rig.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "codecs/codec_set.h"

namespace vantaro::test {

std::vector<std::int16_t> MakeSignal(std::int64_t frames,
                                     const std::function<std::int16_t(std::int64_t, int)>& value) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(frames) * 2);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = value(i / 2, i % 2);
  return samples;
}

std::vector<std::int16_t> MakeSine(std::int64_t frames, double hz, double amplitude) {
  return MakeSignal(frames, [&](std::int64_t i, int) {
    return static_cast<std::int16_t>(std::lrint(amplitude * std::sin(2 * M_PI * hz * i / 44100.0)));
  });
}

void DeckRig::RenderMix(float* master, float* monitor, int frames) {
  // The buses are ours to fill: they hold the previous block.
  std::memset(master, 0, sizeof(float) * 2 * frames);
  if (monitor) std::memset(monitor, 0, sizeof(float) * 2 * frames);
  for (int phase = 0; syncPhases && phase < 3; ++phase)
    for (auto& deck : decks_) deck->SyncPhase(phase);
  for (auto& deck : decks_) {
    deck->Render(scratch_, frames);
    for (int i = 0; i < frames * 2; ++i) master[i] += scratch_[i];
  }
}

CSoundSource& DeckRig::AddDeck(int deckIndex) {
  decks_.push_back(std::make_unique<CSoundSource>(deckIndex, "/tmp/"));
  return *decks_.back();
}

long DeckRig::FramesUntil(long limit, const std::function<bool()>& done) {
  for (long frames = blockFrames_; frames <= limit; frames += blockFrames_) {
    Render(blockFrames_);
    if (done()) return frames;
  }
  return -1;
}

bool DeckRig::Load(const std::string& path) {
  if (!decks_[0]->LoadSong(path, false, nullptr, false)) return false;
  decks_[0]->StoreThreadRun();
  return decks_[0]->IsSongReady();
}

std::vector<float> LeftChannel(const std::vector<float>& stereo, long first, long count) {
  const long frames = static_cast<long>(stereo.size() / 2);
  const long end = count < 0 ? frames : std::min(frames, first + count);
  std::vector<float> left;
  for (long i = first; i < end; ++i) left.push_back(stereo[i * 2]);
  return left;
}

std::string DeckTest::Song(const std::vector<std::int16_t>& samples) {
  // The program's own WAV writer makes the test files.
  const std::string path = dir.File("song" + std::to_string(++songs_) + ".wav");
  const int frames = static_cast<int>(samples.size() / 2);
  CCodecSet writer(100);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  EXPECT_TRUE(writer.Open(path, format, kCodecWrite, std::max(frames, 1)));
  EXPECT_TRUE(frames == 0 || writer.PutSamples(samples.data(), frames) == frames);
  writer.Close();
  return path;
}

void DeckTest::At(double position, bool play) {
  if (play) deck.Play(1);
  if (play) rig.Render(4410);
  deck.SeekRequest(position);
  deck.StoreThreadRun();
  ASSERT_DOUBLE_EQ(deck.GetExactPosition(), position);
}

}  // namespace vantaro::test
