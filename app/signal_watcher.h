#pragma once
// Turns SIGTERM and SIGINT into the program's ordinary close: a logout or a
// Ctrl-C closes as cleanly as the close button.
//
// The signals are blocked in every thread (BlockCloseSignals must run in
// main before any thread exists, GTK's included) and a watcher thread takes
// them with sigwait, then asks the GUI thread to close.

#include <functional>

namespace vantaro {

void BlockCloseSignals();

// Starts the watcher; `onSignal` runs on the watcher thread with the signal
// number and must only post work to the GUI thread.
void StartSignalWatcher(std::function<void(int)> onSignal);
// Ends the watcher thread and joins it.
void StopSignalWatcher();

}  // namespace vantaro
