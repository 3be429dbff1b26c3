#include "skin/skin_loader.h"

#include <sys/stat.h>
#include <wx/display.h>
#include <wx/image.h>
#include <wx/log.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "base/debug_log.h"
#include "control/control_table.h"
#include "control/language.h"
#include "skin/builtin_controls.h"
#include "skin/button.h"
#include "skin/custom_panel.h"
#include "skin/drop_zone.h"
#include "skin/dropdown_list.h"
#include "skin/edit_text.h"
#include "skin/full_screen.h"
#include "skin/image_control.h"
#include "skin/main_window.h"
#include "skin/skin_file.h"
#include "skin/skin_image.h"
#include "skin/skin_kinds.h"
#include "skin/skin_style.h"
#include "skin/slider.h"
#include "skin/static_text.h"
#include "skin/vu_meter.h"

namespace vantaro {
namespace {

using AttributePairs = std::vector<std::pair<const char*, const char*>>;

constexpr const char* kTemplateNames[3] = {"button_template", "slider_template",
                                           "textarea_template"};

// The look of the program's run-time controls when the skin gives none.
const AttributePairs& TemplateDefaults(int which) {
  static const AttributePairs kDefaults[3] = {
      {{"graphics_mode", "1"},
       {"width", "100"},
       {"height", "10"},
       {"posx", "0"},
       {"posy", "0"},
       {"isswitch", "no"},
       {"showlabel", "yes"},
       {"fontcolor", "#AAAAAA"},
       {"fontcolorpressed", "#FFFFFF"},
       {"fontcolorswitched", "#FFFFFF"},
       {"fontsize", "3"},
       {"fontalign", "center"},
       {"backcolor", "#333333"},
       {"backcolorover", "#606060"},
       {"backcolordown", "#333333"},
       {"backcolorsel", "#FF583F"},
       {"backcoloroversel", "#FF381F"},
       {"backcolordownsel", "#FF583F"}},
      {{"graphics_mode", "1"},
       {"width", "100"},
       {"height", "10"},
       {"posx", "0"},
       {"posy", "0"},
       {"cursorwidth", "10"},
       {"cursorheight", "10"},
       {"backcolor", "#333333"},
       {"backcolorover", "#444444"},
       {"slidercolor", "#AAAAAA"},
       {"slidercolorover", "#FF583F"}},
      {{"graphics_mode", "1"},
       {"width", "100"},
       {"height", "10"},
       {"posx", "0"},
       {"posy", "0"},
       {"fontcolor", "#888888"},
       {"fontname", "small"},
       {"fontsize", "3"},
       {"fontstyle", "normal"},
       {"fontalign", "center"},
       {"backcolor", "#111111"},
       {"transparent", "no"},
       {"bordervisible", "no"}},
  };
  return kDefaults[which];
}

ZKCustomControl* BuiltIn(int id, int deck) {
  return dynamic_cast<ZKCustomControl*>(TheControlTable().Find(id, deck));
}

bool IsBuiltIn(ZKCustomControl* control) {
  return BuiltIn(control->controlId, control->deck) == control;
}

// Moves the built-in controls standing anywhere below `from` to `to`,
// hidden, so that destroying `from` never takes one with it.
void RescueBuiltIns(wxWindow* from, wxWindow* to) {
  const wxWindowList children = from->GetChildren();
  for (wxWindow* child : children) {
    auto* control = dynamic_cast<ZKCustomControl*>(child);
    if (control && IsBuiltIn(control)) {
      control->Hide();
      control->Reparent(to);
    } else {
      RescueBuiltIns(child, to);
    }
  }
}

void RescuePanels(ZKCustomGroup& group, wxWindow* to) {
  for (int i = 0; i < group.PanelCount(); ++i)
    if (ZKCustomPanel* panel = group.GetPanel(i)) RescueBuiltIns(panel, to);
}

// A group's geometry and panels from its element. `fixedPanels` keeps the
// panels the group has (the built-in tab group).
void ApplyGroupAttributes(ZKCustomGroup& group, ZKAttributeList& list, bool fixedPanels,
                          wxWindow* rescueTo) {
  group.posx = list.GetInt("posx");
  group.posy = list.GetInt("posy");
  group.height = list.GetInt("height");
  group.width = list.GetInt("width");
  group.transparent = list.GetBool("transparent");
  const int panels = std::min(list.GetInt("panels"), ZKCustomGroup::kMaxPanels);
  if (panels > 0 && !fixedPanels) {
    RescuePanels(group, rescueTo);
    group.DestroyPanels();
    for (int i = 0; i < panels; ++i) group.AddPanel(new ZKCustomPanel(group.parentWindow, i));
  }
  for (int i = 0; i < group.PanelCount(); ++i) {
    ZKCustomPanel* panel = group.GetPanel(i);
    if (!panel) continue;
    list.SetInt("upx", list.GetInt("up" + std::to_string(i) + "x"));
    list.SetInt("upy", list.GetInt("up" + std::to_string(i) + "y"));
    panel->ApplySkinAttributes(list);
    if (i > 0) panel->Hide();
  }
  group.ShowPanel(0);
}

// Walks the control elements of one skin into the living objects.
class SkinWalker {
 public:
  SkinWalker(SkinTables& tables, wxWindow* parentWindow, int targetversion)
      : tables_(tables), parentWindow_(parentWindow), targetversion_(targetversion) {}

  void Walk(const std::vector<SkinElement>& elements, ZKCustomGroup* group) {
    for (const SkinElement& element : elements) Place(element, group);
  }

  bool templateSeen[3] = {};

 private:
  void Place(const SkinElement& element, ZKCustomGroup* group) {
    list_.Clear();
    for (const auto& [name, value] : element.attributes) list_.SetText(name, value);
    wxWindow* parent = parentWindow_;
    if (group)
      if (ZKCustomPanel* panel = group->GetPanel(std::max(list_.GetInt("panel"), 0)))
        parent = panel;
    std::string action;
    int deck = -1;
    ResolveElementAction(element, targetversion_, &action, &deck);
    const int id = FindControlAction(action.c_str());
    if (IsValidAction(id)) {
      if (ZKCustomControl* control = BuiltIn(id, deck)) {
        if (control->GetParent() != parent && control->reparentable) control->Reparent(parent);
        control->ApplySkinAttributes(list_);
      }
      PlaceSpecial(action);
    } else if (action == kBigTabName) {
      ApplyGroupAttributes(*tables_.bigTab, list_, true, parentWindow_);
    } else if (!action.empty() && action[0] == '_') {
      if (ZKCustomGroup* own = PlaceSkinDefined(element.tag, action, parent))
        Walk(element.children, own);
    }
  }

  // Templates and the video preview's place: by name.
  void PlaceSpecial(const std::string& action) {
    for (int i = 0; i < 3; ++i) {
      if (action != kTemplateNames[i]) continue;
      tables_.templates[i] = list_;
      templateSeen[i] = true;
    }
    if (action == "video_preview")
      tables_.videoPreview = wxRect(list_.GetInt("posx"), list_.GetInt("posy"),
                                    list_.GetInt("width"), list_.GetInt("height"));
  }

  // A group of the skin (returned, so its children are walked into it) or
  // a control of the skin (null).
  ZKCustomGroup* PlaceSkinDefined(const std::string& tag, const std::string& name,
                                  wxWindow* parent) {
    const int kind = ControlKindOfTag(tag.c_str());
    if (kind == kKindNone) return nullptr;
    if (kind == kKindGroup) return PlaceGroup(name, parent);
    int slot = FindCustomControl(name);
    if (slot < 0) {
      if (!SkinDefinedKindBuilt(kind)) return nullptr;
      slot = FreeSlot(tables_.customControls, SkinTables::kMaxCustomControls);
      if (slot < 0) return nullptr;
      tables_.customControls[slot] = Create(kind, parent, slot);
      tables_.customControls[slot]->name = name;
    }
    ZKCustomControl* control = tables_.customControls[slot];
    control->ApplySkinAttributes(list_);
    AddScript(*control, slot);
    return nullptr;
  }

  ZKCustomGroup* PlaceGroup(const std::string& name, wxWindow* parent) {
    int slot = FindGroup(name);
    if (slot < 0) {
      for (int i = 0; i < SkinTables::kMaxGroups && slot < 0; ++i)
        if (!tables_.groups[i]) slot = i;
      if (slot < 0) return nullptr;
      tables_.groups[slot] = std::make_unique<ZKCustomGroup>(parent, name);
    }
    ZKCustomGroup& group = *tables_.groups[slot];
    ApplyGroupAttributes(group, list_, false, parentWindow_);
    return &group;
  }

  template <typename Slot>
  static int FreeSlot(Slot* slots, int count) {
    for (int i = 0; i < count; ++i)
      if (!slots[i]) return i;
    return -1;
  }

  static ZKCustomControl* Create(int kind, wxWindow* parent, int slot) {
    if (kind == kKindButton) return new CZKButton(parent, slot, -1);
    if (kind == kKindSlider) return new CZKSlider(parent, slot, -1);
    if (kind == kKindDropZone) return new CZKDropZone(parent, slot, -1);
    if (kind == kKindVuMeter) return new CZKVUMeter(parent, slot, -1);
    if (kind == kKindImage) return new CZKImage(parent, slot, -1);
    if (kind == kKindDropDown) return new CZKDropDownList(parent, slot, -1);
    if (kind == kKindEditArea) return new CZKEditText(parent, slot, -1);
    return new CZKStaticText(parent, slot, -1);
  }

  // The control's script attributes become functions named after it, kept
  // for the skin-script host.
  void AddScript(ZKCustomControl& control, int slot) {
    control.wiring.userData = slot;
    for (const char* event : {"onmousedown", "onmouseup"}) {
      const std::string body = list_.GetText(event);
      if (body.empty()) continue;
      const std::string function = "\nfunction " + control.name + "_" + event +
                                   "(clientX,clientY,button,value)\n{\n  " + body + "\n}\n";
      if (tables_.script.size() + function.size() > SkinTables::kScriptBufferBytes) {
        DebugLog("skin: script of %s dropped: the skin's scripts pass %zu bytes",
                 control.name.c_str(), SkinTables::kScriptBufferBytes);
        continue;
      }
      tables_.script += function;
    }
  }

  SkinTables& tables_;
  wxWindow* parentWindow_;
  int targetversion_;
  ZKAttributeList list_;  // one element's attributes at a time
};

// Hides every built-in control and takes it back to the window; destroys
// the skin's own controls and groups.
void ClearSkin(SkinTables& tables, wxWindow* parentWindow) {
  TheControlTable().ForEach([parentWindow](ControlTarget* target) {
    auto* control = dynamic_cast<ZKCustomControl*>(target);
    if (!control) return;
    control->Hide();
    if (control->GetParent() != parentWindow && control->reparentable)
      control->Reparent(parentWindow);
    control->scriptEvents = 0;
    control->skinApplied = 0;
  });
  for (ZKCustomControl*& control : tables.customControls) {
    if (control) control->Destroy();
    control = nullptr;
  }
  for (int i = SkinTables::kMaxGroups - 1; i >= 0; --i) {
    if (!tables.groups[i]) continue;
    RescuePanels(*tables.groups[i], parentWindow);
    tables.groups[i].reset();
  }
  if (tables.bigTab)
    for (int i = 0; i < tables.bigTab->PanelCount(); ++i)
      if (ZKCustomPanel* panel = tables.bigTab->GetPanel(i)) panel->Hide();
}

void ApplyTemplates(SkinTables& tables, const bool seen[3]) {
  for (int i = 0; i < 3; ++i) {
    if (!seen[i]) {
      tables.templates[i].Clear();
      for (const auto& [name, value] : TemplateDefaults(i))
        tables.templates[i].SetText(name, value);
    }
    if (ZKCustomControl* holder = BuiltIn(FindControlAction(kTemplateNames[i]), -1)) {
      ZKAttributeList copy = tables.templates[i];
      holder->ApplySkinAttributes(copy);
      holder->Hide();
    }
  }
}

void ApplyMainWindow(ZKMainWindow* mainWindow, const SkinElement& window) {
  const auto text = [&window](const char* name) {
    const std::string* value = window.Find(name);
    return value ? *value : std::string();
  };
  mainWindow->ApplyWindowSkin(window.Int("width"), window.Int("height"), window.Int("upx"),
                              window.Int("upy"), window.Int("posx"), window.Int("posy"),
                              SkinRootBool(text("usecolors")), ParseSkinColour(text("backcolor")),
                              ParseSkinColour(text("bordercolor")));
}

// Path, size and modification time of a picture: the same stamp, the same
// picture.
std::string PictureStamp(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return {};
  return path + "|" + std::to_string(info.st_size) + "|" + std::to_string(info.st_mtim.tv_sec) +
         "." + std::to_string(info.st_mtim.tv_nsec);
}

SkinLoadResult Refuse(const std::string& path, int line, const std::string& reason) {
  SkinLoadResult result;
  result.line = line;
  result.reason = reason;
  DebugLog("skin refused: %s", DescribeSkinFault(path, result).c_str());
  return result;
}

}  // namespace

SkinTables& TheSkinTables() {
  static SkinTables* tables = new SkinTables;  // its windows go with the toolkit
  return *tables;
}

int FindCustomControl(const std::string& name) {
  const SkinTables& tables = TheSkinTables();
  for (int i = 0; i < SkinTables::kMaxCustomControls; ++i)
    if (tables.customControls[i] && tables.customControls[i]->name == name) return i;
  return -1;
}

int FindGroup(const std::string& name) {
  const SkinTables& tables = TheSkinTables();
  for (int i = 0; i < SkinTables::kMaxGroups; ++i)
    if (tables.groups[i] && tables.groups[i]->name == name) return i;
  return -1;
}

void ReleaseSkinTables(wxWindow* window) {
  SkinTables& tables = TheSkinTables();
  if (!window || tables.owner != window) return;
  for (ZKCustomControl*& control : tables.customControls) {
    if (control) control->Destroy();
    control = nullptr;
  }
  for (auto& group : tables.groups) group.reset();
  tables.bigTab.reset();
  tables.owner = nullptr;
  tables.path.clear();
  tables.pictureStamp.clear();
}

std::string DescribeSkinFault(const std::string& path, const SkinLoadResult& result) {
  std::string text = path;
  if (result.line > 0) text += ", line " + std::to_string(result.line);
  return text + ": " + result.reason;
}

SkinLoadResult LoadSkin(const std::string& path, ZKMainWindow* mainWindow) {
  // Everything that can fail is checked before the first control changes.
  SkinDocument document;
  SkinFault fault;
  if (!ReadSkinFile(path, &document, &fault)) return Refuse(path, fault.line, fault.reason);
  SkinTables& tables = TheSkinTables();
  // A reload of an unchanged picture keeps the decoded one: decoding and
  // converting a full-screen picture is most of a load's time.
  const std::string stamp = PictureStamp(document.picturePath);
  const bool samePicture = stamp == tables.pictureStamp && SkinImage::Get().Source();
  wxImage picture;
  if (!samePicture) {
    wxLogNull quiet;  // the reason goes to the program's log, not a toolkit box
    if (!picture.LoadFile(wxString::FromUTF8(document.picturePath), wxBITMAP_TYPE_ANY) ||
        !picture.IsOk())
      return Refuse(path, 0, "its picture " + document.picturePath + " cannot be decoded");
  }
  if (tables.owner && tables.owner != mainWindow) ReleaseSkinTables(tables.owner);
  tables.owner = mainWindow;
  LeaveSkinFullScreen(mainWindow);
  mainWindow->Hide();
  tables.videoPreview = wxRect(-1, -1, -1, -1);
  ClearSkin(tables, mainWindow);
  if (!tables.bigTab) {
    tables.bigTab = std::make_unique<ZKCustomGroup>(mainWindow, kBigTabName);
    for (int i = 0; i < kBigTabPanels; ++i)
      tables.bigTab->AddPanel(new ZKCustomPanel(mainWindow, i));
    tables.bigTab->GetPanel(0)->Hide();
  }
  tables.script.clear();
  tables.script.reserve(SkinTables::kScriptBufferBytes);
  if (!samePicture) {
    SkinImage::Get().SetBitmap(wxBitmap(picture));
    tables.pictureStamp = stamp;
  }

  SkinWalker walker(tables, mainWindow, document.targetversion);
  for (const SkinElement& window : document.windows) {
    const std::string* action = window.Find("action");
    if (action && *action == "main") ApplyMainWindow(mainWindow, window);
    walker.Walk(window.children, nullptr);
  }
  for (const std::string& skipped : document.skipped)
    DebugLog("skin %s: %s skipped", path.c_str(), skipped.c_str());
  tables.path = path;
  tables.screenwidth = document.screenwidth;
  tables.screenheight = document.screenheight;
  tables.dontuselabelsontimepitch = document.dontuselabelsontimepitch;
  if (mainWindow->posx == -1) mainWindow->Centre();
  ApplyTemplates(tables, walker.templateSeen);
  ApplyLanguageToControls(TheControlTable(), TheLanguage());
  mainWindow->Show();
  tables.runsFullScreen =
      EnterSkinFullScreenIfExact(mainWindow, tables.screenwidth, tables.screenheight);
  // The skin-script host runs tables.script here once it exists.
  mainWindow->Refresh(false);
  SkinLoadResult result;
  result.loaded = true;
  result.skipped = static_cast<int>(document.skipped.size());
  DebugLog("skin loaded: %s (%s, %d elements skipped)", path.c_str(), document.skinname.c_str(),
           result.skipped);
  return result;
}

}  // namespace vantaro
