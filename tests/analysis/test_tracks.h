#pragma once
// Test tracks for the analysis tests, made here: click tracks and drum
// loops at a given tempo, silence and tones, written as 16-bit WAV through
// the program's own WAV writer.

#include <string>
#include <vector>

namespace vantaro::test {

enum class Beat { kClick, kDrums };

struct TrackPlan {
  double bpm = 120;
  double seconds = 30;
  Beat beat = Beat::kClick;
  double breakStart = -1;  // seconds; a silent break from here
  double breakSeconds = 0;
  double gain = 1.0;  // amplitude factor
};

// Mono samples at 44100 Hz, full scale 1.0. A beat falls on every period
// from frame 0: a click is a 170 Hz burst of 60 ms; drums are a falling kick
// on each beat, a snare on the off beats and hats on the eighths.
std::vector<float> MakeTrack(const TrackPlan& plan);
// The frames at which MakeTrack's beats start.
std::vector<long> BeatFrames(const TrackPlan& plan);

// Writes mono samples at `rate` as a 16-bit WAV of `channels` equal
// channels through the codec set; false on failure.
bool WriteWav(const std::string& path, const std::vector<float>& mono, int rate = 44100,
              int channels = 2);
// The stripe the analysis chain makes of whole seconds of mono samples at
// 44100 Hz (seconds * 441 samples).
std::vector<float> StripeOf(std::vector<float> mono);
// The floats of a stripe file.
std::vector<float> ReadStripeFile(const std::string& path);
// Indexes of the stripe samples in the beat-mark band (50..60) or the loss
// band (60..70).
std::vector<int> MarksIn(const std::vector<float>& stripe, float low, float high);

// How many of `marks` (stripe indexes) stand within 6 stripe samples
// (14 ms) of a beat of `plan`.
int MarksOnBeats(const TrackPlan& plan, const std::vector<int>& marks);

}  // namespace vantaro::test
