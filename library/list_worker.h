#pragma once
// The background filler of one list: takes requests (a file, a folder, a
// folder with its subfolders), reads tags, and hands finished rows back.
//
// Two bounded rings, each under its own lock, are the only state the
// threads share: requests (8,192 entries) and finished rows (65,536). A full
// request ring refuses the request (the list keeps it and offers it again);
// a full finished ring makes the worker wait until the GUI thread drains it.
// The thread starts with the first request and ends when the request ring
// is empty.
//
// Threads: TryQueue, TakeFinished, Idle and Stop on the list's owner (the
// GUI thread); the rest on the worker.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "library/list_element.h"
#include "library/tag_reader.h"

namespace vantaro {

enum ListRequestKind : int { kRequestFile = 0, kRequestFolder = 1, kRequestTree = 2 };

struct ListRequest {
  int kind = kRequestFile;
  std::string path;
  std::string title, artist;  // an M3U's #EXTINF text for a file
};

// A row, or the mark that a folder request has been scanned to its end.
struct FinishedRow {
  std::unique_ptr<TZKListElement> row;
  bool folderDone = false;
};

// Calls `onFile` with the path of every plain file of `folder` in name
// order, after the files of its subfolders when `recursive`. Hidden folders
// are passed over; a folder met twice (a link back up the tree) is scanned
// once. Stops early when `stop` (may be null) becomes true.
void ForEachFileInFolder(const std::string& folder, bool recursive, const std::atomic<bool>* stop,
                         const std::function<void(const std::string&)>& onFile);

class CZKListWorker {
 public:
  static constexpr std::size_t kRequestCapacity = 32768 / 4;
  static constexpr std::size_t kFinishedCapacity = 262144 / 4;

  CZKListWorker() = default;
  ~CZKListWorker() { Stop(); }
  CZKListWorker(const CZKListWorker&) = delete;
  CZKListWorker& operator=(const CZKListWorker&) = delete;

  // Queues `request` and starts the thread when none runs; false (the
  // request left with the caller) when the ring is full.
  bool TryQueue(ListRequest&& request);

  // Moves every finished row to `out` (appended); returns how many.
  std::size_t TakeFinished(std::vector<FinishedRow>& out);

  // True when no request is waiting or in work and no row waits.
  bool Idle();

  // Ends the thread at its next file and drops every waiting request and
  // row. The worker can be used again afterwards.
  void Stop();

 private:
  void Run();
  void Process(const ListRequest& request);
  void Publish(FinishedRow&& finished);

  std::mutex requestLock_;
  std::deque<ListRequest> requests_;
  bool running_ = false;  // a thread is between its start and its last look at the ring
  std::thread thread_;    // touched by the owner only

  std::mutex finishedLock_;
  std::condition_variable finishedSpace_;
  std::deque<FinishedRow> finished_;

  std::atomic<bool> stop_{false};
  CZKTagReader reader_;  // the worker's own; reused for every file
};

}  // namespace vantaro
