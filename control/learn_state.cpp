#include "control/learn_state.h"

#include <algorithm>

#include "control/control_table.h"

namespace vantaro {
namespace {

LearnTarget g_target;
void (*g_targetHook)() = nullptr;
bool g_learnMode = false;

}  // namespace

void ControlBindings::SetMidiCount(int count) {
  midiCount_ = std::clamp(count, 0, 1);
}

void ControlBindings::SetKeyCount(int count) {
  keyCount_ = std::clamp(count, 0, kMaxKeys);
}

LearnTarget CurrentLearnTarget() {
  return g_target;
}

void SetLearnTarget(LearnTarget target) {
  g_target = target;
  if (g_targetHook) g_targetHook();
}

void ClearLearnTargetIf(LearnTarget target) {
  if (g_target == target) SetLearnTarget(LearnTarget{});
}

void SetLearnTargetHook(void (*hook)()) {
  g_targetHook = hook;
}

void SetLearnMode(bool on) {
  g_learnMode = on;
  TheControlTable().ForEach([on](ControlTarget* control) { control->SetLearning(on); });
  if (!on) SetLearnTarget(LearnTarget{});
}

bool LearnModeOn() {
  return g_learnMode;
}

}  // namespace vantaro
