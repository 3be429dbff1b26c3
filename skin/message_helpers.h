#pragma once
// The program's message boxes: the toolkit's generic dialogs run in the
// program's own modal loop, so that a close request (a signal, a logout) can
// end a box the user has not answered. Their buttons speak the language of
// the language file.
//
// Threads: GUI thread.

#include <wx/string.h>

namespace vantaro {

// How boxes learn that the program is closing, and how they pass the close
// on once their loop has ended. Set by the program at start; without them a
// box always shows.
void SetMessageCloseHooks(bool (*closeRequested)(), void (*postCloseRequest)());

// Yes/No box; nonzero when the user answered Yes (or OK). An empty title
// reads "Vantaro DJ". While a close is requested it answers 0 at once.
int ConfirmMessage(const wxString& text, const wxString& title);
// One-button box.
void ShowMessage(const wxString& text, const wxString& title);
// A text entry box whose OK and Cancel speak the language file; true (and
// `text` set) when the user pressed OK.
bool TextEntry(const wxString& message, const wxString& title, wxString* text);

// Ends the innermost open box as if its close button were pressed; false
// when none is open.
bool EndOpenMessageBox();

}  // namespace vantaro
