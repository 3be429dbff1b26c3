#pragma once
// The program's recorder, sampler slots and preview players: the audio
// objects that join the decks at the long initialisation, are wired into
// the mixer with them, and are saved, stopped and deleted by the close.
//
// Order for the application:
//   main, before wxEntry:  TakeRecordOption(argc, argv)
//   start, step 9:         CreateAudioExtras()  (repairs an unfinished
//                          recording; the database is loaded)
//   start, step 10:        WireMixerWithExtras(rig)  (reads sampler.xml)
//   start, step 16:        StartCommandLineRecording()  (audio is open)
//   every screen tick:     RunAudioExtrasTick()
//   close, after audio:    DeleteAudioExtras()  (writes sampler.xml)
//
// Threads: GUI thread, except TakeRecordOption (main thread, before any
// other thread exists).

#include <string>

namespace vantaro {

class CRecorder;
class CSamplerSet;
class CZKPreviewPlayer;
struct MixerRig;

// Removes `--record PATH` from the command line and keeps PATH: the master
// is then recorded from the moment audio opens until the close.
void TakeRecordOption(int& argc, char** argv);

void CreateAudioExtras();
// WireMixer with the preview and the eight slots, then the slots' file.
bool WireMixerWithExtras(MixerRig& rig);
void StartCommandLineRecording();
// Stops a recording whose writes failed and tells the user (string 52);
// closes a preview that reached its end; shows the sampler pads.
void RunAudioExtrasTick();
void DeleteAudioExtras();

// Loads `path` into sampler slot `slot` (its saved loop from the song
// database, when it has one) and keeps it for the sampler file. False when
// the file does not load (the slot is then empty).
bool LoadSamplerSlot(int slot, const std::string& path);

// Null before step 9 and after close.
CRecorder* TheRecorder();
CSamplerSet* TheSamplers();
// 0: the mixer's preview input; 1 and 2: the deck-side players.
CZKPreviewPlayer* ThePreview(int which = 0);

// The marker of a recording in progress, in the settings folder.
inline constexpr const char* kRecordingMarkerName = "recording.open";

}  // namespace vantaro
