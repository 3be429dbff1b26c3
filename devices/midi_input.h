#pragma once
// MidiInputSink: what one open MIDI input does with the bytes the service
// hands over. Short messages go into the MIDI ring of control/gui_sync.h
// under the sink's owner; a device's identity reply (a SysEx of more than
// nine bytes, F0 7E <device> 06 02 ...) is kept in a fixed buffer until the
// GUI thread takes it; every other SysEx is dropped, as no script reads one.
//
// Threads: Receive on the input's callback thread (with JACK, JACK's
// real-time process thread): no allocation, no lock, no log. It marks the
// thread real-time for its span, so a debug build traps a violation and the
// ring does not post its wake-up from there (posting allocates); the sink
// signals its MidiWake instead. Attach before any port exists; Open, the
// takes and the counts on the GUI thread, while the callback may run.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "devices/midi_parser.h"

namespace vantaro {

// The source kind of messages from a MIDI input (1..64 are the console's).
inline constexpr int kMidiInputKind = 0;

// Relays a real-time sender's wake-up to a thread that may post it.
class MidiWake {
 public:
  virtual ~MidiWake() = default;
  // Any thread, real-time safe.
  virtual void Signal() = 0;
};

class MidiInputSink {
 public:
  // Messages go to `owner`; `wake` (may be null) is signalled after them.
  void Attach(int owner, MidiWake* wake);
  // As a port opens: the parser (at the next Receive) and any reply left
  // from a former device start empty.
  void Open();

  // The callback thread. `timeMs` stamps the messages.
  void Receive(const std::uint8_t* bytes, std::size_t size, int timeMs);

  // GUI thread: the identity reply, once; empty when none came.
  std::vector<std::uint8_t> TakeIdentityReply();

  // Messages the full ring refused (counted also by the ring for its
  // overload line) and malformed bytes dropped, since the port opened.
  int RingRefused() const { return ringRefused_.load(std::memory_order_relaxed); }
  int MalformedDropped() const { return malformed_.load(std::memory_order_relaxed); }

 private:
  void KeepIdentityReply(const std::uint8_t* bytes, std::size_t size);

  int owner_ = 0;
  MidiWake* wake_ = nullptr;
  MidiByteParser parser_;  // the callback's own
  std::atomic<bool> resetParser_{false};
  std::uint8_t identity_[MidiByteParser::kMaxSysexBytes] = {};
  std::size_t identitySize_ = 0;
  // Set by the callback once identity_ is whole; cleared by the GUI thread
  // after its copy. The callback writes only while it is clear.
  std::atomic<bool> identityReady_{false};
  std::atomic<int> ringRefused_{0};
  std::atomic<int> malformed_{0};
};

// A reply to the universal identity request that carries more than the
// header: more than nine bytes, F0 7E <any> 06 02.
bool IsIdentityReply(const std::uint8_t* bytes, std::size_t size);

}  // namespace vantaro
