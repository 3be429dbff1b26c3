#pragma once
// Full screen for the main window. Full screen is the window manager's
// state (the window covers the display, without decorations); the display's
// mode changes only when the user asks for full screen with a skin made for
// another resolution, confirms the question, and the X server offers a mode
// of exactly the skin's size through XRandR. The earlier mode comes back on
// leaving. Elsewhere (no XRandR, no such mode, Wayland) the request is
// declined and the window stays as it was.
//
// Threads: GUI thread only.

class wxTopLevelWindow;

namespace vantaro {

// Enters full screen when the skin is made for exactly the display's size
// (no question asked, no mode change); true when it did.
bool EnterSkinFullScreenIfExact(wxTopLevelWindow* window, int skinWidth, int skinHeight);

// The user's full-screen switch. Entering with a skin of another size asks
// txt_confirm_screen_resolution_change first. Returns true when the window
// is full screen afterwards.
bool ToggleSkinFullScreen(wxTopLevelWindow* window, int skinWidth, int skinHeight);

// Leaves full screen and restores a display mode changed for the skin.
void LeaveSkinFullScreen(wxTopLevelWindow* window);

}  // namespace vantaro
