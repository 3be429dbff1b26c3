#pragma once
// Panels and groups: a ZKCustomGroup is a set of up to ten ZKCustomPanel
// pages of which one is shown at a time (tabs). A panel shows the skin image
// behind it: from its own origin when `transparent`, else the part of its
// skinned ancestor's face it covers; or with colours, a plain face.
//
// Threads: GUI thread only.

#include <wx/colour.h>
#include <wx/object.h>
#include <wx/panel.h>
#include <wx/weakref.h>

#include <string>

namespace vantaro {

class ZKAttributeList;

class ZKCustomPanel : public wxPanel {
 public:
  ZKCustomPanel(wxWindow* parent, int index);

  // Takes `width`, `height`, `posx`, `posy` (and moves), `backcolor`,
  // `bordercolor`, `transparent`, `upx`, `upy`; then shows the panel.
  void ApplySkinAttributes(const ZKAttributeList& attributes);

  int index;
  bool painted = false;
  bool transparent = false;
  int width = 0, height = 0;
  int upx = 0, upy = 0;             // own origin in the skin image, used when transparent
  wxColour backcolor, bordercolor;  // a valid back colour paints a plain face

 private:
  void OnPaint(wxPaintEvent& event);
};

// Where the skin image shows behind `window`: up through its parents to a
// transparent panel (its own origin) or to the skinned window (its `upx`,
// `upy`), adding the positions on the way. False when there is neither.
bool SkinOriginOf(const wxWindow* window, wxPoint* origin);

class ZKCustomGroup : public wxObject {
 public:
  static constexpr int kMaxPanels = 10;

  ZKCustomGroup(wxWindow* parentWindow, const std::string& name);
  // Destroys the panels that still exist.
  ~ZKCustomGroup() override;
  ZKCustomGroup(const ZKCustomGroup&) = delete;
  ZKCustomGroup& operator=(const ZKCustomGroup&) = delete;

  // Ignored out of range. Hides the shown panel, raises, shows and focuses
  // the new one.
  void ShowPanel(int index);
  // Wrap around; nothing without panels.
  void ShowNextPanel();
  void ShowPrevPanel();
  // Null out of range, or when the panel's window is gone (a panel of a
  // group nested in another group's panel goes with that panel).
  ZKCustomPanel* GetPanel(int index) const;
  // No-op when ten are there; the first added is shown at once.
  void AddPanel(ZKCustomPanel* panel);
  // Destroys every panel (and what stands on it); the group then has none.
  void DestroyPanels();

  int CurrentPanel() const { return current_; }
  int PanelCount() const { return count_; }

  std::string name;
  int posx = 0, posy = 0, width = 0, height = 0;
  bool transparent = false;
  wxWindow* parentWindow;

 private:
  int current_ = -1;
  int count_ = 0;
  wxWeakRef<ZKCustomPanel> panels_[kMaxPanels];
};

}  // namespace vantaro
