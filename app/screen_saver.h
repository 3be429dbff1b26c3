#pragma once
// Keeps the desktop's screen saver away while the program runs, through
// org.freedesktop.ScreenSaver on the session bus. Where there is no session
// bus or no such service, nothing happens.
//
// Threads: GUI thread (blocking D-Bus calls with a short time-out).

namespace vantaro {

// Returns true and a cookie when the inhibition was taken.
bool InhibitScreenSaver(unsigned* cookie);
// Releases an inhibition taken by InhibitScreenSaver.
void ReleaseScreenSaver(unsigned cookie);

}  // namespace vantaro
