#pragma once
// Stripe files (.vs2): a track's stripe saved so that a later deck load
// needs no analysis. The file is the bare array of 32-bit little-endian
// floats, seconds * 441 of them, named after the track's database key
// (file name and extension, no folder) in the Stripes folder: two tracks of
// one name in two folders share one stripe, as they share one record.
//
// Threads: any but the audio thread (file I/O, the song database).

#include <string>

#include "library/song_record.h"

namespace vantaro {

// "<stripesFolder><key>.vs2"; `stripesFolder` ends with a separator.
std::string StripePath(const std::string& stripesFolder, const std::string& trackPath);

// Writes `count` samples to a temporary file and renames it over the stripe
// file, so that a reader never meets a torn file. False (and "can not write
// stripe" logged) when it cannot be written.
bool SaveStripes(const std::string& stripesFolder, const std::string& trackPath,
                 const float* stripe, int count);

// What LoadStripes found.
struct StripeLoad {
  bool loaded = false;       // the tempo is known: no analysis needed
  bool recordFound = false;  // `record` holds the track's database record
  float bpm = 0;             // the stored tempo, when loaded
  TZKSongRecord record;
};

// A deck load: looks the track up in the song database and, when its gain
// and tempo were analysed and its stripe file holds at least `expected` / 4
// samples, reads up to `expected` samples into `stripe` (the rest of
// `stripe` keeps what it had). `lightMode` (a deck without stripes) takes a
// stored tempo above 10 without reading the file. Each refusal logs its
// reason; the deck then analyses the track itself.
StripeLoad LoadStripes(const std::string& stripesFolder, const std::string& trackPath,
                       float* stripe, int expected, bool lightMode = false);

// True unless the track has a record with a tempo above 10 and its stripe
// file exists: the test before a path is analysed from the queue.
bool NeedsAnalysis(const std::string& stripesFolder, const std::string& trackPath);

}  // namespace vantaro
