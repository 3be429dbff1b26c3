#pragma once
// The browser's tree (library/browser_tree.h) in the program: built once the
// skin and the lists are loaded, given to the skin's browser control, ticked
// by the screen tick, and let go at close before the lists are written.
//
// Threads: GUI thread.

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

// Null before BuildProgramBrowser and after CloseProgramBrowser.
BrowserTree* TheBrowserTree();

}  // namespace vantaro
