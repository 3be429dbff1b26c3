#pragma once
// WavePicture: the stripe picture of a waveform display, kept between ticks.
// When only the position moved, the last picture is shifted by whole columns
// and just the columns that differ from what is already there are drawn:
// those that scrolled in, and those whose stripes changed under them (the
// wave filling in while a track decodes, a beat mark the deck adds). So a
// tick costs one copy of the picture plus a few columns, whatever the
// track's length. Each column is its background (from the skin image or a
// colour) with a bar from the centre, drawn as filled rectangles so that a
// column is exactly one pixel wide.
//
// Threads: GUI thread only.

#include <wx/bitmap.h>
#include <wx/colour.h>
#include <wx/dcmemory.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "skin/sound_display_geometry.h"

namespace vantaro {

struct WaveColours {
  wxColour data, beat;
};

class WavePicture {
 public:
  // A new size or look: the next Update draws every column. `background`
  // is the display's face without wave, `axes.length` x `axes.thickness`
  // in screen orientation.
  void Reset(const WaveAxes& axes, const wxBitmap& background, const WaveColours& colours);
  // Forgets what is drawn (a zoom change): the next Update draws it all.
  void Invalidate() { valid_ = false; }

  // Shows `columns` (one per pixel along) from global column `origin` on.
  // Returns the number of columns drawn.
  int Update(std::int64_t origin, const std::vector<WaveColumn>& columns);

  // Only after a Reset with a size.
  wxMemoryDC& DC() { return *front_; }
  bool IsOk() const { return front_ != nullptr; }

 private:
  // `clear`: first put the background back under the column.
  void DrawColumn(wxMemoryDC& dc, int along, const WaveColumn& column, bool clear);
  void Shift(std::int64_t by);
  void KeyBackground();

  WaveAxes axes_;
  WaveColours colours_;
  wxBitmap background_;
  std::unique_ptr<wxMemoryDC> backgroundDC_;
  // The picture and a second bitmap the shift copies into; they swap.
  wxBitmap frontBitmap_, spareBitmap_;
  std::unique_ptr<wxMemoryDC> front_, spare_;
  std::vector<WaveColumn> drawn_;
  std::vector<bool> known_;  // false: the column's pixels are stale
  // A key of each column's background pixels: a column shifted onto a place
  // whose background differs (a skin picture with a frame or a gradient
  // along the wave) is stale too, so that no edge of the picture is smeared
  // along by the shift.
  std::vector<std::uint64_t> backgroundKeys_;
  std::int64_t origin_ = 0;
  bool valid_ = false;
};

}  // namespace vantaro
