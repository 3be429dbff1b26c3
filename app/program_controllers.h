#pragma once
// The MIDI controllers in the running program: the MIDI service, the script
// engine and the controller manager, made after the action routing at start
// and ended before the settings are saved at close.
//
// Messages of a controller slot go to its script; a slot with no script
// (or a disabled one) feeds the skin's MIDI map as an input without owner
// would, so learned MIDI bindings work with any opened device.
//
// Threads: GUI thread only.

namespace vantaro {

class ZKMainWindow;

// Start-up, after StartActionRouting. A missing MIDI service or script
// engine is logged; the program goes on without controllers.
void StartControllers(ZKMainWindow* mainWindow);
// Every screen tick: identity replies, matches, timers and the hot-plug and
// script-file polls.
void RunControllerTick();
// Close: controllerDeinit for each controller, ports closed, the opened
// inputs recorded as midiin%02d (numbers already used keep their names).
void StopControllers();

}  // namespace vantaro
