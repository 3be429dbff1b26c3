// The drawing of the track list into its back buffer. Only the rows on
// screen are read, from `top_` on; nothing walks the list.
#include <wx/dcclient.h>

#include <algorithm>

#include "base/clock_text.h"
#include "control/language.h"
#include "control/text_ids.h"
#include "library/abstract_list.h"
#include "library/song_record.h"
#include "skin/playlist.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

// Pixels between a cell's edge and its text.
constexpr int kCellPad = 3;

std::string ColumnTitle(const CZKAbstractList& list, int column) {
  const std::string& own = list.columns[column].title;
  return own.empty() ? Text(txt_tag_no + column) : own;
}

void DrawAligned(wxDC& dc, const wxString& text, const wxRect& cell, int alignment) {
  const wxSize extent = dc.GetTextExtent(text);
  const int y = cell.y + (cell.height - extent.y) / 2;
  int x = cell.x + kCellPad;
  if (alignment == kAlignRight)
    x = cell.GetRight() + 1 - kCellPad - extent.x;
  else if (alignment == kAlignCenter)
    x = cell.x + (cell.width - extent.x) / 2;
  dc.DrawText(text, std::max(x, cell.x + kCellPad), y);
}

}  // namespace

void CZKPlaylist::DrawControl() {
  if (!HasBackBuffer()) return;
  // The list may have changed under the view without a callback (a fill
  // still in bulk): nothing is drawn past its end.
  Relayout();
  wxDC& dc = Back();
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(look_.back));
  dc.DrawRectangle(0, 0, width, height);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  dc.SetFont(font);
  if (list_) {
    PaintHeader(dc);
    PaintRows(dc);
  }
  PaintScrollBars(dc);
  PaintInfo(dc);
  PaintFrames(dc);
}

void CZKPlaylist::PaintHeader(wxDC& dc) {
  const wxRect& area = layout_.header;
  if (area.height <= 0) return;
  wxDCClipper clip(dc, area);
  dc.SetTextForeground(look_.headerFont);
  for (int c = 0; c < kListColumns; ++c) {
    const ListColumnInfo& column = list_->columns[c];
    if (!column.visible) continue;
    const int x = ColumnLeft(c);
    if (x + column.width <= 0) continue;
    if (x >= area.width) break;
    const wxRect cell(x, area.y, column.width, area.height);
    dc.SetPen(wxPen(look_.headerBorder));
    dc.SetBrush(wxBrush(look_.headerFill));
    dc.DrawRectangle(cell);
    int titleRight = cell.width;
    if (column.sortMark != 0) {
      // A small triangle at the right: up ascending, down descending.
      const int s = std::max(area.height / 4, 3);
      const int cx = cell.GetRight() - kCellPad - s, cy = cell.y + area.height / 2;
      const wxPoint up[] = {{cx - s, cy + s / 2}, {cx + s, cy + s / 2}, {cx, cy - s / 2}};
      const wxPoint down[] = {{cx - s, cy - s / 2}, {cx + s, cy - s / 2}, {cx, cy + s / 2}};
      dc.SetBrush(wxBrush(look_.headerFont));
      dc.SetPen(*wxTRANSPARENT_PEN);
      dc.DrawPolygon(3, column.sortMark == 1 ? up : down);
      titleRight -= 2 * s + kCellPad;
    }
    wxDCClipper cellClip(dc, wxRect(cell.x, cell.y, std::max(titleRight, 1), cell.height));
    DrawAligned(dc, wxString::FromUTF8(ColumnTitle(*list_, c)), cell, kAlignLeft);
  }
}

void CZKPlaylist::PaintRows(wxDC& dc) {
  const wxRect& area = layout_.rows;
  if (area.height <= 0 || area.width <= 0) return;
  wxDCClipper clip(dc, area);
  const std::array<std::string, 2> loaded = ThePlaylistHooks().loadedKeys
                                                ? ThePlaylistHooks().loadedKeys()
                                                : std::array<std::string, 2>{};
  const int line = frame_.lineHeight;
  // One more than fits whole: the last row shows in part.
  const int end = std::min(list_->Count(), top_ + layout_.fullRows + 1);
  for (int i = top_; i < end; ++i) PaintRow(dc, i, area.y + (i - top_) * line, loaded);
  // Column lines over the whole area.
  dc.SetPen(wxPen(look_.grid));
  for (int c = 0; c < kListColumns; ++c) {
    if (!list_->columns[c].visible) continue;
    const int right = ColumnLeft(c) + list_->columns[c].width - 1;
    if (right >= 0 && right < area.width) dc.DrawLine(right, area.y, right, area.GetBottom() + 1);
  }
}

void CZKPlaylist::PaintRow(wxDC& dc, int index, int y, const std::array<std::string, 2>& loaded) {
  const TZKListElement* row = list_->GetRow(index);
  if (!row) return;
  const int line = frame_.lineHeight;
  const wxRect band(0, y, layout_.rows.width, line);
  const bool main = index == list_->MainCursor() || row->selected;
  wxColour text = look_.font;
  if (main) {
    dc.SetBrush(wxBrush(look_.cursor));
    text = look_.mainCursorFont;
  } else if (row->highlight >= 0 && row->highlight < kHighlightColours) {
    const wxColour fill(kHighlightPalette[row->highlight]);
    dc.SetBrush(wxBrush(fill));
    // Most of the palette is bright: the text turns dark on it to stay
    // readable; on red and violet it stays light.
    if (0.299 * fill.Red() + 0.587 * fill.Green() + 0.114 * fill.Blue() > 140)
      text = look_.mainCursorFont;
  }
  if (main || (row->highlight >= 0 && row->highlight < kHighlightColours)) {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.DrawRectangle(band);
  }
  if (!main) {
    if (index == list_->NextCursor()) {
      text = look_.nextCursorFont;
    } else if (!loaded[0].empty() || !loaded[1].empty()) {
      const std::string key = MakeSongKey(row->column[kColPath]);
      if (key == loaded[0] || key == loaded[1]) text = look_.fontLoaded;
    }
  }
  dc.SetPen(wxPen(look_.grid));
  dc.DrawLine(0, band.GetBottom(), band.width, band.GetBottom());
  dc.SetTextForeground(text);
  for (int c = 0; c < kListColumns; ++c) {
    const ListColumnInfo& column = list_->columns[c];
    if (!column.visible) continue;
    const int x = ColumnLeft(c);
    if (x + column.width <= 0) continue;
    if (x >= band.width) break;
    const wxRect cell(x, y, column.width - 1, line - 1);
    wxDCClipper cellClip(dc, cell);
    const wxString cellText = wxString::FromUTF8(row->column[c]);
    DrawAligned(dc, cellText, cell, column.alignment);
    if (c == kColTitle && !row->auxstr.empty()) {
      // The schedule follows the title in the small font.
      const int after = x + kCellPad + dc.GetTextExtent(cellText).x;
      dc.SetFont(look_.small);
      DrawAligned(dc, wxString::FromUTF8(row->auxstr),
                  wxRect(after, y, std::max(cell.GetRight() - after, 1), line - 1), kAlignLeft);
      dc.SetFont(font);
    }
  }
}

void CZKPlaylist::PaintScrollBars(wxDC& dc) {
  const int rows = list_ ? list_->Count() : 0;
  dc.SetPen(*wxTRANSPARENT_PEN);
  if (layout_.vbarShown) {
    const wxRect& bar = layout_.vbar;
    dc.SetBrush(wxBrush(look_.grid));
    dc.DrawRectangle(bar);
    const ThumbSpan thumb = ScrollThumb(bar.height, rows, layout_.fullRows, top_);
    dc.SetBrush(wxBrush(look_.slider));
    if (thumb.length > 0)
      dc.DrawRectangle(bar.x + 2, bar.y + thumb.offset, bar.width - 4, thumb.length);
  }
  if (layout_.hbarShown) {
    const wxRect& bar = layout_.hbar;
    dc.SetBrush(wxBrush(look_.grid));
    dc.DrawRectangle(bar);
    const ThumbSpan thumb =
        ScrollThumb(bar.width, layout_.contentWidth, layout_.rows.width, scrollX_);
    dc.SetBrush(wxBrush(look_.slider));
    if (thumb.length > 0)
      dc.DrawRectangle(bar.x + thumb.offset, bar.y + 2, thumb.length, bar.height - 4);
  }
}

void CZKPlaylist::PaintInfo(wxDC& dc) {
  const wxRect& strip = layout_.info;
  if (strip.height <= 0) return;
  dc.SetPen(wxPen(look_.headerBorder));
  dc.SetBrush(wxBrush(look_.headerFill));
  dc.DrawRectangle(strip);
  if (!list_) return;
  std::string text;
  if (const TZKListElement* row = list_->GetRow(list_->MainCursor())) {
    text = row->column[kColTitle];
    if (!row->column[kColArtist].empty()) text += " - " + row->column[kColArtist];
    if (!row->column[kColTempo].empty()) text += "  " + row->column[kColTempo] + " BPM";
    if (!row->column[kColTime].empty()) text += " - " + row->column[kColTime];
  }
  text += "   (" + ClockText(list_->TotalDurationMs() / 1000, true) + " / " +
          std::to_string(list_->Count()) + ")";
  wxDCClipper clip(dc, strip);
  dc.SetFont(look_.small);
  dc.SetTextForeground(look_.headerFont);
  DrawAligned(dc, wxString::FromUTF8(text), strip, kAlignLeft);
  dc.SetFont(font);
}

void CZKPlaylist::PaintFrames(wxDC& dc) {
  dc.SetBrush(*wxTRANSPARENT_BRUSH);
  if (list_) {
    const int cursor = list_->MainCursor();
    if (cursor >= top_ && cursor < top_ + layout_.fullRows) {
      // The current item: a double frame, so it shows on any highlight.
      const int y = layout_.rows.y + (cursor - top_) * frame_.lineHeight;
      dc.SetPen(wxPen(look_.currentDoubleBorder));
      dc.DrawRectangle(0, y, layout_.rows.width, frame_.lineHeight);
      dc.DrawRectangle(2, y + 2, layout_.rows.width - 4, frame_.lineHeight - 4);
    }
  }
  if (focused_) {
    dc.SetPen(wxPen(look_.borderActive, 2));
    dc.DrawRectangle(1, 1, width - 1, height - 1);
  }
}

}  // namespace vantaro
