// The track list control on a real window with the default skin's list
// element, driven by real pointer and key input (xdotool) and read back
// from the screen: header sorting and resizing with their blocked flags,
// the column menu, the vertical bar rule, the highlight palette, the keys
// and the wheel down to the last of 100,000 rows, and the search box.
#include "skin/playlist.h"

#include <gtest/gtest.h>
#include <wx/menu.h>

#include <memory>
#include <string>

#include "base/xml_reader.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/language.h"
#include "library/abstract_list.h"
#include "skin/attribute_list.h"
#include "skin/edit_text.h"
#include "skin/main_window.h"
#include "skin/playlist_search.h"
#include "skin/skin_style.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

// The default skin's element of `action`, as the loader would hand it over.
ZKAttributeList DefaultSkinElement(const std::string& action) {
  std::string text;
  EXPECT_EQ(ReadXmlFile(VANTARO_BINARY_DIR "/skins/vantaro-1280x800.xml", XmlFileKind::kSkin, text),
            XmlFileStatus::kRead);
  XmlReader reader(text, "skin");
  ZKAttributeList element;
  while (reader.Next()) {
    if (reader.Depth() != 2) continue;
    ZKAttributeList candidate;
    for (int i = 0; i < reader.AttributeCount(); ++i)
      candidate.SetText(std::string(reader.AttributeName(i)), reader.AttributeValue(i));
    if (candidate.GetText("action") == action) element = candidate;
  }
  EXPECT_TRUE(element.Has("width")) << action;
  return element;
}

int g_sortBlocked = 0, g_resizeBlocked = 0;

// Rows "Title 00000".. in a scrambled order, artists the other way round.
void Fill(CZKAbstractList& list, int rows, const std::vector<int>& highlights = {}) {
  for (int i = 0; i < rows; ++i) {
    const int n = static_cast<int>((i * 7919LL) % rows);
    char title[32], artist[32];
    std::snprintf(title, sizeof title, "Title %05d", n);
    std::snprintf(artist, sizeof artist, "Artist #%d", rows - n);
    TZKListElement row;
    row.column[kColTitle] = title;
    row.column[kColArtist] = artist;
    row.column[kColPath] = std::string("/nowhere/") + title + ".wav";
    if (i < static_cast<int>(highlights.size())) row.highlight = highlights[i];
    list.InsertRow(row, -1);
  }
}

struct ListWindow {
  ZKMainWindow* window = new ZKMainWindow(wxPoint(0, 0), wxSize(700, 500), "list test", nullptr);
  CZKAbstractList list;
  CZKPlaylist* view = new CZKPlaylist(window, FindControlAction("playlist"), -1);

  explicit ListWindow(int rows, bool neverHide = false, const std::vector<int>& highlights = {}) {
    // Column titles and menu entries as the program shows them.
    static const bool english =
        LoadLanguageFile(VANTARO_SOURCE_DIR "/languages/english.xml", TheLanguage());
    EXPECT_TRUE(english);
    g_sortBlocked = g_resizeBlocked = 0;
    PlaylistHooks hooks;
    hooks.blocked = [](const CZKAbstractList*) {
      return PlaylistHooks::Blocked{&g_sortBlocked, &g_resizeBlocked};
    };
    SetPlaylistHooks(hooks);
    ZKAttributeList element = DefaultSkinElement("playlist");
    element.SetInt("posx", 10);
    element.SetInt("posy", 50);
    element.SetBool("donteverhidescroll", neverHide);
    view->ApplySkinAttributes(element);
    Fill(list, rows, highlights);
    view->ShowList(&list);
    window->SetWheelLists(view, nullptr, nullptr);
    window->Show();
    test::Pump(200);
  }
  ~ListWindow() {
    SetPlaylistHooks({});
    TheControlTable().Clear();
    window->Destroy();
    test::Pump(50);
  }
  int HeaderY() const { return view->Layout().header.y + view->Layout().header.height / 2; }
  int RowY(int index) const {
    return view->Layout().rows.y + (index - view->Top()) * view->Frame().lineHeight +
           view->Frame().lineHeight / 2;
  }
  // Press at client (x, y), move by (dx, dy), let go: a real drag.
  void Drag(int x, int y, int dx, int dy) {
    const wxPoint from = view->ClientToScreen(wxPoint(x, y));
    const auto at = [](wxPoint p) { return std::to_string(p.x) + " " + std::to_string(p.y); };
    test::RunWhilePumping("xdotool mousemove " + at(from) + " sleep 0.1 mousedown 1 sleep 0.1 " +
                          "mousemove " + at(from + wxPoint(dx / 2, dy / 2)) + " sleep 0.1 " +
                          "mousemove " + at(from + wxPoint(dx, dy)) + " sleep 0.1 mouseup 1");
  }
  wxRect OnScreen(const wxRect& rect) const {
    return wxRect(view->ClientToScreen(rect.GetTopLeft()), rect.GetSize());
  }
};

// Keys as the toolkit hands them to the focused list. (The private X
// server has no window manager, and its key events reach only the
// toolkit's own text boxes; the search test below types for real.)
void Keys(wxWindow* target, std::initializer_list<int> codes) {
  for (int code : codes) {
    wxKeyEvent down(wxEVT_KEY_DOWN);
    down.m_keyCode = code;
    down.SetEventObject(target);
    target->GetEventHandler()->ProcessEvent(down);
    test::Pump(20);
  }
}

TEST(TrackList, HeaderClicksSortAscendingFirstThenAlternateAndNotWhenBlocked) {
  ListWindow w(50);
  const struct {
    int column, blocked;
    int wantColumn, wantMark;
    const char* wantFirstTitle;
  } cases[] = {
      {kColTitle, 0, kColTitle, 1, "Title 00000"},
      {kColTitle, 0, kColTitle, 2, "Title 00049"},
      {kColTitle, 0, kColTitle, 1, "Title 00000"},
      {kColArtist, 0, kColArtist, 1, "Title 00049"},  // artists run the other way
      {kColTitle, 1, kColArtist, 1, "Title 00049"},   // blocked: the order stays
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.column) + (c.blocked ? " blocked" : ""));
    g_sortBlocked = c.blocked;
    test::ClickAt(w.view, w.view->ColumnLeft(c.column) + 10, w.HeaderY());
    test::Pump(600);  // no double-click with the next case
    EXPECT_EQ(w.list.SortColumn(), c.wantColumn);
    EXPECT_EQ(w.list.columns[c.wantColumn].sortMark, c.wantMark);
    EXPECT_EQ(w.list.GetRow(0)->column[kColTitle], c.wantFirstTitle);
  }
}

TEST(TrackList, HeaderEdgeDragsResizeBetween30And300AndNotWhenBlocked) {
  ListWindow w(10);
  const struct {
    int dx, blocked, want;
  } cases[] = {{40, 0, 190}, {400, 0, 300}, {-200, 0, 30}, {60, 1, 150}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.dx) + (c.blocked ? " blocked" : ""));
    w.list.columns[kColArtist].width = 150;
    w.view->RefreshList();
    g_resizeBlocked = c.blocked;
    const int edge = w.view->ColumnLeft(kColArtist) + 150;
    w.Drag(edge, w.HeaderY(), c.dx, 0);
    EXPECT_EQ(w.list.columns[kColArtist].width, c.want);
    EXPECT_EQ(w.list.SortColumn(), -1) << "a drag on the edge is not a sort";
    test::Pump(600);
  }
}

TEST(TrackList, TheColumnMenuDisablesTheFixedColumnsAndRefusesToHideThem) {
  ListWindow w(10);
  std::unique_ptr<wxMenu> menu(w.view->BuildColumnMenu());
  for (int c = 0; c < kListColumns; ++c)
    EXPECT_EQ(menu->IsEnabled(kMenuFirstColumn + c), c > kColArtist) << c;
  const int wideBefore = w.view->Layout().contentWidth;
  const struct {
    int id, wantVisible1, wantVisible5, wantSortBlocked;
  } cases[] = {
      {kMenuFirstColumn + kColTitle, 1, 1, 0},  // hiding the title is refused
      {kMenuFirstColumn + kColGenre, 1, 0, 0},
      {kMenuSortBlocked, 1, 0, 1},
      {kMenuFirstColumn + kColGenre, 1, 1, 1},
  };
  for (const auto& c : cases) {
    w.view->ApplyMenuChoice(c.id);
    EXPECT_EQ(w.list.columns[kColTitle].visible, c.wantVisible1) << c.id;
    EXPECT_EQ(w.list.columns[kColGenre].visible, c.wantVisible5) << c.id;
    EXPECT_EQ(g_sortBlocked, c.wantSortBlocked) << c.id;
    if (!c.wantVisible5) {
      EXPECT_EQ(w.view->Layout().contentWidth, wideBefore - w.list.columns[kColGenre].width);
    }
  }
  menu.reset(w.view->BuildColumnMenu());
  EXPECT_TRUE(menu->IsChecked(kMenuSortBlocked));
}

TEST(TrackList, TheVerticalBarHidesWhenAllRowsFitUnlessNeverHidden) {
  // The rows that fit whole, from the skin's sizes.
  int fit = 0;
  {
    ListWindow probe(0);
    fit = probe.view->Layout().fullRows;
  }
  ASSERT_GT(fit, 2);
  const struct {
    int rows;
    bool neverHide, wantBar;
  } cases[] = {{0, false, false},      {3, false, false}, {fit, false, false},
               {fit + 1, false, true}, {3, true, true},   {0, true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.rows) + (c.neverHide ? " never hide" : ""));
    ListWindow w(c.rows, c.neverHide);
    EXPECT_EQ(w.view->Layout().vbarShown, c.wantBar);
    // On screen: the bar's strip at the right of the rows is the bar's
    // colours only when it shows (else row background and text).
    const PlaylistLayout& layout = w.view->Layout();
    const wxRect strip(w.view->width - w.view->Frame().sliderHeight, layout.rows.y,
                       w.view->Frame().sliderHeight, layout.rows.height);
    const wxImage shot = test::Screenshot();
    const ZKAttributeList skin = DefaultSkinElement("playlist");
    const int barPixels =
        test::CountColour(shot, w.OnScreen(strip), ParseSkinColour(skin.GetText("gridcolor"))) +
        test::CountColour(shot, w.OnScreen(strip), ParseSkinColour(skin.GetText("slidercolor")));
    const int area = strip.width * strip.height;
    if (c.wantBar)
      EXPECT_GT(barPixels, area * 9 / 10);
    else
      EXPECT_LT(barPixels, area / 2);
  }
}

TEST(TrackList, HighlightPicksFromThePaletteAndAValuePastItDrawsNone) {
  const std::vector<int> highlights = {0, 3, 6, 7, -1, 1000, -5};
  ListWindow w(static_cast<int>(highlights.size()), false, highlights);
  const wxImage shot = test::Screenshot();
  for (size_t i = 0; i < highlights.size(); ++i) {
    const int h = highlights[i];
    SCOPED_TRACE("highlight " + std::to_string(h));
    const wxRect band =
        w.OnScreen(wxRect(0, w.RowY(static_cast<int>(i)) - 4, w.view->Layout().rows.width, 8));
    int palette = 0;
    for (const char* colour : kHighlightPalette)
      palette += test::CountColour(shot, band, wxColour(colour));
    if (h >= 0 && h < kHighlightColours)
      EXPECT_GT(test::CountColour(shot, band, wxColour(kHighlightPalette[h])),
                band.width * band.height / 2);
    else
      EXPECT_EQ(palette, 0);
  }
}

TEST(TrackList, KeysAndTheWheelReachTheLastOf100000RowsAndStopThere) {
  constexpr int kRows = 100000;
  ListWindow w(kRows);
  const int fit = w.view->Layout().fullRows;
  const int lastTop = kRows - fit;
  test::ClickAt(w.view, 60, w.RowY(2));  // focus and cursor on row 2
  ASSERT_EQ(w.list.MainCursor(), 2);
  const struct {
    std::initializer_list<int> keys;
    int wantCursor, wantTop;
  } cases[] = {
      {{WXK_DOWN}, 3, 0},
      {{WXK_PAGEDOWN}, 3 + fit - 1, 3},
      {{WXK_END}, kRows - 1, lastTop},
      {{WXK_DOWN}, kRows - 1, lastTop},  // nothing past the end
      {{WXK_HOME}, 0, 0},
      {{WXK_UP}, 0, 0},
      {{WXK_END, WXK_PAGEUP}, kRows - fit, lastTop},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(*c.keys.begin());
    Keys(w.view, c.keys);
    EXPECT_EQ(w.list.MainCursor(), c.wantCursor);
    EXPECT_EQ(w.view->Top(), c.wantTop);
  }
  // The wheel: down at the end stays, one notch up goes three rows back.
  for (int button : {5, 5, 4}) test::ClickAt(w.view, 60, w.RowY(w.view->Top() + 1), button);
  EXPECT_EQ(w.view->Top(), lastTop - 3);
  test::ClickAt(w.view, 60, w.RowY(w.view->Top() + 1), 5, 4);
  EXPECT_EQ(w.view->Top(), lastTop);
  // The last row is drawn under the cursor colour at the bottom.
  Keys(w.view, {WXK_END});
  const wxImage shot = test::Screenshot();
  const wxRect lastBand = w.OnScreen(wxRect(0, w.RowY(kRows - 1) - 3, 40, 6));
  const ZKAttributeList skin = DefaultSkinElement("playlist");
  EXPECT_GT(test::CountColour(shot, lastBand, ParseSkinColour(skin.GetText("cursorcolor"))),
            lastBand.width * lastBand.height / 3);
  // The thumb dragged to the top brings the first row back.
  const wxRect bar = w.view->Layout().vbar;
  w.Drag(bar.x + bar.width / 2, bar.GetBottom() - 4, 0, -bar.height);
  EXPECT_EQ(w.view->Top(), 0);
}

TEST(TrackList, TheSearchBoxFiltersOnEveryKeyAndEscapeRestoresTheCursors) {
  ListWindow w(100);
  auto* box = new CZKEditText(w.window, FindControlAction("et_search"), -1);
  ZKAttributeList element = DefaultSkinElement("et_search");
  element.SetInt("posx", 10);
  element.SetInt("posy", 10);
  box->ApplySkinAttributes(element);
  ConnectSearchBox(box);
  w.list.SetMainCursor(40);
  w.list.SetNextCursor(45);
  test::Pump(200);
  test::Click(box);
  const struct {
    const char* xdotool;
    int wantRows, wantMain, wantNext;
  } cases[] = {
      {"type 0004", 11, -1, -1},  // Title 00004, 00040 .. 00049
      {"type 2", 1, -1, -1},        {"type x", 0, -1, -1},
      {"key BackSpace", 1, -1, -1}, {"key Escape", 100, 40, 45},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.xdotool);
    test::RunWhilePumping(std::string("xdotool ") + c.xdotool);
    EXPECT_EQ(w.list.Count(), c.wantRows);
    EXPECT_EQ(w.list.MainCursor(), c.wantMain);
    EXPECT_EQ(w.list.NextCursor(), c.wantNext);
  }
  EXPECT_TRUE(box->GetValue().empty());
  EXPECT_FALSE(w.list.Searching());
}

}  // namespace
}  // namespace vantaro
