#include "skin/bitmap_helpers.h"

#include <wx/bitmap.h>
#include <wx/image.h>

#include <vector>

namespace vantaro {
namespace {

// `w` x `h` of the context's picture at (x, y) as an image, clipped to the
// picture; invalid when nothing of it lies inside.
wxImage Region(wxMemoryDC& dc, int x, int y, int w, int h) {
  const wxBitmap& bitmap = dc.GetSelectedBitmap();
  if (!bitmap.IsOk()) return wxImage();
  const wxRect rect = wxRect(x, y, w, h).Intersect(wxRect(bitmap.GetSize()));
  if (rect.IsEmpty() || rect.GetSize() != wxSize(w, h)) return wxImage();
  return bitmap.GetSubBitmap(rect).ConvertToImage();
}

}  // namespace

void BlendByMask(const unsigned char* over, const unsigned char* under, const unsigned char* mask,
                 unsigned char* out, int pixels) {
  for (int p = 0; p < pixels; ++p) {
    const unsigned m = mask[p];
    for (int c = 0; c < 3; ++c) {
      const int i = p * 3 + c;
      out[i] = static_cast<unsigned char>((over[i] * m + under[i] * (255 - m)) >> 8);
    }
  }
}

void AlphaBlit(wxMemoryDC& dest, int x, int y, int w, int h, wxMemoryDC& source, int sx, int sy,
               int alpha) {
  if (alpha >= 255) {
    dest.Blit(x, y, w, h, &source, sx, sy);
    return;
  }
  wxImage over = Region(source, sx, sy, w, h);
  wxImage under = Region(dest, x, y, w, h);
  if (!over.IsOk() || !under.IsOk()) {
    dest.Blit(x, y, w, h, &source, sx, sy);
    return;
  }
  const std::vector<unsigned char> mask(static_cast<std::size_t>(w) * h,
                                        static_cast<unsigned char>(alpha < 0 ? 0 : alpha));
  BlendByMask(over.GetData(), under.GetData(), mask.data(), under.GetData(), w * h);
  dest.DrawBitmap(wxBitmap(under), x, y);
}

void MaskedBlit(wxMemoryDC& dest, int x, int y, int w, int h, wxMemoryDC& source, int sx, int sy,
                const wxColour& transparent) {
  wxImage over = Region(source, sx, sy, w, h);
  if (!over.IsOk()) return;
  over.SetMaskColour(transparent.Red(), transparent.Green(), transparent.Blue());
  dest.DrawBitmap(wxBitmap(over), x, y, true);
}

}  // namespace vantaro
