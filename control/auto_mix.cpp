#include "control/auto_mix.h"

#include <algorithm>
#include <cmath>

#include "base/debug_log.h"

namespace vantaro {
namespace {

constexpr std::int64_t kFramesPerTenth = 4410;
constexpr int kFirstThirdUp = 42, kFirstThirdDown = 84;  // the first third of a sweep
constexpr int kBeatMismatch = 3;                         // hundredths of a beat
constexpr int kEdgeMargin = 3;                           // FadeLeft/Right do nothing this near
constexpr double kRandomTop = 32767.0;

char DeckLetter(int deck) {
  return static_cast<char>('A' + deck);
}

}  // namespace

std::int64_t AutoMix::MixOutPoint(const AutoMixDeckReading& deck) {
  const std::int64_t length = deck.length;
  if (deck.cueOutOn && length > 0 && deck.cueOut > length / 2 && deck.cueOut < length)
    return deck.cueOut;
  return length;
}

void AutoMix::AutoMixToggled(bool on) {
  on_ = on;
  DebugLog("auto-mix: %s", on ? "on" : "off");
  if (on && !host_.ReadDeck(0).playing && !host_.ReadDeck(1).playing) StartFade();
  host_.PublishState(on_);
}

void AutoMix::StartFade() {
  BeginSweep(host_.Crossfader() <= kCrossfaderLastA ? 1 : 0);
}

void AutoMix::FadeLeft() {
  if (host_.Crossfader() < kEdgeMargin) return;
  BeginSweep(0);
}

void AutoMix::FadeRight() {
  if (host_.Crossfader() > kCrossfaderTop - kEdgeMargin) return;
  BeginSweep(1);
}

void AutoMix::BeginSweep(int direction) {
  direction_ = direction;
  const int incoming = direction;  // deck B on a sweep towards B
  if (host_.ReadDeck(incoming).length < 1) LoadNextTrack(0, incoming);
  fader_ = static_cast<float>(host_.Crossfader());
  fading_ = true;
  DebugLog("auto-mix: sweep towards deck %c from %d over %.1f s", DeckLetter(incoming),
           host_.Crossfader(), options.fadeTime / 10.0);
}

void AutoMix::StepFadeTime(int direction) {
  const int step = direction > 0 ? kFadeTimeStep : -kFadeTimeStep;
  options.fadeTime = std::clamp(options.fadeTime + step, kFadeTimeMin, kFadeTimeMax);
}

void AutoMix::Tick(std::int64_t nowMs) {
  CheckDeckEnd(0);
  CheckDeckEnd(1);
  FadeTick(nowMs);
}

void AutoMix::CheckDeckEnd(int deck) {
  if (!on_ || fading_ || (deck != 0 && deck != 1)) return;
  const AutoMixDeckReading reading = host_.ReadDeck(deck);
  // A paused or empty deck waits for the user; only a running track ends.
  if (!reading.playing || reading.length < 1) return;
  const std::int64_t mixOut = MixOutPoint(reading);
  const std::int64_t lead = options.fadeTime * kFramesPerTenth + (reading.length - mixOut);
  if (reading.length - reading.position >= lead) return;
  const int crossfader = host_.Crossfader();
  const bool audible = deck == 0 ? crossfader <= kCrossfaderLastA : crossfader > kCrossfaderLastA;
  if (audible) StartFade();
}

void AutoMix::FadeTick(std::int64_t nowMs) {
  const std::int64_t elapsedMs =
      lastTickMs_ < 0 ? 0 : std::max<std::int64_t>(0, nowMs - lastTickMs_);
  lastTickMs_ = nowMs;
  if (!fading_) return;
  // The whole range in the fade time: 127 positions per fadeTime * 100 ms.
  const float step = static_cast<float>(kCrossfaderTop * elapsedMs) /
                     (static_cast<float>(std::max(options.fadeTime, 1)) * 100.0f);
  fader_ += direction_ ? step : -step;
  fader_ = std::clamp(fader_, 0.0f, static_cast<float>(kCrossfaderTop));
  const int value = static_cast<int>(std::lround(fader_));
  host_.SetCrossfader(value);
  const int incoming = direction_, outgoing = 1 - direction_;
  host_.Play(incoming);
  const bool firstThird = direction_ ? value < kFirstThirdUp : value > kFirstThirdDown;
  if (options.matchBeats && firstThird && std::abs(BeatDifference()) > kBeatMismatch)
    host_.MatchBeats(incoming, outgoing);
  // The clock of the first step starts at the tick before the sweep began,
  // up to one tick early; ending on the tick that reaches the end (up to one
  // tick late) keeps the sweep within a tick of the fade time either way.
  const bool atEnd = direction_ ? fader_ >= kCrossfaderTop : fader_ <= 0.0f;
  if (atEnd) EndSweep();
}

void AutoMix::EndSweep() {
  const int incoming = direction_, outgoing = 1 - direction_;
  fader_ = direction_ ? kCrossfaderTop : 0;
  host_.SetCrossfader(direction_ ? kCrossfaderTop : 0);
  // The incoming deck was tempo-matched; now alone, its pitch goes home.
  if (options.slowReset) host_.StartSlowPitchReset(incoming);
  DebugLog("auto-mix: sweep ended on deck %c", DeckLetter(incoming));
  LoadNextTrack(0, outgoing);
  fading_ = false;
}

int AutoMix::BeatDifference() {
  const AutoMixDeckReading a = host_.ReadDeck(0), b = host_.ReadDeck(1);
  if (!a.playing || !b.playing || !a.hasBeat || !b.hasBeat) return 0;
  float d = a.beatPhase - b.beatPhase;
  if (std::fabs(d) > 0.5f) d += d > 0 ? -1.0f : 1.0f;
  return -static_cast<int>(std::lround(d * 100.0f));
}

int AutoMix::RandomRow(int count) {
  const double row = std::round(host_.Random() / kRandomTop * count - 0.5);
  return std::clamp(static_cast<int>(row), 0, count - 1);
}

bool AutoMix::LoadNextTrack(int source, int deck) {
  AutoMixList* automix = host_.FindList(AutoMixListRole::kAutomix);
  if (!automix) return false;
  AutoMixList* screen = host_.FindList(source == kSourceSecondView ? AutoMixListRole::kSecondView
                                                                   : AutoMixListRole::kMainView);
  // Without a list on screen (no track list control) the auto-mix list is
  // the source whatever the rules below say.
  const bool useScreen = screen && source != kSourceSecondView &&
                         (options.allLists || (!on_ && !fading_) || automix->Count() == 0);
  AutoMixList& list = useScreen ? *screen : *automix;
  const int count = list.Count();
  if (count < 1) {
    DebugLog("auto-mix: no track for deck %c: the %s list is empty", DeckLetter(deck),
             useScreen ? "shown" : "auto-mix");
    return false;
  }
  taking_ = true;
  std::string path;
  if (useScreen) {
    const int row = std::max(0, list.NextCursor());
    path = list.RowPath(row);
    list.SetNextCursor(options.random ? RandomRow(count) : (row + 1) % count);
  } else {
    const int row = options.random ? RandomRow(count) : 0;
    path = list.RowPath(row);
    list.TakeRow(row);
  }
  host_.LoadTrack(deck, path);
  taking_ = false;
  return true;
}

void AutoMix::OnFirstItemChanged() {
  if (taking_) return;
  AutoMixList* automix = host_.FindList(AutoMixListRole::kAutomix);
  if (!automix) return;
  const int idle = host_.Crossfader() <= kCrossfaderLastA ? 1 : 0;
  if (automix->Count() > 0)
    host_.LoadTrack(idle, automix->RowPath(0));
  else
    host_.LoadTrack(idle, kEmptyDeckPath);
}

}  // namespace vantaro
