#include "skin/file_drop.h"

#include <wx/app.h>
#include <wx/dataobj.h>
#include <wx/dnd.h>
#include <wx/window.h>

#include <utility>

#include "base/debug_log.h"
#include "skin/uri_list.h"

namespace vantaro {
namespace {

FileDropHandler theHandler = nullptr;

// Takes the raw `text/uri-list` bytes, not wxFileDataObject's names: the
// decoding of escapes and of non-ASCII names is then ours and tested.
class UriListDropTarget : public wxDropTarget {
 public:
  UriListDropTarget(std::string where, DroppedFilesHandler deliver)
      : wxDropTarget(new wxCustomDataObject(wxDataFormat("text/uri-list"))),
        where_(std::move(where)),
        deliver_(std::move(deliver)) {}

  wxDragResult OnDragOver(wxCoord, wxCoord, wxDragResult) override { return wxDragCopy; }

  wxDragResult OnData(wxCoord, wxCoord, wxDragResult result) override {
    if (!GetData()) return wxDragNone;
    auto* data = static_cast<wxCustomDataObject*>(GetDataObject());
    const std::string text(static_cast<const char*>(data->GetData()), data->GetSize());
    std::vector<std::string> files = LocalFilesOfUriList(text);
    if (files.empty()) {
      DebugLog("drop on %s: no local file in the drop", where_.c_str());
      return wxDragNone;
    }
    wxTheApp->CallAfter([deliver = deliver_, files] { deliver(files); });
    return result == wxDragMove ? wxDragCopy : result;
  }

 private:
  const std::string where_;
  const DroppedFilesHandler deliver_;
};

}  // namespace

void SetFileDropHandler(FileDropHandler handler) {
  theHandler = handler;
}

void DeliverDroppedFiles(int deck, const std::vector<std::string>& files) {
  if (files.empty() || deck < 0 || deck > 1) return;
  if (!theHandler) {
    DebugLog("drop on deck %c: nothing takes files yet", 'A' + deck);
    return;
  }
  theHandler(deck, files);
}

void AcceptUriListDrops(wxWindow* window, std::string where, DroppedFilesHandler deliver) {
  if (window) window->SetDropTarget(new UriListDropTarget(std::move(where), std::move(deliver)));
}

void AcceptFileDrops(wxWindow* window, int deck) {
  AcceptUriListDrops(
      window, std::string("deck ") + char('A' + deck),
      [deck](const std::vector<std::string>& files) { DeliverDroppedFiles(deck, files); });
}

}  // namespace vantaro
