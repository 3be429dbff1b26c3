#pragma once
// The db.vtx file form: reading with libxml2's streaming reader (a 100,000
// track file is read without building a tree), writing by hand.
//
// File: the UTF-8 mark, the XML declaration, the maker comment, the root
// <songdatabase version="100">, then one line a track:
//   <song name="Track.mp3" bpm="128.0000" duration_ms="245000" ... />
// with the attributes in a fixed order, some written only when set.
//
// Threads: any but the audio thread; no shared state.

#include <functional>
#include <string>
#include <vector>

#include "library/song_record.h"

namespace vantaro {

enum class SongFileStatus {
  kLoaded,      // every <song> was handed over
  kMissing,     // no such file
  kUnreadable,  // exists but cannot be opened
  kNotParsed,   // not XML, or no root element
  kWrongRoot,   // a root other than songdatabase
};

// Reads `path` and calls `onSong` for each <song> child of the root that has
// a name, in file order (later records of one name overwrite earlier ones at
// the receiver). When the result is not kLoaded, records handed over before
// the fault must be dropped by the caller.
SongFileStatus ReadSongDatabaseFile(const std::string& path,
                                    const std::function<void(TZKSongRecord&&)>& onSong);

// The record as read from the attributes of one <song> element; `attribute`
// returns null for a missing attribute. Exposed for tests of the reading
// rules.
using SongAttributeLookup = std::function<const char*(const char* name)>;
TZKSongRecord SongFromAttributes(const SongAttributeLookup& attribute);

// The whole file for `records`, in the order given.
std::string FormatSongDatabaseFile(const std::vector<TZKSongRecord>& records);

// One <song .../> line with its line end.
void AppendSongLine(std::string& out, const TZKSongRecord& record);

}  // namespace vantaro
