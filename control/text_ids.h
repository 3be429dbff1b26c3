#pragma once
// Text ids of the language files: the rows of the text table. Row 0 is the
// empty id `_txt_none`; the listed ids follow in their fixed order, and the
// program's own texts after `txt_sd_menu_exit`. A language file names a row
// by its id's name.
//
// Other parts of the program's design cite some texts by row numbers of a
// longer table. They are these ids, taken by meaning:
//
//   27..38   txt_tag_no .. txt_tag_filename (the twelve column titles)
//   40       txt_screenres_low            51  txt_app_already_started
//   52       txt_not_enough_disk_space_rec 63 txt_confirm_load_deck
//   90       txt_no_audio
//   120..132 txt_desktop, txt_mydocuments, txt_homefolder, txt_globalbrowser,
//            txt_browser, txt_database, txt_lists, txt_explorer, txt_history,
//            txt_automixplaylist, txt_favorites, txt_musicfolder,
//            txt_itunes_library (the browser's root groups and fixed lists)
//   156..158 txt_soft, txt_normal, txt_hard (the crossfader curve)
//   161      txt_please_set_bpm_first     162 txt_please_enable_hq_time_pitch
//
// Threads: constant tables, any thread.

namespace vantaro {

// The ids in table order, as an X-macro list.
// clang-format off
#define VANTARO_LISTED_TEXT_IDS(X) \
  X(txt_ok) X(txt_cancel) X(txt_yes) X(txt_no) X(txt_seconds) X(txt_miliseconds) X(txt_update) \
  X(txt_load) X(txt_save) X(txt_saveas) X(txt_retry) X(txt_space) X(txt_backspace) X(txt_month1) \
  X(txt_month2) X(txt_month3) X(txt_month4) X(txt_month5) X(txt_month6) X(txt_month7) \
  X(txt_month8) X(txt_month9) X(txt_month10) X(txt_month11) X(txt_month12) X(txt_tag_no) \
  X(txt_tag_title) X(txt_tag_artist) X(txt_tag_bpm) X(txt_tag_time) X(txt_tag_genre) \
  X(txt_tag_key) X(txt_tag_comment) X(txt_tag_album) X(txt_tag_track) X(txt_tag_year) \
  X(txt_tag_filename) X(txt_appdatafolderpermission) X(txt_screenres_low) \
  X(txt_itunes_not_installed) X(txt_file_not_loaded) X(txt_not_enough_free_memory) \
  X(txt_cant_save_database) X(txt_hercules_controller_not_present) \
  X(txt_hardware_controller_not_present) X(txt_tag_saving_error) X(txt_file_too_big) \
  X(txt_app_already_started) X(txt_not_enough_disk_space_rec) X(txt_confirm_clear) \
  X(txt_confirm_clear_list) X(txt_confirm_clear_list_searching) X(txt_confirm_remove_items) \
  X(txt_confirm_remove) X(txt_confirm_save_searching) X(txt_confirm_save) X(txt_confirm_exit) \
  X(txt_confirm_delete_list) X(txt_confirm_analyze_all) X(txt_confirm_load_deck) \
  X(txt_confirm_unload_deck) X(txt_confirm_screen_resolution_change) X(txt_about) \
  X(txt_preferences) X(txt_load_list_title) X(txt_saveas_list_title) X(txt_addfile_title) \
  X(txt_addfolder_title) X(txt_addsongs_title) X(txt_add_dialog_msg1) X(txt_add_dialog_msg2) \
  X(txt_add_dialog_msg2linux) X(txt_add_dialog_msg3) X(txt_search_song_msg) X(txt_saverec_title) \
  X(txt_loading1) X(txt_loading2) X(txt_loading_progress_ram) X(txt_loading_progress_disk) \
  X(txt_analyzing) X(txt_load_sample_title) X(txt_all_supported_files) X(txt_no_audio) \
  X(txt_no_midi) X(txt_choose_effect) X(txt_sorting_blocked) X(txt_menu_prelistensong) \
  X(txt_menu_setasnext) X(txt_menu_loaddeck) X(txt_menu_addtolist) X(txt_menu_clearlist) \
  X(txt_menu_lockcolumnsorting) X(txt_menu_lockcolumnsize) X(txt_menu_newplaylistfromfolder) \
  X(txt_menu_removefromdatabase) X(txt_menu_addtodatabase) X(txt_menu_newplaylist) \
  X(txt_menu_addfilefoldersitunes) X(txt_menu_deleteplaylist) X(txt_menu_renameplaylist) \
  X(txt_menu_exportplaylist) X(txt_menu_addtofavorites) X(txt_menu_removefromfavorites) \
  X(txt_folderaddtodb) X(txt_anewplaylistwascreatedfromfolder) X(txt_list_name) \
  X(txt_enter_new_playlist_name) X(txt_newplaylist_default_name) X(txt_edit_list_name) \
  X(txt_desktop) X(txt_mydocuments) X(txt_homefolder) X(txt_globalbrowser) X(txt_browser) \
  X(txt_database) X(txt_lists) X(txt_explorer) X(txt_history) X(txt_automixplaylist) \
  X(txt_favorites) X(txt_menu_loadsample) X(txt_menu_loopbeats) X(txt_menu_analyze) \
  X(txt_menu_analyze_all) X(txt_menu_removedeadfiles) X(txt_menu_physicalremove) \
  X(txt_confirm_physicalremove) X(txt_deadfiles_removed) X(txt_menu_editfileinfo) \
  X(txt_hercules_controller_connected) X(txt_hercules_controller_disconnected) \
  X(txt_menu_setcuepoint) X(txt_taginfo) X(txt_add_files) X(txt_add_folder) X(txt_import_itunes) \
  X(txt_import_list) X(txt_auto_sync) X(txt_sampler_select) X(txt_load_sample) \
  X(txt_drag_file_here_to_load) X(txt_time_elapsed) X(txt_time_left) X(txt_soft) X(txt_normal) \
  X(txt_hard) X(txt_both) X(txt_never) X(txt_please_set_bpm_first) \
  X(txt_please_enable_hq_time_pitch) X(txt_scan_external_plugins) \
  X(txt_scan_external_plugins_warn_crash) X(txt_scan_external_plugins_found) \
  X(txt_continue_question) X(txt_video) X(txt_karaoke) X(txt_send_loop_to) \
  X(txt_cfg_preferences) X(txt_cfg_general) X(txt_cfg_audio) X(txt_cfg_midi) \
  X(txt_cfg_audio_midi) X(txt_cfg_reset_deck) X(txt_cfg_beat_automix) X(txt_cfg_jw_scratch_mode) \
  X(txt_cfg_use_hq_timepitch) X(txt_cfg_show_hints) X(txt_cfg_slow_reset) \
  X(txt_cfg_use_jw_pitch) X(txt_cfg_allow_automix_current_list) X(txt_cfg_automix_fadetime) \
  X(txt_cfg_select_skin) X(txt_cfg_select_midiin) X(txt_cfg_select_midiout) \
  X(txt_cfg_select_audio) X(txt_cfg_latency) X(txt_cfg_asio_cp) X(txt_cfg_output_mode) \
  X(txt_cfg_om_normal) X(txt_cfg_om_split) X(txt_cfg_om_multi) X(txt_cfg_om_reverse) \
  X(txt_cfg_remember_song_eq) X(txt_cfg_select_timecode_type) X(txt_cfg_disable_autocueing) \
  X(txt_cfg_monitor_using_info) X(txt_cfg_sel_additional_device) X(txt_cfg_samples) \
  X(txt_cfg_adv_samples_options) X(txt_cfg_adv_samples_volume) X(txt_cfg_adv_samples_pitch) \
  X(txt_cfg_adv_samples_idle_time) X(txt_cfg_use_external_mixer) \
  X(txt_cfg_disable_cf_when_in_external_mixer_mode) X(txt_cfg_use_perceptual_auto_gain) \
  X(txt_cfg_enable_video_mixing_window) X(txt_cfg_remember_history) X(txt_cfg_use_opengl) \
  X(txt_cfg_use_hq_video) X(txt_cfg_cf_curve) X(txt_cfg_warning_change_needs_restart) \
  X(txt_cfg_pitch_tempo_range) X(txt_cfg_cutoff_filter_mode) X(txt_cfg_load_songs_in_ram) \
  X(txt_bpm_value) X(txt_bpm_tap_beat) X(txt_bpm_manual_input) X(txt_bpm_automatic) \
  X(txt_sd_name) X(txt_sd_cant_load_bmp) X(txt_sd_confirm_quit_title) \
  X(txt_sd_confirm_quit_normal) X(txt_sd_confirm_quit_save) X(txt_sd_menu_file) \
  X(txt_sd_menu_about) X(txt_sd_menu_exit)

#define VANTARO_OWN_TEXT_IDS(X) \
  X(txt_multichannel_unavailable) X(txt_musicfolder) X(txt_itunes_library) \
  X(txt_track_missing) X(txt_track_is_folder) X(txt_track_unreadable) X(txt_track_not_audio) \
  X(txt_deck_still_loading)
// clang-format on

enum TextId : int {
  _txt_none = 0,
#define VANTARO_TEXT_ENUM(name) name,
  VANTARO_LISTED_TEXT_IDS(VANTARO_TEXT_ENUM) VANTARO_OWN_TEXT_IDS(VANTARO_TEXT_ENUM)
#undef VANTARO_TEXT_ENUM
      kTextIdEnd  // one past the last id in use
};

// Size of the text table: ids below it may be given a value.
inline constexpr int kTextTableRows = 244;
static_assert(kTextIdEnd <= kTextTableRows, "the program's own texts fit the table");

// Name of row `id` ("_txt_none" for row 0); null out of range.
const char* TextIdName(int id);
// Row of `name`; -1 when unknown.
int FindTextId(const char* name);

}  // namespace vantaro
