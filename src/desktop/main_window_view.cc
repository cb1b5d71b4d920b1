// What the main window shows: the view of the chosen site, its summary, and which commands apply.
#include <QStyle>
#include <algorithm>

#include "core/text.h"
#include "core/view_summary.h"
#include "desktop/activity_chart.h"
#include "desktop/commands.h"
#include "desktop/icons.h"
#include "desktop/main_window.h"
#include "desktop/row_addresses.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

constexpr std::string_view kViewCommands[] = {"miViewVisitors", "miViewAlerts", "miViewSpiders", "miViewExceptions"};

// Without telling anybody that another entry was chosen. An entry that is open for choice stays as it is.
void Offer(QComboBox* select, const QStringList& entries, int chosen) {
  const QSignalBlocker no_choice(select);
  bool same = select->count() == entries.size();
  for (int i = 0; same && i < select->count(); ++i) same = select->itemText(i) == entries[i];
  if (!same) {
    select->clear();
    select->addItems(entries);
  }
  select->setCurrentIndex(std::min<int>(chosen, select->count() - 1));
}

}  // namespace

int MainWindow::CurrentViewType() const {
  return t_.CurrentViewType >= 1 && t_.CurrentViewType <= 4 ? t_.CurrentViewType : 1;
}

SiteRec* MainWindow::ChosenSite() const {
  const int16_t n = t_.CurrentView;
  return n >= 1 && n <= t_.SiteCount() && !t_.Site(n).Deleted ? &t_.Site(n) : nullptr;
}

std::optional<SelectedRow> MainWindow::ChosenRow() const {
  if (CurrentViewType() == 4) return std::nullopt;
  return CurrentList()->Selected();
}

void MainWindow::ChooseView(int view_type) {
  t_.CurrentViewType = static_cast<int16_t>(view_type);
  parts_.engine.RefreshView();
}

void MainWindow::ChooseSite(int16_t site) {
  t_.CurrentView = site;
  parts_.engine.RefreshView();
}

void MainWindow::ShowCurrentView() {
  const int type = CurrentViewType();
  stack_->setCurrentIndex(type - 1);
  for (int i = 1; i <= 4; ++i) ActionOf(kViewCommands[i - 1])->setChecked(i == type);
  view_name_->setText(ShownText(ViewName(type)));
  view_icon_->setPixmap(CommandIcon(kViewCommands[type - 1]).pixmap(style()->pixelMetric(QStyle::PM_LargeIconSize)));
  tree_->Choose(t_.CurrentView);
  FillFilters();
  status_changed_ = rows_changed_ = true;
  Refresh();
}

void MainWindow::Refresh() {
  if (!isVisible() || unloaded_) return;
  for (ListPane* list : Lists()) {
    // What is out of sight is brought up to date when it comes into sight.
    if (list->isVisible()) list->Refresh();
  }
  if (status_changed_) {
    status_changed_ = false;
    if (activity_->isVisible()) activity_->ShowHour(t_.Activity.HourOf(ChosenSite() ? t_.CurrentView : int16_t{0}));
    tree_->Refresh();
    ShowHeader();
    ShowSiteStatus();
  }
  EnableCommands();
}

void MainWindow::ShowHeader() {
  summary_->setText(ShownText(HeaderSummary(t_)));
  for (ListPane* list : lists_) list->SetEmptyHint(HintForEmptyList());
}

QString MainWindow::HintForEmptyList() const {
  bool any = false;
  for (const SiteRec& site : t_.Sites) any = any || !site.Deleted;
  if (!any) {
    return "No site is watched yet.\n\nFile, Add Site (Ctrl+N) asks for the first one. In a terminal:\nvantryctl "
           "add-site " +
           ShownText(parts_.app_path) + " --name NAME --domain DOMAIN LOG";
  }
  if (!search_->text().isEmpty()) return "No row has this text.";
  switch (CurrentViewType()) {
    case 1:
      return "Nobody is here at the moment.";
    case 2:
      return "No alert was raised today.";
    case 3:
      return "No spider has come today.";
    default:
      return "Nothing out of the ordinary has happened today.";
  }
}

void MainWindow::ShowSiteStatus() {
  const SiteRec* site = ChosenSite();
  const QString text = site ? " " + ShownText(site->Domain) + " " + ShownText(site->LastLogFile) + " "
                            : QString("Right-click a visitor for popup menu.");
  if (status_->text() != text) status_->setText(text);
}

// Each site keeps its own filters, and files that are edited meanwhile bring other entries.
void MainWindow::FillFilters() {
  const SiteRec* site = ChosenSite();
  QStringList alerts("(all alerts)"), exceptions("(all exceptions)");
  for (const AlertRec& alert : t_.Alerts) {
    if (site && alert.Site == t_.CurrentView) {
      alerts += QString::number(alert.AlertNo) + ". " + ShownText(Trim(alert.Name));
    }
  }
  for (const ExceptionType& type : parts_.settings.ExceptionTypes) {
    exceptions += QString::number(type.Number) + ": " + ShownText(type.Description);
  }
  alert_label_->setText(site ? "Alerts" : "All Alerts");
  Offer(alert_select_, alerts, site ? site->AlertView : 0);
  Offer(exc_select_, exceptions, site ? site->ExceptionView : 0);
}

void MainWindow::ChooseFilter(int16_t SiteRec::*filter, int place) {
  SiteRec* site = ChosenSite();
  if (!site || place < 0) return;
  site->*filter = static_cast<int16_t>(place);
  parts_.engine.RefreshView();
}

void MainWindow::EnableCommands() {
  const SiteRec* site = ChosenSite();
  const std::optional<SelectedRow> row = ChosenRow();
  const SiteRec* row_site = row && row->site > 0 && row->site <= t_.SiteCount() ? &t_.Site(row->site) : nullptr;
  const auto applies = [&](Needs needs) {
    switch (needs) {
      case Needs::kSite:
        return site != nullptr;
      case Needs::kPaused:
        return site && site->Paused;
      case Needs::kRunning:
        return site && !site->Paused;
      case Needs::kRow:
        return row.has_value();
      case Needs::kReferrer:
        return row && !ReferrerAddress(row->referrer).empty();
      case Needs::kName:
        return row && row->is_named && !HostAddress(row->dns).empty();
      case Needs::kPage:
        return row_site && !PageAddress(row_site->Domain, row->page).empty();
      case Needs::kDesktop:
        return !t_.ServiceMode;
      case Needs::kService:
        return t_.ServiceMode;
      default:
        return true;
    }
  };
  for (const Command& command : kCommands) {
    if (command.needs == Needs::kWizard) continue;  // As EnableWizards says.
    QAction* action = ActionOf(command.name);
    if (const bool on = applies(command.needs); action->isEnabled() != on) action->setEnabled(on);
  }
}

}  // namespace vantry
