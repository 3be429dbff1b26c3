#pragma once
// Second-order filter sections designed by the Audio EQ Cookbook formulas at
// the engine's fixed rate of 44100 Hz, used by the channel's cut-off filter,
// the equaliser's shelf set and the analysis chain.
//
// Threads: DesignBiquad on any thread that owns the record; RunBiquad on the
// thread that owns the record's history (the audio thread for the mixer).
// Neither allocates.

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
  float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
  float a0 = 1.0f, a1 = 0.0f, a2 = 0.0f, b0 = 1.0f, b1 = 0.0f, b2 = 0.0f;
};

// Computes the coefficients of `filter` for `frequency` Hz, `gainDb` (types 7
// to 9 only) and `q`. A type outside 1..9 leaves the filter as it was and
// returns false. The history is kept, so a redesign while running is smooth.
bool DesignBiquad(TBiquad& filter, float frequency, float gainDb, float q, int type);

// Runs `filter` in place over samples[firstChannel], samples[firstChannel +
// stride], ... below samples[count]: `count` is the length of the float
// buffer, so an interleaved stereo block of n frames has count 2n. Computes in
// doubles, keeps the history in floats.
void RunBiquad(TBiquad& filter, float* samples, int count, int firstChannel, int stride);

// Clears the history (coefficients stay).
void ResetBiquad(TBiquad& filter);

// The two code paths of RunBiquad; RunBiquad picks by the processor's vector
// feature. They give bit-identical results; exposed so that tests can prove it.
void RunBiquadScalar(TBiquad& filter, float* samples, int count, int firstChannel, int stride);
void RunBiquadVector(TBiquad& filter, float* samples, int count, int firstChannel, int stride);

}  // namespace vantaro
