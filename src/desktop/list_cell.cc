#include "desktop/list_cell.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <algorithm>

namespace vantry {

void ListCell::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
  QStyledItemDelegate::initStyleOption(option, index);
  // No character is narrower than this on the average; laying out the rest of a long text would take as long as
  // painting a hundred cells.
  const qsizetype most = std::max(64, option->rect.width());
  if (option->text.size() > most) option->text.truncate(most);
}

void ListCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  if (index.column() != icon_column_) {
    QStyledItemDelegate::paint(painter, option, index);
    return;
  }
  QStyleOptionViewItem cell = option;
  initStyleOption(&cell, index);
  const QIcon icon = cell.icon;
  cell.icon = QIcon();
  cell.text.clear();
  cell.features &= ~(QStyleOptionViewItem::HasDecoration | QStyleOptionViewItem::HasDisplay);
  const QStyle* style = cell.widget ? cell.widget->style() : QApplication::style();
  style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, cell.widget);
  const QRect room = QStyle::alignedRect(cell.direction, Qt::AlignCenter, cell.decorationSize, cell.rect);
  const bool chosen = cell.state.testFlag(QStyle::State_Selected);
  icon.paint(painter, room.intersected(cell.rect), Qt::AlignCenter, chosen ? QIcon::Selected : QIcon::Normal);
}

int ListStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
  const int size = QProxyStyle::pixelMetric(metric, option, widget);
  if (!widget || (metric != PM_FocusFrameHMargin && metric != PM_HeaderMargin)) return size;
  return std::max(size, widget->fontMetrics().averageCharWidth() * 2 / 3);
}

}  // namespace vantry
