#include "skin/main_window.h"

namespace vantaro {

ZKMainWindow::ZKMainWindow(const wxPoint& position, const wxSize& size, const wxString& title,
                           CloseRoutine closeRoutine)
    : wxFrame(nullptr, wxID_ANY, title, position, size), closeRoutine_(closeRoutine) {
  Bind(wxEVT_THREAD, &ZKMainWindow::OnTick, this, kTickEventId);
  Bind(wxEVT_CLOSE_WINDOW, &ZKMainWindow::OnCloseWindow, this);
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

void ZKMainWindow::OnCloseWindow(wxCloseEvent&) {
  // The close routine stops the tick thread before it returns, so no tick
  // can reach a destroyed window.
  if (closeRoutine_) closeRoutine_();
  Destroy();
}

}  // namespace vantaro
