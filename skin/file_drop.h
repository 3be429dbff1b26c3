#pragma once
// Files dropped on a deck: the windows that take them (the deck's drop
// zone, its waveform) accept `text/uri-list` over XDND, decode the local
// file names (uri_list.h) and hand them to the one handler the program
// sets. The handler runs after the drop has finished, from the event loop:
// it may ask a question in a modal box without holding the file manager's
// drag open.
//
// Threads: GUI thread only.

#include <functional>
#include <string>
#include <vector>

class wxWindow;

namespace vantaro {

// `deck` 0 or 1; `files` UTF-8 local paths in the order dropped, never empty.
using FileDropHandler = void (*)(int deck, const std::vector<std::string>& files);

// Null drops the files (before the program is wired, in tests).
void SetFileDropHandler(FileDropHandler handler);
// Delivers `files` for `deck` to the handler now (the drop target's path
// after the event loop turned; tests call it directly).
void DeliverDroppedFiles(int deck, const std::vector<std::string>& files);
// Makes `window` take dropped files for `deck`; the window owns the target.
void AcceptFileDrops(wxWindow* window, int deck);

// The general form: `deliver` gets the local files of each drop on
// `window`, from the event loop once the drag has finished; `where` names
// the window in the log line of a drop that holds none.
using DroppedFilesHandler = std::function<void(const std::vector<std::string>& files)>;
void AcceptUriListDrops(wxWindow* window, std::string where, DroppedFilesHandler deliver);

}  // namespace vantaro
