#pragma once
// Layout of one input of the codec fuzz target, shared with the test that
// writes its seed corpus: a selector byte, then the bytes of a sound file.
//
//   bits 0-1: file ending (wav, aiff, au, aif)
//   bits 2-3: target rate (44100, 22050, 48000, 11025)
//   bits 4-5: target channels (2, 1, 5, 2)
//   bit 6:    read 16-bit samples instead of floats
//   bit 7:    the bytes are a zip archive for the codec set to unpack

#include <cstdint>
#include <string>

namespace vantaro::fuzz {

inline const char* EndingOf(uint8_t selector) {
  static const char* const kEndings[] = {".wav", ".aiff", ".au", ".aif"};
  return kEndings[selector & 3];
}
inline int TargetRateOf(uint8_t selector) {
  static const int kRates[] = {44100, 22050, 48000, 11025};
  return kRates[(selector >> 2) & 3];
}
inline int TargetChannelsOf(uint8_t selector) {
  static const int kChannels[] = {2, 1, 5, 2};
  return kChannels[(selector >> 4) & 3];
}
inline bool ReadsShorts(uint8_t selector) {
  return (selector >> 6) & 1;
}
inline bool IsArchive(uint8_t selector) {
  return (selector >> 7) & 1;
}

// Selector for a file of the given ending (".zip": an archive) read as
// 44100 Hz stereo floats.
inline uint8_t SelectorFor(const std::string& ending) {
  if (ending == ".aiff") return 1;
  if (ending == ".au") return 2;
  if (ending == ".aif") return 3;
  if (ending == ".zip") return 0x80;
  return 0;
}

}  // namespace vantaro::fuzz
