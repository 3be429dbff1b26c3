#pragma once
// CZKPlaylist: the track list control. It draws one list (it owns no rows)
// as a grid with a header, two scroll bars, the main and next cursor, the
// selection, the rows' highlight colours and an information strip, and
// turns mouse, wheel and keys into list operations. docs/TRACKLIST.md
// gives the keys and the mouse.
//
// The list is virtual: a paint reads only the rows on screen, starting at
// the first shown row (`top`, the anchor that moves with the scroll), so
// 100,000 rows paint as fast as 20.
//
// The built-in control of action `playlist` is the main view, the one of
// `kv_playlist` shows the auto-mix list; each registers itself
// (list_views.h) while it lives.
//
// Rows leave the control by a left drag tracked with the mouse captured
// (no toolkit drag and drop): on release the window under the pointer is
// asked through RowDropTarget. Files dropped from the desktop are added to
// the shown list.
//
// Threads: GUI thread only.

#include <wx/colour.h>
#include <wx/font.h>

#include <array>
#include <string>
#include <vector>

#include "skin/custom_control.h"
#include "skin/list_views.h"
#include "skin/playlist_geometry.h"

class wxMenu;

namespace vantaro {

// The seven colours of a row's `highlight` 0 to 6; any other value draws
// no background.
inline constexpr const char* kHighlightPalette[] = {"#ff0000", "#ff9600", "#fff600", "#8aff00",
                                                    "#00fcff", "#7e02ff", "#ff0297"};
inline constexpr int kHighlightColours = 7;

// Column menu command ids.
inline constexpr int kMenuSortBlocked = 6001;
inline constexpr int kMenuResizeBlocked = 6002;
inline constexpr int kMenuFirstColumn = 6050;

// What the program tells the lists (set once; each may stay null).
struct PlaylistHooks {
  // The list set keeps the two blocked flags of each list; null pointers
  // when `list` has none (then nothing is blocked).
  struct Blocked {
    int* sort = nullptr;
    int* resize = nullptr;
  };
  Blocked (*blocked)(const CZKAbstractList* list) = nullptr;
  // Loads `path` on `deck`, or on the idle deck by the crossfader for -1,
  // with the program's load procedure (it may ask the user).
  void (*loadRow)(int deck, const std::string& path) = nullptr;
  // The song keys (MakeSongKey) of the tracks on deck A and B, empty when
  // a deck holds none.
  std::array<std::string, 2> (*loadedKeys)() = nullptr;
};
void SetPlaylistHooks(const PlaylistHooks& hooks);
const PlaylistHooks& ThePlaylistHooks();

class CZKPlaylist : public ZKCustomControl, public ListView {
 public:
  CZKPlaylist(wxWindow* parent, int controlId, int deck);
  ~CZKPlaylist() override;

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;
  void OnCaptureLost() override;

  // ListView.
  void ShowList(CZKAbstractList* list) override;
  CZKAbstractList* ShownList() const override { return list_; }
  void RefreshList() override;

  // The first row on screen and the horizontal offset in pixels.
  int Top() const { return top_; }
  int ScrollX() const { return scrollX_; }
  // Scrolls so that `row` is on screen, moving as little as it can.
  void ScrollToRow(int row);
  const PlaylistLayout& Layout() const { return layout_; }
  const PlaylistFrame& Frame() const { return frame_; }
  PlaylistHit HitTest(wxPoint at) const;
  // Left edge of `column` in client pixels (scroll applied); INT_MIN when
  // it is hidden or there is no list.
  int ColumnLeft(int column) const;

  // The column menu (right click on the header): built for the shown list,
  // and a choice applied. A fixed column's entry is there but disabled, and
  // choosing it anyway changes nothing.
  wxMenu* BuildColumnMenu() const;
  void ApplyMenuChoice(int id);

  // Keys (mt_CHAR codes) and list commands.
  void MoveCursor(int delta);
  void CursorTo(int row);
  void SortByHeader(int column);
  // Rows a drag or a load takes: the selected ones, or the cursor's row.
  std::vector<int> RowsToCarry() const;
  // Files dropped on the control from the desktop: added at the end.
  void AddDroppedFiles(const std::vector<std::string>& files);
  // Loads the rows a drag would carry (the first of them) on `deck`, -1
  // the idle deck.
  void LoadCarried(int deck);

 private:
  struct Look {
    wxColour back, headerBorder, headerFill, headerFont, grid, font, fontLoaded, mainCursorFont,
        nextCursorFont, cursor, slider, borderActive, currentDoubleBorder;
    wxFont small;
  };
  enum class Drag { kNone, kPending, kRows, kResize, kVThumb, kHThumb };

  // playlist.cpp
  void Relayout();
  void ClampScroll();
  void SaveScroll();
  void RestoreScroll();
  PlaylistHooks::Blocked BlockedFlags() const;

  // playlist_paint.cpp
  void PaintHeader(wxDC& dc);
  void PaintRows(wxDC& dc);
  void PaintRow(wxDC& dc, int index, int y, const std::array<std::string, 2>& loaded);
  void PaintScrollBars(wxDC& dc);
  void PaintInfo(wxDC& dc);
  void PaintFrames(wxDC& dc);

  // playlist_input.cpp
  void OnDown(const ControlEvent& event);
  void OnUp(const ControlEvent& event);
  void OnMove(const ControlEvent& event);
  void OnDoubleClick(const ControlEvent& event);
  void OnWheel(const ControlEvent& event);
  void OnKey(const ControlEvent& event);
  // True when `code` (a toolkit key code) is one of the list's keys.
  bool OnListKey(int code, int modifiers);
  void PressHeader(const PlaylistHit& hit, const ControlEvent& event);
  void PressRow(const PlaylistHit& hit, const ControlEvent& event);
  void PressBar(bool vertical, wxPoint at);
  void DragBar(wxPoint at);
  void DropRows(wxPoint at);
  void EndDrag();

  CZKAbstractList* list_ = nullptr;
  ListViewRole role_ = ListViewRole::kMain;
  bool registered_ = false;
  Look look_;
  PlaylistFrame frame_;
  PlaylistLayout layout_;
  int top_ = 0;      // first row on screen
  int scrollX_ = 0;  // pixels the columns are moved left
  int hover_ = -1;   // row under the pointer
  Drag drag_ = Drag::kNone;
  wxPoint pressAt_;
  int dragColumn_ = -1, dragStartWidth_ = 0, dragThumbGrab_ = 0;
  bool focused_ = false;
};

// The window under `screenPoint` (a deck's drop zone or waveform, a list
// node), or one of its parents, that takes rows; null when none does.
RowDropTarget* RowDropTargetAt(wxPoint screenPoint);
// A deck's windows take dropped rows through this: the rows' files go to
// the deck's file drop (file_drop.h) from the event loop, so the load
// procedure may ask the user once the drag has ended. False for a deck
// other than 0 or 1, or rows without a file.
bool DeliverRowsToDeck(int deck, CZKAbstractList& source, const std::vector<int>& rows);
// Makes `list` take files dropped from the desktop (text/uri-list).
void AcceptListFileDrops(CZKPlaylist* list);

}  // namespace vantaro
