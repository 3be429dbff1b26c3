#pragma once
// The db.vtx file form: read through the program's hardened XML reader
// (base/xml_reader.h), written by hand.
//
// File: the UTF-8 mark, the XML declaration, the maker comment, the root
// <songdatabase version="100">, then one line a track:
//   <song name="Track.mp3" bpm="128.0000" duration_ms="245000" ... />
// with the attributes in a fixed order, some written only when set. A name
// that XML cannot hold exactly is followed by name_bytes (base/xml_bytes.h).
//
// Threads: any but the audio thread; no shared state.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "library/song_record.h"

namespace vantaro {

enum class SongFileStatus {
  kLoaded,      // a song database: every readable <song> was handed over
  kMissing,     // no such file
  kUnreadable,  // exists but cannot be read
  kNotParsed,   // no document element: not XML, empty, torn before the root
  kWrongRoot,   // a document element other than songdatabase
  kRefused,     // hostile or too large (see base/xml_reader.h)
};

struct SongFileResult {
  SongFileStatus status = SongFileStatus::kNotParsed;
  int damaged = 0;  // damaged places skipped while reading a song database
};

// Reads a db.vtx and calls `onSong` for each <song> element with a name
// (any element but the document element, at any depth), in file order;
// later records of one name overwrite earlier ones at the receiver. A
// damaged place costs only the element it is in. When the status is not
// kLoaded, records handed over before the fault must be dropped by the
// caller. `source` names the text in log lines.
SongFileResult ReadSongDatabaseText(std::string_view text, const std::string& source,
                                    const std::function<void(TZKSongRecord&&)>& onSong);
SongFileResult ReadSongDatabaseFile(const std::string& path,
                                    const std::function<void(TZKSongRecord&&)>& onSong);

// The whole file for `records`, in the order given.
std::string FormatSongDatabaseFile(const std::vector<TZKSongRecord>& records);

// One <song .../> line with its line end.
void AppendSongLine(std::string& out, const TZKSongRecord& record);

}  // namespace vantaro
