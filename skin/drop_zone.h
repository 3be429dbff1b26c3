#pragma once
// CZKDropZone: the place of a deck that takes dropped files (file_drop.h).
// It shows the skin's picture at its place (`posx`, `posy`), or in colour
// mode a frame of `bordercolor` on `backcolor`, with a short hint in
// `fontcolor` while the deck is empty.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include "skin/custom_control.h"
#include "skin/list_views.h"

namespace vantaro {

class CZKDropZone : public ZKCustomControl, public RowDropTarget {
 public:
  CZKDropZone(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;

  // The hint drawn over the face; empty draws none. Redraws on change.
  void SetHint(const wxString& hint);
  // Rows dragged from a track list load on the zone's deck like files.
  bool DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint at) override;
  wxString Hint() const { return hint_; }

 private:
  wxString hint_;
  wxColour back_ = *wxBLACK, border_ = *wxWHITE, fontColour_ = *wxWHITE;
};

}  // namespace vantaro
