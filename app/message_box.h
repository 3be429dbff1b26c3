#pragma once
// The program's message boxes. They are the toolkit's generic dialog, run
// by the program's own modal loop, so that a close request (SIGTERM, SIGINT,
// a logout) can end the box the user has not answered and go on closing.
//
// Threads: GUI thread.

#include <wx/string.h>

namespace vantaro {

// Logs "message: <text>" and shows it in a box titled "Message" until the
// user or a close request ends it. Once a close has been requested it only
// logs: no box may hold up the close.
void ShowMessage(const wxString& text);

// Ends the innermost open box as if its close button were pressed; false
// when none is open.
bool EndOpenMessageBox();

}  // namespace vantaro
