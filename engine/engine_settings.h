#pragma once
// The setting words the engine reads. They are plain process-wide values with
// compiled-in defaults, set from config.xml at start-up (app/settings) and by
// the preferences; the audio and store threads read them without a lock, so
// each is an atomic (relaxed: a stale value for one block is harmless).
//
// Keys in comments are the config.xml names.

#include <atomic>
#include <cstdint>

namespace vantaro {

struct EngineSettings {
  // Decoded audio a deck may keep in RAM, in kilobytes (0: every song
  // streams). Set from `maxram` at start-up.
  std::atomic<std::uint32_t> availKB{310080};
  // Working-set figure, kilobytes (diagnostic; `maxram` 1 maps to it).
  std::atomic<std::uint32_t> wsKB{310080};
  std::atomic<int> pitchRange{3};          // ptchrg
  std::atomic<bool> slowReset{true};       // slowrt
  std::atomic<bool> jogScratch{true};      // jscrat
  std::atomic<bool> jogMovesPitch{false};  // ptchjw
  std::atomic<int> filterMode{2};          // fltmod
  std::atomic<int> crossfaderCurve{50};    // cfcurv
  std::atomic<bool> disableCrossfaderExternal{false};  // dsblcf
  std::atomic<bool> autoGain{true};        // apgain
  std::atomic<bool> disableAutoCue{true};  // disacu
  std::atomic<bool> highQualityTime{false};  // hqtime
  // The finer (R3) stretcher instead of the faster (R2) one; decks rebuild
  // theirs on their stretch thread when it changes.
  std::atomic<bool> highQualityFine{false};  // hqfine
  std::atomic<bool> resetDeckAfterLoad{true};  // resetd
  std::atomic<bool> rememberSongEq{true};  // rmbreq
};

// The program's one instance.
EngineSettings& TheEngineSettings();

}  // namespace vantaro
