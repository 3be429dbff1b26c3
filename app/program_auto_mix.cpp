#include "app/program_auto_mix.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "app/deck_load.h"
#include "app/program.h"
#include "app/program_lists.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "control/auto_mix.h"
#include "control/auto_mix_handlers.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "library/list_set.h"
#include "skin/list_views.h"
#include "skin/static_text.h"

namespace vantaro {
namespace {

CSoundSource* DeckOf(int deck) {
  return deck == 0 || deck == 1 ? TheProgram().decks[deck].get() : nullptr;
}

void ShowSwitch(const char* action, bool on) {
  if (ControlTarget* control = TheControlTable().Find(FindControlAction(action), -1))
    control->ShowEngineValue(on ? 1 : 0);
}

// A program list as auto-mix sees it; re-pointed at each look-up.
class ProgramList : public AutoMixList {
 public:
  CZKAbstractList* list = nullptr;

  int Count() const override { return list->Count(); }
  int NextCursor() const override { return list->NextCursor(); }
  void SetNextCursor(int row) override {
    list->SetNextCursor(row);
    RefreshListViewsOf(list);
  }
  std::string RowPath(int row) const override {
    const TZKListElement* element = list->GetRow(row);
    return element ? element->column[kColPath] : std::string();
  }
  // DeleteRow takes the selected rows when there are any: the user's
  // selection is set aside while the one row goes, then put back.
  void TakeRow(int row) override {
    std::vector<int> selected;
    for (int i = 0; i < list->Count(); ++i)
      if (i != row && list->GetRow(i)->selected) selected.push_back(i < row ? i : i - 1);
    list->SelectAll(true);
    list->DeleteRow(row, false);
    for (int i : selected) list->SelectRow(i, kSelectAdd);
    list->SetNextCursor(0);
    RefreshListViewsOf(list);
  }
};

class ProgramHost : public AutoMixHost {
 public:
  int Crossfader() override {
    const CMixer* mixer = TheProgram().mixerRig.mixer.get();
    return mixer ? mixer->GetCrossfader() : 64;
  }
  void SetCrossfader(int value) override {
    if (CMixer* mixer = TheProgram().mixerRig.mixer.get()) mixer->SetCrossfader(value);
  }

  AutoMixDeckReading ReadDeck(int deck) override {
    AutoMixDeckReading reading;
    CSoundSource* d = DeckOf(deck);
    if (!d) return reading;
    // A track on its way counts as there: a sweep must not replace it.
    if (d->IsLoadPending()) reading.length = 1;
    if (!d->IsSongLoaded()) return reading;
    reading.length = d->GetLength();
    reading.position = d->GetPosition();
    reading.playing = d->IsPlaying();
    // The deck's automatic cue is on exactly when automatic cueing is not
    // disabled.
    reading.cueOutOn = TheSettings().disacu == 0;
    if (reading.cueOutOn) reading.cueOut = d->SongRecord().cue_out;
    reading.hasBeat = d->IsSongReady() && d->GetBPM() > 0.0f;
    reading.beatPhase = d->GetBeatPhase();
    return reading;
  }

  void Play(int deck) override {
    CSoundSource* d = DeckOf(deck);
    if (!d) return;
    // A track still loading starts at a later tick, once it is ready; an
    // empty deck stays as it is.
    startWhenReady[deck] = d->IsLoadPending();
    if (!startWhenReady[deck] && d->IsSongReady() && !d->IsPlaying()) d->Play(1);
  }

  void MatchBeats(int deck, int other) override {
    CSoundSource *d = DeckOf(deck), *o = DeckOf(other);
    // The pitch slider shows the new pitch at this tick's control refresh.
    if (d && o && d->MatchDeck(*o)) DebugLog("auto-mix: deck %c matched", 'A' + deck);
  }

  void StartSlowPitchReset(int deck) override {
    CSoundSource* d = DeckOf(deck);
    if (d && !d->IsSlowResetRunning() && d->GetPitch() != 0) d->ResetPitch();
  }

  void LoadTrack(int deck, const std::string& path) override {
    CSoundSource* d = DeckOf(deck);
    if (!d) return;
    startWhenReady[deck] = false;
    if (path != kEmptyDeckPath) {
      LoadTrackConfirmed(deck, path, "auto-mix");
      return;
    }
    if (!ConfirmReplacingDeck(deck)) return;
    d->RequestUnload();
    d->SetPitch(0);
    d->StopLoop(true);
    d->SetBrake(false);
    d->SetDirection(1);
    DebugLog("auto-mix: deck %c emptied: the auto-mix list is empty", 'A' + deck);
  }

  AutoMixList* FindList(AutoMixListRole role) override {
    CZKAbstractList* list = nullptr;
    if (role == AutoMixListRole::kAutomix) {
      CZKListSet* set = TheListSet();
      list = set ? &set->Fixed(kListAutomix) : nullptr;
    } else {
      const ListView* view = FindListView(
          role == AutoMixListRole::kMainView ? ListViewRole::kMain : ListViewRole::kAutomix);
      list = view ? view->ShownList() : nullptr;
    }
    ProgramList& adapter = lists[static_cast<int>(role)];
    adapter.list = list;
    return list ? &adapter : nullptr;
  }

  int Random() override { return std::rand() % 32768; }

  void PublishState(bool on) override { ShowSwitch("autodj", on); }

  // Decks asked to play while still loading.
  bool startWhenReady[2] = {};

 private:
  ProgramList lists[3];
};

ProgramHost g_host;
AutoMix g_mix(g_host);

std::int64_t NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void OnAutomixFirstItem(int, int, int) {
  g_mix.OnFirstItemChanged();
}

void ShowFadeTime() {
  static const int id = FindControlAction("auto_dj_time");
  char text[16];
  std::snprintf(text, sizeof text, "%.1fs", g_mix.options.fadeTime / 10.0);
  if (auto* control = dynamic_cast<CZKStaticText*>(TheControlTable().Find(id, -1)))
    control->SetText(text);
}

}  // namespace

void StartProgramAutoMix() {
  Settings& settings = TheSettings();
  g_mix.options.fadeTime = std::clamp(settings.mixtim, kFadeTimeMin, kFadeTimeMax);
  g_mix.options.random = settings.random != 0;
  ShowSwitch("random", g_mix.options.random);
  SetProgramAutoMix(&g_mix);
  WireAutoMixExtraButtons(TheControlTable());
  if (CZKListSet* set = TheListSet())
    set->Fixed(kListAutomix).SetFirstItemCallback(&OnAutomixFirstItem);
  ShowFadeTime();
  DebugLog("auto-mix: ready, fade time %.1f s%s", g_mix.options.fadeTime / 10.0,
           settings.mixaut ? ", switched on" : "");
  if (settings.mixaut) g_mix.AutoMixToggled(true);
}

void RunAutoMixTick() {
  Settings& settings = TheSettings();
  AutoMixOptions& options = g_mix.options;
  options.matchBeats = settings.bmatch != 0;
  options.allLists = settings.mixlst != 0;
  options.slowReset = settings.slowrt != 0;
  settings.mixtim = options.fadeTime;
  settings.mixaut = g_mix.On() ? 1 : 0;
  settings.random = options.random ? 1 : 0;
  for (int deck = 0; deck < 2; ++deck)
    if (g_host.startWhenReady[deck]) g_host.Play(deck);
  g_mix.Tick(NowMs());
  ShowFadeTime();
}

}  // namespace vantaro
