#include "skin/playlist_search.h"

#include <wx/textctrl.h>

#include "control/language.h"
#include "control/text_ids.h"
#include "library/abstract_list.h"
#include "skin/edit_text.h"
#include "skin/list_views.h"
#include "skin/playlist.h"

namespace vantaro {
namespace {

// The box that drives the search; one per skin.
CZKEditText* searchBox = nullptr;

void OnSearchText(int, int, int) {
  ListView* view = FindListView(ListViewRole::kMain);
  CZKAbstractList* list = view ? view->ShownList() : nullptr;
  if (!searchBox || !list) return;
  const std::string text = searchBox->GetValue().ToStdString(wxConvUTF8);
  if (text.empty())
    list->StopSearch();
  else
    list->StartSearch(text);
  view->RefreshList();
  // Back from a search, the track the cursor was on comes into sight.
  if (auto* grid = dynamic_cast<CZKPlaylist*>(view); grid && text.empty()) {
    grid->ScrollToRow(list->MainCursor());
    grid->Redraw();
  }
}

}  // namespace

void ConnectSearchBox(CZKEditText* box) {
  if (!box) return;
  searchBox = box;
  // An empty box says what it is for.
  box->Entry()->SetHint(wxString::FromUTF8(Text(txt_search_song_msg)));
  ControlCallbacks callbacks;
  callbacks.onLeftDown = &OnSearchText;
  box->SetCallbacks(callbacks);
}

}  // namespace vantaro
