#include "library/song_database.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <vector>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "base/timed_thread.h"
#include "base/xml_text.h"
#include "library/song_database_file.h"

namespace vantaro {
namespace {

using Clock = std::chrono::steady_clock;

// Hashing that accepts a string_view, so FindSong looks a prepared key up
// without building a std::string.
struct KeyHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
};

// The table: a string-keyed hash map, exact and case-sensitive keys. Starts
// with 101 buckets and grows at a load of 0.85. No lock of its own: the
// functions below hold tableLock.
class CZKSongDatabase {
 public:
  CZKSongDatabase() {
    records_.max_load_factor(0.85f);
    records_.rehash(101);
  }
  std::size_t Count() const { return records_.size(); }
  const TZKSongRecord* Find(std::string_view key) const {
    const auto found = records_.find(key);
    return found == records_.end() ? nullptr : &found->second;
  }
  void Store(TZKSongRecord record) {
    std::string key = record.name;
    records_.insert_or_assign(std::move(key), std::move(record));
  }
  bool Remove(std::string_view key) {
    const auto found = records_.find(key);
    if (found == records_.end()) return false;
    records_.erase(found);
    return true;
  }
  void Clear() { records_.clear(); }
  // Every record, sorted by key, so that a file written twice from one
  // table is the same byte for byte.
  std::vector<TZKSongRecord> SortedRecords() const {
    std::vector<TZKSongRecord> records;
    records.reserve(records_.size());
    for (const auto& entry : records_) records.push_back(entry.second);
    SortByKey(records);
    return records;
  }
  static void SortByKey(std::vector<TZKSongRecord>& records) {
    std::sort(records.begin(), records.end(),
              [](const TZKSongRecord& a, const TZKSongRecord& b) { return a.name < b.name; });
  }

 private:
  std::unordered_map<std::string, TZKSongRecord, KeyHash, std::equal_to<>> records_;
};

// Guards `table` (the pointer and the records).
std::shared_mutex tableLock;
std::unique_ptr<CZKSongDatabase> table;

// What the periodic saver needs; guarded by saveStateLock, taken after
// tableLock when both are held.
struct SaveState {
  std::mutex lock;
  std::string path;      // db.vtx of the last load
  bool unsaved = false;  // a change that is not in db.vtx yet
  Clock::time_point firstUnsavedChange;
  std::uint64_t changeCount = 0;  // changes since start-up
  int delayMs = 28000;
  std::string userMessage;  // for TakeSongDatabaseMessage
};
SaveState saveState;

// Serialises writers of db.vtx (the periodic saver and SaveSongDatabaseNow).
std::mutex fileWriteLock;
std::unique_ptr<TimedThread> saver;

constexpr int kSaverTickMs = 250;

// Pre: tableLock held exclusively.
void MarkChanged() {
  std::lock_guard<std::mutex> guard(saveState.lock);
  ++saveState.changeCount;
  if (!saveState.unsaved) {
    saveState.unsaved = true;
    saveState.firstUnsavedChange = Clock::now();
  }
}

bool WriteRecords(const std::string& path, const std::vector<TZKSongRecord>& records) {
  std::string reason;
  if (WriteFileAtomically(path, FormatSongDatabaseFile(records), /*keepBackup=*/true, &reason))
    return true;
  DebugLog("SaveSongDatabase: %s", reason.c_str());
  return false;
}

// After a snapshot taken at `snapshotTime` after `snapshotCount` changes
// has been written (or not): the table is saved when nothing changed since
// the snapshot. Changes made during the write are younger than the
// snapshot, so they are due one delay after it. A failed write is retried
// one delay later, so a full disk is not hammered.
void FinishSnapshot(bool written, std::uint64_t snapshotCount, Clock::time_point snapshotTime) {
  std::lock_guard<std::mutex> guard(saveState.lock);
  if (!written) {
    if (saveState.unsaved) saveState.firstUnsavedChange = Clock::now();
    return;
  }
  if (saveState.changeCount == snapshotCount)
    saveState.unsaved = false;
  else
    saveState.firstUnsavedChange = snapshotTime;
}

void SaverTick() {
  {
    std::lock_guard<std::mutex> guard(saveState.lock);
    if (!saveState.unsaved) return;
    const auto age = Clock::now() - saveState.firstUnsavedChange;
    if (age < std::chrono::milliseconds(saveState.delayMs)) return;
  }
  SaveSongDatabaseNow();
}

void StopSaver() {
  if (saver) saver->Stop();
  saver.reset();
}

void StartSaver() {
  saver = std::make_unique<TimedThread>("songdb-save", kSaverTickMs, /*priority=*/1, SaverTick);
  if (!saver->Start()) DebugLog("LoadSongDatabase: the periodic saver did not start");
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

// Temporary files of a save that was cut short ("db.vtx.tmp-XXXXXX"),
// beside the file that a linked db.vtx names.
void RemoveStaleTemporaries(const std::string& linkOrPath) {
  const std::string path = ResolveLinks(linkOrPath);
  const std::string folder = FolderOf(path);
  const auto slash = path.rfind('/');
  const std::string prefix = (slash == std::string::npos ? path : path.substr(slash + 1)) + ".tmp-";
  DIR* directory = opendir(folder.c_str());
  if (!directory) return;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0) {
      unlink((folder + "/" + name).c_str());
      DebugLog("LoadSongDatabase: removed %s left by an interrupted save", name.c_str());
    }
  }
  closedir(directory);
}

bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

// What the user is told when db.vtx could not be used whole. `kept`
// records were read from a damaged file; 0 when none could be.
std::string BrokenFileMessage(const std::string& path, const std::string& movedTo,
                              std::size_t kept) {
  std::string message =
      "The song database " + path + (kept ? " was damaged" : " could not be read");
  if (!movedTo.empty())
    message += ", so it was moved to " + movedTo + " and nothing in it was changed";
  if (kept)
    message += ". The " + std::to_string(kept) +
               " tracks that could be read were kept; anything else is learnt again as tracks "
               "are played.";
  else
    message +=
        ". The program starts with an empty song database; tempos, gains and cue points are "
        "learnt again as tracks are played.";
  if (Exists(path + ".bak")) message += " The copy from the save before is " + path + ".bak.";
  return message;
}

const char* StatusText(SongFileStatus status) {
  switch (status) {
    case SongFileStatus::kUnreadable:
      return "cannot be opened";
    case SongFileStatus::kNotParsed:
      return "XML not parsed successfully";
    case SongFileStatus::kWrongRoot:
      return "root node is NOT 'songdatabase'";
    case SongFileStatus::kRefused:
      return "refused";
    default:
      return "read";
  }
}

}  // namespace

bool LoadSongDatabase(const std::string& path) {
  AssertNotRealtime("LoadSongDatabase");
  StopSaver();
  RemoveStaleTemporaries(path);

  auto loaded = std::make_unique<CZKSongDatabase>();
  const SongFileResult result = ReadSongDatabaseFile(
      path, [&loaded](TZKSongRecord&& record) { loaded->Store(std::move(record)); });
  std::string message;
  if (result.status == SongFileStatus::kLoaded && result.damaged > 0) {
    // Keep what could be read; keep the damaged original for the user too,
    // as the next save would replace it.
    const std::string aside = MoveFileAside(path);
    DebugLog("LoadSongDatabase: %s is damaged: %zu tracks read, %d damaged place%s skipped%s%s",
             path.c_str(), loaded->Count(), result.damaged, result.damaged == 1 ? "" : "s",
             aside.empty() ? "" : "; the original is kept as ", aside.c_str());
    message = BrokenFileMessage(path, aside, loaded->Count());
  } else if (result.status != SongFileStatus::kLoaded) {
    loaded->Clear();
    if (result.status != SongFileStatus::kMissing) {
      DebugLog("LoadSongDatabase: %s %s", path.c_str(), StatusText(result.status));
      message = BrokenFileMessage(path, MoveFileAside(path), 0);
    }
  }
  {
    std::unique_lock<std::shared_mutex> guard(tableLock);
    table = std::move(loaded);
    std::lock_guard<std::mutex> stateGuard(saveState.lock);
    saveState.path = path;
    saveState.unsaved = false;
    if (!message.empty()) saveState.userMessage = message;
  }
  StartSaver();
  return result.status == SongFileStatus::kLoaded;
}

bool SaveSongDatabase(const std::string& path) {
  AssertNotRealtime("SaveSongDatabase");
  StopSaver();
  std::vector<TZKSongRecord> records;
  {
    std::unique_lock<std::shared_mutex> guard(tableLock);
    if (!table) return false;
    records = table->SortedRecords();
    table.reset();
    std::lock_guard<std::mutex> stateGuard(saveState.lock);
    saveState.unsaved = false;
  }
  std::lock_guard<std::mutex> fileGuard(fileWriteLock);
  return WriteRecords(path, records);
}

bool SaveSongDatabaseNow() {
  AssertNotRealtime("SaveSongDatabaseNow");
  std::lock_guard<std::mutex> fileGuard(fileWriteLock);
  std::vector<TZKSongRecord> records;
  std::string path;
  std::uint64_t snapshotCount;
  const Clock::time_point snapshotTime = Clock::now();
  {
    std::shared_lock<std::shared_mutex> guard(tableLock);
    if (!table) return false;
    records = table->SortedRecords();
    std::lock_guard<std::mutex> stateGuard(saveState.lock);
    path = saveState.path;
    snapshotCount = saveState.changeCount;
  }
  const bool written = !path.empty() && WriteRecords(path, records);
  FinishSnapshot(written, snapshotCount, snapshotTime);
  return written;
}

std::size_t SongCount() {
  AssertNotRealtime("SongCount");
  std::shared_lock<std::shared_mutex> guard(tableLock);
  return table ? table->Count() : 0;
}

bool FindSong(std::string_view key, TZKSongRecord& record) {
  AssertNotRealtime("FindSong");
  std::shared_lock<std::shared_mutex> guard(tableLock);
  if (!table) return false;
  const TZKSongRecord* found = table->Find(key);
  if (!found) return false;
  record = *found;
  return true;
}

bool StoreSong(const TZKSongRecord& record) {
  AssertNotRealtime("StoreSong");
  if (record.name.empty()) return false;
  std::unique_lock<std::shared_mutex> guard(tableLock);
  if (!table) return false;
  table->Store(record);
  MarkChanged();
  return true;
}

bool RemoveSong(std::string_view key) {
  AssertNotRealtime("RemoveSong");
  std::unique_lock<std::shared_mutex> guard(tableLock);
  if (!table || !table->Remove(key)) return false;
  MarkChanged();
  return true;
}

bool ClearSongs() {
  AssertNotRealtime("ClearSongs");
  std::unique_lock<std::shared_mutex> guard(tableLock);
  if (!table) return false;
  table->Clear();
  MarkChanged();
  return true;
}

bool SongDatabaseHasUnsavedChanges() {
  std::lock_guard<std::mutex> guard(saveState.lock);
  return saveState.unsaved;
}

std::string TakeSongDatabaseMessage() {
  std::lock_guard<std::mutex> guard(saveState.lock);
  std::string message;
  message.swap(saveState.userMessage);
  return message;
}

void SetSongDatabaseSaveDelayMs(int milliseconds) {
  std::lock_guard<std::mutex> guard(saveState.lock);
  saveState.delayMs = milliseconds < 0 ? 0 : milliseconds;
}

}  // namespace vantaro
