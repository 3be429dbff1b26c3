#include "analysis/analyse_file.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "analysis/bpm_detect.h"
#include "analysis/stripe_file.h"
#include "base/debug_log.h"
#include "base/realtime.h"
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
  if (outcome.frames <= 0) {
    outcome.status = AnalyseStatus::kNoAudio;
    return outcome;
  }
  int seconds = static_cast<int>(outcome.frames / kSecondFrames);
  if (seconds > kLongestTrackSeconds) {
    outcome.status = AnalyseStatus::kTooLong;
    return outcome;
  }
  if (outcome.frames % kSecondFrames) ++seconds;

  const int length = seconds * kStripePerSecond;
  std::vector<float> stereo(2 * size_t{kReadFrames});
  std::vector<float> mono(kSecondFrames);
  std::vector<float> stripe(length + 1, 0.0f);
  std::vector<float> onset(length + 1, 0.0f);
  set.chain.Start();
  if (options.findKey) set.key.Start(outcome.frames * 4, kAnalysisRate * 4);

  for (int j = 0; j < seconds; ++j) {
    if (stop && stop->load()) {
      outcome.status = AnalyseStatus::kStopped;
      return outcome;
    }
    const std::int64_t first = std::int64_t{kSecondFrames} * j;
    const int wanted =
        static_cast<int>(std::min<std::int64_t>(kSecondFrames, outcome.frames - first));
    std::fill(stereo.begin(), stereo.begin() + 2 * kSecondFrames, 0.0f);
    // A short or failed read (a truncated file) leaves silence: the file is
    // analysed as far as it decodes. The codec set takes no read under 256
    // frames; a longer one simply ends at the track's end.
    set.codecs.GetFloatSamples(stereo.data(), std::max(wanted, 256), first);
    MixToMono(stereo.data(), kSecondFrames, mono.data());
    if (options.findKey) set.key.FeedFloat(stereo.data(), wanted, 2);
    set.chain.FeedSecond(mono.data(), wanted, stripe.data() + size_t{kStripePerSecond} * j);
  }
  outcome.gainDb = set.chain.TakeGain();
  set.codecs.Close();

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
