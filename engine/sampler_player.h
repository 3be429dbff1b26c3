#pragma once
// CSamplerPlayer: one sampler slot. A short sound held wholly in RAM as
// 16-bit stereo frames, played as a mixer input: one-shot or looping, at
// its own pitch, or following a deck's tempo and beat (autosync).
//
// The sample is published to the render by an atomic pointer swap. The one
// it replaces is freed on the GUI thread once no block can still read it
// (the render marks its bracket), never on the audio thread and never
// while a block reads it.
//
// Threads: Render, SyncPhase on the audio thread (no allocation, no lock).
// LoadSample, TakeSample, Unload, Play, the setters and SyncToDeck on the
// GUI thread. The getters from any thread (a block stale at most).
// Units: frames at 44100 Hz; pitch in 1/10000 (+500 is +5 %).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/audio_signal_source.h"

namespace vantaro {

class CSoundSource;

// A sample in memory: `length` interleaved stereo frames.
struct SamplerSample {
  std::unique_ptr<std::int16_t[]> frames;
  std::int32_t length = 0;
};

class CSamplerPlayer : public CAudioSignalSource {
 public:
  static constexpr std::int32_t kMaxFrames = 1323000;  // 30 s
  static constexpr int kMaxPitch = 5000;               // autosync: +-50 %
  // Lead added to the deck's phase at the beat lock, in frames. None: the
  // deck's phase (its SyncPhase(0)) and the slot's are both taken at this
  // block's first frame and both reach the mixer in the same block, so
  // any lead would put the slot's beats that far off the deck's.
  static constexpr double kSyncLeadFrames = 0.0;

  // Called on the audio thread with (0, slot, -1) when a one-shot ends; it
  // must not block or allocate. The GUI side reads TakeEnded instead.
  using EndCallback = void (*)(int, int, int);
  // Finds the saved loop of a file in the song database: in and out
  // frames. Null: no lookup.
  using SavedLoopLookup =
      std::function<bool(const std::string& path, std::int32_t& in, std::int32_t& out)>;

  explicit CSamplerPlayer(int slotIndex);
  ~CSamplerPlayer() override;
  CSamplerPlayer(const CSamplerPlayer&) = delete;
  CSamplerPlayer& operator=(const CSamplerPlayer&) = delete;

  // Reads the whole file (or its saved loop) into memory. 1 on success; 0
  // leaves the slot empty (a missing file, a file no codec reads, more
  // than 30 s). The path is kept either way.
  int LoadSample(const std::string& path, const SavedLoopLookup& savedLoop = nullptr);
  // Takes frames already in memory (a deck's loop) as the sample.
  bool TakeSample(std::vector<std::int16_t> frames, const std::string& path);
  void Unload();
  // 1 starts, 0 stops. A start of a one-shot, and every stop, rewinds.
  // `reference` is the deck an autosync start follows (may be null).
  void Play(int flag, CSoundSource* reference = nullptr);
  void SetLoop(bool on) { looping_ = on; }
  void SetAutosync(bool on) { autosync_ = on; }
  void SetBeats(int beats) { beats_ = beats; }
  // The speed becomes 1 + pitch / 10000, in the slot's direction.
  void SetPitch(int pitch);
  void SetDirection(int direction) { direction_ = direction < 0 ? -1 : 1; }
  // Follows `deck`'s tempo and, at the next SyncPhase(1), its beat. False
  // (the slot keeps its pitch) when the slot has no tempo, the deck has
  // none, or the pitch needed passes +-50 %.
  bool SyncToDeck(CSoundSource* deck);
  void SetEndCallback(EndCallback callback) { onEnd_ = callback; }

  // CAudioSignalSource.
  void Render(float* buffer, int frames) override;
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override;
  std::int32_t GetPosition() override;
  std::int32_t GetLength() override;
  void SyncPhase(int phase) override;

  // Moves the play position by `frames` (wraps when looping). Audio thread
  // (the beat lock), or while no block renders.
  void SkipFrames(double frames);
  // Position, beat length, phase 0..1, beat number of the slot's own grid.
  struct BeatInfo {
    double position = 0;
    std::int32_t beatLength = 0;
    double phase = 0;
    int beatNumber = -1;
  };
  BeatInfo GetBeatInfo();

  bool IsLoaded() const { return sample_.load() != nullptr; }
  bool IsPlaying() const { return playing_.load(); }
  bool IsLooping() const { return looping_.load(); }
  bool IsAutosync() const { return autosync_.load(); }
  bool IsSyncArmed() const { return syncArmed_.load(); }
  int Beats() const { return beats_.load(); }
  int Pitch() const { return pitch_.load(); }
  int SlotIndex() const { return slotIndex_; }
  const std::string& FilePath() const { return filePath_; }
  CSoundSource* SyncDeck() const { return syncDeck_.load(); }
  // True once after a one-shot ended (GUI thread).
  bool TakeEnded() { return ended_.exchange(false); }
  // Frees replaced samples no block can still read. GUI thread; also done
  // by every load.
  void CollectRetired();

 private:
  void Publish(std::unique_ptr<SamplerSample> sample);
  double SpeedFor(int pitch) const;
  bool RenderFrame(const SamplerSample& s, float* out);

  const int slotIndex_;
  std::string filePath_;  // GUI thread
  std::atomic<SamplerSample*> sample_{nullptr};
  // Replaced samples and the block count at which each was replaced.
  std::vector<std::pair<std::unique_ptr<SamplerSample>, long>> retired_;
  std::atomic<bool> rendering_{false};
  std::atomic<long> blocks_{0};

  std::atomic<bool> playing_{false}, looping_{false}, autosync_{false}, syncArmed_{false};
  std::atomic<bool> rewind_{false}, ended_{false};
  std::atomic<int> beats_{0}, pitch_{0}, direction_{1};
  std::atomic<double> speedRequested_{1.0};
  std::atomic<CSoundSource*> syncDeck_{nullptr};
  EndCallback onEnd_ = nullptr;

  // Audio thread; `shownPosition_` mirrors the position for the getters.
  std::atomic<std::int32_t> shownPosition_{0};
  double position_ = 0.0;
  double speedCurrent_ = 1.0;
};

// The deck an autosync start follows: with the crossfader at 64 or more
// deck 1 when it plays, else deck 0 when it plays, else deck 1; below 64
// the other way round.
int ReferenceDeck(int crossfader, bool deck0Playing, bool deck1Playing);

}  // namespace vantaro
