#include "skin/browser.h"

#include <algorithm>
#include <cstdlib>

#include "control/control_event.h"
#include "library/browser_tree.h"
#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

constexpr int kIndent = 14;      // pixels per level
constexpr int kSignSize = 9;     // the expand sign's box
constexpr int kIconSize = 16;    // a cell of the skin's icon strip
constexpr int kBarWidth = 10;    // the scroll bar
constexpr int kMinThumb = 12;    // the smallest thumb, pixels
constexpr int kWheelStep = 120;  // one notch of the wheel
constexpr int kRowsPerNotch = 3;

// Wx key codes of the keys the tree takes.
constexpr int kKeyEnter = 13, kKeyLeft = 314, kKeyUp = 315, kKeyRight = 316, kKeyDown = 317;
constexpr int kKeyPageUp = 366, kKeyPageDown = 367, kKeyHome = 313, kKeyEnd = 312;

wxPoint CellOf(const ZKAttributeList& attributes, const char* x, const char* y) {
  if (!attributes.Has(x) || !attributes.Has(y)) return {-1, -1};
  return {attributes.GetInt(x), attributes.GetInt(y)};
}

bool Expandable(int kind) {
  return kind == kNodeGroup || kind == kNodeGroupLocal || kind == kNodeDisk ||
         kind == kNodeRemovable || kind == kNodeFolder || kind == kNodeFolderUnprobed ||
         kind == kNodeListGroup;
}

// The cell of the skin's icon strip for a node.
int IconIndex(const BrowserNode& node) {
  switch (node.kind) {
    case kNodeGroup:
    case kNodeGroupLocal:
    case kNodeListGroup:
      return 0;
    case kNodeDisk:
      return 1;
    case kNodeRemovable:
      return 2;
    case kNodeFixedList:
    case kNodeDeckAddsList:
      return 5;
    case kNodeUserList:
      return 6;
    case kNodeGenre:
      return 7;
    default:
      return node.expanded ? 4 : 3;
  }
}

}  // namespace

CZKBrowser::CZKBrowser(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {
  wantsDoubleClick = 1;
  noDownBeforeDouble = 1;
  smallFont_ = font;
  AcceptBrowserFileDrops(this);
  // The wheel over the tree scrolls the tree, not the track list the main
  // window routes it to elsewhere.
  Bind(wxEVT_MOUSEWHEEL, [this](wxMouseEvent& event) {
    if (ready) ScrollTo(top_ - event.GetWheelRotation() * kRowsPerNotch / kWheelStep);
  });
}

CZKBrowser::~CZKBrowser() = default;

void CZKBrowser::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  faces_.over = CellOf(attributes, "overx", "overy");
  faces_.down = CellOf(attributes, "downx", "downy");
  faces_.sel = CellOf(attributes, "selx", "sely");
  faces_.overSel = CellOf(attributes, "overselx", "oversely");
  faces_.downSel = CellOf(attributes, "downselx", "downsely");
  faces_.icons = CellOf(attributes, "iconx", "icony");
  fontColour_ = SkinColour(attributes, "fontcolor", wxColour(0xD0, 0xD0, 0xD0));
  selectedColour_ = SkinColour(attributes, "fontcolorselected", *wxWHITE);
  headerColour_ = SkinColour(attributes, "headerfontcolor", wxColour(0xF0, 0xC0, 0x60));
  backColour_ = SkinColour(attributes, "gridcolor", wxColour(0x18, 0x1A, 0x20));
  sliderColour_ = SkinColour(attributes, "slidercolor", wxColour(0x50, 0x58, 0x68));
  sliderBorder_ = SkinColour(attributes, "sliderbordercolor", wxColour(0x80, 0x88, 0x98));
  cursorColour_ = SkinColour(attributes, "cursorcolor", wxColour(0x30, 0x50, 0x90));
  cursorBorder_ = SkinColour(attributes, "cursorbordercolor", wxColour(0x60, 0x80, 0xC0));
  activeBorder_ = SkinColour(attributes, "borderactivecolor", wxColour(0x60, 0x80, 0xC0));
  smallFont_ = font;
  if (attributes.Has("fontsizesmall")) {
    const SkinFontChoice choice =
        ResolveSkinFont(attributes.GetText("fontname"), attributes.GetInt("fontsizesmall"),
                        attributes.GetText("fontstyle"));
    smallFont_ = MakeSkinFont(choice);
  }
  wxMemoryDC probe;
  probe.SetFont(font);
  rowHeight_ = std::max(probe.GetCharHeight() + 4, kIconSize + 2);
  ready = 1;
  Redraw();
}

void CZKBrowser::SetTree(BrowserTree* tree) {
  tree_ = tree;
  selected_ = 0;
  top_ = 0;
  hover_ = pressed_ = -1;
  Redraw();
}

int CZKBrowser::VisibleRows() const {
  return std::max(height / rowHeight_, 1);
}

bool CZKBrowser::ScrollBarShown() const {
  return tree_ && static_cast<int>(tree_->Shown().size()) > VisibleRows();
}

int CZKBrowser::ListWidth() const {
  return ScrollBarShown() ? width - kBarWidth : width;
}

int CZKBrowser::NodeAt(wxPoint at) const {
  if (!tree_ || at.x < 0 || at.x >= ListWidth() || at.y < 0 || at.y >= height) return 0;
  const int row = top_ + at.y / rowHeight_;
  return row < static_cast<int>(tree_->Shown().size()) ? tree_->Shown()[row] : 0;
}

void CZKBrowser::ScrollTo(int top) {
  const int rows = tree_ ? static_cast<int>(tree_->Shown().size()) : 0;
  top = std::clamp(top, 0, std::max(rows - VisibleRows(), 0));
  if (top == top_) return;
  top_ = top;
  Redraw();
}

void CZKBrowser::EnsureVisible(int row) {
  if (row < top_)
    ScrollTo(row);
  else if (row >= top_ + VisibleRows())
    ScrollTo(row - VisibleRows() + 1);
}

// The tree changed shape: keep the top in range and the selection real.
void CZKBrowser::Changed() {
  if (tree_ && !tree_->Node(selected_)) selected_ = 0;
  const int before = top_;
  ScrollTo(top_);
  if (before == top_) Redraw();
}

void CZKBrowser::Toggle(int id) {
  if (tree_ && tree_->ToggleNode(id)) Changed();
}

void CZKBrowser::MoveSelection(int row) {
  const int rows = static_cast<int>(tree_->Shown().size());
  if (rows == 0) return;
  SelectNode(tree_->Shown()[std::clamp(row, 0, rows - 1)]);
}

void CZKBrowser::Key(int code) {
  if (!tree_) return;
  const int row = tree_->IndexOfShown(selected_);
  const BrowserNode* node = tree_->Node(selected_);
  switch (code) {
    case kKeyUp:
      MoveSelection(row < 0 ? 0 : row - 1);
      break;
    case kKeyDown:
      MoveSelection(row + 1);
      break;
    case kKeyPageUp:
      MoveSelection(row - VisibleRows());
      break;
    case kKeyPageDown:
      MoveSelection(row + VisibleRows());
      break;
    case kKeyHome:
      MoveSelection(0);
      break;
    case kKeyEnd:
      MoveSelection(static_cast<int>(tree_->Shown().size()) - 1);
      break;
    case kKeyLeft:
      if (node && node->expanded)
        Toggle(node->id);
      else if (node && node->parent)
        SelectNode(node->parent);
      break;
    case kKeyRight:
      if (node && !node->expanded && Expandable(node->kind))
        Toggle(node->id);
      else if (node && node->expanded && !node->children.empty())
        SelectNode(node->children.front());
      break;
    case kKeyEnter:
      if (node) {
        Toggle(node->id);
        SelectNode(node->id);
      }
      break;
    default:
      break;
  }
}

void CZKBrowser::MouseDown(const ControlEvent& event) {
  if (!tree_) return;
  SetFocus();
  if (ScrollBarShown() && event.x >= ListWidth()) {
    const wxRect thumb = ThumbRect();
    if (event.y >= thumb.y && event.y < thumb.GetBottom()) {
      dragOffset_ = event.y - thumb.y;
      CaptureMouse();
    } else {
      ScrollTo(top_ + (event.y < thumb.y ? -VisibleRows() : VisibleRows()));
    }
    return;
  }
  const int id = NodeAt({event.x, event.y});
  if (!id) return;
  const BrowserNode* node = tree_->Node(id);
  pressed_ = tree_->IndexOfShown(id);
  const int signX = node->depth * kIndent;
  if (event.button == kButtonLeft && Expandable(node->kind) && event.x >= signX &&
      event.x < signX + kIndent) {
    Toggle(id);
    return;
  }
  SelectNode(id);
  if (event.button == kButtonRight) ShowMenu(id, {event.x, event.y});
}

void CZKBrowser::OnControlEvent(const ControlEvent& event) {
  if (!ready) return;
  switch (event.kind) {
    case mt_DOWN:
      MouseDown(event);
      break;
    case mt_DBLCLICK:
      if (const int id = NodeAt({event.x, event.y})) Toggle(id);
      break;
    case mt_UP:
      if (dragOffset_ >= 0 && HasCapture()) ReleaseMouse();
      dragOffset_ = -1;
      pressed_ = -1;
      Redraw();
      break;
    case mt_MOVE:
      if (dragOffset_ >= 0 && tree_) {
        const int track = height - ThumbRect().height;
        const int rows = static_cast<int>(tree_->Shown().size()) - VisibleRows();
        if (track > 0) ScrollTo((event.y - dragOffset_) * rows / track);
      } else if (const int row = event.y / rowHeight_ + top_; row != hover_) {
        hover_ = event.x < ListWidth() ? row : -1;
        Redraw();
      }
      break;
    case mt_LEAVE:
      hover_ = -1;
      Redraw();
      break;
    case mt_WHEEL:
      // A controller's wheel counts rows and moves the selection (down is
      // negative); a pointer's wheel routed here counts 120 a notch and
      // scrolls.
      if (tree_ && std::abs(event.status) < kWheelStep)
        MoveSelection(std::max(tree_->IndexOfShown(selected_), 0) - event.status);
      else
        ScrollTo(top_ - event.status * kRowsPerNotch / kWheelStep);
      break;
    case mt_CHAR:
      Key(event.code);
      break;
    case mt_STEP:
      Key(event.code == 1 ? kKeyUp : kKeyDown);
      break;
    default:
      break;
  }
}

void CZKBrowser::OnCaptureLost() {
  dragOffset_ = -1;
}

wxRect CZKBrowser::ThumbRect() const {
  const int rows = tree_ ? static_cast<int>(tree_->Shown().size()) : 0;
  if (rows <= VisibleRows()) return {ListWidth(), 0, kBarWidth, height};
  const int thumb = std::max(height * VisibleRows() / rows, kMinThumb);
  const int y = (height - thumb) * top_ / std::max(rows - VisibleRows(), 1);
  return {ListWidth(), y, kBarWidth, thumb};
}

void CZKBrowser::DrawControl() {
  if (!HasBackBuffer()) return;
  wxDC& dc = Back();
  wxPoint behind;
  if (ColourMode() || !SkinOriginOf(this, &behind) || !CopyFromSkin(behind.x, behind.y)) {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(backColour_));
    dc.DrawRectangle(0, 0, width, height);
  }
  if (tree_) {
    dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
    const int rows = static_cast<int>(tree_->Shown().size());
    for (int row = top_, y = 0; row < rows && y < height; ++row, y += rowHeight_)
      DrawRow(dc, row, y);
    if (ScrollBarShown()) DrawScrollBar(dc);
  }
  if (HasFocus()) {
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.SetPen(wxPen(activeBorder_));
    dc.DrawRectangle(0, 0, width, height);
  }
}

void CZKBrowser::DrawRowFace(wxDC& dc, const BrowserNode& node, int row, int y) {
  const bool selected = node.id == selected_;
  const bool pressed = row == pressed_, over = row == hover_;
  const wxPoint cell = selected ? (pressed ? faces_.downSel
                                   : over  ? faces_.overSel
                                           : faces_.sel)
                                : (pressed ? faces_.down
                                   : over  ? faces_.over
                                           : wxPoint(-1, -1));
  wxDC* skin = SkinImage::Get().Source();
  if (!ColourMode() && skin && cell.x >= 0) {
    dc.Blit(0, y, ListWidth(), rowHeight_, skin, cell.x, cell.y);
    return;
  }
  if (!selected && !over) return;
  dc.SetPen(wxPen(cursorBorder_));
  dc.SetBrush(selected ? wxBrush(cursorColour_) : *wxTRANSPARENT_BRUSH);
  dc.DrawRectangle(0, y, ListWidth(), rowHeight_);
}

void CZKBrowser::DrawSign(wxDC& dc, const BrowserNode& node, int x, int y) {
  if (!Expandable(node.kind)) return;
  const int top = y + (rowHeight_ - kSignSize) / 2, mid = top + kSignSize / 2;
  dc.SetPen(wxPen(fontColour_));
  dc.SetBrush(*wxTRANSPARENT_BRUSH);
  dc.DrawRectangle(x, top, kSignSize, kSignSize);
  dc.DrawLine(x + 2, mid, x + kSignSize - 2, mid);
  if (!node.expanded)
    dc.DrawLine(x + kSignSize / 2, top + 2, x + kSignSize / 2, top + kSignSize - 2);
}

void CZKBrowser::DrawIcon(wxDC& dc, const BrowserNode& node, int x, int y) {
  const int index = IconIndex(node);
  const int top = y + (rowHeight_ - kIconSize) / 2;
  wxDC* skin = SkinImage::Get().Source();
  if (!ColourMode() && skin && faces_.icons.x >= 0) {
    dc.Blit(x, top, kIconSize, kIconSize, skin, faces_.icons.x + index * kIconSize, faces_.icons.y);
    return;
  }
  // Without a strip: a folder is a tabbed box, a disk a flat slab, a list
  // three lines, a group or genre a dot.
  static const wxColour kColours[] = {{0xF0, 0xC0, 0x60}, {0xA0, 0xA8, 0xB0}, {0x60, 0xC0, 0xF0},
                                      {0xE0, 0xB0, 0x40}, {0xF0, 0xD0, 0x70}, {0x90, 0xD0, 0x90},
                                      {0x70, 0xE0, 0x90}, {0xD0, 0x90, 0xD0}};
  dc.SetPen(wxPen(kColours[index]));
  dc.SetBrush(wxBrush(kColours[index]));
  if (index == 3 || index == 4) {
    dc.DrawRectangle(x + 1, top + 3, 6, 2);
    dc.DrawRectangle(x + 1, top + 5, 14, 9);
  } else if (index == 1 || index == 2) {
    dc.DrawRoundedRectangle(x + 1, top + 5, 14, 7, 2);
  } else if (index == 5 || index == 6) {
    for (int line = 0; line < 3; ++line) dc.DrawRectangle(x + 2, top + 3 + line * 4, 12, 2);
  } else {
    dc.DrawCircle(x + 8, top + 8, 4);
  }
}

void CZKBrowser::DrawRow(wxDC& dc, int row, int y) {
  const BrowserNode& node = *tree_->Node(tree_->Shown()[row]);
  DrawRowFace(dc, node, row, y);
  const int x = node.depth * kIndent + 2;
  DrawSign(dc, node, x, y);
  DrawIcon(dc, node, x + kIndent, y);
  dc.SetFont(node.depth == 0 ? font : smallFont_);
  dc.SetTextForeground(node.id == selected_ ? selectedColour_
                       : node.depth == 0    ? headerColour_
                                            : fontColour_);
  const int textX = x + kIndent + kIconSize + 4;
  dc.SetClippingRegion(textX, y, std::max(ListWidth() - textX, 0), rowHeight_);
  const wxString label = wxString::FromUTF8(node.name);
  dc.DrawText(label, textX, y + (rowHeight_ - dc.GetCharHeight()) / 2);
  dc.DestroyClippingRegion();
}

void CZKBrowser::DrawScrollBar(wxDC& dc) {
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(backColour_));
  dc.DrawRectangle(ListWidth(), 0, kBarWidth, height);
  dc.SetPen(wxPen(sliderBorder_));
  dc.SetBrush(wxBrush(sliderColour_));
  dc.DrawRectangle(ThumbRect());
}

}  // namespace vantaro
