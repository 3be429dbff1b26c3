#include "skin/custom_control.h"

#include <wx/dcclient.h>

#include <cstdio>

#include "control/control_table.h"
#include "control/key_names.h"
#include "skin/attribute_list.h"
#include "skin/edit_text.h"
#include "skin/main_window.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

// The face a control has before its skin names one: "small", index 2.
constexpr int kDefaultFontIndex = 2;
// Larger buffers are refused as an allocation failure would be.
constexpr long long kMaxBufferPixels = 16384LL * 16384LL;

}  // namespace

int ControlModifiers(const wxKeyboardState& state) {
  int modifiers = 0;
  if (state.ControlDown()) modifiers |= kModControl;
  if (state.AltDown()) modifiers |= kModAlt;
  if (state.ShiftDown()) modifiers |= kModShift;
  if (state.MetaDown()) modifiers |= kModMeta;
  return modifiers;
}

ZKCustomControl::ZKCustomControl(wxWindow* parent, int controlId, int deck)
    : controlId(controlId), deck(deck) {
  wiring.deck = deck;
  SetBackgroundStyle(wxBG_STYLE_PAINT);
  Hide();  // before Create: the window is created hidden
  Create(parent, wxID_ANY, wxPoint(0, 0), wxSize(0, 0), wxBORDER_NONE | wxWANTS_CHARS);
  font = MakeSkinFont(ResolveSkinFont("small", kDefaultFontIndex, ""));
  for (const wxEventTypeTag<wxMouseEvent>& type :
       {wxEVT_LEFT_DOWN, wxEVT_LEFT_UP, wxEVT_LEFT_DCLICK, wxEVT_MIDDLE_DOWN, wxEVT_MIDDLE_UP,
        wxEVT_MIDDLE_DCLICK, wxEVT_RIGHT_DOWN, wxEVT_RIGHT_UP, wxEVT_RIGHT_DCLICK,
        wxEVT_ENTER_WINDOW, wxEVT_LEAVE_WINDOW, wxEVT_MOTION})
    Bind(type, &ZKCustomControl::OnMouse, this);
  Bind(wxEVT_MOUSEWHEEL, &ZKCustomControl::OnWheel, this);
  Bind(wxEVT_PAINT, &ZKCustomControl::OnPaint, this);
  Bind(wxEVT_CHAR, &ZKCustomControl::OnChar, this);
  Bind(wxEVT_SET_FOCUS, &ZKCustomControl::OnFocus, this);
  Bind(wxEVT_KILL_FOCUS, &ZKCustomControl::OnKillFocus, this);
  Bind(wxEVT_MOUSE_CAPTURE_LOST, &ZKCustomControl::OnMouseCaptureLost, this);
}

ZKCustomControl::~ZKCustomControl() {
  // The table must not point at a control its window took down.
  ControlTable& table = TheControlTable();
  if (table.Find(controlId, deck) == this) table.Set(controlId, deck, nullptr);
  ClearLearnTargetIf({controlId, deck});
  if (HasCapture()) ReleaseMouse();
}

void ZKCustomControl::ApplySkinAttributes(ZKAttributeList& attributes) {
  width = std::max(attributes.GetInt("width"), 0);
  height = std::max(attributes.GetInt("height"), 0);
  graphicsMode = attributes.GetInt("graphics_mode");
  if (attributes.Has("fontname") || attributes.Has("fontsize") || attributes.Has("fontstyle"))
    font = MakeSkinFont(SkinFontOf(attributes));
  scriptEvents = (attributes.Has("onmousedown") ? 1 : 0) | (attributes.Has("onmouseup") ? 2 : 0);
  SetSize(std::max(attributes.GetInt("posx"), 0), std::max(attributes.GetInt("posy"), 0), width,
          height);
  BuildBackBuffer();
  skinApplied = 1;
  Show(width > 0 && height > 0);
}

void ZKCustomControl::BuildBackBuffer() {
  backDC_.reset();
  backBitmap_ = wxNullBitmap;
  if (width < 1 || height < 1) return;
  if (static_cast<long long>(width) * height <= kMaxBufferPixels) backBitmap_.Create(width, height);
  if (!backBitmap_.IsOk()) {
    std::fputs("very big error \n\n", stderr);
    return;
  }
  backDC_ = std::make_unique<wxMemoryDC>(backBitmap_);
}

bool ZKCustomControl::CopyFromSkin(int x, int y) {
  wxDC* skin = SkinImage::Get().Source();
  if (!skin || !backDC_) return false;
  backDC_->Blit(0, 0, width, height, skin, x, y);
  return true;
}

void ZKCustomControl::Redraw() {
  if (!ready || !backDC_) return;
  DrawControl();
  Refresh(false);
}

bool ZKCustomControl::LearnFocused() const {
  return learning_ && CurrentLearnTarget() == LearnTarget{controlId, deck};
}

void ZKCustomControl::SetLearning(bool on) {
  const LearnTarget self{controlId, deck};
  learning_ = on && bindings.CanLearn();
  if (!learning_) ClearLearnTargetIf(self);
  Redraw();
}

void ZKCustomControl::BecomeLearnTarget() {
  const LearnTarget previous = CurrentLearnTarget();
  if (previous == LearnTarget{controlId, deck}) return;
  SetLearnTarget({controlId, deck});
  // The old target's frame turns back to dotted.
  if (auto* old =
          dynamic_cast<ZKCustomControl*>(TheControlTable().Find(previous.id, previous.deck)))
    old->Redraw();
  Redraw();
}

void ZKCustomControl::TakeLearnFocus() {
  SetFocus();
  // Without a window manager the toolkit may not report the focus: the
  // target is taken here either way.
  if (learning_) BecomeLearnTarget();
}

void ZKCustomControl::OnFocus(wxFocusEvent& event) {
  if (learning_) BecomeLearnTarget();
  event.Skip();
}

void ZKCustomControl::OnKillFocus(wxFocusEvent& event) {
  if (CurrentLearnTarget() == LearnTarget{controlId, deck}) {
    SetLearnTarget({});
    Redraw();
  }
  event.Skip();
}

void ZKCustomControl::Send(int kind, int x, int y, int button, int modifiers) {
  ControlEvent event = ControlEvent::Mouse(kind, x, y, button, modifiers);
  event.deck = deck;
  OnControlEvent(event);
}

void ZKCustomControl::OnMouse(wxMouseEvent& event) {
  if (!ready) return;
  const int x = event.GetX(), y = event.GetY();
  const int modifiers = ControlModifiers(event);
  const int button = event.GetButton();
  if (button < kButtonLeft || button > kButtonRight) {
    if (learning_) return;
    if (event.Entering())
      Send(mt_ENTER, x, y, -1, modifiers);
    else if (event.Leaving())
      Send(mt_LEAVE, x, y, -1, modifiers);
    else if (event.Moving() || event.Dragging())
      Send(mt_MOVE, x, y, -1, modifiers);
    return;
  }
  if (event.ButtonDClick() && wantsDoubleClick) {
    if (learning_) {
      TakeLearnFocus();
      return;
    }
    // The toolkit folds the second press into the double-click.
    if (!noDownBeforeDouble) Send(mt_DOWN, x, y, button, modifiers);
    Send(mt_DBLCLICK, x, y, button, modifiers);
  } else if (event.ButtonDown() || event.ButtonDClick()) {
    // A press anywhere else gives the keys back to the shortcuts.
    if (ShortcutsBlocked() && !dynamic_cast<CZKEditText*>(this)) EndTextEntry(this);
    if (learning_) {
      TakeLearnFocus();
      return;
    }
    Send(mt_DOWN, x, y, button, modifiers);
  } else if (event.ButtonUp() && !learning_) {
    Send(mt_UP, x, y, button, modifiers);
  }
}

void ZKCustomControl::OnWheel(wxMouseEvent& event) {
  // The wheel scrolls a list wherever the pointer stands.
  if (ZKMainWindow* window = ZKMainWindow::Instance())
    window->RouteWheel(ClientToScreen(event.GetPosition()), event.GetWheelRotation(),
                       event.GetButton(), ControlModifiers(event));
}

void ZKCustomControl::OnPaint(wxPaintEvent&) {
  wxPaintDC screen(this);
  if (!ready || !backDC_) return;
  if (learning_) DrawLearnOverlay();
  screen.Blit(0, 0, width, height, backDC_.get(), 0, 0);
}

void ZKCustomControl::OnChar(wxKeyEvent& event) {
  if (!ready || learning_) return;
  ControlEvent key;
  key.kind = mt_CHAR;
  key.code = TranslateKeyCode(event.GetKeyCode(), static_cast<int>(event.GetUnicodeKey()), false);
  key.modifiers = ControlModifiers(event);
  key.ch = static_cast<int>(event.GetUnicodeKey());
  key.deck = deck;
  OnControlEvent(key);
}

void ZKCustomControl::OnMouseCaptureLost(wxMouseCaptureLostEvent&) {
  OnCaptureLost();
}

void ZKCustomControl::DrawLearnOverlay() {
  wxDC& dc = *backDC_;
  dc.SetBrush(*wxTRANSPARENT_BRUSH);
  if (LearnFocused()) {
    dc.SetPen(wxPen(*wxBLUE, 2));
    dc.DrawRectangle(1, 1, width - 2, height - 2);
  } else {
    dc.SetPen(wxPen(*wxBLUE, 1, wxPENSTYLE_DOT));
    dc.DrawRectangle(0, 0, width, height);
  }
  std::string text;
  if (bindings.midiKeyOrCc >= 0)
    text = (bindings.midiIsKey > 0 ? "K" : "C") + std::to_string(bindings.midiKeyOrCc);
  for (int i = 0; i < ControlBindings::kMaxKeys; ++i) {
    if (bindings.keyCode[i] <= 0) continue;
    if (!text.empty()) text += ' ';
    text += KeyName(bindings.keyCode[i], bindings.keyShift[i]);
  }
  if (text.empty()) return;
  dc.SetFont(font);
  dc.SetTextForeground(*wxBLACK);
  dc.SetTextBackground(*wxWHITE);
  dc.SetBackgroundMode(wxBRUSHSTYLE_SOLID);
  dc.DrawText(wxString::FromUTF8(text), 1, 1);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
}

}  // namespace vantaro
