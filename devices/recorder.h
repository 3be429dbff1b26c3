#pragma once
// CRecorder: writes the master bus, after the limiter, to a WAV or MP3 file
// while the program plays.
//
// The audio callback only converts to 16 bits and pushes into a lock-free
// ring of four seconds; the recorder's writer thread (period 250 ms, lowest
// priority) takes whatever the ring holds, hands it to the codec and, for
// WAV, rewrites the header sizes after each pass, so a program killed
// mid-set leaves a valid file missing at most the last pass. A disk that
// falls behind for more than four seconds loses frames; the loss is counted
// (audio thread) and logged (writer thread). A marker file names the
// recording while it runs; RepairUnfinishedRecording at the next start
// mends what a kill left behind.
//
// Threads: StartRecording/StopRecording and the queries on the GUI thread;
// WriteBlock on the audio thread (never blocks, never allocates, never
// touches the disk); Drain on the writer thread (and once more at stop).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "base/byte_ring.h"
#include "base/timed_thread.h"
#include "codecs/base_codec.h"
#include "engine/audio_render.h"

namespace vantaro {

class CEncoderLame;
class RecordingWavFile;

class CRecorder : public BlockRecorder {
 public:
  static constexpr int kSampleRate = 44100;
  static constexpr int kRingFrames = 4 * kSampleRate;
  static constexpr int kFrameBytes = 4;  // 16-bit stereo
  static constexpr int kDrainPeriodMs = 250;
  // Float to file: 1.0 becomes 30000, about 0.56 dB below the device's
  // 32000, so recordings keep their headroom.
  static constexpr float kFileScale = 30000.0f;

  // `mp3` may be null: MP3 paths then record WAV. `markerPath` names the
  // file that holds the path of the recording in progress; empty: none.
  CRecorder(std::unique_ptr<CEncoderLame> mp3, std::string markerPath);
  ~CRecorder() override;
  CRecorder(const CRecorder&) = delete;
  CRecorder& operator=(const CRecorder&) = delete;

  bool IsMp3Available() const;
  // Opens `path` and starts the writer thread. A path ending in ".mp3"
  // goes to the MP3 encoder when it is there, and to the same name ending
  // in ".wav" when it is not; any other ending is WAV. False when a
  // recording already runs or the file could not be opened.
  bool StartRecording(const std::string& path);
  // Audio thread. 1 while no recording runs, 0 once a write has failed,
  // `frames` otherwise.
  int WriteBlock(const float* buffer, int frames) override;
  // Writes what the ring holds. The writer thread's routine; any other
  // thread but the audio thread may call it too (one at a time).
  void Drain();
  // Writes the rest of the ring, closes the file. Nothing recorded is left
  // out. Idempotent.
  void StopRecording();

  bool IsRecording() const { return open_; }
  bool WriteFailed() const { return writeFailed_.load(std::memory_order_acquire); }
  // Seconds handed to the file so far; 0 while no recording runs.
  double GetRecordedSeconds() const;
  // Frames dropped because the ring was full, this recording.
  std::int64_t LostFrames() const { return lostFrames_.load(std::memory_order_relaxed); }
  // Frames in the ring waiting for the writer.
  std::int64_t PendingFrames() const {
    return static_cast<std::int64_t>(ring_.Available()) / kFrameBytes;
  }
  // The file really written (the ".wav" twin of an MP3 path without LAME).
  const std::string& FilePath() const { return filePath_; }

  // Runs at the start of every drain on the writer thread: lets a test
  // stall the writer or the disk.
  void SetDrainHook(std::function<void()> hook) { drainHook_ = std::move(hook); }

 private:
  static constexpr int kConvertFrames = 512;
  static constexpr int kChunkFrames = kSampleRate;

  void PushConverted(const float* buffer, int frames);
  void ReportLoss();
  void WriteMarker(const std::string& path) const;

  std::unique_ptr<RecordingWavFile> wav_;
  std::unique_ptr<CEncoderLame> mp3_;
  CBaseCodec* codec_ = nullptr;  // the codec of the running recording
  std::string markerPath_;
  std::string filePath_;
  bool open_ = false;  // GUI thread's view: a file is open

  ByteRing ring_;
  std::unique_ptr<TimedThread> writer_;
  std::unique_ptr<std::int16_t[]> chunk_;          // writer thread's read buffer
  std::int16_t convert_[kConvertFrames * 2] = {};  // audio thread's buffer
  std::function<void()> drainHook_;

  // The audio thread pushes only while `accepting_`; `inWrite_` lets stop
  // wait for a block already inside WriteBlock.
  std::atomic<bool> accepting_{false};
  std::atomic<int> inWrite_{0};
  std::atomic<bool> writeFailed_{false};
  std::atomic<std::int64_t> lostFrames_{0};
  std::atomic<std::int64_t> framesWritten_{0};
  std::mutex drainMutex_;          // one drain at a time
  std::int64_t lostReported_ = 0;  // under drainMutex_
};

// At start: when `markerPath` names an unfinished recording, mends its WAV
// header, logs one line naming it and removes the marker. True when a
// recording was found.
bool RepairUnfinishedRecording(const std::string& markerPath);

}  // namespace vantaro
