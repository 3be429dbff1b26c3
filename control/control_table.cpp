#include "control/control_table.h"

namespace vantaro {

ControlTarget* ControlTable::Find(int id, int deck) const {
  if (id < 0 || id >= kControlTableRows || deck < -1 || deck > 1) return nullptr;
  return slots_[deck + 1][id];
}

bool ControlTable::Set(int id, int deck, ControlTarget* control) {
  if (id < 0 || id >= kControlTableRows || deck < -1 || deck > 1) return false;
  slots_[deck + 1][id] = control;
  return true;
}

void ControlTable::Clear() {
  for (auto& bank : slots_)
    for (auto& slot : bank) slot = nullptr;
}

ControlTable& TheControlTable() {
  static ControlTable table;
  return table;
}

ControlTarget* FindControl(const char* action, int deck) {
  return TheControlTable().Find(FindControlAction(action), deck);
}

void PostControlEvent(ControlTarget* control, const ControlEvent& event) {
  if (!control) return;
  if (control->IsLearning() && (event.kind == mt_DOWN || event.kind == mt_DBLCLICK))
    control->TakeLearnFocus();
  control->OnControlEvent(event);
}

}  // namespace vantaro
