#pragma once
// The mixer's gain arithmetic: dB conversions, the cheap logarithm every dB
// display and meter uses, and the fader and crossfader laws on a step scale.
// Pure functions, real-time safe.

#include "base/fast_log.h"

namespace vantaro {

// dB at or below this give linear 0.
constexpr double kSilenceDbLimit = -318.8;
// dB of a linear value that is not above 0.
constexpr double kSilenceDb = -318.7;
// dB a getter answers for an input out of range, and the law at position 0.
constexpr double kOffDb = -320.0;
// A meter's reading of a bus with no signal energy: kSilenceDb * 0.5.
constexpr double kMeterFloorDb = -159.35;

double DbToLinear(double db);
// 20 * FastLog10(x), or kSilenceDb when x is not above 0.
double LinearToDb(double linear);

// base ^ k by repeated squaring in 32-bit floats (k >= 0).
float PowBySquaring(float base, int k);

// Base of the fader law on `steps` positions: 91 ^ (1 / (steps - 1)).
double FaderBase(int steps);
// Linear gain of an up-fader at `position` of `steps`: exact 1.0 at the top,
// exact 0 at the bottom, -(base ^ (steps - position - 1) - 1) dB between.
float FaderLawLinear(int position, int steps, double base);
// The same in dB (kOffDb at position 0).
double FaderLawDb(int position, int steps, double base);

// Base of the crossfader law for `steps` positions and flat range `curve`:
// 91 ^ (1 / (steps - curve - 1)).
double CrossBase(int steps, int curve);
// Gain of one side of the crossfader, `k` positions away from that side's
// end (k = position for the left side, steps - position - 1 for the right).
// Curve -1 is the hard switch: full below steps / 2, silent from there.
float CrossLawLinear(int k, int steps, int curve, double crossBase);

}  // namespace vantaro
