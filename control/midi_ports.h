#pragma once
// What the controller scripts need of the MIDI service: the names of the
// ports there are now, and a port opened or closed for one controller slot.
// devices/ implements it on the system's MIDI service; the controller
// manager (the GUI thread's owner of the 16 controller slots) uses it.
//
// A port's name is the device's own name without the client:port numbers
// the service adds (they change when a device is plugged in again), so a
// name matches the same device across replugs and in config.xml.
//
// Messages of an input opened for slot S arrive through the MIDI ring of
// gui_sync.h with owner S + 1 (owner 0 is the shortcut map); a complete
// identity reply of the device is kept for the slot until taken.
//
// Threads: every call on the GUI thread; the service's own threads only
// write the MIDI ring and the identity-reply slot.

#include <cstdint>
#include <string>
#include <vector>

namespace vantaro {

inline constexpr int kControllerSlots = 16;

inline constexpr int MidiOwnerOfSlot(int slot) { return slot + 1; }
inline constexpr int SlotOfMidiOwner(int owner) { return owner - 1; }

class MidiPorts {
 public:
  virtual ~MidiPorts() = default;

  // Rescans the service; the names in its order. Cheap enough for a call
  // every few screen ticks (the hot-plug poll).
  virtual std::vector<std::string> InputNames() = 0;
  virtual std::vector<std::string> OutputNames() = 0;

  // False (and one log line with the service's reason) when it cannot be
  // opened; the slot then counts as closed. Opening an open slot first
  // closes it. Closing a closed slot does nothing.
  virtual bool OpenInput(int slot, const std::string& name) = 0;
  virtual void CloseInput(int slot) = 0;
  virtual bool OpenOutput(int slot, const std::string& name) = 0;
  virtual void CloseOutput(int slot) = 0;

  // Sends on the slot's output; nothing when it is closed. Never throws: a
  // failure is logged and the output reset.
  virtual void SendShort(int slot, int status, int data1, int data2) = 0;
  virtual void SendSysex(int slot, const std::vector<std::uint8_t>& bytes) = 0;

  // The identity reply's whole message (F0 ... F7) as the device sent it,
  // once; empty when none came since the last call.
  virtual std::vector<std::uint8_t> TakeIdentityReply(int slot) = 0;
};

}  // namespace vantaro
