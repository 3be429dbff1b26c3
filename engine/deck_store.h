#pragma once
// DeckStore: the song side of a deck. It holds the block table of one-second
// blocks (DeckBlockStore), runs the store thread that decodes them ahead of
// the play position and evicts them behind it, loads and unloads songs,
// serves seeks, and keeps the stripe and the song's tempo.
//
// Threads:
//  - LoadSong, RequestUnload, SeekRequest, SetSongTempo, ResetTempoAnalysis:
//    any thread but the audio thread (GUI; the hands on the jog thread seek;
//    the analysis thread reports the tempo). They set atomic words and wake
//    the store thread (SetSongTempo also writes the blocks' tempo words,
//    bracketed as a reader).
//  - Run, DecodeBlock, EvictBlock: the store thread (tests call Run while the
//    thread is not started). It alone allocates, publishes and frees blocks.
//  - Block memory: the render reads it inside its bracket; any other thread
//    through ReadFrames, IsBlockPinned, BlockFramesDecoded (each brackets
//    itself as a reader), or GetSample16 on the store thread.
//  - The song's shape (length, block count, flags): any thread.
//
// The stripe and the tempo analysis are DeckStripe's (deck_stripe.h): the
// first decode of a block feeds it, the full decode starts its whole-track
// step, whose tempo comes back through SetSongTempo. The cache file of
// evicted blocks is never used: a load always sets `cachePresent`.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/timed_thread.h"
#include "engine/deck_block_store.h"
#include "engine/deck_decoder.h"
#include "engine/deck_stripe.h"
#include "library/song_record.h"

namespace vantaro {

class DeckTransport;

// What the screen tick shows (`uiState`), bits.
enum DeckUiState {
  kUiLoading = 1,
  kUiReady = 2,
  kUiFailed = 4,
  kUiStripesProgressing = 8,
  kUiTempoAnalysis = 16,
  kUiAllDone = 32,
};

class DeckStore {
 public:
  // loaded: 1 after a load, 0 after an unload; on the store thread.
  using LoadCallback = void (*)(int deck, int loaded, void* user);
  static constexpr int kThreadPeriodMs = 250;

  // `transport` is moved by loads and seeks.
  DeckStore(int deckIndex, DeckTransport& transport);
  // Sets `closing`, stops the store thread, unloads. No render may follow.
  ~DeckStore();
  DeckStore(const DeckStore&) = delete;
  DeckStore& operator=(const DeckStore&) = delete;

  // ---- set-up (GUI thread, before StartThread) --------------------------------
  bool StartThread();              // idle priority, 250 ms, woken by the render
  void StopThread();               // the run in flight finishes first
  void Wake() { thread_.Wake(); }  // any thread, real-time safe
  void UseDecoder(std::unique_ptr<DeckDecoder> decoder);
  void SetLoadCallback(LoadCallback callback, void* user);
  void SetAnalysisFeed(std::unique_ptr<DeckAnalysisFeed> feed) { stripe_.SetFeed(std::move(feed)); }

  // ---- requests ---------------------------------------------------------------
  // No decoding here. Returns 0 while a load is already waiting. `record`
  // (the database's, or null) is copied; a deck without an analysis feed
  // takes its tempo as known.
  // `keepCue`: with autoCue the deck waits on the song's start (cue_in).
  int LoadSong(const std::string& path, bool autoPlay, const TZKSongRecord* record,
               bool keepCue = false);
  void RequestUnload();
  // Jump to `target` (frames) once its block is decoded. Ignored while a seek
  // waits, while scratching, before the song is ready or during a load.
  void SeekRequest(double target);
  // The song's tempo became known (database or finished analysis), in BPM:
  // every block takes it (unless streamed: those keep their own).
  void SetSongTempo(float bpm);
  // The BPM dialog's reset: the next run of the store thread takes the
  // marks off, forgets the tempo and analyses again with `mode`.
  void ResetTempoAnalysis(int mode);

  // ---- store thread -----------------------------------------------------------
  void Run();
  // 1 when decoded now; 0 when present already, out of range or out of memory.
  int DecodeBlock(int block);
  // True when the block was freed (or marked for the cache).
  bool EvictBlock(int block, bool force);

  // ---- readers ----------------------------------------------------------------
  // Not on the audio thread: `count` frames from `first` as interleaved
  // floats; absent blocks and frames outside the song read as 0.
  int ReadFrames(std::int64_t first, int count, float* destination) const;
  // Inside the render or on the store thread; the index wraps by the length.
  std::int16_t GetSample16(std::int64_t frame, int channel) const;
  // Tempo of the block under `position`, else the song's; 0 unknown. Inside
  // the render bracket or on the store thread.
  float TempoAt(double position) const;
  bool IsBlockPinned(int block) const;      // first, last two, three around the cue
  int BlockFramesDecoded(int block) const;  // -1 when absent
  const DeckBlockStore& Blocks() const { return blocks_; }

  // ---- the song's shape (any thread) -------------------------------------------
  int DeckIndex() const { return deckIndex_; }
  std::int32_t TotalFrames() const { return totalFrames_.load(std::memory_order_relaxed); }
  int BlockCount() const { return blockCount_.load(std::memory_order_relaxed); }
  bool IsSongLoaded() const { return songLoaded_.load(); }
  bool IsSongReady() const { return songReady_.load(); }
  bool IsStreaming() const { return streamingMode_.load(); }
  bool IsLoadPending() const { return loadRequest_.load(std::memory_order_relaxed); }
  bool IsSeekPending() const { return seekRequest_.load(); }
  int GetUiState() const { return uiState_.load(); }
  int GetDecodedPercent() const;
  int StripeCount() const { return stripe_.Count(); }
  std::mutex& StripeLock() { return stripe_.Lock(); }
  const std::vector<float>& Stripes(int which) const { return stripe_.Values(which); }
  // The stripe the beat marks are in, `size` values; null with no song.
  // Stable while the song is loaded: the audio thread reads it inside its
  // render bracket, others under StripeLock(). Values through
  // std::atomic_ref only.
  float* StripeMarks(int& size) const { return stripe_.Marks(size); }
  // The live copy of the song's record (cues, learnt tempo and gain).
  TZKSongRecord SongRecord() const { return stripe_.Record(); }
  bool IsTempoAnalysisRunning() const { return stripe_.IsAnalysing(); }

 private:
  void RunLoad(const std::string& path, const TZKSongRecord* record, bool keepCue);
  void RunReset();
  void OnWholeTrackTempo(float bpm);
  void Unload();
  void OrdinaryModeRun();
  void StreamingModeRun();
  bool ServeSeek();  // true when a seek was served (the run then ends)
  int CurrentBlock() const;
  bool StopWanted() const;
  void EvictAllExceptAround(int keepCentre);
  bool NeighbourhoodPresent(int centre) const;
  void OnSongFullyDecoded();

  DeckTransport& transport_;
  const int deckIndex_;
  std::atomic<std::int32_t> blockCount_{0};
  std::atomic<std::int32_t> totalFrames_{0};
  DeckBlockStore blocks_;  // blockTable and blockState
  std::atomic<bool> songLoaded_{false};
  std::atomic<bool> songReady_{false};
  std::atomic<bool> streamingMode_{false};
  bool cachePresent_ = false;  // store thread; always set by a load
  std::atomic<bool> loadRequest_{false};
  std::atomic<bool> autoPlay_{false};
  std::atomic<bool> unloadRequest_{false};
  std::atomic<bool> closing_{false};
  std::atomic<bool> seekRequest_{false};
  std::atomic<double> seekTarget_{0.0};
  std::atomic<bool> threadBusy_{false};
  std::atomic<int> uiState_{0};
  std::atomic<bool> tempoKnown_{false};  // from the database or a finished analysis
  std::atomic<float> songTempo_{0.0f};   // BPM; 0 unknown
  std::atomic<bool> resetRequest_{false};
  std::atomic<int> resetMode_{0};
  std::mutex pendingMutex_;  // the requester hands the path to the store thread
  std::string pendingPath_;
  bool pendingHasRecord_ = false;
  bool pendingKeepCue_ = false;
  TZKSongRecord pendingRecord_;
  std::unique_ptr<DeckDecoder> decoder_;
  std::vector<DeckBlock*> retired_;    // store thread: blocks waiting for a grace period
  DeckStripe stripe_;                  // after blocks_: it reads and marks blocks
  bool tempoAnalysisStarted_ = false;  // store thread
  bool tempoReady_ = false;            // store thread: the full decode's tempo step is done
  LoadCallback loadCallback_ = nullptr;
  void* loadUser_ = nullptr;
  TimedThread thread_;
};

}  // namespace vantaro
