// What reaches the track list from outside and what it hands on: files
// dropped from the desktop's file manager (XDND, text/uri-list) join the
// shown list; rows dragged out are offered to the RowDropTarget under the
// pointer.
#include <wx/app.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include "library/abstract_list.h"
#include "skin/file_drop.h"
#include "skin/playlist.h"

namespace vantaro {
void AcceptListFileDrops(CZKPlaylist* list) {
  // Only if the list still stands once the file manager's drag has finished.
  wxWeakRef<CZKPlaylist> weak(list);
  AcceptUriListDrops(list, "the track list", [weak](const std::vector<std::string>& files) {
    if (weak) weak->AddDroppedFiles(files);
  });
}

bool DeliverRowsToDeck(int deck, CZKAbstractList& source, const std::vector<int>& rows) {
  if (deck < 0 || deck > 1) return false;
  std::vector<std::string> files;
  for (int index : rows)
    if (const TZKListElement* row = source.GetRow(index); row && !row->column[kColPath].empty())
      files.push_back(row->column[kColPath]);
  if (files.empty()) return false;
  wxTheApp->CallAfter([deck, files] { DeliverDroppedFiles(deck, files); });
  return true;
}

RowDropTarget* RowDropTargetAt(wxPoint screenPoint) {
  for (wxWindow* window = wxFindWindowAtPoint(screenPoint); window; window = window->GetParent())
    if (auto* target = dynamic_cast<RowDropTarget*>(window)) return target;
  return nullptr;
}

}  // namespace vantaro
