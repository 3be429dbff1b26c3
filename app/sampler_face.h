#pragma once
// The sampler on the face: the skin's own controls "_sampler1".."_sampler8"
// (pads) and "_sampler_volume" (a slider), found by name on the screen
// tick. A pad starts or stops its slot, is lit while the slot plays and
// shows the slot's name; a right click on it loads a file into the slot; the volume moves the eight
// slots' faders together (saved per slot with the sampler file).
//
// Threads: GUI thread.

#include <string>

namespace vantaro {

class CMixer;
class CSamplerSet;
class CSoundSource;

// The text of slot `slot`'s pad (0..7): its number, then the sample's file
// name without folder and ending ("3 kick"), or the number alone when empty.
std::string SamplerPadLabel(int slot, const std::string& file);

// Starts a stopped slot, stops a playing one (an autosync start follows the
// reference deck for the crossfader). Also the script's `samplerPlay`.
void ToggleSamplerSlot(CSamplerSet& samplers, CMixer* mixer, CSoundSource* const decks[2],
                       int slot);

// The mixer input of slot `slot`: the slots are the sub-bus inputs, in
// order. -1 when there is none.
int SamplerSlotInput(const CMixer& mixer, int slot);

// Wires the pads and the volume of the present skin (cheap when they are
// wired already) and shows the slots' states. Each screen tick.
void RefreshSamplerFace();

}  // namespace vantaro
