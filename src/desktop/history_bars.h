// Counts of the history as bars: in the cells of a list, and one for each day.
#pragma once

#include <QStyledItemDelegate>
#include <QWidget>
#include <optional>
#include <string>
#include <vector>

#include "core/date_time.h"

namespace vantry {

// A cell with a bar behind its text; see HistoryModel::kShareRole.
class CountCell final : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

struct DayBar {
  Day day;
  int64_t count = 0;
  bool so_far = false;  // A day that has not ended: drawn lighter.
  QString text;         // What is told of it.
};

// A bar for each day from the first to the last; days without a count are gaps.
class DaysChart final : public QWidget {
 public:
  explicit DaysChart(QWidget* parent);

  void ShowDays(std::vector<DayBar> bars, const QString& caption);
  const std::vector<DayBar>& Bars() const { return bars_; }
  // The place of the day at this x; empty beside the bars.
  std::optional<size_t> BarAt(double x) const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  QRectF Room() const;
  QRectF PlaceOf(size_t bar) const;
  int64_t Days() const;
  void PointAt(std::optional<size_t> bar);

  std::vector<DayBar> bars_;  // By day.
  QString caption_;
  std::optional<size_t> pointed_;
};

}  // namespace vantry
