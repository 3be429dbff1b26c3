#include "skin/skin_image.h"

#include <wx/image.h>
#include <wx/window.h>

#include <algorithm>

namespace vantaro {

SkinImage& SkinImage::Get() {
  // Never destroyed: it must not outlive the toolkit in a static destructor.
  static SkinImage* image = new SkinImage;
  return *image;
}

bool SkinImage::RegisterWindow(wxWindow* window) {
  if (static_cast<int>(windows_.size()) >= kMaxWindows) return false;
  windows_.push_back(window);
  return true;
}

void SkinImage::UnregisterWindow(wxWindow* window) {
  windows_.erase(std::remove(windows_.begin(), windows_.end(), window), windows_.end());
  if (windows_.empty()) Release();
}

void SkinImage::Release() {
  dc_.reset();
  bitmap_ = wxNullBitmap;
}

void SkinImage::SetBitmap(const wxBitmap& bitmap) {
  Release();
  if (!bitmap.IsOk()) return;
  bitmap_ = bitmap;
  dc_ = std::make_unique<wxMemoryDC>(bitmap_);
}

bool SkinImage::Load(const wxString& path) {
  for (wxWindow* window : windows_) window->Freeze();
  Release();
  wxImage image;
  const bool loaded = image.LoadFile(path, wxBITMAP_TYPE_ANY) && image.IsOk();
  if (loaded) SetBitmap(wxBitmap(image));
  for (wxWindow* window : windows_) window->Thaw();
  return loaded;
}

wxMemoryDC* SkinImage::Source() {
  return dc_.get();
}

}  // namespace vantaro
