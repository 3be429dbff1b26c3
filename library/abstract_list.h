#pragma once
// The model behind every track list: user playlists, the fixed lists,
// folder views. It owns its rows, fills them from files on a worker thread
// while the user goes on working, keeps two cursors and a selection, sorts,
// shuffles, searches and filters, and reads and writes its list file. It
// draws nothing.
//
// Rows live in up to three sequences: the shown rows (the only ones the
// cursors and indexes address), the full set kept behind a text search, and
// the full set kept behind a filter. With both, the filter works on the full
// set and the search on what the filter lets through.
//
// Threads: every member on the owner's thread (the GUI thread); the worker
// (library/list_worker.h) builds rows on its own and hands them over
// through DrainFinishedRows.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "library/list_element.h"
#include "library/list_file.h"
#include "library/list_worker.h"

namespace vantaro {

struct ListColumnInfo {
  std::string title;  // from the language strings, set by the window
  int visible = 1;
  int hideable = 1;  // columns 0 to 2 always show
  int hiddenFromMenu = 0;
  int width = 0;
  int minWidth = 30;
  int maxWidth = 300;
  int sortMark = 0;  // 0 none, 1 ascending, 2 descending
  int alignment = 0;
};

// The default width and alignment code of each column.
inline constexpr int kDefaultColumnWidths[kListColumns] = {42, 150, 110, 42, 42, 73,
                                                           42, 100, 100, 42, 42, 200};
inline constexpr int kColumnAlignments[kListColumns] = {2, 0, 0, 2, 2, 0, 0, 0, 0, 2, 2, 0};

// What a row must be to pass a filter. Limits of 0 or less are off; so is
// a negative media type, an empty text and an empty genre list (at most 256
// codes are looked at, up to the first negative one).
struct ListFilter {
  std::vector<int> genres;
  int mediaType = -1;
  int yearFrom = 0, yearTo = 0;
  double tempoFrom = 0, tempoTo = 0;
  std::string artist, album;
};

struct ListLoadResult {
  ListFileStatus status = ListFileStatus::kMissing;
  int damaged = 0;
};

enum SelectMode : int { kSelectOnly = 0, kSelectToggle = 1, kSelectAdd = 2 };

class CZKAbstractList {
 public:
  // Both take (-1, user value, -1).
  using Callback = std::function<void(int, int, int)>;

  CZKAbstractList();
  ~CZKAbstractList();
  CZKAbstractList(const CZKAbstractList&) = delete;
  CZKAbstractList& operator=(const CZKAbstractList&) = delete;

  // The change callback runs after a change of content or order unless a
  // bulk fill is running; the first-item callback when the row at index 0
  // changed.
  void SetCallbacks(Callback onChange, Callback onFirstItem, int userValue);
  // Replaces the first-item callback alone (auto-mix owns it on its list).
  void SetFirstItemCallback(Callback onFirstItem) { onFirstItem_ = std::move(onFirstItem); }
  // Replaces the change callback alone: the views repaint through it while
  // the first-item callback stays with whoever set it (auto-mix).
  void SetChangeCallback(Callback onChange) { onChange_ = std::move(onChange); }

  // Files. LoadListContents reads a .vtl (after Clear when `clear`) or an
  // M3U (its entries are queued on the worker; `clear` does not apply).
  // Failures are logged and leave the list as it was.
  ListLoadResult LoadListContents(const std::string& path, bool clear);
  // Finishes the worker's requests first, then writes every row of the full
  // set atomically (the old file kept as .bak). False with `error` set when
  // the file could not be written.
  bool SaveListContents(const std::string& path, bool withAux, std::string* error = nullptr);

  // Filling. `async`: queue on the worker; otherwise build on this thread.
  // `title`, `artist`: an M3U's text for a file whose tags give neither.
  bool AddFile(const std::string& path, bool async, const std::string& title = {},
               const std::string& artist = {});
  void AddFolder(const std::string& path, bool recursive, bool async);
  // Moves finished rows from the worker into the list; true when one came.
  bool DrainFinishedRows();
  // Waits until the worker has done every request, draining as it goes.
  void FinishPendingWork();
  // True while requests wait or are in work.
  bool Filling();

  // Rows.
  void InsertRow(const TZKListElement& row, int index);
  void AddRowFields(const std::string& title, const std::string& artist, const std::string& genre,
                    const std::string& comment, const std::string& album, const std::string& path,
                    int gnr1, int gnr2, int gnr3, const std::uint32_t opaque[3], int index);
  // Removes the selected rows, or the row at `index` when none is selected;
  // `deleteFile` removes their files from the disk too.
  void DeleteRow(int index, bool deleteFile);
  void MoveRowUp();
  void MoveRowDown();
  void MoveRowTop();
  void MoveRowBottom();
  void SwapRows(int a, int b);
  void SelectRow(int index, int mode);
  void SelectAll(bool off);
  int FirstSelected() const;
  int LastSelected() const;
  int SelectedCount() const { return selectedCount_; }
  TZKListElement* GetRow(int index);
  const TZKListElement* GetRow(int index) const;
  void SetRow(int index, const TZKListElement& row);
  void SetCell(int index, int column, const std::string& text);
  int Count() const { return static_cast<int>(shown_.size()); }
  // Every row, hidden ones too.
  int FullCount() const { return static_cast<int>(FullSet().size()); }

  // Order.
  void SortByColumn(int column, bool descending);
  void Shuffle();
  void StartSearch(const std::string& text);
  void StopSearch();
  void StartFilter(const ListFilter& filter);
  void StopFilter();
  bool Searching() const { return searchActive_; }
  bool Filtering() const { return filterActive_; }

  void CopyFrom(CZKAbstractList& other, bool clearFirst);
  // Drops rows whose file is gone; paths ending in "$" (CD tracks) stay.
  int RemoveMissingFiles();
  // Analysis results for the track `key` (MakeSongKey) reach every row of it.
  void UpdateRowsForSong(const std::string& key, double bpm, std::int32_t durationMs, int pitchKey,
                         const std::string& newKeyText);
  // Writes each shown row's start time (" [sched. HH:MM]") to its auxstr,
  // from now plus `startMs`, each row `offsetMs` shorter than its length.
  void ScheduleRows(std::int32_t offsetMs, std::int64_t startMs);
  void Clear();

  void IterateBegin(bool selectedOnly);
  TZKListElement* IterateNext();

  int MainCursor() const { return maincursor_; }
  int NextCursor() const { return nextcursor_; }
  void SetMainCursor(int index) { maincursor_ = Clamp(index); }
  void SetNextCursor(int index) { nextcursor_ = Clamp(index); }
  double TotalDurationMs() const { return totalDurationMs_; }
  int SortColumn() const { return sortcolumn_; }
  int SortDirection() const { return sortdirection_; }
  // Restores a saved sort state without sorting (the rows are in that order).
  void SetSortMark(int column, bool ascending);

  std::string name = "list";
  std::string imgfile = "img";
  std::int32_t overrideduration = 3600;
  std::int32_t shuffleonload = 0;
  ListColumnInfo columns[kListColumns];
  int sliderposhoriz = -1, dataoffsethoriz = -1, sliderposvert = -1, dataoffsetvert = -1;

 private:
  using Rows = std::vector<TZKListElement*>;

  Rows& FullSet();
  const Rows& FullSet() const;
  int Clamp(int index) const;
  void AppendRow(TZKListElement* row);
  void Queue(ListRequest&& request);
  void OfferOverflow();
  void Changed();
  void ResetSortMark();
  void RecountTotals();
  void ReapplySearch();
  bool PassesSearch(const TZKListElement& row);
  bool PassesFilter(const TZKListElement& row) const;
  void MoveRow(int from, int to);
  void LoadM3u(const std::string& path);

  Callback onChange_, onFirstItem_;
  int userValue_ = -1;

  CZKListWorker worker_;
  std::deque<ListRequest> overflow_;  // requests the full ring refused, oldest first
  int pendingFolders_ = 0;
  bool bulk_ = false;

  Rows shown_, searchSet_, filterSet_;
  int maincursor_ = -1, nextcursor_ = -1;
  int savedMain_ = -1, savedNext_ = -1;
  int selectedCount_ = 0;
  int sortcolumn_ = -1, sortdirection_ = 1;
  bool searchActive_ = false, filterActive_ = false;
  bool searchNew_ = false;
  std::string searchText_;  // folded
  std::string scratch_;     // a folded cell, reused
  ListFilter filter_;
  double totalDurationMs_ = 0;
  const TZKListElement* firstSeen_ = nullptr;
  int iterator_ = 0;
  bool iterateSelected_ = false;
};

}  // namespace vantaro
