#include "control/program_shown.h"

#include <initializer_list>

#include "control/control_action.h"

namespace vantaro {

bool ProgramFillsControl(int id) {
  if (!IsValidAction(id)) return false;
  for (const char* text : kDeckValueTexts)
    if (FindControlAction(text) == id) return true;
  for (const char* other :
       {"dz_deck", "sd_deck", "vm_deckl", "vm_deckr", "vm_masterl", "vm_masterr", "record_time"})
    if (FindControlAction(other) == id) return true;
  // The track lists, the browser and the search box show and take the
  // lists' rows; auto-mix shows its fade time.
  for (const char* list : {"playlist", "kv_playlist", "et_search", "browser", "auto_dj_time"})
    if (FindControlAction(list) == id) return true;
  return false;
}

}  // namespace vantaro
