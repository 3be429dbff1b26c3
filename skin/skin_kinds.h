#pragma once
// What the skin loader can build for a skin's own controls (actions that
// start with "_"): the kind comes from the element's tag. Kinds whose
// controls the program does not have yet are skipped with a log line.
//
// Threads: constants, any thread.

#include "control/control_action.h"

namespace vantaro {

// The action of the built-in tab group on which the browser and the list
// stand.
inline constexpr const char* kBigTabName = "big_tab";
inline constexpr int kBigTabPanels = 7;

inline bool SkinDefinedKindBuilt(int kind) {
  return kind == kKindButton || kind == kKindSlider || kind == kKindText || kind == kKindGroup ||
         kind == kKindDropZone || kind == kKindVuMeter || kind == kKindImage ||
         kind == kKindDropDown || kind == kKindEditArea;
}

}  // namespace vantaro
