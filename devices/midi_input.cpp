#include "devices/midi_input.h"

#include <cstring>

#include "base/realtime.h"
#include "control/gui_sync.h"

namespace vantaro {

bool IsIdentityReply(const std::uint8_t* bytes, std::size_t size) {
  return size > 9 && bytes[0] == 0xF0 && bytes[1] == 0x7E && bytes[3] == 0x06 && bytes[4] == 0x02;
}

void MidiInputSink::Attach(int owner, MidiWake* wake) {
  owner_ = owner;
  wake_ = wake;
}

void MidiInputSink::Open() {
  resetParser_.store(true, std::memory_order_release);
  identityReady_.store(false, std::memory_order_release);
  ringRefused_.store(0, std::memory_order_relaxed);
  malformed_.store(0, std::memory_order_relaxed);
}

void MidiInputSink::Receive(const std::uint8_t* bytes, std::size_t size, int timeMs) {
  RealtimeScope realtime;
  if (resetParser_.exchange(false, std::memory_order_acq_rel)) parser_.Reset();
  bool sent = false;
  const int droppedBefore = parser_.Dropped();
  for (std::size_t i = 0; i < size; ++i) {
    switch (parser_.Push(bytes[i])) {
      case MidiParsed::kShort: {
        const MidiShortMessage& m = parser_.Short();
        if (SendMidiMessage(owner_, kMidiInputKind, m.status, m.channel, m.data1, m.data2, timeMs))
          sent = true;
        else
          ringRefused_.fetch_add(1, std::memory_order_relaxed);
        break;
      }
      case MidiParsed::kSysex:
        KeepIdentityReply(parser_.Sysex(), parser_.SysexSize());
        break;
      case MidiParsed::kNothing:
        break;
    }
  }
  if (parser_.Dropped() != droppedBefore)
    malformed_.fetch_add(parser_.Dropped() - droppedBefore, std::memory_order_relaxed);
  if (sent && wake_) wake_->Signal();
}

void MidiInputSink::KeepIdentityReply(const std::uint8_t* bytes, std::size_t size) {
  if (!IsIdentityReply(bytes, size)) return;
  // A reply still untaken stays; the device answers the same each time.
  if (identityReady_.load(std::memory_order_acquire)) return;
  std::memcpy(identity_, bytes, size);
  identitySize_ = size;
  identityReady_.store(true, std::memory_order_release);
}

std::vector<std::uint8_t> MidiInputSink::TakeIdentityReply() {
  if (!identityReady_.load(std::memory_order_acquire)) return {};
  std::vector<std::uint8_t> reply(identity_, identity_ + identitySize_);
  identityReady_.store(false, std::memory_order_release);
  return reply;
}

}  // namespace vantaro
