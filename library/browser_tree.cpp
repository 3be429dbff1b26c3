#include "library/browser_tree.h"

#include <algorithm>
#include <cstdio>
#include <future>
#include <utility>

#include "base/debug_log.h"
#include "library/list_set.h"

namespace vantaro {
namespace {

bool IsFolderKind(int kind) {
  return kind == kNodeDisk || kind == kNodeRemovable || kind == kNodeLeafFolder ||
         kind == kNodeFolder || kind == kNodeFolderUnprobed;
}

bool Expands(int kind) {
  return kind == kNodeGroup || kind == kNodeGroupLocal || kind == kNodeDisk ||
         kind == kNodeRemovable || kind == kNodeFolder || kind == kNodeFolderUnprobed ||
         kind == kNodeListGroup;
}

int ListKindOf(int type) {
  return type == kListUser       ? kNodeUserList
         : type == kListDeckAdds ? kNodeDeckAddsList
                                 : kNodeFixedList;
}

}  // namespace

BrowserTree::BrowserTree(CZKListSet& lists, BrowserLabels labels, DiskSource disks)
    : lists_(lists),
      labels_(std::move(labels)),
      diskSource_(std::move(disks)),
      folderList_(std::make_unique<CZKAbstractList>()) {
  folderList_->name = "folder";
}

BrowserTree::~BrowserTree() {
  stop_->store(true);
  CollectReads(true);  // no read may outlive the tree it would report to
}

const BrowserNode* BrowserTree::Node(int id) const {
  auto found = nodes_.find(id);
  return found == nodes_.end() ? nullptr : &found->second;
}

int BrowserTree::IndexOfShown(int id) const {
  auto at = std::find(shown_.begin(), shown_.end(), id);
  return at == shown_.end() ? -1 : static_cast<int>(at - shown_.begin());
}

BrowserNode& BrowserTree::Make(int parent, int kind, std::string name, std::string path,
                               int listIndex) {
  const int id = nextId_++;
  BrowserNode& node = nodes_[id];
  node.id = id;
  node.kind = kind;
  node.name = std::move(name);
  node.path = std::move(path);
  node.listIndex = listIndex;
  node.parent = parent;
  if (parent) {
    BrowserNode& up = nodes_.at(parent);
    node.depth = up.depth + 1;
    up.children.push_back(id);
  } else {
    roots_.push_back(id);
  }
  return node;
}

void BrowserTree::RemoveChildren(BrowserNode& node) {
  for (int child : node.children) {
    RemoveChildren(nodes_.at(child));
    nodes_.erase(child);
  }
  node.children.clear();
}

void BrowserTree::Remove(int id) {
  auto found = nodes_.find(id);
  if (found == nodes_.end()) return;
  RemoveChildren(found->second);
  std::vector<int>& siblings =
      found->second.parent ? nodes_.at(found->second.parent).children : roots_;
  siblings.erase(std::remove(siblings.begin(), siblings.end(), id), siblings.end());
  nodes_.erase(found);
}

void BrowserTree::AddShown(int id) {
  shown_.push_back(id);
  const BrowserNode& node = nodes_.at(id);
  if (node.expanded)
    for (int child : node.children) AddShown(child);
}

void BrowserTree::RebuildShown() {
  shown_.clear();
  for (int root : roots_) AddShown(root);
  // Probes of nodes that are gone are dropped here rather than searched
  // for at every removal.
  std::erase_if(probeQueue_, [this](int id) { return !nodes_.count(id); });
}

void BrowserTree::BuildTree() {
  CollectReads(true);
  nodes_.clear();
  roots_.clear();
  probeQueue_.clear();
  BrowserNode& computer = Make(0, kNodeGroup, labels_.computer, "");
  computer_ = computer.id;
  computer.expanded = computer.scanned = true;
  disks_ = diskSource_();
  BuildDisks(computer, disks_);
  BrowserNode& favourites = Make(0, kNodeGroupLocal, labels_.favourites, "");
  favourites_ = favourites.id;
  favourites.scanned = true;
  BuildFavourites();
  const std::pair<int, const std::string*> fixed[] = {{kListFirstFixed, &labels_.database},
                                                      {kListDeckAdds, &labels_.sideList},
                                                      {kListHistory, &labels_.history},
                                                      {kListAutomix, &labels_.automix}};
  for (const auto& [type, label] : fixed) {
    lists_.Fixed(type);
    const int index = lists_.Find(FixedListName(type), type);
    Make(0, ListKindOf(type), *label, FixedListName(type), index);
  }
  BrowserNode& group = Make(0, kNodeListGroup, labels_.lists, "");
  listGroup_ = group.id;
  group.expanded = group.scanned = true;
  for (int i = 0; i < lists_.Count(); ++i)
    if (lists_.Slot(i).type == kListUser)
      Make(listGroup_, kNodeUserList, lists_.Slot(i).name, lists_.Slot(i).name, i);
  genres_ = Make(0, kNodeGroupLocal, labels_.genres, "").id;
  RebuildShown();
}

void BrowserTree::BuildDisks(BrowserNode& computer, const std::vector<DiskEntry>& disks) {
  // Disks that stay keep their nodes (and what is expanded under them).
  std::vector<int> kept;
  for (const DiskEntry& disk : disks) {
    int id = 0;
    for (int child : computer.children)
      if (nodes_.at(child).path == disk.path) id = child;
    if (!id) {
      const std::string label = !disk.label.empty() ? disk.label
                                : disk.path == "/"  ? "/"
                                                    : labels_.home;
      id = Make(computer.id, disk.removable ? kNodeRemovable : kNodeDisk, label, disk.path).id;
    }
    kept.push_back(id);
  }
  for (int child : std::vector<int>(computer.children))
    if (std::find(kept.begin(), kept.end(), child) == kept.end()) Remove(child);
  computer.children = kept;
}

bool BrowserTree::RefreshDisks() {
  std::vector<DiskEntry> disks = diskSource_();
  if (disks == disks_ || !nodes_.count(computer_)) return false;
  disks_ = std::move(disks);
  BuildDisks(nodes_.at(computer_), disks_);
  RebuildShown();
  return true;
}

void BrowserTree::BuildFavourites() {
  BrowserNode& group = nodes_.at(favourites_);
  RemoveChildren(group);
  for (std::size_t slot = 0; slot < lists_.favourites.size(); ++slot) {
    const FavouriteFolder& favourite = lists_.favourites[slot];
    Make(favourites_, kNodeFolderUnprobed, favourite.name, favourite.path).favourite =
        static_cast<int>(slot);
    probeQueue_.push_back(group.children.back());
  }
}

bool BrowserTree::IsLoop(const BrowserNode& node) const {
  for (int up = node.parent; up; up = nodes_.at(up).parent) {
    const BrowserNode& ancestor = nodes_.at(up);
    if (IsFolderKind(ancestor.kind) && ancestor.scanned && ancestor.identity == node.identity)
      return true;
  }
  return false;
}

bool BrowserTree::ApplyLevel(BrowserNode& node, FolderLevel level) {
  if (!level.ok) {
    DebugLog("browser: the folder %s cannot be read (%s); its node stays as it was",
             node.path.c_str(), level.error.c_str());
    return false;
  }
  node.identity = level.identity;
  if (IsLoop(node)) {
    DebugLog("browser: %s leads back to a folder above it; not descended", node.path.c_str());
    node.kind = kNodeLeafFolder;
    return false;
  }
  nodes_.reserve(nodes_.size() + level.names.size());
  node.children.reserve(level.names.size());
  probeQueue_.reserve(probeQueue_.size() + level.names.size());
  for (std::string& name : level.names) {
    std::string path = JoinPath(node.path, name);
    Make(node.id, kNodeFolderUnprobed, std::move(name), std::move(path));
    probeQueue_.push_back(node.children.back());
  }
  node.scanned = true;
  return true;
}

bool BrowserTree::ReadFolder(BrowserNode& node) {
  return ApplyLevel(node, ReadFolderLevel(node.path));
}

bool BrowserTree::ReadingFolder(int id) const {
  for (const PendingRead& read : reads_)
    if (read.id == id) return true;
  return false;
}

bool BrowserTree::CollectReads(bool wait) {
  bool changed = false;
  for (std::size_t i = 0; i < reads_.size();) {
    PendingRead& read = reads_[i];
    if (!wait && read.level.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      ++i;
      continue;
    }
    FolderLevel level = read.level.get();
    const int id = read.id;
    reads_.erase(reads_.begin() + static_cast<long>(i));
    auto found = nodes_.find(id);
    if (found == nodes_.end() || found->second.scanned) continue;  // gone, or read meanwhile
    if (ApplyLevel(found->second, std::move(level))) found->second.expanded = true;
    changed = true;
  }
  if (CollectProbes(wait)) changed = true;
  if (changed) RebuildShown();
  return changed;
}

void BrowserTree::BuildGenres(BrowserNode& group) {
  RemoveChildren(group);
  for (const GenreCount& genre : CountGenres(lists_.Fixed(kListFirstFixed))) {
    char count[24];
    std::snprintf(count, sizeof count, " (%d)", genre.count);
    std::string label = genre.code < 0 ? "All Genres" : genre.label;
    Make(group.id, kNodeGenre, label + count, label).genre = genre.code;
  }
}

bool BrowserTree::Expand(BrowserNode& node) {
  if (node.id == genres_) {
    BuildGenres(node);
    return true;
  }
  if (node.scanned || !IsFolderKind(node.kind)) return true;
  if (!backgroundReads_) return ReadFolder(node);
  // The node opens when CollectReads finds the level read.
  if (!ReadingFolder(node.id))
    reads_.push_back({node.id, std::async(std::launch::async, ReadFolderLevel, node.path)});
  return false;
}

bool BrowserTree::ToggleNode(int id) {
  auto found = nodes_.find(id);
  if (found == nodes_.end() || !Expands(found->second.kind)) return false;
  BrowserNode& node = found->second;
  if (node.expanded) {
    node.expanded = false;
    if (node.kind == kNodeRemovable) {
      RemoveChildren(node);
      node.scanned = false;
    }
  } else {
    if (!Expand(node)) {
      RebuildShown();  // a loop may have turned the node into a leaf
      return ReadingFolder(id);
    }
    node.expanded = true;
  }
  RebuildShown();
  return true;
}

bool BrowserTree::ProbeSubfolders(std::chrono::microseconds budget) {
  if (backgroundReads_) {
    StartProbeJob();
    return ProbesWaiting();
  }
  const auto until = std::chrono::steady_clock::now() + budget;
  std::size_t done = 0;
  while (done < probeQueue_.size()) {
    auto found = nodes_.find(probeQueue_[done++]);
    if (found != nodes_.end() && found->second.kind == kNodeFolderUnprobed)
      found->second.kind = HasSubfolder(found->second.path) == 0 ? kNodeLeafFolder : kNodeFolder;
    if (std::chrono::steady_clock::now() >= until) break;
  }
  probeQueue_.erase(probeQueue_.begin(), probeQueue_.begin() + static_cast<long>(done));
  return !probeQueue_.empty();
}

void BrowserTree::StartProbeJob() {
  if (probeJob_.valid() || probeQueue_.empty()) return;
  std::vector<std::string> paths;
  paths.reserve(probeQueue_.size());
  for (int id : probeQueue_) paths.push_back(nodes_.at(id).path);
  probeIds_ = std::move(probeQueue_);
  probeQueue_.clear();
  probeJob_ = std::async(std::launch::async, [paths = std::move(paths), stop = stop_] {
    std::vector<signed char> found(paths.size(), 1);
    for (std::size_t i = 0; i < paths.size() && !stop->load(); ++i)
      found[i] = static_cast<signed char>(HasSubfolder(paths[i]));
    return found;
  });
}

bool BrowserTree::CollectProbes(bool wait) {
  if (!probeJob_.valid()) return false;
  if (!wait && probeJob_.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
    return false;
  const std::vector<signed char> found = probeJob_.get();
  for (std::size_t i = 0; i < probeIds_.size(); ++i) {
    auto node = nodes_.find(probeIds_[i]);
    if (node != nodes_.end() && node->second.kind == kNodeFolderUnprobed)
      node->second.kind = found[i] == 0 ? kNodeLeafFolder : kNodeFolder;
  }
  probeIds_.clear();
  return true;
}

int BrowserTree::NodeOfList(int listIndex) const {
  for (const auto& [id, node] : nodes_)
    if (node.listIndex == listIndex) return id;
  return 0;
}

int BrowserTree::AddList(const std::string& name) {
  if (lists_.Count() >= CZKListSet::kMaxLists) {
    message_ = "There are " + std::to_string(CZKListSet::kMaxLists) +
               " lists already: delete one before making another.";
    return -1;
  }
  const bool numbered = name.empty() || name == labels_.newList;
  ListSlot* slot = lists_.AddUserList(numbered ? std::string() : name, labels_.newList);
  if (!slot) return -1;
  const int index = lists_.Count() - 1;
  const int id = Make(listGroup_, kNodeUserList, slot->name, slot->name, index).id;
  RebuildShown();
  return id;
}

bool BrowserTree::RenameList(int id, const std::string& name) {
  auto found = nodes_.find(id);
  if (found == nodes_.end() || found->second.kind != kNodeUserList || name.empty() ||
      name.find('/') != std::string::npos || name[0] == '.' || lists_.Find(name, kListUser) >= 0)
    return false;
  ListSlot& slot = lists_.Slot(found->second.listIndex);
  const std::string oldFile = lists_.FileOf(slot);
  slot.name = slot.list->name = name;
  // The old file would come back as a list of its own at the next start.
  if (std::rename(oldFile.c_str(), lists_.FileOf(slot).c_str()) != 0)
    DebugLog("browser: list file %s not renamed (it may not exist yet)", oldFile.c_str());
  found->second.name = found->second.path = name;
  return true;
}

void BrowserTree::RenumberLists(int removedIndex) {
  for (auto& [id, node] : nodes_)
    if (node.listIndex > removedIndex) --node.listIndex;
}

bool BrowserTree::DeleteList(int id) {
  auto found = nodes_.find(id);
  if (found == nodes_.end() || found->second.kind != kNodeUserList) return false;
  const int index = found->second.listIndex;
  const std::string file = lists_.FileOf(lists_.Slot(index));
  lists_.RemoveList(index);
  std::remove(file.c_str());
  Remove(id);
  RenumberLists(index);
  RebuildShown();
  return true;
}

bool BrowserTree::AddFavourite(const std::string& name, const std::string& path, int type) {
  if (static_cast<int>(lists_.favourites.size()) >= CZKListSet::kMaxFavourites) {
    message_ = "All " + std::to_string(CZKListSet::kMaxFavourites) +
               " favourite places are taken: remove one first.";
    return false;
  }
  for (const FavouriteFolder& favourite : lists_.favourites)
    if (favourite.path == path) return false;
  lists_.favourites.push_back({name, path, type});
  BuildFavourites();
  RebuildShown();
  return true;
}

bool BrowserTree::RemoveFavourite(int id) {
  const BrowserNode* node = Node(id);
  if (!node || node->favourite < 0) return false;
  lists_.favourites.erase(lists_.favourites.begin() + node->favourite);
  BuildFavourites();
  RebuildShown();
  return true;
}

CZKAbstractList* BrowserTree::ListOf(int id) {
  const BrowserNode* node = Node(id);
  if (!node) return nullptr;
  if (node->listIndex >= 0) return lists_.Slot(node->listIndex).list.get();
  if (IsFolderKind(node->kind)) return folderList_.get();
  if (node->kind == kNodeGenre) return &lists_.Fixed(kListFirstFixed);
  return nullptr;
}

bool BrowserTree::ShowList(int id, ListDisplay& display) {
  CZKAbstractList* list = ListOf(id);
  if (!list) return false;
  CZKAbstractList* old = display.Shown();
  if (old && old->Searching()) old->StopSearch();
  const BrowserNode& node = nodes_.at(id);
  if (list == folderList_.get()) {
    list->Clear();
    list->sliderposhoriz = list->dataoffsethoriz = list->sliderposvert = list->dataoffsetvert = -1;
    list->AddFolder(node.path, false, true);
  } else if (node.kind == kNodeGenre && node.genre >= 0) {
    ListFilter filter;
    filter.genres = {node.genre};
    list->StartFilter(filter);
  } else if (list->Filtering()) {
    list->StopFilter();  // the database list itself, or "All Genres": every row
  }
  display.Show(list);
  return true;
}

void BrowserTree::AddToHistory(const TZKListElement& row) {
  CZKAbstractList& history = lists_.Fixed(kListHistory);
  history.InsertRow(row, -1);
}

void BrowserTree::UpdateAllRows(const std::string& key, double bpm, std::int32_t durationMs,
                                int pitchKey, const std::string& newKeyText) {
  for (int i = 0; i < lists_.Count(); ++i)
    lists_.Slot(i).list->UpdateRowsForSong(key, bpm, durationMs, pitchKey, newKeyText);
  folderList_->UpdateRowsForSong(key, bpm, durationMs, pitchKey, newKeyText);
}

std::string BrowserTree::ReportBranch(int id, bool withRows, const CZKAbstractList* shown) {
  std::string block;
  auto line = [&block](const std::string& text) { block.append(text).push_back('\0'); };
  auto found = nodes_.find(id);
  if (found != nodes_.end()) {
    BrowserNode& node = found->second;
    if (IsFolderKind(node.kind)) {
      line(node.path);
      if (!node.scanned && node.kind != kNodeLeafFolder) ReadFolder(node);
    }
    for (int child : node.children) {
      const BrowserNode& c = nodes_.at(child);
      if (c.kind == kNodeDisk || c.kind == kNodeRemovable)
        line("<DISK>" + c.name);
      else if (c.kind == kNodeLeafFolder || c.kind == kNodeFolder || c.kind == kNodeFolderUnprobed)
        line("<DIR>" + c.name);
      else
        line(c.name);
    }
  }
  if (withRows && shown)
    for (int i = 0; i < shown->Count(); ++i) {
      const TZKListElement* row = shown->GetRow(i);
      line(row->column[kColArtist] + " - " + row->column[kColTitle]);
    }
  return block;
}

std::string BrowserTree::TakeMessage() {
  std::string message;
  message.swap(message_);
  return message;
}

std::vector<GenreCount> CountGenres(CZKAbstractList& list) {
  std::vector<GenreCount> genres(1);
  // Counts cover the full set: behind a search or filter (the genre shown
  // now) they come from a copy, so the view keeps what it shows.
  CZKAbstractList copy;
  CZKAbstractList& all = list.Searching() || list.Filtering() ? copy : list;
  if (&all == &copy) copy.CopyFrom(list, true);
  std::unordered_map<int, std::size_t> at;
  all.IterateBegin(false);
  while (const TZKListElement* row = all.IterateNext()) {
    ++genres[0].count;
    // The codes the filter tests, each once per row.
    const int codes[] = {row->gnr1, row->gnr2, row->gnr3};
    for (int i = 0; i < 3; ++i) {
      const int code = codes[i];
      if (code < 0 || (i > 0 && code == codes[0]) || (i > 1 && code == codes[1])) continue;
      auto [place, added] = at.emplace(code, genres.size());
      if (added) genres.push_back({code, std::string("#").append(std::to_string(code)), 0});
      GenreCount& genre = genres[place->second];
      ++genre.count;
      if (i == 0 && !row->column[kColGenre].empty() && genre.label[0] == '#')
        genre.label = row->column[kColGenre];
    }
  }
  std::sort(genres.begin() + 1, genres.end(),
            [](const GenreCount& a, const GenreCount& b) { return a.label < b.label; });
  return genres;
}

}  // namespace vantaro
