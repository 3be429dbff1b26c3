#pragma once
// ControlTable: the living built-in controls, by action id and deck. Three
// banks of kControlTableRows slots, for deck -1 (global rows), 0 and 1. A
// global row fills bank 0 only, a per-deck row banks 1 and 2.
//
// The controls belong to their windows; the table only points at them. Every
// user of a slot tests it for null: a control the program could not build,
// or a kind that does not exist yet, leaves its slot empty.
//
// Threads: GUI thread only.

#include "control/control_action.h"
#include "control/control_event.h"

namespace vantaro {

class ControlTable {
 public:
  static constexpr int kBanks = 3;

  // Null for an id out of range or an empty slot.
  ControlTarget* Find(int id, int deck) const;
  // Stores `control` at (id, deck); false (and nothing stored) when the pair
  // is out of range.
  bool Set(int id, int deck, ControlTarget* control);
  void Clear();

  // Calls `visit` for every filled slot, in bank order, then id order.
  template <typename Visit>
  void ForEach(Visit visit) const {
    for (int bank = 0; bank < kBanks; ++bank)
      for (int id = 0; id < kControlTableRows; ++id)
        if (slots_[bank][id]) visit(slots_[bank][id]);
  }

 private:
  ControlTarget* slots_[kBanks][kControlTableRows] = {};
};

// The program's one table.
ControlTable& TheControlTable();

// Finds a control by name and deck; null when the name is unknown or the
// slot is empty.
ControlTarget* FindControl(const char* action, int deck);

}  // namespace vantaro
