#pragma once
// A control without a display for the tests of the action, shortcut and
// learn layers: it records every event it is given and can fill every slot
// of the program's control table.

#include <memory>
#include <vector>

#include "control/control_action.h"
#include "control/control_table.h"
#include "control/learn_state.h"

namespace vantaro::test {

class RecordingControl : public ControlTarget {
 public:
  RecordingControl(int id, int deck) : id(id), deck(deck) {}
  void OnControlEvent(const ControlEvent& event) override { events.push_back(event); }
  bool IsLearning() const override { return learning; }
  void SetLearning(bool on) override { learning = on && bindings.CanLearn(); }
  void TakeLearnFocus() override { SetLearnTarget({id, deck}); }
  void SetCallbacks(const ControlCallbacks&) override {}
  void SetRange(int, int) override {}
  void ShowEngineValue(int value) override { shown = value; }
  int Deck() const override { return deck; }

  const int id;
  const int deck;
  bool learning = false;
  int shown = -12345;
  ControlBindings bindings;
  std::vector<ControlEvent> events;
};

// Fills every slot of TheControlTable() with a RecordingControl (one per
// deck for per-deck rows) and empties the table again on destruction.
class RecordingTable {
 public:
  RecordingTable() {
    for (int id = kFirstAction; id < kLastAction; ++id) {
      const bool global = ControlActionRow(id).isGlobal != 0;
      for (int deck = global ? -1 : 0; deck <= (global ? -1 : 1); ++deck) {
        controls_.push_back(std::make_unique<RecordingControl>(id, deck));
        TheControlTable().Set(id, deck, controls_.back().get());
      }
    }
  }
  ~RecordingTable() { TheControlTable().Clear(); }

  RecordingControl* At(int id, int deck) {
    return static_cast<RecordingControl*>(TheControlTable().Find(id, deck));
  }
  void ClearEvents() {
    for (auto& control : controls_) control->events.clear();
  }
  int TotalEvents() const {
    int total = 0;
    for (const auto& control : controls_) total += static_cast<int>(control->events.size());
    return total;
  }
  template <typename Visit>
  void ForEach(Visit visit) {
    for (auto& control : controls_) visit(*control);
  }

 private:
  std::vector<std::unique_ptr<RecordingControl>> controls_;
};

}  // namespace vantaro::test
