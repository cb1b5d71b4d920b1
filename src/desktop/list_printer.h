// Lists on paper, or as a PDF file.
#pragma once

#include <QAbstractItemView>
#include <QPrinter>
#include <QString>
#include <QTableView>

namespace vantry {

inline constexpr int kMostPrintedRows = 10'000;

// Prints what the list shows, with its columns as they stand, on as many pages as that takes; columns are narrowed
// together where the page is too narrow, and each page has the title, the headings and its number. The last
// rows of a longer list than kMostPrintedRows are left out, which each page says. Returns the number of pages. Of
// `icon_column` the icon alone is printed.
int PrintList(const QTableView& list, const QString& title, QPrinter& printer, int icon_column = -1);

// Opens a dialog that shows how that looks, and prints it when asked to. `list` outlives `parent`'s dialogs.
void PreviewList(QWidget* parent, const QTableView& list, const QString& title, int icon_column = -1);

}  // namespace vantry
