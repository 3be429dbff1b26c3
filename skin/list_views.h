#pragma once
// The seams between the track list controls, the browser, the search box,
// the decks and auto-mix. A skin places up to two track list controls: the
// main one (action `playlist`), whose list the browser chooses, and a second
// one (`kv_playlist`) that always shows the auto-mix list. Each registers
// itself here when the skin creates it and leaves when destroyed, so the
// others find it without knowing its class.
//
// Rows dragged out of a track list are let go on whatever window is under
// the pointer; a window that takes rows (a deck's drop zone or waveform, a
// list node of the browser) implements RowDropTarget.
//
// Threads: GUI thread only.

#include <vector>

#include <wx/gdicmn.h>

namespace vantaro {

class CZKAbstractList;

class ListView {
 public:
  virtual ~ListView() = default;
  // Shows `list` (null shows an empty grid). The view never owns the list;
  // the list set does, and outlives every view.
  virtual void ShowList(CZKAbstractList* list) = 0;
  virtual CZKAbstractList* ShownList() const = 0;
  // Rows, cursors or scroll values of the shown list changed: repaint soon.
  virtual void RefreshList() = 0;
};

enum class ListViewRole { kMain = 0, kAutomix = 1 };

// `view` null clears the role. A second view of one role replaces the first.
void RegisterListView(ListViewRole role, ListView* view);
// Null when the skin has no such control.
ListView* FindListView(ListViewRole role);
// Repaints every registered view that shows `list`. Every list's change
// callback ends here, so a list shown in both views repaints both.
void RefreshListViewsOf(const CZKAbstractList* list);

class RowDropTarget {
 public:
  virtual ~RowDropTarget() = default;
  // `rows` are indexes into `source`'s shown rows, in list order, never
  // empty; `at` is the point let go, in this window's client pixels. True
  // when the rows were taken.
  virtual bool DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint at) = 0;
};

}  // namespace vantaro
