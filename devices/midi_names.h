#pragma once
// Port names as the program shows, stores (midiin%02d) and matches them:
// the device's own name without the numbers the MIDI service adds, which
// change when a device is plugged in again.
//
// - ALSA sequencer ("Pad Box:Pad Box MIDI 1 24:0"): the trailing
//   " client:port" numbers go.
// - JACK ("client:port"): the full name stays, but a bridged ALSA client
//   number in brackets (" [24]") goes, and so does the "-01" JACK appends to
//   a client name already taken.
//
// Threads: any; pure.

#include <string>

namespace vantaro {

enum class MidiApi { kAlsa, kJack };

std::string StableMidiPortName(MidiApi api, const std::string& serviceName);

// True for a port of one of the program's own clients, whose name starts
// with `clientName` (JACK's "-01" ignored); these are never listed.
bool IsOwnMidiPort(const std::string& stableName, const std::string& clientName);

}  // namespace vantaro
