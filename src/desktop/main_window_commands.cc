// What the commands of the main window do.
#include <QUrl>
#include <algorithm>
#include <vector>

#include "config/service_setup.h"
#include "core/text.h"
#include "core/view_summary.h"
#include "desktop/about_window.h"
#include "desktop/activity_chart.h"
#include "desktop/commands.h"
#include "desktop/email_view.h"
#include "desktop/form_dialog.h"
#include "desktop/help_window.h"
#include "desktop/history_window.h"
#include "desktop/import_window.h"
#include "desktop/list_printer.h"
#include "desktop/main_window.h"
#include "desktop/row_addresses.h"
#include "desktop/service_window.h"
#include "desktop/settings_window.h"
#include "desktop/shown_text.h"
#include "desktop/site_properties.h"
#include "desktop/site_wizard.h"
#include "notify/list_grid.h"

namespace vantry {
namespace {

constexpr char kMakersSite[] = "http://www.tressimond.com/";

constexpr std::string_view kDatabaseWizard = "vtDBCreate.exe", kImportWizard = "VTImport.exe";

}  // namespace

// What each command does, by name: on the whole or on the chosen site, or on the chosen row.
struct MainWindow::Commands {
  using W = MainWindow;
  struct OnAll {
    std::string_view name;
    void (*run)(W& w);
  };
  struct OnRow {
    std::string_view name;
    void (*run)(W& w, const SelectedRow& row);
  };
  static const OnAll kOnAll[];
  static const OnRow kOnRow[];
};

const MainWindow::Commands::OnAll MainWindow::Commands::kOnAll[] = {
    {"miAdd", [](W& w) { w.AddSite(); }},
    {"miEdit", [](W& w) { w.EditSite(); }},
    {"miDelete", [](W& w) { w.DeleteSite(); }},
    {"miStart", [](W& w) { w.StartSite(); }},
    {"miStop", [](W& w) { w.StopSite(); }},
    {"miOptions", [](W& w) { w.EditSettings(); }},
    {"miHide", [](W& w) { w.Hide(); }},
    {"miViewVisitors", [](W& w) { w.ChooseView(kViewVisitors); }},
    {"miViewAlerts", [](W& w) { w.ChooseView(kViewAlerts); }},
    {"miViewSpiders", [](W& w) { w.ChooseView(kViewSpiders); }},
    {"miViewExceptions", [](W& w) { w.ChooseView(kViewExceptions); }},
    {"miShowPages", [](W& w) { w.Toggle(w.pages_band_); }},
    {"miShowTrace", [](W& w) { w.Toggle(w.trace_band_); }},
    {"miShowActivity", [](W& w) { w.Toggle(w.activity_band_); }},
    {"miLockTrace", [](W& w) { w.t_.TraceGrid.locked = !w.t_.TraceGrid.locked; }},
    {"miFind", [](W& w) { w.Find(); }},
    {"miNextPane", [](W& w) { w.FollowFocus(); }},
    {"miCopy", [](W& w) { w.CurrentList()->CopySelection(); }},
    {"miEmailView", [](W& w) { w.EmailCurrentView(); }},
    {"miPrint", [](W& w) { w.PrintCurrentView(); }},
    {"miSaveAs", [](W& w) { w.SaveListAs(); }},
    {"miTopReferers", [](W& w) { w.ShowHistory(HistoryKind::kReferers); }},
    {"miTopDownloads", [](W& w) { w.ShowHistory(HistoryKind::kTopDownloads); }},
    {"miDays", [](W& w) { w.ShowHistory(HistoryKind::kDays); }},
    {"miHelp", [](W& w) { w.ShowHelp("welcome"); }},
    {"miAbout", [](W& w) { w.ShowAbout(); }},
    {"miConnect", [](W& w) { w.OpenAddress(kMakersSite); }},
    {"miUpdateCheck", [](W& w) { w.OpenAddress(kMakersSite + ("?buildno=" + w.parts_.version)); }},
    {"miSupport", [](W& w) { w.OpenAddress(kMakersSite + ("?buildno=" + w.parts_.version)); }},
    {"miGroups", [](W& w) { w.EditGroups(""); }},
    {"miInstallService", [](W& w) { w.InstallAsService(); }},
    {"miRemoveService", [](W& w) { w.RemoveTheService(); }},
    {"miStopService", [](W& w) { w.StopTheService(); }},
    {"miVTDB", [](W& w) { w.OpenWizard(kDatabaseWizard, "Database"); }},
    {"miVTIIS", [](W& w) { w.ImportSites(); }},
    {"miExit", [](W& w) {
       if (!w.t_.ServiceMode) w.close();
     }}};

const MainWindow::Commands::OnRow MainWindow::Commands::kOnRow[] = {
    {"miOpenReferrer", [](W& w, const SelectedRow& row) { w.OpenAddress(ReferrerAddress(row.referrer)); }},
    {"miOpenPage",
     [](W& w, const SelectedRow& row) {
       if (row.site < 1 || row.site > w.t_.SiteCount()) return;
       w.OpenAddress(PageAddress(w.t_.Site(row.site).Domain, row.page));
     }},
    {"miOpenDNS", [](W& w, const SelectedRow& row) { w.OpenAddress(HostAddress(row.dns)); }},
    {"miViewLog", [](W& w, const SelectedRow& row) { w.ViewLog(row); }},
    {"miWhois", [](W& w, const SelectedRow& row) { w.OpenWhoIs(row); }},
    {"miPing", [](W& w, const SelectedRow& row) { w.OpenPing(row); }},
    {"miTracert", [](W& w, const SelectedRow& row) { w.OpenTrace(row); }},
    {"miHistory", [](W& w, const SelectedRow& row) { w.ShowHistory(HistoryKind::kPrevVisits, row); }},
    {"miViewVisitDetails", [](W& w, const SelectedRow& row) { w.ShowHistory(HistoryKind::kVisitDetails, row); }},
    {"miViewDownloads", [](W& w, const SelectedRow& row) { w.ShowHistory(HistoryKind::kPrevDownloads, row); }},
    {"miAddKnown", [](W& w, const SelectedRow& row) { w.NameVisitor(row); }},
    {"miGroup", [](W& w, const SelectedRow& row) { w.EditGroups(row.dns); }},
    {"miExclude", [](W& w, const SelectedRow& row) { w.ExcludeVisitor(row); }}};

void MainWindow::Run(std::string_view name) {
  if (unloaded_ || t_.Closing) return;
  parts_.log.Guard("ActiveBar_ToolClick", [&] {
    for (const Commands::OnAll& command : Commands::kOnAll) {
      if (command.name == name) command.run(*this);
    }
    for (const Commands::OnRow& command : Commands::kOnRow) {
      if (command.name != name) continue;
      if (const std::optional<SelectedRow> row = ChosenRow()) command.run(*this, *row);
    }
    return Status::Ok();
  });
  Refresh();
}

void MainWindow::Toggle(QDockWidget* band) {
  band->setVisible(band->isHidden());
  if (!band->isHidden()) band->raise();
  NoteBands();
}

void MainWindow::Find() {
  search_->setFocus(Qt::ShortcutFocusReason);
  search_->selectAll();
}

void MainWindow::ShowHelp(const QString& page) {
  if (t_.ServiceMode) return;
  if (!help_) {
    help_ = new HelpWindow([this](const QUrl& url) { prompts_.OpenInBrowser(url); }, this);
    help_->setWindowFlag(Qt::Window);
  }
  help_->ShowPage(page);
  help_->show();
  help_->raise();
  help_->activateWindow();
}

void MainWindow::ShowAbout() {
  if (findChild<QDialog*>("frmAbout")) return;
  auto* dialog = new AboutWindow({parts_.version, parts_.build, parts_.app_path}, this);
  OpenBeside(dialog);
}

void MainWindow::DeleteSite() {
  const int16_t n = t_.CurrentView;
  if (!ChosenSite()) return;
  const QString question = "Are you sure you want to stop monitoring the site: \n\n" + ShownText(ChosenSite()->Name);
  prompts_.Confirm(this, question, kYesNo | QMessageBox::Cancel, [this, n] {
    if (t_.Closing || n > t_.SiteCount()) return;
    t_.Site(n).Deleted = true;
    t_.Site(n).Paused = true;
    t_.CurrentView = 0;
    tree_->Rebuild();
    parts_.engine.RefreshView();
  });
}

void MainWindow::AddSite() {
  if (findChild<QDialog*>("frmWizard")) return;
  auto* dialog = new SiteWizard(
      parts_, prompts_, [this](const QString& page) { ShowHelp(page); }, this);
  QObject::connect(dialog, &QDialog::finished, this, [this] {
    if (unloaded_ || t_.Closing) return;
    tree_->Rebuild();
    parts_.engine.RefreshView();
  });
  OpenBeside(dialog);
}

// The site rests while it is edited.
void MainWindow::EditSite() {
  SiteRec* site = ChosenSite();
  if (!site || findChild<QDialog*>("frmProperties")) return;
  const int16_t n = t_.CurrentView;
  site->Edited = true;
  auto* dialog = new SiteProperties(
      parts_, prompts_, n, [this](const QString& page) { ShowHelp(page); }, this);
  QObject::connect(dialog, &QDialog::finished, this, [this, n] {
    if (unloaded_ || t_.Closing) return;
    t_.Site(n).Edited = false;
    tree_->Rebuild();
    parts_.engine.RefreshView();
  });
  OpenBeside(dialog);
}

void MainWindow::EditSettings() {
  if (findChild<QDialog*>("frmSettings")) return;
  auto* dialog = new SettingsWindow(
      parts_, prompts_, [this](const QString& page) { ShowHelp(page); }, this);
  OpenBeside(dialog);
}

void MainWindow::InstallAsService() {
  if (findChild<QDialog*>("frmService")) return;
  auto* dialog = new ServiceWindow(
      parts_, prompts_, [this](const QString& page) { ShowHelp(page); }, this);
  OpenBeside(dialog);
}

void MainWindow::RemoveTheService() {
  if (const auto message = RemoveService(*parts_.installer())) messages_.Add(message->kind, ShownLines(message->text));
}

void MainWindow::StopTheService() {
  if (!t_.ServiceMode) return;
  prompts_.Confirm(this, "Are you sure you want to stop the Vantry Service?", kYesNo,
                   [this] { parts_.engine.CloseProgram(); });
}

void MainWindow::StartSite() {
  SiteRec* site = ChosenSite();
  if (!site || !site->Paused) return;
  site->Paused = false;
  const WallTime minute_ago{parts_.clock.Now().s - 60};
  site->LastCheckTime = site->LastScanTime = minute_ago;
  status_changed_ = true;
}

void MainWindow::StopSite() {
  SiteRec* site = ChosenSite();
  if (!site) return;
  site->Paused = true;
  status_changed_ = true;
}

void MainWindow::Hide() {
  t_.InTray = true;
  PutAway();
}

void MainWindow::ExcludeVisitor(const SelectedRow& row) {
  const QString question =
      ShownText(row.address) + "\n\nAre you sure you want to exclude this visitor from Vantry in the future?";
  prompts_.Confirm(this, question, kYesNo, [this, number = row.site, address = row.address] {
    if (t_.Closing || number < 1 || number > t_.SiteCount()) return;
    SiteRec& site = t_.Site(number);
    site.Exclude = AddToExcludeList(site.Exclude, address);
  });
}

void MainWindow::OpenAddress(const std::string& address) {
  const QUrl url(QString::fromStdString(address), QUrl::TolerantMode);
  if (url.isValid() && (url.scheme() == "http" || url.scheme() == "https")) prompts_.OpenInBrowser(url);
}

void MainWindow::ViewLog(const SelectedRow& row) {
  const std::string path = parts_.engine.ExtractLogEntries(row.key);
  if (path.empty()) return;
  if (const Status status = parts_.programs.Start(path); !status.ok()) {
    messages_.Add(BoxKind::kWarning, ShownLines("The lines are in " + path + ". " + status.text));
  }
}

void MainWindow::EmailCurrentView() {
  const int view = CurrentViewType();
  if (findChild<QDialog*>("frmEmailView")) return;
  MailedList list{kMailedViews[static_cast<size_t>(view - 1)], "",
                  [this, view] {
                    return GridOfView(view, {t_, parts_.regional});
                  },
                  HeaderSummary(t_)};
  auto* dialog = new EmailView(parts_, prompts_, std::move(list), ChosenSite(), this);
  OpenBeside(dialog);
}

void MainWindow::PrintCurrentView() {
  PreviewList(this, *CurrentList(), PrintTitle(), CurrentViewType() == kViewVisitors ? vs_grid::kKey : -1);
}

QString MainWindow::PrintTitle() const {
  // The third has no blank after its colon.
  constexpr std::string_view kTitles[][2] = {
      {"Current Visitors", ": "}, {"Alerts", ": "}, {"Spiders", ":"}, {"Exceptions", ": "}};
  const auto& [title, colon] = kTitles[CurrentViewType() - 1];
  const SiteRec* site = ChosenSite();
  return ShownText(site ? std::string(title) + std::string(colon) + site->Domain : std::string(title));
}

void MainWindow::SaveListAs() {
  const QString name = view_name_->text() + ".csv";
  prompts_.FileToSave(this, "Save As", name, "CSV (*.csv)", [this, list = CurrentList()](const QString& path) {
    if (const Status status = parts_.files.Replace(path.toStdString(), list->Csv()); !status.ok()) {
      messages_.Add(BoxKind::kWarning, ShownLines("The list was not saved: " + status.text));
    }
  });
}

// In any case of its letters; empty when it is not there.
std::string MainWindow::WizardPath(std::string_view program) const {
  std::vector<FileEntry> entries;
  if (!parts_.files.List(parts_.app_path, entries).ok()) return {};
  for (const FileEntry& entry : entries) {
    if (EqualsNoCase(entry.name, program)) return parts_.app_path + entry.name;
  }
  return {};
}

void MainWindow::EnableWizards() {
  ActionOf("miVTDB")->setEnabled(!WizardPath(kDatabaseWizard).empty());
  ActionOf("miVTIIS")->setEnabled(!WizardPath(kImportWizard).empty() || HasImporter());
}

bool MainWindow::HasImporter() const {
  return !parts_.importer.empty() && parts_.files.Exists(parts_.importer);
}

// The program in the program folder goes before what comes with this one.
void MainWindow::ImportSites() {
  if (!WizardPath(kImportWizard).empty()) return OpenWizard(kImportWizard, "IIS Import");
  if (!HasImporter()) return;
  if (t_.ServiceMode) return RefuseInService("IIS Import");
  ShowImport();
}

// No program is closed for it: the sites are added to the tables.
void MainWindow::ShowImport() {
  if (findChild<QDialog*>("frmImport")) return;
  auto* dialog = new ImportWindow(
      parts_, DiskTree("/"), prompts_, [this](const QString& page) { ShowHelp(page); }, this);
  QObject::connect(dialog, &QDialog::finished, this, [this] {
    if (unloaded_ || t_.Closing) return;
    tree_->Rebuild();
    parts_.engine.RefreshView();
  });
  OpenBeside(dialog);
}

void MainWindow::RefuseInService(const QString& wizard) {
  messages_.Add(BoxKind::kInformation, "You are running Vantry as a Service. Stop the Service first and run the " +
                                           wizard + " Wizard from the Start menu.");
}

void MainWindow::OpenWizard(std::string_view program, const char* name) {
  StartWizard(program, QString("This option will close Vantry and start the %1 Wizard. Are you sure you want to do "
                               "this?")
                           .arg(name));
}

// The wizard and the program do not run at the same time.
void MainWindow::StartWizard(std::string_view program, const QString& question) {
  const std::string path = WizardPath(program);
  if (path.empty()) return;
  if (t_.ServiceMode) return RefuseInService(program == kImportWizard ? "IIS Import" : "Database");
  prompts_.Confirm(this, question, kYesNo, [this, path] {
    if (t_.Closing) return;
    parts_.engine.SaveSettings();
    if (const Status status = parts_.programs.Start(path); !status.ok()) {
      return messages_.Add(BoxKind::kWarning, ShownLines(status.text));
    }
    parts_.engine.CloseProgram();
  });
}

void MainWindow::AskAboutImport() {
  const bool any = std::any_of(t_.Sites.begin(), t_.Sites.end(), [](const SiteRec& site) { return !site.Deleted; });
  if (any || t_.ServiceMode) return;
  const QString question =
      "Welcome To Vantry!\n\nDo you want to run the IIS Import Wizard to import your web site settings into Vantry "
      "automatically?\n\nNote: If you dont run IIS on this computer you can setup your sites using the New Site "
      "Wizard.";
  if (!WizardPath(kImportWizard).empty()) return StartWizard(kImportWizard, question);
  if (!HasImporter()) return;
  prompts_.Confirm(this, question, kYesNo, [this] {
    if (!t_.Closing) ShowImport();
  });
}

// F6: round the panes that are in sight.
void MainWindow::FollowFocus() {
  QWidget* const panes[] = {tree_, search_, CurrentList(), pages_, trace_, activity_};
  size_t at = std::size(panes) - 1;
  for (size_t i = 0; i < std::size(panes); ++i) {
    if (panes[i]->hasFocus()) at = i;
  }
  for (size_t step = 1; step <= std::size(panes); ++step) {
    QWidget* pane = panes[(at + step) % std::size(panes)];
    if (!pane->isVisible()) continue;
    return pane->setFocus(Qt::ShortcutFocusReason);
  }
}

}  // namespace vantry
