// The main window: its bands, its views, its place on the screen.
#include <QDockWidget>
#include <QMenuBar>
#include <QStatusBar>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/message_box.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

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

TEST_F(MainWindowTest, EditsOfItsFilesShowInTreeAndFilters) {
  files.Put("/home/registry.ini", "[Corrections]\r\nKeepEdits=True\r\n");
  OpenWithVisitors();
  ChooseNode("lf1");
  auto& select = Find<QComboBox>("miExcSelect");
  select.setCurrentIndex(3);
  std::vector<ExceptionType> types = engine->GetSettings().ExceptionTypes;
  types[0].Description = "Newly named";
  files.Put("/home/EXTYPES.INI", FormatExTypes(types));
  std::string sites = files.Get("/home/VANTRY.INI");
  files.Put("/home/VANTRY.INI", sites.replace(sites.find("[Site 2]"), 8, "[Moved]"));
  for (int i = 0; i < 4; ++i) {
    clock.Advance(4);
    loop.Tick(LiveEdits::kLookMs);
  }
  EXPECT_THAT(select.itemText(1).toStdString(), HasSubstr("Newly named"));
  EXPECT_EQ(select.currentIndex(), 3);
  Frm().Refresh();
  EXPECT_THAT(NodeText("lf3"), HasSubstr("Moved"));
  EXPECT_EQ(NodeText("lf2"), "");
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
