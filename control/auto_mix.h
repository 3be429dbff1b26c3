#pragma once
// Auto-mix: plays a list unattended. When the audible deck nears the end of
// its track, the idle deck starts, the crossfader sweeps across by itself
// (matching the beats in the first third when asked), and the deck that has
// faded out is loaded with the next track, from the auto-mix list or the
// list on screen.
//
// The core reaches decks, crossfader, lists and the program's load
// procedure only through AutoMixHost, so it runs headless: the program
// implements the host on the real decks (app/program_auto_mix.*), the tests
// on a fake.
//
// The sweep advances by the time that really passed since the previous
// tick, so a sweep of the whole range lasts the fade time (within one tick)
// whatever the tick rate or its jitter.
//
// Units: crossfader 0 (deck A) to 127 (deck B), 63 and below count as the
// A side; positions and lengths in frames at 44100 Hz; fade time in tenths
// of a second; the tick clock in milliseconds (monotonic).
// Threads: GUI thread only (screen tick, control handlers, the auto-mix
// list's first-item callback).

#include <cstdint>
#include <string>

namespace vantaro {

inline constexpr int kCrossfaderTop = 127;
// The side test used everywhere: at or below this, deck A is the audible one.
inline constexpr int kCrossfaderLastA = 63;
// LoadNextTrack's source code for the second track list control (the one
// that shows the auto-mix list): the auto-mix list is always the source.
inline constexpr int kSourceSecondView = 111;
// Fade time limits and step of the more/less buttons, tenths of a second.
inline constexpr int kFadeTimeMin = 10, kFadeTimeMax = 300, kFadeTimeStep = 5;
// The pseudo-path that empties a deck (a path ending in "$" names no file).
inline constexpr char kEmptyDeckPath[] = "---$";

// One track list as auto-mix sees it. Rows are the shown rows.
class AutoMixList {
 public:
  virtual ~AutoMixList() = default;
  virtual int Count() const = 0;
  virtual int NextCursor() const = 0;  // -1: none
  virtual void SetNextCursor(int row) = 0;
  virtual std::string RowPath(int row) const = 0;
  // Removes the row from the list (never its file), puts the next cursor on
  // row 0 and repaints the views that show the list.
  virtual void TakeRow(int row) = 0;
};

// What the end detection and the beat comparison read of a deck.
struct AutoMixDeckReading {
  std::int64_t length = 0;    // frames; below 1: no track
  std::int64_t position = 0;  // frames
  bool playing = false;
  bool cueOutOn = false;    // the deck's automatic cue: its end follows cue_out
  std::int64_t cueOut = 0;  // the track's cue_out, frames; 0 or less: none
  bool hasBeat = false;     // a track with a tempo, so the phase means something
  float beatPhase = 0;      // 0..1
};

enum class AutoMixListRole { kMainView, kSecondView, kAutomix };

class AutoMixHost {
 public:
  virtual ~AutoMixHost() = default;
  virtual int Crossfader() = 0;
  virtual void SetCrossfader(int value) = 0;
  virtual AutoMixDeckReading ReadDeck(int deck) = 0;
  // Starts the deck unless it plays; a deck still loading starts once its
  // track is ready.
  virtual void Play(int deck) = 0;
  // `deck` takes `other`'s tempo and beat through the deck's sync, and its
  // pitch slider shows the new pitch.
  virtual void MatchBeats(int deck, int other) = 0;
  virtual void StartSlowPitchReset(int deck) = 0;
  // The program's load procedure: the file must exist, and a deck that is
  // heard is only replaced after the user agrees. kEmptyDeckPath empties
  // the deck (after the same confirmation): titles, pitch and switches
  // cleared.
  virtual void LoadTrack(int deck, const std::string& path) = 0;
  // Null when the program has no such list (no view registered, no lists).
  virtual AutoMixList* FindList(AutoMixListRole role) = 0;
  // A random number 0..32767.
  virtual int Random() = 0;
  // The switch changed: its control and readable value show it.
  virtual void PublishState(bool on) = 0;
};

struct AutoMixOptions {
  int fadeTime = 100;      // tenths of a second (mixtim)
  bool matchBeats = true;  // bmatch
  bool allLists = false;   // mixlst: always take the list on screen
  bool random = false;     // the random button
  bool slowReset = true;   // slowrt: the new deck's pitch returns slowly
};

class AutoMix {
 public:
  explicit AutoMix(AutoMixHost& host) : host_(host) {}

  AutoMixOptions options;

  bool On() const { return on_; }
  bool Fading() const { return fading_; }
  // 1 towards deck B (the value grows), 0 towards deck A.
  int Direction() const { return direction_; }
  float Fader() const { return fader_; }

  // The switch took `on`. Switched on with both decks stopped, a sweep
  // starts at once; switched off during a sweep, the sweep finishes.
  void AutoMixToggled(bool on);
  // A sweep away from the side the crossfader is on.
  void StartFade();
  // autodj_to_left / _right: a sweep to that end, loading the deck there
  // when it is empty; nothing when the crossfader is within 3 of that end.
  void FadeLeft();
  void FadeRight();
  // More or less fade time by one step (+1 / -1), within the limits.
  void StepFadeTime(int direction);

  // The screen tick: end detection on both decks, then one sweep step.
  // `nowMs` is a monotonic clock.
  void Tick(std::int64_t nowMs);
  // End detection for deck 0 or 1: starts a sweep when the deck is the
  // audible one and within a fade time of its mix-out point.
  void CheckDeckEnd(int deck);
  // One sweep step, by the time since the previous call.
  void FadeTick(std::int64_t nowMs);

  // Takes the next track and loads it on `deck`; false when none could be
  // taken. `source` kSourceSecondView forces the auto-mix list.
  bool LoadNextTrack(int source, int deck);
  // The auto-mix list's first-item callback: the idle deck by the
  // crossfader gets the first row, or is emptied when the list is.
  void OnFirstItemChanged();

  // The two decks' beat phases apart, in hundredths of a beat as shown;
  // 0 when either deck is stopped or has no beat.
  int BeatDifference();
  // Where the deck's track is mixed out, frames.
  static std::int64_t MixOutPoint(const AutoMixDeckReading& deck);

 private:
  void BeginSweep(int direction);
  void EndSweep();
  int RandomRow(int count);

  AutoMixHost& host_;
  bool on_ = false;
  bool fading_ = false;
  bool taking_ = false;
  int direction_ = 1;
  float fader_ = 0;
  std::int64_t lastTickMs_ = -1;
};

}  // namespace vantaro
