#include "skin/playlist_geometry.h"

#include <algorithm>

namespace vantaro {
namespace {

// A thumb never shrinks below this, so it stays a target for the pointer
// with 100,000 rows.
constexpr int kMinThumb = 16;

}  // namespace

int VisibleColumnsWidth(const ListColumnInfo (&columns)[kListColumns]) {
  int total = 0;
  for (const ListColumnInfo& column : columns)
    if (column.visible) total += column.width;
  return total;
}

PlaylistLayout LayOutPlaylist(const PlaylistFrame& frame, int rowCount, int contentWidth) {
  PlaylistLayout out;
  out.contentWidth = contentWidth;
  const int line = std::max(frame.lineHeight, 1);
  const int bar = std::max(frame.sliderHeight, 0);
  const int info = std::clamp(frame.infoHeight, 0, frame.height);
  const int header = std::clamp(frame.headerHeight, 0, frame.height - info);
  // Each bar takes room from the other's direction: settle in two passes.
  bool vbar = frame.neverHideScroll, hbar = false;
  for (int pass = 0; pass < 2; ++pass) {
    const int rowsHeight = frame.height - header - info - (hbar ? bar : 0);
    vbar = frame.neverHideScroll || rowCount > std::max(rowsHeight, 0) / line;
    const int rowsWidth = frame.width - (vbar ? bar : 0);
    hbar = !frame.hideHorizontal && contentWidth > rowsWidth;
  }
  out.vbarShown = vbar;
  out.hbarShown = hbar;
  const int rowsWidth = std::max(frame.width - (vbar ? bar : 0), 0);
  const int rowsHeight = std::max(frame.height - header - info - (hbar ? bar : 0), 0);
  out.header = wxRect(0, 0, rowsWidth, header);
  out.rows = wxRect(0, header, rowsWidth, rowsHeight);
  if (vbar) out.vbar = wxRect(rowsWidth, header, bar, rowsHeight);
  if (hbar) out.hbar = wxRect(0, header + rowsHeight, rowsWidth, bar);
  out.info = wxRect(0, frame.height - info, frame.width, info);
  out.fullRows = rowsHeight / line;
  return out;
}

PlaylistHit HitTestPlaylist(const PlaylistLayout& layout, const PlaylistFrame& frame,
                            const ListColumnInfo (&columns)[kListColumns], int top, int scrollX,
                            int rowCount, wxPoint at) {
  PlaylistHit hit;
  if (layout.vbarShown && layout.vbar.Contains(at)) {
    hit.zone = PlaylistZone::kVBar;
    return hit;
  }
  if (layout.hbarShown && layout.hbar.Contains(at)) {
    hit.zone = PlaylistZone::kHBar;
    return hit;
  }
  if (layout.info.height > 0 && layout.info.Contains(at)) {
    hit.zone = PlaylistZone::kInfo;
    return hit;
  }
  const bool inHeader = layout.header.height > 0 && layout.header.Contains(at);
  if (!inHeader && !layout.rows.Contains(at)) return hit;
  int x = -scrollX;
  for (int c = 0; c < kListColumns; ++c) {
    if (!columns[c].visible) continue;
    const int right = x + columns[c].width;
    if (inHeader && at.x >= right - kColumnEdgeGrab && at.x <= right + kColumnEdgeGrab) {
      hit.zone = PlaylistZone::kHeaderEdge;
      hit.column = c;
      return hit;
    }
    if (at.x >= x && at.x < right) hit.column = c;
    x = right;
  }
  if (inHeader) {
    hit.zone = PlaylistZone::kHeader;
    return hit;
  }
  const int row = top + (at.y - layout.rows.y) / std::max(frame.lineHeight, 1);
  hit.zone = row < rowCount ? PlaylistZone::kRow : PlaylistZone::kBelowRows;
  if (row < rowCount) hit.row = row;
  return hit;
}

ThumbSpan ScrollThumb(int barLength, int total, int shown, int first) {
  ThumbSpan thumb;
  if (barLength <= 0 || total <= shown || shown <= 0) return thumb;
  const double share = static_cast<double>(shown) / total;
  thumb.length =
      std::clamp(static_cast<int>(barLength * share), std::min(kMinThumb, barLength), barLength);
  const int travel = barLength - thumb.length;
  const int lastFirst = total - shown;
  thumb.offset =
      static_cast<int>(static_cast<double>(travel) * std::clamp(first, 0, lastFirst) / lastFirst);
  return thumb;
}

int ScrollFirstForThumb(int barLength, int total, int shown, int thumbOffset) {
  const ThumbSpan thumb = ScrollThumb(barLength, total, shown, 0);
  const int travel = barLength - thumb.length;
  if (thumb.length == 0 || travel <= 0) return 0;
  const double along = std::clamp(thumbOffset, 0, travel) / static_cast<double>(travel);
  return static_cast<int>(along * (total - shown) + 0.5);
}

}  // namespace vantaro
