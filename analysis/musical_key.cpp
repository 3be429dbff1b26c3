#include "analysis/musical_key.h"

#include <cstdio>

namespace vantaro {
namespace {

const char* const kPitchNames[12] = {"A",  "A#", "B", "C",  "C#", "D",
                                     "D#", "E",  "F", "F#", "G",  "G#"};
const char* const kModeNames[7] = {"ionian", "aeolian",  "lydian", "mixolydian",
                                   "dorian", "phrygian", "locrian"};
// Wheel numbers of the minor keys by root pitch class.
constexpr int kMinorWheel[12] = {8, 3, 10, 5, 12, 7, 2, 9, 4, 11, 6, 1};
constexpr int kRelativeMinorOffset = 9;  // a minor third down, in pitch classes

}  // namespace

bool IsMinorMode(int mode) {
  return mode == 1 || mode == 4 || mode == 5 || mode == 6;
}

const char* ModeName(int mode) {
  return mode >= 0 && mode < 7 ? kModeNames[mode] : "UNKNOWN";
}

std::string KeyName(const MusicalKey& key) {
  if (!key.Known()) return "";
  return std::string(kPitchNames[key.root]) + (IsMinorMode(key.mode) ? "m" : "");
}

int KeyWheelNumber(const MusicalKey& key) {
  if (!key.Known()) return 0;
  const int minorRoot = IsMinorMode(key.mode) ? key.root : (key.root + kRelativeMinorOffset) % 12;
  return kMinorWheel[minorRoot];
}

char KeyLetter(const MusicalKey& key) {
  return IsMinorMode(key.mode) ? 'A' : 'B';
}

std::string KeyCodeText(const MusicalKey& key) {
  if (!key.Known()) return "NONE";
  char text[32];
  std::snprintf(text, sizeof text, "%d,%c,%d", KeyWheelNumber(key), KeyLetter(key), key.mode);
  return text;
}

int PitchKeyCode(const MusicalKey& key) {
  if (!key.Known()) return 0;
  return KeyWheelNumber(key) + (KeyLetter(key) == 'B' ? 12 : 0);
}

}  // namespace vantaro
