#include "control/script_actions.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "control/control_action.h"
#include "control/control_handlers.h"
#include "control/control_table.h"
#include "engine/deck_hands.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

enum Pattern { kSet, kBtn, kDir };
// kDeckA: a global action whose control belongs to each deck; it drives
// deck A's, as the single hardware unit of that family does.
enum Scope { kGlobal, kDeck, kDeckA };

struct Row {
  const char* name;
  Pattern pattern;
  Scope scope;
  const char* control;  // action name in the control table; null: none yet
  ScriptHandler direct;
};

constexpr int kMidiTop = 127;
constexpr int kBlank = 32;
constexpr int kPitchMoveFactor = 5;  // moveDeckPitch: slider units per value step
constexpr int kSamplerSlots = 8;
constexpr int kBpmConfirmAbove = 63;

int g_activeList = 0;  // 0 browser, 1 play list

// ---- direct handlers ----------------------------------------------------------

CSoundSource* DeckOf(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().decks[deck] : nullptr;
}

int ControlId(const char* action) {
  return FindControlAction(action);
}

void MoveListCursor(int value, int, int) {
  // The wheel entry of a list moves its row cursor: one notch a row, so the
  // signed count becomes that many notches (down is negative rotation).
  ControlTarget* list =
      TheControlTable().Find(ControlId(g_activeList ? "playlist" : "browser"), -1);
  if (!list || value == 0) return;
  ControlEvent event;
  event.kind = mt_WHEEL;
  event.status = -value;
  event.button = 0;
  PostControlEvent(list, event);
}
void ToggleActiveList(int, int, int) {
  g_activeList = 1 - g_activeList;
}
void SelectBrowser(int, int, int) {
  g_activeList = 0;
}
void SelectPlayList(int, int, int) {
  g_activeList = 1;
}

void PlaySampler(int value, int, int) {
  if (value < 1 || value > kSamplerSlots) return;
  if (auto toggle = TheScriptHooks().toggleSampler) toggle(value - 1);
}
void ShowGroupPanel(int group, int panel, int) {
  if (auto show = TheScriptHooks().showPanel) show(group, panel);
}
void ShowPrevGroupPanel(int group, int, int) {
  if (auto step = TheScriptHooks().stepPanel) step(group, -1);
}
void ShowNextGroupPanel(int group, int, int) {
  if (auto step = TheScriptHooks().stepPanel) step(group, +1);
}
// A pause between the steps of a script; the script host waits, the table
// has nothing to do.
void Sleep(int, int, int) {}

void Jog(int value, int deck, bool scratch) {
  if (CSoundSource* d = DeckOf(deck)) d->Jog(value, kJogRelativeStep, 0, scratch, 0);
}
void ScratchJog(int value, int, int deck) {
  Jog(value, deck, true);
}
void NudgeJog(int value, int, int deck) {
  Jog(value, deck, false);
}

// Moves the pitch slider by value * 5 of its own units (1/10000), held to
// its range; the engine takes it through the slider's own callback and the
// slider shows where it went.
void MovePitch(int value, int, int deck) {
  const int id = ControlId("deck_pitch");
  ControlTarget* slider = TheControlTable().Find(id, deck);
  const ControlBinding* binding = FindControlBinding(id);
  int now = 0;
  if (!slider || !binding || !binding->read || !binding->read(deck, &now)) return;
  int low = 0, high = 0;
  binding->range(&low, &high);
  const int moved = std::clamp(now + value * kPitchMoveFactor, low, high);
  binding->callbacks.onLeftDown(moved, -1, deck);
  slider->ShowEngineValue(moved);
}

void Click(ControlTarget* control, int value, int deck);

void SaveBpm(int value, int, int deck) {
  const ScriptHooks& hooks = TheScriptHooks();
  if (hooks.bpmDialogOpen && hooks.bpmDialogOpen()) {
    if (value > kBpmConfirmAbove && hooks.confirmBpmDialog) hooks.confirmBpmDialog();
    return;
  }
  Click(TheControlTable().Find(ControlId("deck_edit_bpm"), deck), value, deck);
}

constexpr Row kRows[] = {
    {"setCrossfader", kSet, kGlobal, "crossfader", nullptr},
    {"setCFCurve", kSet, kGlobal, "cf_curve", nullptr},
    {"setCFAudio", kSet, kGlobal, "cf_audio", nullptr},
    {"setCFVideo", kSet, kGlobal, "cf_video", nullptr},
    {"setCuePflMix", kSet, kGlobal, "cue_pfl_mix", nullptr},
    {"setCuePgmMix", kSet, kGlobal, "cue_pgm_mix", nullptr},
    {"setMasterGain", kSet, kGlobal, "master_gain", nullptr},
    {"setMonitorGain", kSet, kGlobal, "monitor_gain", nullptr},
    {"setPreview", kSet, kGlobal, "preview", nullptr},
    {"setMicGain", kSet, kGlobal, "mic_gain", nullptr},
    {"setMicEqLow", kSet, kGlobal, "mic_eq_low", nullptr},
    {"setMicEqMid", kSet, kGlobal, "mic_eq_mid", nullptr},
    {"setMicEqHigh", kSet, kGlobal, "mic_eq_high", nullptr},
    {"lbMoveCursor", kDir, kGlobal, nullptr, MoveListCursor},
    {"minimize", kBtn, kGlobal, "minimize", nullptr},
    {"maximize", kBtn, kGlobal, "maximize", nullptr},
    {"closeapp", kBtn, kGlobal, "close", nullptr},
    {"lbToggleSelect", kDir, kGlobal, nullptr, ToggleActiveList},
    {"lbBrowserSelect", kDir, kGlobal, nullptr, SelectBrowser},
    {"lbListSelect", kDir, kGlobal, nullptr, SelectPlayList},
    {"listInsert", kBtn, kGlobal, "insert", nullptr},
    {"listInsertAll", kBtn, kGlobal, "insert_all", nullptr},
    {"listNew", kBtn, kGlobal, "list_new", nullptr},
    {"listDelete", kBtn, kGlobal, "list_delete", nullptr},
    {"listEdit", kBtn, kGlobal, "list_edit", nullptr},
    {"listExport", kBtn, kGlobal, "list_export", nullptr},
    {"listLoad", kBtn, kGlobal, "list_load", nullptr},
    {"listSaveAs", kBtn, kGlobal, "list_saveas", nullptr},
    {"listAdd", kBtn, kGlobal, "add", nullptr},
    {"listAddDir", kBtn, kGlobal, "add_dir", nullptr},
    {"listRemove", kBtn, kGlobal, "remove", nullptr},
    {"listClear", kBtn, kGlobal, "clear", nullptr},
    {"listRandom", kBtn, kGlobal, "random", nullptr},
    {"listShuffle", kBtn, kGlobal, "shuffle", nullptr},
    {"listDragUp", kBtn, kGlobal, "drag_up", nullptr},
    {"listDragDown", kBtn, kGlobal, "drag_down", nullptr},
    {"listDragTop", kBtn, kGlobal, "drag_top", nullptr},
    {"listDragBottom", kBtn, kGlobal, "drag_bottom", nullptr},
    {"listSelect", kBtn, kGlobal, "playlist_sel", nullptr},
    {"record", kBtn, kGlobal, "recording", nullptr},
    {"mixNext", kBtn, kGlobal, "autodj_next", nullptr},
    {"setAutoDj", kBtn, kGlobal, "autodj", nullptr},
    {"previewSong", kBtn, kGlobal, "ss_preview", nullptr},
    {"searchStop", kBtn, kGlobal, "search_stop", nullptr},
    {"autoDjMore", kBtn, kGlobal, "autodj_more", nullptr},
    {"autoDjLess", kBtn, kGlobal, "autodj_less", nullptr},
    {"limiter", kBtn, kGlobal, "limiter", nullptr},
    {"reloadSkin", kBtn, kGlobal, "reload_skin", nullptr},
    {"phonesSplit", kBtn, kGlobal, "phones_split", nullptr},
    {"syncLock", kBtn, kGlobal, "sync_lock", nullptr},
    {"masterFxAdd", kBtn, kGlobal, "fx_master_add", nullptr},
    {"masterFxSel", kBtn, kGlobal, "fx_master_sel", nullptr},
    {"samplesSel", kBtn, kGlobal, "fx_samples_sel", nullptr},
    {"micFxSel", kBtn, kGlobal, "fx_mic_sel", nullptr},
    {"micFxAdd", kBtn, kGlobal, "fx_mic_add", nullptr},
    {"micTalkOver", kBtn, kGlobal, "talkover", nullptr},
    {"micOnAir", kBtn, kGlobal, "onair", nullptr},
    {"micEqLowKill", kBtn, kGlobal, "mic_kill_low", nullptr},
    {"micEqMidKill", kBtn, kGlobal, "mic_kill_mid", nullptr},
    {"micEqHighKill", kBtn, kGlobal, "mic_kill_high", nullptr},
    {"glmtFxOn1", kBtn, kDeckA, "zodrorkle_fx_on_1", nullptr},
    {"glmtFxOn2", kBtn, kDeckA, "zodrorkle_fx_on_2", nullptr},
    {"glmtFxOn3", kBtn, kDeckA, "zodrorkle_fx_on_3", nullptr},
    {"glmtFxOn4", kBtn, kDeckA, "zodrorkle_fx_on_4", nullptr},
    {"glmtFxCtrl1", kBtn, kDeckA, "zodrorkle_fx_controller_1", nullptr},
    {"glmtFxCtrl2", kBtn, kDeckA, "zodrorkle_fx_controller_2", nullptr},
    {"glmtFxCtrl3", kBtn, kDeckA, "zodrorkle_fx_controller_3", nullptr},
    {"glmtFxCtrl4", kBtn, kDeckA, "zodrorkle_fx_controller_4", nullptr},
    {"glmtVolPitch", kBtn, kDeckA, "zodrorkle_vol_pitch", nullptr},
    {"glmtTuneScratch", kBtn, kDeckA, "zodrorkle_tune_scratch", nullptr},
    {"glmtInfo", kBtn, kDeckA, "zodrorkle_info", nullptr},
    {"glmtMusic", kBtn, kGlobal, "zodrorkle_music", nullptr},
    {"glmtPlaylist", kBtn, kGlobal, "zodrorkle_playlist", nullptr},
    {"glmtHold", kBtn, kGlobal, "zodrorkle_hold", nullptr},
    {"glmtLibrary", kBtn, kGlobal, "zodrorkle_libary", nullptr},
    {"glmtAbout", kBtn, kGlobal, "zodrorkle_about", nullptr},
    {"samplerPlay", kDir, kGlobal, nullptr, PlaySampler},
    {"showPanel", kDir, kGlobal, nullptr, ShowGroupPanel},
    {"showPrevPanel", kDir, kGlobal, nullptr, ShowPrevGroupPanel},
    {"showNextPanel", kDir, kGlobal, nullptr, ShowNextGroupPanel},
    {"sleep", kDir, kGlobal, nullptr, Sleep},
    {"setDeckVolume", kSet, kDeck, "deck_volume", nullptr},
    {"setDeckPitch", kSet, kDeck, "deck_pitch", nullptr},
    {"setDeckPitchKey", kSet, kDeck, "deck_pitch_key", nullptr},
    {"setDeckPos", kSet, kDeck, "deck_pos", nullptr},
    {"setDeckCutoff", kSet, kDeck, "deck_cutoff_filter", nullptr},
    {"setDeckGain", kSet, kDeck, "deck_gain", nullptr},
    {"setDeckEqLow", kSet, kDeck, "deck_eq_low", nullptr},
    {"setDeckEqMid", kSet, kDeck, "deck_eq_mid", nullptr},
    {"setDeckEqHigh", kSet, kDeck, "deck_eq_high", nullptr},
    {"scratchDeckJW", kDir, kDeck, "deck_jw", ScratchJog},
    {"moveDeckJogWheel", kDir, kDeck, "deck_jw", NudgeJog},
    {"moveDeckPitch", kDir, kDeck, "deck_pitch", MovePitch},
    {"deckFxPanDW", kSet, kDeck, "deck_fx_pan_drywet", nullptr},
    {"deckFxPanP1", kSet, kDeck, "deck_fx_pan_param1", nullptr},
    {"deckFxPanP2", kSet, kDeck, "deck_fx_pan_param2", nullptr},
    {"deckFxFlangerDW", kSet, kDeck, "deck_fx_flanger_drywet", nullptr},
    {"deckFxFlangerP1", kSet, kDeck, "deck_fx_flanger_param1", nullptr},
    {"deckFxFlangerP2", kSet, kDeck, "deck_fx_flanger_param2", nullptr},
    {"deckFxPhaserDW", kSet, kDeck, "deck_fx_phaser_drywet", nullptr},
    {"deckFxPhaserP1", kSet, kDeck, "deck_fx_phaser_param1", nullptr},
    {"deckFxPhaserP2", kSet, kDeck, "deck_fx_phaser_param2", nullptr},
    {"deckFxReverbDW", kSet, kDeck, "deck_fx_reverb_drywet", nullptr},
    {"deckFxReverbP1", kSet, kDeck, "deck_fx_reverb_param1", nullptr},
    {"deckFxReverbP2", kSet, kDeck, "deck_fx_reverb_param2", nullptr},
    {"deckFxEchoDW", kSet, kDeck, "deck_fx_echo_drywet", nullptr},
    {"deckFxEchoP1", kSet, kDeck, "deck_fx_echo_param1", nullptr},
    {"deckFxEchoP2", kSet, kDeck, "deck_fx_echo_param2", nullptr},
    {"deckFxDelayDW", kSet, kDeck, "deck_fx_delay_drywet", nullptr},
    {"deckFxDelayP1", kSet, kDeck, "deck_fx_delay_param1", nullptr},
    {"deckFxDelayP2", kSet, kDeck, "deck_fx_delay_param2", nullptr},
    {"deckFxBeatwawDW", kSet, kDeck, "deck_fx_beatwaw_drywet", nullptr},
    {"deckFxBeatwawP1", kSet, kDeck, "deck_fx_beatwaw_param1", nullptr},
    {"deckFxBeatwawP2", kSet, kDeck, "deck_fx_beatwaw_param2", nullptr},
    {"deckLBLoad", kBtn, kDeck, "deck_load", nullptr},
    {"deckFxSel", kBtn, kDeck, "fx_sel", nullptr},
    {"deckFxAdd", kBtn, kDeck, "fx_add", nullptr},
    {"deckSync", kBtn, kDeck, "deck_sync", nullptr},
    {"deckMonitor", kBtn, kDeck, "deck_monitor", nullptr},
    {"deckBoost", kBtn, kDeck, "deck_boost", nullptr},
    {"deckMute", kBtn, kDeck, "deck_mute", nullptr},
    {"deckInMaster", kBtn, kDeck, "deck_in_master", nullptr},
    {"deckEditBpm", kBtn, kDeck, "deck_edit_bpm", nullptr},
    {"deckSaveBpm", kDir, kDeck, "deck_edit_bpm", SaveBpm},
    {"deckTapBpm", kBtn, kDeck, nullptr, nullptr},
    {"deckBackToTop", kBtn, kDeck, "deck_back_to_top", nullptr},
    {"deckSetCue", kBtn, kDeck, "deck_setcue", nullptr},
    {"deckCue", kBtn, kDeck, "deck_cue", nullptr},
    {"deckPlayPause", kBtn, kDeck, "deck_play_pause", nullptr},
    {"deckCuePlay", kBtn, kDeck, "deck_cue_play", nullptr},
    {"deckBendDown", kBtn, kDeck, "deck_bend_down", nullptr},
    {"deckBendUp", kBtn, kDeck, "deck_bend_up", nullptr},
    {"deckUnload", kBtn, kDeck, "deck_unload", nullptr},
    {"deckRev", kBtn, kDeck, "deck_rev", nullptr},
    {"deckFwd", kBtn, kDeck, "deck_fwd", nullptr},
    {"deckResetPitch", kBtn, kDeck, "deck_reset_pitch", nullptr},
    {"deckLoadNext", kBtn, kDeck, nullptr, nullptr},
    {"deckLoopInEnd", kBtn, kDeck, "deck_loop_in_end", nullptr},
    {"deckLoopExit", kBtn, kDeck, "deck_loop_out", nullptr},
    {"deckLoopReloop", kBtn, kDeck, "deck_loop_reloop", nullptr},
    {"deckLoopPrev", kBtn, kDeck, "deck_loop_prev", nullptr},
    {"deckLoopNext", kBtn, kDeck, "deck_loop_next", nullptr},
    {"deckLoopLess", kBtn, kDeck, "deck_loop_less", nullptr},
    {"deckLoopMore", kBtn, kDeck, "deck_loop_more", nullptr},
    {"deckLoop1_16", kBtn, kDeck, "deck_loop_sixteenth", nullptr},
    {"deckLoop1_8", kBtn, kDeck, "deck_loop_eighth", nullptr},
    {"deckLoop1_4", kBtn, kDeck, "deck_loop_quarter", nullptr},
    {"deckLoop1_2", kBtn, kDeck, "deck_loop_half", nullptr},
    {"deckLoop1", kBtn, kDeck, "deck_loop_1", nullptr},
    {"deckLoop2", kBtn, kDeck, "deck_loop_2", nullptr},
    {"deckLoop4", kBtn, kDeck, "deck_loop_4", nullptr},
    {"deckLoop8", kBtn, kDeck, "deck_loop_8", nullptr},
    {"deckLoop16", kBtn, kDeck, "deck_loop_16", nullptr},
    {"deckLoop32", kBtn, kDeck, "deck_loop_32", nullptr},
    {"deckLoopNormal64ths", kBtn, kDeck, nullptr, nullptr},
    {"deckLoopInstant64ths", kBtn, kDeck, nullptr, nullptr},
    {"deckLoopPoint1", kBtn, kDeck, "deck_loop1", nullptr},
    {"deckLoopPoint2", kBtn, kDeck, "deck_loop2", nullptr},
    {"deckLoopPoint3", kBtn, kDeck, "deck_loop3", nullptr},
    {"deckLoopPoint4", kBtn, kDeck, "deck_loop4", nullptr},
    {"deckLoopPoint5", kBtn, kDeck, "deck_loop5", nullptr},
    {"deckLoopSong", kBtn, kDeck, "deck_loop_song", nullptr},
    {"deckSlowBpm", kBtn, kDeck, "deck_slow_bpm", nullptr},
    {"deckReverse", kBtn, kDeck, "deck_reverse", nullptr},
    {"deckBrake", kBtn, kDeck, "deck_brake", nullptr},
    {"deckEqLowKill", kBtn, kDeck, "deck_kill_low", nullptr},
    {"deckEqMidKill", kBtn, kDeck, "deck_kill_mid", nullptr},
    {"deckEqHighKill", kBtn, kDeck, "deck_kill_high", nullptr},
    {"deckSearchLeft", kBtn, kDeck, "deck_search_left", nullptr},
    {"deckSearchRight", kBtn, kDeck, "deck_search_right", nullptr},
    {"deckScratch", kBtn, kDeck, "deck_scratch", nullptr},
    {"deckSkipBeatPrev", kBtn, kDeck, "deck_skip_beat_prev", nullptr},
    {"deckSkipBeatNext", kBtn, kDeck, "deck_skip_beat", nullptr},
    {"deckSkipBarPrev", kBtn, kDeck, "deck_skip_bar_prev", nullptr},
    {"deckSkipBarNext", kBtn, kDeck, "deck_skip_bar", nullptr},
    {"deckKeyLock", kBtn, kDeck, "deck_key_lock", nullptr},
    {"deckAnalogIn", kBtn, kDeck, "deck_analogin", nullptr},
    {"deckTimecodeIn", kBtn, kDeck, "deck_timecodein", nullptr},
    {"deckFxEdit1", kBtn, kDeck, "deck_fx_edit1", nullptr},
    {"deckFxEdit2", kBtn, kDeck, "deck_fx_edit2", nullptr},
    {"deckFxEdit3", kBtn, kDeck, "deck_fx_edit3", nullptr},
    {"deckFxEdit4", kBtn, kDeck, "deck_fx_edit4", nullptr},
    {"deckFxLoad1", kBtn, kDeck, "deck_fx_load1", nullptr},
    {"deckFxLoad2", kBtn, kDeck, "deck_fx_load2", nullptr},
    {"deckFxLoad3", kBtn, kDeck, "deck_fx_load3", nullptr},
    {"deckFxLoad4", kBtn, kDeck, "deck_fx_load4", nullptr},
    {"deckFxOn1", kBtn, kDeck, "deck_fx_on1", nullptr},
    {"deckFxOn2", kBtn, kDeck, "deck_fx_on2", nullptr},
    {"deckFxOn3", kBtn, kDeck, "deck_fx_on3", nullptr},
    {"deckFxOn4", kBtn, kDeck, "deck_fx_on4", nullptr},
    {"deckFxPan", kBtn, kDeck, "deck_fx_pan", nullptr},
    {"deckFxFlanger", kBtn, kDeck, "deck_fx_flanger", nullptr},
    {"deckFxPhaser", kBtn, kDeck, "deck_fx_phaser", nullptr},
    {"deckFxReverb", kBtn, kDeck, "deck_fx_reverb", nullptr},
    {"deckFxEcho", kBtn, kDeck, "deck_fx_echo", nullptr},
    {"deckFxDelay", kBtn, kDeck, "deck_fx_delay", nullptr},
    {"deckFxBeatwaw", kBtn, kDeck, "deck_fx_beatwaw", nullptr},
    {"deckCueIn", kBtn, kDeck, "deck_cue_in", nullptr},
    {"deckCueOut", kBtn, kDeck, "deck_cue_out", nullptr},
    {"deckCuePos1", kBtn, kDeck, "deck_cuepos_1", nullptr},
    {"deckCuePos2", kBtn, kDeck, "deck_cuepos_2", nullptr},
    {"deckCuePos3", kBtn, kDeck, "deck_cuepos_3", nullptr},
    {"deckCuePos4", kBtn, kDeck, "deck_cuepos_4", nullptr},
    {"deckCuePos5", kBtn, kDeck, "deck_cuepos_5", nullptr},
    {"deckCuePos6", kBtn, kDeck, "deck_cuepos_6", nullptr},
    {"deckCuePos7", kBtn, kDeck, "deck_cuepos_7", nullptr},
    {"deckCuePos8", kBtn, kDeck, "deck_cuepos_8", nullptr},
    {"deckCuePos9", kBtn, kDeck, "deck_cuepos_9", nullptr},
    {"deckCuePos10", kBtn, kDeck, "deck_cuepos_10", nullptr},
    {"deckCuePosClear", kBtn, kDeck, "deck_cuepos_clear", nullptr},
};
static_assert(std::size(kRows) == kScriptActionCount);

// ---- the two generic patterns ----------------------------------------------------

ControlEvent MidiEvent(int status, int value, int deck) {
  ControlEvent event;
  event.kind = mt_MIDI;
  event.status = status;
  event.y = 0;
  event.button = 0;
  event.value = value;
  event.ch = kBlank;
  event.deck = deck;
  return event;
}

void Set(ControlTarget* control, int value, int deck) {
  PostControlEvent(control, MidiEvent(kMidiControl, value, deck));
}

void Click(ControlTarget* control, int value, int deck) {
  if (!control) return;
  if (value == -1) {
    PostControlEvent(control, MidiEvent(kMidiNoteOn, kMidiTop, deck));
    PostControlEvent(control, MidiEvent(kMidiNoteOff, 0, deck));
  } else {
    PostControlEvent(control, MidiEvent(kMidiNoteOn, value, deck));
  }
}

// Control ids by row, resolved once (the control table is constant).
const std::array<int, kScriptActionCount>& ControlIds() {
  static const std::array<int, kScriptActionCount> ids = [] {
    std::array<int, kScriptActionCount> table{};
    for (int i = 0; i < kScriptActionCount; ++i)
      table[i] = kRows[i].control ? FindControlAction(kRows[i].control) : 0;
    return table;
  }();
  return ids;
}

template <int kIndex>
void Handle(int value, int aux, int deck) {
  constexpr const Row& row = kRows[kIndex];
  if constexpr (row.pattern == kDir) {
    row.direct(value, aux, deck);
  } else {
    const int controlDeck = row.scope == kGlobal ? -1 : row.scope == kDeckA ? 0 : deck;
    // A deck action named for no deck reaches no control: bank -1 holds
    // only global rows.
    if (row.scope == kDeck && deck != 0 && deck != 1) return;
    ControlTarget* control = TheControlTable().Find(ControlIds()[kIndex], controlDeck);
    if constexpr (row.pattern == kSet)
      Set(control, value, controlDeck);
    else
      Click(control, value, controlDeck);
  }
}

// A deck action that takes a value behind the deck: the sliders and the
// jog and pitch moves.
constexpr bool IsDeckValue(const Row& row) {
  return row.scope == kDeck && (row.pattern == kSet || row.direct == &ScratchJog ||
                                row.direct == &NudgeJog || row.direct == &MovePitch);
}

template <std::size_t... kIndex>
constexpr std::array<ScriptAction, kScriptActionCount> BuildTable(std::index_sequence<kIndex...>) {
  return {ScriptAction{
      kRows[kIndex].name, &Handle<kIndex>, kRows[kIndex].scope == kDeck ? 0 : 1,
      kRows[kIndex].scope == kDeck ? 3 : 1, IsDeckValue(kRows[kIndex]) ? 2 : 1,
      kRows[kIndex].direct == &ScratchJog || kRows[kIndex].direct == &NudgeJog ? 100 : -1}...};
}

constexpr std::array<ScriptAction, kScriptActionCount> kTable =
    BuildTable(std::make_index_sequence<kScriptActionCount>());

}  // namespace

const ScriptAction& ScriptActionRow(int index) {
  return kTable[index >= 0 && index < kScriptActionCount ? index : 0];
}

int FindScriptAction(const char* name) {
  static const std::unordered_map<std::string_view, int> byName = [] {
    std::unordered_map<std::string_view, int> map;
    for (int i = 0; i < kScriptActionCount; ++i) map.emplace(kTable[i].name, i);
    return map;
  }();
  if (!name) return -1;
  const auto found = byName.find(name);
  return found == byName.end() ? -1 : found->second;
}

ScriptPattern ScriptActionPattern(int index) {
  const Pattern pattern = kRows[index >= 0 && index < kScriptActionCount ? index : 0].pattern;
  return pattern == kSet   ? ScriptPattern::kSetter
         : pattern == kBtn ? ScriptPattern::kButton
                           : ScriptPattern::kDirect;
}

int ScriptActionControl(int index, int* fixedDeck) {
  if (index < 0 || index >= kScriptActionCount) return 0;
  if (fixedDeck) *fixedDeck = kRows[index].scope == kDeckA ? 0 : -1;
  return ControlIds()[index];
}

ScriptHooks& TheScriptHooks() {
  static ScriptHooks hooks;
  return hooks;
}

int ActiveBrowseList() {
  return g_activeList;
}

}  // namespace vantaro
