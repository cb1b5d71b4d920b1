#include "desktop/list_printer.h"

#include <QHeaderView>
#include <QIcon>
#include <QPainter>
#include <QPrintPreviewDialog>
#include <algorithm>
#include <memory>
#include <vector>

namespace vantry {
namespace {

struct Column {
  int section = 0;
  double left = 0, width = 0;
};

// Where things go on a page. Lengths are in the painter's units.
class Page {
 public:
  Page(QPainter& painter, const QTableView& list, const QString& title, QRectF area, int icon_column)
      : painter_(painter), list_(list), title_(title), area_(area), icon_column_(icon_column) {
    QFont font = list.font();
    font.setPointSizeF(8);
    painter.setFont(font);
    line_ = QFontMetricsF(font, painter.device()).height() * 1.25;
    PlaceColumns();
  }

  int RowsPerPage() const { return std::max(1, static_cast<int>((area_.height() - 4 * line_) / line_)); }

  void PaintHead() {
    PaintText({area_.left(), area_.top(), area_.width(), line_}, title_, Qt::AlignLeft, true);
    for (const Column& column : columns_) {
      const QVariant heading = list_.model()->headerData(column.section, Qt::Horizontal);
      PaintText(Cell(column, 0), heading.toString(), AlignOf(column.section), true);
    }
    const double under = area_.top() + 3 * line_;
    painter_.drawLine(QPointF(area_.left(), under), QPointF(area_.right(), under));
  }

  // `line` counts from 1 below the headings.
  void PaintRow(int row, int line) {
    for (const Column& column : columns_) {
      const QModelIndex index = list_.model()->index(row, column.section);
      QRectF cell = Cell(column, line);
      if (const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>(); !icon.isNull()) {
        const double side = line_ * 0.8;
        icon.paint(&painter_, QRectF(cell.left(), cell.top() + line_ * 0.1, side, side).toRect());
        cell.setLeft(cell.left() + line_);
      }
      if (column.section == icon_column_) continue;
      PaintText(cell, index.data().toString(), AlignOf(column.section), false);
    }
  }

  // `left_out` rows are not printed at all.
  void PaintFoot(const QString& number, int left_out) {
    const QRectF foot(area_.left(), area_.bottom() - line_, area_.width(), line_);
    PaintText(foot, number, Qt::AlignRight, false);
    if (left_out > 0) PaintText(foot, QString("%1 more rows are not printed").arg(left_out), Qt::AlignLeft, false);
  }

 private:
  void PlaceColumns() {
    double whole = 0;
    for (int visual = 0; visual < list_.horizontalHeader()->count(); ++visual) {
      const int section = list_.horizontalHeader()->logicalIndex(visual);
      if (list_.isColumnHidden(section)) continue;
      columns_.push_back({section, 0, static_cast<double>(std::max(1, list_.columnWidth(section)))});
      whole += columns_.back().width;
    }
    double left = area_.left();
    for (Column& column : columns_) {
      column.width *= area_.width() / whole;
      column.left = left;
      left += column.width;
    }
  }
  QRectF Cell(const Column& column, int line) const {
    const double gap = line_ * 0.2;
    return {column.left, area_.top() + (2 + line) * line_, column.width - gap, line_};
  }
  Qt::Alignment AlignOf(int section) const {
    const QVariant align = list_.model()->headerData(section, Qt::Horizontal, Qt::TextAlignmentRole);
    return align.isValid() ? Qt::Alignment(align.toInt()) & Qt::AlignHorizontal_Mask : Qt::AlignLeft;
  }
  void PaintText(QRectF place, const QString& text, Qt::Alignment align, bool bold) {
    QFont font = painter_.font();
    font.setBold(bold);
    painter_.setFont(font);
    const QString fitting =
        QFontMetricsF(font, painter_.device()).elidedText(text, Qt::ElideRight, place.width(), Qt::TextSingleLine);
    painter_.drawText(place, static_cast<int>(align | Qt::AlignVCenter) | Qt::TextSingleLine, fitting);
  }

  QPainter& painter_;
  const QTableView& list_;
  const QString& title_;
  QRectF area_;
  int icon_column_;
  double line_ = 0;
  std::vector<Column> columns_;
};

}  // namespace

int PrintList(const QTableView& list, const QString& title, QPrinter& printer, int icon_column) {
  QPainter painter(&printer);
  if (!painter.isActive()) return 0;
  Page page(painter, list, title, QRectF(QPointF(0, 0), printer.pageRect(QPrinter::DevicePixel).size()), icon_column);
  // More is not for reading on paper, and each page takes memory until it is printed.
  const int rows = std::min(list.model()->rowCount(), kMostPrintedRows);
  const int per_page = page.RowsPerPage();
  const int pages = std::max(1, (rows + per_page - 1) / per_page);
  for (int number = 1; number <= pages; ++number) {
    if (number > 1) printer.newPage();
    page.PaintHead();
    const int first = (number - 1) * per_page;
    for (int row = first; row < std::min(rows, first + per_page); ++row) page.PaintRow(row, row - first + 1);
    page.PaintFoot(QString("%1 / %2").arg(number).arg(pages), list.model()->rowCount() - rows);
  }
  return pages;
}

void PreviewList(QWidget* parent, const QTableView& list, const QString& title, int icon_column) {
  const auto printer = std::make_shared<QPrinter>(QPrinter::HighResolution);
  printer->setDocName(title);
  printer->setPageOrientation(QPageLayout::Landscape);
  auto* dialog = new QPrintPreviewDialog(printer.get(), parent);
  dialog->setObjectName("printPreview");
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(dialog, &QPrintPreviewDialog::paintRequested, &list,
                   [&list, title, icon_column](QPrinter* to) { PrintList(list, title, *to, icon_column); });
  QObject::connect(dialog, &QObject::destroyed, [printer] {});  // Keeps it for as long as the dialog.
  dialog->open();
}

}  // namespace vantry
