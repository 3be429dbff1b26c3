#pragma once
// CEffectAmplitudes: tremolo (preset 0) and auto-pan (preset 1), on the
// beat. The level is a raised cosine, l = cos(phase) * 0.5 + 0.5; left is
// multiplied by l, right by l (tremolo) or 1 - l (pan). The phase advances
// by 2 pi / 44100 * bpm / 60 * rate per frame, with rate = beats(s) cycles a
// beat for the tremolo and one cycle over beats(s) beats for the pan
// (s = parameter 1 / 1000, glide.h BeatsOf). The phase is accumulated, so a
// tempo or speed change bends the level's slope but never steps it.
//
// Parameters: 0 preset (mode), 1 speed 0..1000. Threads as builtin_effect.h.

#include "effects/builtin_effect.h"

namespace vantaro {

class CEffectAmplitudes : public CBuiltinEffect {
 public:
  enum Preset { kTremolo = 0, kPan = 1 };
  explicit CEffectAmplitudes(int preset = kTremolo);

  void Process(float* buffer, int frames, float bpm) override;

 protected:
  void ResetState() override;

 private:
  // Frames that take one rate from the glide; a multiple of four.
  static constexpr int kPieceFrames = 32;
  // A rotation by one and by four frames' steps of the phase.
  struct Turn {
    double step = -1.0;  // radians a frame; -1 before the first block
    double cos1 = 1.0, sin1 = 0.0, cos4 = 1.0, sin4 = 0.0;
  };
  // Cycles per beat for the slider value in force.
  float RatePerBeat() const;
  void LevelPiece(float* block, int frames, const Turn& turn, double& c, double& s) const;

  double phase_ = 0.0;  // radians, kept in 0..2 pi
  LinearGlide rate_;    // cycles per beat
  Turn turn_;           // for the last step used
};

}  // namespace vantaro
