#include "skin/base_window.h"

#include <wx/dcclient.h>

#include <algorithm>

#include "skin/skin_image.h"

namespace vantaro {

ZKBaseWindow::ZKBaseWindow(wxWindow* window) : window_(window) {
  SkinImage::Get().RegisterWindow(window);
}

ZKBaseWindow::~ZKBaseWindow() {
  SkinImage::Get().UnregisterWindow(window_);
}

void ZKBaseWindow::ApplyWindowSkin(int newWidth, int newHeight, int newUpx, int newUpy, int newPosx,
                                   int newPosy, bool newUsecolors, const wxColour& newBackcolor,
                                   const wxColour& newBordercolor) {
  width = newWidth;
  height = newHeight;
  upx = std::max(newUpx, 0);
  upy = std::max(newUpy, 0);
  posx = newPosx;
  posy = newPosy;
  usecolors = newUsecolors;
  if (newBackcolor.IsOk()) backcolor = newBackcolor;
  if (newBordercolor.IsOk()) bordercolor = newBordercolor;
  if (posx != -1) {
    wxPoint origin;
    if (wxWindow* parent = GetParentWindow()) origin = parent->GetScreenPosition();
    MoveWindow(origin.x + posx, origin.y + posy);
  }
  SetWindowClientSize(width, height);
  window_->Refresh(false);
}

void ZKBaseWindow::PaintSkin(wxDC& dc, const wxRegion& update) {
  if (usecolors) {
    dc.SetBrush(wxBrush(backcolor));
    dc.SetPen(wxPen(bordercolor, 1));
    dc.DrawRectangle(0, 0, width, height);
    return;
  }
  wxDC* skin = SkinImage::Get().Source();
  if (!skin) return;
  for (wxRegionIterator rect(update); rect; ++rect)
    dc.Blit(rect.GetX(), rect.GetY(), rect.GetW(), rect.GetH(), skin, upx + rect.GetX(),
            upy + rect.GetY());
}

void ZKBaseWindow::BindSkinPainting() {
  window_->Bind(wxEVT_PAINT, [this](wxPaintEvent& event) {
    if (width < 1) {
      event.Skip();
      return;
    }
    wxPaintDC dc(window_);
    PaintSkin(dc, window_->GetUpdateRegion());
  });
  // The paint handler covers every pixel; erasing first would only flicker.
  window_->Bind(wxEVT_ERASE_BACKGROUND, [this](wxEraseEvent& event) {
    if (width < 1) event.Skip();
  });
}

ZKDialogWindow::ZKDialogWindow(wxWindow* parent, const wxString& title)
    : wxDialog(parent, wxID_ANY, title), ZKBaseWindow(this) {
  BindSkinPainting();
}

ZKBaseWindow* SkinnedWindowOf(wxWindow* window) {
  for (; window; window = window->GetParent())
    if (auto* skinned = dynamic_cast<ZKBaseWindow*>(window)) return skinned;
  return nullptr;
}

}  // namespace vantaro
