#pragma once
// The background analysis worker: a queue of paths that the list views fill
// (QueueForAnalysis) and that the 950 ms idle background tick works through
// (RunStep), one file a step. Each file is analysed by AnalyseFile; what it
// found leaves through the result hand-off (the GUI sync ring, once it
// exists) and the song database.
//
// Threads: QueueForAnalysis and RequestStop from any thread but the audio
// thread; RunStep on the background tick only.

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

#include "analysis/analyse_file.h"

namespace vantaro {

// What the GUI learns of one analysed file: path, tempo, length and key
// code (-1: the key was not analysed).
struct AnalysisMessage {
  std::string path;
  float bpm = 0;
  std::int32_t durationMs = 0;
  int keyCode = -1;
};

class AnalysisWorker {
 public:
  // Called on the worker's thread for each analysed file; the hand-off
  // point to the GUI thread's sync ring.
  using ResultHandoff = std::function<void(const AnalysisMessage&)>;
  // The status text: the path being analysed with the count left, or "" when
  // the queue ran empty.
  using StatusHandoff = std::function<void(const std::string&)>;

  AnalysisWorker(std::string stripesFolder, ResultHandoff onResult, StatusHandoff onStatus);

  void QueueForAnalysis(const std::string& path);
  std::size_t QueuedCount() const;

  // One step of the background tick: takes queued paths, 10 ms apart,
  // passing over deleted files and analysed tracks, until one needs analysis,
  // and analyses it. Returns at once after RequestStop.
  void RunStep();

  // Close: the file in work stops at its next second and stores nothing.
  void RequestStop() { stop_.store(true); }

  // The worker's decoder and analysers (tests add codecs here before the
  // first step).
  AnalysisSet& Set() { return set_; }

 private:
  bool TakeNext(std::string& path, std::size_t& remaining);

  std::string stripesFolder_;
  ResultHandoff onResult_;
  StatusHandoff onStatus_;
  AnalysisSet set_;
  mutable std::mutex queueLock_;
  std::deque<std::string> queue_;
  std::atomic<bool> stop_{false};
};

}  // namespace vantaro
