// How the cells of lists are painted.
#pragma once

#include <QProxyStyle>
#include <QStyledItemDelegate>

namespace vantry {

class ListCell final : public QStyledItemDelegate {
 public:
  // The text of `icon_column` is for those who can't see: its cells show their icon alone. -1 for none.
  explicit ListCell(int icon_column, QObject* parent) : QStyledItemDelegate(parent), icon_column_(icon_column) {}

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

 private:
  const int icon_column_;
};

// The style of the program with more room beside the texts of cells and headings, so that a number does not touch the
// text of the next column.
class ListStyle final : public QProxyStyle {
 public:
  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
};

}  // namespace vantry
