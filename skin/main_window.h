#pragma once
// ZKMainWindow: the program's one top-level window. The skin later gives it
// its size and face; at start it is a plain frame at 100,100, 400 x 400.
//
// It receives the screen tick (a thread event with id 32, posted by the
// 38 ms thread) and hands it to the tick handler, and it runs the close
// routine once, on its close event, before destroying itself.
//
// Threads: GUI thread only, except PostTick, which any thread may call.

#include <wx/frame.h>

#include <atomic>
#include <functional>

namespace vantaro {

class ZKMainWindow : public wxFrame {
 public:
  static constexpr int kTickEventId = 32;
  using CloseRoutine = void (*)();

  ZKMainWindow(const wxPoint& position, const wxSize& size, const wxString& title,
               CloseRoutine closeRoutine);

  // Runs on the GUI thread for each tick event.
  void SetTickHandler(std::function<void()> handler) { tickHandler_ = std::move(handler); }

  // Posts one tick event unless one is pending; returns false when one was.
  // Any thread.
  bool PostTick();
  // Clears the pending flag: the last step of the tick handler.
  void ClearTickPending() { tickPending_.store(false); }

 private:
  void OnTick(wxThreadEvent& event);
  void OnCloseWindow(wxCloseEvent& event);

  CloseRoutine closeRoutine_;
  std::function<void()> tickHandler_;
  std::atomic<bool> tickPending_{false};
};

}  // namespace vantaro
