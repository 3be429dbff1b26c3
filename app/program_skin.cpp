#include "app/program_skin.h"

#include <wx/app.h>
#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/weakref.h>

#include <filesystem>
#include <system_error>

#include "app/deck_load.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/language.h"
#include "library/song_database.h"
#include "skin/full_screen.h"
#include "skin/main_window.h"
#include "skin/skin_file.h"
#include "skin/skin_loader.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNoSkinText = "error - NO SKIN WAS LOADED";
constexpr const char* kSkinTooBigText =
    "The skin is bigger than your current screen resolution and it was not loaded!";
constexpr int kNoticeWidth = 420;  // pixels the notice's text wraps at

// The words of a bare window, while no skin runs.
wxWeakRef<wxStaticText> g_noSkinText;

wxSize DisplaySize() {
  return wxDisplay(0u).GetGeometry().GetSize();
}

std::string FileName(const std::string& path) {
  return fs::path(path).filename().string();
}

std::string SkippedText(const std::string& path, int skipped) {
  return std::to_string(skipped) + (skipped == 1 ? " element" : " elements") + " of the skin " +
         FileName(path) + " were skipped; the log lists them.";
}

// Loads `path` or says in a box why the running skin stays.
bool LoadOrExplain(const std::string& path) {
  ZKMainWindow* window = TheProgram().mainWindow;
  if (!window) return false;
  const SkinLoadResult result = LoadSkin(path, window);
  if (!result.loaded) {
    ShowMessage(wxString::FromUTF8("The skin could not be loaded (" +
                                   DescribeSkinFault(path, result) + "). The running skin stays."));
    return false;
  }
  if (g_noSkinText) g_noSkinText->Destroy();
  if (result.skipped > 0) ShowNotice(SkippedText(path, result.skipped));
  return true;
}

void ReloadSkinButton(int, int, int) {
  // After the button's own event: the load hides and moves the button.
  wxTheApp->CallAfter(&ReloadSkin);
}

void FullScreenButton(int, int, int) {
  // After the button's own event: the question may open a box.
  wxTheApp->CallAfter([] {
    const SkinTables& skin = TheSkinTables();
    if (ZKMainWindow* window = TheProgram().mainWindow)
      ToggleSkinFullScreen(window, skin.screenwidth, skin.screenheight);
  });
}

void SetButtonCallback(const char* action, ControlCallback onLeftDown) {
  ControlTarget* button = TheControlTable().Find(FindControlAction(action), -1);
  if (!button) return;
  ControlCallbacks callbacks;
  callbacks.onLeftDown = onLeftDown;
  button->SetCallbacks(callbacks);
}

}  // namespace

std::vector<SkinListEntry>& ProgramSkinList() {
  static std::vector<SkinListEntry> list;
  return list;
}

void ScanProgramSkins() {
  const DataFolders& folders = TheProgram().folders;
  std::vector<SkinListEntry>& list = ProgramSkinList();
  list.clear();
  ScanSkins(folders.executable + "skins", &list);
  ScanSkins(folders.skins, &list);
  DebugLog("init 15: %zu skins listed", list.size());
}

bool LoadStartupSkin(ZKMainWindow* mainWindow) {
  const wxSize screen = DisplaySize();
  const std::vector<std::string> order =
      StartupSkinOrder(ProgramSkinList(), TheSettings().skinf1, screen.x, screen.y);
  std::string firstFault;
  for (const std::string& path : order) {
    const SkinLoadResult result = LoadSkin(path, mainWindow);
    if (!result.loaded) {
      if (firstFault.empty()) firstFault = DescribeSkinFault(path, result);
      continue;
    }
    DebugLog("init 18: skin %s", path.c_str());
    std::string notice;
    if (!firstFault.empty())
      notice = "The skin could not be loaded (" + firstFault + "). Showing " + FileName(path) +
               " instead.";
    if (result.skipped > 0)
      notice += (notice.empty() ? "" : "\n") + SkippedText(path, result.skipped);
    if (!notice.empty()) ShowNotice(notice);
    return true;
  }
  DebugLog("init 18: %s", kNoSkinText);
  g_noSkinText = new wxStaticText(mainWindow, wxID_ANY, kNoSkinText, wxPoint(20, 20));
  g_noSkinText->SetForegroundColour(*wxRED);
  ShowNotice(std::string(kNoSkinText) +
             (firstFault.empty() ? " (no skin is listed)" : " (" + firstFault + ")"));
  return false;
}

void ReloadSkin() {
  std::string path = TheSettings().skinf1;
  std::error_code error;
  if (path.empty() || !fs::is_regular_file(path, error)) path = TheSkinTables().path;
  if (path.empty()) return;
  if (LoadOrExplain(path) && TheProgram().mainWindow) TheProgram().mainWindow->Refresh();
}

void WireSkinButtons() {
  SetButtonCallback("reload_skin", &ReloadSkinButton);
  SetButtonCallback("maximize", &FullScreenButton);
  SetButtonCallback("maximize2", &FullScreenButton);
}

bool ChooseSkin(const std::string& path) {
  SkinDocument document;
  SkinFault fault;
  if (ReadSkinFile(path, &document, &fault)) {
    const wxSize screen = DisplaySize();
    if (document.screenwidth > screen.x || document.screenheight > screen.y) {
      ShowMessage(kSkinTooBigText, "");
      return false;
    }
  }
  // A file that fails the check is refused by the load, with its reason.
  if (!LoadOrExplain(path)) return false;
  TheSettings().skinf1 = path;
  return true;
}

void LoadCommandLineFiles(const std::vector<std::string>& files) {
  int deck = 0;
  for (const std::string& file : files) {
    if (deck > 1) {
      DebugLog("command line: %s not loaded: two decks take two files", file.c_str());
      continue;
    }
    const TrackFault fault = LoadTrackOnDeck(deck, file);
    if (fault != TrackFault::kNone) {
      DebugLog("command line: %s not loaded: %s", file.c_str(), TrackFaultText(fault).c_str());
      continue;
    }
    DebugLog("command line: %s loading on deck %c", file.c_str(), 'A' + deck);
    ++deck;
  }
}

void ShowNotice(const std::string& text) {
  DebugLog("notice: %s", text.c_str());
  ZKMainWindow* parent = TheProgram().mainWindow;
  auto* notice = new wxDialog(parent, wxID_ANY, "Vantaro DJ - Notice");
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  auto* message = new wxStaticText(notice, wxID_ANY, wxString::FromUTF8(text));
  message->Wrap(kNoticeWidth);
  sizer->Add(message, 0, wxALL, 16);
  auto* ok = new wxButton(notice, wxID_OK, wxString::FromUTF8(Text(txt_ok)));
  ok->Bind(wxEVT_BUTTON, [notice](wxCommandEvent&) { notice->Destroy(); });
  notice->Bind(wxEVT_CLOSE_WINDOW, [notice](wxCloseEvent&) { notice->Destroy(); });
  sizer->Add(ok, 0, wxALIGN_RIGHT | wxLEFT | wxRIGHT | wxBOTTOM, 16);
  notice->SetSizerAndFit(sizer);
  // Shown once the window it speaks about is up; it waits for no answer.
  // A close before then takes the notice with the main window.
  wxWeakRef<wxDialog> shown(notice);
  wxTheApp->CallAfter([shown] {
    if (shown) shown->Show();
  });
}

}  // namespace vantaro
