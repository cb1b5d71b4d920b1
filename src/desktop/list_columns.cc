#include "desktop/list_columns.h"

#include <QFontMetrics>
#include <QHeaderView>
#include <QMenu>
#include <QStyle>
#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

#include "core/text.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

constexpr int kWidest = 4'000;

struct ColumnPlace {
  int place = 0, width = 0;
  bool hidden = false;
};

// "3 120" or "3 120 hidden": the place from the left, the width, and whether it is hidden.
std::optional<ColumnPlace> ReadPlace(std::string_view text) {
  const std::vector<std::string_view> words = Split(text, ' ');
  if (words.size() < 2 || words.size() > 3) return std::nullopt;
  ColumnPlace out;
  for (const auto& [word, number] : {std::pair{words[0], &out.place}, std::pair{words[1], &out.width}}) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), *number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  }
  if (words.size() == 3 && words[2] != "hidden") return std::nullopt;
  out.hidden = words.size() == 3;
  return out;
}

}  // namespace

ListColumns::ListColumns(QTableView& view, const ListModel& model)
    : view_(view), model_(model), hidden_(model.Source().Columns()), widths_(model.Source().Columns()) {
  QHeaderView& header = *view_.horizontalHeader();
  QObject::connect(&header, &QHeaderView::sectionResized, &view_, [this, &header](int column, int, int width) {
    const bool last = header.visualIndex(column) == header.count() - 1;
    if (!stretching_ && width > 0 && !last) widths_[static_cast<size_t>(column)] = width;
  });
  QObject::connect(&header, &QHeaderView::customContextMenuRequested, &view_,
                   [this, &header](const QPoint& at) { OpenMenu(header.mapToGlobal(at)); });
  header.setContextMenuPolicy(Qt::CustomContextMenu);
}

int ListColumns::FirstWidth(size_t column) const {
  const QFontMetrics metrics = view_.fontMetrics();
  const RowSource& source = model_.Source();
  // A cell's own margin, and that of the text in it.
  const int margin = 2 * (view_.style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, &view_) + 1);
  const int text = source.Width(column) * metrics.averageCharWidth() + 2 * margin;
  return std::max(text, view_.horizontalHeader()->sectionSizeHint(static_cast<int>(column)));
}

void ListColumns::Reset() {
  QHeaderView& header = *view_.horizontalHeader();
  std::fill(hidden_.begin(), hidden_.end(), false);
  for (int column = 0; column < header.count(); ++column) {
    header.moveSection(header.visualIndex(column), column);
    widths_[static_cast<size_t>(column)] = FirstWidth(static_cast<size_t>(column));
  }
  Apply();
}

void ListColumns::Apply() {
  stretching_ = true;
  for (size_t column = 0; column < hidden_.size(); ++column) {
    const int section = static_cast<int>(column);
    view_.setColumnHidden(section, !Shown(column));
    if (Shown(column)) view_.setColumnWidth(section, widths_[column]);
  }
  stretching_ = false;
  if (on_change) on_change();
}

void ListColumns::ShowSites(bool shown) {
  if (sites_shown_ == shown || model_.Source().SiteColumn() >= hidden_.size()) return;
  sites_shown_ = shown;
  Apply();
}

bool ListColumns::Shown(size_t column) const {
  return !hidden_[column] && (sites_shown_ || column != model_.Source().SiteColumn());
}

std::vector<size_t> ListColumns::ShownInOrder() const {
  std::vector<size_t> columns;
  const QHeaderView& header = *view_.horizontalHeader();
  for (int place = 0; place < header.count(); ++place) {
    const auto column = static_cast<size_t>(header.logicalIndex(place));
    if (Shown(column)) columns.push_back(column);
  }
  return columns;
}

// Those that stay when the site column goes.
size_t ListColumns::CountChosen() const {
  size_t count = 0;
  for (size_t column = 0; column < hidden_.size(); ++column) {
    count += !hidden_[column] && column != model_.Source().SiteColumn();
  }
  return count;
}

void ListColumns::Hide(size_t column, bool hidden) {
  hidden_[column] = hidden;
  Apply();
}

std::map<std::string, std::string> ListColumns::State() const {
  std::map<std::string, std::string> state;
  for (size_t column = 0; column < hidden_.size(); ++column) {
    const int place = view_.horizontalHeader()->visualIndex(static_cast<int>(column)) + 1;
    std::string text = std::to_string(place) + " " + std::to_string(widths_[column]);
    if (hidden_[column]) text += " hidden";
    state[model_.ColumnName(column).toStdString()] = std::move(text);
  }
  return state;
}

void ListColumns::Restore(const std::map<std::string, std::string>& state) {
  std::vector<int> places(hidden_.size());
  for (size_t column = 0; column < hidden_.size(); ++column) {
    places[column] = static_cast<int>(column) + 1;
    const auto entry = state.find(model_.ColumnName(column).toStdString());
    const auto read = entry == state.end() ? std::nullopt : ReadPlace(entry->second);
    if (!read) continue;
    places[column] = read->place;
    widths_[column] = std::clamp(read->width, view_.horizontalHeader()->minimumSectionSize(), kWidest);
    hidden_[column] = read->hidden;
  }
  if (CountChosen() == 0) std::fill(hidden_.begin(), hidden_.end(), false);
  std::vector<int> order(hidden_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](int a, int b) { return places[static_cast<size_t>(a)] < places[static_cast<size_t>(b)]; });
  QHeaderView& header = *view_.horizontalHeader();
  for (int place = 0; place < header.count(); ++place) {
    header.moveSection(header.visualIndex(order[static_cast<size_t>(place)]), place);
  }
  Apply();
}

void ListColumns::OpenMenu(const QPoint& global) {
  auto* menu = new QMenu(&view_);
  menu->setObjectName("columnMenu");
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (size_t column = 0; column < hidden_.size(); ++column) {
    const QString name = model_.ColumnName(column);
    QAction* action = menu->addAction(QString(name).replace("&", "&&"));
    action->setObjectName("column" + QString(name).remove(' '));
    action->setCheckable(true);
    action->setChecked(!hidden_[column]);
    const bool counts = column != model_.Source().SiteColumn();
    action->setEnabled(hidden_[column] || !counts || CountChosen() > 1);
    QObject::connect(action, &QAction::toggled, &view_, [this, column](bool checked) { Hide(column, !checked); });
  }
  menu->addSeparator();
  QAction* reset = menu->addAction("Reset Columns");
  reset->setObjectName("resetColumns");
  QObject::connect(reset, &QAction::triggered, &view_, [this] { Reset(); });
  menu->popup(global);
}

}  // namespace vantry
