#include "desktop/history_bars.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "desktop/history_model.h"

namespace vantry {

void CountCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  QStyledItemDelegate::paint(painter, option, index);
  const QVariant share = index.data(HistoryModel::kShareRole);
  if (!share.isValid()) return;
  const bool chosen = option.state.testFlag(QStyle::State_Selected);
  QColor colour = option.palette.color(chosen ? QPalette::HighlightedText : QPalette::Highlight);
  // The text behind it stays readable.
  colour.setAlpha(70);
  const QRectF room = QRectF(option.rect).adjusted(1, 2, -1, -2);
  painter->fillRect(QRectF(room.left(), room.top(), std::max(1.0, room.width() * share.toDouble()), room.height()),
                    colour);
}

DaysChart::DaysChart(QWidget* parent) : QWidget(parent) {
  setObjectName("daysChart");
  setAccessibleName("Days");
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
}

void DaysChart::ShowDays(std::vector<DayBar> bars, const QString& caption) {
  bars_ = std::move(bars);
  caption_ = caption;
  pointed_.reset();
  setAccessibleDescription(bars_.empty() ? caption_ : bars_.back().text);
  update();
}

QSize DaysChart::sizeHint() const {
  const QFontMetrics metrics(font());
  return {metrics.averageCharWidth() * 80, metrics.height() * 10};
}

QSize DaysChart::minimumSizeHint() const {
  const QFontMetrics metrics(font());
  return {metrics.averageCharWidth() * 20, metrics.height() * 6};
}

// Above the line of dates.
QRectF DaysChart::Room() const {
  const double line = QFontMetricsF(font()).height();
  return QRectF(rect()).adjusted(line / 2, line * 1.6, -line / 2, -line * 1.6);
}

int64_t DaysChart::Days() const {
  return bars_.empty() ? 0 : bars_.back().day.n - bars_.front().day.n + 1;
}

QRectF DaysChart::PlaceOf(size_t bar) const {
  const QRectF room = Room();
  const double each = room.width() / static_cast<double>(std::max<int64_t>(1, Days()));
  // A few days don't become a few walls.
  const double width = std::min(each, QFontMetricsF(font()).height() * 3);
  const auto at = static_cast<double>(bars_[bar].day.n - bars_.front().day.n);
  const double gap = width > 3 ? std::min(width * 0.15, 4.0) : 0;
  return {room.left() + at * width, room.top(), std::max(1.0, width - gap), room.height()};
}

std::optional<size_t> DaysChart::BarAt(double x) const {
  for (size_t i = 0; i < bars_.size(); ++i) {
    const QRectF place = PlaceOf(i);
    if (x >= place.left() && x < place.right()) return i;
  }
  return std::nullopt;
}

void DaysChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRectF room = Room();
  const double line = QFontMetricsF(font()).height();
  int64_t most = 1;
  for (const DayBar& bar : bars_) most = std::max(most, bar.count);
  painter.setPen(palette().color(QPalette::WindowText));
  const QRectF head(room.left(), line * 0.2, room.width(), line);
  const QString shown = pointed_ ? bars_[*pointed_].text : caption_;
  painter.drawText(head, Qt::AlignLeft, QFontMetricsF(font()).elidedText(shown, Qt::ElideRight, head.width()));
  if (!bars_.empty() && !pointed_) painter.drawText(head, Qt::AlignRight, QString("most: %1").arg(most));
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawLine(room.bottomLeft(), room.bottomRight());
  for (size_t i = 0; i < bars_.size(); ++i) {
    const QRectF place = PlaceOf(i);
    if (i == pointed_) painter.fillRect(place, palette().color(QPalette::Mid));
    const auto part = static_cast<double>(bars_[i].count) / static_cast<double>(most);
    // What is there can be seen, however little it is.
    const double height = bars_[i].count > 0 ? std::max(2.0, place.height() * part) : 0;
    QColor colour = palette().color(QPalette::Highlight);
    if (bars_[i].so_far) colour.setAlpha(110);
    painter.fillRect(QRectF(place.left(), place.bottom() - height, place.width(), height), colour);
  }
  painter.setPen(palette().color(QPalette::WindowText));
  if (!bars_.empty()) {
    const QString first = bars_.front().text.section(':', 0, 0), last = bars_.back().text.section(':', 0, 0);
    const double both = QFontMetricsF(font()).horizontalAdvance(first + "  " + last);
    const double width = std::max(both, PlaceOf(bars_.size() - 1).right() - room.left());
    const QRectF foot(room.left(), room.bottom() + line * 0.3, width, line);
    painter.drawText(foot, Qt::AlignLeft, first);
    if (bars_.size() > 1) painter.drawText(foot, Qt::AlignRight, last);
  }
  if (hasFocus()) painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void DaysChart::PointAt(std::optional<size_t> bar) {
  if (bar == pointed_) return;
  pointed_ = bar;
  if (bar) setAccessibleDescription(bars_[*bar].text);
  update();
}

void DaysChart::mouseMoveEvent(QMouseEvent* event) {
  PointAt(BarAt(event->position().x()));
}

void DaysChart::leaveEvent(QEvent*) {
  PointAt(std::nullopt);
}

void DaysChart::keyPressEvent(QKeyEvent* event) {
  const int step = event->key() == Qt::Key_Left ? -1 : event->key() == Qt::Key_Right ? 1 : 0;
  if (step == 0 || bars_.empty()) return QWidget::keyPressEvent(event);
  const auto last = static_cast<int64_t>(bars_.size()) - 1;
  const int64_t now = pointed_ ? static_cast<int64_t>(*pointed_) : last;
  PointAt(static_cast<size_t>(std::clamp<int64_t>(now + step, 0, last)));
}

}  // namespace vantry
