#include "desktop/activity_chart.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <iterator>

namespace vantry {
namespace {

struct Row {
  const char* caption;
  const char* one;
  const char* many;
  int32_t ActivityMinute::*value;
  bool alarm;
};

constexpr Row kRows[] = {
    {"Active visitors", "visitor", "visitors", &ActivityMinute::visitors, false},
    {"Page views", "page view", "page views", &ActivityMinute::page_views, false},
    {"Spiders", "spider", "spiders", &ActivityMinute::spiders, false},
    {"Exceptions", "exception", "exceptions", &ActivityMinute::exceptions, true},
};

constexpr int kLast = ActivityRing::kMinutes - 1;

}  // namespace

ActivityChart::ActivityChart(QWidget* parent) : QWidget(parent) {
  setObjectName("activityChart");
  setAccessibleName("Activity");
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
}

void ActivityChart::ShowHour(const ActivityRing::Hour& hour) {
  if (hour == hour_) return;
  hour_ = hour;
  setAccessibleDescription(MinuteText(pointed_.value_or(kLast)));
  update();
}

QString ActivityChart::MinuteText(int minute) const {
  const ActivityMinute& at = hour_[static_cast<size_t>(minute)];
  QString text = minute == kLast ? "This minute: " : QString("%1 min ago: ").arg(kLast - minute);
  for (const Row& row : kRows) {
    const int32_t value = at.*row.value;
    text +=
        (row.value == kRows[0].value ? "" : ", ") + QString::number(value) + " " + (value == 1 ? row.one : row.many);
  }
  return text;
}

QSize ActivityChart::sizeHint() const {
  const QFontMetrics metrics(font());
  return {LabelWidth() + metrics.averageCharWidth() * 60, metrics.height() * 11};
}

QSize ActivityChart::minimumSizeHint() const {
  const QFontMetrics metrics(font());
  return {LabelWidth() + metrics.averageCharWidth() * 20, metrics.height() * 7};
}

int ActivityChart::LabelWidth() const {
  const QFontMetrics metrics(font());
  int width = 0;
  for (const Row& row : kRows) width = std::max(width, metrics.horizontalAdvance(row.caption));
  return width + metrics.horizontalAdvance(" 00,000 ") + metrics.averageCharWidth();
}

// The rows share the height above the line of text at the bottom.
QRect ActivityChart::BarsOf(size_t row) const {
  const int line = QFontMetrics(font()).height();
  const int height = std::max(1, this->height() - line * 3 / 2) / static_cast<int>(std::size(kRows));
  const int gap = std::max(2, line / 4);
  return {LabelWidth(), static_cast<int>(row) * height + gap, std::max(1, width() - LabelWidth() - gap), height - gap};
}

void ActivityChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const int line = QFontMetrics(font()).height();
  for (size_t r = 0; r < std::size(kRows); ++r) {
    const Row& row = kRows[r];
    const QRect bars = BarsOf(r);
    int32_t most = 1;
    for (const ActivityMinute& minute : hour_) most = std::max(most, minute.*row.value);
    const int32_t shown = hour_[static_cast<size_t>(pointed_.value_or(kLast))].*row.value;
    const QRect label(0, bars.top(), LabelWidth() - line / 2, bars.height());
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(label.adjusted(line / 4, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, row.caption);
    painter.drawText(label, Qt::AlignRight | Qt::AlignVCenter, QString::number(shown));
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(bars.bottomLeft(), bars.bottomRight());
    const QColor colour = row.alarm ? QColor(0xD8, 0x3B, 0x3B) : palette().color(QPalette::Highlight);
    for (int m = 0; m < ActivityRing::kMinutes; ++m) {
      const int32_t value = hour_[static_cast<size_t>(m)].*row.value;
      if (value <= 0 && m != pointed_) continue;
      const double left = bars.left() + bars.width() * m / static_cast<double>(ActivityRing::kMinutes);
      const double bar = std::max(1.0, bars.width() / static_cast<double>(ActivityRing::kMinutes) - 1);
      // What is there can be seen, however little it is.
      const double height = value > 0 ? std::max(2.0, (bars.height() - 2.0) * value / most) : 0;
      if (m == pointed_) painter.fillRect(QRectF(left, bars.top(), bar, bars.height()), palette().color(QPalette::Mid));
      painter.fillRect(QRectF(left, bars.bottom() - height, bar, height), colour);
    }
  }
  painter.setPen(palette().color(QPalette::WindowText));
  const QRect foot(LabelWidth(), height() - line * 5 / 4, width() - LabelWidth() - line / 4, line);
  if (pointed_) {
    painter.drawText(QRect(line / 4, foot.top(), width() - line / 2, line), Qt::AlignLeft, MinuteText(*pointed_));
  } else {
    painter.drawText(foot, Qt::AlignLeft, "1 hour ago");
    painter.drawText(foot, Qt::AlignRight, "now");
  }
  if (hasFocus()) painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void ActivityChart::PointAt(std::optional<int> minute) {
  if (minute == pointed_) return;
  pointed_ = minute;
  setAccessibleDescription(MinuteText(pointed_.value_or(kLast)));
  update();
}

void ActivityChart::mouseMoveEvent(QMouseEvent* event) {
  const QRect bars = BarsOf(0);
  const int x = event->position().toPoint().x() - bars.left();
  if (x < 0) return PointAt(std::nullopt);
  PointAt(std::min(kLast, x * ActivityRing::kMinutes / bars.width()));
}

void ActivityChart::leaveEvent(QEvent*) {
  PointAt(std::nullopt);
}

void ActivityChart::focusOutEvent(QFocusEvent* event) {
  PointAt(std::nullopt);
  QWidget::focusOutEvent(event);
}

void ActivityChart::keyPressEvent(QKeyEvent* event) {
  const int step = event->key() == Qt::Key_Left ? -1 : event->key() == Qt::Key_Right ? 1 : 0;
  if (step == 0) return QWidget::keyPressEvent(event);
  PointAt(std::clamp(pointed_.value_or(kLast) + step, 0, kLast));
}

}  // namespace vantry
