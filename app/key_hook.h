#pragma once
// The main window's key hook: every key pressed while the main window (or
// any control in it) has the focus passes here first, before the focused
// control sees it. Keys of the shortcut map drive their controls; other
// keys go on to the focused control. A focused text box keeps its keys
// (unless learning), and keys reaching an inactive program are swallowed.
//
// Threads: GUI thread only.

class wxWindow;

namespace vantaro {

void InstallKeyHook(wxWindow* mainWindow);

// Hands the hook a key as the toolkit delivers one (code and modifier
// bits as the shortcut map stores them); true when the hook consumed it.
// The remote "press" request uses it: a test, or a tool of the user's,
// presses a key of the running program.
bool DeliverKeyToHook(wxWindow* mainWindow, int code, int modifiers);

}  // namespace vantaro
