// `frmLog`: the program's one main window. It shows the live tables and hands commands on; it decides nothing. What the
// engine tells it (View) is taken over a few times a second, so that a scan never waits for a picture.
#pragma once

#include <QAction>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QStackedWidget>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "desktop/desktop_module.h"
#include "desktop/list_pane.h"
#include "desktop/message_box.h"
#include "desktop/site_tree.h"

namespace vantry {

class ActivityChart;
class HelpWindow;
class HistoryWindows;
enum class HistoryKind : uint8_t;

class MainWindow final : public QMainWindow {
 public:
  MainWindow(const WindowParts& parts, Prompts& prompts);
  ~MainWindow() override;

  // Place, size and layout as they were, then the window itself, or the icon in the tray.
  void Load();
  void Unload();
  MessageQueue& Messages() { return messages_; }

  // As in View.
  void SetStatus(const QString& text);
  void SetDnsStatus(const QString& text);
  void SetMailStatus(const QString& text);
  void ShowSqlError(bool shown);
  void UpdateStatus() { status_changed_ = true; }
  void RefreshSiteNode(int16_t) { status_changed_ = true; }
  void SetSiteImage(int16_t site, int16_t icon) { tree_->SetImage(site, icon); }
  void ShowCurrentView();
  void SetTrayTip(const QString& text) { tray_.setToolTip(text); }
  void ShowFromTray();
  // Out of sight, whether this screen has a tray or not.
  void HideInTray();

  // Runs the command of this name, as its menu does.
  void Run(std::string_view name);
  // Takes over what has changed since the last call; a timer does this.
  void Refresh();
  QAction* ActionOf(std::string_view name) const;
  const WindowParts& Parts() const { return parts_; }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  static constexpr int kRefreshMs = 250;

  // main_window_bands.cc: the bands and what is in them.
  void MakeActions();
  void MakeMenus();
  QMenu* MakeMenu(std::string_view name, const QString& title, std::span<const std::string_view> items);
  void MakeHeader();
  void MakeLists();
  QWidget* MakeSearch(QWidget* parent);
  QWidget* MakeAlertFilter();
  QWidget* MakeExceptionFilter();
  QWidget* MakeListPage(int view, QWidget* filter);
  QWidget* MakeFilterBar(const char* name, QLabel* label, QComboBox* select);
  QDockWidget* AddBand(const char* name, const QString& caption, QWidget* content, Qt::DockWidgetArea area);
  void MakeStatusBar();
  void MakeTray();
  void RestorePlace();
  void RestoreLayout();
  void NoteBands();
  void SavePlace();
  void SaveLayout();
  std::array<ListPane*, 6> Lists() const;

  // main_window_view.cc: what is shown.
  void ChooseView(int view_type);
  void ChooseSite(int16_t site);
  void ChooseFilter(int16_t SiteRec::*filter, int place);
  void ShowHeader();
  void ShowSiteStatus();
  void FillFilters();
  void EnableCommands();
  QString HintForEmptyList() const;
  ListPane* CurrentList() const { return lists_[static_cast<size_t>(CurrentViewType() - 1)]; }
  int CurrentViewType() const;
  std::optional<SelectedRow> ChosenRow() const;
  SiteRec* ChosenSite() const;

  // main_window_commands.cc: what commands do.
  struct Commands;
  void Toggle(QDockWidget* band);
  void Find();
  void ShowHelp(const QString& page);
  void ShowAbout();
  void AddSite();
  void EditSite();
  void EditSettings();
  void InstallAsService();
  void RemoveTheService();
  void StopTheService();
  void DeleteSite();
  void StartSite();
  void StopSite();
  void Hide();
  void ExcludeVisitor(const SelectedRow& row);
  void OpenAddress(const std::string& address);
  void ViewLog(const SelectedRow& row);
  void EmailCurrentView();
  void ShowHistory(HistoryKind kind);
  void ShowHistory(HistoryKind kind, const SelectedRow& row);
  void PrintCurrentView();
  QString PrintTitle() const;
  void SaveListAs();
  void StartWizard(std::string_view program, const QString& question);
  void EnableWizards();
  void OpenWizard(std::string_view program, const char* name);
  bool HasImporter() const;
  void ImportSites();
  void ShowImport();
  void RefuseInService(const QString& wizard);
  void FollowFocus();

  // main_window_tools.cc: who is behind an address.
  void EditGroups(const std::string& dns);
  void NameVisitor(const SelectedRow& row);
  void CloseTools();
  void OpenPing(const SelectedRow& row);
  void OpenTrace(const SelectedRow& row);
  void OpenWhoIs(const SelectedRow& row);

  void AskAboutImport();
  void AfterFirstShow();
  void PutAway();
  std::string WizardPath(std::string_view program) const;

  WindowParts parts_;
  Prompts& prompts_;
  LiveTables& t_;
  MessageQueue messages_;
  std::map<std::string, QAction*, std::less<>> actions_;
  std::map<std::string, QMenu*, std::less<>> menus_;
  SiteTree* tree_ = nullptr;
  QLabel *view_icon_ = nullptr, *view_name_ = nullptr, *summary_ = nullptr;
  QStackedWidget* stack_ = nullptr;
  std::array<ListPane*, 4> lists_{};  // By view.
  ListPane *pages_ = nullptr, *trace_ = nullptr;
  QDockWidget *pages_band_ = nullptr, *trace_band_ = nullptr, *activity_band_ = nullptr;
  ActivityChart* activity_ = nullptr;
  QLabel* alert_label_ = nullptr;
  QComboBox *alert_select_ = nullptr, *exc_select_ = nullptr;
  QLineEdit* search_ = nullptr;
  QLabel *status_ = nullptr, *state_ = nullptr, *mail_status_ = nullptr, *dns_status_ = nullptr;
  QLabel* sql_status_ = nullptr;
  HelpWindow* help_ = nullptr;  // Once it was asked for.
  std::unique_ptr<HistoryWindows> history_;
  QToolButton* lock_button_ = nullptr;
  QSystemTrayIcon tray_;
  QTimer refresh_timer_;
  QTimer shown_timer_;  // Once, when the loop turns for the first time.
  bool status_changed_ = true;
  bool rows_changed_ = true;
  bool was_hidden_ = false;
  bool unloaded_ = false;
};

}  // namespace vantry
