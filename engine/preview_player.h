#pragma once
// CZKPreviewPlayer: plays a file from start to end through a ring, to hear
// a track ahead in the headphones (the mixer's preview input, heard on the
// monitor bus only). No store, no speed, no tempo. A reader thread keeps
// the ring filled; the render only drains it. The deck-side players have
// no thread: their owner calls ReaderStep.
//
// The ring is lock-free (one writer, the reader step; one reader, the
// render): the render takes no lock. Open, Close and Seek first keep the
// render out of the ring (it plays silence for at most one block), then
// change the ring and the decoder while the reader step is held off.
//
// Threads: Render on the audio thread; ReaderStep on the reader thread (or
// the owner's); Open, Close, Seek, SetPlaying, TakeEventBits on the GUI
// thread; getters from any thread.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "base/audio_signal_source.h"
#include "base/byte_ring.h"
#include "base/timed_thread.h"

namespace vantaro {

class CCodecSet;

class CZKPreviewPlayer : public CAudioSignalSource {
 public:
  static constexpr int kRingFrames = 88200;
  static constexpr int kReadFrames = 44100;
  static constexpr int kReaderPeriodMs = 300;
  static constexpr std::uint32_t kEventEnded = 1;    // bit 0: the end was reached
  static constexpr std::uint32_t kEventEndNear = 2;  // bit 1: the end is near

  // `playerIndex` -1 for the mixer input, else the deck; `noThread`: the
  // owner calls ReaderStep; `endWarnFrames` -1 for no warning.
  CZKPreviewPlayer(int playerIndex, bool noThread, int endWarnFrames = -1);
  ~CZKPreviewPlayer() override;
  CZKPreviewPlayer(const CZKPreviewPlayer&) = delete;
  CZKPreviewPlayer& operator=(const CZKPreviewPlayer&) = delete;

  // Opens `path` for 44100 Hz stereo (closing what was open). False when
  // no decoder takes it.
  bool Open(const std::string& path);
  void Close();
  void SetPlaying(bool on);
  bool IsPlaying() const { return opened_.load() && playing_.load(); }
  bool IsOpened() const { return opened_.load(); }
  void Seek(std::int32_t frame);
  // Reads one run into the ring when it has room. Any one thread at a time.
  void ReaderStep();
  // The event bits raised since the last call; clears them.
  std::uint32_t TakeEventBits() { return eventBits_.exchange(0); }
  const std::string& FilePath() const { return filePath_; }
  int PlayerIndex() const { return playerIndex_; }

  // CAudioSignalSource.
  void Render(float* buffer, int frames) override;
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 0.0f; }
  std::int32_t GetPosition() override { return renderPosition_.load(); }
  std::int32_t GetLength() override { return opened_.load() ? lengthFrames_.load() : 0; }
  void SyncPhase(int) override {}

 private:
  // Keeps the render out of the ring and the reader step out of the
  // decoder until the returned lock is released and `opened_` set again.
  std::unique_lock<std::mutex> StopReaders();
  void CloseLocked();

  const int playerIndex_;
  const int endWarnFrames_;
  std::unique_ptr<CCodecSet> decoder_;
  std::string filePath_;    // GUI thread
  std::mutex readerMutex_;  // GUI operations against the reader step
  ByteRing ring_;
  std::unique_ptr<float[]> readBuffer_;
  std::unique_ptr<TimedThread> reader_;

  std::atomic<bool> opened_{false}, playing_{false}, endWarned_{false};
  std::atomic<bool> rendering_{false};
  std::atomic<std::int32_t> lengthFrames_{0}, renderPosition_{0}, readPosition_{0};
  std::atomic<std::uint32_t> eventBits_{0};
};

}  // namespace vantaro
