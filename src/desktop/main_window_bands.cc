// The bands of the main window - menus, tool bar, header, tree, lists, status bar - and where they were last time.
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QScreen>
#include <QStatusBar>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>

#include "config/registry_store.h"
#include "core/text.h"
#include "desktop/activity_chart.h"
#include "desktop/commands.h"
#include "desktop/icons.h"
#include "desktop/main_window.h"
#include "desktop/shown_text.h"
#include "desktop/window_layout.h"

namespace vantry {
namespace {

QString Text(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

constexpr char kForm[] = "Form";

}  // namespace

void MainWindow::MakeActions() {
  for (const Command& command : kCommands) {
    auto* action = new QAction(CommandIcon(command.name), Text(command.caption), this);
    action->setObjectName(Text(command.name));
    action->setCheckable(command.checkable);
    if (!command.shortcut.empty()) action->setShortcut(QKeySequence(Text(command.shortcut)));
    const QString tip = Text(command.tip);
    action->setToolTip(tip.isEmpty() ? Text(command.caption).remove('&') : tip);
    action->setStatusTip(tip);
    // After whoever triggers it has gone on: a screen reader waits for its call, and a command may ask a question.
    QObject::connect(
        action, &QAction::triggered, this, [this, name = command.name] { Run(name); }, Qt::QueuedConnection);
    addAction(action);
    actions_.emplace(command.name, action);
  }
}

QMenu* MainWindow::MakeMenu(std::string_view name, const QString& title, std::span<const std::string_view> items) {
  auto* menu = new QMenu(title, this);
  menu->setObjectName(Text(name));
  menu->setToolTipsVisible(true);
  for (const std::string_view item : items) {
    if (item == "-") {
      menu->addSeparator();
    } else {
      menu->addAction(ActionOf(item));
    }
  }
  QObject::connect(menu, &QMenu::aboutToShow, this, [this] {
    EnableWizards();
    EnableCommands();
  });
  menus_.emplace(name, menu);
  return menu;
}

void MainWindow::MakeMenus() {
  menuBar()->setObjectName("mnMain");
  menuBar()->setAccessibleName("Main Menu");
  for (const CommandList& list : kMenus) menuBar()->addMenu(MakeMenu(list.name, Text(list.caption), list.items));
  for (const CommandList& list : kContextMenus) MakeMenu(list.name, Text(list.caption), list.items);
  QToolBar* bar = addToolBar(Text(kToolBar.caption));
  bar->setObjectName(Text(kToolBar.name));
  bar->setAccessibleName(bar->windowTitle());
  for (const std::string_view item : kToolBar.items) {
    if (item == "-") {
      bar->addSeparator();
    } else {
      bar->addAction(ActionOf(item));
    }
  }
}

void MainWindow::MakeHeader() {
  addToolBarBreak();
  QToolBar* bar = addToolBar("Details");
  bar->setObjectName("BandHeader");
  bar->setAccessibleName("Details");
  auto* panel = new QWidget(bar);
  panel->setObjectName("Picture1");
  auto* row = new QHBoxLayout(panel);
  view_icon_ = PlainLabel("AdminImage", "", panel);
  view_icon_->setAccessibleName("View");
  auto* texts = new QVBoxLayout;
  texts->setSpacing(0);
  view_name_ = PlainLabel("lblAdminObjectDesc", "", panel);
  QFont large = font();
  large.setPointSizeF(large.pointSizeF() * 1.3);
  large.setBold(true);
  view_name_->setFont(large);
  summary_ = PlainLabel("lblAdminObjectName", "", panel);
  // The window may be narrower than a long summary.
  summary_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  texts->addWidget(view_name_);
  texts->addWidget(summary_);
  row->addWidget(view_icon_);
  row->addLayout(texts, 1);
  panel->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(panel);
}

QWidget* MainWindow::MakeFilterBar(const char* name, QLabel* label, QComboBox* select) {
  auto* bar = new QWidget(this);
  bar->setObjectName(name);
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 0, 0, 0);
  // A screen reader takes the name of a selector from its label alone.
  label->setBuddy(select);
  select->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  select->setMinimumContentsLength(40);
  row->addWidget(label);
  row->addWidget(select);
  row->addStretch(1);
  return bar;
}

QWidget* MainWindow::MakeListPage(int view, QWidget* filter) {
  constexpr ListKind kKinds[] = {ListKind::kVisitors, ListKind::kAlerts, ListKind::kSpiders, ListKind::kExceptions};
  auto* page = new QWidget(stack_);
  auto* column = new QVBoxLayout(page);
  column->setContentsMargins(0, 0, 0, 0);
  if (filter) column->addWidget(filter);
  auto* list = new ListPane(t_, parts_.regional, kKinds[view], SlotIcon, page);
  list->on_menu = [this](QPoint at) { menus_.find("Popup")->second->popup(at); };
  list->on_selection = [this] {
    if (const std::optional<SelectedRow> row = lists_[0]->Selected(); row && CurrentViewType() == 1) {
      pages_->ShowPagesOf(row->key);
    }
    EnableCommands();
  };
  column->addWidget(list, 1);
  lists_[static_cast<size_t>(view)] = list;
  return page;
}

QDockWidget* MainWindow::AddBand(const char* name, const QString& caption, QWidget* content, Qt::DockWidgetArea area) {
  auto* band = new QDockWidget(caption, this);
  band->setObjectName(name);
  band->setAccessibleName(caption);
  band->setWidget(content);
  addDockWidget(area, band);
  return band;
}

void MainWindow::MakeLists() {
  tree_ = new SiteTree(t_, this);
  tree_->on_choice = [this](int16_t site) { ChooseSite(site); };
  tree_->on_menu = [this](QPoint at, bool on_root) {
    menus_.find(on_root ? "SettingsPopup" : "TreePopup")->second->popup(at);
  };
  AddBand("Band2", "Sites", tree_, Qt::LeftDockWidgetArea);

  auto* middle = new QWidget(this);
  auto* column = new QVBoxLayout(middle);
  column->addWidget(MakeSearch(middle));
  stack_ = new QStackedWidget(middle);
  QWidget* const filters[] = {nullptr, MakeAlertFilter(), nullptr, MakeExceptionFilter()};
  for (int view = 0; view < 4; ++view) stack_->addWidget(MakeListPage(view, filters[view]));
  column->addWidget(stack_, 1);
  setCentralWidget(middle);

  pages_ = new ListPane(t_, parts_.regional, ListKind::kPages, SlotIcon, this);
  pages_->SetEmptyHint("The pages that the chosen visitor reads from now on.");
  pages_band_ = AddBand("Band5", "Visited Pages", pages_, Qt::BottomDockWidgetArea);
  trace_ = new ListPane(t_, parts_.regional, ListKind::kTrace, SlotIcon, this);
  trace_band_ = AddBand("BandTrace", "Log File Trace", trace_, Qt::BottomDockWidgetArea);
  activity_ = new ActivityChart(this);
  activity_band_ = AddBand("BandActivity", "Activity", activity_, Qt::BottomDockWidgetArea);
  tabifyDockWidget(trace_band_, activity_band_);
}

QWidget* MainWindow::MakeSearch(QWidget* parent) {
  search_ = new QLineEdit(parent);
  search_->setObjectName("txtSearch");
  search_->setAccessibleName("Search");
  search_->setPlaceholderText("Search this list");
  search_->setClearButtonEnabled(true);
  QObject::connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
    for (ListPane* list : lists_) list->SetSearch(text);
    status_changed_ = true;
    Refresh();
  });
  return search_;
}

QWidget* MainWindow::MakeAlertFilter() {
  alert_select_ = new QComboBox(this);
  alert_select_->setObjectName("miAlertSelect");
  alert_label_ = PlainLabel("miLabelAlerts", "All Alerts", this);
  QObject::connect(alert_select_, &QComboBox::currentIndexChanged, this,
                   [this](int place) { ChooseFilter(&SiteRec::AlertView, place); });
  return MakeFilterBar("LOGBar", alert_label_, alert_select_);
}

QWidget* MainWindow::MakeExceptionFilter() {
  exc_select_ = new QComboBox(this);
  exc_select_->setObjectName("miExcSelect");
  QObject::connect(exc_select_, &QComboBox::currentIndexChanged, this,
                   [this](int place) { ChooseFilter(&SiteRec::ExceptionView, place); });
  return MakeFilterBar("EXCBar", PlainLabel("miLabelExceptions", "Exceptions", this), exc_select_);
}

void MainWindow::MakeStatusBar() {
  statusBar()->setObjectName("BandStat");
  statusBar()->setAccessibleName("Status Bar");
  status_ = PlainLabel("miStatus", "Right-click a visitor for popup menu.", this);
  status_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  state_ = PlainLabel("miStat", "Preparing...", this);
  mail_status_ = PlainLabel("miEmail", "Pending Emails", this);
  dns_status_ = PlainLabel("miStatDNS", "", this);
  sql_status_ = PlainLabel("miSQLError", "SQL Server Not Responding", this);
  lock_button_ = new QToolButton(this);
  lock_button_->setObjectName("lockTool");
  lock_button_->setDefaultAction(ActionOf("miLockTrace"));
  lock_button_->setAutoRaise(true);
  statusBar()->addWidget(status_, 1);
  for (QWidget* tool :
       {static_cast<QWidget*>(lock_button_), static_cast<QWidget*>(state_), static_cast<QWidget*>(mail_status_),
        static_cast<QWidget*>(dns_status_), static_cast<QWidget*>(sql_status_)}) {
    statusBar()->addPermanentWidget(tool);
  }
  for (QWidget* tool : {mail_status_, dns_status_, sql_status_}) tool->hide();
}

void MainWindow::MakeTray() {
  tray_.setIcon(ProgramIcon());
  tray_.setToolTip("Vantry");
  QObject::connect(&tray_, &QSystemTrayIcon::activated, this, [this] { ShowFromTray(); });
}

// As saved, moved to where a screen is: the one it was on may be gone.
void MainWindow::RestorePlace() {
  const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
  const auto value = [&](const char* name, int otherwise) {
    const std::string text = ReadRegistryValue(parts_.registry, kForm, name, "");
    return text.empty() ? otherwise : static_cast<int>(LeadingNumber(text));
  };
  const int width = std::clamp(value("FormWidth", std::min(screen.width() * 4 / 5, 1400)), 400, screen.width());
  const int height = std::clamp(value("FormHeight", std::min(screen.height() * 4 / 5, 900)), 300, screen.height());
  QRect place(value("FormLeft", screen.left() + (screen.width() - width) / 2),
              value("FormTop", screen.top() + (screen.height() - height) / 2), width, height);
  const QScreen* on = QGuiApplication::screenAt(place.center());
  const QRect area = on ? on->availableGeometry() : screen;
  place.setSize(place.size().boundedTo(area.size()));
  place.moveLeft(std::clamp(place.left(), area.left(), area.right() + 1 - place.width()));
  place.moveTop(std::clamp(place.top(), area.top(), area.bottom() + 1 - place.height()));
  setGeometry(place);
}

void MainWindow::SavePlace() {
  if (isHidden() || was_hidden_ || isMinimized() || isMaximized() || isFullScreen()) return;
  const auto save = [&](const char* name, int value) {
    WriteRegistryValue(parts_.registry, kForm, name, std::to_string(value));
  };
  save("FormTop", geometry().top());
  save("FormLeft", geometry().left());
  save("FormWidth", geometry().width());
  save("FormHeight", geometry().height());
}

void MainWindow::RestoreLayout() {
  std::string bytes;
  if (!parts_.files.Read(parts_.settings.DDFPath + kLayoutFile, bytes).ok()) {
    (void)parts_.files.Read(parts_.app_path + kLayoutFile, bytes);
  }
  WindowLayout layout = ParseLayout(bytes);
  const bool restored = !layout.bands.empty() && restoreState(QByteArray::fromStdString(layout.bands), kLayoutVersion);
  if (!restored) trace_band_->raise();
  for (ListPane* list : Lists()) list->RestoreColumns(layout.lists[list->objectName().toStdString()]);
  // What may be shown is kept with the settings.
  pages_band_->setVisible(t_.ShowVisitedPages);
  trace_band_->setVisible(t_.ShowTraceView);
  for (QDockWidget* band : {pages_band_, trace_band_, activity_band_}) {
    QObject::connect(band, &QDockWidget::visibilityChanged, this, [this] { NoteBands(); });
  }
  NoteBands();
}

// Bands are opened and closed by their commands and by buttons of their own. One that is behind another, or in a window
// that is hidden, is open all the same.
void MainWindow::NoteBands() {
  if (unloaded_) return;
  t_.ShowVisitedPages = !pages_band_->isHidden();
  t_.ShowTraceView = !trace_band_->isHidden();
  ActionOf("miShowPages")->setChecked(t_.ShowVisitedPages);
  ActionOf("miShowTrace")->setChecked(t_.ShowTraceView);
  ActionOf("miShowActivity")->setChecked(!activity_band_->isHidden());
  lock_button_->setVisible(t_.ShowTraceView);
  status_changed_ = true;
}

void MainWindow::SaveLayout() {
  WindowLayout layout;
  layout.bands = saveState(kLayoutVersion).toStdString();
  for (const ListPane* list : Lists()) layout.lists[list->objectName().toStdString()] = list->ColumnState();
  if (const Status status = parts_.files.Replace(parts_.settings.DDFPath + kLayoutFile, FormatLayout(layout));
      !status.ok()) {
    parts_.log.ReportError(status.text, "frmLog.SaveLayout");
  }
}

}  // namespace vantry
