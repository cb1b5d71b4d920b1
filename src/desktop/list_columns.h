// The columns of a list: how wide they are, in which order, and which of them are hidden.
#pragma once

#include <QPoint>
#include <QTableView>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "desktop/list_model.h"

namespace vantry {

// Works on the heading of a view, which outlives it.
class ListColumns {
 public:
  ListColumns(QTableView& view, const ListModel& model);

  // As they are at first: in the order of the list, as wide as their headings say, none hidden.
  void Reset();
  // Hides the site column while one site is shown, whatever the operator chose.
  void ShowSites(bool shown);
  bool Shown(size_t column) const;
  // Those that are shown, from left to right.
  std::vector<size_t> ShownInOrder() const;
  // Each column's place, width and whether it is hidden, by the column's name.
  std::map<std::string, std::string> State() const;
  // What it can't read it leaves as it is.
  void Restore(const std::map<std::string, std::string>& state);
  // A menu of the columns, each of which it shows or hides.
  void OpenMenu(const QPoint& global);

  std::function<void()> on_change;  // Others are shown than before.

 private:
  int FirstWidth(size_t column) const;
  void Hide(size_t column, bool hidden);
  void Apply();
  size_t CountChosen() const;

  QTableView& view_;
  const ListModel& model_;
  std::vector<bool> hidden_;  // By the operator.
  std::vector<int> widths_;   // As the operator left them: the last one is stretched.
  bool sites_shown_ = true;
  bool stretching_ = false;  // Widths that change now are not the operator's doing.
};

}  // namespace vantry
