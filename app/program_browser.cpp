#include "app/program_browser.h"

#include <wx/utils.h>

#include <memory>

#include "analysis/analysis_worker.h"
#include "app/list_wiring.h"
#include "app/program.h"
#include "app/program_lists.h"
#include "base/debug_log.h"
#include "control/control_table.h"
#include "control/language.h"
#include "control/text_ids.h"
#include "library/browser_tree.h"
#include "library/list_set.h"
#include "skin/browser.h"
#include "skin/list_views.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

constexpr const char* kMountTable = "/proc/self/mounts";

std::unique_ptr<BrowserTree> tree;

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

}  // namespace

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
  DebugLog("browser: tree built, %zu rows shown", tree->Shown().size());
  CZKBrowser* control = TheBrowserControl();
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
