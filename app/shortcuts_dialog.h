#pragma once
// The shortcuts dialogs. CCatchEventsDialog lists every key and MIDI
// binding, filtered by the kind of control, and removes the chosen one;
// its "Add" button opens CEventsAddDialog, which binds the next key pressed
// (or MIDI key or knob moved) to a control chosen from a list. The right
// button on the learn button opens the first.
//
// Threads: GUI thread only.

class wxWindow;

namespace vantaro {

void ShowShortcutsDialog(wxWindow* parent);
// Gives the learn button its right-click; after the controls are wired.
void AttachShortcutsDialog();

}  // namespace vantaro
