#pragma once
// Picture helpers of the concrete controls: a copy with a constant alpha, a
// copy that leaves out one colour, and a per-pixel blend of two pictures by a
// mask. All work on memory contexts (back buffers and the skin image).
//
// Threads: GUI thread (the toolkit's pictures); BlendByMask any thread.

#include <wx/colour.h>
#include <wx/dcmemory.h>

namespace vantaro {

// For each of `pixels` RGB pixels and channel: (over * m + under * (255 - m))
// >> 8, with m the mask's byte of that pixel.
void BlendByMask(const unsigned char* over, const unsigned char* under, const unsigned char* mask,
                 unsigned char* out, int pixels);

// Copies `w` x `h` from `source` at (sx, sy) to `dest` at (x, y), blended
// over what is there with `alpha` (0..255); 255 or more is a plain copy.
void AlphaBlit(wxMemoryDC& dest, int x, int y, int w, int h, wxMemoryDC& source, int sx, int sy,
               int alpha);

// The same copy without the pixels of `transparent`.
void MaskedBlit(wxMemoryDC& dest, int x, int y, int w, int h, wxMemoryDC& source, int sx, int sy,
                const wxColour& transparent);

}  // namespace vantaro
