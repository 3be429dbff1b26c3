#include "library/list_row.h"

#include <sys/stat.h>

#include <cstdio>

#include "library/pitch_key_text.h"
#include "library/song_database.h"
#include "library/song_record.h"

namespace vantaro {
namespace {

constexpr const char* kListable[] = {"mp3",  "m4a",  "ogg",   "wma",  "aif", "aiff", "flac",
                                     "wav",  "au",   "mp4",   "aac",  "avi", "mov",  "wmv",
                                     "mkv",  "asf",  "mpg",   "mpeg", "mpe", "m3e",  "cda",
                                     "cda$", "aif$", "aiff$", "opus"};

constexpr const char* kVideo[] = {"avi", "mpg", "mov", "m4v",  "mp4",
                                  "asf", "wmv", "mkv", "mpeg", "mpe"};

bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

std::int32_t MediaClassOf(const std::string& path, const std::string& extension) {
  for (const char* video : kVideo)
    if (extension == video) return kRowVideo;
  if (extension == "zip") return kRowKaraoke;
  if (extension == "mp3" && Exists(path.substr(0, path.size() - 3) + "cdg")) return kRowKaraoke;
  return kRowAudio;
}

// Tempo, length and key from the song database; a key the tags give and
// the database lacks is learnt.
void ApplySongRecord(const std::string& path, TZKListElement& row) {
  TZKSongRecord record;
  std::string& key = row.column[kColKey];
  if (!FindSong(MakeSongKey(path), record)) {
    if (const int code = ParsePitchKey(key); code > 0) {
      record.name = MakeSongKey(path);
      record.pitch_key = code;
      StoreSong(record);
    }
    return;
  }
  if (record.bpm > 0) row.column[kColTempo] = TempoText(record.bpm);
  row.duration_ms = record.duration_ms > 0 ? record.duration_ms : 0;
  if (record.duration_ms > 0) row.column[kColTime] = TimeText(record.duration_ms);
  const bool knownKey = record.pitch_key >= 1 && record.pitch_key <= 24;
  if (key.empty() && knownKey) {
    key = PitchKeyText(record.pitch_key);
  } else if (!key.empty() && !knownKey) {
    if (const int code = ParsePitchKey(key); code > 0) {
      record.pitch_key = code;
      StoreSong(record);
    }
  }
}

}  // namespace

bool IsListablePath(const std::string& path) {
  const std::string extension = LowerExtension(path);
  for (const char* listable : kListable)
    if (extension == listable) return true;
  return false;
}

std::string TempoText(double bpm) {
  if (bpm <= 0) return {};
  char text[32];
  std::snprintf(text, sizeof text, bpm >= 100 ? "%.1f" : "0%.1f", bpm);
  return text;
}

std::string TimeText(std::int32_t milliseconds) {
  if (milliseconds <= 0) return {};
  const int seconds = milliseconds / 1000;
  char text[32];
  std::snprintf(text, sizeof text, "%.2d:%.2d", seconds / 60, seconds % 60);
  return text;
}

bool BuildRow(const std::string& path, CZKTagReader& reader, TZKListElement& row,
              const std::string& fallbackTitle, const std::string& fallbackArtist) {
  const bool noFile = !path.empty() && path.back() == '$';
  if (!noFile && !Exists(path)) return false;
  if (!IsListablePath(path)) return false;
  row = TZKListElement{};
  // Formats TagLib reads that the media table does not name (".aac",
  // ".opus") still make rows, with the name's title.
  if (reader.Open(path, true)) {
    for (int field = kTagTitle; field <= kTagYear; ++field)
      reader.GetField(field, row.column[field]);
    if (reader.NameParsed() && (!fallbackTitle.empty() || !fallbackArtist.empty())) {
      row.column[kColTitle] = fallbackTitle;
      row.column[kColArtist] = fallbackArtist;
    }
    row.durationEstimate = reader.DurationMs();
    reader.Close();
  } else if (!fallbackTitle.empty() || !fallbackArtist.empty()) {
    row.column[kColTitle] = fallbackTitle;
    row.column[kColArtist] = fallbackArtist;
  } else {
    SplitFileName(path, row.column[kColArtist], row.column[kColTitle]);
  }
  row.column[kColTempo].clear();  // fields 3 and 4 are not tag fields
  row.column[kColTime].clear();
  row.column[kColPath] = path;
  row.mediatype = MediaClassOf(path, LowerExtension(path));
  ApplySongRecord(path, row);
  // A file the database has not measured shows the length its headers give.
  if (row.column[kColTime].empty()) row.column[kColTime] = TimeText(row.durationEstimate);
  if (row.gnr1 < 0) row.gnr1 = GenreCodeOfText(row.column[kColGenre]);
  return true;
}

}  // namespace vantaro
