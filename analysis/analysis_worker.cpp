#include "analysis/analysis_worker.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "analysis/stripe_file.h"
#include "base/realtime.h"

namespace vantaro {
namespace {

constexpr auto kPauseBetweenPaths = std::chrono::milliseconds(10);
// After each one-second read: a deck load waiting on the codec lock gets it
// before the worker's next read, even on a busy machine.
constexpr int kPauseAfterReadMs = 2;

// A CD track's path ends in "$" and names no file on disk.
bool Present(const std::string& path) {
  std::error_code error;
  return (!path.empty() && path.back() == '$') || std::filesystem::exists(path, error);
}

}  // namespace

AnalysisWorker::AnalysisWorker(std::string stripesFolder, ResultHandoff onResult,
                               StatusHandoff onStatus)
    : stripesFolder_(std::move(stripesFolder)),
      onResult_(std::move(onResult)),
      onStatus_(std::move(onStatus)) {}

void AnalysisWorker::QueueForAnalysis(const std::string& path) {
  AssertNotRealtime("QueueForAnalysis");
  std::lock_guard<std::mutex> hold(queueLock_);
  queue_.push_back(path);
}

std::size_t AnalysisWorker::QueuedCount() const {
  std::lock_guard<std::mutex> hold(queueLock_);
  return queue_.size();
}

bool AnalysisWorker::TakeNext(std::string& path, std::size_t& remaining) {
  std::lock_guard<std::mutex> hold(queueLock_);
  if (queue_.empty()) return false;
  path = std::move(queue_.front());
  queue_.pop_front();
  remaining = queue_.size();
  return true;
}

void AnalysisWorker::RunStep() {
  AssertNotRealtime("AnalysisWorker::RunStep");
  std::string path;
  std::size_t remaining = 0;
  bool first = true;
  while (!stop_.load()) {
    if (!first) std::this_thread::sleep_for(kPauseBetweenPaths);
    first = false;
    if (!TakeNext(path, remaining)) {
      if (onStatus_) onStatus_("");
      return;
    }
    if (!Present(path) || !NeedsAnalysis(stripesFolder_, path)) continue;
    if (onStatus_) {
      char count[32];
      std::snprintf(count, sizeof count, " [ %zu ]", remaining);
      onStatus_(path + count);
    }
    AnalyseOptions options;
    options.stripesFolder = stripesFolder_;
    options.pauseAfterReadMs = kPauseAfterReadMs;
    const AnalyseOutcome outcome = AnalyseFile(set_, path, options, &stop_);
    // A file that failed or was cut off leaves no mark: it is tried again
    // when next queued.
    if (outcome.status == AnalyseStatus::kAnalysed && onResult_)
      onResult_({path, outcome.bpm, outcome.durationMs, -1});
    return;
  }
}

}  // namespace vantaro
