#pragma once
// SweptFilter: a stereo biquad filter whose settings may move while it
// plays, without zipper or click. A new frequency, Q or gain glides there
// over 10 ms, the sections redesigned every 16 frames on the way (the
// frequency and Q geometrically, the gain in dB). A change of type, or
// switching on or off, crossfades the old filter into the new one over 110
// frames, as an equaliser band's ramp does; the new filter starts from
// silence.
//
// Used by the mixer channel's cut-off filter (two low- or high-pass
// sections in series) and by the filter effect (one section of any type, or
// the cut-off pair). Recursive state is flushed below 1e-25 after every
// piece; a block that comes out not finite clears it.
//
// Threads: the owner's (the audio thread). Never allocates.

#include "effects/biquad.h"

namespace vantaro {

class SweptFilter {
 public:
  static constexpr int kFadeFrames = 110;
  static constexpr int kPieceFrames = 16;

  // `type` 0 is off, else a BiquadType; `sections` 1 or 2 in series.
  void Set(int type, int sections, float hz, float q, float gainDb);
  // At once to the settings last Set, with cleared history (a filter that
  // nothing of is heard at that moment).
  void Settle();
  void Process(float* buffer, int frames);
  bool IsOff() const { return now_.type == 0 && fadeLeft_ == 0; }

 private:
  struct Bank {
    int type = 0;
    int sections = 1;
    TBiquad f[2][2];  // [side][section]
  };
  struct Settings {
    float hz = 1000.0f, q = 0.70710677f, gainDb = 0.0f;
  };
  static void Design(Bank& bank, const Settings& s);
  static void Run(Bank& bank, float* piece, int frames);
  void StepGlide();
  void ProcessPiece(float* piece, int frames);

  Bank now_, old_;
  Settings current_, target_;
  float hzRatio_ = 1.0f, qRatio_ = 1.0f, gainStep_ = 0.0f;
  int glidePieces_ = 0;
  int fadeLeft_ = 0;
};

}  // namespace vantaro
