// Mouse, wheel and keys of the track list. Every press that starts a
// gesture (a row drag, a column resize, a scroll thumb) captures the mouse
// until the release, so the gesture ends wherever the pointer is let go.
#include <wx/app.h>
#include <wx/menu.h>
#include <wx/window.h>

#include <algorithm>
#include <cstdlib>

#include "base/debug_log.h"
#include "library/abstract_list.h"
#include "skin/playlist.h"

namespace vantaro {
namespace {

// Pixels the pointer must travel with the button held before rows drag.
constexpr int kDragStart = 5;
// Rows one wheel notch (120 units of rotation) scrolls.
constexpr int kWheelRows = 3;
constexpr int kWheelNotch = 120;

}  // namespace

void CZKPlaylist::OnControlEvent(const ControlEvent& event) {
  switch (event.kind) {
    case mt_DOWN:
      OnDown(event);
      break;
    case mt_UP:
      OnUp(event);
      break;
    case mt_MOVE:
      OnMove(event);
      break;
    case mt_DBLCLICK:
      OnDoubleClick(event);
      break;
    case mt_WHEEL:
      OnWheel(event);
      break;
    case mt_CHAR:
      OnKey(event);
      break;
    case mt_STEP:
      // A key bound to the list: its first key goes down the list.
      MoveCursor(event.code == 0 ? 1 : -1);
      break;
    case mt_LEAVE:
      hover_ = -1;
      break;
    default:
      break;
  }
}

void CZKPlaylist::OnDown(const ControlEvent& event) {
  SetFocus();
  const wxPoint at(event.x, event.y);
  const PlaylistHit hit = HitTest(at);
  if (event.button == kButtonRight) {
    if (hit.zone == PlaylistZone::kHeader || hit.zone == PlaylistZone::kHeaderEdge) {
      wxMenu* menu = BuildColumnMenu();
      const int chosen = GetPopupMenuSelectionFromUser(*menu, at);
      delete menu;
      if (chosen != wxID_NONE) ApplyMenuChoice(chosen);
    }
    return;
  }
  if (event.button != kButtonLeft || !list_) return;
  switch (hit.zone) {
    case PlaylistZone::kHeader:
    case PlaylistZone::kHeaderEdge:
      PressHeader(hit, event);
      break;
    case PlaylistZone::kRow:
      PressRow(hit, event);
      break;
    case PlaylistZone::kVBar:
      PressBar(true, at);
      break;
    case PlaylistZone::kHBar:
      PressBar(false, at);
      break;
    default:
      break;
  }
  if (drag_ != Drag::kNone && !HasCapture()) CaptureMouse();
}

void CZKPlaylist::PressHeader(const PlaylistHit& hit, const ControlEvent& event) {
  if (hit.zone == PlaylistZone::kHeaderEdge) {
    const PlaylistHooks::Blocked blocked = BlockedFlags();
    if (blocked.resize && *blocked.resize) return;
    drag_ = Drag::kResize;
    dragColumn_ = hit.column;
    dragStartWidth_ = list_->columns[hit.column].width;
    pressAt_ = wxPoint(event.x, event.y);
    return;
  }
  SortByHeader(hit.column);
}

void CZKPlaylist::PressRow(const PlaylistHit& hit, const ControlEvent& event) {
  if (event.modifiers & kModControl) {
    list_->SelectRow(hit.row, kSelectToggle);
  } else if ((event.modifiers & kModShift) && list_->MainCursor() >= 0) {
    const int from = std::min(hit.row, list_->MainCursor());
    const int to = std::max(hit.row, list_->MainCursor());
    list_->SelectRow(from, kSelectOnly);
    for (int i = from + 1; i <= to; ++i) list_->SelectRow(i, kSelectAdd);
  } else if (!list_->GetRow(hit.row)->selected || list_->SelectedCount() <= 1) {
    // A press on a selected row keeps the selection: it may start a drag.
    list_->SelectRow(hit.row, kSelectOnly);
  }
  list_->SetMainCursor(hit.row);
  drag_ = Drag::kPending;
  pressAt_ = wxPoint(event.x, event.y);
  Redraw();
}

void CZKPlaylist::PressBar(bool vertical, wxPoint at) {
  const int rows = list_->Count();
  const wxRect& bar = vertical ? layout_.vbar : layout_.hbar;
  const int along = vertical ? at.y - bar.y : at.x - bar.x;
  const ThumbSpan thumb =
      vertical ? ScrollThumb(bar.height, rows, layout_.fullRows, top_)
               : ScrollThumb(bar.width, layout_.contentWidth, layout_.rows.width, scrollX_);
  if (thumb.length == 0) return;
  if (along >= thumb.offset && along < thumb.offset + thumb.length) {
    drag_ = vertical ? Drag::kVThumb : Drag::kHThumb;
    dragThumbGrab_ = along - thumb.offset;
    return;
  }
  // A press beside the thumb pages towards the pointer.
  const int sign = along < thumb.offset ? -1 : 1;
  if (vertical)
    top_ += sign * std::max(layout_.fullRows - 1, 1);
  else
    scrollX_ += sign * std::max(layout_.rows.width - 20, 20);
  ClampScroll();
  Redraw();
}

void CZKPlaylist::DragBar(wxPoint at) {
  if (drag_ == Drag::kVThumb) {
    const wxRect& bar = layout_.vbar;
    top_ = ScrollFirstForThumb(bar.height, list_->Count(), layout_.fullRows,
                               at.y - bar.y - dragThumbGrab_);
  } else {
    const wxRect& bar = layout_.hbar;
    scrollX_ = ScrollFirstForThumb(bar.width, layout_.contentWidth, layout_.rows.width,
                                   at.x - bar.x - dragThumbGrab_);
  }
  ClampScroll();
  Redraw();
}

void CZKPlaylist::OnMove(const ControlEvent& event) {
  const wxPoint at(event.x, event.y);
  if (!list_) return;
  switch (drag_) {
    case Drag::kPending:
      if (std::abs(at.x - pressAt_.x) + std::abs(at.y - pressAt_.y) >= kDragStart) {
        drag_ = Drag::kRows;
        SetCursor(wxCursor(wxCURSOR_HAND));
      }
      return;
    case Drag::kResize: {
      ListColumnInfo& column = list_->columns[dragColumn_];
      const int wanted = dragStartWidth_ + at.x - pressAt_.x;
      column.width = std::clamp(wanted, column.minWidth, column.maxWidth);
      RefreshList();
      return;
    }
    case Drag::kVThumb:
    case Drag::kHThumb:
      DragBar(at);
      return;
    default:
      break;
  }
  const PlaylistHit hit = HitTest(at);
  hover_ = hit.zone == PlaylistZone::kRow ? hit.row : -1;
}

void CZKPlaylist::OnUp(const ControlEvent& event) {
  const Drag was = drag_;
  EndDrag();
  if (was == Drag::kRows && event.button == kButtonLeft) DropRows(wxPoint(event.x, event.y));
}

void CZKPlaylist::EndDrag() {
  if (drag_ == Drag::kRows) SetCursor(wxNullCursor);
  drag_ = Drag::kNone;
  dragColumn_ = -1;
  if (HasCapture()) ReleaseMouse();
}

void CZKPlaylist::OnCaptureLost() {
  drag_ = Drag::kNone;
  SetCursor(wxNullCursor);
}

void CZKPlaylist::DropRows(wxPoint at) {
  if (!list_) return;
  const wxPoint screen = ClientToScreen(at);
  if (GetScreenRect().Contains(screen)) return;  // let go on itself: nothing moves
  const std::vector<int> rows = RowsToCarry();
  RowDropTarget* target = RowDropTargetAt(screen);
  if (rows.empty() || !target) return;
  auto* window = dynamic_cast<wxWindow*>(target);
  const wxPoint local = window ? window->ScreenToClient(screen) : screen;
  if (!target->DropRows(*list_, rows, local))
    DebugLog("track list: %zu rows let go where nothing takes them", rows.size());
}

void CZKPlaylist::OnDoubleClick(const ControlEvent& event) {
  if (event.button != kButtonLeft || !list_) return;
  if (HitTest(wxPoint(event.x, event.y)).zone == PlaylistZone::kRow) LoadCarried(-1);
}

void CZKPlaylist::LoadCarried(int deck) {
  if (!list_ || !ThePlaylistHooks().loadRow) return;
  const std::vector<int> rows = RowsToCarry();
  const TZKListElement* row = rows.empty() ? nullptr : list_->GetRow(rows.front());
  if (!row) return;
  // From the event loop: the load may ask the user in a modal box, which
  // must not open inside this mouse or key event.
  const std::string path = row->column[kColPath];
  auto load = ThePlaylistHooks().loadRow;
  wxTheApp->CallAfter([load, deck, path] { load(deck, path); });
}

void CZKPlaylist::OnWheel(const ControlEvent& event) {
  if (!list_) return;
  const int notches = event.status / kWheelNotch;
  const int steps = notches != 0 ? notches : (event.status > 0 ? 1 : -1);
  top_ -= steps * kWheelRows;
  ClampScroll();
  Redraw();
}

void CZKPlaylist::OnKey(const ControlEvent& event) {
  OnListKey(event.code, event.modifiers);
}

bool CZKPlaylist::OnListKey(int code, int modifiers) {
  if (!list_) return false;
  const bool control = (modifiers & kModControl) != 0;
  const int page = std::max(layout_.fullRows - 1, 1);
  switch (code) {
    case WXK_UP:
    case WXK_NUMPAD_UP:
      if (control) {
        list_->MoveRowUp();
        ScrollToRow(list_->MainCursor());
        RefreshList();
      } else {
        MoveCursor(-1);
      }
      break;
    case WXK_DOWN:
    case WXK_NUMPAD_DOWN:
      if (control) {
        list_->MoveRowDown();
        ScrollToRow(list_->MainCursor());
        RefreshList();
      } else {
        MoveCursor(1);
      }
      break;
    case WXK_PAGEUP:
    case WXK_NUMPAD_PAGEUP:
      MoveCursor(-page);
      break;
    case WXK_PAGEDOWN:
    case WXK_NUMPAD_PAGEDOWN:
      MoveCursor(page);
      break;
    case WXK_HOME:
    case WXK_NUMPAD_HOME:
      CursorTo(0);
      break;
    case WXK_END:
    case WXK_NUMPAD_END:
      CursorTo(list_->Count() - 1);
      break;
    case WXK_RETURN:
    case WXK_NUMPAD_ENTER:
      LoadCarried(-1);
      break;
    case WXK_LEFT:
      if (!control) return false;
      LoadCarried(0);
      break;
    case WXK_RIGHT:
      if (!control) return false;
      LoadCarried(1);
      break;
    default:
      return false;
  }
  return true;
}

}  // namespace vantaro
