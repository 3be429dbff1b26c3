#include "app/program_browser.h"

#include <wx/utils.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "analysis/analysis_worker.h"
#include "app/list_wiring.h"
#include "app/program.h"
#include "app/program_lists.h"
#include "base/debug_log.h"
#include "control/control_table.h"
#include "control/language.h"
#include "control/text_ids.h"
#include "engine/sound_source.h"
#include "library/browser_tree.h"
#include "library/list_row.h"
#include "library/list_set.h"
#include "skin/browser.h"
#include "skin/list_views.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

constexpr const char* kMountTable = "/proc/self/mounts";

std::unique_ptr<BrowserTree> tree;
// Per deck, the path of the last load while it has not been played; empty
// once it is in the history. GUI thread.
std::string unplayedLoad[2];

CZKBrowser* TheBrowserControl() {
  return dynamic_cast<CZKBrowser*>(FindControl("browser", -1));
}

void Label(std::string& label, int id) {
  if (!Text(id).empty()) label = Text(id);
}

BrowserLabels LanguageLabels() {
  BrowserLabels labels;
  Label(labels.computer, txt_globalbrowser);
  Label(labels.home, txt_homefolder);
  Label(labels.favourites, txt_favorites);
  Label(labels.database, txt_database);
  Label(labels.history, txt_history);
  Label(labels.automix, txt_automixplaylist);
  Label(labels.lists, txt_lists);
  Label(labels.newList, txt_newplaylist_default_name);
  return labels;
}

// A row like the track list's for `path`; a file whose tags cannot be read
// still goes in by its name.
TZKListElement HistoryRow(const std::string& path) {
  TZKListElement row;
  CZKTagReader reader;
  if (!BuildRow(path, reader, row)) {
    row = TZKListElement{};
    row.column[kColTitle] = std::filesystem::path(path).stem().string();
  }
  row.column[kColPath] = path;
  return row;
}

void AddToProgramHistory(const std::string& path) {
  if (tree) {
    tree->AddToHistory(HistoryRow(path));
  } else if (CZKListSet* lists = TheListSet()) {
    lists->Fixed(kListHistory).InsertRow(HistoryRow(path), -1);
  } else {
    return;  // before the lists load or after close: nowhere to keep it
  }
  DebugLog("history: %s played, added", path.c_str());
}

}  // namespace

void NoteDeckLoad(int deck, const std::string& path) {
  if (deck == 0 || deck == 1) unplayedLoad[deck] = path;
}

void AddPlayedTracksToHistory() {
  for (int deck = 0; deck < 2; ++deck) {
    const CSoundSource* source = TheProgram().decks[deck].get();
    // While a load is pending the deck may still play the previous track.
    if (unplayedLoad[deck].empty() || !source || source->IsLoadPending() ||
        !source->IsSongLoaded() || !source->IsPlaying())
      continue;
    AddToProgramHistory(std::exchange(unplayedLoad[deck], {}));
  }
}

BrowserTree* TheBrowserTree() {
  return tree.get();
}

void BuildProgramBrowser() {
  CZKListSet* lists = TheListSet();
  if (!lists) return;
  const std::string home = wxGetHomeDir().ToStdString(wxConvUTF8);
  tree = std::make_unique<BrowserTree>(*lists, LanguageLabels(),
                                       [home] { return ReadDisks(kMountTable, home); });
  tree->SetBackgroundReads(true);
  tree->BuildTree();
  WireProgramList(tree->FolderList());
  CZKBrowser* control = TheBrowserControl();
  DebugLog("browser: tree built, %zu rows shown, %d px a row", tree->Shown().size(),
           control ? control->RowHeight() : 0);
  if (!control) return;
  control->wireList = WireProgramList;
  // The wheel over the tree scrolls the tree, not the main list.
  if (ZKMainWindow* window = ZKMainWindow::Instance())
    window->SetWheelLists(dynamic_cast<ZKCustomControl*>(FindListView(ListViewRole::kMain)),
                          dynamic_cast<ZKCustomControl*>(FindListView(ListViewRole::kAutomix)),
                          control);
  control->analyze = [](const std::string& path) {
    if (TheProgram().analysisWorker) TheProgram().analysisWorker->QueueForAnalysis(path);
  };
  control->SetTree(tree.get());
}

void RunBrowserTick() {
  if (CZKBrowser* control = TheBrowserControl(); control && control->Tree()) control->Tick();
}

void CloseProgramBrowser() {
  if (!tree) return;
  if (CZKBrowser* control = TheBrowserControl()) control->SetTree(nullptr);
  // The folder list dies with the tree: no view may keep showing it.
  for (ListViewRole role : {ListViewRole::kMain, ListViewRole::kAutomix})
    if (ListView* view = FindListView(role); view && view->ShownList() == &tree->FolderList())
      view->ShowList(nullptr);
  tree.reset();
}

}  // namespace vantaro
