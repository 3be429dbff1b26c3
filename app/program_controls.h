#pragma once
// The program's side of the controls and the language: which language file
// speaks, when the built-in controls are made and wired, when they reach the
// engine, and how the screen tick keeps them showing the engine's state.
//
// Order at start-up:
//   step 5   SelectLanguage (before any message: the second-instance box
//            already speaks it)
//   step 7   BuildProgramControls, with the main window
//   step 8   WireControls (callbacks and ranges; data only)
//   step 10  ConnectControlsToEngine, once the decks and mixer exist
//   step 14  ApplyControlSettings, once config.xml is read
// At close, DisconnectControlsFromEngine before the engine objects go.
//
// Threads: GUI thread only.

#include <string>

namespace vantaro {

struct Program;
class ZKMainWindow;

// Loads the language: the file config.xml's langf1 names (read early, as
// the language comes before the settings), else by the user's locale, else
// English. The files lie in "languages" beside the program.
void SelectLanguage(const std::string& executableFolder, const std::string& settingsFolder);

void BuildProgramControls(ZKMainWindow* mainWindow);
void WireControls();
void ConnectControlsToEngine(Program& program);
void ApplyControlSettings();
void DisconnectControlsFromEngine();

// Screen tick: the controls show the engine's values, the volume faders
// their decks' levels.
void RefreshControls(Program& program);
// Tick step 9, after the levels are read: the meters show them.
void FeedMeters(Program& program);

}  // namespace vantaro
