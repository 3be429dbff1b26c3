#pragma once
// The skin tests run real windows: each test program starts a private Xvfb
// server and the toolkit on it once, and the tests drive the windows with
// real pointer events (xdotool) and read the screen back (import).

#include <wx/image.h>

#include <string>

class wxWindow;

namespace vantaro::test {

// Runs the toolkit's events for `milliseconds`.
void Pump(int milliseconds);
// Runs `command` (with the test display) while the toolkit keeps running;
// returns its exit status.
int RunWhilePumping(const std::string& command);
// Real pointer input through the X server: a click (or a double-click, or a
// wheel turn: button 4 up, 5 down) at the middle of `window`, or at a point
// inside it.
void Click(wxWindow* window, int button = 1, int repeat = 1);
void ClickAt(wxWindow* window, int x, int y, int button = 1, int repeat = 1);
// Moves the pointer there without a click.
void PointAt(wxWindow* window, int x, int y);
// The screen as it is now; also written to `keepAs` in the build tree when
// given (for people to look at).
wxImage Screenshot(const std::string& keepAs = "");
// Pixels of `colour` (within 8 per channel) in `rect` of `image`.
int CountColour(const wxImage& image, const wxRect& rect, const wxColour& colour);
// Pixels of `rect` that are clearly blue (a thin line blended by the
// renderer's smoothing included).
int CountBlue(const wxImage& image, const wxRect& rect);

}  // namespace vantaro::test
