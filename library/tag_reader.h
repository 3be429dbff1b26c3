#pragma once
// What a file says of itself: title, artist, genre, key, comment, album,
// track and year, read through TagLib from every tag family it knows (ID3v1,
// ID3v2 and APE on MP3; Vorbis comments in Ogg and FLAC; MP4 atoms; RIFF
// INFO and ID3 chunks in WAV and AIFF; ASF). A file with neither title nor
// artist takes them from its name, split at " - ".
//
// One reader belongs to one list and is reused for every file it builds a
// row of; it has no lock (threads: the list's worker, or the GUI thread when
// a row is built at once; TagLib objects never leave that thread).

#include <cstdint>
#include <string>
#include <string_view>

namespace vantaro {

// Media type of a path by its extension (case folded); the same number is a
// list row's `mediatype` class. 0: not a file the program plays.
enum TagMediaType : int {
  kMediaUnknown = 0,
  kMediaMpeg = 1,  // mp3, cdg, ogg
  kMediaWma = 3,
  kMediaAiff = 4,
  kMediaWav = 5,
  kMediaAu = 6,
  kMediaMp4 = 7,
  kMediaFlac = 8,
  kMediaVideo = 9,
  kMediaCdTrack = 10,
  kMediaNoFile = 11,  // no tags wanted and the path ends in "$"
};

// The field numbers of GetField.
enum TagField : int {
  kTagTitle = 1,
  kTagArtist = 2,
  kTagGenre = 5,
  kTagKey = 6,
  kTagComment = 7,
  kTagAlbum = 8,
  kTagTrack = 9,
  kTagYear = 10,
};

// The media type of `path` by its extension alone.
int MediaTypeOfPath(std::string_view path);

// Lower-case extension of the last path component, without the dot; empty
// when there is none.
std::string LowerExtension(std::string_view path);

class CZKTagReader {
 public:
  CZKTagReader() = default;
  CZKTagReader(const CZKTagReader&) = delete;
  CZKTagReader& operator=(const CZKTagReader&) = delete;

  // Opens `path` (any bytes, UTF-8 or not) and reads its tags when
  // `wantTags`. False when already open, when the path names no file and
  // does not end in "$", or when its extension is not one the program plays.
  // A file TagLib cannot read still opens, with the name's title and artist.
  bool Open(const std::string& path, bool wantTags);

  // Copies field `field` (TagField) into `text` (UTF-8); false when closed or
  // for another number. An absent field gives true and empty text.
  bool GetField(int field, std::string& text) const;

  void Close();

  bool Ready() const { return ready_; }
  int MediaType() const { return mediaType_; }
  // True when title and artist came from the file name, not from tags.
  bool NameParsed() const { return nameParsed_; }
  // Length as the file's headers give it, milliseconds; 0 unknown.
  std::int32_t DurationMs() const { return durationMs_; }

 private:
  void ReadTags(const std::string& tagPath);
  void TitleFromName();

  bool ready_ = false;
  bool nameParsed_ = false;
  int mediaType_ = kMediaUnknown;
  std::string path_;
  std::string title_, artist_, genre_, key_, comment_, album_;
  unsigned track_ = 0, year_ = 0;
  std::int32_t durationMs_ = 0;
};

// Artist and title from a file name "Artist - Title.ext"; without " - ",
// an empty artist and the whole name without extension as title.
void SplitFileName(const std::string& path, std::string& artist, std::string& title);

// Cuts every ", AG# " and "CRC : " mark with the 14 bytes from its start
// (data other programs leave in comments).
std::string CutCommentMarks(std::string text);

// The ID3 genre number of a genre name (case folded), -1 when it has none.
int GenreCodeOfText(std::string_view genre);

}  // namespace vantaro
