#pragma once
// The track list views in the program: every list repaints the views that
// show it, the views start on the lists a DJ expects, the skin's search box
// filters the main view, and rows load on the decks through the program's
// load procedure.
//
// Threads: GUI thread.

namespace vantaro {

class CZKAbstractList;
class CZKListSet;

// The list's change callback repaints the views that show it. Its
// first-item callback is left alone (auto-mix owns it on its list). The
// browser calls this for every list it adds later.
void WireProgramList(CZKAbstractList& list);

// After the lists are loaded: wires every list, shows the first user list
// (else the deck-adds list) in the main view and the auto-mix list in the
// second, and connects the search box, the wheel and the deck loads.
void WireListViews(CZKListSet& lists);
// Before the lists go: the views show none and nothing points at them.
void UnwireListViews();

// The deck a double-click or Enter loads: when both decks are stopped, A
// unless A holds a track and B does not; otherwise the deck the crossfader
// (0..127) has turned away from: B below 64, else A.
int IdleDeckForLoad(int crossfader, bool playingA, bool playingB, bool loadedA, bool loadedB);

}  // namespace vantaro
