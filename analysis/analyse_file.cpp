#include "analysis/analyse_file.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

#include "analysis/bpm_detect.h"
#include "analysis/stripe_file.h"
#include "base/debug_log.h"
#include "base/realtime.h"
#include "codecs/codec_lock.h"
#include "library/song_database.h"

namespace vantaro {
namespace {

// Stereo float at the analysis rate; reads of up to two seconds.
constexpr int kReadFrames = 2 * kSecondFrames;

void StoreRecord(const std::string& path, const AnalyseOutcome& outcome, bool keyFound) {
  const std::string key = MakeSongKey(path);
  TZKSongRecord record;
  if (!FindSong(key, record)) InitSongRecord(record);
  record.name = key;
  record.duration_ms = outcome.durationMs;
  record.bpm = outcome.bpm;
  record.pgain = outcome.gainDb;
  record.pgain_valid = 1;
  // Without the detector the key stays as tags or the user gave it.
  if (keyFound) record.pitch_key = PitchKeyCode(outcome.key);
  StoreSong(record);
}

// Whole seconds to analyse, the last one partial; 0 (with the reason in
// `status`) for a track that is empty or longer than 20 minutes.
int SecondsToAnalyse(std::int64_t frames, AnalyseStatus& status) {
  if (frames <= 0) {
    status = AnalyseStatus::kNoAudio;
    return 0;
  }
  if (frames / kSecondFrames > kLongestTrackSeconds) {
    status = AnalyseStatus::kTooLong;
    return 0;
  }
  return static_cast<int>((frames + kSecondFrames - 1) / kSecondFrames);
}

// Reads the open file second by second through the chain (and the key
// detector) into `stripe`. False when `stop` came between two seconds.
bool DecodeIntoStripe(AnalysisSet& set, std::int64_t frames, int seconds,
                      const AnalyseOptions& options, const std::atomic<bool>* stop, float* stripe) {
  const bool findKey = options.findKey;
  std::vector<float> stereo(2 * size_t{kReadFrames});
  std::vector<float> mono(kSecondFrames);
  set.chain.Start();
  if (findKey) set.key.Start(frames * 4, kAnalysisRate * 4);
  for (int j = 0; j < seconds; ++j) {
    if (stop && stop->load()) return false;
    const std::int64_t first = std::int64_t{kSecondFrames} * j;
    const int wanted = static_cast<int>(std::min<std::int64_t>(kSecondFrames, frames - first));
    std::fill(stereo.begin(), stereo.begin() + 2 * kSecondFrames, 0.0f);
    // A short or failed read (a truncated file) leaves silence: the file is
    // analysed as far as it decodes. The codec set takes no read under 256
    // frames; a longer one simply ends at the track's end.
    HoldBackForLoads(stop);  // a deck load waiting for its first block goes first
    set.codecs.GetFloatSamples(stereo.data(), std::max(wanted, 256), first);
    if (options.pauseAfterReadMs > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(options.pauseAfterReadMs));
    MixToMono(stereo.data(), kSecondFrames, mono.data());
    if (findKey) set.key.FeedFloat(stereo.data(), wanted, 2);
    set.chain.FeedSecond(mono.data(), wanted, stripe + size_t{kStripePerSecond} * j);
  }
  return true;
}

}  // namespace

const char* AnalyseStatusText(AnalyseStatus status) {
  switch (status) {
    case AnalyseStatus::kAnalysed:
      return "";
    case AnalyseStatus::kCannotOpen:
      return "cannot open";
    case AnalyseStatus::kNoAudio:
      return "no audio";
    case AnalyseStatus::kTooLong:
      return "longer than 20 minutes";
    case AnalyseStatus::kStopped:
      return "stopped";
  }
  return "";
}

AnalyseOutcome AnalyseFile(AnalysisSet& set, const std::string& path, const AnalyseOptions& options,
                           const std::atomic<bool>* stop) {
  AssertNotRealtime("AnalyseFile");
  AnalyseOutcome outcome;
  TCodecFormat format{kAnalysisRate, 2, 32, 32, 0, 0};
  if (!set.codecs.Open(path, format, kCodecRead, kReadFrames)) return outcome;
  struct Closer {
    CCodecSet& codecs;
    ~Closer() { codecs.Close(); }
  } closer{set.codecs};

  outcome.frames = format.frames;
  const int seconds = SecondsToAnalyse(outcome.frames, outcome.status);
  if (seconds == 0) return outcome;
  const int length = seconds * kStripePerSecond;
  std::vector<float> stripe(length + 1, 0.0f);
  if (!DecodeIntoStripe(set, outcome.frames, seconds, options, stop, stripe.data())) {
    outcome.status = AnalyseStatus::kStopped;
    return outcome;
  }
  outcome.gainDb = set.chain.TakeGain();
  set.codecs.Close();

  std::vector<float> onset(length + 1, 0.0f);
  const float bpm =
      DetectBpm(set.tracker, length, stripe.data(), onset.data(), seconds, options.mode);
  outcome.bpm = std::max(bpm, 0.0f);
  outcome.durationMs = FramesToMilliseconds(outcome.frames);
  if (options.findKey) outcome.key = set.key.Finish().first;
  outcome.status = AnalyseStatus::kAnalysed;
  DebugLog("analysed %s: %.2f BPM, gain %.2f dB, %d s", path.c_str(), outcome.bpm, outcome.gainDb,
           seconds);
  if (options.store) {
    outcome.stripeWritten = SaveStripes(options.stripesFolder, path, stripe.data(), length);
    StoreRecord(path, outcome, options.findKey);
  }
  return outcome;
}

}  // namespace vantaro
