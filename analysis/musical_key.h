#pragma once
// Musical keys as the key detector reports them and the song database keeps
// them. Pitch classes count from A: 0 A, 1 A#, 2 B, 3 C, ... 11 G#. Modes
// are numbered 0 ionian, 1 aeolian, 2 lydian, 3 mixolydian, 4 dorian,
// 5 phrygian, 6 locrian; 1, 4, 5 and 6 are minor.
//
// The key code is a place on the wheel of fifths, 1 to 12, and a letter: A
// for the minor keys, B for the others. A minor key's number comes from its
// root (A minor is 8A); any other key takes the number of its relative
// minor, three semitones below its root (C major is 8B). The song database's
// `pitch_key` is the number for A and the number + 12 for B, 0 for none.
//
// Threads: any; plain values.

#include <string>

namespace vantaro {

struct MusicalKey {
  int root = -1;  // pitch class, -1: no key
  int mode = -1;
  bool Known() const { return root >= 0 && root < 12; }
};

bool IsMinorMode(int mode);
// "ionian" ... "locrian"; "UNKNOWN" for any other number.
const char* ModeName(int mode);
// "A", "F#m", ...; "" for no key.
std::string KeyName(const MusicalKey& key);
// 1..12, 0 for no key.
int KeyWheelNumber(const MusicalKey& key);
// 'A' for a minor key, 'B' otherwise.
char KeyLetter(const MusicalKey& key);
// "%d,%c,%d": wheel number, letter, mode; "NONE" for no key.
std::string KeyCodeText(const MusicalKey& key);
// 1..24 (number, + 12 for the letter B), 0 for no key.
int PitchKeyCode(const MusicalKey& key);

}  // namespace vantaro
