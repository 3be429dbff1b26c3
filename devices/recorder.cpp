#include "devices/recorder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "base/debug_log.h"
#include "base/thread_priority.h"
#include "codecs/codec_paths.h"
#include "codecs/encoder_lame.h"
#include "devices/recording_wav.h"

namespace vantaro {
namespace {

std::int16_t ToFileSample(float sample) {
  // Clipped first, then truncated toward zero; NaN lands on 0.
  const float scaled = sample * CRecorder::kFileScale;
  if (scaled >= 32767.0f) return 32767;
  if (scaled <= -32768.0f) return -32768;
  return scaled == scaled ? static_cast<std::int16_t>(scaled) : 0;
}

}  // namespace

CRecorder::CRecorder(std::unique_ptr<CEncoderLame> mp3, std::string markerPath)
    : wav_(std::make_unique<RecordingWavFile>()),
      mp3_(std::move(mp3)),
      markerPath_(std::move(markerPath)),
      ring_(static_cast<std::size_t>(kRingFrames) * kFrameBytes) {}

CRecorder::~CRecorder() {
  StopRecording();
}

bool CRecorder::IsMp3Available() const {
  return mp3_ && mp3_->IsAvailable();
}

bool CRecorder::StartRecording(const std::string& path) {
  if (open_) return false;
  filePath_ = path;
  codec_ = wav_.get();
  if (EndsWith(LowerCasePath(path), ".mp3")) {
    if (IsMp3Available()) {
      codec_ = mp3_.get();
    } else {
      filePath_ = path.substr(0, path.size() - 4) + ".wav";
      DebugLog("recording: no MP3 encoder, recording %s instead", filePath_.c_str());
    }
  }
  TCodecFormat format{kSampleRate, 2, 16, 16, 0, 0};
  if (!codec_->Open(filePath_, format, kCodecWrite)) {
    DebugLog("recording: %s could not be opened for writing", filePath_.c_str());
    codec_ = nullptr;
    return false;
  }
  if (!chunk_) chunk_ = std::make_unique<std::int16_t[]>(kChunkFrames * 2);
  // The writer is not running and the audio thread does not push: this
  // thread is the ring's only user.
  ring_.Clear();
  writeFailed_ = false;
  lostFrames_ = 0;
  lostReported_ = 0;
  framesWritten_ = 0;
  writer_ = std::make_unique<TimedThread>("recorder", kDrainPeriodMs, kPriorityLowest,
                                          [this] { Drain(); });
  if (!writer_->Start()) {
    DebugLog("recording: writer thread not started");
    writer_.reset();
    codec_->Close();
    std::remove(filePath_.c_str());
    codec_ = nullptr;
    return false;
  }
  WriteMarker(filePath_);
  open_ = true;
  accepting_.store(true);
  DebugLog("recording: started %s", filePath_.c_str());
  return true;
}

int CRecorder::WriteBlock(const float* buffer, int frames) {
  inWrite_.fetch_add(1);
  int result = 1;
  if (accepting_.load()) {
    PushConverted(buffer, frames);
    result = writeFailed_.load(std::memory_order_acquire) ? 0 : frames;
  }
  inWrite_.fetch_sub(1);
  return result;
}

void CRecorder::PushConverted(const float* buffer, int frames) {
  for (int done = 0; done < frames; done += kConvertFrames) {
    const int n = std::min(kConvertFrames, frames - done);
    const float* in = buffer + static_cast<std::ptrdiff_t>(done) * 2;
    for (int i = 0; i < n * 2; ++i) convert_[i] = ToFileSample(in[i]);
    if (!ring_.Write(convert_, static_cast<std::size_t>(n) * kFrameBytes))
      lostFrames_.fetch_add(n, std::memory_order_relaxed);
  }
  // More than half the ring waiting: the disk is behind, drain now.
  if (ring_.Available() > ring_.Capacity() / 2) writer_->Wake();
}

void CRecorder::Drain() {
  std::lock_guard<std::mutex> lock(drainMutex_);
  if (!codec_) return;
  if (drainHook_) drainHook_();
  ReportLoss();
  const bool failedBefore = writeFailed_.load();
  bool failed = failedBefore;
  for (;;) {
    const std::size_t held = ring_.Available() / kFrameBytes;
    const int frames = static_cast<int>(std::min<std::size_t>(held, kChunkFrames));
    if (frames == 0 || !ring_.Read(chunk_.get(), static_cast<std::size_t>(frames) * kFrameBytes))
      break;
    // After a failure the ring is only emptied: a full disk is not asked
    // again at every pass.
    if (failed) continue;
    const int written = codec_->PutSamples(chunk_.get(), frames);
    framesWritten_.fetch_add(std::max(written, 0), std::memory_order_relaxed);
    failed = written != frames;
  }
  if (!failed && codec_ == wav_.get()) failed = !wav_->Commit();
  if (failed && !failedBefore) {
    DebugLog("recording: write to %s failed after %.1f s", filePath_.c_str(), GetRecordedSeconds());
    writeFailed_.store(true, std::memory_order_release);
  }
}

void CRecorder::ReportLoss() {
  const std::int64_t lost = lostFrames_.load(std::memory_order_relaxed);
  if (lost == lostReported_) return;
  DebugLog("recording: the disk fell behind, %lld frames lost so far",
           static_cast<long long>(lost));
  lostReported_ = lost;
}

void CRecorder::StopRecording() {
  if (!open_) return;
  accepting_.store(false);
  // A block already past the check finishes its push first.
  while (inWrite_.load() != 0) std::this_thread::yield();
  writer_->Stop();
  writer_.reset();
  Drain();  // the tail, up to the last block rendered
  std::lock_guard<std::mutex> lock(drainMutex_);
  ReportLoss();
  codec_->Close();
  codec_ = nullptr;
  open_ = false;
  if (!markerPath_.empty()) std::remove(markerPath_.c_str());
  DebugLog("recording: stopped %s, %.1f s written, %lld frames lost", filePath_.c_str(),
           static_cast<double>(framesWritten_.load()) / kSampleRate,
           static_cast<long long>(lostFrames_.load()));
  writeFailed_ = false;
}

double CRecorder::GetRecordedSeconds() const {
  if (!open_) return 0.0;
  return static_cast<double>(framesWritten_.load(std::memory_order_relaxed)) / kSampleRate;
}

void CRecorder::WriteMarker(const std::string& path) const {
  if (markerPath_.empty()) return;
  // Written whole before the first frame can reach the file; a marker that
  // cannot be written costs only the repair after a crash.
  FILE* file = std::fopen(markerPath_.c_str(), "wb");
  if (!file) {
    DebugLog("recording: marker %s not written", markerPath_.c_str());
    return;
  }
  const bool ok =
      std::fputs(path.c_str(), file) >= 0 && std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  if (std::fclose(file) != 0 || !ok)
    DebugLog("recording: marker %s not written", markerPath_.c_str());
}

bool RepairUnfinishedRecording(const std::string& markerPath) {
  FILE* marker = std::fopen(markerPath.c_str(), "rb");
  if (!marker) return false;
  std::string path;
  char buffer[512];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, marker)) > 0;)
    path.append(buffer, n);
  std::fclose(marker);
  std::int64_t frames = 0;
  const WavRepair result = EndsWith(LowerCasePath(path), ".wav") ? RepairRecordedWav(path, &frames)
                                                                 : WavRepair::kNotAWav;
  const char* what = result == WavRepair::kRepaired    ? "header repaired"
                     : result == WavRepair::kNotNeeded ? "header was complete"
                     : result == WavRepair::kFailed    ? "could not be repaired"
                                                       : "kept as it is";
  DebugLog("recording: unfinished recording %s: %s, %.1f s", path.c_str(), what,
           static_cast<double>(frames) / CRecorder::kSampleRate);
  std::remove(markerPath.c_str());
  return true;
}

}  // namespace vantaro
