#include "skin/playlist.h"

#include <algorithm>
#include <climits>
#include <filesystem>

#include "base/debug_log.h"
#include "control/control_action.h"
#include "library/abstract_list.h"
#include "skin/attribute_list.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

PlaylistHooks theHooks;

// Sizes when the skin names none, in pixels.
constexpr int kDefaultLineHeight = 18;
constexpr int kDefaultSliderHeight = 12;

wxFont SmallFontOf(const ZKAttributeList& attributes, const wxFont& normal) {
  if (!attributes.Has("fontnamesmall") && !attributes.Has("fontsizesmall") &&
      !attributes.Has("fontstylesmall"))
    return normal;
  const SkinFontChoice choice =
      ResolveSkinFont(attributes.GetText("fontnamesmall"),
                      attributes.Has("fontsizesmall") ? attributes.GetInt("fontsizesmall") : 1,
                      attributes.GetText("fontstylesmall"));
  return MakeSkinFont(choice);
}

}  // namespace

void SetPlaylistHooks(const PlaylistHooks& hooks) {
  theHooks = hooks;
}

const PlaylistHooks& ThePlaylistHooks() {
  return theHooks;
}

CZKPlaylist::CZKPlaylist(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {
  wantsDoubleClick = 1;
  static const int kAutomixAction = FindControlAction("kv_playlist");
  static const int kMainAction = FindControlAction("playlist");
  if (controlId == kAutomixAction || controlId == kMainAction) {
    role_ = controlId == kAutomixAction ? ListViewRole::kAutomix : ListViewRole::kMain;
    RegisterListView(role_, this);
    registered_ = true;
  }
  AcceptListFileDrops(this);
  // The list keys are taken as they go down: the toolkit makes no
  // character of some of them (arrows, pages) on every platform.
  Bind(wxEVT_KEY_DOWN, [this](wxKeyEvent& event) {
    if (!ready || IsLearning() || !OnListKey(event.GetKeyCode(), ControlModifiers(event)))
      event.Skip();
  });
  Bind(wxEVT_SET_FOCUS, [this](wxFocusEvent& event) {
    focused_ = true;
    Redraw();
    event.Skip();
  });
  Bind(wxEVT_KILL_FOCUS, [this](wxFocusEvent& event) {
    focused_ = false;
    Redraw();
    event.Skip();
  });
}

CZKPlaylist::~CZKPlaylist() {
  if (registered_ && FindListView(role_) == this) RegisterListView(role_, nullptr);
}

void CZKPlaylist::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  const wxColour text = SkinColour(attributes, "fontcolor", wxColour(0xEC, 0xEE, 0xF1));
  look_.back = SkinColour(attributes, "backcolor", wxColour(0x11, 0x14, 0x19));
  look_.font = text;
  look_.headerBorder = SkinColour(attributes, "headerbordercolor", wxColour(0x4A, 0x51, 0x5C));
  look_.headerFill = SkinColour(attributes, "headerfillcolor", wxColour(0x2A, 0x2F, 0x38));
  look_.headerFont = SkinColour(attributes, "headerfontcolor", text);
  look_.grid = SkinColour(attributes, "gridcolor", wxColour(0x1D, 0x21, 0x28));
  look_.fontLoaded = SkinColour(attributes, "fontcolorloaded", wxColour(0x90, 0x90, 0x90));
  look_.mainCursorFont = SkinColour(attributes, "maincursorfontcolor", *wxBLACK);
  look_.nextCursorFont = SkinColour(attributes, "nextcursorfontcolor", wxColour(0x3D, 0xDC, 0x84));
  look_.cursor = SkinColour(attributes, "cursorcolor", wxColour(0xD9, 0xDD, 0xE3));
  look_.slider = SkinColour(attributes, "slidercolor", wxColour(0x9A, 0xA3, 0xAF));
  look_.borderActive = SkinColour(attributes, "borderactivecolor", wxColour(0x2E, 0xC4, 0xE6));
  look_.currentDoubleBorder =
      SkinColour(attributes, "currentitemdoublebordercolor", wxColour(0xFF, 0x9F, 0x1C));
  look_.small = SmallFontOf(attributes, font);
  frame_.lineHeight = attributes.Has("lineheight") ? std::max(attributes.GetInt("lineheight"), 6)
                                                   : kDefaultLineHeight;
  frame_.sliderHeight = attributes.Has("sliderheight")
                            ? std::max(attributes.GetInt("sliderheight"), 4)
                            : kDefaultSliderHeight;
  frame_.headerHeight = attributes.GetBool("hideheader") ? 0 : frame_.lineHeight + 2;
  frame_.infoHeight = std::max(attributes.GetInt("infoheight"), 0);
  frame_.neverHideScroll = attributes.GetBool("donteverhidescroll");
  frame_.hideHorizontal = attributes.GetBool("hidehorizontalscroll");
  ready = 1;
  Relayout();
  Redraw();
}

void CZKPlaylist::ShowList(CZKAbstractList* list) {
  if (list == list_) {
    RefreshList();
    return;
  }
  EndDrag();
  SaveScroll();
  list_ = list;
  hover_ = -1;
  RestoreScroll();
  Redraw();
}

void CZKPlaylist::RefreshList() {
  Relayout();
  Redraw();
}

void CZKPlaylist::Relayout() {
  frame_.width = width;
  frame_.height = height;
  const int rows = list_ ? list_->Count() : 0;
  const int content = list_ ? VisibleColumnsWidth(list_->columns) : 0;
  layout_ = LayOutPlaylist(frame_, rows, content);
  ClampScroll();
}

void CZKPlaylist::ClampScroll() {
  const int rows = list_ ? list_->Count() : 0;
  top_ = std::clamp(top_, 0, std::max(rows - layout_.fullRows, 0));
  scrollX_ = std::clamp(scrollX_, 0, std::max(layout_.contentWidth - layout_.rows.width, 0));
  if (list_) {
    list_->dataoffsetvert = top_;
    list_->dataoffsethoriz = scrollX_;
    list_->sliderposvert = ScrollThumb(layout_.vbar.height, rows, layout_.fullRows, top_).offset;
    list_->sliderposhoriz =
        ScrollThumb(layout_.hbar.width, layout_.contentWidth, layout_.rows.width, scrollX_).offset;
  }
}

void CZKPlaylist::SaveScroll() {
  // ClampScroll keeps the list's four values current; nothing else to do
  // but make sure the last scroll reached them.
  if (list_) ClampScroll();
}

void CZKPlaylist::RestoreScroll() {
  top_ = list_ && list_->dataoffsetvert > 0 ? list_->dataoffsetvert : 0;
  scrollX_ = list_ && list_->dataoffsethoriz > 0 ? list_->dataoffsethoriz : 0;
  Relayout();
}

void CZKPlaylist::ScrollToRow(int row) {
  if (!list_ || row < 0) return;
  if (row < top_)
    top_ = row;
  else if (layout_.fullRows > 0 && row >= top_ + layout_.fullRows)
    top_ = row - layout_.fullRows + 1;
  ClampScroll();
}

PlaylistHooks::Blocked CZKPlaylist::BlockedFlags() const {
  if (!list_ || !theHooks.blocked) return {};
  return theHooks.blocked(list_);
}

PlaylistHit CZKPlaylist::HitTest(wxPoint at) const {
  static const ListColumnInfo kNoColumns[kListColumns] = {};
  return HitTestPlaylist(layout_, frame_, list_ ? list_->columns : kNoColumns, top_, scrollX_,
                         list_ ? list_->Count() : 0, at);
}

int CZKPlaylist::ColumnLeft(int column) const {
  if (!list_ || column < 0 || column >= kListColumns || !list_->columns[column].visible)
    return INT_MIN;
  int x = -scrollX_;
  for (int c = 0; c < column; ++c)
    if (list_->columns[c].visible) x += list_->columns[c].width;
  return x;
}

void CZKPlaylist::SortByHeader(int column) {
  if (!list_ || column < 0 || column >= kListColumns) return;
  const PlaylistHooks::Blocked blocked = BlockedFlags();
  if (blocked.sort && *blocked.sort) return;
  // Ascending the first time, then each click turns the order round.
  const bool descending = list_->SortColumn() == column && list_->SortDirection() > 0;
  list_->SortByColumn(column, descending);
  ScrollToRow(list_->MainCursor());
  RefreshList();
}

void CZKPlaylist::MoveCursor(int delta) {
  if (!list_ || list_->Count() == 0) return;
  const int from =
      list_->MainCursor() < 0 ? (delta > 0 ? -1 : list_->Count()) : list_->MainCursor();
  CursorTo(std::clamp(from + delta, 0, list_->Count() - 1));
}

void CZKPlaylist::CursorTo(int row) {
  if (!list_ || list_->Count() == 0) return;
  row = std::clamp(row, 0, list_->Count() - 1);
  list_->SelectRow(row, kSelectOnly);
  list_->SetMainCursor(row);
  ScrollToRow(row);
  Redraw();
}

std::vector<int> CZKPlaylist::RowsToCarry() const {
  std::vector<int> rows;
  if (!list_) return rows;
  if (list_->SelectedCount() > 0) {
    const int last = list_->LastSelected();
    for (int i = list_->FirstSelected(); i >= 0 && i <= last; ++i)
      if (const TZKListElement* row = list_->GetRow(i); row && row->selected) rows.push_back(i);
  }
  if (rows.empty() && list_->MainCursor() >= 0) rows.push_back(list_->MainCursor());
  return rows;
}

void CZKPlaylist::AddDroppedFiles(const std::vector<std::string>& files) {
  if (!list_) return;
  DebugLog("track list: %zu dropped files or folders join list \"%s\"", files.size(),
           list_->name.c_str());
  std::error_code error;
  for (const std::string& file : files) {
    if (std::filesystem::is_directory(file, error))
      list_->AddFolder(file, true, true);
    else
      list_->AddFile(file, true);
  }
}

}  // namespace vantaro
