#pragma once
// The key detector: listens to a track in windows of 8192 samples, folds
// each window into 12 pitch classes with a bank of Gabor kernels (8 octaves
// from A at 27.5 Hz), scores the 12 roots of six scale profiles, and reports
// the best key of the track's second half, with an accuracy (the first
// half's, when lower). One detector per deck and one for the file worker.
//
// Threads: one owner at a time. The kernel table is built once per sample
// rate and shared (under its own lock) by every detector.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/key_filters.h"
#include "analysis/musical_key.h"

namespace vantaro {

struct KeyResult {
  MusicalKey first;   // the key of the track
  MusicalKey second;  // always none: the first half only lowers the accuracy
  double accuracy = 1e-5;
};
// "[key: <first>-><second>, accuracy: %f]", with key names (withNames) or
// key codes; "NONE" for no key.
std::string KeyResultText(const KeyResult& result, bool withNames);

// The scores of one stretch of a track (a half).
class KeyScorer {
 public:
  explicit KeyScorer(double windowSeconds);
  // Adds one window's chroma; every 0.1 s of windows, their sum, normalised,
  // goes to the filters (a silent stretch scores nothing).
  void AddWindow(const Chroma& chroma);
  bool HasScores() const { return scored_; }
  // The most probable of the 72 keys (12 roots, six filters), and how far it
  // stands above the mean, in `accuracy` (0 to 1). No key, accuracy 0, when
  // nothing scored.
  MusicalKey BestKey(double& accuracy) const;

 private:
  double windowSeconds_;
  Chroma pending_{};
  double pendingSeconds_ = 0;
  bool scored_ = false;
  std::vector<std::unique_ptr<KeyProbabilityFilter>> filters_;
};

class KeyDetector {
 public:
  static constexpr int kWindow = 8192;  // samples

  KeyDetector();

  // A new track of `totalBytes` of 16-bit stereo at `bytesPerSecond`.
  void Start(std::int64_t totalBytes, int bytesPerSecond);
  // 16-bit interleaved frames; only the first channel is listened to.
  void Feed(const std::int16_t* samples, int frames, int channels);
  // The same for float frames (full scale 1.0).
  void FeedFloat(const float* samples, int frames, int channels);
  // The result of every whole window fed since Start.
  KeyResult Finish();

 private:
  void Push(float sample);
  void ProcessWindow();

  int rate_ = 44100;
  double lengthSeconds_ = 0;
  double windowSeconds_ = 0;
  double elapsed_ = 0;
  std::shared_ptr<const std::vector<float>> kernels_;
  std::vector<float> window_;
  int filled_ = 0;
  std::unique_ptr<KeyScorer> scorer_;
  bool halfTaken_ = false;
  MusicalKey firstHalfKey_;
  double firstHalfAccuracy_ = 0;
};

// The key of a raw file of 16-bit stereo at 44100 Hz behind a 44-byte
// header, read to its end; nothing when it cannot be opened.
std::optional<KeyResult> detectKey(const std::string& path);

}  // namespace vantaro
