#include "analysis/beat_tracker.h"

#include <algorithm>
#include <cmath>

#include "analysis/beat_marks.h"

namespace vantaro {
namespace {

constexpr int kPhases = 8;           // trial phases per period
constexpr int kMinimumBeats = 21;    // a walk shorter than this measures nothing
constexpr int kLostAfterMisses = 4;  // misses in a row that, with a hit behind them, are a loss
constexpr int kHitsBeforeLoss = 4;
constexpr int kBeatsBeforeEstimate = 10;
constexpr float kHitFraction = 0.3f;  // of the range's peak onset

int Round(double value) {
  return static_cast<int>(std::lrint(value));
}

struct WalkSetup {
  const float* signal;
  float* stripe;  // null: a trial walk
  double start;
  int bound;      // `to` forwards, `limit` backwards
  int direction;  // +1 forwards, -1 backwards
  float tempo;
  float peak;
};

// Samples from the predicted position - tol up to + tol (exclusive): the
// strongest one above the hit threshold, the earliest on a tie; -1 for none.
int FindHit(const float* signal, double pos, int tol, float threshold) {
  const int centre = Round(pos);
  float best = 0;
  int hit = -1;
  for (int i = std::max(centre - tol, 0); i < centre + tol; ++i) {
    const float v = std::fabs(signal[i]);
    if (v > best && v > threshold) {
      best = v;
      hit = i;
    }
  }
  return hit;
}

// Takes the marks off [first, end) and sets the loss mark at `at`.
void MarkLoss(float* stripe, int first, int end, int at) {
  for (int i = std::max(first, 0); i < end; ++i) stripe[i] = Unmark(stripe[i]);
  stripe[at] += kLossMark;
}

BeatTracker::Walk RunWalk(const WalkSetup& w, double& tempoSum, int& tempoCount) {
  BeatTracker::Walk result;
  const int dir = w.direction;
  float period = kPeriodPerBpm / w.tempo;
  const int tol = Round(period / 18);
  auto roomAhead = [&](double pos) { return dir * (w.bound - pos) > tol + 1; };
  if (!roomAhead(w.start)) {
    result.score = 0;
    return result;
  }
  double pos = w.start;
  int beats = 0, misses = 0, hits = 0;
  do {
    const int hit = FindHit(w.signal, pos, tol, kHitFraction * w.peak);
    float mark = kBeatMark;
    if (hit >= 0) {
      pos = hit;
      if (misses >= kLostAfterMisses && hits >= kHitsBeforeLoss) {
        if (w.stripe) {
          const int near = Round(pos - dir * misses * period);
          if (dir > 0) {
            MarkLoss(w.stripe, near, Round(pos), near);
            result.loss = near + 1;
          } else {
            const int end = near;
            MarkLoss(w.stripe, Round(pos), end, end - 1);
            result.loss = end - 2;
          }
          return result;
        }
        mark = kRegainedMark;
      }
      misses = 0;
      if (beats > kBeatsBeforeEstimate)
        period = static_cast<float>((dir * (pos - w.start) + 1) / beats);
      ++hits;
    } else {
      ++misses;
    }
    const int p = Round(pos);
    if (dir * (pos - w.start) > 3) {
      const float* x = w.signal;
      result.score += std::fabs(x[p - 2]) + std::fabs(x[p - 1]);
      if (dir * (w.bound - pos) > 3) {
        result.score += std::fabs(x[p]) + std::fabs(x[p + 1]) + std::fabs(x[p + 2]);
        if (w.stripe) w.stripe[p] += mark;
      }
    }
    ++beats;
    pos += dir * period;
  } while (roomAhead(pos));
  if (beats >= kMinimumBeats) {
    result.tempo = kPeriodPerBpm / period;
    tempoSum += result.tempo;
    ++tempoCount;
  }
  return result;
}

}  // namespace

BeatTracker::BeatTracker() {
  for (int t = 0; t <= 32; ++t) taps_[t] = std::pow(1.145, t);
  for (int j = 0; j <= 32; ++j) taps_[33 + j] = std::pow(1.145, 33 - j);
}

BeatTracker::Walk BeatTracker::WalkForward(const float* signal, float* stripe, double start, int to,
                                           float tempo, float peak) {
  return RunWalk({signal, stripe, start, to, +1, tempo, peak}, tempoSum, tempoCount);
}

BeatTracker::Walk BeatTracker::WalkBackward(const float* signal, float* stripe, double start,
                                            int limit, float tempo, float peak) {
  return RunWalk({signal, stripe, start, limit, -1, tempo, peak}, tempoSum, tempoCount);
}

// Eight trial walks, one per phase of the period; the best scoring phase is
// walked again, marking, at the tempo its trial measured.
BeatTracker::Pass BeatTracker::BestPass(const float* signal, float* stripe, bool forwards,
                                        double seed, float step, int bound, float tempo,
                                        float peak) {
  double bestScore = -1;
  int bestPhase = 0;
  float measured = -1;
  for (int i = 0; i < kPhases; ++i) {
    const double start = seed + i * step;
    const Walk trial = forwards ? WalkForward(signal, nullptr, start, bound, tempo, peak)
                                : WalkBackward(signal, nullptr, start, bound, tempo, peak);
    if (trial.score > bestScore) {
      bestScore = trial.score;
      bestPhase = i;
      measured = trial.tempo;
    }
  }
  if (measured < 10) measured = tempo;
  Pass pass;
  pass.start = seed + bestPhase * step;
  pass.walk = forwards ? WalkForward(signal, stripe, pass.start, bound, measured, peak)
                       : WalkBackward(signal, stripe, pass.start, bound, measured, peak);
  return pass;
}

void BeatTracker::Track(const float* signal, float* stripe, int from, int to, float tempo) {
  const float period = kPeriodPerBpm / tempo;
  const float step = period / kPhases;
  // The strongest onset is the seed; values of 50 and above would be marks
  // of an earlier pass. Nothing above 0 (silence): nothing to track.
  float peak = 0;
  int seed = -1;
  for (int i = std::max(from, 0); i < to; ++i) {
    if (signal[i] > peak && signal[i] < kMarkThreshold) {
      peak = signal[i];
      seed = i;
    }
  }
  if (seed < 0) return;

  const Pass forward = BestPass(signal, stripe, true, seed, step, to, tempo, peak);
  if (from < 10 && forward.walk.tempo > 10) tempo = forward.walk.tempo;
  const Pass backward = BestPass(signal, stripe, false, seed, step, from, tempo, peak);

  const int forwardLoss = forward.walk.loss;
  if (forwardLoss != kNoLoss && to - forwardLoss > 2 * period &&
      std::fabs(forward.start - forwardLoss) > 2 * period)
    Track(signal, stripe, forwardLoss, to, tempo);
  const int backwardLoss = backward.walk.loss;
  if (backwardLoss != kNoLoss && backwardLoss - from > 2 * period &&
      std::fabs(backward.start - backwardLoss) > 2 * period)
    Track(signal, stripe, from, backwardLoss, tempo);
}

}  // namespace vantaro
