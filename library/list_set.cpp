#include "library/list_set.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <set>

#include "base/data_file.h"
#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "library/tag_reader.h"

namespace vantaro {
namespace {

// lists.vtx and favs.vtx are a line a list: 4 MB (the effect chains' limit)
// holds 200 lists many times over.
constexpr XmlFileKind kIndexKind = XmlFileKind::kEffectChain;

int IntAttribute(const XmlReader& reader, std::string_view name, int missing) {
  const std::string* text = reader.Attribute(name);
  if (!text) return missing;
  const char* begin = text->c_str();
  if (*begin == '+') ++begin;
  int value = missing;
  std::from_chars(begin, text->c_str() + text->size(), value);
  return value;
}

void AppendInt(std::string& out, std::string_view name, long long value) {
  char digits[24];
  out.append(name).append("=\"");
  out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr).append("\" ");
}

// A list's name is its file's name: one component, short enough for any
// Linux file system with ".vtl" after it.
bool UsableListName(const std::string& name) {
  return !name.empty() && name.size() + 4 <= 255 && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos && name != "." && name != "..";
}

bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

std::string Stem(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? name : name.substr(0, dot);
}

// What lists.vtx keeps of a list besides its rows, applied once they are in.
struct SavedView {
  int maincursor = -1, nextcursor = -1;
  int sortcolumn = -1, sortascending = 1;
  int scroll[4] = {-1, -1, -1, -1};
  int width[kListColumns], visible[kListColumns];
};

SavedView ReadView(const XmlReader& reader) {
  SavedView view;
  view.maincursor = IntAttribute(reader, "maincursor", -1);
  view.nextcursor = IntAttribute(reader, "nextcursor", -1);
  view.sortcolumn = IntAttribute(reader, "sortcolumn", -1);
  view.sortascending = IntAttribute(reader, "sortascending", 1);
  const char* scrolls[4] = {"sliderposhoriz", "dataoffsethoriz", "sliderposvert", "dataoffsetvert"};
  for (int i = 0; i < 4; ++i) view.scroll[i] = IntAttribute(reader, scrolls[i], -1);
  for (int c = 0; c < kListColumns; ++c) {
    view.width[c] = IntAttribute(reader, "columnwidth" + std::to_string(c), 0);
    view.visible[c] = IntAttribute(reader, "columnvisible" + std::to_string(c), 1);
  }
  return view;
}

void ApplyView(const SavedView& view, CZKAbstractList& list) {
  list.SetMainCursor(view.maincursor);
  list.SetNextCursor(view.nextcursor);
  // The rows were saved in this order: the mark is restored, not resorted.
  list.SetSortMark(view.sortcolumn, view.sortascending != 0);
  list.sliderposhoriz = view.scroll[0], list.dataoffsethoriz = view.scroll[1];
  list.sliderposvert = view.scroll[2], list.dataoffsetvert = view.scroll[3];
  for (int c = 0; c < kListColumns; ++c) {
    // A width below 11 is a column squeezed to nothing: back to its default.
    if (view.width[c] < 11) continue;
    list.columns[c].width = view.width[c];
    list.columns[c].visible = list.columns[c].hideable ? (view.visible[c] != 0) : 1;
  }
}

}  // namespace

const char* FixedListName(int type) {
  switch (type) {
    case kListFirstFixed:
      return "database";
    case kListDeckAdds:
      return "playlist";
    case kListHistory:
      return "history";
    case kListAutomix:
      return "automix";
    default:
      return "";
  }
}

CZKListSet::CZKListSet(std::string databaseFolder, std::string playlistsFolder)
    : database_(std::move(databaseFolder)), playlists_(std::move(playlistsFolder)) {}

std::string CZKListSet::FileOf(const ListSlot& slot) const {
  return (slot.type == kListUser ? playlists_ : database_) + slot.name + ".vtl";
}

int CZKListSet::Find(const std::string& name, int type) const {
  for (int i = 0; i < Count(); ++i)
    if (slots_[i].type == type && slots_[i].name == name) return i;
  return -1;
}

CZKAbstractList& CZKListSet::Fixed(int type) {
  for (ListSlot& slot : slots_)
    if (slot.type == type) return *slot.list;
  return *AddSlot(FixedListName(type), type)->list;
}

ListSlot* CZKListSet::AddSlot(const std::string& name, int type) {
  if (Count() >= kMaxLists) return nullptr;
  ListSlot& slot = slots_.emplace_back();
  slot.name = name;
  slot.type = type;
  slot.list = std::make_unique<CZKAbstractList>();
  slot.list->name = name;
  return &slot;
}

ListSlot* CZKListSet::AddUserList(const std::string& name, const std::string& base) {
  // Hidden files in Playlists are not lists.
  const bool usable = UsableListName(name) && name[0] != '.';
  if (usable && Find(name, kListUser) < 0) return AddSlot(name, kListUser);
  for (int n = 1;; ++n) {
    const std::string candidate = base + std::to_string(n);
    if (Find(candidate, kListUser) < 0) return AddSlot(candidate, kListUser);
  }
}

void CZKListSet::RemoveList(int index) {
  if (index >= 0 && index < Count() && slots_[index].type == kListUser)
    slots_.erase(slots_.begin() + index);
}

void CZKListSet::DrainAll() {
  for (ListSlot& slot : slots_) slot.list->DrainFinishedRows();
}

std::string CZKListSet::TakeMessage() {
  std::string message;
  message.swap(message_);
  return message;
}

void CZKListSet::NoteBroken(const std::string& path, const char* why, bool& movedAside) {
  const std::string aside = MoveFileAside(path);
  movedAside = !aside.empty();
  std::string outcome;
  if (movedAside) {
    outcome.append("kept as ").append(aside);
  } else {
    outcome.append("left in place and not written over");
  }
  DebugLog("lists: %s %s; %s", path.c_str(), why, outcome.c_str());
  if (!message_.empty()) message_.append("\n");
  message_.append("The list file ").append(path).append(" ").append(why);
  if (movedAside) {
    message_.append(", so it was moved to ")
        .append(aside)
        .append(" and nothing in it was changed.");
  } else {
    message_.append("; it was left as it is and will not be written over.");
  }
}

void CZKListSet::Load() {
  slots_.clear();
  favourites.clear();
  ReadIndex();
  for (int type = kListFirstFixed; type <= kListAutomix; ++type)
    if (std::none_of(slots_.begin(), slots_.end(),
                     [type](const ListSlot& slot) { return slot.type == type; })) {
      ListSlot* slot = AddSlot(FixedListName(type), type);
      if (slot) LoadSlotFile(*slot);
    }
  AddStrayPlaylists();
  ReadFavourites();
}

void CZKListSet::LoadSlotFile(ListSlot& slot, const std::string& file) {
  const std::string path = file.empty() ? FileOf(slot) : file;
  const ListLoadResult result = slot.list->LoadListContents(path, true);
  ListFileContents judged;
  judged.status = result.status;
  judged.damaged = result.damaged;
  if (!ListFileIsBroken(judged)) return;
  bool movedAside = false;
  NoteBroken(path,
             result.status == ListFileStatus::kLoaded ? "was damaged (the rows that could be read "
                                                        "were kept)"
                                                      : ListFileStatusText(result.status),
             movedAside);
  slot.keepFileAsIs = !movedAside;
}

void CZKListSet::ReadIndex() {
  ReadIndexFile(database_ + "lists.vtx", "lists", "is not a list index",
                "was damaged (the lists that could be read were kept)", [this](XmlReader& reader) {
                  if (reader.Name() != "list" || Count() >= kMaxLists) return;
                  const std::string name = reader.Text("name");
                  const int type = IntAttribute(reader, "type", -1);
                  if (!UsableListName(name) || type < kListUser || type > kListAutomix ||
                      Find(name, type) >= 0 ||
                      (type != kListUser &&
                       std::any_of(slots_.begin(), slots_.end(),
                                   [type](const ListSlot& s) { return s.type == type; })))
                    return;
                  const SavedView view = ReadView(reader);
                  ListSlot* slot = AddSlot(name, type);
                  slot->columnsortblocked = IntAttribute(reader, "columnsortblocked", 0);
                  slot->columnresizeblocked = IntAttribute(reader, "columnresizeblocked", 0);
                  LoadSlotFile(*slot);
                  ApplyView(view, *slot->list);
                });
}

void CZKListSet::ReadFavourites() {
  const bool refused = !ReadIndexFile(
      database_ + "favs.vtx", "favs", "is not a favourites file",
      "was damaged (the folders that could be read were kept)", [this](XmlReader& reader) {
        if (reader.Name() == "fav" && static_cast<int>(favourites.size()) < kMaxFavourites)
          favourites.push_back(
              {reader.Text("name"), reader.Text("path"), IntAttribute(reader, "type", 0)});
      });
  if (refused) favourites.clear();
}

bool CZKListSet::ReadIndexFile(const std::string& path, const char* root, const char* notOurs,
                               const char* damaged, const std::function<void(XmlReader&)>& visit) {
  std::string text;
  const XmlFileStatus read = ReadXmlFile(path, kIndexKind, text);
  if (read == XmlFileStatus::kMissing) return true;
  bool movedAside = false;
  if (read != XmlFileStatus::kRead) {
    NoteBroken(path, read == XmlFileStatus::kRefused ? "was refused" : "cannot be read",
               movedAside);
    return true;
  }
  XmlReader reader(text, path);
  bool rooted = false;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != root) break;
      rooted = true;
    } else if (rooted) {
      visit(reader);
    }
  }
  if (reader.Refused()) {
    NoteBroken(path, "was refused", movedAside);
    return false;
  }
  if (!rooted) {
    NoteBroken(path, notOurs, movedAside);
  } else if (reader.Damaged() > 0) {
    NoteBroken(path, damaged, movedAside);
  }
  return true;
}

// Playlist files no list names: each becomes a user list named after the
// file. A .vtl wins over an M3U of the same name, so an imported M3U is
// never imported again (its list is saved as "<name>.vtl").
void CZKListSet::AddStrayPlaylists() {
  DIR* directory = opendir(playlists_.c_str());
  if (!directory) return;
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name[0] == '.') continue;
    const std::string extension = LowerExtension(name);
    if (extension == "vtl" || extension == "m3u" || extension == "m3u8") names.push_back(name);
  }
  closedir(directory);
  // .vtl files first, then M3U, each in name order.
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    const bool aList = LowerExtension(a) == "vtl", bList = LowerExtension(b) == "vtl";
    return aList != bList ? aList : a < b;
  });
  for (const std::string& name : names) {
    const std::string stem = Stem(name);
    if (stem.empty() || Find(stem, kListUser) >= 0) continue;
    ListSlot* slot = AddSlot(stem, kListUser);
    if (!slot) break;
    DebugLog("lists: %s%s is not in lists.vtx: added as a list", playlists_.c_str(), name.c_str());
    if (LowerExtension(name) == "vtl") {
      LoadSlotFile(*slot, playlists_ + name);
    } else {
      slot->list->LoadListContents(playlists_ + name, false);
    }
  }
}

std::string CZKListSet::FormatIndex() const {
  std::string out;
  out.append(kUtf8Mark).append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<lists version=\"100\">\n");
  for (const ListSlot& slot : slots_) {
    const CZKAbstractList& list = *slot.list;
    out.append("<list ");
    AppendXmlTextAttribute(out, "name", slot.name);
    out += ' ';
    AppendInt(out, "type", slot.type);
    AppendInt(out, "maincursor", list.MainCursor());
    AppendInt(out, "nextcursor", list.NextCursor());
    AppendInt(out, "columnsortblocked", slot.columnsortblocked);
    AppendInt(out, "columnresizeblocked", slot.columnresizeblocked);
    AppendInt(out, "sortcolumn", list.SortColumn());
    AppendInt(out, "sortascending", list.SortDirection() > 0 ? 1 : 0);
    AppendInt(out, "sliderposhoriz", list.sliderposhoriz);
    AppendInt(out, "dataoffsethoriz", list.dataoffsethoriz);
    AppendInt(out, "sliderposvert", list.sliderposvert);
    AppendInt(out, "dataoffsetvert", list.dataoffsetvert);
    for (int c = 0; c < kListColumns; ++c) {
      AppendInt(out, "columnwidth" + std::to_string(c), list.columns[c].width);
      AppendInt(out, "columnvisible" + std::to_string(c), list.columns[c].visible);
    }
    out.append("/>\n");
  }
  out.append("</lists>\n");
  return out;
}

std::string CZKListSet::FormatFavourites() const {
  std::string out;
  out.append(kUtf8Mark).append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<favs version=\"100\">\n");
  for (std::size_t i = 0; i < favourites.size() && i < kMaxFavourites; ++i) {
    out.append("<fav ");
    AppendXmlTextAttribute(out, "name", favourites[i].name);
    out += ' ';
    AppendXmlTextAttribute(out, "path", favourites[i].path);
    out += ' ';
    AppendInt(out, "type", favourites[i].type);
    out.append("/>\n");
  }
  out.append("</favs>\n");
  return out;
}

bool CZKListSet::Save(bool rememberHistory, std::string* error) {
  bool allWritten = true;
  std::string reason;
  auto note = [&](const std::string& path, const std::string& why) {
    DebugLog("lists: %s not written: %s", path.c_str(), why.c_str());
    if (allWritten && error) *error = path + ": " + why;
    allWritten = false;
  };
  for (ListSlot& slot : slots_) {
    if (slot.type == kListHistory && !rememberHistory) slot.list->Clear();
    if (slot.keepFileAsIs) continue;
    // An empty list that never had a file needs none (a first close writes
    // only what holds something, so it is quick).
    slot.list->FinishPendingWork();
    if (slot.list->FullCount() == 0 && !Exists(FileOf(slot))) continue;
    if (!slot.list->SaveListContents(FileOf(slot), true, &reason)) note(FileOf(slot), reason);
  }
  if (!WriteFileIfChanged(database_ + "lists.vtx", FormatIndex(), &reason))
    note(database_ + "lists.vtx", reason);
  const std::string favs = database_ + "favs.vtx";
  if ((!favourites.empty() || Exists(favs)) &&
      !WriteFileIfChanged(favs, FormatFavourites(), &reason))
    note(favs, reason);
  return allWritten;
}

}  // namespace vantaro
