// The column menu of the track list: the two blocked switches of the shown
// list, then one checkable entry per column. Columns 0 to 2 (number, title,
// artist) always show: their entries are disabled and a choice of one that
// arrives anyway (a script, a test) changes nothing.
#include <wx/menu.h>

#include <string_view>

#include "control/language.h"
#include "control/text_ids.h"
#include "library/abstract_list.h"
#include "skin/playlist.h"

namespace vantaro {
namespace {

// A language file without the text still gives an entry a label (the
// toolkit refuses an empty one): the column's key in the list files.
wxString Label(const std::string& text, std::string_view fallback) {
  return wxString::FromUTF8(text.empty() ? std::string(fallback) : text);
}

}  // namespace

wxMenu* CZKPlaylist::BuildColumnMenu() const {
  auto* menu = new wxMenu;
  const PlaylistHooks::Blocked blocked = BlockedFlags();
  menu->AppendCheckItem(kMenuSortBlocked, wxString::FromUTF8(Text(txt_menu_lockcolumnsorting)));
  menu->AppendCheckItem(kMenuResizeBlocked, wxString::FromUTF8(Text(txt_menu_lockcolumnsize)));
  menu->Check(kMenuSortBlocked, blocked.sort && *blocked.sort);
  menu->Check(kMenuResizeBlocked, blocked.resize && *blocked.resize);
  menu->Enable(kMenuSortBlocked, blocked.sort != nullptr);
  menu->Enable(kMenuResizeBlocked, blocked.resize != nullptr);
  if (!list_) return menu;
  menu->AppendSeparator();
  for (int c = 0; c < kListColumns; ++c) {
    const ListColumnInfo& column = list_->columns[c];
    if (column.hiddenFromMenu) continue;
    const std::string title = column.title.empty() ? Text(txt_tag_no + c) : column.title;
    menu->AppendCheckItem(kMenuFirstColumn + c, Label(title, kColumnKeys[c]));
    menu->Check(kMenuFirstColumn + c, column.visible != 0);
    menu->Enable(kMenuFirstColumn + c, column.hideable != 0);
  }
  return menu;
}

void CZKPlaylist::ApplyMenuChoice(int id) {
  const PlaylistHooks::Blocked blocked = BlockedFlags();
  if (id == kMenuSortBlocked && blocked.sort) *blocked.sort = !*blocked.sort;
  if (id == kMenuResizeBlocked && blocked.resize) *blocked.resize = !*blocked.resize;
  const int column = id - kMenuFirstColumn;
  if (list_ && column >= 0 && column < kListColumns) {
    ListColumnInfo& info = list_->columns[column];
    if (info.hideable && !info.hiddenFromMenu) info.visible = !info.visible;
  }
  RefreshList();
}

}  // namespace vantaro
