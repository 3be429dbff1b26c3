#include "app/list_wiring.h"

#include <sys/stat.h>

#include <array>
#include <string>

#include "app/program.h"
#include "base/debug_log.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "engine/mixer.h"
#include "engine/sound_source.h"
#include "library/list_set.h"
#include "skin/edit_text.h"
#include "skin/file_drop.h"
#include "skin/list_views.h"
#include "skin/main_window.h"
#include "skin/playlist.h"
#include "skin/playlist_search.h"

namespace vantaro {
namespace {

CZKListSet* wiredSet = nullptr;

// The crossfader's middle: below it the mix leans to deck A.
constexpr int kCrossfaderMiddle = 64;

PlaylistHooks::Blocked BlockedOf(const CZKAbstractList* list) {
  if (!wiredSet) return {};
  for (int i = 0; i < wiredSet->Count(); ++i) {
    ListSlot& slot = wiredSet->Slot(i);
    if (slot.list.get() == list) return {&slot.columnsortblocked, &slot.columnresizeblocked};
  }
  return {};
}

std::array<std::string, 2> LoadedKeys() {
  std::array<std::string, 2> keys;
  for (int deck = 0; deck < 2; ++deck)
    if (CSoundSource* source = TheProgram().decks[deck].get(); source && source->IsSongLoaded())
      keys[deck] = source->SongRecord().name;
  return keys;
}

void LoadRow(int deck, const std::string& path) {
  Program& program = TheProgram();
  if (deck < 0) {
    CMixer* mixer = program.mixerRig.mixer.get();
    CSoundSource* a = program.decks[0].get();
    CSoundSource* b = program.decks[1].get();
    deck = IdleDeckForLoad(mixer ? mixer->GetCrossfader() : kCrossfaderMiddle, a && a->IsPlaying(),
                           b && b->IsPlaying(), a && a->IsSongLoaded(), b && b->IsSongLoaded());
  }
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) {
    // The row stays; the deck keeps what it holds.
    DebugLog("track list: %s is gone; deck %c left as it is", path.c_str(), 'A' + deck);
    return;
  }
  DeliverDroppedFiles(deck, {path});
}

CZKEditText* SearchBox() {
  static const int kSearch = FindControlAction("et_search");
  return dynamic_cast<CZKEditText*>(TheControlTable().Find(kSearch, -1));
}

CZKAbstractList* FirstShownList(CZKListSet& lists) {
  for (int i = 0; i < lists.Count(); ++i)
    if (lists.Slot(i).type == kListUser) return lists.Slot(i).list.get();
  return &lists.Fixed(kListDeckAdds);
}

}  // namespace

int IdleDeckForLoad(int crossfader, bool playingA, bool playingB, bool loadedA, bool loadedB) {
  if (!playingA && !playingB) return loadedA && !loadedB ? 1 : 0;
  return crossfader < kCrossfaderMiddle ? 1 : 0;
}

void WireProgramList(CZKAbstractList& list) {
  CZKAbstractList* self = &list;
  list.SetChangeCallback([self](int, int, int) { RefreshListViewsOf(self); });
}

void WireListViews(CZKListSet& lists) {
  wiredSet = &lists;
  for (int i = 0; i < lists.Count(); ++i) WireProgramList(*lists.Slot(i).list);
  PlaylistHooks hooks;
  hooks.blocked = &BlockedOf;
  hooks.loadRow = &LoadRow;
  hooks.loadedKeys = &LoadedKeys;
  SetPlaylistHooks(hooks);
  ListView* main = FindListView(ListViewRole::kMain);
  ListView* automix = FindListView(ListViewRole::kAutomix);
  if (main) main->ShowList(FirstShownList(lists));
  if (automix) automix->ShowList(&lists.Fixed(kListAutomix));
  ConnectSearchBox(SearchBox());
  // The wheel scrolls the list under the pointer, else the main list.
  if (ZKMainWindow* window = ZKMainWindow::Instance())
    window->SetWheelLists(dynamic_cast<ZKCustomControl*>(main),
                          dynamic_cast<ZKCustomControl*>(automix), nullptr);
}

void UnwireListViews() {
  for (ListViewRole role : {ListViewRole::kMain, ListViewRole::kAutomix})
    if (ListView* view = FindListView(role)) view->ShowList(nullptr);
  SetPlaylistHooks({});
  wiredSet = nullptr;
}

}  // namespace vantaro
