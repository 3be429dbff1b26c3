#pragma once
// The program's recorder (and, with it, the players that join the mixer
// beside the decks): created at the long initialisation, stopped and
// deleted by the close routine.
//
// Order for the application:
//   main, before wxEntry:  TakeRecordOption(argc, argv)
//   start, step 9:         CreateRecorder()  (repairs an unfinished file)
//   start, step 16:        StartCommandLineRecording()  (audio is open)
//   every screen tick:     CheckRecorder()
//   close, after audio:    DeleteRecorder()
//
// Threads: GUI thread, except TakeRecordOption (main thread, before any
// other thread exists).

#include <string>

namespace vantaro {

class CRecorder;

// Removes `--record PATH` from the command line and keeps PATH: the master
// is then recorded from the moment audio opens until the close.
void TakeRecordOption(int& argc, char** argv);

void CreateRecorder();
void StartCommandLineRecording();
// Stops a recording whose writes failed and tells the user (string 52).
void CheckRecorder();
void DeleteRecorder();

// The program's recorder; null before step 9 and after close.
CRecorder* TheRecorder();

// The marker of a recording in progress, in the settings folder.
inline constexpr const char* kRecordingMarkerName = "recording.open";

}  // namespace vantaro
