#include "skin/sound_display_picture.h"

#include <wx/brush.h>
#include <wx/pen.h>

#include <algorithm>

namespace vantaro {
namespace {

std::unique_ptr<wxMemoryDC> Select(wxBitmap& bitmap) {
  return bitmap.IsOk() ? std::make_unique<wxMemoryDC>(bitmap) : nullptr;
}

}  // namespace

void WavePicture::Reset(const WaveAxes& axes, const wxBitmap& background,
                        const WaveColours& colours) {
  front_.reset();
  spare_.reset();
  backgroundDC_.reset();
  axes_ = axes;
  colours_ = colours;
  valid_ = false;
  drawn_.assign(std::max(axes.length, 0), WaveColumn{});
  known_.assign(drawn_.size(), false);
  const int width = axes.X(axes.length, axes.thickness),
            height = axes.Y(axes.length, axes.thickness);
  if (width < 1 || height < 1 || !background.IsOk()) return;
  // A copy of its own: one bitmap is not selected into two contexts.
  background_ = background.GetSubBitmap(wxRect(0, 0, width, height));
  frontBitmap_.Create(width, height);
  spareBitmap_.Create(width, height);
  backgroundDC_ = Select(background_);
  front_ = Select(frontBitmap_);
  spare_ = Select(spareBitmap_);
  if (!backgroundDC_ || !front_ || !spare_) front_.reset();
  KeyBackground();
}

void WavePicture::KeyBackground() {
  backgroundKeys_.assign(drawn_.size(), 0);
  if (!background_.IsOk()) return;
  const wxImage image = background_.ConvertToImage();
  for (int along = 0; along < axes_.length; ++along) {
    std::uint64_t key = 1469598103934665603ull;  // FNV-1a over the column's pixels
    for (int across = 0; across < axes_.thickness; ++across) {
      const int x = axes_.X(along, across), y = axes_.Y(along, across);
      const std::uint32_t rgb =
          image.GetRed(x, y) << 16 | image.GetGreen(x, y) << 8 | image.GetBlue(x, y);
      key = (key ^ rgb) * 1099511628211ull;
    }
    backgroundKeys_[along] = key;
  }
}

void WavePicture::Shift(std::int64_t by) {
  // The columns that stay move `by` towards the start (a negative `by`:
  // towards the end); the ones they leave are stale.
  const int length = axes_.length, keep = length - static_cast<int>(std::abs(by));
  const int from = by > 0 ? static_cast<int>(by) : 0, to = by > 0 ? 0 : static_cast<int>(-by);
  spare_->Blit(axes_.X(to, 0), axes_.Y(to, 0), axes_.X(keep, axes_.thickness),
               axes_.Y(keep, axes_.thickness), front_.get(), axes_.X(from, 0), axes_.Y(from, 0));
  std::swap(front_, spare_);
  std::swap(frontBitmap_, spareBitmap_);
  // The same move on the record of what each column shows, in place.
  const auto move = [&](auto& record, auto stale) {
    if (by > 0) {
      std::move(record.begin() + from, record.begin() + from + keep, record.begin());
      std::fill(record.begin() + keep, record.end(), stale);
    } else {
      std::move_backward(record.begin(), record.begin() + keep, record.end());
      std::fill(record.begin(), record.begin() + to, stale);
    }
  };
  move(drawn_, WaveColumn{});
  move(known_, false);
  for (int at = 0; at < keep; ++at)
    if (backgroundKeys_[to + at] != backgroundKeys_[from + at]) known_[to + at] = false;
}

int WavePicture::Update(std::int64_t origin, const std::vector<WaveColumn>& columns) {
  if (!front_) return 0;
  const int length = axes_.length;
  const bool fresh = !valid_ || std::abs(origin - origin_) >= length;
  if (fresh) {
    front_->Blit(0, 0, axes_.X(length, axes_.thickness), axes_.Y(length, axes_.thickness),
                 backgroundDC_.get(), 0, 0);
    // The background is drawn: an empty column is known already.
    std::fill(drawn_.begin(), drawn_.end(), WaveColumn{});
    std::fill(known_.begin(), known_.end(), true);
  } else if (origin != origin_) {
    Shift(origin - origin_);
  }
  origin_ = origin;
  valid_ = true;
  int drawnCount = 0;
  const int count = std::min(length, static_cast<int>(columns.size()));
  for (int i = 0; i < count; ++i) {
    if (known_[i] && drawn_[i] == columns[i]) continue;
    DrawColumn(*front_, i, columns[i], !fresh);
    drawn_[i] = columns[i];
    known_[i] = true;
    ++drawnCount;
  }
  return drawnCount;
}

void WavePicture::DrawColumn(wxMemoryDC& dc, int along, const WaveColumn& column, bool clear) {
  const int thickness = axes_.thickness;
  if (clear)
    dc.Blit(axes_.X(along, 0), axes_.Y(along, 0), axes_.X(1, thickness), axes_.Y(1, thickness),
            backgroundDC_.get(), axes_.X(along, 0), axes_.Y(along, 0));
  if (column.kind == WaveColumn::kEmpty) return;
  const int peak = column.kind == WaveColumn::kPastEnd ? 0 : column.peak;
  const int from = axes_.Centre() - peak, extent = 2 * peak + 1;
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(column.kind == WaveColumn::kBeat ? colours_.beat : colours_.data));
  dc.DrawRectangle(axes_.X(along, from), axes_.Y(along, from), axes_.X(1, extent),
                   axes_.Y(1, extent));
}

}  // namespace vantaro
