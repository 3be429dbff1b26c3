#pragma once
// The program's side of actions and shortcuts: when the maps are read and
// written, how the rings reach the main window, what the screen tick
// refreshes, and the socket of `vantaro --call/--get`.
//
// Order:
//   step 13  LoadProgramShortcuts (after config.xml)
//   step 21  StartActionRouting, once the main window is shown
//   tick     RunActionTick
//   close 1  StopActionRouting (no more wake-ups, no more requests)
//   close 2  SaveProgramShortcuts (after config.xml)
//
// Threads: GUI thread only.

namespace vantaro {

class ZKMainWindow;

void LoadProgramShortcuts();
void StartActionRouting(ZKMainWindow* mainWindow);
void RunActionTick();
void StopActionRouting();
void SaveProgramShortcuts();

}  // namespace vantaro
