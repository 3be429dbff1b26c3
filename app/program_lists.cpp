#include "app/program_lists.h"

#include <wx/app.h>
#include <wx/timer.h>

#include <clocale>
#include <memory>

#include "app/list_wiring.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "library/list_set.h"

namespace vantaro {
namespace {

// Rows the lists' workers finished reach the lists this often (GUI thread).
constexpr int kDrainIntervalMs = 100;

class ListDrainTimer : public wxTimer {
 public:
  void Notify() override {
    if (CZKListSet* set = TheListSet()) set->DrainAll();
  }
};

std::unique_ptr<CZKListSet> listSet;
std::unique_ptr<ListDrainTimer> drainTimer;

}  // namespace

CZKListSet* TheListSet() {
  return listSet.get();
}

void LoadProgramLists() {
  // Lists sort by the user's collation; only collation is taken from the
  // environment, so numbers keep their "." everywhere.
  std::setlocale(LC_COLLATE, "");
  const DataFolders& folders = TheProgram().folders;
  listSet = std::make_unique<CZKListSet>(folders.database, folders.playlists);
  listSet->Load();
  DebugLog("lists: %d lists, %zu favourite folders loaded", listSet->Count(),
           listSet->favourites.size());
  const std::string message = listSet->TakeMessage();
  if (!message.empty())
    wxTheApp->CallAfter([message] { ShowMessage(wxString::FromUTF8(message)); });
  WireListViews(*listSet);
  drainTimer = std::make_unique<ListDrainTimer>();
  drainTimer->Start(kDrainIntervalMs);
}

void SaveProgramLists() {
  if (!listSet) return;
  drainTimer.reset();
  UnwireListViews();
  std::string error;
  const bool saved = listSet->Save(TheSettings().histry != 0, &error);
  DebugLog("lists: %d lists %s at close", listSet->Count(), saved ? "saved" : "not all saved");
  listSet.reset();
  if (!saved) ShowMessage(wxString::FromUTF8("The lists could not all be saved: " + error));
}

}  // namespace vantaro
