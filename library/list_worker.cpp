#include "library/list_worker.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

#include "library/list_row.h"

namespace vantaro {
namespace {

using Visited = std::set<std::pair<dev_t, ino_t>>;

void ScanFolder(const std::string& folder, bool recursive, const std::atomic<bool>* stop,
                const std::function<void(const std::string&)>& onFile, Visited& visited) {
  struct stat info;
  if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return;
  if (!visited.insert({info.st_dev, info.st_ino}).second) return;
  DIR* directory = opendir(folder.c_str());
  if (!directory) return;
  std::vector<std::string> folders, files;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = (folder == "/" ? "" : folder) + "/" + name;
    if (stat(path.c_str(), &info) != 0) continue;
    if (S_ISDIR(info.st_mode)) {
      if (name[0] != '.') folders.push_back(path);
    } else if (S_ISREG(info.st_mode)) {
      files.push_back(path);
    }
  }
  closedir(directory);
  std::sort(folders.begin(), folders.end());
  std::sort(files.begin(), files.end());
  if (recursive)
    for (const std::string& sub : folders) {
      if (stop && *stop) return;
      ScanFolder(sub, true, stop, onFile, visited);
    }
  for (const std::string& file : files) {
    if (stop && *stop) return;
    onFile(file);
  }
}

}  // namespace

void ForEachFileInFolder(const std::string& folder, bool recursive, const std::atomic<bool>* stop,
                         const std::function<void(const std::string&)>& onFile) {
  Visited visited;
  ScanFolder(folder, recursive, stop, onFile, visited);
}

bool CZKListWorker::TryQueue(ListRequest&& request) {
  std::lock_guard<std::mutex> guard(requestLock_);
  if (requests_.size() >= kRequestCapacity) return false;
  requests_.push_back(std::move(request));
  if (!running_) {
    // The previous thread has left the ring for good; it only returns.
    if (thread_.joinable()) thread_.join();
    running_ = true;
    thread_ = std::thread([this] { Run(); });
  }
  return true;
}

std::size_t CZKListWorker::TakeFinished(std::vector<FinishedRow>& out) {
  std::size_t taken = 0;
  {
    std::lock_guard<std::mutex> guard(finishedLock_);
    taken = finished_.size();
    for (FinishedRow& finished : finished_) out.push_back(std::move(finished));
    finished_.clear();
  }
  finishedSpace_.notify_all();
  return taken;
}

bool CZKListWorker::Idle() {
  {
    std::lock_guard<std::mutex> guard(requestLock_);
    if (running_ || !requests_.empty()) return false;
  }
  std::lock_guard<std::mutex> guard(finishedLock_);
  return finished_.empty();
}

void CZKListWorker::Stop() {
  stop_ = true;
  {
    std::lock_guard<std::mutex> guard(finishedLock_);  // no wake-up lost between test and wait
  }
  finishedSpace_.notify_all();
  if (thread_.joinable()) thread_.join();
  {
    std::lock_guard<std::mutex> guard(requestLock_);
    requests_.clear();
    running_ = false;
  }
  {
    std::lock_guard<std::mutex> guard(finishedLock_);
    finished_.clear();
  }
  stop_ = false;
}

void CZKListWorker::Run() {
  for (;;) {
    ListRequest request;
    {
      std::lock_guard<std::mutex> guard(requestLock_);
      if (requests_.empty() || stop_) {
        running_ = false;
        return;
      }
      request = std::move(requests_.front());
      requests_.pop_front();
    }
    Process(request);
  }
}

void CZKListWorker::Process(const ListRequest& request) {
  if (request.kind == kRequestFile) {
    auto row = std::make_unique<TZKListElement>();
    if (BuildRow(request.path, reader_, *row, request.title, request.artist))
      Publish({std::move(row), false});
    return;
  }
  std::string folder = request.path;
  while (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\')) folder.pop_back();
  ForEachFileInFolder(folder, request.kind == kRequestTree, &stop_,
                      [this](const std::string& file) {
                        auto row = std::make_unique<TZKListElement>();
                        if (BuildRow(file, reader_, *row)) Publish({std::move(row), false});
                      });
  Publish({nullptr, true});
}

void CZKListWorker::Publish(FinishedRow&& finished) {
  std::unique_lock<std::mutex> guard(finishedLock_);
  finishedSpace_.wait(guard, [this] { return stop_ || finished_.size() < kFinishedCapacity; });
  if (stop_) return;
  finished_.push_back(std::move(finished));
}

}  // namespace vantaro
