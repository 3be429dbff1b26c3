#include "control/value_entries.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "control/control_action.h"
#include "control/control_handlers.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

using DeckReader = int (*)(CSoundSource& deck);

// A row's source: the switch state its control shows (through the control's
// own engine reader), or a word of the deck. A row with neither reads 0
// until its feature lands.
struct RowSource {
  const char* name;
  const char* control;
  DeckReader read;
};

int Playing(CSoundSource& d) {
  return d.IsPlaying();
}
// Standing on the cue point, paused: the cue button's light.
int OnCue(CSoundSource& d) {
  return d.IsSongLoaded() && !d.IsPlaying() && d.GetPosition() == d.GetCuePoint();
}
int PitchIsZero(CSoundSource& d) {
  return d.GetPitch() == 0;
}
int LoopSize(CSoundSource& d) {
  return d.LoopOut() > d.LoopIn() && d.LoopIn() >= 0 ? d.GetLoopSize(d.LoopOut() - d.LoopIn()) : 0;
}
int LoopInSet(CSoundSource& d) {
  return d.LoopIn() >= 0;
}
int Looping(CSoundSource& d) {
  return d.IsLooping();
}
template <int kIndex>
int CueSet(CSoundSource& d) {
  return d.GetCue(kIndex) > 0;
}
int OnBeat(CSoundSource& d) {
  return d.IsOnBeat();
}
int Braking(CSoundSource& d) {
  return d.IsBraking();
}
int Reversed(CSoundSource& d) {
  return d.GetDirection() < 0;
}

// The text rows are filled apart (artist, title).
constexpr RowSource kDeckRows[] = {
    {"play", nullptr, Playing},
    {"cue", nullptr, OnCue},
    {"keyLock", "deck_key_lock", nullptr},
    {"pitchIs0", nullptr, PitchIsZero},
    {"loopSize", nullptr, LoopSize},
    {"loopIn", nullptr, LoopInSet},
    {"looping", nullptr, Looping},
    {"monitor", "deck_monitor", nullptr},
    {"cuepos1", nullptr, CueSet<0>},
    {"cuepos2", nullptr, CueSet<1>},
    {"cuepos3", nullptr, CueSet<2>},
    {"cuepos4", nullptr, CueSet<3>},
    {"cuepos5", nullptr, CueSet<4>},
    {"onbeat", nullptr, OnBeat},
    {"artist", nullptr, nullptr},
    {"title", nullptr, nullptr},
    {"analogIn", "deck_analogin", nullptr},
    {"timecodeIn", "deck_timecodein", nullptr},
    {"brake", nullptr, Braking},
    {"reverse", nullptr, Reversed},
    {"fxPan", "deck_fx_pan", nullptr},
    {"fxFlanger", "deck_fx_flanger", nullptr},
    {"fxPhaser", "deck_fx_phaser", nullptr},
    {"fxReverb", "deck_fx_reverb", nullptr},
    {"fxEcho", "deck_fx_echo", nullptr},
    {"fxDelay", "deck_fx_delay", nullptr},
    {"fxBeatwaw", "deck_fx_beatwaw", nullptr},
    {"killLow", "deck_kill_low", nullptr},
    {"killMid", "deck_kill_mid", nullptr},
    {"killHigh", "deck_kill_high", nullptr},
};
constexpr RowSource kGlobalRows[] = {
    {"micKillLow", "mic_kill_low", nullptr},
    {"micKillMid", "mic_kill_mid", nullptr},
    {"micKillHigh", "mic_kill_high", nullptr},
    {"sampler1", nullptr, nullptr},
    {"sampler2", nullptr, nullptr},
    {"sampler3", nullptr, nullptr},
    {"sampler4", nullptr, nullptr},
    {"sampler5", nullptr, nullptr},
    {"sampler6", nullptr, nullptr},
    {"sampler7", nullptr, nullptr},
    {"sampler8", nullptr, nullptr},
    {"onAir", "onair", nullptr},
    {"talkOver", "talkover", nullptr},
    {"autoDj", "autodj", nullptr},
    {"random", "random", nullptr},
};
constexpr int kTableDecks = 4;  // rows exist for four decks; the program has two
constexpr int kDeckRowCount = static_cast<int>(std::size(kDeckRows));
constexpr int kNamedRows = kDeckRowCount * kTableDecks + static_cast<int>(std::size(kGlobalRows));
static_assert(kNamedRows <= kValueEntryRows);

struct Table {
  std::array<ValueEntry, kValueEntryRows> rows;
  std::array<const RowSource*, kValueEntryRows> sources{};
  std::vector<std::pair<ValueListener, void*>> listeners;

  Table() {
    int index = 0;
    for (int deck = 0; deck < kTableDecks; ++deck)
      for (const RowSource& source : kDeckRows) Place(index++, source, deck);
    for (const RowSource& source : kGlobalRows) Place(index++, source, -1);
  }
  void Place(int index, const RowSource& source, int deck) {
    rows[index].name = source.name;
    rows[index].deck = deck;
    sources[index] = &source;
  }
};

Table& TheTable() {
  static Table table;
  return table;
}

CSoundSource* DeckOf(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().decks[deck] : nullptr;
}

int ReadSource(const RowSource& source, int deck) {
  int value = 0;
  if (source.control) {
    const ControlBinding* binding = FindControlBinding(FindControlAction(source.control));
    if (binding && binding->read && binding->read(deck, &value)) return value;
    return 0;
  }
  CSoundSource* d = DeckOf(deck);
  return source.read && d ? source.read(*d) : 0;
}

// The track's name as the deck knows it; the library's tags join here.
std::string TrackTitle(int deck) {
  CSoundSource* d = DeckOf(deck);
  if (!d || !d->IsSongLoaded()) return "";
  std::string title = d->SongRecord().name;
  const std::size_t dot = title.rfind('.');
  if (dot != std::string::npos && dot > 0) title.resize(dot);
  return title;
}

std::string RowText(const RowSource& source, int deck) {
  if (std::strcmp(source.name, "title") == 0) return TrackTitle(deck);
  return "";
}

bool IsTextRow(const RowSource& source) {
  return std::strcmp(source.name, "artist") == 0 || std::strcmp(source.name, "title") == 0;
}

void Fill(ValueEntry& row, const RowSource& source) {
  if (IsTextRow(source)) {
    const std::string text = RowText(source, row.deck);
    std::snprintf(row.text, sizeof row.text, "%s", text.c_str());
  } else {
    row.intValue = ReadSource(source, row.deck);
    row.doubleValue = row.intValue;
  }
}

bool Changed(const ValueEntry& row) {
  return row.intValue != row.lastInt || row.doubleValue != row.lastDouble ||
         std::strcmp(row.text, row.lastText) != 0;
}

// ---- names that are not rows --------------------------------------------------------

constexpr double kMsPerSecond = 1000.0;

Value Int(int i) {
  Value value;
  value.kind = kValueInt;
  value.i = i;
  return value;
}
Value Double(double d) {
  Value value;
  value.kind = kValueDouble;
  value.d = d;
  return value;
}
Value Text(std::string text) {
  Value value;
  value.kind = kValueText;
  value.text = std::move(text);
  return value;
}

// Playing time in ms at the deck's own rate; 0 without a track.
int TimeMs(CSoundSource& d, bool remaining) {
  constexpr int rate = 44100;  // deck frames per second
  const std::int64_t frames = remaining ? std::max<std::int64_t>(0, d.GetLength() - d.GetPosition())
                                        : std::max<std::int32_t>(0, d.GetPosition());
  return d.IsSongLoaded() ? static_cast<int>(frames * kMsPerSecond / rate) : 0;
}

bool DeckValue(const char* name, CSoundSource& d, Value* out) {
  const std::string_view n = name;
  if (n == "bpm") {
    *out = Double(d.GetBPM());
  } else if (n == "pitch") {
    // Percent, the slider's own sign (1/10000 units).
    *out = Double(d.GetPitch() / 100.0);
  } else if (n == "currentBpm") {
    *out = Double(d.GetBPM() * (1.0 - d.GetPitch() / 10000.0));
  } else if (n == "timeElapsed") {
    *out = Int(TimeMs(d, false));
  } else if (n == "timeRemain") {
    *out = Int(TimeMs(d, true));
  } else {
    return false;
  }
  return true;
}

// sampler<N>loaded, sampler<N>playing: the samplers join here; until then
// no slot is loaded.
bool SamplerValue(const char* name, Value* out) {
  int slot = 0;
  char what[16] = {};
  if (std::sscanf(name, "sampler%d%15s", &slot, what) != 2 || slot < 1 || slot > 8) return false;
  if (std::strcmp(what, "loaded") != 0 && std::strcmp(what, "playing") != 0) return false;
  *out = Int(0);
  return true;
}

}  // namespace

int NamedValueEntryCount() {
  return kNamedRows;
}

const ValueEntry& ValueEntryRow(int index) {
  return TheTable().rows[std::clamp(index, 0, kValueEntryRows - 1)];
}

void AddValueListener(ValueListener listener, void* user) {
  TheTable().listeners.emplace_back(listener, user);
}

void RemoveValueListener(ValueListener listener, void* user) {
  auto& listeners = TheTable().listeners;
  std::erase(listeners, std::make_pair(listener, user));
}

int RefreshValueEntries() {
  Table& table = TheTable();
  int reported = 0;
  for (int index = 0; index < kNamedRows; ++index) {
    ValueEntry& row = table.rows[index];
    if (row.deck > 1) continue;  // decks 2 and 3 are not built
    Fill(row, *table.sources[index]);
    if (!Changed(row)) continue;
    row.lastInt = row.intValue;
    row.lastDouble = row.doubleValue;
    std::memcpy(row.lastText, row.text, sizeof row.text);
    ++reported;
    // Copied: a listener may add or remove listeners.
    const auto listeners = table.listeners;
    for (const auto& [listener, user] : listeners) listener(row, user);
  }
  return reported;
}

Value GetValue(const char* name, int deck) {
  if (!name) return {};
  Value value;
  if (SamplerValue(name, &value)) return value;
  const bool deckOk = deck == 0 || deck == 1;
  if (deckOk) {
    if (CSoundSource* d = DeckOf(deck); d && DeckValue(name, *d, &value)) return value;
    if (std::strcmp(name, "artist") == 0 || std::strcmp(name, "title") == 0)
      return Text(std::strcmp(name, "title") == 0 ? TrackTitle(deck) : "");
    for (const RowSource& source : kDeckRows)
      if (std::strcmp(source.name, name) == 0) return Int(ReadSource(source, deck));
  }
  for (const RowSource& source : kGlobalRows)
    if (std::strcmp(source.name, name) == 0) return Int(ReadSource(source, -1));
  return {};
}

std::string FormatValue(const Value& value) {
  char line[64];
  switch (value.kind) {
    case kValueInt:
      std::snprintf(line, sizeof line, "%d", value.i);
      return line;
    case kValueDouble:
      std::snprintf(line, sizeof line, "%.4f", value.d);
      return line;
    case kValueText:
      return value.text;
    case kValueNone:
      break;
  }
  return "";
}

}  // namespace vantaro
