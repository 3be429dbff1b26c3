#include "analysis/bpm_detect.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "analysis/beat_marks.h"

namespace vantaro {
namespace {

constexpr int kMarkDelay = 33;  // samples from an onset to the peak of its smoothed rise
constexpr int kMultiples[] = {1, 4, 8};
constexpr int kRefineTail = 3970;  // stripe samples the refinement leaves out at the end
constexpr double kCombHalfLife = 386.0;
constexpr int kTrackMargin = 5;

int PeriodOf(double bpm) {
  return static_cast<int>(std::lrint(kPeriodPerBpm / bpm));
}

// Correlation of onset[o ..] with onset[o + lag ..] over `count` samples,
// shortened where the lagged side would run past `length` (the onset signal
// is zero there anyway).
float LaggedCorrelation(const float* onset, int length, int o, int lag, int count) {
  count = std::min(count, length - o - lag);
  return count > 0 ? Correlate(onset + o, onset + o + lag, count) : 0.0f;
}

// Energy of the comb y[i] = a y[i - P] + (1 - a) x[i] over `count` samples,
// y starting cleared; `y` keeps the comb's output.
double CombEnergy(const float* x, float* y, int count, int period) {
  const float a = static_cast<float>(std::pow(0.5, kCombHalfLife / period));
  double energy = 0;
  for (int i = 0; i < count; ++i) {
    const float previous = i >= period ? y[i - period] : 0.0f;
    y[i] = a * previous + (1 - a) * x[i];
    energy += double(y[i]) * y[i];
  }
  return energy;
}

}  // namespace

BpmRange WholeTrackRange(int mode) {
  switch (mode) {
    case 0:
      return {76, 150};
    case -1:
      return {56, 100};
    case -2:
      return {101, 195};
    default:
      return {mode - 1, mode + 1};
  }
}

BpmRange InterimRange(int mode) {
  switch (mode) {
    case 0:
      return {120, 159};
    case -1:
      return {75, 124};
    case -2:
      return {130, 180};
    default:
      return {mode - 1, mode + 1};
  }
}

void MakeOnset(const BeatTracker& tracker, const float* stripe, float* onset, int length,
               int seconds, bool normalise) {
  const auto& taps = tracker.Taps();
  const int n = std::clamp(seconds * kStripePerSecond - kStripePerSecond, 0, length - 1);
  auto smoothed = [&](int i) {
    double sum = 0;
    for (int t = 0; t < kSmoothingTaps && t <= i; ++t) sum += std::fabs(stripe[i - t]) * taps[t];
    return sum;
  };
  double current = n > 0 ? smoothed(0) : 0;
  float largest = 0;
  for (int i = 0; i < n; ++i) {
    const double next = smoothed(i + 1);
    onset[i] = static_cast<float>(std::max(next - current, 0.0));
    largest = std::max(largest, onset[i]);
    current = next;
  }
  std::fill(onset + std::max(n, 0), onset + length, 0.0f);
  if (normalise && largest > 0.5f)
    for (int i = 0; i < n; ++i) onset[i] /= largest;
}

float Correlate(const float* a, const float* b, int count) {
  float lane[8] = {};
  int i = 0;
  for (; i + 8 <= count; i += 8)
    for (int j = 0; j < 8; ++j) lane[j] += a[i + j] * b[i + j];
  float tail = 0;
  for (; i < count; ++i) tail += a[i] * b[i];
  return ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7])) +
         tail;
}

CoarseTempo CoarseSearch(const float* onset, int length, int seconds, int mode) {
  const BpmRange range = WholeTrackRange(mode);
  const int blockSeconds = seconds < 30 ? 10 : 30;
  const int blocks = std::max(seconds - 9, 0) / blockSeconds;
  const int blockSamples = blockSeconds * kStripePerSecond;
  CoarseTempo best;
  double bestTotal = -1;
  double bestScores[3] = {};
  for (int bpm = std::max(range.low, 1); bpm <= range.high; ++bpm) {
    const int period = PeriodOf(bpm);
    double scores[3] = {};
    double total = 0;
    for (int m = 0; m < 3; ++m) {
      for (int j = 0; j < blocks; ++j) {
        const float c = LaggedCorrelation(onset, length, j * blockSamples, kMultiples[m] * period,
                                          blockSamples - 1);
        scores[m] += c;
        total += kMultiples[m] == 1 ? 2.0 * c : c;
      }
    }
    // An equal total replaces the best: the higher BPM wins a tie.
    if (total >= bestTotal) {
      bestTotal = total;
      best.bpm = bpm;
      std::copy(scores, scores + 3, bestScores);
    }
  }
  double topScore = 0;
  best.multiple = 16;
  for (int m = 0; m < 3; ++m) {
    if (bestScores[m] > topScore) {
      topScore = bestScores[m];
      best.multiple = kMultiples[m];
    }
  }
  return best;
}

int RefinePeriod(const float* onset, int length, int seconds, const CoarseTempo& coarse) {
  int bestPeriod = PeriodOf(coarse.bpm);
  if (coarse.bpm <= 1) return bestPeriod;
  const int first = PeriodOf(coarse.bpm + 1);
  const int end = PeriodOf(coarse.bpm - 1);
  const int count = seconds * kStripePerSecond - kRefineTail;
  float bestSum = 0;
  for (int period = first; period < end; ++period) {
    const float sum = LaggedCorrelation(onset, length, 0, period * coarse.multiple, count);
    // Later periods win ties.
    if (sum >= bestSum) {
      bestSum = sum;
      bestPeriod = period;
    }
  }
  return bestPeriod;
}

void ShiftMarks(float* stripe, int length) {
  for (int i = kMarkDelay; i < length; ++i) {
    if (IsBeatMark(stripe[i])) {
      stripe[i - kMarkDelay] = stripe[i];
      stripe[i] = Unmark(stripe[i]);
    }
  }
}

float DetectBpm(BeatTracker& tracker, int length, float* stripe, float* onset, int seconds,
                int mode) {
  if (length <= 0) return 0;
  MakeOnset(tracker, stripe, onset, length, seconds, true);
  if (seconds < 10) return 0;
  const CoarseTempo coarse = CoarseSearch(onset, length, seconds, mode);
  if (coarse.bpm == 0) return -1;
  float tempo = kPeriodPerBpm / RefinePeriod(onset, length, seconds, coarse);
  // The whole track's comb pass is left out: its output would be replaced
  // by the onset signal before tracking, so it cannot change the result.
  tracker.ClearTempo();
  tracker.Track(onset, stripe, kTrackMargin, length - kTrackMargin, tempo);
  if (tracker.tempoSum > 10 && tracker.tempoCount > 0)
    tempo = static_cast<float>(tracker.tempoSum / tracker.tempoCount);
  ShiftMarks(stripe, length);
  return tempo;
}

float DetectBpmInterim(BeatTracker& tracker, float* stripe, float* onset, int length, int mode) {
  if (length <= 0) return 0;
  const int padded = 2 * length;
  MakeOnset(tracker, stripe, onset, padded, length / kStripePerSecond, false);
  std::vector<float> comb(padded, 0.0f);

  const BpmRange range = InterimRange(mode);
  std::vector<std::pair<double, int>> energies;  // (energy, BPM), BPM ascending
  for (int bpm = std::max(range.low, 1); bpm <= range.high; ++bpm)
    energies.emplace_back(CombEnergy(onset, comb.data(), length, PeriodOf(bpm)), bpm);
  if (energies.empty()) return 0;
  // Descending energy; equal energies keep the lower BPM first.
  std::stable_sort(energies.begin(), energies.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  int bpm = energies.front().second;
  if (bpm < 60) bpm = 160;

  int bestPeriod = PeriodOf(bpm);
  double bestEnergy = -1;
  for (int period = PeriodOf(bpm + 1) - 1; period <= PeriodOf(bpm - 1); ++period) {
    const double energy = CombEnergy(onset, comb.data(), length, period);
    if (energy >= bestEnergy) {
      bestEnergy = energy;
      bestPeriod = period;
    }
  }
  const float tempo = kPeriodPerBpm / bestPeriod;
  std::fill(comb.begin(), comb.end(), 0.0f);
  CombEnergy(onset, comb.data(), length, bestPeriod);
  tracker.ClearTempo();
  tracker.Track(comb.data(), stripe, kTrackMargin, length - kTrackMargin, tempo);
  ShiftMarks(stripe, length);
  return tempo;
}

}  // namespace vantaro
