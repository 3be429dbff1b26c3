#pragma once
// ZKCustomControl: the base of every skinned control. It draws into a back
// buffer of its own, allocated once per skin, and shows it in one blit on a
// paint event (no background erase: GTK 3 already buffers the window). All
// input reaches OnControlEvent: the mouse handler here translates the
// toolkit's events, the keyboard handler the characters of a focused
// control, and everything else comes through PostControlEvent.
//
// Repaint protocol: whoever changes a control's state calls Redraw(), which
// is DrawControl() and then Refresh(false). No control redraws on a timer of
// its own; meters and displays are redrawn from the screen tick.
//
// Lifecycle: a built-in control exists from the moment the main window is
// built, hidden and of size 0, and keeps its callbacks and value across
// skins; ApplySkinAttributes sizes and shows it.
//
// Threads: GUI thread only.

#include <wx/bitmap.h>
#include <wx/control.h>
#include <wx/dcmemory.h>
#include <wx/font.h>

#include <memory>
#include <string>

#include "control/control_event.h"
#include "control/learn_state.h"

namespace vantaro {

class ZKAttributeList;

class ZKCustomControl : public wxControl, public ControlTarget {
 public:
  // Created hidden, of size 0. `controlId` is the action id (built-in) or
  // the skin slot; `deck` 0, 1 or -1.
  ZKCustomControl(wxWindow* parent, int controlId, int deck);
  ~ZKCustomControl() override;

  // Reads the element's common attributes (size, position, graphics_mode,
  // font, script events), rebuilds the back buffer, sets skinApplied and
  // shows the control. A concrete control calls it first, reads its own
  // attributes, then sets `ready` and redraws.
  virtual void ApplySkinAttributes(ZKAttributeList& attributes);
  // Draws the present state into the back buffer; does not touch the screen.
  virtual void DrawControl() = 0;
  // The platform took the mouse capture away (a slider ends its drag).
  virtual void OnCaptureLost() {}

  // ControlTarget.
  bool IsLearning() const override { return learning_; }
  void SetLearning(bool on) override;
  void TakeLearnFocus() override;
  void SetCallbacks(const ControlCallbacks& callbacks) override { wiring.callbacks = callbacks; }
  void SetRange(int, int) override {}
  void ShowEngineValue(int) override {}
  int Deck() const override { return deck; }

  // DrawControl, then Refresh(false); nothing before the control is ready.
  void Redraw();
  // The learn target is this control.
  bool LearnFocused() const;
  bool HasBackBuffer() const { return backDC_ != nullptr; }

  bool AcceptsFocus() const override { return true; }
  bool AcceptsFocusFromKeyboard() const override { return false; }

  // Nonzero once the control may draw; a control that is not ready ignores
  // paint and input.
  int ready = 0;
  int width = 0, height = 0;  // pixels; the window and the back buffer too
  // Without it a double-click arrives as a second mt_DOWN.
  int wantsDoubleClick = 0;
  // Without it a control that wants double-clicks also gets the mt_DOWN of
  // the double-click's press.
  int noDownBeforeDouble = 0;
  // A skin may move a built-in control to another parent only with this.
  int reparentable = 1;
  int scriptEvents = 0;  // 1: the skin gave onmousedown, 2: onmouseup
  const int controlId;
  const int deck;
  int graphicsMode = -1;  // 1: drawn from colours; else copied from the skin image
  int skinApplied = 0;
  std::string name;  // the `action` of a skin-defined control
  wxFont font;
  ControlBindings bindings;
  ControlWiring wiring;  // callbacks, userData, deck

 protected:
  bool ColourMode() const { return graphicsMode == 1; }
  // The back buffer's context; only while HasBackBuffer().
  wxMemoryDC& Back() { return *backDC_; }
  // Copies a `width` x `height` face from the skin image at (x, y); false
  // (and the buffer left as it was) without a skin image.
  bool CopyFromSkin(int x, int y);

 private:
  void BuildBackBuffer();
  void DrawLearnOverlay();
  void BecomeLearnTarget();
  void Send(int kind, int x, int y, int button, int modifiers);
  void OnMouse(wxMouseEvent& event);
  void OnWheel(wxMouseEvent& event);
  void OnPaint(wxPaintEvent& event);
  void OnChar(wxKeyEvent& event);
  void OnFocus(wxFocusEvent& event);
  void OnKillFocus(wxFocusEvent& event);
  void OnMouseCaptureLost(wxMouseCaptureLostEvent& event);

  bool learning_ = false;
  wxBitmap backBitmap_;
  std::unique_ptr<wxMemoryDC> backDC_;
};

// Modifier bits of a toolkit event: 1 control, 2 alt, 4 shift, 8 meta.
int ControlModifiers(const wxKeyboardState& state);

}  // namespace vantaro
