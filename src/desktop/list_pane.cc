#include "desktop/list_pane.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>
#include <algorithm>
#include <utility>

#include "core/csv_text.h"
#include "desktop/chosen_index.h"
#include "desktop/list_text.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

struct PaneNames {
  const char* object;
  const char* accessible;
};

PaneNames NamesOf(ListKind kind) {
  switch (kind) {
    case ListKind::kVisitors:
      return {"VsGrid", "Current Visitors"};
    case ListKind::kAlerts:
      return {"logGrid", "Current Alerts"};
    case ListKind::kSpiders:
      return {"spiderGrid", "Visited Spiders"};
    case ListKind::kExceptions:
      return {"exGrid", "Exceptions"};
    case ListKind::kPages:
      return {"pageGrid", "Visited Pages"};
    case ListKind::kTrace:
      break;
  }
  return {"TraceGrid", "Log File Trace"};
}

// Ranges of a selection, or places of rows, as places in order.
std::vector<std::pair<int, int>> RunsOf(const std::vector<size_t>& places) {
  std::vector<std::pair<int, int>> runs;
  for (const size_t p : places) {
    const int place = static_cast<int>(p);
    if (!runs.empty() && runs.back().second == place - 1) {
      runs.back().second = place;
    } else {
      runs.emplace_back(place, place);
    }
  }
  return runs;
}

}  // namespace

ListPane::ListPane(LiveTables& t, const Regional& regional, ListKind kind, IconSource icons, QWidget* parent)
    : QTableView(parent),
      t_(t),
      kind_(kind),
      model_(MakeRowSource(t, regional, kind), std::move(icons)),
      columns_(*this, model_) {
  SetUpModel();
  SetUpLook();
  SetUpHeading();
  columns_.Reset();
  columns_.on_change = [this] {
    if (!needle_.empty()) SetSearch(needle_.Text());
  };
}

ListPane::~ListPane() {
  // The base class would ask a model and a style that are gone.
  setModel(nullptr);
  horizontalHeader()->setStyle(nullptr);
  setStyle(nullptr);
}

void ListPane::SetUpLook() {
  setStyle(&style_);
  horizontalHeader()->setStyle(&style_);
  setObjectName(NamesOf(kind_).object);
  setAccessibleName(NamesOf(kind_).accessible);
  setItemDelegate(new ListCell(kind_ == ListKind::kVisitors ? static_cast<int>(vs_grid::kKey) : -1, this));
  setSelectionBehavior(SelectRows);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(NoEditTriggers);
  setTabKeyNavigation(false);
  setAlternatingRowColors(true);
  setShowGrid(false);
  setWordWrap(false);
  setTextElideMode(Qt::ElideRight);
  setVerticalScrollMode(ScrollPerItem);
  setHorizontalScrollMode(ScrollPerPixel);
  setCornerButtonEnabled(false);
}

void ListPane::SetUpHeading() {
  QHeaderView& header = *horizontalHeader();
  header.setObjectName(objectName() + "Header");
  header.setSectionsMovable(true);
  header.setSectionsClickable(true);
  header.setStretchLastSection(kind_ != ListKind::kPages);
  if (kind_ == ListKind::kPages) header.setSectionResizeMode(page_grid::kPage, QHeaderView::Stretch);
  header.setHighlightSections(false);
  header.setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  verticalHeader()->hide();
  verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  SizeRows();
  if (kind_ == ListKind::kTrace) return;  // A ring in the order of the log.
  header.setSortIndicatorShown(true);
  header.setSortIndicatorClearable(true);
  header.setSortIndicator(-1, Qt::AscendingOrder);
  QObject::connect(&header, &QHeaderView::sortIndicatorChanged, this,
                   [this](int column, Qt::SortOrder order) { Change([&] { model_.Sort(column, order); }, true); });
}

void ListPane::SizeRows() {
  const int text = fontMetrics().height();
  setIconSize(QSize(text, text));
  verticalHeader()->setMinimumSectionSize(text);
  verticalHeader()->setDefaultSectionSize(text + text / 3);
}

void ListPane::SetUpModel() {
  setModel(&model_);
  QObject::connect(&model_, &QAbstractItemModel::modelAboutToBeReset, this, [this] { KeepChosen(); });
  QObject::connect(&model_, &QAbstractItemModel::modelReset, this, [this] { RestoreChosen(); });
  QObject::connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { TellSelection(); });
  QObject::connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this] { TellSelection(); });
  QObject::connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int value) {
    if (!changing_) follow_ = value >= verticalScrollBar()->maximum();
  });
}

void ListPane::Refresh() {
  columns_.ShowSites(t_.CurrentView <= 0);
  Change([this] { model_.Refresh(); }, false);
  if (!isVisible()) return;
  const int first = rowAt(0), last = rowAt(viewport()->height() - 1);
  const size_t end = last < 0 ? ShownRows() : static_cast<size_t>(last) + 1;
  if (first >= 0) model_.RefreshTexts(static_cast<size_t>(first), end);
}

void ListPane::SetSearch(const QString& text) {
  needle_ = Needle(text);
  Change([this] { model_.Search(needle_, SearchedColumns()); }, true);
  viewport()->update();
}

std::vector<bool> ListPane::SearchedColumns() const {
  std::vector<bool> columns(model_.Source().Columns());
  for (size_t column = 0; column < columns.size(); ++column) columns[column] = columns_.Shown(column);
  return columns;
}

void ListPane::ShowPagesOf(const std::string& key) {
  model_.Source().ShowPagesOf(key);
  Refresh();
}

void ListPane::Change(const std::function<void()>& change, bool to_chosen) {
  const bool outermost = !std::exchange(changing_, true);
  const int value = verticalScrollBar()->value();
  const bool any = value >= 0 && static_cast<size_t>(value) < ShownRows();
  const uint64_t top = any ? model_.RowAt(static_cast<size_t>(value)) : 0;
  setAutoScroll(false);
  bool changed = false;
  const auto note = [&changed] { changed = true; };
  const QMetaObject::Connection told[] = {QObject::connect(&model_, &QAbstractItemModel::modelReset, this, note),
                                          QObject::connect(&model_, &QAbstractItemModel::rowsRemoved, this, note),
                                          QObject::connect(&model_, &QAbstractItemModel::rowsInserted, this, note)};
  change();
  for (const QMetaObject::Connection& connection : told) QObject::disconnect(connection);
  if (changed) updateGeometries();
  const std::optional<uint64_t> chosen = ChosenRow();
  if (kind_ == ListKind::kTrace && follow_ && !t_.TraceGrid.locked) {
    if (changed || value < verticalScrollBar()->maximum()) scrollToBottom();
  } else if (to_chosen && chosen) {
    scrollTo(currentIndex());
  } else if (to_chosen) {
    verticalScrollBar()->setValue(0);
  } else if (changed && any) {
    ScrollBack(top, value);
  }
  setAutoScroll(true);
  if (!outermost) return;
  changing_ = false;
  TellSelection();
}

// Who looks at the beginning of a sorted list wants to see what comes there.
void ListPane::ScrollBack(uint64_t top, int value) {
  size_t place = static_cast<size_t>(value);
  if (model_.SortColumn() < 0) {
    place = model_.PlaceByArrival(top);
  } else if (value > 0) {
    const std::vector<size_t> places = model_.PlacesOf({top});
    if (!places.empty()) place = places.front();
  }
  verticalScrollBar()->setValue(static_cast<int>(place));
}

void ListPane::KeepChosen() {
  kept_ = {};
  for (const QItemSelectionRange& range : selectionModel()->selection()) {
    for (int place = range.top(); place <= range.bottom(); ++place) {
      kept_.rows.push_back(model_.RowAt(static_cast<size_t>(place)));
    }
  }
  std::sort(kept_.rows.begin(), kept_.rows.end());
  const QModelIndex current = currentIndex();
  if (!current.isValid()) return;
  kept_.current = model_.RowAt(static_cast<size_t>(current.row()));
  kept_.column = current.column();
}

void ListPane::RestoreChosen() {
  const bool was_changing = std::exchange(changing_, true);
  QItemSelection selection;
  const int last_column = model_.columnCount() - 1;
  for (const auto& [first, last] : RunsOf(model_.PlacesOf(kept_.rows))) {
    selection.append(QItemSelectionRange(model_.index(first, 0), model_.index(last, last_column)));
  }
  selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
  if (kept_.current) {
    const std::vector<size_t> places = model_.PlacesOf({*kept_.current});
    const int place = places.empty() ? -1 : static_cast<int>(places.front());
    if (place >= 0) selectionModel()->setCurrentIndex(model_.index(place, kept_.column), QItemSelectionModel::NoUpdate);
  }
  changing_ = was_changing;
}

std::optional<uint64_t> ListPane::ChosenRow() const {
  const QModelIndex chosen = ChosenIndex(*this);
  if (!chosen.isValid() || static_cast<size_t>(chosen.row()) >= ShownRows()) return std::nullopt;
  return model_.RowAt(static_cast<size_t>(chosen.row()));
}

void ListPane::TellSelection() {
  if (changing_ || told_ == ChosenRow()) return;
  told_ = ChosenRow();
  if (on_selection) on_selection();
}

std::optional<SelectedRow> ListPane::Selected() const {
  const std::optional<uint64_t> row = ChosenRow();
  SelectedRow out;
  if (!row || !model_.Source().Describe(*row, out)) return std::nullopt;
  return out;
}

std::string ListPane::Csv() const {
  const std::vector<size_t> columns = columns_.ShownInOrder();
  std::string out = "\xEF\xBB\xBF";
  const auto add_line = [&](const auto& text_of) {
    for (size_t i = 0; i < columns.size(); ++i) out.append(i > 0 ? "," : "").append(CsvField(text_of(columns[i])));
    out += "\r\n";
  };
  add_line([this](size_t column) { return model_.ColumnName(column).toStdString(); });
  for (size_t place = 0; place < ShownRows(); ++place) {
    add_line([&](size_t column) { return model_.CellText(place, column); });
  }
  return out;
}

void ListPane::CopySelection() const {
  std::vector<size_t> places;
  for (const QItemSelectionRange& range : selectionModel()->selection()) {
    for (int place = range.top(); place <= range.bottom(); ++place) places.push_back(static_cast<size_t>(place));
  }
  if (places.empty()) return;
  std::sort(places.begin(), places.end());
  QString text;
  for (const size_t place : places) {
    QStringList cells;
    for (const size_t column : columns_.ShownInOrder()) cells.append(ShownText(model_.CellText(place, column)));
    text += cells.join('\t') + '\n';
  }
  QGuiApplication::clipboard()->setText(text);
}

void ListPane::SetEmptyHint(const QString& hint) {
  hint_ = hint;
  viewport()->update();
}

void ListPane::contextMenuEvent(QContextMenuEvent* event) {
  const bool by_key = event->reason() == QContextMenuEvent::Keyboard;
  const QModelIndex index = by_key ? currentIndex() : indexAt(event->pos());
  if (!index.isValid()) return;
  if (!selectionModel()->isSelected(index)) {
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  }
  if (by_key) scrollTo(index);
  const QPoint at = by_key ? visualRect(index).center() : event->pos();
  if (on_menu) on_menu(viewport()->mapToGlobal(at));
}

void ListPane::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Copy)) {
    CopySelection();
    event->accept();
    return;
  }
  QTableView::keyPressEvent(event);
}

// The first and last row: without an entry in a cell, the ends of a row mean nothing.
QModelIndex ListPane::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
  if ((action != MoveHome && action != MoveEnd) || ShownRows() == 0) return QTableView::moveCursor(action, modifiers);
  const std::vector<size_t> columns = columns_.ShownInOrder();
  const int first = columns.empty() ? 0 : static_cast<int>(columns.front());
  const int column = currentIndex().isValid() ? currentIndex().column() : first;
  return model_.index(action == MoveHome ? 0 : model_.rowCount() - 1, column);
}

void ListPane::paintEvent(QPaintEvent* event) {
  QTableView::paintEvent(event);
  const QString hint = needle_.empty() ? hint_ : QStringLiteral("Nothing here fits the search.");
  if (ShownRows() > 0 || hint.isEmpty()) return;
  QPainter painter(viewport());
  painter.setPen(palette().color(QPalette::PlaceholderText));
  const int margin = fontMetrics().height();
  painter.drawText(viewport()->rect().adjusted(margin, margin, -margin, -margin), Qt::AlignCenter | Qt::TextWordWrap,
                   hint);
}

void ListPane::showEvent(QShowEvent* event) {
  QTableView::showEvent(event);
  Refresh();
}

void ListPane::changeEvent(QEvent* event) {
  QTableView::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) SizeRows();
}

bool ListPane::viewportEvent(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QTableView::viewportEvent(event);
  const auto* help = static_cast<QHelpEvent*>(event);
  const QModelIndex index = indexAt(help->pos());
  const QString tip = index.isValid() ? TipAt(index) : QString();
  if (tip.isEmpty()) {
    QToolTip::hideText();
  } else {
    QToolTip::showText(help->globalPos(), tip, viewport(), visualRect(index));
  }
  return true;
}

// What is known of the row, and a text that its cell has no room for.
QString ListPane::TipAt(const QModelIndex& index) const {
  const auto place = static_cast<size_t>(index.row());
  QString tip = ShownText(model_.Source().Tip(model_.RowAt(place)));
  const bool has_icon = index.data(Qt::DecorationRole).isValid();
  const int room = visualRect(index).width() - (has_icon ? iconSize().width() : 0) - fontMetrics().averageCharWidth();
  const bool text_shown = kind_ != ListKind::kVisitors || index.column() != vs_grid::kKey;
  if (text_shown && fontMetrics().horizontalAdvance(index.data().toString().left(1'000)) > room) {
    tip = index.data().toString() + (tip.isEmpty() ? "" : "\n" + tip);
  }
  return PlainTip(tip);
}

}  // namespace vantry
