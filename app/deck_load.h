#pragma once
// Putting a track on a deck from outside the browser: files dropped on a
// deck's drop zone or waveform, and the files of the command line. One path
// for both: the file is probed on the GUI thread with the decks' decoders
// before the deck is asked, so a file that cannot be played never unloads
// what the deck holds. A refused file is logged and its reason shown for a
// few seconds in the deck's title text (no modal box: it would hold the
// other deck's controls mid-set).
//
// Threads: GUI thread only.

#include <string>
#include <vector>

namespace vantaro {

enum class TrackFault {
  kNone,        // playable
  kMissing,     // no such file
  kFolder,      // a folder, not a file
  kUnreadable,  // exists but cannot be opened for reading
  kNotAudio,    // no decoder takes it, or it holds no frames
  kDeckBusy,    // the deck is still taking the previous load
};

// The words shown for `fault` (from the language file).
std::string TrackFaultText(TrackFault fault);

// Opens `path` with a decoder set like the deck's and closes it again.
TrackFault ProbeTrackFile(const std::string& path);

// Probes, then asks deck `deck` to load `path`; the song record comes from
// the database when the song is known. kNone when the load is under way.
TrackFault LoadTrackOnDeck(int deck, const std::string& path);

// True when `deck` may be replaced: it is not heard, or the user agreed. A
// deck is heard while it plays at least two seconds before its end with its
// side of the crossfader open (deck A below 112, deck B above 16).
bool ConfirmReplacingDeck(int deck);

// The load procedure for one track: the confirmation above, then
// LoadTrackOnDeck; a refused file is logged and shown in the deck's title.
// `source` names the caller in the log ("drop"). True when the load is
// under way.
bool LoadTrackConfirmed(int deck, const std::string& path, const char* source);

// The drop handler (file_drop.h): the first file goes to `deck` by the load
// procedure; No leaves the deck playing.
void LoadDroppedFiles(int deck, const std::vector<std::string>& files);

// A short message in the deck's title text in place of the song's name,
// for `ticks` screen ticks. Read by the deck texts (deck_texts.h).
void ShowDeckNotice(int deck, const std::string& text, int ticks);
// The notice still showing on `deck`, empty when none; counts a tick down.
std::string TakeDeckNoticeTick(int deck);

}  // namespace vantaro
