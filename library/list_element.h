#pragma once
// One row of a track list: its own text copy of every column (a row loaded
// from a list file shows what was saved, not what the database says now),
// then the fixed fields the list files keep.
//
// Threads: a row is built on a list's worker and handed to the GUI thread,
// which owns it from then on; plain values.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantaro {

enum ListColumn : int {
  kColNumber = 0,
  kColTitle,
  kColArtist,
  kColTempo,
  kColTime,
  kColGenre,
  kColKey,
  kColComment,
  kColAlbum,
  kColTrack,
  kColYear,
  kColPath,
  kListColumns
};

// The attribute name of each column in the list files.
inline constexpr std::array<std::string_view, kListColumns> kColumnKeys = {
    "numb", "titl", "arti", "bpmt", "time", "genr", "pkey", "comm", "albm", "trck", "year", "fnam"};

// A row's `mediatype`: what the row plays, for the track list's icons.
enum RowMediaType : std::int32_t { kRowAudio = 0, kRowVideo = 1, kRowKaraoke = 2 };

struct TZKListElement {
  std::array<std::string, kListColumns> column;
  std::uint32_t marks[4] = {};  // sort scratch; bit 0 main cursor, bit 1 next cursor
  std::int32_t gnr1 = -1, gnr2 = -1, gnr3 = -1;  // ID3 genre numbers; -1 unset
  std::int32_t mediatype = kRowAudio;
  bool isnew = false;
  bool explicit_ = false;
  std::int32_t durationEstimate = 0;  // milliseconds, from the file's headers
  std::int32_t duration_ms = 0;       // milliseconds; 0 unknown
  // What the list's total counts: the database's length, else the headers'.
  std::int32_t KnownDurationMs() const { return duration_ms > 0 ? duration_ms : durationEstimate; }
  std::int32_t highlight = -1;  // colour index; -1 none
  std::string auxstr;           // free text; the schedule in scheduled lists
  std::string aux2;             // never written to a file
  bool selected = false;
  std::uint32_t opaque[3] = {};  // the caller's own values, given at insertion
};

// Texts longer than this (in characters) are cut when a list is saved.
inline constexpr std::size_t kMaxCellCharacters = 4096;

}  // namespace vantaro
