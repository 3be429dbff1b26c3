// The list model without files: order, search, filter and their stacking,
// cursors through edits, and the list file seen through the model.

#include "library/abstract_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <string>
#include <vector>

#include "library/song_database.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// A row of one second; the path is made of the title.
TZKListElement MakeRow(const char* title, const char* artist = "", const char* tempo = "",
                       const char* year = "", int gnr1 = -1, int mediatype = 0) {
  TZKListElement row;
  row.column[kColTitle] = title;
  row.column[kColArtist] = artist;
  row.column[kColTempo] = tempo;
  row.column[kColYear] = year;
  row.column[kColPath] = std::string("/m/") + title + ".mp3";
  row.gnr1 = gnr1;
  row.mediatype = mediatype;
  row.duration_ms = 1000;
  return row;
}

void Fill(CZKAbstractList& list, const std::vector<TZKListElement>& rows) {
  for (const TZKListElement& row : rows) list.InsertRow(row, -1);
}

std::string Titles(const CZKAbstractList& list) {
  std::string titles;
  for (int i = 0; i < list.Count(); ++i)
    titles += (i ? "," : "") + list.GetRow(i)->column[kColTitle];
  return titles;
}

TEST(ListOrderTest, SortIsCaseInsensitiveStableTextAndCursorsFollow) {
  std::setlocale(LC_COLLATE, "C");
  CZKAbstractList list;
  Fill(list, {MakeRow("beta", "", "120.0"), MakeRow("Alpha", "", "099.0"),
              MakeRow("zeta", "", "7.5"), MakeRow("alpha", "", "100.0")});
  list.SetMainCursor(0);  // beta
  list.SetNextCursor(2);  // zeta
  list.SortByColumn(kColTitle, false);
  EXPECT_EQ(Titles(list), "Alpha,alpha,beta,zeta");
  EXPECT_EQ(list.GetRow(list.MainCursor())->column[kColTitle], "beta");
  EXPECT_EQ(list.GetRow(list.NextCursor())->column[kColTitle], "zeta");
  EXPECT_EQ(list.columns[kColTitle].sortMark, 1);
  list.SortByColumn(kColTitle, true);
  EXPECT_EQ(Titles(list), "zeta,beta,Alpha,alpha");  // equal texts keep their order
  EXPECT_EQ(list.columns[kColTitle].sortMark, 2);
  // Tempo sorts as text: the leading zero puts 99 before 100, 7.5 last.
  list.SortByColumn(kColTempo, false);
  EXPECT_EQ(Titles(list), "Alpha,alpha,beta,zeta");
  EXPECT_EQ(list.columns[kColTitle].sortMark, 0);
  // Any later change of order clears the mark.
  list.SwapRows(0, 1);
  EXPECT_EQ(list.SortColumn(), -1);
  EXPECT_EQ(list.columns[kColTempo].sortMark, 0);
}

// The fold is the program's own: it works under LANG=C.
TEST(ListOrderTest, SearchFoldsEveryScriptAndRestores) {
  std::setlocale(LC_ALL, "C");
  CZKAbstractList list;
  Fill(list, {MakeRow("ÉTÉ INDIEN"), MakeRow("Plain", "ΣΟΦΊΑ"), MakeRow("x"), MakeRow("y"),
              MakeRow("Genre only")});
  list.GetRow(2)->column[kColAlbum] = "ЁЛКА Œuvre";
  list.GetRow(3)->column[kColComment] = "ŁÓDŹ note";
  list.GetRow(3)->isnew = true;
  list.GetRow(4)->column[kColGenre] = "été";  // genre is not searched
  list.SetMainCursor(3);
  const struct {
    const char* text;
    const char* shown;
  } cases[] = {{"été", "ÉTÉ INDIEN"}, {"σοφία", "Plain"}, {"ёлка", "x"}, {"łódź", "y"},
               {"new", "y"},          {"Œ", "x"},         {"zzz", ""}};
  for (const auto& c : cases) {
    list.StartSearch(c.text);
    EXPECT_EQ(Titles(list), c.shown) << c.text;
    EXPECT_EQ(list.MainCursor(), -1);
    EXPECT_EQ(list.TotalDurationMs(), 1000.0 * list.Count());
  }
  list.StopSearch();
  EXPECT_EQ(list.Count(), 5);
  EXPECT_EQ(list.MainCursor(), 3);
  EXPECT_EQ(list.TotalDurationMs(), 5000.0);
}

ListFilter Limits(int mediaType, int yearFrom, int yearTo, double tempoFrom, double tempoTo,
                  const char* artist = "", std::vector<int> genres = {}) {
  ListFilter filter;
  filter.mediaType = mediaType;
  filter.yearFrom = yearFrom, filter.yearTo = yearTo;
  filter.tempoFrom = tempoFrom, filter.tempoTo = tempoTo;
  filter.artist = artist;
  filter.genres = std::move(genres);
  return filter;
}

TEST(ListOrderTest, FilterKeepsTheCrossedYearAndTempoGuards) {
  CZKAbstractList list;
  Fill(list,
       {MakeRow("a", "Ann", "125.0", "1999", 18, 0), MakeRow("b", "Bob", "099.0", "2005", 4, 1),
        MakeRow("c", "Ann", "140.0", "2012", -1, 0)});
  const struct {
    const char* what;
    ListFilter filter;
    const char* shown;
  } cases[] = {
      {"nothing set", Limits(-1, 0, 0, 0, 0), "a,b,c"},
      {"media type", Limits(1, 0, 0, 0, 0), "b"},
      {"year from", Limits(-1, 2000, 0, 0, 0), "b,c"},
      {"year to alone reads no year", Limits(-1, 0, 2000, 0, 0), "a,b,c"},
      {"tempo from without year to tests -1", Limits(-1, 0, 0, 100, 0), ""},
      {"tempo to without year to tests -1", Limits(-1, 0, 0, 0, 130), "a,b,c"},
      {"tempo with year to", Limits(-1, 0, 3000, 100, 130), "a"},
      {"artist exact", Limits(-1, 0, 0, 0, 0, "Ann"), "a,c"},
      {"artist is not a part", Limits(-1, 0, 0, 0, 0, "An"), ""},
      {"genres", Limits(-1, 0, 0, 0, 0, "", {4, 18}), "a,b"},
      {"genres end at a negative code", Limits(-1, 0, 0, 0, 0, "", {-1, 4}), "a,b,c"},
      {"genres after the end", Limits(-1, 0, 0, 0, 0, "", {7, -1, 4}), ""},
  };
  for (const auto& c : cases) {
    list.StartFilter(c.filter);
    EXPECT_EQ(Titles(list), c.shown) << c.what;
  }
  list.StopFilter();
  EXPECT_EQ(Titles(list), "a,b,c");
}

// Search and filter in either order; rows loaded meanwhile join the full
// set and show only when they pass both; a save writes the full set.
TEST(ListOrderTest, SearchAndFilterStackAndSaveWritesHiddenRows) {
  test::TempDir dir;
  CZKAbstractList list;
  Fill(list, {MakeRow("Red one", "Ann"), MakeRow("Red two", "Bob"), MakeRow("Blue", "Ann")});
  list.StartSearch("red");
  list.StartFilter(Limits(-1, 0, 0, 0, 0, "Ann"));
  EXPECT_EQ(Titles(list), "Red one");

  CZKAbstractList source;
  Fill(source, {MakeRow("Red three", "Ann"), MakeRow("Red four", "Bob")});
  ASSERT_TRUE(source.SaveListContents(dir.File("more.vtl"), false));
  list.LoadListContents(dir.File("more.vtl"), false);
  EXPECT_EQ(Titles(list), "Red one,Red three");

  ASSERT_TRUE(list.SaveListContents(dir.File("all.vtl"), false));
  EXPECT_EQ(ReadListFile(dir.File("all.vtl")).rows.size(), 5u);

  list.StopSearch();
  EXPECT_EQ(Titles(list), "Red one,Blue,Red three");
  list.StartSearch("two");
  EXPECT_EQ(Titles(list), "");
  list.StopFilter();
  EXPECT_EQ(Titles(list), "Red two");
  list.StopSearch();
  EXPECT_EQ(list.Count(), 5);
}

TEST(ListEditTest, CursorsThroughInsertDeleteAndMoves) {
  CZKAbstractList list;
  EXPECT_EQ(list.MainCursor(), -1);
  list.SetMainCursor(3);
  EXPECT_EQ(list.MainCursor(), -1);  // an empty list holds -1
  Fill(list, {MakeRow("a"), MakeRow("b"), MakeRow("c"), MakeRow("d")});
  list.SetMainCursor(9);
  EXPECT_EQ(list.MainCursor(), 3);  // clamped
  list.SetMainCursor(2);
  list.SetNextCursor(3);
  list.InsertRow(MakeRow("new"), 2);  // at the cursor: shifts it
  EXPECT_EQ(list.GetRow(list.MainCursor())->column[kColTitle], "c");
  list.InsertRow(MakeRow("end"), -7);
  EXPECT_EQ(Titles(list), "a,b,new,c,d,end");

  list.MoveRowUp();  // c over new; the next cursor stays on d
  EXPECT_EQ(Titles(list), "a,b,c,new,d,end");
  EXPECT_EQ(list.GetRow(list.NextCursor())->column[kColTitle], "d");
  list.MoveRowTop();
  list.SetMainCursor(4);  // d
  list.MoveRowBottom();
  EXPECT_EQ(Titles(list), "c,a,b,new,end,d");
  EXPECT_EQ(list.GetRow(list.NextCursor())->column[kColTitle], "d");

  list.SelectRow(0, kSelectOnly);
  list.SelectRow(3, kSelectAdd);
  list.SelectRow(4, kSelectToggle);
  list.SelectRow(4, kSelectToggle);
  EXPECT_EQ(list.SelectedCount(), 2);
  EXPECT_EQ(list.FirstSelected(), 0);
  EXPECT_EQ(list.LastSelected(), 3);
  list.DeleteRow(1, false);  // the selection wins over the index
  EXPECT_EQ(Titles(list), "a,b,end,d");
  EXPECT_EQ(list.GetRow(list.MainCursor())->column[kColTitle], "d");
  EXPECT_EQ(list.TotalDurationMs(), 4000.0);
  list.DeleteRow(3, false);  // the cursor's own row: it stays in range
  EXPECT_EQ(list.MainCursor(), 2);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.MainCursor(), -1);
  EXPECT_EQ(list.NextCursor(), -1);
}

TEST(ListEditTest, ShuffleCopyAndCallbacks) {
  CZKAbstractList list;
  int changes = 0, firsts = 0;
  list.SetCallbacks([&](int, int user, int) { changes += user; }, [&](int, int, int) { ++firsts; },
                    1);
  for (const char* title : {"a", "b", "c", "d", "e", "f", "g", "h"})
    list.InsertRow(MakeRow(title), -1);
  EXPECT_EQ(changes, 8);
  EXPECT_EQ(firsts, 1);  // only the first insert changed row 0
  list.SetMainCursor(5);
  std::srand(3);
  list.Shuffle();
  std::string sorted = Titles(list);
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, ",,,,,,,abcdefgh");
  EXPECT_NE(Titles(list), "a,b,c,d,e,f,g,h");
  EXPECT_EQ(list.MainCursor(), 5);
  EXPECT_EQ(firsts, 2);

  list.overrideduration = 77;
  list.StartSearch("a");
  CZKAbstractList copy;
  copy.CopyFrom(list, true);
  EXPECT_EQ(copy.Count(), 8);  // hidden rows too
  EXPECT_EQ(copy.overrideduration, 77);
}

TEST(ListEditTest, AnalysisReachesEveryListAndMissingFilesGo) {
  test::TempDir dir;
  test::WriteFile(dir.File("here.mp3"), "x");
  CZKAbstractList first, second;
  TZKListElement row = MakeRow("t");
  row.column[kColPath] = "/elsewhere/Track.mp3";
  first.InsertRow(row, -1);
  row.column[kColPath] = "/other/Track.mp3";  // one key, two folders
  second.InsertRow(row, -1);
  row.duration_ms = 0;  // the headers' length counts until the database knows
  row.durationEstimate = 7000;
  first.InsertRow(row, -1);
  EXPECT_EQ(first.TotalDurationMs(), 1000.0 + 7000.0);
  first.DeleteRow(0, false);
  second.StartSearch("zzz");  // hidden rows are updated too
  for (CZKAbstractList* list : {&first, &second})
    list->UpdateRowsForSong("Track.mp3", 99.5, 200000, -1, "8A");
  second.StopSearch();
  for (CZKAbstractList* list : {&first, &second}) {
    EXPECT_EQ(list->GetRow(0)->column[kColTempo], "099.5");
    EXPECT_EQ(list->GetRow(0)->column[kColTime], "03:20");
    EXPECT_EQ(list->GetRow(0)->column[kColKey], "8A");
    EXPECT_EQ(list->TotalDurationMs(), 200000.0);
  }

  row.column[kColPath] = dir.File("here.mp3");
  first.InsertRow(row, -1);
  row.column[kColPath] = "/cd/Track01.cda$";
  first.InsertRow(row, -1);
  EXPECT_EQ(first.RemoveMissingFiles(), 1);
  EXPECT_EQ(first.Count(), 2);
  EXPECT_EQ(first.GetRow(1)->column[kColPath], "/cd/Track01.cda$");
}

TEST(ListEditTest, ScheduleWritesStartTimes) {
  CZKAbstractList list;
  Fill(list, {MakeRow("a"), MakeRow("b")});
  list.GetRow(0)->duration_ms = 30 * 60000;
  list.ScheduleRows(0, 0);
  const std::string first = list.GetRow(0)->auxstr, second = list.GetRow(1)->auxstr;
  ASSERT_EQ(first.size(), std::string(" [sched. 00:00]").size());
  const int a = std::stoi(first.substr(9, 2)) * 60 + std::stoi(first.substr(12, 2));
  const int b = std::stoi(second.substr(9, 2)) * 60 + std::stoi(second.substr(12, 2));
  EXPECT_EQ((b - a + 24 * 60) % (24 * 60), 30);
}

}  // namespace
}  // namespace vantaro
