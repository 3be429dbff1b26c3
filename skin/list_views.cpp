#include "skin/list_views.h"

namespace vantaro {

namespace {
ListView* views[2] = {nullptr, nullptr};
}

void RegisterListView(ListViewRole role, ListView* view) {
  views[static_cast<int>(role)] = view;
}

ListView* FindListView(ListViewRole role) {
  return views[static_cast<int>(role)];
}

void RefreshListViewsOf(const CZKAbstractList* list) {
  for (ListView* view : views)
    if (view && list && view->ShownList() == list) view->RefreshList();
}

}  // namespace vantaro
