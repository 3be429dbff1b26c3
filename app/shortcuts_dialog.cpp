#include "app/shortcuts_dialog.h"

#include <wx/button.h>
#include <wx/choice.h>
#include <wx/dialog.h>
#include <wx/listctrl.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include <vector>

#include "app/program.h"
#include "control/control_action.h"
#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/key_map.h"
#include "control/shortcut_list.h"
#include "skin/custom_control.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

constexpr int kMinimumListWidth = 520;
constexpr int kMinimumListHeight = 320;

wxChoice* KindChoice(wxWindow* parent) {
  auto* choice = new wxChoice(parent, wxID_ANY);
  for (int kind = 0; kind < kKindCount; ++kind)
    choice->Append(wxString::FromUTF8(ControlKindInfo(kind).label));
  choice->SetSelection(0);
  return choice;
}

// CEventsAddDialog: a control from a list, then the next key it is given.
class CEventsAddDialog : public wxDialog {
 public:
  explicit CEventsAddDialog(wxWindow* parent)
      : wxDialog(parent, wxID_ANY, "Add a shortcut", wxDefaultPosition, wxDefaultSize,
                 wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER) {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    controls_ = new wxChoice(this, wxID_ANY);
    for (int id = kFirstAction; id < kLastAction; ++id) {
      const ControlAction& row = ControlActionRow(id);
      if (row.kind != kKindButton && row.kind != kKindSlider) continue;
      for (int deck = row.isGlobal ? -1 : 0; deck <= (row.isGlobal ? -1 : 1); ++deck) {
        targets_.push_back({id, deck});
        controls_->Append(wxString::FromUTF8(row.name) + (deck < 0    ? ""
                                                          : deck == 0 ? " (A)"
                                                                      : " (B)"));
      }
    }
    controls_->SetSelection(0);
    sizer->Add(new wxStaticText(this, wxID_ANY, "Control"), 0, wxALL, 6);
    sizer->Add(controls_, 0, wxEXPAND | wxLEFT | wxRIGHT, 6);
    hint_ = new wxStaticText(this, wxID_ANY, "Press a key, or move a MIDI key or knob.");
    sizer->Add(hint_, 0, wxALL, 6);
    sizer->Add(CreateButtonSizer(wxCANCEL), 0, wxEXPAND | wxALL, 6);
    SetSizerAndFit(sizer);
    Bind(wxEVT_CHAR_HOOK, &CEventsAddDialog::OnKey, this);
    Bind(wxEVT_SHOW, &CEventsAddDialog::OnShow, this);
    Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { Target(); });
  }
  ~CEventsAddDialog() override { SetLearnMode(false); }

 private:
  // While the dialog is up the chosen control is the learn target, so a
  // MIDI message from the ring binds to it as learn mode does.
  void Target() {
    const LearnTarget target = targets_[static_cast<std::size_t>(controls_->GetSelection())];
    SetLearnMode(true);
    SetLearnTarget(target);
  }
  void OnShow(wxShowEvent& event) {
    if (event.IsShown()) Target();
    event.Skip();
  }
  void OnKey(wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE && !event.HasAnyModifiers()) {
      EndModal(wxID_CANCEL);
      return;
    }
    KeyPress press;
    press.rawCode = event.GetKeyCode();
    press.character = static_cast<int>(event.GetUnicodeKey());
    press.modifiers = ControlModifiers(event);
    Target();
    HandleKeyPress(press);
    EndModal(wxID_OK);
  }

  wxChoice* controls_ = nullptr;
  wxStaticText* hint_ = nullptr;
  std::vector<LearnTarget> targets_;
};

// CCatchEventsDialog: the list, its filter, remove and add.
class CCatchEventsDialog : public wxDialog {
 public:
  explicit CCatchEventsDialog(wxWindow* parent)
      : wxDialog(parent, wxID_ANY, "Shortcuts", wxDefaultPosition, wxDefaultSize,
                 wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER) {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    filter_ = KindChoice(this);
    sizer->Add(filter_, 0, wxEXPAND | wxALL, 6);
    list_ = new wxListCtrl(this, wxID_ANY, wxDefaultPosition,
                           wxSize(kMinimumListWidth, kMinimumListHeight),
                           wxLC_REPORT | wxLC_SINGLE_SEL);
    list_->AppendColumn("Control", wxLIST_FORMAT_LEFT, 240);
    list_->AppendColumn("Shortcut", wxLIST_FORMAT_LEFT, 260);
    sizer->Add(list_, 1, wxEXPAND | wxLEFT | wxRIGHT, 6);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* add = new wxButton(this, wxID_ADD, "Add...");
    remove_ = new wxButton(this, wxID_REMOVE, "Remove");
    buttons->Add(add, 0, wxALL, 6);
    buttons->Add(remove_, 0, wxALL, 6);
    buttons->AddStretchSpacer();
    buttons->Add(new wxButton(this, wxID_CLOSE, "Close"), 0, wxALL, 6);
    sizer->Add(buttons, 0, wxEXPAND);
    SetSizerAndFit(sizer);
    SetEscapeId(wxID_CLOSE);
    filter_->Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { Fill(); });
    remove_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { RemoveSelected(); });
    add->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { AddOne(); });
    list_->Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent&) { remove_->Enable(); });
    Bind(
        wxEVT_BUTTON, [this](wxCommandEvent&) { EndModal(wxID_CLOSE); }, wxID_CLOSE);
    Fill();
  }

 private:
  void Fill() {
    rows_ = ListBindings(filter_->GetSelection());
    list_->DeleteAllItems();
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      const long item =
          list_->InsertItem(static_cast<long>(i), wxString::FromUTF8(rows_[i].control));
      list_->SetItem(item, 1, wxString::FromUTF8(rows_[i].binding));
    }
    remove_->Disable();
  }
  void RemoveSelected() {
    const long item = list_->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
    if (item >= 0 && item < static_cast<long>(rows_.size()))
      RemoveBinding(rows_[static_cast<std::size_t>(item)]);
    Fill();
  }
  void AddOne() {
    CEventsAddDialog add(this);
    add.ShowModal();
    Fill();
  }

  wxChoice* filter_ = nullptr;
  wxListCtrl* list_ = nullptr;
  wxButton* remove_ = nullptr;
  std::vector<BindingRow> rows_;
};

// The learn button keeps its left click; its right click opens the list.
void LearnRightDown(int, int, int) {
  if (ZKMainWindow* window = TheProgram().mainWindow) ShowShortcutsDialog(window);
}

}  // namespace

void ShowShortcutsDialog(wxWindow* parent) {
  CCatchEventsDialog dialog(parent);
  dialog.ShowModal();
}

void AttachShortcutsDialog() {
  const int learn = Actions().learn;
  ControlTarget* button = TheControlTable().Find(learn, -1);
  const ControlBinding* binding = FindControlBinding(learn);
  if (!button || !binding) return;
  ControlCallbacks callbacks = binding->callbacks;
  callbacks.onRightDown = &LearnRightDown;
  button->SetCallbacks(callbacks);
}

}  // namespace vantaro
