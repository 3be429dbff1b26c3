// List files, copies and analysis updates of CZKAbstractList.

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "base/data_file.h"
#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "library/abstract_list.h"
#include "library/list_row.h"
#include "library/song_database.h"
#include "library/song_record.h"

namespace vantaro {
namespace {

bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "" : path.substr(0, slash);
}

const char* LoadFailureText(ListFileStatus status) {
  switch (status) {
    case ListFileStatus::kNotParsed:
      return "XML not parsed successfully";
    case ListFileStatus::kWrongRoot:
      return "XML root node is NOT 'list'";
    case ListFileStatus::kRefused:
      return "file refused";
    default:
      return "file cannot be read";
  }
}

}  // namespace

ListLoadResult CZKAbstractList::LoadListContents(const std::string& path, bool clear) {
  if (!Exists(path)) {
    DebugLog("CZKAbstractList::LoadListContents -- file not found: %s", path.c_str());
    return {ListFileStatus::kMissing, 0};
  }
  if (IsM3uPath(path)) {
    LoadM3u(path);
    return {ListFileStatus::kLoaded, 0};
  }
  if (clear) Clear();
  // Rows arrive one by one; they join the list only when the file is a list.
  std::vector<TZKListElement*> rows;
  ListFileContents file = ReadListFile(
      path, [&rows](TZKListElement&& row) { rows.push_back(new TZKListElement(std::move(row))); });
  if (file.status != ListFileStatus::kLoaded) {
    for (TZKListElement* row : rows) delete row;
    DebugLog("CZKAbstractList::LoadListContents -- %s: %s", LoadFailureText(file.status),
             path.c_str());
    return {file.status, file.damaged};
  }
  imgfile = file.header.imgfile;
  overrideduration = file.header.overrideduration;
  shuffleonload = file.header.shuffleonload;
  for (TZKListElement* row : rows) AppendRow(row);
  RecountTotals();
  ResetSortMark();
  Changed();
  return {file.status, file.damaged};
}

void CZKAbstractList::LoadM3u(const std::string& path) {
  std::string text;
  // An M3U is lines of paths: 16 MB (the plug-in list's limit) is far more
  // than any real one holds, and a FIFO in its place is refused.
  if (ReadXmlFile(path, XmlFileKind::kPluginList, text) != XmlFileStatus::kRead) return;
  for (M3uEntry& entry : ParseM3u(text, FolderOf(path), path)) {
    const bool noFile = !entry.path.empty() && entry.path.back() == '$';
    if (!noFile && !Exists(entry.path)) {
      DebugLog("%s: missing entry %s", path.c_str(), entry.path.c_str());
      continue;
    }
    AddFile(entry.path, true, entry.title, entry.artist);
  }
  ResetSortMark();
  Changed();
}

bool CZKAbstractList::SaveListContents(const std::string& path, bool withAux, std::string* error) {
  FinishPendingWork();
  const ListFileHeader header{name, imgfile, overrideduration, shuffleonload};
  return WriteFileIfChanged(path, FormatListFile(header, FullSet(), withAux), error);
}

void CZKAbstractList::CopyFrom(CZKAbstractList& other, bool clearFirst) {
  StopSearch();
  StopFilter();
  if (clearFirst) Clear();
  for (const TZKListElement* row : other.FullSet()) AppendRow(new TZKListElement(*row));
  overrideduration = other.overrideduration;
  shuffleonload = other.shuffleonload;
  ResetSortMark();
  RecountTotals();
  Changed();
}

int CZKAbstractList::RemoveMissingFiles() {
  int removed = 0;
  for (TZKListElement* row : FullSet()) {
    const std::string& path = row->column[kColPath];
    const bool gone = (path.empty() || path.back() != '$') && !Exists(path);
    row->marks[3] = gone ? 1 : 0;
    removed += gone;
  }
  if (removed == 0) return 0;
  // DeleteRow removes marked rows from every set in one pass.
  for (TZKListElement* row : shown_) row->selected = false;
  Rows doomed;
  for (TZKListElement* row : FullSet())
    if (row->marks[3]) doomed.push_back(row);
  for (Rows* set : {&shown_, &searchSet_, &filterSet_})
    set->erase(std::remove_if(set->begin(), set->end(),
                              [](const TZKListElement* row) { return row->marks[3] == 1; }),
               set->end());
  for (TZKListElement* row : doomed) delete row;
  maincursor_ = Clamp(maincursor_);
  nextcursor_ = Clamp(nextcursor_);
  RecountTotals();
  Changed();
  return removed;
}

void CZKAbstractList::UpdateRowsForSong(const std::string& key, double bpm, std::int32_t durationMs,
                                        int pitchKey, const std::string& newKeyText) {
  bool changed = false;
  for (TZKListElement* row : FullSet()) {
    if (MakeSongKey(row->column[kColPath]) != key) continue;
    changed = true;
    if (bpm > 1.0) row->column[kColTempo] = TempoText(bpm);
    if (durationMs > 0) {
      row->duration_ms = durationMs;
      row->column[kColTime] = TimeText(durationMs);
      if (!newKeyText.empty() && newKeyText[0] != ' ' && newKeyText[0] != '-')
        row->column[kColKey] = newKeyText;
    }
    if (pitchKey != -1) row->durationEstimate = pitchKey;
  }
  if (!changed) return;
  RecountTotals();
  Changed();
}

void CZKAbstractList::ScheduleRows(std::int32_t offsetMs, std::int64_t startMs) {
  const std::int64_t nowMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
  std::int64_t at = nowMs + startMs;
  for (TZKListElement* row : shown_) {
    const std::time_t seconds = static_cast<std::time_t>(at / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::snprintf(text, sizeof text, " [sched. %.2d:%.2d]", local.tm_hour, local.tm_min);
    row->auxstr = text;
    std::int64_t length = row->duration_ms;
    TZKSongRecord record;
    if (length <= 0 && FindSong(MakeSongKey(row->column[kColPath]), record))
      length = record.duration_ms;
    at += std::max<std::int64_t>(0, length) - offsetMs;
  }
  Changed();
}

}  // namespace vantaro
