#pragma once
// The program's lists (library/list_set.h): loaded once the skin is up
// (start-up step 18), drained on a GUI timer while the program runs, and
// written at close before config.xml.
//
// Threads: GUI thread.

namespace vantaro {

class CZKListSet;

// Reads lists.vtx, favs.vtx and every list file; a broken file is moved
// aside and named in a message shown once the window is up.
void LoadProgramLists();

// Writes every list, lists.vtx and favs.vtx; the history is kept only when
// the "Remember History" setting is on. Never blocks: a failure is logged
// and shown through the close-aware message path.
void SaveProgramLists();

// Null before LoadProgramLists and after SaveProgramLists.
CZKListSet* TheListSet();

}  // namespace vantaro
