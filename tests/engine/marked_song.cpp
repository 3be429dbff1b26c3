#include "tests/engine/marked_song.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "analysis/deck_analysis.h"
#include "analysis/stripe_file.h"
#include "library/deck_song_memory.h"
#include "library/song_database.h"

namespace vantaro::test {
namespace {

constexpr int kClickFrames = 30;
constexpr std::int16_t kClickLevel = 20000;
constexpr float kAudibleLevel = 0.5f;  // -6 dB on the stripe: above the cue levels
constexpr float kBeatMark = 55.0f;

}  // namespace

MarkedSongTest::MarkedSongTest(int blockFrames) : DeckTest(blockFrames) {
  std::filesystem::create_directory(stripes);
  LoadSongDatabase(dir.File("db.vtx"));
  for (CSoundSource* d : {&deck, &deck1}) {
    d->SetAnalysisFeed(std::make_unique<DeckAnalysis>(stripes));
    d->SetSongMemory(&StoreDeckRecord);
  }
  rig.syncPhases = true;
}

std::string MarkedSongTest::Write(const MarkedSongPlan& plan, const std::string& name) {
  const auto frames = static_cast<std::int64_t>(plan.seconds * 44100);
  const auto from = static_cast<std::int64_t>(plan.soundFrom * 44100);
  const auto to = frames - static_cast<std::int64_t>(plan.soundTail * 44100);
  const double beat = plan.bpm > 0 ? 2646000.0 / plan.bpm : 22050;
  const std::vector<std::int16_t> samples = MakeSignal(frames, [&](std::int64_t i, int channel) {
    if (i < from || i >= to) return std::int16_t{0};
    if (plan.ramp) return static_cast<std::int16_t>(channel ? i / 32000 * 500 : i % 32000);
    if (plan.toneHz > 0)
      return static_cast<std::int16_t>(
          std::lrint(10000 * std::sin(2 * M_PI * plan.toneHz * i / 44100)));
    if (plan.clickChannel != 2 && channel != plan.clickChannel) return std::int16_t{0};
    const std::int64_t sinceBeat = i - std::llround(std::floor(i / beat) * beat);
    return sinceBeat < kClickFrames ? kClickLevel : std::int16_t{0};
  });
  const std::string path = dir.File(name);
  std::filesystem::rename(Song(samples), path);

  const int count = static_cast<int>(std::ceil(plan.seconds)) * 441;
  std::vector<float> stripe(count, 0.0f);
  for (int i = from / 100; i < count && i * 100 < to; ++i) stripe[i] = kAudibleLevel;
  for (int k = 0; plan.bpm > 0 && k * beat < frames; ++k)
    if (const long at = std::lrint(std::llround(k * beat) / 100.0); at < count)
      stripe[at] += kBeatMark;
  EXPECT_TRUE(SaveStripes(stripes, path, stripe.data(), count));
  EXPECT_TRUE(StoreSong(
      {.name = MakeSongKey(path), .bpm = static_cast<float>(plan.bpm), .pgain_valid = 1}));
  return path;
}

bool MarkedSongTest::LoadOn(CSoundSource& d, const std::string& path, bool keepCue) {
  if (!d.LoadSong(path, false, nullptr, keepCue)) return false;
  d.StoreThreadRun();
  return d.IsSongReady();
}

std::vector<long> MarkedSongTest::Onsets(const std::vector<float>& out, int channel,
                                         float threshold) {
  std::vector<long> onsets;
  long quiet = 1000;
  for (long i = 0; i < static_cast<long>(out.size() / 2); ++i) {
    const bool loud = std::fabs(out[i * 2 + channel]) > threshold;
    if (loud && quiet >= 1000) onsets.push_back(i);
    quiet = loud ? 0 : quiet + 1;
  }
  return onsets;
}

long MarkedSongTest::LargestOffset(const std::vector<long>& a, const std::vector<long>& b) {
  long largest = 0;
  for (long onset : a) {
    long nearest = 1L << 40;
    for (long other : b) nearest = std::min(nearest, std::labs(onset - other));
    largest = std::max(largest, nearest);
  }
  return largest;
}

}  // namespace vantaro::test
