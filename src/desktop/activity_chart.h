// The last hour as four small charts of sixty bars: visitors, page views, spiders and exceptions a minute.
#pragma once

#include <QString>
#include <QWidget>
#include <optional>

#include "core/activity.h"

namespace vantry {

class ActivityChart final : public QWidget {
 public:
  explicit ActivityChart(QWidget* parent);

  // Repaints when the numbers are others.
  void ShowHour(const ActivityRing::Hour& hour);
  // What is told of a minute; 59 is the present one.
  QString MinuteText(int minute) const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  QRect BarsOf(size_t row) const;
  int LabelWidth() const;
  void PointAt(std::optional<int> minute);

  ActivityRing::Hour hour_{};
  std::optional<int> pointed_;  // The minute that is being read.
};

}  // namespace vantry
