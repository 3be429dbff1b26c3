#pragma once
// ZKBaseWindow: the skin data of a top-level window, mixed into the main
// window and the skinned dialogs. The window shows its part of the skin
// image (from `upx`, `upy`), or with `usecolors` a plain face in
// `backcolor` with a `bordercolor` frame. A window whose `width` is below 1
// is not skinned and paints as the toolkit does.
//
// ZKDialogWindow: a skinned dialog.
//
// Threads: GUI thread only.

#include <wx/colour.h>
#include <wx/dialog.h>
#include <wx/region.h>

namespace vantaro {

class ZKBaseWindow {
 public:
  explicit ZKBaseWindow(wxWindow* window);
  virtual ~ZKBaseWindow();
  ZKBaseWindow(const ZKBaseWindow&) = delete;
  ZKBaseWindow& operator=(const ZKBaseWindow&) = delete;

  // Stores the skin data (negative origins as 0), moves the window to the
  // parent's origin plus posx, posy unless posx is -1, and sets its client
  // size.
  virtual void ApplyWindowSkin(int width, int height, int upx, int upy, int posx, int posy,
                               bool usecolors, const wxColour& backcolor,
                               const wxColour& bordercolor);
  virtual void FreezeWindow() { window_->Freeze(); }
  virtual void ThawWindow() { window_->Thaw(); }
  virtual wxWindow* GetParentWindow() { return window_->GetParent(); }
  virtual void MoveWindow(int x, int y) { window_->Move(x, y); }
  virtual void SetWindowClientSize(int w, int h) { window_->SetClientSize(w, h); }

  int width = 0, height = 0;
  int upx = 0, upy = 0;  // origin of this window's picture in the skin image
  int posx = -1, posy = -1;
  bool usecolors = false;
  wxColour backcolor = *wxBLACK;
  wxColour bordercolor = *wxWHITE;

 protected:
  // The window's face for the rectangles of `update` (paint handlers).
  void PaintSkin(wxDC& dc, const wxRegion& update);
  // Binds the paint and erase handlers that draw the face.
  void BindSkinPainting();

 private:
  wxWindow* window_;
};

class ZKDialogWindow : public wxDialog, public ZKBaseWindow {
 public:
  ZKDialogWindow(wxWindow* parent, const wxString& title);
};

// The skinned window that holds `window` (itself included); null when none.
ZKBaseWindow* SkinnedWindowOf(wxWindow* window);

}  // namespace vantaro
