#pragma once
// Building a list row from a file: its tags (library/tag_reader.h), what
// the song database knows of it (tempo, length, key), and its media class.
//
// Threads: any but the audio thread; the reader belongs to the caller's
// thread.

#include <cstdint>
#include <string>

#include "library/list_element.h"
#include "library/tag_reader.h"

namespace vantaro {

// True for the extensions a list shows (case folded, with the CD track
// forms ending in "$").
bool IsListablePath(const std::string& path);

// Fills `row` from the file `path`. False, with `row` unspecified, when the
// file is missing (and its path does not end in "$") or is not one a list
// shows. `fallbackTitle` and `fallbackArtist` (an M3U's #EXTINF text) stand
// in when the file's tags give neither.
bool BuildRow(const std::string& path, CZKTagReader& reader, TZKListElement& row,
              const std::string& fallbackTitle = {}, const std::string& fallbackArtist = {});

// "128.0", "099.5": tempo text that sorts as text; empty for 0 or less.
std::string TempoText(double bpm);
// "03:25" from milliseconds; empty for 0 or less.
std::string TimeText(std::int32_t milliseconds);

}  // namespace vantaro
