#pragma once
// The skin image: one picture holding every state of every control of the
// running skin, selected into one shared memory context from which windows,
// panels and controls copy their faces. It lives while at least one skinned
// window does; a skin load replaces the picture with the windows frozen.
//
// Threads: GUI thread only.

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/string.h>

#include <memory>
#include <vector>

class wxWindow;

namespace vantaro {

class SkinImage {
 public:
  static constexpr int kMaxWindows = 32;

  static SkinImage& Get();

  // Skinned windows register while they live; the picture goes with the last.
  bool RegisterWindow(wxWindow* window);  // false when 32 are registered
  void UnregisterWindow(wxWindow* window);

  // Replaces the picture with the file at `path` (any type the toolkit
  // reads, first image, never scaled). On failure the context holds no
  // picture and false is returned. The registered windows are frozen
  // meanwhile.
  bool Load(const wxString& path);
  // Replaces the picture with `bitmap` (an invalid one clears it).
  void SetBitmap(const wxBitmap& bitmap);

  // The shared context, or null while there is no picture.
  wxMemoryDC* Source();
  int Width() const { return bitmap_.IsOk() ? bitmap_.GetWidth() : 0; }

 private:
  SkinImage() = default;
  void Release();

  std::vector<wxWindow*> windows_;
  wxBitmap bitmap_;
  std::unique_ptr<wxMemoryDC> dc_;  // exists while there is a picture
};

}  // namespace vantaro
