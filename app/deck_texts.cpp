#include "app/deck_texts.h"

#include <cmath>
#include <cstdio>

#include "app/deck_load.h"
#include "app/program.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/language.h"
#include "skin/drop_zone.h"
#include "skin/static_text.h"

namespace vantaro {
namespace {

constexpr std::int64_t kFramesPerTenth = 4410;

struct DeckTextIds {
  int elapsed = FindControlAction("deck_elapsed");
  int remained = FindControlAction("deck_remained");
  int title = FindControlAction("deck_songname");
  int tempo = FindControlAction("deck_bpm");
  int pitch = FindControlAction("deck_pitch_tempo");
  int dropZone = FindControlAction("dz_deck");
};

const DeckTextIds& Ids() {
  static const DeckTextIds ids;
  return ids;
}

void Show(int id, int deck, const std::string& text) {
  if (auto* control = dynamic_cast<CZKStaticText*>(TheControlTable().Find(id, deck)))
    control->SetText(wxString::FromUTF8(text));
}

}  // namespace

std::string DeckTitleText(CSoundSource& deck, int index) {
  std::string notice = TakeDeckNoticeTick(index);
  if (!notice.empty()) return notice;
  if (deck.IsLoadPending()) return Text(txt_loading1);
  if (!deck.IsSongLoaded()) return {};
  const int percent = deck.GetDecodedPercent();
  if (percent < 100) {
    const int id = deck.IsStreaming() ? txt_loading_progress_disk : txt_loading_progress_ram;
    return FillPercentText(Text(id), percent);
  }
  return SongTitleOf(deck.SongRecord().name);
}

std::string FormatDeckTime(std::int64_t frames, bool remaining) {
  const std::int64_t tenths = frames > 0 ? frames / kFramesPerTenth : 0;
  char text[32];
  std::snprintf(text, sizeof text, "%s%lld:%02lld.%lld", remaining ? "-" : "",
                static_cast<long long>(tenths / 600), static_cast<long long>(tenths / 10 % 60),
                static_cast<long long>(tenths % 10));
  return text;
}

void FormatDeckTimes(std::int64_t position, std::int64_t length, std::string* elapsed,
                     std::string* remaining) {
  const std::int64_t left = length - position;
  *elapsed = FormatDeckTime(position, false);
  *remaining = FormatDeckTime(left > 0 ? left + kFramesPerTenth - 1 : 0, true);
}

std::string FormatDeckTempo(float songBpm, int pitch) {
  if (!(songBpm > 0.0f) || !std::isfinite(songBpm)) return {};
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", songBpm * (1.0 + pitch / 10000.0));
  return text;
}

std::string FormatPitchPercent(int pitch) {
  char text[32];
  std::snprintf(text, sizeof text, "%s%.2f%%", pitch > 0 ? "+" : "", pitch / 100.0);
  return text;
}

std::string FillPercentText(const std::string& text, int value) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == 'd') {
      out += std::to_string(value);
      ++i;
    } else if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') {
      out += '%';
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string SongTitleOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.erase(dot);
  return name;
}

void RefreshDeckTexts(Program& program, int deck) {
  CSoundSource* source = program.decks[deck].get();
  if (!source) return;
  const DeckTextIds& ids = Ids();
  Show(ids.title, deck, DeckTitleText(*source, deck));
  const bool loaded = source->IsSongLoaded() && source->GetLength() > 0;
  std::string elapsed, remaining;
  if (loaded) FormatDeckTimes(source->GetPosition(), source->GetLength(), &elapsed, &remaining);
  Show(ids.elapsed, deck, elapsed);
  Show(ids.remained, deck, remaining);
  Show(ids.tempo, deck, loaded ? FormatDeckTempo(source->GetBPM(), source->GetPitch()) : "");
  Show(ids.pitch, deck, FormatPitchPercent(source->GetPitch()));
  if (auto* zone = dynamic_cast<CZKDropZone*>(TheControlTable().Find(ids.dropZone, deck)))
    zone->SetHint(loaded || source->IsLoadPending()
                      ? wxString()
                      : wxString::FromUTF8(Text(txt_drag_file_here_to_load)));
}

}  // namespace vantaro
