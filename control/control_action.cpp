#include "control/control_action.h"

#include <array>
#include <cstring>
#include <iterator>
#include <string_view>
#include <unordered_map>

namespace vantaro {
namespace {

const ControlKindRow kKinds[kKindCount] = {
    {"none", "All control types"},
    {"button", "Buttons"},
    {"slider", "Sliders/Knobs"},
    {"textarea", "Text/Labels"},
    {"image", "Images"},
    {"dropzone", "DropZone"},
    {"dropdownlist", "DropDown list"},
    {"browser", "Browser"},
    {"list", "Playlist"},
    {"editarea", "EditArea"},
    {"vumeter", "Vu-meter"},
    {"sounddisplay", "SoundDisplay"},
    {"sg_playlive", "PlayLive button"},
    {"sg_wheel", "Virtual Wheel"},
    {"sg_beatpos", "Beat Pos control"},
    {"sg_video", "Video Preview"},
    {"sg_flow", "Flow control"},
    {"sg_browser", "Web Browser"},
    {"group", "Groups"},
    {"unknown", "Unknown types"},
};

// The rows come in blocks of one kind and the same two flags, in id order.
struct RowBlock {
  int kind, isLabel, isGlobal;
  const char* const* names;
  std::size_t count;
};

// Buttons, one per deck.
constexpr const char* kNames0[] = {"fx_sel",
                                   "fx_add",
                                   "deck_sync",
                                   "deck_match",
                                   "deck_sync_to_a",
                                   "deck_sync_to_b",
                                   "deck_monitor",
                                   "deck_boost",
                                   "deck_mute",
                                   "deck_in_master",
                                   "deck_edit_bpm",
                                   "deck_back_to_top",
                                   "deck_setcue",
                                   "deck_cue",
                                   "deck_play_pause",
                                   "deck_cue_play",
                                   "deck_bend_down",
                                   "deck_bend_up",
                                   "deck_unload",
                                   "deck_rev",
                                   "deck_fwd",
                                   "deck_reset_pitch",
                                   "deck_load",
                                   "deck_loop_in_end",
                                   "deck_loop_out",
                                   "deck_loop_reloop",
                                   "deck_loop_prev",
                                   "deck_loop_next",
                                   "deck_loop_less",
                                   "deck_loop_more",
                                   "deck_loop_sixteenth",
                                   "deck_loop_eighth",
                                   "deck_loop_quarter",
                                   "deck_loop_half",
                                   "deck_loop_1",
                                   "deck_loop_2",
                                   "deck_loop_4",
                                   "deck_loop_8",
                                   "deck_loop_16",
                                   "deck_loop_32",
                                   "deck_loop1",
                                   "deck_loop2",
                                   "deck_loop3",
                                   "deck_loop4",
                                   "deck_loop5",
                                   "deck_slow_bpm",
                                   "deck_loop_song",
                                   "deck_reverse",
                                   "deck_brake",
                                   "deck_kill_low",
                                   "deck_kill_mid",
                                   "deck_kill_high",
                                   "deck_search_left",
                                   "deck_search_right",
                                   "deck_scratch",
                                   "deck_skip_beat_prev",
                                   "deck_skip_beat",
                                   "deck_skip_bar_prev",
                                   "deck_skip_bar",
                                   "deck_key_lock",
                                   "deck_analogin",
                                   "deck_timecodein",
                                   "deck_timecode_relative",
                                   "deck_fx_edit1",
                                   "deck_fx_edit2",
                                   "deck_fx_edit3",
                                   "deck_fx_edit4",
                                   "deck_fx_load1",
                                   "deck_fx_load2",
                                   "deck_fx_load3",
                                   "deck_fx_load4",
                                   "deck_fx_on1",
                                   "deck_fx_on2",
                                   "deck_fx_on3",
                                   "deck_fx_on4",
                                   "deck_fx_pan",
                                   "deck_fx_flanger",
                                   "deck_fx_phaser",
                                   "deck_fx_reverb",
                                   "deck_fx_echo",
                                   "deck_fx_delay",
                                   "deck_fx_beatwaw",
                                   "deck_cue_in",
                                   "deck_cue_out",
                                   "deck_cuepos_1",
                                   "deck_cuepos_2",
                                   "deck_cuepos_3",
                                   "deck_cuepos_4",
                                   "deck_cuepos_5",
                                   "deck_cuepos_6",
                                   "deck_cuepos_7",
                                   "deck_cuepos_8",
                                   "deck_cuepos_9",
                                   "deck_cuepos_10",
                                   "deck_cuepos_clear",
                                   "zodrorkle_fx_on_1",
                                   "zodrorkle_fx_on_2",
                                   "zodrorkle_fx_on_3",
                                   "zodrorkle_fx_on_4",
                                   "zodrorkle_fx_controller_1",
                                   "zodrorkle_fx_controller_2",
                                   "zodrorkle_fx_controller_3",
                                   "zodrorkle_fx_controller_4",
                                   "zodrorkle_vol_pitch",
                                   "zodrorkle_tune_scratch",
                                   "zodrorkle_info"};
// Buttons, global.
constexpr const char* kNames1[] = {"button_template",
                                   "minimize",
                                   "maximize",
                                   "close",
                                   "minimize2",
                                   "maximize2",
                                   "close2",
                                   "insert",
                                   "insert_all",
                                   "list_new",
                                   "list_delete",
                                   "list_edit",
                                   "list_export",
                                   "list_load",
                                   "list_saveas",
                                   "recording",
                                   "add",
                                   "add_dir",
                                   "remove",
                                   "clear",
                                   "autodj_next",
                                   "autodj_to_left",
                                   "autodj_to_right",
                                   "ss_preview",
                                   "search_stop",
                                   "random",
                                   "shuffle",
                                   "autodj",
                                   "drag_up",
                                   "drag_down",
                                   "drag_top",
                                   "drag_bottom",
                                   "autodj_more",
                                   "autodj_less",
                                   "list_color_clear",
                                   "list_color_1",
                                   "list_color_2",
                                   "list_color_3",
                                   "list_color_4",
                                   "list_color_5",
                                   "list_color_6",
                                   "list_color_7",
                                   "list_filter_all",
                                   "list_filter_audio",
                                   "list_filter_video",
                                   "list_filter_karaoke",
                                   "list_tag_edit",
                                   "lock_crossfaders",
                                   "learn",
                                   "playlist_sel",
                                   "about",
                                   "about2",
                                   "cfg",
                                   "cfg2",
                                   "limiter",
                                   "enable_video",
                                   "enable_karaoke",
                                   "reload_skin",
                                   "phones_split",
                                   "talkover",
                                   "onair",
                                   "sync_lock",
                                   "fx_master_add",
                                   "fx_master_sel",
                                   "fx_samples_sel",
                                   "fx_mic_sel",
                                   "fx_mic_add",
                                   "mic_kill_low",
                                   "mic_kill_mid",
                                   "mic_kill_high",
                                   "zodrorkle_music",
                                   "zodrorkle_playlist",
                                   "zodrorkle_hold",
                                   "zodrorkle_libary",
                                   "zodrorkle_about",
                                   "special_dialog_ok",
                                   "special_dialog_cancel"};
// Sliders, one per deck.
constexpr const char* kNames2[] = {"deck_jw",
                                   "deck_volume",
                                   "deck_pitch",
                                   "deck_pitch_key",
                                   "deck_pos",
                                   "deck_eq_low",
                                   "deck_eq_mid",
                                   "deck_eq_high",
                                   "deck_cutoff_filter",
                                   "deck_gain",
                                   "deck_fx_pan_drywet",
                                   "deck_fx_pan_param1",
                                   "deck_fx_pan_param2",
                                   "deck_fx_flanger_drywet",
                                   "deck_fx_flanger_param1",
                                   "deck_fx_flanger_param2",
                                   "deck_fx_phaser_drywet",
                                   "deck_fx_phaser_param1",
                                   "deck_fx_phaser_param2",
                                   "deck_fx_reverb_drywet",
                                   "deck_fx_reverb_param1",
                                   "deck_fx_reverb_param2",
                                   "deck_fx_echo_drywet",
                                   "deck_fx_echo_param1",
                                   "deck_fx_echo_param2",
                                   "deck_fx_delay_drywet",
                                   "deck_fx_delay_param1",
                                   "deck_fx_delay_param2",
                                   "deck_fx_beatwaw_drywet",
                                   "deck_fx_beatwaw_param1",
                                   "deck_fx_beatwaw_param2"};
// Sliders, global.
constexpr const char* kNames3[] = {"slider_template", "preview",     "master_gain", "monitor_gain",
                                   "monitor_gain2",   "cf_curve",    "crossfader",  "cue_pfl_mix",
                                   "cue_pgm_mix",     "cf_audio",    "cf_video",    "mic_eq_low",
                                   "mic_eq_mid",      "mic_eq_high", "mic_gain"};
// Texts, one per deck.
constexpr const char* kNames4[] = {"deck_bpm",
                                   "deck_pitch_tempo",
                                   "deck_pitch_key_label",
                                   "deck_elapsed",
                                   "deck_remained",
                                   "deck_songname",
                                   "deck_cutoff",
                                   "deck_fx_name1",
                                   "deck_fx_name2",
                                   "deck_fx_name3",
                                   "deck_fx_name4",
                                   "deck_eq_low_val",
                                   "deck_eq_mid_val",
                                   "deck_eq_high_val",
                                   "deck_gain_val",
                                   "deck_fx_pan_drywet_val",
                                   "deck_fx_pan_param1_val",
                                   "deck_fx_pan_param2_val",
                                   "deck_fx_flanger_drywet_val",
                                   "deck_fx_flanger_param1_val",
                                   "deck_fx_flanger_param2_val",
                                   "deck_fx_phaser_drywet_val",
                                   "deck_fx_phaser_param1_val",
                                   "deck_fx_phaser_param2_val",
                                   "deck_fx_reverb_drywet_val",
                                   "deck_fx_reverb_param1_val",
                                   "deck_fx_reverb_param2_val",
                                   "deck_fx_echo_drywet_val",
                                   "deck_fx_echo_param1_val",
                                   "deck_fx_echo_param2_val",
                                   "deck_fx_delay_drywet_val",
                                   "deck_fx_delay_param1_val",
                                   "deck_fx_delay_param2_val",
                                   "deck_fx_beatwaw_drywet_val",
                                   "deck_fx_beatwaw_param1_val",
                                   "deck_fx_beatwaw_param2_val"};
// Texts, global.
constexpr const char* kNames5[] = {"special_dialog_message",
                                   "textarea_template",
                                   "time",
                                   "auto_dj_time",
                                   "record_time",
                                   "status_background_processing",
                                   "status_hercules_controller",
                                   "mic_eq_low_val",
                                   "mic_eq_mid_val",
                                   "mic_eq_high_val",
                                   "mic_gain_val",
                                   "master_gain_val",
                                   "monitor_gain_val",
                                   "cf_curve_val",
                                   "pfl_mix_val"};
// Labels, one per deck.
constexpr const char* kNames6[] = {
    "label_loop",           "label_sync",      "label_pitch",     "label_filter",
    "label_cue_points",     "label_eqlow",     "label_eqmid",     "label_eqhigh",
    "label_gain",           "label_pitchbend", "label_eqlow2",    "label_eqmid2",
    "label_eqhigh2",        "label_effects",   "label_keylock",   "label_skipbeat",
    "label_editbpm",        "label_analogin",  "label_reverse",   "label_brake",
    "label_zodrorkle_info", "label_deck",      "label_equalizer", "label_cuepoints",
    "label_autopan",        "label_flanger",   "label_phaser",    "label_reverb",
    "label_echo",           "label_delay",     "label_beatwaw"};
// Labels, global.
constexpr const char* kNames7[] = {"label_sampler",
                                   "label_cfg",
                                   "label_learn",
                                   "label_rec",
                                   "label_zodrorkle_music",
                                   "label_zodrorkle_playlist",
                                   "label_zodrorkle_hold_jogs",
                                   "label_zodrorkle_library",
                                   "label_preview",
                                   "label_random",
                                   "label_automix",
                                   "label_volume_a",
                                   "label_eqlow_mic",
                                   "label_eqmid_mic",
                                   "label_eqhigh_mic",
                                   "label_gain_mic",
                                   "label_gain_master",
                                   "label_gain_monitor",
                                   "label_cf_curve",
                                   "label_pfl_mix",
                                   "label_microphone",
                                   "label_master_monitor"};
// DropZone, one per deck.
constexpr const char* kNames8[] = {"dz_deck"};
// DropDown, one per deck.
constexpr const char* kNames9[] = {"dropdown_send_loop_to", "zodrorkle_fx_sel_1",
                                   "zodrorkle_fx_sel_2", "zodrorkle_fx_sel_3",
                                   "zodrorkle_fx_sel_4"};
// DropDown, global.
constexpr const char* kNames10[] = {"dropdown_time"};
// Browser, global.
constexpr const char* kNames11[] = {"browser"};
// List, global.
constexpr const char* kNames12[] = {"playlist", "kv_playlist"};
// EditArea, global.
constexpr const char* kNames13[] = {"special_dialog_input", "et_search"};
// VuMeter, one per deck.
constexpr const char* kNames14[] = {"vm_deck", "vm_deckl", "vm_deckr"};
// VuMeter, global.
constexpr const char* kNames15[] = {"vm_microphone", "vm_masterl", "vm_masterr", "vm_cpu",
                                    "vm_cpu2"};
// SoundDisplay, one per deck.
constexpr const char* kNames16[] = {"sd_deck", "sd_deck_alt"};
// PlayLive, one per deck.
constexpr const char* kNames17[] = {"deck_playlive"};
// Wheel, one per deck.
constexpr const char* kNames18[] = {"deck_wheel"};
// BeatPos, one per deck.
constexpr const char* kNames19[] = {"deck_beatpos"};
// Video, global.
constexpr const char* kNames20[] = {"video_preview"};
// Flow, global.
constexpr const char* kNames21[] = {"flow"};
// WebBrowser, global.
constexpr const char* kNames22[] = {"webbrowser"};
// Group, global.
constexpr const char* kNames23[] = {"tb_config", "tb_tab_in_tab"};

constexpr RowBlock kBlocks[] = {
    {kKindButton, 0, 0, kNames0, std::size(kNames0)},
    {kKindButton, 0, 1, kNames1, std::size(kNames1)},
    {kKindSlider, 0, 0, kNames2, std::size(kNames2)},
    {kKindSlider, 0, 1, kNames3, std::size(kNames3)},
    {kKindText, 0, 0, kNames4, std::size(kNames4)},
    {kKindText, 0, 1, kNames5, std::size(kNames5)},
    {kKindText, 1, 0, kNames6, std::size(kNames6)},
    {kKindText, 1, 1, kNames7, std::size(kNames7)},
    {kKindDropZone, 0, 0, kNames8, std::size(kNames8)},
    {kKindDropDown, 0, 0, kNames9, std::size(kNames9)},
    {kKindDropDown, 0, 1, kNames10, std::size(kNames10)},
    {kKindBrowser, 0, 1, kNames11, std::size(kNames11)},
    {kKindList, 0, 1, kNames12, std::size(kNames12)},
    {kKindEditArea, 0, 1, kNames13, std::size(kNames13)},
    {kKindVuMeter, 0, 0, kNames14, std::size(kNames14)},
    {kKindVuMeter, 0, 1, kNames15, std::size(kNames15)},
    {kKindSoundDisplay, 0, 0, kNames16, std::size(kNames16)},
    {kKindPlayLive, 0, 0, kNames17, std::size(kNames17)},
    {kKindWheel, 0, 0, kNames18, std::size(kNames18)},
    {kKindBeatPos, 0, 0, kNames19, std::size(kNames19)},
    {kKindVideo, 0, 1, kNames20, std::size(kNames20)},
    {kKindFlow, 0, 1, kNames21, std::size(kNames21)},
    {kKindWebBrowser, 0, 1, kNames22, std::size(kNames22)},
    {kKindGroup, 0, 1, kNames23, std::size(kNames23)},
};

constexpr int CountRows() {
  int rows = 0;
  for (const RowBlock& block : kBlocks) rows += static_cast<int>(block.count);
  return rows;
}
static_assert(CountRows() + 1 == kLastAction, "the last row follows the named rows");

struct ActionTable {
  std::array<ControlAction, kControlTableRows> rows{};
  std::unordered_map<std::string_view, int> byName;

  ActionTable() {
    rows[0] = {"action_none", kKindNone, 0, 1};
    int id = 1;
    for (const RowBlock& block : kBlocks)
      for (std::size_t i = 0; i < block.count; ++i)
        rows[id++] = {block.names[i], block.kind, block.isLabel, block.isGlobal};
    rows[id] = {"action_lastaction", kKindNone, 0, 1};
    for (int row = 1; row < kLastAction; ++row) byName.emplace(rows[row].name, row);
  }
};

const ActionTable& Table() {
  static const ActionTable table;
  return table;
}

}  // namespace

const ControlKindRow& ControlKindInfo(int kind) {
  return kKinds[kind >= 0 && kind < kKindCount ? kind : kKindUnknown];
}

int ControlKindOfTag(const char* tag) {
  for (int kind = 1; kind < kKindCount; ++kind)
    if (tag && std::strcmp(kKinds[kind].tag, tag) == 0) return kind;
  return kKindNone;
}

const ControlAction& ControlActionRow(int id) {
  return Table().rows[id > 0 && id <= kLastAction ? id : 0];
}

int FindControlAction(const char* name) {
  if (!name) return 0;
  const auto& byName = Table().byName;
  const auto found = byName.find(name);
  return found == byName.end() ? 0 : found->second;
}

const ActionIds& Actions() {
  static const ActionIds ids = {
      FindControlAction("deck_play_pause"), FindControlAction("deck_brake"),
      FindControlAction("deck_reverse"),    FindControlAction("deck_kill_low"),
      FindControlAction("deck_kill_mid"),   FindControlAction("deck_kill_high"),
      FindControlAction("deck_monitor"),    FindControlAction("deck_volume"),
      FindControlAction("talkover"),        FindControlAction("learn"),
  };
  return ids;
}

}  // namespace vantaro
