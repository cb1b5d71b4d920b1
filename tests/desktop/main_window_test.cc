// The main window: its bands, its views, and what each command does.
#include <QDockWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/lists.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "desktop/commands.h"
#include "desktop/list_printer.h"
#include "desktop/window_layout.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct MainWindowTest : WindowTest {
  // Three visitors on the first of two sites, one on the second.
  void OpenWithVisitors() {
    Sites(2);
    for (const char* ip : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) Log("11:59:00", ip);
    ASSERT_TRUE(Open());
    Run(6);
    Frm().Refresh();
  }
  void ChooseNode(const char* key) {
    auto& tree = Find<QTreeView>("TreeView");
    const QModelIndexList found =
        tree.model()->match(tree.model()->index(0, 0), Qt::UserRole, key, 1, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(found.size(), 1) << key;
    tree.setCurrentIndex(found[0]);
  }
  std::string NodeText(const char* key) {
    auto& tree = Find<QTreeView>("TreeView");
    const QModelIndexList found =
        tree.model()->match(tree.model()->index(0, 0), Qt::UserRole, key, 1, Qt::MatchExactly | Qt::MatchRecursive);
    return found.size() == 1 ? found[0].data().toString().toStdString() : std::string();
  }
};

TEST_F(MainWindowTest, HasItsBandsByNameAndCaption) {
  OpenWithVisitors();
  const std::pair<const char*, const char*> docks[] = {
      {"Band2", "Sites"}, {"Band5", "Visited Pages"}, {"BandTrace", "Log File Trace"}};
  for (const auto& [name, caption] : docks) {
    EXPECT_EQ(Find<QDockWidget>(name).windowTitle(), caption);
    EXPECT_EQ(Find<QDockWidget>(name).accessibleName(), caption);
  }
  EXPECT_EQ(Find<QToolBar>("BandToolBar").windowTitle(), "ToolBar");
  EXPECT_EQ(Find<QToolBar>("BandHeader").windowTitle(), "Details");
  EXPECT_EQ(Frm().menuBar()->accessibleName(), "Main Menu");
  EXPECT_EQ(Frm().statusBar()->accessibleName(), "Status Bar");
  for (const char* menu :
       {"mnFile", "mnAction", "mnView", "mnHelp", "Popup", "TreePopup", "SvcPopup", "SettingsPopup"}) {
    EXPECT_FALSE(Find<QMenu>(menu).isEmpty()) << menu;
  }
}

TEST_F(MainWindowTest, TheTreeHasRootSitesAndAllSites) {
  OpenWithVisitors();
  EXPECT_EQ(NodeText("ROOT"), "Vantry");
  EXPECT_EQ(NodeText("SITES"), "Monitored Sites");
  EXPECT_EQ(NodeText("lf1"), "Site 1 (3)");
  EXPECT_EQ(NodeText("lf0"), "All Sites");
}

TEST_F(MainWindowTest, APausedSiteSaysSoInsteadOfItsCount) {
  OpenWithVisitors();
  ChooseNode("lf1");
  Trigger("miStop");
  EXPECT_TRUE(T().Site(1).Paused);
  EXPECT_EQ(NodeText("lf1"), "Site 1 (Paused)");
  EXPECT_TRUE(Enabled("miStart"));
  EXPECT_FALSE(Enabled("miStop"));
  Trigger("miStart");
  EXPECT_FALSE(T().Site(1).Paused);
  EXPECT_EQ(NodeText("lf1"), "Site 1 (3)");
  EXPECT_EQ(T().Site(1).LastScanTime.s, clock.Now().s - 60);
  EXPECT_EQ(T().Site(1).LastLookupTime.s, clock.Now().s - 60);
}

TEST_F(MainWindowTest, WithNoSiteChosenCommandsOnSitesDoNothing) {
  OpenWithVisitors();
  ChooseNode("lf0");
  for (const char* name : {"miEdit", "miDelete", "miStop", "miStart"}) {
    EXPECT_FALSE(Enabled(name)) << name;
    Frm().Run(name);
  }
  EXPECT_THAT(prompts.asked, IsEmpty());
  EXPECT_FALSE(T().Site(1).Paused);
  EXPECT_FALSE(T().Site(1).Deleted);
}

TEST_F(MainWindowTest, NodesOfAllSitesShowAllSites) {
  OpenWithVisitors();
  ChooseNode("lf2");
  EXPECT_EQ(T().CurrentView, 2);
  EXPECT_EQ(Label("miStatus"), " www.d2.example /logs/access.log ");
  for (const char* key : {"lf0", "SITES", "ROOT"}) {
    ChooseNode("lf1");
    ASSERT_EQ(T().CurrentView, 1);
    ChooseNode(key);
    EXPECT_EQ(T().CurrentView, 0) << key;
    EXPECT_EQ(Label("miStatus"), "Right-click a visitor for popup menu.");
  }
}

TEST_F(MainWindowTest, RemovingASiteAsksFirst) {
  OpenWithVisitors();
  ChooseNode("lf1");
  for (const auto answer : {QMessageBox::No, QMessageBox::Cancel}) {
    prompts.answer = answer;
    Trigger("miDelete");
    EXPECT_FALSE(T().Site(1).Deleted);
  }
  prompts.answer = QMessageBox::Yes;
  Trigger("miDelete");
  EXPECT_EQ(prompts.asked.back(), "Are you sure you want to stop monitoring the site: \n\nSite 1");
  EXPECT_TRUE(T().Site(1).Deleted);
  EXPECT_TRUE(T().Site(1).Paused);
  EXPECT_EQ(NodeText("lf1"), "");
  EXPECT_EQ(NodeText("lf2"), "Site 2 (3)");
  EXPECT_EQ(T().CurrentView, 0);
}

TEST_F(MainWindowTest, SwitchesViews) {
  OpenWithVisitors();
  const std::pair<const char*, const char*> views[] = {{"miViewAlerts", "Current Alerts"},
                                                       {"miViewSpiders", "Visited Spiders"},
                                                       {"miViewExceptions", "Exceptions"},
                                                       {"miViewVisitors", "Current Visitors"}};
  int16_t type = 2;
  for (const auto& [command, name] : views) {
    Trigger(command);
    EXPECT_EQ(T().CurrentViewType, type) << command;
    EXPECT_EQ(Label("lblAdminObjectDesc"), name);
    EXPECT_TRUE(Frm().ActionOf(command)->isChecked());
    EXPECT_EQ(Find<QWidget>("LOGBar").isVisible(), type == 2);
    EXPECT_EQ(Find<QWidget>("EXCBar").isVisible(), type == 4);
    for (const char* grid : {"VsGrid", "logGrid", "spiderGrid", "exGrid"}) {
      const bool shown = std::string(grid) == (type == 1   ? "VsGrid"
                                               : type == 2 ? "logGrid"
                                               : type == 3 ? "spiderGrid"
                                                           : "exGrid");
      EXPECT_EQ(Find<QWidget>(grid).isVisible(), shown) << grid;
    }
    type = type == 4 ? 1 : static_cast<int16_t>(type + 1);
  }
}

TEST_F(MainWindowTest, ShowsTheSummaryOfTheView) {
  OpenWithVisitors();
  ChooseNode("lf1");
  EXPECT_EQ(Label("lblAdminObjectName"), "Site 1 [3 Active Visitors] Total:3 Today:3 Peak:0");
}

TEST_F(MainWindowTest, ShowsAndHidesItsPanes) {
  OpenWithVisitors();
  for (const auto& [command, band] : {std::pair("miShowPages", "Band5"), std::pair("miShowTrace", "BandTrace")}) {
    EXPECT_TRUE(Find<QDockWidget>(band).isVisible()) << band;
    EXPECT_TRUE(Frm().ActionOf(command)->isChecked());
    Trigger(command);
    EXPECT_FALSE(Find<QDockWidget>(band).isVisible()) << band;
    EXPECT_FALSE(Frm().ActionOf(command)->isChecked());
  }
  EXPECT_FALSE(T().ShowVisitedPages);
  EXPECT_FALSE(T().ShowTraceView);
  EXPECT_FALSE(Find<QToolButton>("lockTool").isVisible()) << "nothing to lock";
  Trigger("miShowTrace");
  EXPECT_TRUE(Find<QToolButton>("lockTool").isVisible());
  Trigger("miLockTrace");
  EXPECT_TRUE(T().TraceGrid.locked);
  EXPECT_TRUE(Frm().ActionOf("miLockTrace")->isChecked());
}

TEST_F(MainWindowTest, ToolsOfTheStatusBarShowOnlyWhileTheirMatterIsUnderWay) {
  ASSERT_TRUE(Open());
  EXPECT_FALSE(Find<QLabel>("miStatDNS").isVisible());
  view->SetDnsStatus("Resolving 3");
  EXPECT_TRUE(Find<QLabel>("miStatDNS").isVisible());
  view->SetDnsStatus("");
  EXPECT_FALSE(Find<QLabel>("miStatDNS").isVisible());
  EXPECT_FALSE(Find<QLabel>("miEmail").isVisible());
  EXPECT_FALSE(Find<QLabel>("miSQLError").isVisible());
  EXPECT_EQ(Label("miSQLError"), "SQL Server Not Responding");
}

TEST_F(MainWindowTest, TheFilterOfAlertsIsTheSites) {
  Sites(2, "Alert=First\r\nAlertNo=1\r\nAlert=Second\r\nAlertNo=2\r\n");
  ASSERT_TRUE(Open());
  Trigger("miViewAlerts");
  ChooseNode("lf0");
  auto& select = Find<QComboBox>("miAlertSelect");
  EXPECT_EQ(Label("miLabelAlerts"), "All Alerts");
  EXPECT_EQ(select.count(), 1);
  ChooseNode("lf1");
  ASSERT_EQ(select.count(), 3);
  EXPECT_EQ(select.itemText(0), "(all alerts)");
  EXPECT_EQ(select.itemText(2), "2. Second");
  select.setCurrentIndex(2);
  EXPECT_EQ(T().Site(1).AlertView, 2);
  ChooseNode("lf2");
  EXPECT_EQ(select.currentIndex(), 0) << "each site has its own";
  ChooseNode("lf1");
  EXPECT_EQ(select.currentIndex(), 2);
}

TEST_F(MainWindowTest, TheFilterOfExceptionsHoldsEveryType) {
  OpenWithVisitors();
  auto& select = Find<QComboBox>("miExcSelect");
  EXPECT_EQ(select.itemText(0), "(all exceptions)");
  EXPECT_EQ(select.count(), static_cast<int>(engine->GetSettings().ExceptionTypes.size()) + 1);
  ChooseNode("lf0");
  select.setCurrentIndex(3);
  EXPECT_EQ(T().Site(1).ExceptionView, 0) << "no effect without a site";
  ChooseNode("lf1");
  select.setCurrentIndex(3);
  EXPECT_EQ(T().Site(1).ExceptionView, 3);
}

TEST_F(MainWindowTest, ClosingAsksFirst) {
  OpenWithVisitors();
  prompts.answer = QMessageBox::No;
  Trigger("miExit");
  EXPECT_THAT(prompts.asked, ElementsAre("Are you sure you want to close Vantry?"));
  EXPECT_FALSE(T().Closing);
  Frm().close();
  EXPECT_FALSE(T().Closing);
  prompts.answer = QMessageBox::Yes;
  Trigger("miExit");
  EXPECT_TRUE(T().Closing);
  EXPECT_TRUE(loop.quit);
  EXPECT_EQ(Label("miStat"), "Closing...");
}

TEST_F(MainWindowTest, AQuestionThatIsOpenWhileTheProgramEndsChangesNothing) {
  OpenWithVisitors();
  ChooseNode("lf1");
  prompts.answer = QMessageBox::Yes;
  prompts.meanwhile = [this] { engine->Closing(); };
  Trigger("miDelete");
  EXPECT_FALSE(T().Site(1).Deleted);
}

TEST_F(MainWindowTest, AsAServiceClosingHidesAndExitDoesNothing) {
  OpenWithVisitors();
  T().ServiceMode = true;
  Frm().Run("miExit");
  EXPECT_TRUE(Frm().isVisible());
  Frm().close();
  EXPECT_FALSE(Frm().isVisible());
  EXPECT_FALSE(T().Closing);
  EXPECT_THAT(prompts.asked, IsEmpty());
  engine->ShowWindow();
  EXPECT_TRUE(Frm().isVisible());
}

TEST_F(MainWindowTest, KeepsPlaceAndLayout) {
  OpenWithVisitors();
  Frm().setGeometry(40, 50, 700, 500);
  Trigger("miShowTrace");
  engine->Closing();
  const std::string registry = files.Get("/home/registry.ini");
  EXPECT_THAT(registry, HasSubstr("FormLeft=40"));
  EXPECT_THAT(registry, HasSubstr("FormWidth=700"));
  EXPECT_THAT(registry, HasSubstr("ShowTraceView=False"));
  ASSERT_TRUE(files.entries.contains("/home/Data/vtpro2.tb"));
  ASSERT_TRUE(Open());
  EXPECT_EQ(Frm().geometry(), QRect(40, 50, 700, 500));
  EXPECT_FALSE(Find<QDockWidget>("BandTrace").isVisible());
}

TEST_F(MainWindowTest, OffTheScreenItComesBack) {
  Sites(1);
  files.Put("/home/registry.ini",
            "[Form]\r\nFormLeft=90000\r\nFormTop=-90000\r\nFormWidth=999999\r\nFormHeight=-4\r\n");
  ASSERT_TRUE(Open());
  const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
  EXPECT_TRUE(screen.contains(Frm().geometry().topLeft()));
  EXPECT_LE(Frm().width(), screen.width());
  EXPECT_GE(Frm().height(), 300);
}

TEST_F(MainWindowTest, ADamagedLayoutIsNoLayout) {
  for (const std::string& bytes :
       {std::string("\x00\xff\xfe", 3), std::string("[Bands]\r\nVersion=1\r\nState=AAAA////broken\r\n"),
        std::string("[Bands]\r\nVersion=999\r\nState=AAAA\r\n[VsGrid]\r\nSite=x,y,z\r\nNoSuch=1\r\n"),
        std::string(2'000'000, '[')}) {
    Sites(1);
    files.Put("/home/Data/vtpro2.tb", bytes);
    ASSERT_TRUE(Open());
    EXPECT_TRUE(Find<QDockWidget>("Band2").isVisible());
    engine->Closing();
  }
}

TEST_F(MainWindowTest, WithAutoHideItStartsInTheTray) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 9000\r\nAutoHide= True\r\n\r\n");
  Sites(1);
  ASSERT_TRUE(Open());
  QApplication::processEvents();
  // No tray on this screen, so it is made small instead of lost.
  EXPECT_TRUE(Frm().isMinimized() || !Frm().isVisible());
}

TEST_F(MainWindowTest, OpensNothingButWebPages) {
  OpenWithVisitors();
  Trigger("miConnect");
  Trigger("miUpdateCheck");
  Trigger("miSupport");
  ASSERT_EQ(prompts.opened.size(), 3u);
  EXPECT_EQ(prompts.opened[1], prompts.opened[0] + "?buildno=" + AppVersion());
}

TEST_F(MainWindowTest, CommandsThatNeedARowDoNothingWithoutOne) {
  OpenWithVisitors();
  Trigger("miViewExceptions");
  for (const Command& command : kCommands) {
    if (command.needs == Needs::kRow || command.needs == Needs::kReferrer || command.needs == Needs::kName ||
        command.needs == Needs::kPage || command.needs == Needs::kComing) {
      EXPECT_FALSE(Enabled(std::string(command.name).c_str())) << command.name;
      Frm().Run(command.name);
    }
  }
  EXPECT_THAT(prompts.asked, IsEmpty());
  EXPECT_THAT(prompts.opened, IsEmpty());
}

TEST_F(MainWindowTest, WizardsAreThereWhenTheirProgramsAre) {
  OpenWithVisitors();
  EXPECT_FALSE(Enabled("miVTDB"));
  EXPECT_FALSE(Enabled("miVTIIS"));
  files.Put("/home/vtdbcreate.EXE", "");
  files.Put("/home/VTImport.exe", "");
  Q_EMIT Find<QMenu>("mnFile").aboutToShow();
  EXPECT_TRUE(Enabled("miVTDB"));
  EXPECT_TRUE(Enabled("miVTIIS"));
  prompts.answer = QMessageBox::No;
  Trigger("miVTDB");
  EXPECT_EQ(prompts.asked.back(),
            "This option will close Vantry and start the Database Wizard. Are you sure you want to do this?");
  EXPECT_THAT(programs.started, IsEmpty());
  T().ServiceMode = true;
  Trigger("miVTDB");
  EXPECT_EQ(prompts.asked.size(), 1u);
  T().ServiceMode = false;
  prompts.answer = QMessageBox::Yes;
  Trigger("miVTIIS");
  EXPECT_EQ(prompts.asked.back(),
            "This option will close Vantry and start the IIS Import Wizard. Are you sure you want to do this?");
  EXPECT_THAT(programs.started, ElementsAre("/home/VTImport.exe"));
  EXPECT_TRUE(T().Closing);
}

TEST_F(MainWindowTest, WithoutASiteItAsksAboutTheImportOnce) {
  ASSERT_TRUE(Open());
  QApplication::processEvents();
  EXPECT_THAT(prompts.asked, IsEmpty()) << "there is no wizard";
  files.Put("/home/VTImport.EXE", "");
  ASSERT_TRUE(Open());
  QApplication::processEvents();
  EXPECT_THAT(
      prompts.asked,
      ElementsAre("Welcome To Vantry!\n\nDo you want to run the IIS Import Wizard to import your web site settings "
                  "into Vantry automatically?\n\nNote: If you dont run IIS on this computer you can setup your "
                  "sites using the New Site Wizard."));
  EXPECT_FALSE(T().Closing);
}

TEST_F(MainWindowTest, HidesAndComesBack) {
  OpenWithVisitors();
  Trigger("miHide");
  EXPECT_TRUE(T().InTray);
  EXPECT_TRUE(Frm().isMinimized()) << "this screen has no tray";
  engine->ShowWindow();
  EXPECT_FALSE(T().InTray);
  EXPECT_FALSE(Frm().isMinimized());
}

TEST_F(MainWindowTest, HelpAndActivityOpen) {
  OpenWithVisitors();
  Trigger("miHelp");
  auto* help = Frm().findChild<QTextBrowser*>("helpText");
  ASSERT_NE(help, nullptr);
  EXPECT_TRUE(help->isVisible());
  auto& band = Find<QDockWidget>("BandActivity");
  const bool shown = !band.isHidden();
  Trigger("miShowActivity");
  EXPECT_EQ(!band.isHidden(), !shown);
  Trigger("miShowActivity");
  EXPECT_EQ(!band.isHidden(), shown);
}

TEST_F(MainWindowTest, PrintsTheListShown) {
  OpenWithVisitors();
  QPrinter printer(QPrinter::HighResolution);
  QTemporaryDir folder;
  printer.setOutputFileName(folder.filePath("list.pdf"));
  EXPECT_EQ(PrintList(Find<QTableView>("VsGrid"), "Current Visitors: www.d1.example", printer, vs_grid::kKey), 1);
  QFile pdf(folder.filePath("list.pdf"));
  ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
  EXPECT_TRUE(pdf.readAll().startsWith("%PDF-"));
}

TEST_F(MainWindowTest, HelpIsNotForAService) {
  OpenWithVisitors();
  T().ServiceMode = true;
  Frm().Run("miHelp");
  EXPECT_EQ(Frm().findChild<QTextBrowser*>("helpText"), nullptr);
}

TEST_F(MainWindowTest, LogEntriesOfTheChosenVisitorOpen) {
  OpenWithVisitors();
  Find<QTableView>("VsGrid").selectRow(2);
  Trigger("miViewLog");
  ASSERT_EQ(programs.started.size(), 1u);
  EXPECT_THAT(files.Get(programs.started[0]), HasSubstr("10.0.0.3"));
}

TEST_F(MainWindowTest, ShowsThePagesOfTheChosenVisitor) {
  OpenWithVisitors();
  auto& visitors = Find<QTableView>("VsGrid");
  auto& pages = Find<QTableView>("pageGrid");
  EXPECT_EQ(pages.model()->rowCount(), 0);
  visitors.selectRow(1);
  ASSERT_EQ(pages.model()->rowCount(), 1);
  EXPECT_EQ(pages.model()->index(0, 1).data().toString(), "a.htm");
  files.entries["/logs/access.log"]->bytes +=
      "10.0.0.2 - - [05/Mar/2026:12:00:10 +0000] \"GET /b.htm HTTP/1.0\" 200 5 \"-\" \"B\"\n\n";
  Run(20);
  Frm().Refresh();
  ASSERT_EQ(T().Visitors.Lookup(1, "10.0.0.2")->Pages, 2);
  ASSERT_EQ(pages.model()->rowCount(), 2);
  EXPECT_EQ(pages.model()->index(1, 1).data().toString(), "b.htm");
}

TEST_F(MainWindowTest, CommandsTakeTheChosenRow) {
  OpenWithVisitors();
  Find<QTableView>("VsGrid").selectRow(1);
  EXPECT_TRUE(Enabled("miExclude"));
  EXPECT_TRUE(Enabled("miViewLog"));
  EXPECT_FALSE(Enabled("miOpenReferrer")) << "it has none";
  Trigger("miOpenPage");
  EXPECT_THAT(prompts.opened, ElementsAre("http://www.d1.example/a.htm"));
  prompts.answer = QMessageBox::No;
  Trigger("miExclude");
  EXPECT_EQ(prompts.asked.back(),
            "10.0.0.2\n\nAre you sure you want to exclude this visitor from Vantry in the future?");
  EXPECT_EQ(T().Site(1).Exclude, "");
  prompts.answer = QMessageBox::Yes;
  Trigger("miExclude");
  EXPECT_EQ(T().Site(1).Exclude, ";10.0.0.2");
}

TEST_F(MainWindowTest, SavesTheListShown) {
  OpenWithVisitors();
  prompts.file = "/home/list.csv";
  Trigger("miSaveAs");
  EXPECT_THAT(files.Get("/home/list.csv"), HasSubstr("10.0.0.3"));
  files.fails = [](const std::string& call) { return call == "replace /home/list.csv"; };
  Trigger("miSaveAs");
  auto* box = Frm().findChild<QMessageBox*>("messageBox");
  ASSERT_NE(box, nullptr);
}

TEST_F(MainWindowTest, SearchesTheListAsOneTypes) {
  OpenWithVisitors();
  Find<QLineEdit>("txtSearch").setText("0.0.3");
  EXPECT_EQ(Find<QTableView>("VsGrid").model()->rowCount(), 1);
  Find<QLineEdit>("txtSearch").clear();
  EXPECT_EQ(Find<QTableView>("VsGrid").model()->rowCount(), 3);
}

TEST_F(MainWindowTest, F6GoesRoundThePanes) {
  OpenWithVisitors();
  Find<QDockWidget>("BandActivity").hide();
  QApplication::setActiveWindow(&Frm());
  Find<QWidget>("TreeView").setFocus();
  std::vector<std::string> panes;
  for (int i = 0; i < 5; ++i) {
    Trigger("miNextPane");
    panes.push_back(QApplication::focusWidget()->objectName().toStdString());
  }
  EXPECT_THAT(panes, ElementsAre("txtSearch", "VsGrid", "pageGrid", "TraceGrid", "TreeView"));
  Trigger("miFind");
  EXPECT_EQ(QApplication::focusWidget()->objectName(), "txtSearch");
}

TEST_F(MainWindowTest, MailsTheViewThatIsShown) {
  OpenWithVisitors();
  engine->GetSettings().EmailSendTo = "ops@example.com";
  bool seen = false;
  QTimer::singleShot(1, [&] {
    auto* dialog = Frm().findChild<QDialog*>("frmEmailView");
    ASSERT_NE(dialog, nullptr);
    seen = true;
    EXPECT_EQ(dialog->windowTitle(), "Email View: Current Visitors");
    auto* address = dialog->findChild<QComboBox*>("cmboEmail");
    EXPECT_EQ(address->currentText(), "ops@example.com");
    dialog->findChild<QPushButton*>("btnSend")->click();
    EXPECT_THAT(prompts.told, ElementsAre("No mail server has been specified so email cannot be sent."));
    EXPECT_TRUE(dialog->isVisible());
    engine->GetSettings().EmailServer = "mail.example.com";
    address->setEditText("new@example.com");
    dialog->findChild<QPushButton*>("btnSend")->click();
    EXPECT_FALSE(dialog->isVisible());
  });
  Trigger("miEmailView");
  ASSERT_TRUE(seen);
  EXPECT_THAT(files.Get("/home/Current Visitors.htm"), HasSubstr("10.0.0.2"));
  EXPECT_THAT(files.Get("/home/registry.ini"), HasSubstr("EmailAddresses=new@example.com"));
}

TEST_F(MainWindowTest, MessagesOfTheEngineWaitInOneBox) {
  OpenWithVisitors();
  const auto boxes = [this] { return Frm().findChildren<QMessageBox*>("messageBox"); };
  for (QMessageBox* box : boxes()) box->close();
  view->ShowMessage(BoxKind::kWarning, "One\r\nmore line");
  for (int i = 0; i < 300; ++i) view->ShowMessage(BoxKind::kInformation, "Site " + std::to_string(i));
  int shown = 0;
  while (true) {
    QApplication::processEvents();
    QMessageBox* open = nullptr;
    for (QMessageBox* box : boxes()) open = box->isVisible() ? box : open;
    if (!open) break;
    EXPECT_LE(open->text().toStdString().find("<"), std::string::npos);
    ++shown;
    open->accept();
  }
  EXPECT_LE(shown, static_cast<int>(MessageQueue::kMost) + 2);
  EXPECT_GE(shown, static_cast<int>(MessageQueue::kMost));
}

}  // namespace
}  // namespace vantry
