#pragma once
// ZKMainWindow: the program's one top-level window. The skin later gives it
// its size and face; at start it is a plain frame at 100,100, 400 x 400.
//
// It receives the screen tick (a thread event with id 32, posted by the
// 38 ms thread) and hands it to the tick handler; it routes the mouse wheel
// to the lists; and it runs the close routine once, on its close event,
// before destroying itself. A close the user may still refuse first asks
// the close query (the program asks for confirmation while a deck plays);
// a close that cannot be refused (a signal, a logout) is logged and goes on.
//
// Threads: GUI thread only, except PostTick, which any thread may call.

#include <wx/frame.h>

#include <atomic>
#include <functional>

#include "skin/base_window.h"

namespace vantaro {

class ZKCustomControl;

class ZKMainWindow : public wxFrame, public ZKBaseWindow {
 public:
  static constexpr int kTickEventId = 32;
  using CloseRoutine = void (*)();
  // Returns false to refuse a close the user asked for.
  using CloseQuery = bool (*)();

  ZKMainWindow(const wxPoint& position, const wxSize& size, const wxString& title,
               CloseRoutine closeRoutine);
  ~ZKMainWindow() override;

  // The living main window, or null.
  static ZKMainWindow* Instance();

  // Runs on the GUI thread for each tick event.
  void SetTickHandler(std::function<void()> handler) { tickHandler_ = std::move(handler); }
  void SetCloseQuery(CloseQuery query) { closeQuery_ = query; }

  // Posts one tick event unless one is pending; returns false when one was.
  // Any thread.
  bool PostTick();
  // Clears the pending flag: the last step of the tick handler.
  void ClearTickPending() { tickPending_.store(false); }

  // The three lists the wheel scrolls. The pointer (screen coordinates) is
  // tested against the second, then the third; the first takes the wheel
  // otherwise. A learning list takes nothing.
  void SetWheelLists(ZKCustomControl* first, ZKCustomControl* second, ZKCustomControl* third);
  void RouteWheel(const wxPoint& screenPoint, int rotation, int button, int modifiers);

 private:
  void OnTick(wxThreadEvent& event);
  void OnCloseWindow(wxCloseEvent& event);

  CloseRoutine closeRoutine_;
  CloseQuery closeQuery_ = nullptr;
  std::function<void()> tickHandler_;
  std::atomic<bool> tickPending_{false};
  ZKCustomControl* wheelLists_[3] = {};
};

}  // namespace vantaro
