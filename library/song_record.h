#pragma once
// One track's learnt data, and the key that names it.
//
// A track is known by its file name and extension alone: the folder is not
// part of the key, so two files of one name share a record, and a moved file
// keeps its tempo, cues and stripes. Everything that touches the song
// database goes through MakeSongKey, never through the full path.
//
// Header only (target vantaro_song_record), so that the engine can name the
// record without linking the database.
//
// Threads: any; these are plain values.

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace vantaro {

struct TZKSongRecord {
  static constexpr int kCueCount = 10;
  static constexpr int kLoopCount = 5;

  std::string name;                  // the key, as made by MakeSongKey
  std::int32_t duration_ms = 0;      // track length, milliseconds
  std::int32_t pitch_key = 0;        // musical key 1..24; anything else: unknown
  float bpm = 0;                     // beats a minute; 0: not analysed
  float pgain = 0;                   // perceptual gain, dB
  std::int32_t pgain_valid = 0;      // 1 when pgain was measured
  float eql = 0, eqm = 0, eqh = 0;   // deck equaliser as last left
  std::int32_t currentcue = 0;       // selected cue, from 0
  std::int32_t cue[kCueCount] = {};  // cue points, frames; 0: unset
  std::int32_t cue_in = 0;           // playable part starts, frames; 0: none
  std::int32_t cue_out = 0;          // playable part ends, frames; 0 or less: none
  std::int32_t loop_in[kLoopCount] = {-1, -1, -1, -1, -1};   // frames; negative: unset
  std::int32_t loop_out[kLoopCount] = {-1, -1, -1, -1, -1};  // frames; negative: unset

  bool operator==(const TZKSongRecord&) const = default;
};

// Sets every field to the values of a new record (see the initialisers
// above): empty name, zeros, loops -1.
inline void InitSongRecord(TZKSongRecord& record) {
  record = TZKSongRecord{};
}

// "name.extension" of the last path component, with no folding of case or
// anything else: "/music/Deep/Track.MP3" -> "Track.MP3". A name without an
// extension keeps the dot: "/music/README" -> "README.". A leading dot does
// not start an extension (".hidden" -> ".hidden.").
inline std::string MakeSongKey(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  const std::string_view file = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const std::size_t dot = file.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return std::string(file) + ".";
  return std::string(file);
}

// Milliseconds of `frames` at 44100 Hz, rounded, clamped to 32 bits.
inline std::int32_t FramesToMilliseconds(std::int64_t frames) {
  const double milliseconds = std::round(static_cast<double>(frames) / 44.1);
  if (milliseconds >= std::numeric_limits<std::int32_t>::max())
    return std::numeric_limits<std::int32_t>::max();
  if (milliseconds <= std::numeric_limits<std::int32_t>::min())
    return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(milliseconds);
}

}  // namespace vantaro
