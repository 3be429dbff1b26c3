#pragma once
// User preferences and config.xml in the Settings folder.
//
// Settings are plain process-wide values with compiled-in defaults: a key the
// file lacks keeps its default. They are read once at start-up
// (LoadSettings), pushed into the engine (ApplySettings) and written once at
// close (SaveSettings). The preferences dialog edits TheSettings() directly.
//
// Threads: GUI thread only. The engine reads its own atomic copies
// (TheEngineSettings(), TheAudioRenderer()), which ApplySettings writes.
//
// No wxWidgets here: base/xml_reader reads the file, base/xml_text writes
// it. A text value that XML cannot hold exactly (a path of any bytes) is
// followed by value_bytes (base/xml_bytes.h). A config.xml that is a
// symbolic link stays one: its target is read and written.

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantaro {

// Every key of config.xml with its default, in writing order. Integer keys
// are written with type="0", text keys with type="1".
struct Settings {
  std::string skinf1;  // path of the chosen skin's xml (text)
  std::string langf1;  // path of the chosen language file; empty: by locale (text)
  std::string audio0;  // name of the main output device (text)
  std::string audio1;  // name of the additional (headphone) device (text)
  int audmod = 0;      // output mode: 0 normal, 1 split, 2 multichannel
  int nvideo = 0;      // stored video decoder count
  int naudio = 0;      // stored audio decoder count
  int latncy = 2880;   // output latency, frames (dialog steps of 120)
  int ptchrg = 3;      // pitch/tempo range index
  int maxram = 1;      // songs in RAM: 1 auto, 2 5 min, 3 10 min, 4 15 min, 5 no limit
  int fltmod = 2;      // cutoff filter: 0 low pass, 1 high pass, 2 both
  int cfcurv = 50;     // crossfader curve, smooth (0) to hard (100)
  int bmatch = 1;      // beat-matching in auto-mix
  int jscrat = 1;      // jog-wheel scratch mode
  int hqtime = 0;      // high-quality time-stretch; never survives a start
  int resetd = 1;      // reset deck after load
  int rmbreq = 1;      // remember the song's equaliser
  int apgain = 1;      // perceptual automatic gain
  int mixlst = 0;      // auto-mix on all lists
  int histry = 1;      // remember history
  int evideo = 1;      // video mixing window enabled
  int opengl = 0;      // OpenGL video output; written, never read back
  int vidhqm = 1;      // high-quality video
  int videof = 0;      // video window full-screen
  int videox = 16;     // video window geometry, pixels
  int videoy = 100;
  int videow = 400;
  int videoh = 370;
  int remain = 0;    // time display shows remaining time
  int extmix = 0;    // external mixer mode; never survives a start
  int dsblcf = 0;    // crossfader and volume off with an external mixer; never survives a start
  int mixtim = 100;  // auto-mix fade time, tenths of a second
  int alimit = 0;    // limiter on (from the `limiter` button when saving)
  int random = 0;    // random on (from the `random` button when saving)
  int keylk0 = 0;    // key lock of deck A (from its button when saving)
  int keylk1 = 0;    // key lock of deck B
  int mixaut = 0;    // auto-mix running (from the `autodj` button when saving)
  int revmmo = 0;    // swap master and monitor outputs
  int slowrt = 1;    // slow speed/pitch reset
  int ptchjw = 0;    // the jog-wheel moves pitch
  int usecup = 1;    // read by the cue logic
  int usedim = 1;    // read by the mixer
  int disacu = 1;    // disable automatic cueing
  int sampv1 = 0;    // sampler advanced option: volume
  int sampp1 = 0;    // sampler advanced option: pitch
  int sampit = 8;    // sampler idle time
  int tctype = 0;    // time-code engine
  int dhints = 1;    // show hints (tooltips)
  int hqfine = 0;    // the finer (R3) stretcher for high-quality time-stretch; kept
  // Names of the MIDI inputs that were open, written as midiin00, midiin01,
  // ... (text). The MIDI layer opens each by name after start-up.
  std::vector<std::string> midiInputs;
  // Script files bound to the input of the same number, midiscr00, ...
  // (text, a file name in a controllers folder).
  std::vector<std::string> midiScripts;
};

// The midiin%02d and midiscr%02d keys by number, empty entries left out:
// what the controller manager opens and binds at start.
struct MidiBindings {
  std::map<int, std::string> inputs;
  std::map<int, std::string> scripts;
};
MidiBindings ReadMidiBindings(const Settings& settings);

// The program's one instance.
Settings& TheSettings();

// How reading config.xml ended. Anything but kLoaded leaves every value at
// its default. kNotParsed covers a file with any damaged place (see
// base/xml_reader.h) and one that cannot be read; kRefused a hostile or
// oversized one.
enum class SettingsFileStatus { kLoaded, kMissing, kNotParsed, kEmpty, kWrongRoot, kRefused };

// Reads `path` into `settings` (keys the file lacks keep their values);
// `settings` is left as it was unless the result is kLoaded. Logs one line
// for a broken, empty, foreign or refused file; a missing file is silent.
SettingsFileStatus ReadSettingsFile(const std::string& path, Settings& settings);
// Same, for the text of a config.xml; `source` names it in log lines.
SettingsFileStatus ReadSettingsText(std::string_view text, const std::string& source,
                                    Settings& settings);

// The complete text of config.xml for `settings`.
std::string FormatSettingsFile(const Settings& settings);

// Start-up: resets TheSettings() to the defaults, reads config.xml from
// `settingsFolder` (with or without trailing "/") and calls ApplySettings.
// A config.xml that is broken, foreign or refused is moved aside
// (config.xml.broken-YYYYMMDD-HHMMSS), so that the close, which writes the
// defaults, never replaces the user's file.
// The shortcut files are read by their own module afterwards.
SettingsFileStatus LoadSettings(const std::string& settingsFolder);

// Applies the rules that follow reading, then copies the engine's words:
// - hqtime, extmix and dsblcf go back to 0 whatever the file said;
// - skinf1 is cleared when its file does not exist;
// - maxram sets TheEngineSettings().availKB (1: wsKB, 2: 103360,
//   3: 206720, 4: 310080, 5: 0; other values leave it);
// - the engine settings and the renderer's outputMode, externalMixer and
//   reverseMasterMonitor take their keys.
// The GUI side (tooltips, buttons, key-lock, limiter, auto-mix) and the
// device look-up (OutputDeviceIndex) belong to the caller.
void ApplySettings(Settings& settings);

// Index of the device called `name` in `deviceNames` (the table of output
// devices, after enumeration); -1 when unknown. For the main device
// (`mainDevice` true) -1 becomes 0, so the first device plays.
int OutputDeviceIndex(const std::string& name, const std::vector<std::string>& deviceNames,
                      bool mainDevice);

// Close: writes TheSettings() to config.xml in `settingsFolder` through a
// temporary file and a rename, so that the old file stays whole on any
// failure. Returns true on success. On failure returns false, logs the
// reason, and sets `userMessage` to "can not save settings to <path>" for a
// message box; the shortcut files should then not be written either.
// The caller copies the live buttons into alimit, random, keylk0/1 and
// mixaut first.
bool SaveSettings(const std::string& settingsFolder, std::string* userMessage);

// Same, for any Settings and an exact file path (tests, tools).
bool SaveSettingsFile(const Settings& settings, const std::string& path, std::string* userMessage);

}  // namespace vantaro
