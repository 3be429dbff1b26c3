#pragma once
// Second-order filter sections designed by the Audio EQ Cookbook formulas at
// the engine's fixed rate of 44100 Hz, used by the channel's cut-off filter,
// the chain filter and the equaliser's shelf set.
//
// Threads: DesignBiquad on any thread that owns the record; RunBiquadPair on
// the thread that owns the records' history (the audio thread for the
// mixer). Neither allocates.

namespace vantaro {

enum BiquadType {
  kBiquadLowPass = 1,
  kBiquadHighPass = 2,
  kBiquadBandPassSkirt = 3,  // constant skirt gain, peak gain = q
  kBiquadBandPassPeak = 4,   // constant 0 dB peak gain
  kBiquadNotch = 5,
  kBiquadAllPass = 6,
  kBiquadPeaking = 7,
  kBiquadLowShelf = 8,
  kBiquadHighShelf = 9,
};

struct TBiquad {
  int type = 0;            // 0: never designed
  float frequency = 0.0f;  // Hz
  float gainDb = 0.0f;
  float q = 0.0f;
  // History of one channel: previous inputs and outputs.
  double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
  float a0 = 1.0f, a1 = 0.0f, a2 = 0.0f, b0 = 1.0f, b1 = 0.0f, b2 = 0.0f;
};

// Computes the coefficients of `filter` for `frequency` Hz, `gainDb` (types 7
// to 9 only) and `q`. A type outside 1..9 leaves the filter as it was and
// returns false. The history is kept, so a redesign while running is smooth.
bool DesignBiquad(TBiquad& filter, float frequency, float gainDb, float q, int type);

// Frames after which RunBiquadPair flushes a history word below 1e-25 to 0
// (glide.h FlushTiny), counted from the start of each call: a decay after a
// burst never reaches the slow subnormal range.
inline constexpr int kBiquadFlushFrames = 16;

// Runs `sections` (1 or 2) filters in series over `frames` interleaved stereo
// frames in place: left[0], left[1] on the left channel, right[0], right[1]
// on the right. Both channels and both sections go in one pass, in doubles
// from input to output, so the result of a cascade is rounded to float once.
// Picks the vector path when the processor has one.
void RunBiquadPair(TBiquad* left, TBiquad* right, int sections, float* samples, int frames);

// Clears the history (coefficients stay).
void ResetBiquad(TBiquad& filter);

// The two code paths of RunBiquadPair. They give bit-identical results;
// exposed so that tests can prove it.
void RunBiquadPairScalar(TBiquad* left, TBiquad* right, int sections, float* samples, int frames);
void RunBiquadPairVector(TBiquad* left, TBiquad* right, int sections, float* samples, int frames);

}  // namespace vantaro
