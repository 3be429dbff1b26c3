#include "app/deck_load.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "app/message_box.h"
#include "app/program.h"
#include "app/program_browser.h"
#include "base/debug_log.h"
#include "control/language.h"
#include "engine/deck_decoder.h"
#include "library/song_database.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

// About four seconds at the 38 ms screen tick.
constexpr int kNoticeTicks = 105;
// A playing deck is heard while its side of the crossfader (0..127) is open
// and more than two seconds (frames) remain.
constexpr int kDeckAHeardBelow = 112, kDeckBHeardAbove = 16, kCrossfaderMiddle = 64;
constexpr std::int32_t kNearEndFrames = 88200;

struct DeckNotice {
  std::string text;
  int ticksLeft = 0;
};
DeckNotice notices[2];

std::string FileNameOf(const std::string& path) {
  return fs::path(path).filename().string();
}

void Refuse(int deck, const std::string& path, TrackFault fault) {
  const std::string reason = TrackFaultText(fault);
  DebugLog("deck %c: %s not loaded: %s", 'A' + deck, path.c_str(), reason.c_str());
  ShowDeckNotice(deck, FileNameOf(path) + ": " + reason, kNoticeTicks);
}

}  // namespace

std::string TrackFaultText(TrackFault fault) {
  switch (fault) {
    case TrackFault::kNone:
      return {};
    case TrackFault::kMissing:
      return Text(txt_track_missing);
    case TrackFault::kFolder:
      return Text(txt_track_is_folder);
    case TrackFault::kUnreadable:
      return Text(txt_track_unreadable);
    case TrackFault::kNotAudio:
      return Text(txt_track_not_audio);
    case TrackFault::kDeckBusy:
      return Text(txt_deck_still_loading);
  }
  return {};
}

TrackFault ProbeTrackFile(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return TrackFault::kMissing;
  if (S_ISDIR(info.st_mode)) return TrackFault::kFolder;
  if (!S_ISREG(info.st_mode) || ::access(path.c_str(), R_OK) != 0) return TrackFault::kUnreadable;
  // The same decoder chain the deck's store thread opens it with.
  std::unique_ptr<DeckDecoder> decoder = MakeCodecSetDeckDecoder(0);
  std::int64_t frames = 0;
  const bool opened = decoder->Open(path, frames);
  decoder->Close();
  return opened && frames > 0 ? TrackFault::kNone : TrackFault::kNotAudio;
}

TrackFault LoadTrackOnDeck(int deck, const std::string& path) {
  CSoundSource* target = TheProgram().decks[deck].get();
  if (!target) return TrackFault::kDeckBusy;
  const TrackFault fault = ProbeTrackFile(path);
  if (fault != TrackFault::kNone) return fault;
  TZKSongRecord record;
  const bool known = FindSong(MakeSongKey(path), record);
  if (!target->LoadSong(path, false, known ? &record : nullptr, false))
    return TrackFault::kDeckBusy;
  DebugLog("deck %c: loading %s", 'A' + deck, path.c_str());
  NoteDeckLoad(deck, path);
  return TrackFault::kNone;
}

bool ConfirmReplacingDeck(int deck) {
  CSoundSource* target = deck == 0 || deck == 1 ? TheProgram().decks[deck].get() : nullptr;
  if (!target || !target->IsPlaying()) return true;
  const CMixer* mixer = TheProgram().mixerRig.mixer.get();
  const int crossfader = mixer ? mixer->GetCrossfader() : kCrossfaderMiddle;
  const bool sideOpen = deck == 0 ? crossfader < kDeckAHeardBelow : crossfader > kDeckBHeardAbove;
  const bool beforeEnd = target->GetLength() - target->GetPosition() >= kNearEndFrames;
  if (!sideOpen || !beforeEnd) return true;
  return ConfirmMessage(wxString::FromUTF8(Text(txt_confirm_load_deck)),
                        wxString::FromUTF8(Text(txt_load))) != 0;
}

bool LoadTrackConfirmed(int deck, const std::string& path, const char* source) {
  if (deck < 0 || deck > 1) return false;
  if (!ConfirmReplacingDeck(deck)) {
    DebugLog("%s on deck %c: %s refused by the user: the deck plays on", source, 'A' + deck,
             path.c_str());
    return false;
  }
  const TrackFault fault = LoadTrackOnDeck(deck, path);
  if (fault != TrackFault::kNone) Refuse(deck, path, fault);
  return fault == TrackFault::kNone;
}

void LoadDroppedFiles(int deck, const std::vector<std::string>& files) {
  if (files.empty() || deck < 0 || deck > 1) return;
  if (files.size() > 1)
    DebugLog("drop on deck %c: %zu files, the first loads", 'A' + deck, files.size());
  LoadTrackConfirmed(deck, files.front(), "drop");
}

void ShowDeckNotice(int deck, const std::string& text, int ticks) {
  if (deck < 0 || deck > 1) return;
  notices[deck] = {text, ticks};
}

std::string TakeDeckNoticeTick(int deck) {
  if (deck < 0 || deck > 1) return {};
  DeckNotice& notice = notices[deck];
  if (notice.ticksLeft <= 0) return {};
  --notice.ticksLeft;
  return notice.text;
}

}  // namespace vantaro
