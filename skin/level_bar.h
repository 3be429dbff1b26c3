#pragma once
// The level shown along a slider (a fader with its channel's meter beside
// the cursor): how many pixels of the bar are lit for a level in dB, with a
// falling running level and a held peak. The bar's scale is not linear: its
// lower third spans -45 to -10 dB, the next sixth -8.5 to -4, the next third
// -3 to +4 and the rest +5.5 to +10, so the loud end has room.
//
// Threads: GUI thread (fed by the screen tick, once a frame).

#include <vector>

namespace vantaro {

class LevelBar {
 public:
  static constexpr int kPeakHoldFrames = 45;

  // `length` pixels of bar; lit lengths are multiples of `granularity`
  // (below 1 counts as 1).
  void Configure(int length, float granularity);
  int Length() const { return static_cast<int>(dbAtPixel_.size()); }

  // One frame: the new level, in dB. Returns true when the lit length or
  // the peak moved.
  bool Feed(float db);
  int Lit() const { return lit_; }    // pixels from the bar's start
  int Peak() const { return peak_; }  // pixel of the held peak, 0 for none

  // Pixels lit by `db` before quantising and falling.
  int PixelsFor(float db) const;

 private:
  std::vector<float> dbAtPixel_;
  float granularity_ = 1.0f;
  int lit_ = 0;
  int peak_ = 0;
  int peakAge_ = 0;
};

}  // namespace vantaro
