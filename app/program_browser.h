#pragma once
// The browser's tree (library/browser_tree.h) in the program: built once the
// skin and the lists are loaded, given to the skin's browser control, ticked
// by the screen tick, and let go at close before the lists are written.
//
// Threads: GUI thread.

#include <string>

namespace vantaro {

class BrowserTree;

// Builds the tree over the program's list set and hands it to the browser
// control (when the skin has one). Needs LoadProgramLists first.
void BuildProgramBrowser();

// The screen tick's share: folder probes, the mount table every few
// seconds, the folder list's finished rows.
void RunBrowserTick();

// Takes the tree from the control and the views, then frees it. Before
// SaveProgramLists: the tree refers to the list set.
void CloseProgramBrowser();

// The history: a track goes into it the first time its deck plays it after
// the load, once per load (a track stopped and started again is one play;
// the same file loaded again is a new one). Counting from the start of play,
// not from the unload, keeps the history in the order the audience heard
// the tracks and keeps the last track of a set, which is never unloaded.
//
// A deck was asked to load `path` (the load procedure calls this).
void NoteDeckLoad(int deck, const std::string& path);
// Screen tick: a deck playing the track of its last load, not yet in the
// history, adds it (through the tree, else straight into the list set).
void AddPlayedTracksToHistory();

// Null before BuildProgramBrowser and after CloseProgramBrowser.
BrowserTree* TheBrowserTree();

}  // namespace vantaro
