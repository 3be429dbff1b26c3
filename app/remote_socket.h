#pragma once
// `vantaro --call <action> [deck] [value]` and `vantaro --get <name> [deck]`:
// a second process reaches the program that runs on the same data root
// through a Unix socket beside the instance lock ("XVT-<user>.socket",
// owner-only, and a peer of another user is refused). The program's
// listener thread reads one request a line, hands it to the GUI thread as a
// GuiSyncAction and waits for the answer at most 2 s; the GUI thread runs
// the named action or reads the value.
//
// Lines, one each way:
//   call <action> <deck> <value>   ->  ok
//   get <name> <deck>              ->  ok <value>
//   press <code> <modifiers>      ->  ok consumed | ok passed
//                                      (a key handed to the key hook, as
//                                      the toolkit delivers one)
//   either, for an unknown name    ->  unknown
//   a request the program cannot take -> error <why>
//
// Exit status of the commands: 0 done, 1 bad command line or no answer in
// time, 2 no program running, 3 unknown name. --get prints the value alone
// on one line (an integer, a double with four decimals, or a text).
//
// Threads: the listener runs on its own thread; Start and Stop on the GUI
// thread; the command side is the whole of its process.

#include <string>

namespace vantaro {

// The GuiSyncAction type of a request (auxi0 serial, auxi1 deck, auxi2
// value, auxi3 0 call / 1 get, auxs0 the name).
inline constexpr int kGuiSyncRemoteRequest = 1;

// The socket's path: the instance lock's folder (VANTARO_HOME when set,
// else the home folder) and the user's login name.
std::string RemoteSocketPath();

// Starts the listener (removing a socket a dead program left); false and a
// log line when the socket cannot be made. GUI thread.
bool StartRemoteListener();
// Stops it and removes the socket; a request in flight is answered
// "error closing". GUI thread, close step 1.
void StopRemoteListener();

bool IsRemoteCommand(int argc, char** argv);
int RunRemoteCommand(int argc, char** argv);

}  // namespace vantaro
