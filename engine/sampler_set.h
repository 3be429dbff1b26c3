#pragma once
// The eight sampler slots, their file (Settings/sampler.xml) and the moves
// that involve a deck: an autosync start follows the reference deck, and a
// deck's running loop can become a slot's sample.
//
// The file keeps every slot that has a file, loaded or not: a sample on an
// unmounted disk stays empty this session but is written back at close,
// so the next session finds it again.
//
// Threads: GUI thread, except the players' render (audio thread, through
// the mixer).

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "engine/sampler_player.h"

namespace vantaro {

class CSoundSource;

inline constexpr int kSamplerSlots = 8;
inline constexpr const char* kSamplerFileName = "sampler.xml";

// What the file says about one slot.
struct SamplerSlotEntry {
  bool used = false;  // the file has this slot
  std::string file;
  int beats = 0;
  bool autosync = false;
  bool loop = false;
  int pitch = 0;
  int volume = 127;  // the slot's mixer fader, 0..127
  bool operator==(const SamplerSlotEntry&) const = default;
};
using SamplerEntries = std::array<SamplerSlotEntry, kSamplerSlots>;

enum class SamplerFileStatus { kRead, kMissing, kBroken };

// The file's text for `entries` (used slots only).
std::string FormatSamplerFile(const SamplerEntries& entries);
// Parses the text of a sampler file. Slots with a missing or bad index are
// skipped; missing attributes keep their defaults. kBroken when the root is
// not `sampler` (nothing is taken then).
SamplerFileStatus ParseSamplerFile(std::string_view text, const std::string& source,
                                   SamplerEntries& entries);

class CSamplerSet {
 public:
  CSamplerSet();

  CSamplerPlayer& Slot(int i) { return *players_[i]; }
  // The slots as mixer sources, in slot order.
  CAudioSignalSource* const* Sources() const { return sources_.data(); }

  // Reads the file and loads each slot's sample after its other values.
  // A slot whose file does not load keeps its entry.
  SamplerFileStatus Load(const std::string& path,
                         const CSamplerPlayer::SavedLoopLookup& savedLoop = nullptr);
  // Writes every slot with a file, atomically. False (logged) on failure.
  bool Save(const std::string& path) const;

  // Loads `file` into `slot` and records it for the next save.
  bool LoadSlot(int slot, const std::string& file,
                const CSamplerPlayer::SavedLoopLookup& savedLoop = nullptr);
  void SetVolume(int slot, int volume) { entries_[slot].volume = volume; }
  int Volume(int slot) const { return entries_[slot].volume; }
  // The slot's entry as the next save writes it.
  SamplerSlotEntry Entry(int slot) const;

  // Starts or stops a slot. An autosync start follows the reference deck
  // for this crossfader position (0..127).
  void Play(int slot, int flag, int crossfader, CSoundSource* const decks[2]);

  // Takes `deck`'s running loop into `slot`: a loop shorter than a beat is
  // repeated to fill one; loop and autosync on, pitch 0, volume 102. False
  // when the deck has no running loop with a beat.
  bool LoopToSampler(int slot, CSoundSource& deck);

 private:
  std::array<std::unique_ptr<CSamplerPlayer>, kSamplerSlots> players_;
  std::array<CAudioSignalSource*, kSamplerSlots> sources_{};
  SamplerEntries entries_;
};

}  // namespace vantaro
