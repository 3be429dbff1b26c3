#pragma once
// DeckStretcher: the key lock's high-quality path of one deck. A Rubber Band
// stretcher, made when the deck is, runs on the deck's stretch thread and
// writes into two rings (stretch_ring.h) ahead of the play position; the
// render only copies from the active ring (deck_transport_keylock.cpp). A
// change of speed or key goes to the idle ring, which restarts, fills, and
// then becomes the active one: the render fades from the old ring into it.
//
// Latency: after every reset the stretcher is fed its preferred start pad
// of the song before the ring's first frame and its start delay is dropped
// from the output, so what is heard at position p is p stretched. After a
// restart the first frames are published as soon as they exist, so a jump
// is heard at once.
//
// Engines: R2 ("faster") by default, R3 ("finer") with `hqfine`; the
// stretch thread rebuilds the stretcher when the setting changes. When R3
// cannot keep up (three misses of its ring in 10 s of steady play) the deck
// falls back to R2 until the next start, logs one line and raises a notice.
//
// Threads:
//  - Run: the stretch thread (110 ms, highest priority, woken by the
//    render); tests call it directly instead of starting the thread. It
//    alone touches the stretcher and writes the rings.
//  - Wake, NoteRead, ActiveRing, Ring(i).Read: the audio thread too; they
//    never block or allocate.
//  - SetHQ, SetKeyShift, StretchReset, TakeNotices: any other thread; they
//    set atomic words the next run takes.
// Units: frames at 44100 Hz; pitch shift in cents.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/byte_ring.h"
#include "base/timed_thread.h"
#include "engine/stretch_ring.h"

namespace RubberBand {
class RubberBandStretcher;
}

namespace vantaro {

class DeckStore;
class DeckTransport;

// Notices for the screen, bits of TakeNotices.
enum KeyLockNotice {
  kNoticeKeyShiftNeedsHQ = 1,   // a key shift with high-quality time-stretch off
  kNoticeFellBackToFaster = 2,  // the finer engine could not keep up
};

class DeckStretcher {
 public:
  static constexpr int kThreadPeriodMs = 110;
  static constexpr int kChunkFrames = 22050;  // output frames made per run
  static constexpr int kFirstPiece = 2048;    // published at once after a restart
  static constexpr double kMinimumSpeed = 0.5;

  // Builds the stretcher for the engine TheEngineSettings() asks for.
  DeckStretcher(int deckIndex, const DeckStore& store, DeckTransport& transport);
  ~DeckStretcher();  // stops the thread
  DeckStretcher(const DeckStretcher&) = delete;
  DeckStretcher& operator=(const DeckStretcher&) = delete;

  bool StartThread();
  void StopThread() { thread_.Stop(); }
  void Wake() { thread_.Wake(); }  // real-time safe
  void Run();

  // ---- requests ------------------------------------------------------------
  void SetHQ(bool on);
  bool HQEnabled() const { return hqEnabled_.load(std::memory_order_relaxed); }
  // The high-quality path can run for the song of load `songSerial`
  // (DeckTransport::SongSerial): enabled, a stretcher built, and the rings
  // made from that song.
  bool Usable(std::uint64_t songSerial) const {
    return HQEnabled() && engine_.load(std::memory_order_relaxed) != 0 &&
           ringSong_.load(std::memory_order_acquire) == songSerial;
  }
  // Shifts the key by `cents` (the pitch scale 2^(cents/1200)). Without
  // high-quality time-stretch the first use raises kNoticeKeyShiftNeedsHQ
  // and nothing is heard shifted.
  void SetKeyShift(int cents);
  int KeyShift() const { return keyShiftCents_.load(); }
  // Clears ring `ring` (0 or 1), or both and the settings with -1, at the
  // next run.
  void StretchReset(int ring);
  int TakeNotices() { return notices_.exchange(0); }
  // 2 (R2), 3 (R3), or 0 when no stretcher could be built.
  int Engine() const { return engine_.load(); }

  // ---- audio thread --------------------------------------------------------
  int ActiveRing() const { return activeRing_.load(std::memory_order_acquire); }
  const StretchRing& Ring(int i) const { return rings_[i]; }
  // A read of the rings: on a miss the thread is woken; `steady` says the
  // deck played on from a successful read (an underrun, not a jump).
  void NoteMiss(bool steady);

 private:
  void Build(bool finer);
  void TakeResets();
  void WatchMisses();
  // Ring `ring` starts afresh at song frame `start`, the stretcher reset.
  void Restart(int ring, double start, double speed, double pitch);
  // Makes `frames` output frames into `ring` (a restart publishes its first
  // pieces early). Returns the frames appended.
  int Feed(int ring, int frames);
  int MoveToRing(int ring, int least);

  const int deckIndex_;
  const DeckStore& store_;
  DeckTransport& transport_;
  std::unique_ptr<RubberBand::RubberBandStretcher> stretcher_;  // stretch thread
  StretchRing rings_[2];
  std::atomic<int> activeRing_{0};
  std::atomic<bool> hqEnabled_{false};
  std::atomic<int> keyShiftCents_{0};
  std::atomic<double> pitchScaleRequested_{1.0};
  std::atomic<bool> keyShiftNoticeShown_{false};
  std::atomic<int> resetRequests_{0};  // bit 0, bit 1: a ring; bit 2: all
  std::atomic<int> notices_{0};
  std::atomic<int> engine_{0};
  std::atomic<std::uint64_t> ringSong_{0};  // the load the rings were made from
  std::atomic<std::uint32_t> misses_{0}, steadyMisses_{0};
  // ---- stretch thread ----
  bool fellBack_ = false;  // R3 missed too often: R2 until the next start
  bool builtFiner_ = false;
  double feedPosition_ = 0.0;  // next song frame for the stretcher
  int dropFrames_ = 0;         // start delay still to drop after a reset
  std::uint32_t missesSeen_ = 0, steadySeen_ = 0;
  std::chrono::steady_clock::time_point steadyTimes_[3] = {};
  int steadyNext_ = 0;
  ByteRing fifo_;                              // stretched frames not yet in a ring
  std::vector<float> input_, output_, piece_;  // sized at construction
  TimedThread thread_;
};

}  // namespace vantaro
