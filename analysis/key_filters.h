#pragma once
// The key scorer's filters: each holds a scale profile (weights of the 12
// semitones above a root) and adds, for every one of the 12 roots, the dot
// product of a window's chroma with the profile turned to that root.
//
// Threads: one owner (a KeyDetector).

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "analysis/musical_key.h"

namespace vantaro {

using Chroma = std::array<double, 12>;  // energy by pitch class, from A

class KeyProbabilityFilter {
 public:
  KeyProbabilityFilter(std::string name, int mode, bool major)
      : name_(std::move(name)), mode_(mode), major_(major) {}
  virtual ~KeyProbabilityFilter() = default;

  // Adds the scores of one normalised chroma.
  virtual void AddScores(const Chroma& chroma) = 0;
  // The scores divided by their total; all 0 while nothing scored.
  virtual Chroma GetProbabilities() const = 0;
  bool IsMajor() const { return major_; }
  const std::string& Name() const { return name_; }
  int Mode() const { return mode_; }

 private:
  std::string name_;
  int mode_;
  bool major_;
};

class SingleKeyProbabilityFilter : public KeyProbabilityFilter {
 public:
  // `weights`: 12 from the root up, summing to 1 (each fault is logged).
  SingleKeyProbabilityFilter(std::string name, int mode, bool major,
                             const std::vector<double>& weights);
  void AddScores(const Chroma& chroma) override;
  Chroma GetProbabilities() const override;
  // The dot product of `chroma` with the profile turned to `root`.
  double Score(int root, const Chroma& chroma) const;
  void Clear() { scores_.fill(0.0); }

 private:
  std::array<Chroma, 12> rotated_{};  // [root][pitch class]
  Chroma scores_{};
};

// Several profiles of one mode (the minor modes' raised seventh): each root
// takes the best of its profiles, window by window.
class MultiKeyProbabilityFilter : public KeyProbabilityFilter {
 public:
  MultiKeyProbabilityFilter(std::string name, int mode, bool major,
                            const std::vector<std::vector<double>>& profiles);
  void AddScores(const Chroma& chroma) override;
  Chroma GetProbabilities() const override;

 private:
  std::vector<SingleKeyProbabilityFilter> sets_;
  Chroma scores_{};
};

// The profile of a seven-note scale given by its steps from the root: the
// root 0.2, the third and the fifth 0.16, the other steps 0.12, the rest 0.
std::vector<double> ScaleProfile(const std::array<int, 7>& steps);

// The six filters of a scorer, in their fixed order: ionian, lydian,
// mixolydian, aeolian, dorian, phrygian.
std::vector<std::unique_ptr<KeyProbabilityFilter>> MakeKeyFilters();

}  // namespace vantaro
