#pragma once
// AnalyseFile: one whole file through the analysis chain, as the background
// worker and the `--analyse` command run it: decode second by second, find
// gain, tempo and beat marks (and, when asked, the key), write the stripe
// file and the song database record.
//
// Threads: any thread but the audio thread (asserted); one call per
// AnalysisSet at a time. Each one-second read holds the global codec lock,
// and nothing else does, so a deck load waits for one read at most.

#include <atomic>
#include <cstdint>
#include <string>

#include "analysis/analysis_chain.h"
#include "analysis/beat_tracker.h"
#include "analysis/key_detector.h"
#include "codecs/codec_set.h"

namespace vantaro {

// The analysis worker's own decoder, filters, gain analyser, tracker and
// key detector.
struct AnalysisSet {
  static constexpr int kCodecId = 30;
  AnalysisSet() : codecs(kCodecId) {}
  BeatTracker tracker;
  AnalysisChain chain;
  CCodecSet codecs;
  KeyDetector key;
};

enum class AnalyseStatus {
  kAnalysed,
  kCannotOpen,  // missing, or no codec took it
  kNoAudio,     // 0 frames
  kTooLong,     // over 20 minutes
  kStopped,     // the stop flag came between two seconds; nothing stored
};
// "cannot open", "no audio", "longer than 20 minutes", "stopped", "".
const char* AnalyseStatusText(AnalyseStatus status);

struct AnalyseOptions {
  int mode = 0;               // tempo range (see bpm_detect.h)
  bool findKey = false;       // run the key detector and store `pitch_key`
  bool store = true;          // write the stripe file and the database record
  std::string stripesFolder;  // ends with a separator
  // A pause after each one-second read, in milliseconds: the background
  // worker gives a deck load waiting on the codec lock its turn.
  int pauseAfterReadMs = 0;
};

struct AnalyseOutcome {
  AnalyseStatus status = AnalyseStatus::kCannotOpen;
  float bpm = 0;
  float gainDb = 0;
  std::int64_t frames = 0;
  std::int32_t durationMs = 0;
  MusicalKey key;              // none unless findKey
  bool stripeWritten = false;  // false too with store off
};

inline constexpr int kLongestTrackSeconds = 1200;

AnalyseOutcome AnalyseFile(AnalysisSet& set, const std::string& path, const AnalyseOptions& options,
                           const std::atomic<bool>* stop = nullptr);

}  // namespace vantaro
