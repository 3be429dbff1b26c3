#pragma once
// CZKVUMeter: a level meter of one channel, lit from the bottom (or from
// the left when wider than tall) in steps of `activestepsize` pixels. The
// lit run comes from the skin's lit picture at `activeupx`,`activeupy`
// over the unlit one at `posx`,`posy`, or in colour mode from three colours
// (`colorlow`, `colormid`, `colorhigh` lit; `backcolorlow`... unlit) in the
// zones below 60 %, below 85 % and above. Fed by the screen tick, once a
// tick, with the channel's RMS level in dB full scale.
//
// MeterBar is the level logic apart from the window, so that it can be
// tested without one: a linear dB scale from kFloorDb (dark) to kTopDb
// (full: a full-scale sine, whose RMS is -3 dB, fills it), a rise at once,
// a fall of a twentieth of the length a tick, and a held peak that stays
// kPeakHoldTicks before it falls with the bar.
//
// Threads: GUI thread only.

#include <wx/colour.h>
#include <wx/gdicmn.h>

#include "skin/custom_control.h"

namespace vantaro {

class MeterBar {
 public:
  static constexpr float kFloorDb = -45.0f;
  static constexpr float kTopDb = -3.5f;
  static constexpr int kPeakHoldTicks = 45;

  // `length` pixels, lit in whole steps of `step` (below 1 counts as 1,
  // above the length as the length).
  void Configure(int length, int step);
  // One tick's level. True when the lit run or the peak moved.
  bool Feed(float db);
  int Lit() const { return lit_; }
  int Peak() const { return peak_; }  // pixels from the start; 0 for none
  // The longest run the bar can light: the length in whole steps.
  int Top() const { return length_ / step_ * step_; }

 private:
  int length_ = 0, step_ = 1;
  int lit_ = 0, peak_ = 0, peakAge_ = 0;
};

class CZKVUMeter : public ZKCustomControl {
 public:
  CZKVUMeter(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent&) override {}
  void DrawControl() override;

  // One tick's level in dB full scale (RMS); redraws when the bar moved.
  void FeedLevel(float db);
  const MeterBar& Bar() const { return bar_; }

 private:
  bool Vertical() const { return height > width; }
  // The run [from, from + count) of the bar as a rectangle of the control.
  wxRect Run(int from, int count) const;
  void DrawColourRun(int from, int count, bool lit);

  MeterBar bar_;
  int step_ = 1;
  bool transparent_ = false;
  wxPoint picture_, lit_;
  bool hasLitPicture_ = false;
  wxColour low_, mid_, high_, backLow_, backMid_, backHigh_;
};

}  // namespace vantaro
