#include "control/action_names.h"

#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vantaro {
namespace {

// Where the deck letter goes in a family's name.
enum Letter {
  kAfterDeck,  // the first "deck" takes the letter: decka_jw, vm_deckb, sd_decka_alt
  kInfix,      // after the first word, set off by "_": fx_a_sel, zodrorkle_fx_on_b_1
  kSuffix,     // at the end: label_loop_a, zodrorkle_info_b
};

struct Family {
  const char* action;
  Letter letter;
};

// The lettered families of older skins, with the action each stands for.
// Only these are rewritten: a name that looks the same but is not listed
// (decka_match, label_sampler_a) stays as it is.
constexpr Family kFamilies[] = {
    {"deck_jw", kAfterDeck},
    {"deck_bpm", kAfterDeck},
    {"deck_pitch_tempo", kAfterDeck},
    {"deck_pitch_key_label", kAfterDeck},
    {"deck_elapsed", kAfterDeck},
    {"deck_remained", kAfterDeck},
    {"deck_songname", kAfterDeck},
    {"deck_cutoff", kAfterDeck},
    {"deck_fx_name1", kAfterDeck},
    {"deck_fx_name2", kAfterDeck},
    {"deck_fx_name3", kAfterDeck},
    {"deck_fx_name4", kAfterDeck},
    {"deck_eq_low_val", kAfterDeck},
    {"deck_eq_mid_val", kAfterDeck},
    {"deck_eq_high_val", kAfterDeck},
    {"deck_gain_val", kAfterDeck},
    {"deck_in_master", kAfterDeck},
    {"deck_edit_bpm", kAfterDeck},
    {"deck_back_to_top", kAfterDeck},
    {"deck_setcue", kAfterDeck},
    {"deck_cue", kAfterDeck},
    {"deck_play_pause", kAfterDeck},
    {"deck_cue_play", kAfterDeck},
    {"deck_bend_down", kAfterDeck},
    {"deck_bend_up", kAfterDeck},
    {"deck_unload", kAfterDeck},
    {"deck_rev", kAfterDeck},
    {"deck_fwd", kAfterDeck},
    {"deck_reset_pitch", kAfterDeck},
    {"deck_load", kAfterDeck},
    {"deck_loop_in_end", kAfterDeck},
    {"deck_loop_out", kAfterDeck},
    {"deck_loop_prev", kAfterDeck},
    {"deck_loop_next", kAfterDeck},
    {"deck_loop_less", kAfterDeck},
    {"deck_loop_more", kAfterDeck},
    {"deck_loop_half", kAfterDeck},
    {"deck_loop_1", kAfterDeck},
    {"deck_loop_2", kAfterDeck},
    {"deck_loop_4", kAfterDeck},
    {"deck_loop_8", kAfterDeck},
    {"deck_loop_16", kAfterDeck},
    {"deck_slow_bpm", kAfterDeck},
    {"deck_loop_song", kAfterDeck},
    {"deck_reverse", kAfterDeck},
    {"deck_brake", kAfterDeck},
    {"deck_kill_low", kAfterDeck},
    {"deck_kill_mid", kAfterDeck},
    {"deck_kill_high", kAfterDeck},
    {"deck_search_left", kAfterDeck},
    {"deck_search_right", kAfterDeck},
    {"deck_scratch", kAfterDeck},
    {"deck_cue1", kAfterDeck},
    {"deck_cue2", kAfterDeck},
    {"deck_cue3", kAfterDeck},
    {"deck_cue4", kAfterDeck},
    {"deck_cue5", kAfterDeck},
    {"deck_cue6", kAfterDeck},
    {"deck_cue7", kAfterDeck},
    {"deck_cue8", kAfterDeck},
    {"deck_skip_beat", kAfterDeck},
    {"deck_key_lock", kAfterDeck},
    {"deck_analogin", kAfterDeck},
    {"deck_timecodein", kAfterDeck},
    {"deck_fx_edit1", kAfterDeck},
    {"deck_fx_edit2", kAfterDeck},
    {"deck_fx_edit3", kAfterDeck},
    {"deck_fx_edit4", kAfterDeck},
    {"deck_fx_load1", kAfterDeck},
    {"deck_fx_load2", kAfterDeck},
    {"deck_fx_load3", kAfterDeck},
    {"deck_fx_load4", kAfterDeck},
    {"deck_fx_on1", kAfterDeck},
    {"deck_fx_on2", kAfterDeck},
    {"deck_fx_on3", kAfterDeck},
    {"deck_fx_on4", kAfterDeck},
    {"deck_fx_pan", kAfterDeck},
    {"deck_fx_flanger", kAfterDeck},
    {"deck_fx_phaser", kAfterDeck},
    {"deck_fx_reverb", kAfterDeck},
    {"deck_fx_echo", kAfterDeck},
    {"deck_fx_delay", kAfterDeck},
    {"deck_fx_beatwaw", kAfterDeck},
    {"deck_cue_in", kAfterDeck},
    {"deck_cue_out", kAfterDeck},
    {"deck_cuepos_1", kAfterDeck},
    {"deck_cuepos_2", kAfterDeck},
    {"deck_cuepos_3", kAfterDeck},
    {"deck_cuepos_4", kAfterDeck},
    {"deck_cuepos_5", kAfterDeck},
    {"deck_cuepos_clear", kAfterDeck},
    {"deck_playlive", kAfterDeck},
    {"vm_deck", kAfterDeck},
    {"sd_deck", kAfterDeck},
    {"sd_deck_alt", kAfterDeck},
    {"dz_deck", kAfterDeck},
    {"zodrorkle_fx_on_1", kInfix},
    {"zodrorkle_fx_on_2", kInfix},
    {"zodrorkle_fx_on_3", kInfix},
    {"zodrorkle_fx_on_4", kInfix},
    {"zodrorkle_fx_controller_1", kInfix},
    {"zodrorkle_fx_controller_2", kInfix},
    {"zodrorkle_fx_controller_3", kInfix},
    {"zodrorkle_fx_controller_4", kInfix},
    {"zodrorkle_vol_pitch", kSuffix},
    {"zodrorkle_tune_scratch", kSuffix},
    {"zodrorkle_info", kSuffix},
    {"deck_volume", kAfterDeck},
    {"zodrorkle_fx_sel_1", kInfix},
    {"zodrorkle_fx_sel_2", kInfix},
    {"zodrorkle_fx_sel_3", kInfix},
    {"zodrorkle_fx_sel_4", kInfix},
    {"deck_pitch", kAfterDeck},
    {"deck_pitch_key", kAfterDeck},
    {"deck_pos", kAfterDeck},
    {"deck_eq_low", kAfterDeck},
    {"deck_eq_mid", kAfterDeck},
    {"deck_eq_high", kAfterDeck},
    {"deck_cutoff_filter", kAfterDeck},
    {"deck_gain", kAfterDeck},
    {"label_deck", kAfterDeck},
    {"label_loop", kSuffix},
    {"label_sync", kSuffix},
    {"label_pitch", kSuffix},
    {"label_filter", kSuffix},
    {"label_cue_points", kSuffix},
    {"label_eqlow", kSuffix},
    {"label_eqmid", kSuffix},
    {"label_eqhigh", kSuffix},
    {"label_gain", kSuffix},
    {"label_pitchbend", kSuffix},
    {"label_eqlow2", kSuffix},
    {"label_eqmid2", kSuffix},
    {"label_eqhigh2", kSuffix},
    {"label_zodrorkle_info", kSuffix},
    {"label_effects", kSuffix},
    {"label_keylock", kSuffix},
    {"label_skipbeat", kSuffix},
    {"label_editbpm", kSuffix},
    {"label_analogin", kSuffix},
    {"label_reverse", kSuffix},
    {"label_brake", kSuffix},
    {"fx_sel", kInfix},
    {"fx_add", kInfix},
    {"deck_sync", kAfterDeck},
    {"deck_monitor", kAfterDeck},
    {"deck_boost", kAfterDeck},
    {"deck_mute", kAfterDeck},
    {"dropdown_send_loop_to", kInfix},
    {"deck_loop1", kAfterDeck},
    {"deck_loop2", kAfterDeck},
    {"deck_loop3", kAfterDeck},
    {"deck_loop4", kAfterDeck},
    {"deck_loop5", kAfterDeck},
    {"deck_wheel", kAfterDeck},
};
static_assert(std::size(kFamilies) == kLetteredActionFamilies);

// The spelling of `family` for deck letter `letter` ('a' or 'b').
std::string Spell(const Family& family, char letter) {
  std::string name = family.action;
  switch (family.letter) {
    case kAfterDeck:
      name.insert(name.find("deck") + 4, 1, letter);
      break;
    case kInfix: {
      // zodrorkle_fx_on_1 -> zodrorkle_fx_on_a_1: the letter goes before the
      // last word when that is a number, else after the first word.
      const std::size_t last = name.rfind('_');
      const bool numbered = name.back() >= '0' && name.back() <= '9';
      const std::size_t at = numbered ? last : name.find('_');
      name.insert(at, std::string("_") + letter);
      break;
    }
    case kSuffix:
      name += '_';
      name += letter;
      break;
  }
  return name;
}

using Lettered = std::unordered_map<std::string, std::pair<std::string, int>>;

const Lettered& LetteredNames() {
  static const Lettered names = [] {
    Lettered table;
    for (const Family& family : kFamilies)
      for (int deck = 0; deck < 2; ++deck)
        table.emplace(Spell(family, static_cast<char>('a' + deck)),
                      std::make_pair(std::string(family.action), deck));
    return table;
  }();
  return names;
}

}  // namespace

void NormaliseActionName(const std::string& in, std::string* out, int* deck) {
  const Lettered& names = LetteredNames();
  const auto found = names.find(in);
  if (found == names.end()) {
    *out = in;
    *deck = -1;
    return;
  }
  *out = found->second.first;
  *deck = found->second.second;
}

}  // namespace vantaro
