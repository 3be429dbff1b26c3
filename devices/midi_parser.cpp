#include "devices/midi_parser.h"

namespace vantaro {
namespace {

// Data bytes that follow a status byte; -1 for a status that is dropped.
int DataBytesOf(int status) {
  switch (status & 0xF0) {
    case 0xC0:
    case 0xD0:
      return 1;
    case 0xF0:
      break;
    default:
      return 2;
  }
  switch (status) {
    case 0xF1:
    case 0xF3:
      return 1;
    case 0xF2:
      return 2;
    case 0xF6:
      return 0;
    default:
      return -1;  // 0xF4, 0xF5 undefined
  }
}

}  // namespace

void MidiByteParser::Reset() {
  *this = MidiByteParser();
}

MidiParsed MidiByteParser::Push(std::uint8_t byte) {
  if (byte >= 0xF8) return MidiParsed::kNothing;  // real time, wherever it stands
  if (byte & 0x80) return PushStatus(byte);
  return PushData(byte);
}

void MidiByteParser::EndSysexUnfinished() {
  if (!inSysex_) return;
  inSysex_ = false;
  ++dropped_;
}

MidiParsed MidiByteParser::PushStatus(std::uint8_t byte) {
  if (byte == 0xF7) {
    if (!inSysex_) {
      ++dropped_;
      return MidiParsed::kNothing;
    }
    inSysex_ = false;
    if (sysexOverflow_) {
      ++dropped_;
      return MidiParsed::kNothing;
    }
    sysex_[sysexSize_++] = byte;
    return MidiParsed::kSysex;
  }
  EndSysexUnfinished();
  dataCount_ = 0;
  if (byte == 0xF0) {
    runningStatus_ = 0;
    inSysex_ = true;
    sysexOverflow_ = false;
    sysex_[0] = byte;
    sysexSize_ = 1;
    return MidiParsed::kNothing;
  }
  const int needed = DataBytesOf(byte);
  if (needed < 0) {
    runningStatus_ = 0;
    ++dropped_;
    return MidiParsed::kNothing;
  }
  runningStatus_ = byte;
  dataNeeded_ = needed;
  return needed == 0 ? Complete() : MidiParsed::kNothing;
}

MidiParsed MidiByteParser::PushData(std::uint8_t byte) {
  if (inSysex_) {
    // One place is kept for the closing F7.
    if (sysexSize_ + 1 >= kMaxSysexBytes)
      sysexOverflow_ = true;
    else
      sysex_[sysexSize_++] = byte;
    return MidiParsed::kNothing;
  }
  if (runningStatus_ == 0) {
    ++dropped_;
    return MidiParsed::kNothing;
  }
  data_[dataCount_++] = byte;
  return dataCount_ == dataNeeded_ ? Complete() : MidiParsed::kNothing;
}

MidiParsed MidiByteParser::Complete() {
  short_.status = runningStatus_ & 0xF0;
  short_.channel = runningStatus_ & 0x0F;
  short_.data1 = dataNeeded_ > 0 ? data_[0] : 0;
  short_.data2 = dataNeeded_ > 1 ? data_[1] : 0;
  dataCount_ = 0;
  // Only channel messages run on; a system common message is whole.
  if (runningStatus_ >= 0xF0) runningStatus_ = 0;
  return MidiParsed::kShort;
}

}  // namespace vantaro
