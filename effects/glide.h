#pragma once
// Small pieces every effect shares on the audio thread: a value that glides
// linearly to a new target over a fixed number of frames (so no knob steps
// the signal), the guard that keeps recursive state out of the denormal
// range, and the note length of a tempo slider.
//
// Threads: whoever owns the object (the audio thread for running effects).
// Nothing here allocates.

#include <cmath>

namespace vantaro {

// Frames over which a dry/wet change or a continuous parameter moves: 10 ms.
inline constexpr int kGlideFrames = 441;

class LinearGlide {
 public:
  explicit LinearGlide(float value = 0.0f) : current_(value), target_(value) {}

  // Stands at `value` at once.
  void Jump(float value) {
    current_ = target_ = value;
    left_ = 0;
  }
  // Moves from where it stands to `target` over `frames` frames (0: at once).
  // Setting the target it already has changes nothing.
  void Set(float target, int frames = kGlideFrames) {
    if (target == target_) return;
    target_ = target;
    left_ = frames > 0 ? frames : 0;
    if (left_ == 0)
      current_ = target_;
    else
      step_ = (target_ - current_) / static_cast<float>(left_);
  }
  // The value for the next frame; the last frame of a glide is exactly the
  // target.
  float Next() {
    if (left_ > 0) current_ = --left_ == 0 ? target_ : current_ + step_;
    return current_;
  }
  float Value() const { return current_; }
  float Target() const { return target_; }
  bool Moving() const { return left_ > 0; }

 private:
  float current_;
  float target_;
  float step_ = 0.0f;
  int left_ = 0;
};

// Flushes a value below about 1e-25 to exactly 0, so that a decaying
// recursion never reaches the slow subnormal range, whether or not the
// thread runs with flush-to-zero.
// (The build has no fast-math, so the pair is kept as written.)
inline float FlushTiny(float value) {
  return (value + 1e-18f) - 1e-18f;
}
inline double FlushTiny(double value) {
  return std::fabs(value) < 1e-25 ? 0.0 : value;
}

// Note length in beats of a tempo slider `s` (0..1): eight powers of two,
// 1/8 of a beat at 0, one beat from 0.375, two from the middle, 16 beats
// from 0.875 to the top.
inline float BeatsOf(float s) {
  int step = static_cast<int>(s * 8.0f);
  step = step < 0 ? 0 : step > 7 ? 7 : step;
  return std::ldexp(1.0f, step - 3);
}

}  // namespace vantaro
