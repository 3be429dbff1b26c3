#include "skin/full_screen.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>
#include <wx/display.h>
#include <wx/toplevel.h>
#include <wx/utils.h>

#include <vector>

#include "base/debug_log.h"
#include "control/language.h"
#include "skin/message_helpers.h"

namespace vantaro {
namespace {

// The mode a full-screen change replaced, to restore on leaving.
struct SavedMode {
  bool changed = false;
  RRCrtc crtc = 0;
  RRMode mode = 0;
  Rotation rotation = RR_Rotate_0;
  int x = 0, y = 0;
  std::vector<RROutput> outputs;
};
SavedMode g_saved;

Display* XDisplay() {
  return static_cast<Display*>(wxGetX11Display());
}

// The first connected output that drives a CRTC, the primary one first.
RROutput ActiveOutput(Display* display, XRRScreenResources* resources, XRROutputInfo** info) {
  const RROutput primary = XRRGetOutputPrimary(display, DefaultRootWindow(display));
  RROutput found = 0;
  for (int pass = 0; pass < 2 && !found; ++pass) {
    for (int i = 0; i < resources->noutput && !found; ++i) {
      if (pass == 0 && resources->outputs[i] != primary) continue;
      XRROutputInfo* output = XRRGetOutputInfo(display, resources, resources->outputs[i]);
      if (output && output->connection == RR_Connected && output->crtc) {
        found = resources->outputs[i];
        *info = output;
      } else if (output) {
        XRRFreeOutputInfo(output);
      }
    }
  }
  return found;
}

// Switches the active output to a mode of exactly `width` x `height` that
// fits the X screen; false (nothing changed) when there is none.
bool ChangeDisplayMode(int width, int height) {
  Display* display = XDisplay();
  int eventBase = 0, errorBase = 0;
  if (!display || !XRRQueryExtension(display, &eventBase, &errorBase)) return false;
  if (width > DisplayWidth(display, DefaultScreen(display)) ||
      height > DisplayHeight(display, DefaultScreen(display)))
    return false;
  XRRScreenResources* resources = XRRGetScreenResourcesCurrent(display, DefaultRootWindow(display));
  if (!resources) return false;
  XRROutputInfo* output = nullptr;
  bool changed = false;
  if (ActiveOutput(display, resources, &output)) {
    XRRCrtcInfo* crtc = XRRGetCrtcInfo(display, resources, output->crtc);
    RRMode wanted = 0;
    for (int i = 0; i < output->nmode && !wanted; ++i)
      for (int m = 0; m < resources->nmode; ++m)
        if (resources->modes[m].id == output->modes[i] &&
            static_cast<int>(resources->modes[m].width) == width &&
            static_cast<int>(resources->modes[m].height) == height)
          wanted = output->modes[i];
    if (crtc && wanted &&
        XRRSetCrtcConfig(display, resources, output->crtc, CurrentTime, crtc->x, crtc->y, wanted,
                         crtc->rotation, crtc->outputs, crtc->noutput) == Success) {
      g_saved = {true,
                 output->crtc,
                 crtc->mode,
                 crtc->rotation,
                 crtc->x,
                 crtc->y,
                 std::vector<RROutput>(crtc->outputs, crtc->outputs + crtc->noutput)};
      changed = true;
    }
    if (crtc) XRRFreeCrtcInfo(crtc);
    XRRFreeOutputInfo(output);
  }
  XRRFreeScreenResources(resources);
  return changed;
}

void RestoreDisplayMode() {
  if (!g_saved.changed) return;
  g_saved.changed = false;
  Display* display = XDisplay();
  if (!display) return;
  XRRScreenResources* resources = XRRGetScreenResourcesCurrent(display, DefaultRootWindow(display));
  if (!resources) return;
  XRRSetCrtcConfig(display, resources, g_saved.crtc, CurrentTime, g_saved.x, g_saved.y,
                   g_saved.mode, g_saved.rotation, g_saved.outputs.data(),
                   static_cast<int>(g_saved.outputs.size()));
  XRRFreeScreenResources(resources);
}

wxSize DisplaySize(wxTopLevelWindow* window) {
  const int index = wxDisplay::GetFromWindow(window);
  return wxDisplay(index == wxNOT_FOUND ? 0u : static_cast<unsigned>(index))
      .GetGeometry()
      .GetSize();
}

}  // namespace

bool EnterSkinFullScreenIfExact(wxTopLevelWindow* window, int skinWidth, int skinHeight) {
  if (DisplaySize(window) != wxSize(skinWidth, skinHeight)) return false;
  window->ShowFullScreen(true);
  return true;
}

bool ToggleSkinFullScreen(wxTopLevelWindow* window, int skinWidth, int skinHeight) {
  if (window->IsFullScreen()) {
    LeaveSkinFullScreen(window);
    return false;
  }
  if (DisplaySize(window) != wxSize(skinWidth, skinHeight)) {
    if (!ConfirmMessage(wxString::FromUTF8(Text(txt_confirm_screen_resolution_change)), ""))
      return false;
    if (!ChangeDisplayMode(skinWidth, skinHeight)) {
      DebugLog("full screen: the display offers no %dx%d mode; the window stays as it is",
               skinWidth, skinHeight);
      ShowMessage(wxString::Format("The display offers no %dx%d mode. The window stays as it is.",
                                   skinWidth, skinHeight),
                  "");
      return false;
    }
  }
  window->ShowFullScreen(true);
  return true;
}

void LeaveSkinFullScreen(wxTopLevelWindow* window) {
  if (window->IsFullScreen()) window->ShowFullScreen(false);
  RestoreDisplayMode();
}

}  // namespace vantaro
