#include "analysis/key_detector.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <mutex>

#include "base/debug_log.h"

namespace vantaro {
namespace {

constexpr int kScales = 8;
constexpr int kNotes = 12;
constexpr double kScoreInterval = 0.1;  // seconds of windows per hand-over to the filters
constexpr double kNoKeyAccuracy = 0.01;
// A at 55 Hz up the semitones, a quarter of it: with the table's rate at half
// the stream's rate, scale o listens at 2^(o + 1) times these, A0 to A7.
constexpr double kNoteHz[kNotes] = {55.0,       58.27046875, 61.73546875, 65.40640625,
                                    69.295625,  73.41625,    77.78125,    82.406875,
                                    87.3071875, 92.49875,    97.99875,    103.82625};

// [scale][sample][note]: cos(2 pi f x) exp(-pi x^2) / rate / sqrt(a), with
// a = 2^-scale and x = (s - 4096) / rate / a.
std::shared_ptr<const std::vector<float>> BuildKernels(int rate) {
  auto table = std::make_shared<std::vector<float>>(static_cast<size_t>(kScales) *
                                                    KeyDetector::kWindow * kNotes);
  for (int o = 0; o < kScales; ++o) {
    const double a = std::ldexp(1.0, -o);
    for (int s = 0; s < KeyDetector::kWindow; ++s) {
      const double x = (s - KeyDetector::kWindow / 2) / double(rate) / a;
      const double g = std::exp(-M_PI * x * x);
      float* out = table->data() + (static_cast<size_t>(o) * KeyDetector::kWindow + s) * kNotes;
      for (int j = 0; j < kNotes; ++j)
        out[j] = static_cast<float>(std::cos(2 * M_PI * 0.25 * kNoteHz[j] * x) * g / rate /
                                    std::sqrt(a));
    }
  }
  return table;
}

std::shared_ptr<const std::vector<float>> KernelsFor(int rate) {
  static std::mutex lock;
  static std::map<int, std::shared_ptr<const std::vector<float>>> cache;
  std::lock_guard<std::mutex> hold(lock);
  auto& entry = cache[rate];
  if (!entry) entry = BuildKernels(rate);
  return entry;
}

struct Candidate {
  MusicalKey key;
  double probability;
};

void LogKeyScores(const std::vector<Candidate>& sorted) {
  double letterScore[2] = {};  // minor (A), major (B)
  double buckets[13] = {};
  for (auto it = sorted.rbegin(); it != sorted.rend(); ++it) {
    buckets[KeyWheelNumber(it->key)] += it->probability;
    letterScore[KeyLetter(it->key) == 'B'] += it->probability;
  }
  DebugLog("debugKeyScores(): major score=%f", letterScore[1]);
  DebugLog("debugKeyScores(): minor score=%f", letterScore[0]);
  DebugLog("debugKeyScores(): key region buckets=");
  int region = 1;
  for (int n = 1; n <= 12; ++n) {
    DebugLog("debugKeyScores(): %d: %f", n, buckets[n]);
    if (buckets[n] > buckets[region]) region = n;
  }
  DebugLog("debugKeyScores(): max region=%d", region);
  const Candidate& top = sorted.back();
  DebugLog("debugKeyScores(): key=%s, score=%f, keycode=%s", KeyName(top.key).c_str(),
           top.probability, KeyCodeText(top.key).c_str());
  DebugLog("debugKeyScores(): predicted key=%s", KeyName(top.key).c_str());
}

}  // namespace

std::string KeyResultText(const KeyResult& result, bool withNames) {
  auto text = [withNames](const MusicalKey& key) {
    return !key.Known() ? std::string("NONE") : withNames ? KeyName(key) : KeyCodeText(key);
  };
  char accuracy[64];
  std::snprintf(accuracy, sizeof accuracy, "%f", result.accuracy);
  return "[key: " + text(result.first) + "->" + text(result.second) + ", accuracy: " + accuracy +
         "]";
}

KeyScorer::KeyScorer(double windowSeconds)
    : windowSeconds_(windowSeconds), filters_(MakeKeyFilters()) {}

void KeyScorer::AddWindow(const Chroma& chroma) {
  for (int j = 0; j < kNotes; ++j) pending_[j] += chroma[j];
  pendingSeconds_ += windowSeconds_;
  if (pendingSeconds_ <= kScoreInterval) return;
  double total = 0;
  for (double v : pending_) total += v;
  if (total > 0) {
    for (double& v : pending_) v /= total;
    for (auto& filter : filters_) filter->AddScores(pending_);
    scored_ = true;
  }
  pending_.fill(0.0);
  pendingSeconds_ = 0;
}

MusicalKey KeyScorer::BestKey(double& accuracy) const {
  accuracy = 0;
  if (!scored_) return {};
  std::vector<Candidate> candidates;
  double best = 0, worst = 1, sum = 0;
  for (const auto& filter : filters_) {
    const Chroma p = filter->GetProbabilities();
    double total = 0;
    for (int root = 0; root < kNotes; ++root) {
      candidates.push_back({{root, filter->Mode()}, p[root]});
      best = std::max(best, p[root]);
      worst = std::min(worst, p[root]);
      sum += p[root];
      total += p[root];
    }
    if (std::fabs(total - 1.0) > 1e-5)
      DebugLog("KeyProbabilitySet(): improper probability set, total=%f", total);
  }
  const double mean = sum / candidates.size();
  // Ascending; among equal probabilities the later filter and root stays
  // later, so the result does not depend on the sort.
  std::stable_sort(
      candidates.begin(), candidates.end(),
      [](const Candidate& a, const Candidate& b) { return a.probability < b.probability; });
  LogKeyScores(candidates);
  if (candidates.back().probability <= 0) return {};
  accuracy = best > worst ? std::min(1.0, (best - mean) / (best - worst)) : 0.0;
  return candidates.back().key;
}

KeyDetector::KeyDetector() : window_(kWindow), scorer_(std::make_unique<KeyScorer>(0.0)) {}

void KeyDetector::Start(std::int64_t totalBytes, int bytesPerSecond) {
  rate_ = std::max(bytesPerSecond / 4, 2);
  lengthSeconds_ = bytesPerSecond > 0 ? double(totalBytes) / bytesPerSecond : 0.0;
  windowSeconds_ = double(kWindow) / rate_;
  elapsed_ = 0;
  filled_ = 0;
  kernels_.reset();
  scorer_ = std::make_unique<KeyScorer>(windowSeconds_);
  halfTaken_ = false;
  firstHalfKey_ = {};
  firstHalfAccuracy_ = 0;
}

void KeyDetector::Push(float sample) {
  window_[filled_++] = sample;
  if (filled_ == kWindow) {
    ProcessWindow();
    filled_ = 0;
  }
}

void KeyDetector::Feed(const std::int16_t* samples, int frames, int channels) {
  if (channels < 1) return;
  for (int i = 0; i < frames; ++i) Push(samples[i * channels] / 32768.0f);
}

void KeyDetector::FeedFloat(const float* samples, int frames, int channels) {
  if (channels < 1) return;
  for (int i = 0; i < frames; ++i) Push(samples[i * channels]);
}

void KeyDetector::ProcessWindow() {
  // Built on the first window, so that a detector never fed costs nothing.
  if (!kernels_) kernels_ = KernelsFor(rate_ / 2);
  Chroma chroma{};
  const float* kernel = kernels_->data();
  for (int o = 0; o < kScales; ++o) {
    float sums[kNotes] = {};
    for (int s = 0; s < kWindow; ++s) {
      const float* k = kernel + (static_cast<size_t>(o) * kWindow + s) * kNotes;
      for (int j = 0; j < kNotes; ++j) sums[j] += window_[s] * k[j];
    }
    for (int j = 0; j < kNotes; ++j) chroma[j] += std::fabs(sums[j]);
  }
  scorer_->AddWindow(chroma);
  elapsed_ += windowSeconds_;
  if (!halfTaken_ && 2 * elapsed_ > lengthSeconds_) {
    firstHalfKey_ = scorer_->BestKey(firstHalfAccuracy_);
    halfTaken_ = true;
    scorer_ = std::make_unique<KeyScorer>(windowSeconds_);
  }
}

KeyResult KeyDetector::Finish() {
  KeyResult result;
  if (scorer_->HasScores()) {
    double accuracy = 0;
    result.first = scorer_->BestKey(accuracy);
    result.accuracy =
        halfTaken_ && firstHalfKey_.Known() ? std::min(accuracy, firstHalfAccuracy_) : accuracy;
  } else if (halfTaken_ && firstHalfKey_.Known()) {
    result.first = firstHalfKey_;
    result.accuracy = firstHalfAccuracy_;
  } else {
    result.accuracy = kNoKeyAccuracy;
  }
  return result;
}

std::optional<KeyResult> detectKey(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    DebugLog("detectKey(): error opening file '%s'", path.c_str());
    return std::nullopt;
  }
  constexpr int kHeaderBytes = 44;
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::fseek(file, kHeaderBytes, SEEK_SET);
  KeyDetector detector;
  detector.Start(std::max(size - kHeaderBytes, 0L), 176400);
  std::vector<std::int16_t> chunk(2 * 4096);
  size_t frames;
  while ((frames = std::fread(chunk.data(), 4, chunk.size() / 2, file)) > 0)
    detector.Feed(chunk.data(), static_cast<int>(frames), 2);
  std::fclose(file);
  return detector.Finish();
}

}  // namespace vantaro
