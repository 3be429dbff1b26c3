#include "skin/main_window.h"

#include "base/debug_log.h"
#include "skin/custom_control.h"
#include "skin/skin_loader.h"

namespace vantaro {
namespace {

ZKMainWindow* g_instance = nullptr;

}  // namespace

ZKMainWindow::ZKMainWindow(const wxPoint& position, const wxSize& size, const wxString& title,
                           CloseRoutine closeRoutine)
    : wxFrame(nullptr, wxID_ANY, title, position, size),
      ZKBaseWindow(this),
      closeRoutine_(closeRoutine) {
  g_instance = this;
  BindSkinPainting();
  Bind(wxEVT_THREAD, &ZKMainWindow::OnTick, this, kTickEventId);
  Bind(wxEVT_CLOSE_WINDOW, &ZKMainWindow::OnCloseWindow, this);
}

ZKMainWindow::~ZKMainWindow() {
  // The skin's own controls and groups are children of this window.
  ReleaseSkinTables(this);
  if (g_instance == this) g_instance = nullptr;
}

ZKMainWindow* ZKMainWindow::Instance() {
  return g_instance;
}

bool ZKMainWindow::PostTick() {
  if (tickPending_.exchange(true)) return false;
  wxQueueEvent(this, new wxThreadEvent(wxEVT_THREAD, kTickEventId));
  return true;
}

void ZKMainWindow::OnTick(wxThreadEvent&) {
  if (tickHandler_)
    tickHandler_();
  else
    ClearTickPending();
}

void ZKMainWindow::SetWheelLists(ZKCustomControl* first, ZKCustomControl* second,
                                 ZKCustomControl* third) {
  wheelLists_[0] = first;
  wheelLists_[1] = second;
  wheelLists_[2] = third;
}

void ZKMainWindow::RouteWheel(const wxPoint& screenPoint, int rotation, int button, int modifiers) {
  ZKCustomControl* target = wheelLists_[0];
  for (ZKCustomControl* list : {wheelLists_[1], wheelLists_[2]}) {
    if (list && list->IsShown() && list->GetScreenRect().Contains(screenPoint)) {
      target = list;
      break;
    }
  }
  if (!target || target->IsLearning()) return;
  const wxPoint local = target->ScreenToClient(screenPoint);
  ControlEvent event = ControlEvent::Mouse(mt_WHEEL, local.x, local.y, button, modifiers);
  event.status = rotation;
  event.deck = target->Deck();
  target->OnControlEvent(event);
}

void ZKMainWindow::OnCloseWindow(wxCloseEvent& event) {
  if (!event.CanVeto()) {
    DebugLog("we can NOT veto the close signal");
  } else if (closeQuery_ && !closeQuery_()) {
    event.Veto();
    return;
  }
  // The close routine stops the tick thread before it returns, so no tick
  // can reach a destroyed window.
  if (closeRoutine_) closeRoutine_();
  Destroy();
}

}  // namespace vantaro
