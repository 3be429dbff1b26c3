// What reaches the track list from outside and what it hands on: files
// dropped from the desktop's file manager (XDND, text/uri-list) join the
// shown list; rows dragged out are offered to the RowDropTarget under the
// pointer.
#include <wx/app.h>
#include <wx/dataobj.h>
#include <wx/dnd.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include "base/debug_log.h"
#include "library/abstract_list.h"
#include "skin/file_drop.h"
#include "skin/playlist.h"
#include "skin/uri_list.h"

namespace vantaro {
namespace {

class ListFileDropTarget : public wxDropTarget {
 public:
  explicit ListFileDropTarget(CZKPlaylist* list)
      : wxDropTarget(new wxCustomDataObject(wxDataFormat("text/uri-list"))), list_(list) {}

  wxDragResult OnDragOver(wxCoord, wxCoord, wxDragResult) override { return wxDragCopy; }

  wxDragResult OnData(wxCoord, wxCoord, wxDragResult result) override {
    if (!GetData()) return wxDragNone;
    auto* data = static_cast<wxCustomDataObject*>(GetDataObject());
    const std::string text(static_cast<const char*>(data->GetData()), data->GetSize());
    std::vector<std::string> files = LocalFilesOfUriList(text);
    if (files.empty()) {
      DebugLog("drop on the track list: no local file in the drop");
      return wxDragNone;
    }
    // After the file manager's drag has finished, and only if the list
    // still stands then.
    wxWeakRef<CZKPlaylist> list(list_);
    wxTheApp->CallAfter([list, files] {
      if (list) list->AddDroppedFiles(files);
    });
    return result == wxDragMove ? wxDragCopy : result;
  }

 private:
  CZKPlaylist* list_;
};

}  // namespace

void AcceptListFileDrops(CZKPlaylist* list) {
  if (list) list->SetDropTarget(new ListFileDropTarget(list));
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
