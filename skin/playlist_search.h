#pragma once
// The skin's search box (`et_search`) over the main track list: every
// change of its text (typed, pasted, or emptied by Escape) searches the
// list the main view shows anew; an empty box ends the search, and the
// list's cursors come back as they were.
//
// Threads: GUI thread only.

namespace vantaro {

class CZKEditText;

// Wires `box`'s change callback; null does nothing.
void ConnectSearchBox(CZKEditText* box);

}  // namespace vantaro
