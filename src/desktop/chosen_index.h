#pragma once

#include <QAbstractItemView>
#include <QItemSelectionModel>

namespace vantry {

// The row that somebody has chosen: the current one, or else the first that is selected, as screen readers select rows
// without going there. Invalid when there is none.
inline QModelIndex ChosenIndex(const QAbstractItemView& view) {
  const QItemSelectionModel& selected = *view.selectionModel();
  if (const QModelIndex current = view.currentIndex(); current.isValid() && selected.isSelected(current))
    return current;
  const QItemSelection ranges = selected.selection();
  if (ranges.isEmpty()) return {};
  return ranges.first().topLeft();
}

}  // namespace vantry
