#pragma once
// The list files: `.vtl` (the program's own, read and written) and M3U
// (".m3u" and ".m3u8", read only). docs/LISTS.md describes both.
//
// .vtl: the UTF-8 mark, the XML declaration, the maker comment, then
//   <list version="100" name=".." imgfile=".." overrideduration=".."
//         shuffleonload=".." count="..">
//   <song numb="1" titl=".." ... fnam=".." gnr1=".." ... isnew=".." explicit=".."/>
//   </list>
// read through base/xml_reader.h; `count` is informative only, never
// trusted for sizes.
//
// Threads: any but the audio thread; no shared state.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "library/list_element.h"

namespace vantaro {

enum class ListFileStatus {
  kLoaded,      // a list: every readable <song> is in the rows
  kMissing,     // no such file
  kUnreadable,  // exists but cannot be read
  kNotParsed,   // no document element: empty, not XML, torn before the root
  kWrongRoot,   // a document element other than the one expected
  kRefused,     // hostile or too large (logged by the reader)
};

struct ListFileHeader {
  std::string name = "list";
  std::string imgfile = "img";
  std::int32_t overrideduration = 3600;
  std::int32_t shuffleonload = 0;
};

struct ListFileContents {
  ListFileStatus status = ListFileStatus::kNotParsed;
  int damaged = 0;  // damaged places skipped (a torn or hand-broken file)
  ListFileHeader header;
  std::vector<TZKListElement> rows;
};

// A file the program cannot use whole: the caller moves it aside.
inline bool ListFileIsBroken(const ListFileContents& file) {
  return file.status != ListFileStatus::kLoaded ? file.status != ListFileStatus::kMissing
                                                : file.damaged > 0;
}

const char* ListFileStatusText(ListFileStatus status);

// True for "OK", "YES", "Y" and "TRUE" in any case.
bool ListBoolean(std::string_view value);

// Cuts `text` after `characters` UTF-8 characters (never inside one).
void CutToCharacters(std::string& text, std::size_t characters);

// With `onRow`, each row goes to it as it is read (a large list is never
// held twice) and `rows` stays empty. A caller must drop rows handed over
// when the status is not kLoaded.
using ListRowSink = std::function<void(TZKListElement&&)>;
ListFileContents ReadListText(std::string_view text, const std::string& source,
                              const ListRowSink& onRow = nullptr);
ListFileContents ReadListFile(const std::string& path, const ListRowSink& onRow = nullptr);

// The .vtl text of `rows`, numbered from 1. Texts are cut to
// kMaxCellCharacters in the rows themselves, and an unset gnr1 is derived
// from the genre text first. `auxstr` is written only `withAux`.
std::string FormatListFile(const ListFileHeader& header, const std::vector<TZKListElement*>& rows,
                           bool withAux);

// Writes `text` to `path` atomically, the old file kept as .bak, unless the
// file already holds exactly `text`. False with `error` set on a failure.
bool WriteFileIfChanged(const std::string& path, const std::string& text, std::string* error);

// One M3U entry: a full path, and what an #EXTINF line before it said.
struct M3uEntry {
  std::string path;
  std::string title, artist;
};

// The entries of an M3U text. `folder` (no trailing "/") resolves relative
// lines; `source` names the file in log lines.
std::vector<M3uEntry> ParseM3u(std::string_view text, const std::string& folder,
                               const std::string& source);

// True for ".m3u" and ".m3u8" in any case.
bool IsM3uPath(std::string_view path);

}  // namespace vantaro
