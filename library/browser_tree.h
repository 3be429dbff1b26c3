#pragma once
// The browser's tree, without drawing: root groups, the disks and their
// folders, favourite folders, the fixed lists, the user's lists and the
// genres of the database list. The control (skin/browser.h) draws the rows
// of Shown() and calls the operations here.
//
// Nodes have ids from a running counter that are never used twice, so an id
// the control kept across a rescan either finds its node or finds nothing.
// Shown() is the display order of every node whose ancestors are all
// expanded, rebuilt after each change of shape.
//
// Folders are read one level at a time (on a thread of their own when the
// program asks for background reads): expanding a folder reads its own
// entries only and makes its children of kind kNodeFolderUnprobed; whether
// each child holds further folders is learnt later by ProbeSubfolders,
// a few at a time within a time budget, so a folder of ten thousand
// subfolders never holds the GUI up for long. A folder whose (device,
// inode) is already among its ancestors (a link loop) is never descended.
//
// Lists belong to the list set (library/list_set.h); nodes name them by
// slot index. Folders are shown through one list the tree keeps for them.
//
// Threads: GUI thread only; background folder reads run on threads of
// their own and touch nothing of the tree (CollectReads applies them).

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "library/abstract_list.h"
#include "library/folder_scan.h"
#include "library/mount_table.h"

namespace vantaro {

class CZKListSet;

enum BrowserKind : int {
  kNodeGroup = 10,            // Computer: its children are the disks
  kNodeGroupLocal = 11,       // Favourites, Genres: children made by the program
  kNodeDisk = 100,            // fixed disk or root folder
  kNodeRemovable = 101,       // collapsing forgets its children: read again next time
  kNodeLeafFolder = 110,      // a folder without subfolders: never expands
  kNodeFolder = 120,          // a folder with subfolders
  kNodeFolderUnprobed = 121,  // a folder not yet asked whether it has subfolders
  kNodeFixedList = 200,
  kNodeDeckAddsList = 202,  // the fixed list that adds from a deck go to
  kNodeListGroup = 205,     // the user's lists
  kNodeUserList = 210,
  kNodeGenre = 212,  // the database list filtered by one genre (or all)
};

struct BrowserNode {
  int id = 0;
  std::string name;  // the label shown
  std::string path;  // folder path, or the list's name
  int kind = kNodeGroup;
  int listIndex = -1;  // list set slot; -1 when the node has none
  bool expanded = false;
  bool scanned = false;  // children have been read from the disk
  int parent = 0;        // 0 at the root
  int depth = 0;
  int favourite = -1;       // favourites slot of a favourite folder
  int genre = -2;           // genre node: its code, -1 for "All Genres"
  FolderIdentity identity;  // of a folder read, so a link loop is seen
  std::vector<int> children;
};

// The labels of the fixed nodes, from the language strings.
struct BrowserLabels {
  std::string computer = "Computer", home = "Home", favourites = "Favourites";
  std::string database = "Database", sideList = "Side list", history = "History";
  std::string automix = "Auto-mix list", lists = "Lists", genres = "Genres";
  std::string newList = "New list";
};

// One genre of a list, with how many rows carry it.
struct GenreCount {
  int code = -1;  // -1: every row ("All Genres")
  std::string label;
  int count = 0;
};

// Every genre code of the full set of `list` (a row counts once under each
// of its gnr1 to gnr3), labelled by the genre text of a row that has it
// first, sorted by label, headed by all rows. Rows without a code count
// only in the head: the filter could not find them.
std::vector<GenreCount> CountGenres(CZKAbstractList& list);

// Where lists are shown: the main track list. The model never owns a list.
class ListDisplay {
 public:
  virtual ~ListDisplay() = default;
  virtual CZKAbstractList* Shown() const = 0;
  // The view reads the list's four scroll values (-1: top left) and keeps
  // them up to date in the list while it shows it.
  virtual void Show(CZKAbstractList* list) = 0;
};

class BrowserTree {
 public:
  // Where the disks come from: normally ReadDisks of /proc/self/mounts
  // and the home folder; asked at BuildTree and at every RefreshDisks.
  using DiskSource = std::function<std::vector<DiskEntry>()>;

  BrowserTree(CZKListSet& lists, BrowserLabels labels, DiskSource disks);
  ~BrowserTree();

  // Empties the tree and builds the root groups, the disks, the favourites
  // and lists of the list set, and the genre group. Ids go on counting.
  void BuildTree();

  const BrowserNode* Node(int id) const;
  // Ids in display order.
  const std::vector<int>& Shown() const { return shown_; }
  int IndexOfShown(int id) const;

  // Expands or collapses a node that can (groups, disks, folders); a leaf
  // folder or a list does nothing. A folder that cannot be read leaves the
  // node as it was and logs one line. False when nothing changed. With
  // background reads a folder not yet read opens later, in CollectReads
  // (true here means the read is under way).
  bool ToggleNode(int id);

  // Folder levels read on a thread of their own rather than in ToggleNode,
  // so even a huge folder never holds the GUI up (the program's choice;
  // tests read in place).
  void SetBackgroundReads(bool on) { backgroundReads_ = on; }
  // Opens the folders whose levels have been read; `wait` waits for every
  // read under way. True when the tree changed.
  bool CollectReads(bool wait);
  bool ReadingFolder(int id) const;

  // Learns for unprobed folders whether they hold subfolders, until
  // `budget` has passed; with background reads, hands them all to a
  // thread whose answers CollectReads applies. True while some wait.
  bool ProbeSubfolders(std::chrono::microseconds budget);
  bool ProbesWaiting() const { return !probeQueue_.empty() || probeJob_.valid(); }

  // Reads the mount table again; the disks change only when it differs.
  // True when the tree changed.
  bool RefreshDisks();

  // Lists. AddList makes a user list named `name`, or the default label
  // with a running number when `name` is empty or that label; -1 (and a
  // message) when the list set is full. The list's node id otherwise.
  int AddList(const std::string& name);
  // False when the node is no user list, the name is empty, has a "/" or
  // is another list's. The list's file follows the name.
  bool RenameList(int id, const std::string& name);
  // Removes a user list and its file. The control asks first.
  bool DeleteList(int id);

  // Favourites: a folder node becomes one (false when all 20 slots are
  // used or it already is one); a favourite node stops being one.
  bool AddFavourite(const std::string& name, const std::string& path, int type);
  bool RemoveFavourite(int id);

  // The list a node shows, without showing it: a list node's list, the
  // folders' list for a folder (not filled), the database list for a
  // genre. Null for groups.
  CZKAbstractList* ListOf(int id);
  // Shows the list of node `id` on `display`: a search on the list shown
  // before is stopped first; a folder fills the folders' list in the
  // background; a genre filters the database list. False for a node with
  // no list.
  bool ShowList(int id, ListDisplay& display);
  CZKAbstractList& FolderList() { return *folderList_; }

  // A track was played: a copy of its row goes to the end of the history.
  void AddToHistory(const TZKListElement& row);
  // Analysis results reach the rows of the track in every list.
  void UpdateAllRows(const std::string& key, double bpm, std::int32_t durationMs, int pitchKey,
                     const std::string& newKeyText);

  // The text block for controller displays: UTF-8 strings, each ending in
  // a NUL: the node's path when it is a folder or disk, then a line for
  // each child ("<DISK>name", "<DIR>name" or the bare label), then, with
  // `withRows`, "artist - title" for each row of `shown`.
  std::string ReportBranch(int id, bool withRows, const CZKAbstractList* shown);

  // What the user should be told about the last operation, once.
  std::string TakeMessage();

  const BrowserLabels& Labels() const { return labels_; }

 private:
  BrowserNode& Make(int parent, int kind, std::string name, std::string path, int listIndex = -1);
  void Remove(int id);
  void RemoveChildren(BrowserNode& node);
  void RebuildShown();
  void AddShown(int id);
  bool Expand(BrowserNode& node);
  bool ReadFolder(BrowserNode& node);
  bool ApplyLevel(BrowserNode& node, FolderLevel level);
  void StartProbeJob();
  bool CollectProbes(bool wait);
  bool IsLoop(const BrowserNode& node) const;
  void BuildDisks(BrowserNode& computer, const std::vector<DiskEntry>& disks);
  void BuildFavourites();
  void BuildGenres(BrowserNode& group);
  void RenumberLists(int removedIndex);
  int NodeOfList(int listIndex) const;

  CZKListSet& lists_;
  BrowserLabels labels_;
  DiskSource diskSource_;
  std::unordered_map<int, BrowserNode> nodes_;
  std::vector<int> roots_, shown_, probeQueue_;
  std::vector<DiskEntry> disks_;
  std::unique_ptr<CZKAbstractList> folderList_;
  int nextId_ = 1;
  int computer_ = 0, favourites_ = 0, listGroup_ = 0, genres_ = 0;
  std::string message_;
  struct PendingRead {
    int id;
    std::future<FolderLevel> level;
  };
  std::vector<PendingRead> reads_;
  bool backgroundReads_ = false;
  // The probe job: whether each of probeIds_ has subfolders (1, 0, -1).
  std::future<std::vector<signed char>> probeJob_;
  std::vector<int> probeIds_;
  std::shared_ptr<std::atomic<bool>> stop_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace vantaro
