#pragma once
// CZKBrowser: the skin control that draws the browser's tree
// (library/browser_tree.h) as rows: an indent per level, a sign on nodes
// that expand, an icon, the label. A click selects a row and shows its list
// in the main track list (a folder's files fill in the background); the
// sign or a double-click expands; the keys walk the tree (up, down, left
// collapses or goes to the parent, right expands or goes to the first
// child, enter expands and shows); the wheel and the bar on the right
// scroll; the right button opens the node's menu.
//
// Skin attributes (all optional): row faces copied from the skin image at
// `overx`/`overy` (hovered), `downx`/`downy` (pressed), `selx`/`sely`
// (selected), `overselx`/`oversely`, `downselx`/`downsely`; an icon strip
// at `iconx`/`icony` (16 px cells: group, disk, removable, folder, open
// folder, list, user list, genre); colours `fontcolor`,
// `fontcolorselected`, `headerfontcolor` (root rows), `gridcolor` (the
// back), `slidercolor`, `sliderbordercolor`, `cursorcolor`,
// `cursorbordercolor` (the selected row), `borderactivecolor` (focus
// frame); `fontname`, `fontsize`, `fontstyle`, and `fontsizesmall` for the
// rows below the root. Without row faces or icons the rows are drawn from
// the colours.
//
// Rows dragged from a track list and let go on a list node are copied into
// that list; files dropped from the desktop on a list node are added to it.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include <functional>
#include <string>
#include <vector>

#include "skin/custom_control.h"
#include "skin/list_views.h"

class wxMenu;

namespace vantaro {

class BrowserTree;
struct BrowserNode;

// The commands of the node menu (wx menu ids).
enum BrowserCommand : int {
  kBrowserNewList = 6101,
  kBrowserRenameList,
  kBrowserDeleteList,
  kBrowserAddFavourite,
  kBrowserRemoveFavourite,
  kBrowserAnalyze,
};

class CZKBrowser : public ZKCustomControl, public RowDropTarget {
 public:
  CZKBrowser(wxWindow* parent, int controlId, int deck);
  ~CZKBrowser() override;

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;
  void OnCaptureLost() override;

  // The tree to draw; null draws an empty face (before the lists load, at
  // close). Not owned.
  void SetTree(BrowserTree* tree);
  BrowserTree* Tree() const { return tree_; }

  // Screen tick work: probes folders for subfolders (a few ms at most),
  // reads the mount table every few seconds, drains the folder list.
  void Tick();

  // The program's hooks: a list made by the browser is wired to the views'
  // repaint; "Analyze" hands each file of a list to the analysis queue.
  std::function<void(CZKAbstractList&)> wireList;
  std::function<void(const std::string& path)> analyze;

  // Selection by id; shows the node's list. False when there is no such row.
  bool SelectNode(int id);
  int SelectedNode() const { return selected_; }
  int TopRow() const { return top_; }
  int RowHeight() const { return rowHeight_; }
  int VisibleRows() const;
  // The node under a point of the control, 0 when none.
  int NodeAt(wxPoint at) const;

  // The menu of node `id`'s commands (for the right button and tests).
  std::vector<int> CommandsFor(int id) const;
  // Runs a menu command on node `id`; questions go through the program's
  // message boxes. False when the command does not apply.
  bool RunCommand(int command, int id);

  // RowDropTarget.
  bool DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint at) override;
  // Files from the desktop let go at `at`: added to the list under it.
  // False when no list node is there.
  bool DropFiles(const std::vector<std::string>& files, wxPoint at);

 private:
  struct Faces {
    wxPoint over{-1, -1}, down{-1, -1}, sel{-1, -1}, overSel{-1, -1}, downSel{-1, -1};
    wxPoint icons{-1, -1};
  };

  void DrawRow(wxDC& dc, int row, int y);
  void DrawRowFace(wxDC& dc, const BrowserNode& node, int row, int y);
  void DrawSign(wxDC& dc, const BrowserNode& node, int x, int y);
  void DrawIcon(wxDC& dc, const BrowserNode& node, int x, int y);
  void DrawScrollBar(wxDC& dc);
  int ListWidth() const;
  bool ScrollBarShown() const;
  wxRect ThumbRect() const;
  void ScrollTo(int top);
  void EnsureVisible(int row);
  void MouseDown(const ControlEvent& event);
  void Key(int code);
  void MoveSelection(int row);
  void Toggle(int id);
  void ShowMenu(int id, wxPoint at);
  CZKAbstractList* DropTargetList(wxPoint at);
  void Changed();

  BrowserTree* tree_ = nullptr;
  int selected_ = 0;
  int top_ = 0;
  int hover_ = -1, pressed_ = -1;  // rows; -1 none
  int rowHeight_ = 18;
  int dragOffset_ = -1;  // pointer to thumb top while the thumb is dragged
  int ticks_ = 0;
  Faces faces_;
  wxFont smallFont_;
  wxColour fontColour_, selectedColour_, headerColour_, backColour_, sliderColour_, sliderBorder_,
      cursorColour_, cursorBorder_, activeBorder_;
};

// Makes `browser` take files dropped from the desktop (text/uri-list).
void AcceptBrowserFileDrops(CZKBrowser* browser);

}  // namespace vantaro
