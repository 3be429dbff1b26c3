#pragma once
// English texts of the language strings the start-up and close paths show,
// used until the language files are loaded (or when they lack the text).

namespace vantaro {

enum TextId {
  kTextScreenTooSmall = 40,
  kTextAlreadyRunning = 51,
  kTextRecordingFailed = 52,
  kTextNoAudioDevice = 90,
  // The program's own texts, which the language table has no row for (ids
  // from 1000 on, beyond every row a language file can name).
  kTextMultichannelUnavailable = 1000,
};

inline const char* FallbackText(int id) {
  switch (id) {
    case kTextScreenTooSmall:
      return "The screen resolution is too low. Vantaro DJ needs at least 900 x 600 pixels.";
    case kTextAlreadyRunning:
      return "The program is already running.";
    case kTextRecordingFailed:
      return "Recording stopped: the disk is full or the file cannot be written.";
    case kTextNoAudioDevice:
      return "No audio output device was found. The program will run without sound.";
    case kTextMultichannelUnavailable:
      return "Multichannel output needs a device with at least four channels, and the chosen "
             "device has fewer. The program plays in normal mode instead: the master on the "
             "first pair.";
    default:
      return "";
  }
}

}  // namespace vantaro
