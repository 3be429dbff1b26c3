#include "analysis/key_filters.h"

#include <algorithm>
#include <cmath>

#include "base/debug_log.h"

namespace vantaro {
namespace {

Chroma Normalised(const Chroma& scores) {
  double total = 0;
  for (double s : scores) total += s;
  Chroma out{};
  if (total <= 0) return out;
  for (int i = 0; i < 12; ++i) out[i] = scores[i] / total;
  return out;
}

}  // namespace

SingleKeyProbabilityFilter::SingleKeyProbabilityFilter(std::string name, int mode, bool major,
                                                       const std::vector<double>& weights)
    : KeyProbabilityFilter(std::move(name), mode, major) {
  if (weights.size() != 12) {
    DebugLog("SingleKeyProbabilityFilter(): probabilities array is incorrect lengh for key=%s",
             Name().c_str());
    return;
  }
  double total = 0;
  for (double w : weights) total += w;
  if (std::fabs(total - 1.0) > 0.0001)
    DebugLog("SingleKeyProbabilityFilter(): total probability != 1.0 for key=%s", Name().c_str());
  for (int root = 0; root < 12; ++root)
    for (int pc = 0; pc < 12; ++pc) rotated_[root][pc] = weights[(pc - root + 12) % 12];
}

double SingleKeyProbabilityFilter::Score(int root, const Chroma& chroma) const {
  double sum = 0;
  for (int pc = 0; pc < 12; ++pc) sum += chroma[pc] * rotated_[root][pc];
  return sum;
}

void SingleKeyProbabilityFilter::AddScores(const Chroma& chroma) {
  for (int root = 0; root < 12; ++root) scores_[root] += Score(root, chroma);
}

Chroma SingleKeyProbabilityFilter::GetProbabilities() const {
  return Normalised(scores_);
}

MultiKeyProbabilityFilter::MultiKeyProbabilityFilter(
    std::string name, int mode, bool major, const std::vector<std::vector<double>>& profiles)
    : KeyProbabilityFilter(name, mode, major) {
  for (const auto& profile : profiles) sets_.emplace_back(name, mode, major, profile);
}

void MultiKeyProbabilityFilter::AddScores(const Chroma& chroma) {
  for (int root = 0; root < 12; ++root) {
    double best = 0;
    for (const SingleKeyProbabilityFilter& set : sets_)
      best = std::max(best, set.Score(root, chroma));
    scores_[root] += best;
  }
}

Chroma MultiKeyProbabilityFilter::GetProbabilities() const {
  return Normalised(scores_);
}

std::vector<double> ScaleProfile(const std::array<int, 7>& steps) {
  std::vector<double> weights(12, 0.0);
  for (int i = 0; i < 7; ++i) weights[steps[i]] = i == 0 ? 0.2 : (i == 2 || i == 4) ? 0.16 : 0.12;
  return weights;
}

std::vector<std::unique_ptr<KeyProbabilityFilter>> MakeKeyFilters() {
  std::vector<std::unique_ptr<KeyProbabilityFilter>> filters;
  auto single = [&](const char* name, int mode, bool major, std::array<int, 7> steps) {
    filters.push_back(
        std::make_unique<SingleKeyProbabilityFilter>(name, mode, major, ScaleProfile(steps)));
  };
  auto multi = [&](const char* name, int mode, std::array<int, 7> a, std::array<int, 7> b) {
    filters.push_back(std::make_unique<MultiKeyProbabilityFilter>(
        name, mode, false, std::vector<std::vector<double>>{ScaleProfile(a), ScaleProfile(b)}));
  };
  single("ionian", 0, true, {0, 2, 4, 5, 7, 9, 11});
  single("lydian", 2, true, {0, 2, 4, 6, 7, 9, 11});
  single("mixolydian", 3, true, {0, 2, 4, 5, 7, 9, 10});
  multi("aeolian", 1, {0, 2, 3, 5, 7, 8, 10}, {0, 2, 3, 5, 7, 8, 11});
  multi("dorian", 4, {0, 2, 3, 5, 7, 9, 10}, {0, 2, 3, 5, 7, 9, 11});
  single("phrygian", 5, false, {0, 1, 3, 5, 7, 8, 10});
  return filters;
}

}  // namespace vantaro
