// What the browser does beyond drawing: showing a node's list, the node
// menu and its questions, drops of rows and files, and the screen tick's
// work.
#include <wx/app.h>
#include <wx/dataobj.h>
#include <wx/dnd.h>
#include <wx/menu.h>

#include <chrono>

#include "base/debug_log.h"
#include "control/language.h"
#include "control/text_ids.h"
#include "library/browser_tree.h"
#include "skin/browser.h"
#include "skin/message_helpers.h"
#include "skin/uri_list.h"

namespace vantaro {
namespace {

// The probes of one tick stay well inside a 38 ms tick (GUI thread).
constexpr std::chrono::microseconds kProbeBudget(3000);
// The mount table is read again every this many ticks (about 3 s).
constexpr int kDiskTicks = 80;

bool IsListKind(int kind) {
  return kind == kNodeFixedList || kind == kNodeDeckAddsList || kind == kNodeUserList;
}

bool IsFolder(int kind) {
  return kind == kNodeDisk || kind == kNodeRemovable || kind == kNodeLeafFolder ||
         kind == kNodeFolder || kind == kNodeFolderUnprobed;
}

wxString Tr(int id, const char* fallback) {
  const std::string& text = Text(id);
  return wxString::FromUTF8(text.empty() ? fallback : text);
}

// The main track list, as the tree sees it.
class MainListDisplay : public ListDisplay {
 public:
  CZKAbstractList* Shown() const override {
    ListView* view = FindListView(ListViewRole::kMain);
    return view ? view->ShownList() : nullptr;
  }
  void Show(CZKAbstractList* list) override {
    if (ListView* view = FindListView(ListViewRole::kMain)) view->ShowList(list);
  }
};

// Files from the desktop file manager, taken as raw text/uri-list so the
// decoding is the program's own (skin/uri_list.h).
class BrowserFileDropTarget : public wxDropTarget {
 public:
  explicit BrowserFileDropTarget(CZKBrowser* browser)
      : wxDropTarget(new wxCustomDataObject(wxDataFormat("text/uri-list"))), browser_(browser) {}

  wxDragResult OnDragOver(wxCoord x, wxCoord y, wxDragResult) override {
    const BrowserNode* node =
        browser_->Tree() ? browser_->Tree()->Node(browser_->NodeAt({x, y})) : nullptr;
    return node && IsListKind(node->kind) ? wxDragCopy : wxDragNone;
  }

  wxDragResult OnData(wxCoord x, wxCoord y, wxDragResult result) override {
    if (!GetData()) return wxDragNone;
    auto* data = static_cast<wxCustomDataObject*>(GetDataObject());
    const std::string text(static_cast<const char*>(data->GetData()), data->GetSize());
    std::vector<std::string> files = LocalFilesOfUriList(text);
    if (files.empty()) return wxDragNone;
    // After the drop has finished: adding may ask nothing, but the file
    // manager's drag must not wait on the list.
    wxWindow* window = browser_;
    wxTheApp->CallAfter([window, files, x, y] {
      if (auto* browser = dynamic_cast<CZKBrowser*>(window)) browser->DropFiles(files, {x, y});
    });
    return result == wxDragMove ? wxDragCopy : result;
  }

 private:
  CZKBrowser* browser_;
};

}  // namespace

void AcceptBrowserFileDrops(CZKBrowser* browser) {
  browser->SetDropTarget(new BrowserFileDropTarget(browser));
}

bool CZKBrowser::SelectNode(int id) {
  if (!tree_ || tree_->IndexOfShown(id) < 0) return false;
  selected_ = id;
  EnsureVisible(tree_->IndexOfShown(id));
  MainListDisplay display;
  tree_->ShowList(id, display);
  Redraw();
  return true;
}

void CZKBrowser::Tick() {
  if (!tree_) return;
  bool changed = tree_->CollectReads(false);
  if (tree_->ProbesWaiting()) {
    tree_->ProbeSubfolders(kProbeBudget);
    changed = true;
  }
  if (++ticks_ % kDiskTicks == 0 && tree_->RefreshDisks()) changed = true;
  tree_->FolderList().DrainFinishedRows();
  if (changed) Changed();
}

std::vector<int> CZKBrowser::CommandsFor(int id) const {
  std::vector<int> commands = {kBrowserNewList};
  const BrowserNode* node = tree_ ? tree_->Node(id) : nullptr;
  if (!node) return commands;
  if (node->kind == kNodeUserList) {
    commands.push_back(kBrowserRenameList);
    commands.push_back(kBrowserDeleteList);
  }
  if (node->favourite >= 0)
    commands.push_back(kBrowserRemoveFavourite);
  else if (IsFolder(node->kind))
    commands.push_back(kBrowserAddFavourite);
  if (IsListKind(node->kind) || node->kind == kNodeGenre || IsFolder(node->kind))
    commands.push_back(kBrowserAnalyze);
  return commands;
}

void CZKBrowser::ShowMenu(int id, wxPoint at) {
  wxMenu menu;
  for (int command : CommandsFor(id)) {
    switch (command) {
      case kBrowserNewList:
        menu.Append(command, Tr(txt_menu_newplaylist, "New list"));
        break;
      case kBrowserRenameList:
        menu.Append(command, Tr(txt_menu_renameplaylist, "Rename list"));
        break;
      case kBrowserDeleteList:
        menu.Append(command, Tr(txt_menu_deleteplaylist, "Delete list"));
        break;
      case kBrowserAddFavourite:
        menu.Append(command, Tr(txt_menu_addtofavorites, "Add to favourites"));
        break;
      case kBrowserRemoveFavourite:
        menu.Append(command, Tr(txt_menu_removefromfavorites, "Remove from favourites"));
        break;
      case kBrowserAnalyze:
        menu.Append(command, Tr(txt_menu_analyze, "Analyze"));
        break;
    }
  }
  const int chosen = GetPopupMenuSelectionFromUser(menu, at);
  if (chosen != wxID_NONE) RunCommand(chosen, id);
}

bool CZKBrowser::RunCommand(int command, int id) {
  if (!tree_) return false;
  const std::vector<int> allowed = CommandsFor(id);
  if (std::find(allowed.begin(), allowed.end(), command) == allowed.end()) return false;
  const BrowserNode* node = tree_->Node(id);
  switch (command) {
    case kBrowserNewList: {
      wxString name = wxString::FromUTF8(tree_->Labels().newList);
      if (!TextEntry(Tr(txt_enter_new_playlist_name, "Name of the new list:"),
                     Tr(txt_list_name, "List name"), &name))
        return false;
      const int made = tree_->AddList(name.ToStdString(wxConvUTF8));
      if (made < 0) {
        ShowMessage(wxString::FromUTF8(tree_->TakeMessage()), "");
        return false;
      }
      if (wireList) wireList(*tree_->ListOf(made));
      Changed();
      return SelectNode(made);
    }
    case kBrowserRenameList: {
      wxString name = wxString::FromUTF8(node->name);
      if (!TextEntry(Tr(txt_list_name, "List name"), Tr(txt_edit_list_name, "Rename the list"),
                     &name))
        return false;
      const bool renamed = tree_->RenameList(id, name.ToStdString(wxConvUTF8));
      if (!renamed)
        ShowMessage("That name cannot be used: it is empty, has a \"/\" or is taken.", "");
      Redraw();
      return renamed;
    }
    case kBrowserDeleteList: {
      if (!ConfirmMessage(Tr(txt_confirm_delete_list, "Delete this list?"), "")) return false;
      // No view may go on showing a list that is about to go.
      CZKAbstractList* list = tree_->ListOf(id);
      for (ListViewRole role : {ListViewRole::kMain, ListViewRole::kAutomix})
        if (ListView* view = FindListView(role); view && view->ShownList() == list)
          view->ShowList(nullptr);
      const bool deleted = tree_->DeleteList(id);
      Changed();
      return deleted;
    }
    case kBrowserAddFavourite: {
      const bool added = tree_->AddFavourite(node->name, node->path, 0);
      const std::string message = tree_->TakeMessage();
      if (!message.empty()) ShowMessage(wxString::FromUTF8(message), "");
      Changed();
      return added;
    }
    case kBrowserRemoveFavourite: {
      const bool removed = tree_->RemoveFavourite(id);
      Changed();
      return removed;
    }
    case kBrowserAnalyze: {
      CZKAbstractList* list = tree_->ListOf(id);
      if (!list || !analyze) return false;
      if (list == &tree_->FolderList() && tree_->IndexOfShown(id) >= 0 && selected_ != id)
        SelectNode(id);  // the folder's files are what is analysed
      list->IterateBegin(false);
      int queued = 0;
      while (const TZKListElement* row = list->IterateNext()) {
        analyze(row->column[kColPath]);
        ++queued;
      }
      DebugLog("browser: %d files of \"%s\" queued for analysis", queued, node->name.c_str());
      return queued > 0;
    }
    default:
      return false;
  }
}

CZKAbstractList* CZKBrowser::DropTargetList(wxPoint at) {
  const int id = NodeAt(at);
  const BrowserNode* node = tree_ ? tree_->Node(id) : nullptr;
  return node && IsListKind(node->kind) ? tree_->ListOf(id) : nullptr;
}

bool CZKBrowser::DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint at) {
  CZKAbstractList* target = DropTargetList(at);
  if (!target || target == &source) return false;
  // Copies first: inserting may move the source's rows when both are one.
  std::vector<TZKListElement> copies;
  for (int index : rows)
    if (const TZKListElement* row = source.GetRow(index)) copies.push_back(*row);
  for (TZKListElement& row : copies) {
    row.selected = false;
    target->InsertRow(row, -1);
  }
  return !copies.empty();
}

bool CZKBrowser::DropFiles(const std::vector<std::string>& files, wxPoint at) {
  CZKAbstractList* target = DropTargetList(at);
  if (!target) return false;
  for (const std::string& path : files) {
    FolderIdentity folder;
    if (IdentifyFolder(path, &folder))
      target->AddFolder(path, true, true);
    else
      target->AddFile(path, true);
  }
  return true;
}

}  // namespace vantaro
