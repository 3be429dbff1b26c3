// Sort, shuffle, text search and filter of CZKAbstractList.

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "library/abstract_list.h"
#include "library/text_fold.h"

namespace vantaro {
namespace {

constexpr std::uint32_t kMainMark = 1u << 0;
constexpr std::uint32_t kNextMark = 1u << 1;
constexpr std::size_t kMaxFilterGenres = 256;

// "2019" -> 2019; text that does not start with a number reads 0.
int LeadingInt(const std::string& text) {
  return std::atoi(text.c_str());
}

double LeadingDouble(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}

}  // namespace

// Every column sorts as text (tempo and time too, so "099.0" sorts beside
// "100.0" by its digits), case-insensitively by the user's collation.
// Stable: rows of equal text keep their order.
void CZKAbstractList::SortByColumn(int column, bool descending) {
  if (column < 0 || column >= kListColumns) return;
  for (TZKListElement* row : shown_) row->marks[0] = 0;
  if (maincursor_ >= 0) shown_[maincursor_]->marks[0] |= kMainMark;
  if (nextcursor_ >= 0) shown_[nextcursor_]->marks[0] |= kNextMark;

  std::vector<std::string> keys(shown_.size());
  for (std::size_t i = 0; i < shown_.size(); ++i) keys[i] = CollationKey(shown_[i]->column[column]);
  std::vector<std::uint32_t> order(shown_.size());
  std::iota(order.begin(), order.end(), 0u);
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return descending ? keys[b] < keys[a] : keys[a] < keys[b];
  });
  Rows sorted(shown_.size());
  for (std::size_t i = 0; i < order.size(); ++i) sorted[i] = shown_[order[i]];
  shown_.swap(sorted);

  for (int i = 0; i < Count(); ++i) {
    if (shown_[i]->marks[0] & kMainMark) maincursor_ = i;
    if (shown_[i]->marks[0] & kNextMark) nextcursor_ = i;
  }
  SetSortMark(column, !descending);
  Changed();
}

// The classic shuffle from the second element on, with rand(): the program
// seeds it once at start-up. The cursors keep their numbers.
void CZKAbstractList::Shuffle() {
  for (std::size_t i = 1; i < shown_.size(); ++i)
    std::swap(shown_[i], shown_[static_cast<std::size_t>(std::rand()) % (i + 1)]);
  ResetSortMark();
  firstSeen_ = nullptr;  // the first-item callback runs whatever came first
  Changed();
}

bool CZKAbstractList::PassesSearch(const TZKListElement& row) {
  if (searchNew_ && row.isnew) return true;
  for (int column : {kColTitle, kColArtist, kColComment, kColAlbum}) {
    FoldCaseInto(row.column[column], scratch_);
    if (scratch_.find(searchText_) != std::string::npos) return true;
  }
  return false;
}

void CZKAbstractList::ReapplySearch() {
  shown_.clear();
  for (TZKListElement* row : searchSet_)
    if (PassesSearch(*row)) shown_.push_back(row);
}

void CZKAbstractList::StartSearch(const std::string& text) {
  if (!searchActive_) {
    savedMain_ = maincursor_;
    savedNext_ = nextcursor_;
    searchSet_.swap(shown_);
    searchActive_ = true;
  }
  searchText_ = FoldCase(text);
  searchNew_ = searchText_ == "new";
  ReapplySearch();
  maincursor_ = nextcursor_ = -1;
  RecountTotals();
  Changed();
}

void CZKAbstractList::StopSearch() {
  if (!searchActive_) return;
  shown_.swap(searchSet_);
  searchSet_.clear();
  searchActive_ = false;
  maincursor_ = Clamp(savedMain_);
  nextcursor_ = Clamp(savedNext_);
  RecountTotals();
  Changed();
}

// The year is read only when a lower year limit is set and the tempo only
// when an upper year limit is set: without one, a tempo limit tests -1.0
// (a lower tempo limit lets no row through, an upper one every row). Saved
// filters of users rely on this behaviour, so it stays.
bool CZKAbstractList::PassesFilter(const TZKListElement& row) const {
  if (filter_.mediaType >= 0 && row.mediatype != filter_.mediaType) return false;
  const int year = filter_.yearFrom > 0 ? LeadingInt(row.column[kColYear]) : -1;
  const double tempo = filter_.yearTo > 0 ? LeadingDouble(row.column[kColTempo]) : -1.0;
  if (filter_.yearFrom > 0 && year < filter_.yearFrom) return false;
  if (filter_.yearTo > 0 && year > filter_.yearTo) return false;
  if (filter_.tempoFrom > 0 && tempo < filter_.tempoFrom) return false;
  if (filter_.tempoTo > 0 && tempo > filter_.tempoTo) return false;
  if (!filter_.artist.empty() && row.column[kColArtist] != filter_.artist) return false;
  if (!filter_.album.empty() && row.column[kColAlbum] != filter_.album) return false;
  if (filter_.genres.empty() || filter_.genres.front() < 0) return true;
  for (std::size_t i = 0; i < filter_.genres.size() && i < kMaxFilterGenres; ++i) {
    const int genre = filter_.genres[i];
    if (genre < 0) break;
    if (row.gnr1 == genre || row.gnr2 == genre || row.gnr3 == genre) return true;
  }
  return false;
}

void CZKAbstractList::StartFilter(const ListFilter& filter) {
  if (!filterActive_) {
    filterSet_.swap(FullSet());  // the full set moves behind the filter
    filterActive_ = true;
  }
  filter_ = filter;
  Rows& passing = searchActive_ ? searchSet_ : shown_;
  passing.clear();
  for (TZKListElement* row : filterSet_)
    if (PassesFilter(*row)) passing.push_back(row);
  if (searchActive_) ReapplySearch();
  maincursor_ = Clamp(maincursor_);
  nextcursor_ = Clamp(nextcursor_);
  RecountTotals();
  Changed();
}

void CZKAbstractList::StopFilter() {
  if (!filterActive_) return;
  filterActive_ = false;
  FullSet().swap(filterSet_);
  filterSet_.clear();
  if (searchActive_) ReapplySearch();
  maincursor_ = Clamp(maincursor_);
  nextcursor_ = Clamp(nextcursor_);
  RecountTotals();
  Changed();
}

}  // namespace vantaro
