#pragma once
// The program's message boxes (skin/message_helpers.h): the toolkit's
// generic dialog, run by the program's own modal loop, so that a close
// request (SIGTERM, SIGINT, a logout) can end the box the user has not
// answered and go on closing.
//
// Threads: GUI thread.

#include <wx/string.h>

#include "skin/message_helpers.h"

namespace vantaro {

// Logs "message: <text>" and shows it in a box titled "Message" until the
// user or a close request ends it. Once a close has been requested it only
// logs: no box may hold up the close.
void ShowMessage(const wxString& text);

// Lets the boxes see a close request and pass it on (start-up, once).
void ConnectMessageBoxesToClose();

}  // namespace vantaro
