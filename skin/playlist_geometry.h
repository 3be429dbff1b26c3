#pragma once
// Where the parts of a track list control stand: header, rows, scroll bars
// and the information strip, and what lies under a point. Plain
// arithmetic on pixel sizes, so that painting and input agree by
// construction.
//
// Threads: any (values only); used on the GUI thread.

#include <wx/gdicmn.h>

#include "library/abstract_list.h"

namespace vantaro {

struct PlaylistFrame {
  int width = 0, height = 0;  // the control, pixels
  int lineHeight = 18;        // one row
  int sliderHeight = 12;      // thickness of a scroll bar
  int headerHeight = 18;      // 0 when the header is hidden
  int infoHeight = 0;         // 0 when the skin gives no information strip
  bool neverHideScroll = false;
  bool hideHorizontal = false;
};

struct PlaylistLayout {
  wxRect header, rows, vbar, hbar, info;
  bool vbarShown = false, hbarShown = false;
  int fullRows = 0;      // rows that fit whole in `rows`
  int contentWidth = 0;  // all visible columns side by side
};

// `rowCount` rows under columns `contentWidth` pixels wide.
PlaylistLayout LayOutPlaylist(const PlaylistFrame& frame, int rowCount, int contentWidth);

// The sum of the visible columns' widths.
int VisibleColumnsWidth(const ListColumnInfo (&columns)[kListColumns]);

enum class PlaylistZone { kNone, kHeader, kHeaderEdge, kRow, kBelowRows, kVBar, kHBar, kInfo };

struct PlaylistHit {
  PlaylistZone zone = PlaylistZone::kNone;
  int column = -1;  // header, header edge and rows: the column under x
  int row = -1;     // kRow: the list index
};

// Pixels either side of a header border that grab it for a resize.
inline constexpr int kColumnEdgeGrab = 3;

// What is under (x, y): `top` is the first shown row, `scrollX` the
// horizontal offset in pixels, `rowCount` the list's rows.
PlaylistHit HitTestPlaylist(const PlaylistLayout& layout, const PlaylistFrame& frame,
                            const ListColumnInfo (&columns)[kListColumns], int top, int scrollX,
                            int rowCount, wxPoint at);

// The scroll bar thumb: its offset and length along the bar, for `first`
// of `total` with `shown` visible at once; length 0 when nothing scrolls.
struct ThumbSpan {
  int offset = 0, length = 0;
};
ThumbSpan ScrollThumb(int barLength, int total, int shown, int first);
// The inverse: the first item for a thumb offset along the bar.
int ScrollFirstForThumb(int barLength, int total, int shown, int thumbOffset);

}  // namespace vantaro
