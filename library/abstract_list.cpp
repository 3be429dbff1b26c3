// Rows, cursors, selection and the worker hand-over of CZKAbstractList.
// Order (sort, search, filter) is in abstract_list_order.cpp, files and
// analysis updates in abstract_list_files.cpp.

#include "library/abstract_list.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "library/list_row.h"
#include "library/song_database.h"
#include "library/song_record.h"

namespace vantaro {

CZKAbstractList::CZKAbstractList() {
  for (int c = 0; c < kListColumns; ++c) {
    columns[c].width = kDefaultColumnWidths[c];
    columns[c].alignment = kColumnAlignments[c];
    columns[c].hideable = c > kColArtist ? 1 : 0;
  }
}

CZKAbstractList::~CZKAbstractList() {
  worker_.Stop();
  for (TZKListElement* row : FullSet()) delete row;
}

void CZKAbstractList::SetCallbacks(Callback onChange, Callback onFirstItem, int userValue) {
  onChange_ = std::move(onChange);
  onFirstItem_ = std::move(onFirstItem);
  userValue_ = userValue;
}

CZKAbstractList::Rows& CZKAbstractList::FullSet() {
  return filterActive_ ? filterSet_ : searchActive_ ? searchSet_ : shown_;
}

const CZKAbstractList::Rows& CZKAbstractList::FullSet() const {
  return filterActive_ ? filterSet_ : searchActive_ ? searchSet_ : shown_;
}

int CZKAbstractList::Clamp(int index) const {
  if (index < 0 || shown_.empty()) return -1;
  return std::min(index, Count() - 1);
}

void CZKAbstractList::Changed() {
  if (!bulk_ && onChange_) onChange_(-1, userValue_, -1);
  const TZKListElement* first = shown_.empty() ? nullptr : shown_.front();
  if (first != firstSeen_) {
    firstSeen_ = first;
    if (onFirstItem_) onFirstItem_(-1, userValue_, -1);
  }
}

void CZKAbstractList::ResetSortMark() {
  if (sortcolumn_ >= 0) columns[sortcolumn_].sortMark = 0;
  sortcolumn_ = -1;
}

void CZKAbstractList::SetSortMark(int column, bool ascending) {
  ResetSortMark();
  if (column < 0 || column >= kListColumns) return;
  sortcolumn_ = column;
  sortdirection_ = ascending ? 1 : -1;
  columns[column].sortMark = ascending ? 1 : 2;
}

void CZKAbstractList::RecountTotals() {
  totalDurationMs_ = 0;
  selectedCount_ = 0;
  for (const TZKListElement* row : shown_) {
    totalDurationMs_ += row->KnownDurationMs();
    selectedCount_ += row->selected;
  }
}

// A new row goes to the end of the full set, and shows when it passes what
// is in force.
void CZKAbstractList::AppendRow(TZKListElement* row) {
  row->selected = false;
  FullSet().push_back(row);
  if (filterActive_) {
    if (!PassesFilter(*row)) return;
    if (searchActive_) searchSet_.push_back(row);
  }
  if (searchActive_ && !PassesSearch(*row)) return;
  if (filterActive_ || searchActive_) shown_.push_back(row);
  totalDurationMs_ += row->KnownDurationMs();
}

bool CZKAbstractList::AddFile(const std::string& path, bool async, const std::string& title,
                              const std::string& artist) {
  if (async) {
    Queue({kRequestFile, path, title, artist});
    return true;
  }
  CZKTagReader reader;
  auto* row = new TZKListElement;
  if (!BuildRow(path, reader, *row, title, artist)) {
    delete row;
    return false;
  }
  AppendRow(row);
  ResetSortMark();
  Changed();
  return true;
}

void CZKAbstractList::AddFolder(const std::string& path, bool recursive, bool async) {
  if (recursive || async) {
    // One redraw for the whole folder: the change callback waits for its end.
    ++pendingFolders_;
    bulk_ = true;
    Queue({recursive ? kRequestTree : kRequestFolder, path, {}, {}});
    return;
  }
  CZKTagReader reader;
  ForEachFileInFolder(path, false, nullptr, [&](const std::string& file) {
    auto* row = new TZKListElement;
    if (BuildRow(file, reader, *row))
      AppendRow(row);
    else
      delete row;
  });
  ResetSortMark();
  Changed();
}

void CZKAbstractList::Queue(ListRequest&& request) {
  OfferOverflow();
  // Order is kept: nothing passes requests that already wait here.
  if (!overflow_.empty() || !worker_.TryQueue(std::move(request)))
    overflow_.push_back(std::move(request));
}

void CZKAbstractList::OfferOverflow() {
  while (!overflow_.empty()) {
    if (!worker_.TryQueue(std::move(overflow_.front()))) return;
    overflow_.pop_front();
  }
}

bool CZKAbstractList::DrainFinishedRows() {
  OfferOverflow();
  std::vector<FinishedRow> finished;
  if (worker_.TakeFinished(finished) == 0) return false;
  bool rows = false;
  for (FinishedRow& item : finished) {
    if (item.row) {
      AppendRow(item.row.release());
      rows = true;
    } else if (item.folderDone && --pendingFolders_ <= 0) {
      pendingFolders_ = 0;
      bulk_ = false;
    }
  }
  ResetSortMark();
  Changed();
  return rows;
}

bool CZKAbstractList::Filling() {
  return !overflow_.empty() || !worker_.Idle();
}

void CZKAbstractList::FinishPendingWork() {
  for (;;) {
    DrainFinishedRows();
    if (!Filling()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  DrainFinishedRows();
}

void CZKAbstractList::InsertRow(const TZKListElement& row, int index) {
  auto* copy = new TZKListElement(row);
  copy->selected = false;
  if (index < 0 || index > Count()) index = Count();
  if (searchActive_ || filterActive_) FullSet().push_back(copy);
  if (filterActive_ && searchActive_) searchSet_.push_back(copy);
  shown_.insert(shown_.begin() + index, copy);
  if (maincursor_ >= 0 && index <= maincursor_) ++maincursor_;
  if (nextcursor_ >= 0 && index <= nextcursor_) ++nextcursor_;
  totalDurationMs_ += copy->KnownDurationMs();
  ResetSortMark();
  Changed();
}

void CZKAbstractList::AddRowFields(const std::string& title, const std::string& artist,
                                   const std::string& genre, const std::string& comment,
                                   const std::string& album, const std::string& path, int gnr1,
                                   int gnr2, int gnr3, const std::uint32_t opaque[3], int index) {
  TZKListElement row;
  row.column[kColTitle] = title;
  row.column[kColArtist] = artist;
  row.column[kColGenre] = genre;
  row.column[kColComment] = comment;
  row.column[kColAlbum] = album;
  row.column[kColPath] = path;
  row.gnr1 = gnr1, row.gnr2 = gnr2, row.gnr3 = gnr3;
  for (int i = 0; i < 3; ++i) row.opaque[i] = opaque ? opaque[i] : 0;
  TZKSongRecord record;
  if (FindSong(MakeSongKey(path), record)) {
    row.column[kColTempo] = TempoText(record.bpm);
    row.column[kColTime] = TimeText(record.duration_ms);
    row.duration_ms = std::max(0, record.duration_ms);
  }
  InsertRow(row, index);
}

void CZKAbstractList::DeleteRow(int index, bool deleteFile) {
  Rows doomed;
  if (selectedCount_ > 0) {
    for (TZKListElement* row : shown_)
      if (row->selected) doomed.push_back(row);
  } else if (index >= 0 && index < Count()) {
    doomed.push_back(shown_[index]);
  }
  if (doomed.empty()) return;
  // A cursor stays on its row, or moves to the row after it when its own
  // goes: each removed row before it moves it up by one.
  int mainShift = 0, nextShift = 0;
  for (TZKListElement* row : doomed) {
    const int at = static_cast<int>(std::find(shown_.begin(), shown_.end(), row) - shown_.begin());
    mainShift += at < maincursor_;
    nextShift += at < nextcursor_;
  }
  // One pass over each set, however many rows go.
  for (TZKListElement* row : doomed) row->marks[3] = 1;
  for (Rows* set : {&shown_, &searchSet_, &filterSet_})
    set->erase(std::remove_if(set->begin(), set->end(),
                              [](const TZKListElement* row) { return row->marks[3] == 1; }),
               set->end());
  for (TZKListElement* row : doomed) {
    if (deleteFile) unlink(row->column[kColPath].c_str());
    delete row;
  }
  if (maincursor_ >= 0) maincursor_ = Clamp(maincursor_ - mainShift);
  if (nextcursor_ >= 0) nextcursor_ = Clamp(nextcursor_ - nextShift);
  RecountTotals();
  Changed();
}

void CZKAbstractList::MoveRow(int from, int to) {
  if (from < 0 || from >= Count() || to < 0 || to >= Count() || from == to) return;
  TZKListElement* main = maincursor_ >= 0 ? shown_[maincursor_] : nullptr;
  TZKListElement* next = nextcursor_ >= 0 ? shown_[nextcursor_] : nullptr;
  TZKListElement* moving = shown_[from];
  shown_.erase(shown_.begin() + from);
  shown_.insert(shown_.begin() + to, moving);
  // The cursors follow their rows.
  for (int i = 0; i < Count(); ++i) {
    if (shown_[i] == main) maincursor_ = i;
    if (shown_[i] == next) nextcursor_ = i;
  }
  ResetSortMark();
  Changed();
}

void CZKAbstractList::MoveRowUp() {
  MoveRow(maincursor_, maincursor_ - 1);
}
void CZKAbstractList::MoveRowDown() {
  MoveRow(maincursor_, maincursor_ + 1);
}
void CZKAbstractList::MoveRowTop() {
  MoveRow(maincursor_, 0);
}
void CZKAbstractList::MoveRowBottom() {
  MoveRow(maincursor_, Count() - 1);
}

void CZKAbstractList::SwapRows(int a, int b) {
  if (a < 0 || b < 0 || a >= Count() || b >= Count() || a == b) return;
  std::swap(shown_[a], shown_[b]);
  ResetSortMark();
  Changed();
}

void CZKAbstractList::SelectRow(int index, int mode) {
  if (index < 0 || index >= Count()) return;
  if (mode == kSelectOnly)
    for (TZKListElement* row : shown_) row->selected = false;
  TZKListElement* row = shown_[index];
  row->selected = mode == kSelectToggle ? !row->selected : true;
  RecountTotals();
}

void CZKAbstractList::SelectAll(bool off) {
  for (TZKListElement* row : shown_) row->selected = !off;
  selectedCount_ = off ? 0 : Count();
}

int CZKAbstractList::FirstSelected() const {
  for (int i = 0; i < Count(); ++i)
    if (shown_[i]->selected) return i;
  return -1;
}

int CZKAbstractList::LastSelected() const {
  for (int i = Count() - 1; i >= 0; --i)
    if (shown_[i]->selected) return i;
  return -1;
}

TZKListElement* CZKAbstractList::GetRow(int index) {
  return index >= 0 && index < Count() ? shown_[index] : nullptr;
}

const TZKListElement* CZKAbstractList::GetRow(int index) const {
  return index >= 0 && index < Count() ? shown_[index] : nullptr;
}

void CZKAbstractList::SetRow(int index, const TZKListElement& row) {
  if (TZKListElement* target = GetRow(index)) {
    const bool selected = target->selected;
    *target = row;
    target->selected = selected;
    RecountTotals();
    Changed();
  }
}

void CZKAbstractList::SetCell(int index, int column, const std::string& text) {
  TZKListElement* row = GetRow(index);
  if (!row || column < 0 || column >= kListColumns) return;
  row->column[column] = text;
  if (column == sortcolumn_) ResetSortMark();
  Changed();
}

void CZKAbstractList::Clear() {
  worker_.Stop();
  overflow_.clear();
  pendingFolders_ = 0;
  bulk_ = false;
  for (TZKListElement* row : FullSet()) delete row;
  shown_.clear();
  searchSet_.clear();
  filterSet_.clear();
  searchActive_ = filterActive_ = false;
  maincursor_ = nextcursor_ = savedMain_ = savedNext_ = -1;
  ResetSortMark();
  RecountTotals();
  firstSeen_ = nullptr;
  if (onChange_) onChange_(-1, userValue_, -1);
  if (onFirstItem_) onFirstItem_(-1, userValue_, -1);
}

void CZKAbstractList::IterateBegin(bool selectedOnly) {
  iterator_ = 0;
  iterateSelected_ = selectedOnly;
}

TZKListElement* CZKAbstractList::IterateNext() {
  while (iterator_ < Count()) {
    TZKListElement* row = shown_[iterator_++];
    if (!iterateSelected_ || row->selected) return row;
  }
  return nullptr;
}

}  // namespace vantaro
