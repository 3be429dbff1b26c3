#include "skin/builtin_controls.h"

#include <wx/tooltip.h>

#include "base/debug_log.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/language.h"
#include "skin/browser.h"
#include "skin/button.h"
#include "skin/drop_zone.h"
#include "skin/dropdown_list.h"
#include "skin/edit_text.h"
#include "skin/image_control.h"
#include "skin/playlist.h"
#include "skin/slider.h"
#include "skin/sound_display.h"
#include "skin/static_text.h"
#include "skin/vu_meter.h"

namespace vantaro {
namespace {

ZKCustomControl* CreateControl(int kind, wxWindow* parent, int id, int deck) {
  switch (kind) {
    case kKindButton:
      return new CZKButton(parent, id, deck);
    case kKindSlider:
      return new CZKSlider(parent, id, deck);
    case kKindText:
      return new CZKStaticText(parent, id, deck);
    case kKindImage:
      return new CZKImage(parent, id, deck);
    case kKindDropDown:
      return new CZKDropDownList(parent, id, deck);
    case kKindEditArea:
      return new CZKEditText(parent, id, deck);
    case kKindSoundDisplay:
      return new CZKSoundDisplay(parent, id, deck);
    case kKindVuMeter:
      return new CZKVUMeter(parent, id, deck);
    case kKindDropZone:
      return new CZKDropZone(parent, id, deck);
    case kKindBrowser:
      return new CZKBrowser(parent, id, deck);
    case kKindList:
      return new CZKPlaylist(parent, id, deck);
    default:
      return nullptr;  // kinds built later keep their slots empty
  }
}

// Kinds whose controls show their hint as a tooltip.
bool ShowsHint(int kind) {
  return (kind >= kKindButton && kind <= kKindImage) ||
         (kind >= kKindDropDown && kind <= kKindSoundDisplay);
}

template <typename Visit>
void ForEachBuiltIn(const ControlTable& table, Visit visit) {
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    for (int deck = row.isGlobal ? -1 : 0; deck <= (row.isGlobal ? -1 : 1); ++deck)
      if (auto* control = dynamic_cast<ZKCustomControl*>(table.Find(id, deck)))
        visit(control, row, id);
  }
}

}  // namespace

int BuildBuiltInControls(wxWindow* parent, ControlTable& table) {
  const int learn = Actions().learn;
  int created = 0;
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    for (int deck = row.isGlobal ? -1 : 0; deck <= (row.isGlobal ? -1 : 1); ++deck) {
      ZKCustomControl* control = CreateControl(row.kind, parent, id, deck);
      if (!control) continue;
      if (!control->GetHandle()) {
        if (row.isGlobal)
          DebugLog("global control NOT created - id %d", id);
        else
          DebugLog("deck control NOT created - id %d (idx %d)", id, deck);
        control->Destroy();
        continue;
      }
      // The learn button must keep working in learn mode: it takes no
      // binding, so it never enters it.
      if (id == learn) {
        control->bindings.SetMidiCount(0);
        control->bindings.SetKeyCount(0);
      }
      table.Set(id, deck, control);
      ++created;
    }
  }
  return created;
}

void ApplyLanguageToControls(const ControlTable& table, const LanguageTables& language) {
  ForEachBuiltIn(table, [&language](ZKCustomControl* control, const ControlAction& row, int id) {
    const wxString label = wxString::FromUTF8(language.Label(id));
    if (auto* button = dynamic_cast<CZKButton*>(control)) button->SetLabel(label);
    if (row.isLabel)
      if (auto* text = dynamic_cast<CZKStaticText*>(control)) text->SetText(label);
    if (ShowsHint(row.kind)) {
      const std::string& hint = language.Hint(id);
      if (hint.empty())
        control->UnsetToolTip();
      else
        control->SetToolTip(wxString::FromUTF8(hint));
    }
  });
}

void ShowHints(bool on) {
  wxToolTip::Enable(on);
}

}  // namespace vantaro
