#include "desktop/history_window.h"

#include <QHeaderView>
#include <QShortcut>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "desktop/chosen_index.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

// In the order of HistoryKind.
constexpr HistoryLook kLooks[] = {
    {"frmPrevVisits", "Previous Visits", "GridPrev", "frmPrevVisits.GetPrev", "frmPrevVisits.ToolClick", "Visit",
     "Visits", 5},
    {"frmVisitDetails", "Visit Details", "Grid", "frmVisitDetails.FillGrid", "frmVisitDetails.ToolClick", "Row", "Rows",
     6},
    {"frmReferers", "Top Referrers", "Ref", "frmReferers.LoadGrid", "frmReferrers.ToolClick", "Referrer", "Referrers",
     4},
    {"frmPrevDownloads", "Downloaded Files", "GridPrev", "frmPrevDownloads.GetPrev", "frmPrevDownloads.ToolClick",
     "Download", "Downloads", 8},
    {"frmTopDownloads", "Top Downloads", "Ref", "frmTopDownloads.LoadGrid", "frmTopDownloads.ToolClick", "Downloads",
     "Downloads", 7},
    {"frmDays", "Days", "GridDays", "frmDays.LoadGrid", "frmDays.ToolClick", "Day", "Days", 9},
};

}  // namespace

HistoryWindow::HistoryWindow(HistoryLinks links, HistoryKind kind, QWidget* parent)
    : QWidget(parent, Qt::Window),
      links_(std::move(links)),
      kind_(kind),
      look_(kLooks[static_cast<size_t>(kind)]),
      model_(new HistoryModel(links_.parts.regional, this)) {
  setObjectName(look_.name);
  setWindowTitle(look_.caption);
  setAccessibleName(look_.caption);
  setAttribute(Qt::WA_DeleteOnClose);
  auto* column = new QVBoxLayout(this);
  setLayout(column);
  MakeTools();
  title_ = PlainLabel("lblTitle", "", this);
  QFont bold = font();
  bold.setBold(true);
  title_->setFont(bold);
  title_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  column->addWidget(title_);
  if (kind_ == HistoryKind::kDays) {
    chart_ = new DaysChart(this);
    column->addWidget(chart_);
  }
  MakeGrid();
  column->addWidget(grid_, 1);
  state_ = PlainLabel("miStat", "", this);
  column->addWidget(state_);
  const QFontMetrics metrics(font());
  const QMargins around = column->contentsMargins();
  int width = metrics.averageCharWidth() * (kind_ == HistoryKind::kVisitDetails ? 90 : 130);
  // In less room the bars would hide tools.
  for (const QToolBar* bar : {bar_, subject_bar_}) {
    width = std::max(width, bar->sizeHint().width() + around.left() + around.right());
  }
  resize(width, metrics.height() * 32);
  grid_->setFocus();
  fill_.setInterval(0);
  QObject::connect(&fill_, &QTimer::timeout, this, [this] { Fill(); });
  model_->on_wish = [this] {
    stopped_ = false;
    if (!failed_ || model_->List().Ended()) fill_.start();
  };
}

void HistoryWindow::MakeGrid() {
  grid_ = new QTableView(this);
  grid_->setObjectName(look_.grid);
  grid_->setAccessibleName(look_.caption);
  grid_->setModel(model_);
  grid_->setSelectionBehavior(QAbstractItemView::SelectRows);
  grid_->setSelectionMode(QAbstractItemView::SingleSelection);
  grid_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  grid_->setAlternatingRowColors(true);
  grid_->setShowGrid(false);
  grid_->setWordWrap(false);
  grid_->setTabKeyNavigation(false);
  grid_->verticalHeader()->hide();
  // A million rows are not measured one by one.
  grid_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  grid_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() * 3 / 2);
  QHeaderView& header = *grid_->horizontalHeader();
  header.setSectionsClickable(true);
  header.setHighlightSections(false);
  header.setStretchLastSection(kind_ != HistoryKind::kDays);
  header.setSortIndicatorShown(true);
  header.setSortIndicator(-1, Qt::AscendingOrder);
  QObject::connect(&header, &QHeaderView::sectionClicked, this, [this](int column) { SortBy(column); });
  QObject::connect(grid_, &QTableView::doubleClicked, this, [this](const QModelIndex& index) { Follow(index); });
  auto* enter = new QShortcut(Qt::Key_Return, grid_, nullptr, nullptr, Qt::WidgetShortcut);
  QObject::connect(enter, &QShortcut::activated, this, [this] { Follow(ChosenIndex(*grid_)); });
}

// Up, down, and as the list is by itself.
void HistoryWindow::SortBy(int column) {
  QHeaderView& header = *grid_->horizontalHeader();
  Qt::SortOrder order = Qt::AscendingOrder;
  if (model_->SortColumn() == column) {
    if (model_->SortOrder() == Qt::DescendingOrder) column = -1;
    order = Qt::DescendingOrder;
  }
  header.setSortIndicator(column, order);
  model_->sort(column, order);
}

void HistoryWindow::SizeColumns() {
  const QFontMetrics metrics(grid_->font());
  const auto& columns = model_->List().Columns();
  for (size_t c = 0; c < columns.size(); ++c) {
    const int heading = grid_->horizontalHeader()->sectionSizeHint(static_cast<int>(c));
    // The texts of headings say how wide a column is, and five digits are wider than "No".
    const int characters = std::max(columns[c].width + 2, columns[c].kind == CellKind::kVisitNo ? 8 : 0);
    grid_->setColumnWidth(static_cast<int>(c), std::max(heading, characters * metrics.averageCharWidth()));
    if (columns[c].has_bar && !grid_->itemDelegateForColumn(static_cast<int>(c))) {
      grid_->setItemDelegateForColumn(static_cast<int>(c), new CountCell(grid_));
    }
  }
}

std::unique_ptr<HistoryList> HistoryWindow::MakeList() const {
  ProgramHistory& tables = links_.parts.history;
  switch (kind_) {
    case HistoryKind::kPrevVisits:
      if (!subject_.referrer.empty()) return VisitsFrom(tables, subject_.site, subject_.referrer);
      return PreviousVisits(tables, {subject_.ip, subject_.site});
    case HistoryKind::kVisitDetails:
      return VisitDetails(tables, {{subject_.ip, subject_.site}, subject_.visit, subject_.day},
                          [&t = links_.parts.t](std::string_view code) {
                            for (const CountryEntry& country : t.Countries) {
                              if (country.Code == code) return country.Name;
                            }
                            return std::string(code);
                          });
    case HistoryKind::kReferers:
      return TopReferrers(tables, subject_.site);
    case HistoryKind::kPrevDownloads:
      return PreviousDownloads(tables, {subject_.ip, subject_.site});
    case HistoryKind::kTopDownloads:
      return TopDownloads(tables, subject_.site, {subject_.day, subject_.day},
                          subject_.day ? links_.parts.regional.ShortDate(*subject_.day) : std::string());
    default:
      return Days(tables, subject_.site, Span(), Today());
  }
}

// The days that `cmboSpan` says.
DayRange HistoryWindow::Span() const {
  const int days = span_->currentData().toInt();
  if (days <= 0) return {};
  return {Day{links_.parts.t.Today.n - days + 1}, {}};
}

std::optional<DaySoFar> HistoryWindow::Today() const {
  const LiveTables& t = links_.parts.t;
  DaySoFar today{t.Today};
  for (const SiteRec& site : t.Sites) {
    if (!subject_.site.empty() && site.Name != subject_.site) continue;
    const DayCounts counts{site.TodayVisitors, site.TodayAlerts, site.TodaySpiders, site.TodayExceptions,
                           site.TodayDownloads};
    for (size_t i = 0; i < counts.size(); ++i) today.counts[i] += counts[i];
  }
  return today;
}

void HistoryWindow::Ask(const HistorySubject& subject) {
  if (links_.parts.t.Closing) return;
  subject_ = subject;
  then_ = nullptr;
  failed_ = stopped_ = false;
  ShowSubject();
  const size_t columns = model_->HasList() ? model_->List().Columns().size() : 0;
  model_->Show(MakeList());
  if (columns != model_->List().Columns().size()) SizeColumns();
  title_->setText(ShownText(model_->List().Title()));
  if (chart_) chart_->ShowDays({}, "");
  fill_.start();
  // What can be shown at once is there when the window comes up.
  Fill();
}

void HistoryWindow::Fill() {
  const WindowParts& parts = links_.parts;
  if (parts.t.Closing) return fill_.stop();
  const int64_t most = parts.t.ScanInProgress ? pace.in_scan_ns : pace.ns;
  const bool ok = parts.log.Guard(look_.load_label, [&] { return model_->StepFor(most, pace.rows_a_step); });
  if (!ok) {
    failed_ = true;
    NoMore();
  }
  const bool read = !model_->Wants();
  if (read) fill_.stop();
  if (read && chart_) ShowChart();
  ShowState();
  if (then_ && (read || (model_->Seen() >= then_rows_ && model_->InOrder()))) {
    const std::function<void()> then = std::exchange(then_, nullptr);
    then();
  }
}

void HistoryWindow::Stop() {
  if (!IsReading()) return;
  NoMore();
  stopped_ = true;
  then_ = nullptr;
  ShowState();
}

// The rows stay as they are, and the headings say how that is.
void HistoryWindow::NoMore() {
  fill_.stop();
  model_->Stop();
  grid_->horizontalHeader()->setSortIndicator(model_->SortColumn(), model_->SortOrder());
}

void HistoryWindow::ShowState() {
  stop_->setEnabled(IsReading());
  if (IsReading()) return state_->setText(model_->IsSorting() ? "Sorting records..." : "Reading records...");
  const size_t shown = model_->Shown(), seen = model_->Seen();
  QString text = QString::number(shown);
  if (model_->IsSearched()) text += " of " + QString::number(seen);
  text += QString(" ") + (seen == 1 ? look_.one : look_.many);
  if (failed_) text = "The history could not be read; see the program log. " + text;
  if (stopped_) text = "Stopped. " + text;
  if (!failed_ && !stopped_ && !model_->Whole()) text = "More come as you scroll. " + text;
  state_->setText(text);
}

void HistoryWindow::ShowChart() {
  const HistoryList& list = model_->List();
  const auto column = static_cast<size_t>(count_->currentIndex()) + 1;
  std::vector<DayBar> bars;
  for (size_t row = 0; row < list.Rows(); ++row) {
    const Day day{list.Number(row, days::kDate)};
    const bool so_far = day == links_.parts.t.Today;
    const QString text = ShownText(links_.parts.regional.ShortDate(day)) + ": " +
                         QString::number(list.Number(row, column)) + " " + count_->currentText() +
                         (so_far ? " so far" : "");
    bars.push_back({day, list.Number(row, column), so_far, text});
  }
  chart_->ShowDays(std::move(bars), count_->currentText() + " a day");
}

void HistoryWindow::WhenRead(size_t rows, std::function<void()> then) {
  then_rows_ = rows;
  then_ = std::move(then);
  stopped_ = false;
  model_->Want(rows);
  Fill();
  if (then_ && model_->Wants()) fill_.start();
  ShowState();
}

HistoryWindows::HistoryWindows(const WindowParts& parts, Prompts& prompts, std::function<void(const QString&)> help,
                               QWidget* parent)
    : links_{parts, prompts, std::move(help),
             [this](HistoryKind kind, const HistorySubject& subject) { Open(kind, subject); }},
      parent_(parent) {}

void HistoryWindows::Open(HistoryKind kind, const HistorySubject& subject) {
  QPointer<HistoryWindow>& window = windows_[static_cast<size_t>(kind)];
  if (!window) window = new HistoryWindow(links_, kind, parent_);
  window->Ask(subject);
  window->show();
  window->raise();
  window->activateWindow();
}

void HistoryWindows::CloseAll() {
  for (const QPointer<HistoryWindow>& window : windows_) delete window.data();
}

}  // namespace vantry
