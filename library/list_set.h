#pragma once
// Every list of the program and the user's favourite folders, with their
// index files in the Database folder:
//   lists.vtx  <lists version="100"> of <list name type maincursor ... />,
//              one per list, in slot order;
//   favs.vtx   <favs version="100"> of <fav name path type/>, at most 20.
// User playlists (type 0) keep their rows in "<Playlists>/<name>.vtl", the
// fixed lists (types 1 to 4) in "<Database>/<name>.vtl".
//
// Nothing is lost: every file is written whole (temporary, flushed,
// renamed, the old one kept as .bak); a list, index or favourites file that
// cannot be used whole is moved aside as "<file>.broken-YYYYMMDD-HHMMSS"
// before anything replaces it, logged, and named in TakeMessage; a list
// whose file could not be read nor moved aside is never written over it;
// and every .vtl, .m3u or .m3u8 in Playlists that lists.vtx does not name
// becomes a user list of its own, so a lost index costs nothing.
// docs/LISTS.md describes the files.
//
// Threads: the GUI thread (the lists' workers are their own).

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "library/abstract_list.h"

namespace vantaro {

class XmlReader;

enum ListType : int {
  kListUser = 0,
  kListFirstFixed = 1,
  kListDeckAdds = 2,  // the second fixed list, target of adds from a deck
  kListHistory = 3,
  kListAutomix = 4,
};

struct ListSlot {
  std::string name;
  int type = kListUser;
  int columnsortblocked = 0;
  int columnresizeblocked = 0;
  // The list's file could not be read nor moved aside: it is never saved.
  bool keepFileAsIs = false;
  std::unique_ptr<CZKAbstractList> list;
};

struct FavouriteFolder {
  std::string name;
  std::string path;
  int type = 0;
};

class CZKListSet {
 public:
  static constexpr int kMaxLists = 200;
  static constexpr int kMaxFavourites = 20;

  // Both folders end in "/".
  CZKListSet(std::string databaseFolder, std::string playlistsFolder);

  // Reads lists.vtx, favs.vtx, every list's file, and the files in
  // Playlists no list names. The four fixed lists always exist.
  void Load();
  // Writes every list's file, then lists.vtx and favs.vtx; the history is
  // emptied first unless `rememberHistory`. Requests a list's worker still
  // has are finished first. False when a file could not be written (each
  // is logged, and the first reason is in `error`).
  bool Save(bool rememberHistory, std::string* error = nullptr);

  int Count() const { return static_cast<int>(slots_.size()); }
  ListSlot& Slot(int index) { return slots_[index]; }
  // The slot of a list of that name and type; -1 when none.
  int Find(const std::string& name, int type) const;
  // The fixed list of `type` (1 to 4).
  CZKAbstractList& Fixed(int type);
  // A new user playlist named `name`, or "<base><n>" with the first free n
  // when `name` is empty or taken. Null when all 200 slots are used.
  ListSlot* AddUserList(const std::string& name, const std::string& base = "playlist");
  void RemoveList(int index);
  // Moves finished rows of every list in from its worker (the screen tick).
  void DrainAll();

  // The file a slot's rows live in.
  std::string FileOf(const ListSlot& slot) const;

  std::vector<FavouriteFolder> favourites;

  // What the user should hear about the last Load (broken files moved
  // aside), once; empty when nothing.
  std::string TakeMessage();

 private:
  void ReadIndex();
  void ReadFavourites();
  // Reads `path`, an index whose root element is `root`, handing each
  // element under the root to `visit`. A file that cannot be used is moved
  // aside and named, with `notOurs` (another root) or `damaged` (some
  // elements lost) as the reason. False when the reader refused the file.
  bool ReadIndexFile(const std::string& path, const char* root, const char* notOurs,
                     const char* damaged, const std::function<void(XmlReader&)>& visit);
  void AddStrayPlaylists();
  // Reads the slot's rows from `file`, its own file when empty.
  void LoadSlotFile(ListSlot& slot, const std::string& file = {});
  void NoteBroken(const std::string& path, const char* why, bool& movedAside);
  std::string FormatIndex() const;
  std::string FormatFavourites() const;
  ListSlot* AddSlot(const std::string& name, int type);

  std::string database_, playlists_;
  std::vector<ListSlot> slots_;
  std::string message_;
};

// The default names (and file names) of the fixed lists, by type 1 to 4.
const char* FixedListName(int type);

}  // namespace vantaro
