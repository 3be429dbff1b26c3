#pragma once
// MidiByteParser: turns the raw bytes of one MIDI input into whole messages,
// the way a hardware MIDI receiver does. The service may hand over a message
// per call (ALSA, JACK), a message cut in pieces, or a stream with running
// status; the parser keeps its state between calls.
//
// Rules, byte by byte:
// - 0xF8..0xFF (real time: clock, start, stop, active sensing, reset, and the
//   undefined 0xF9 and 0xFD) are dropped where they stand; they neither end
//   a SysEx nor cancel running status.
// - 0x80..0xEF start a channel message and become the running status.
// - 0xF1, 0xF2, 0xF3, 0xF6 are system common messages; 0xF4 and 0xF5 are
//   undefined and dropped. Each cancels running status.
// - 0xF0 starts a SysEx, 0xF7 ends it. Any other status byte inside a SysEx
//   (or a second 0xF0) truncates it: the SysEx is dropped, the byte counts.
//   A SysEx longer than kMaxSysexBytes is dropped too.
// - A data byte with no status before it is dropped.
//
// Threads: one input's callback thread; no allocation, no lock, no log.

#include <cstddef>
#include <cstdint>

namespace vantaro {

// A short message split as the scripts see it: status & 0xF0 and status &
// 0x0F. System common messages arrive as status 0xF0 with the low nibble as
// channel (0xF2 song position: channel 2).
struct MidiShortMessage {
  int status = 0;
  int channel = 0;
  int data1 = 0;
  int data2 = 0;
};

enum class MidiParsed { kNothing, kShort, kSysex };

class MidiByteParser {
 public:
  static constexpr std::size_t kMaxSysexBytes = 512;  // with F0 and F7

  // Takes one byte; kShort or kSysex when it completed a message, which
  // then stays readable until the next Push.
  MidiParsed Push(std::uint8_t byte);
  void Reset();

  const MidiShortMessage& Short() const { return short_; }
  // The whole SysEx, F0 ... F7.
  const std::uint8_t* Sysex() const { return sysex_; }
  std::size_t SysexSize() const { return sysexSize_; }

  // Bytes and messages dropped as malformed since the last Reset.
  int Dropped() const { return dropped_; }

 private:
  MidiParsed PushStatus(std::uint8_t byte);
  MidiParsed PushData(std::uint8_t byte);
  MidiParsed Complete();
  void EndSysexUnfinished();

  int runningStatus_ = 0;  // 0 when none
  int dataNeeded_ = 0;
  int dataCount_ = 0;
  int data_[2] = {};
  bool inSysex_ = false;
  bool sysexOverflow_ = false;
  std::size_t sysexSize_ = 0;
  std::uint8_t sysex_[kMaxSysexBytes] = {};
  MidiShortMessage short_;
  int dropped_ = 0;
};

}  // namespace vantaro
