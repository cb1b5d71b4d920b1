// The dialogs that edit a site and its alerts.
#include "desktop/site_properties.h"

#include <QAbstractButton>
#include <QListWidget>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/site_edits.h"
#include "desktop/pictures.h"
#include "forms/alert_form.h"
#include "forms/site_form.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct SitePropertiesTest : MainWindowTest {
  SiteProperties* dialog = nullptr;

  void Edit() {
    ChooseNode("lf1");
    Trigger("miEdit");
    dialog = static_cast<SiteProperties*>(Frm().findChild<QDialog*>("frmProperties"));
    ASSERT_NE(dialog, nullptr);
  }
  void Type(const char* control, const QString& text) { WidgetIn<QLineEdit>(*dialog, control).setText(text); }
  QDialog& Alert() {
    auto* alert = dialog->findChild<QDialog*>("frmAlert");
    if (!alert) throw std::runtime_error("no alert is open");
    return *alert;
  }
  bool IsOpen() {
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return Frm().findChild<QDialog*>("frmProperties") != nullptr;
  }
};

TEST_F(SitePropertiesTest, EachControlShowsItsFieldByNameAndCaption) {
  OpenWithVisitors();
  Edit();
  auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
  QStringList titles;
  for (int i = 0; i < pages.count(); ++i) titles += pages.tabText(i);
  EXPECT_EQ(titles.join("|"),
            "General|Log Files|Log Files Location|Exclusions|Alerts|Email Settings|Web Access|Touch|Sleep Mode");
  EXPECT_EQ(dialog->windowTitle(), "Site Properties");
  for (const auto& field : kSiteFields) {
    if (!field.get) continue;
    auto& input = WidgetIn<QWidget>(*dialog, std::string(field.look.control).c_str());
    EXPECT_EQ(input.accessibleName(), PlainCaption(field.look.caption));
    EXPECT_EQ(pages.Find(field.look.control).Value(), field.get(T().Site(1))) << field.look.control;
  }
}

TEST_F(SitePropertiesTest, OkStoresAndCancelLeavesEveryByteAlone) {
  OpenWithVisitors();
  const std::string before = files.Get("/home/VANTRY.INI");
  Edit();
  EXPECT_TRUE(T().Site(1).Rests()) << "meanwhile";
  Type("txtHomePage", "start.htm");
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen());
  EXPECT_FALSE(T().Site(1).Rests());
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), before);
  EXPECT_EQ(T().Site(1).HomePage, "");
  Edit();
  Type("txtHomePage", "start.htm");
  Type("txtTouchMins", "7");
  WidgetIn<QCheckBox>(*dialog, "chkQuery").click();
  WidgetIn<QComboBox>(*dialog, "cmboFreq").setCurrentText("2 Minutes");
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_FALSE(T().Site(1).Rests());
  const std::string after = files.Get("/home/VANTRY.INI");
  for (const char* line :
       {"HomePage=start.htm\r\n", "TouchEvery=7\r\n", "IncludeQuery=True\r\n", "Frequency=120\r\n"}) {
    EXPECT_THAT(after, HasSubstr(line));
  }
}

TEST_F(SitePropertiesTest, OkStoresWhatWasChangedHereIntoTheSiteAsItIsNow) {
  OpenWithVisitors();
  T().Site(1).Exclude = "10.0.0.9";
  Edit();
  // By another hand, in the meantime.
  SiteRec& site = T().Site(1);
  site.HomePage = "theirs.htm";
  site.Mask = "theirs.log";
  site.Frequency = 300;
  site.IncludeQuery = true;
  site.Exclude = "10.0.0.9;192.168.*";
  site.LastReadPos = 77;
  Type("txtTouchMins", "7");
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(site.TouchEvery, 7);
  EXPECT_EQ(site.HomePage, "theirs.htm");
  EXPECT_EQ(site.Mask, "theirs.log");
  EXPECT_EQ(site.Frequency, 300);
  EXPECT_TRUE(site.IncludeQuery);
  EXPECT_EQ(site.Exclude, "10.0.0.9;192.168.*");
  EXPECT_EQ(site.LastReadPos, 77) << "the log it reads was not changed here";

  Edit();
  site.HomePage = "again.htm";
  site.Exclude = "10.1.1.1";
  Type("txtHomePage", "ours.htm");
  WidgetIn<QTableWidget>(*dialog, "gridExclude").item(0, 1)->setText("10.2.2.2");
  Click(*dialog, "btnOK");
  EXPECT_EQ(site.HomePage, "ours.htm");
  EXPECT_EQ(site.Exclude, "10.2.2.2;192.168.*");
}

TEST_F(SitePropertiesTest, TheRestOfASiteThatIsEditedReachesNoFile) {
  OpenWithVisitors();
  const auto saved = [this] { return files.Get("/home/VANTRY.INI"); };
  Edit();
  engine->SaveSites();
  EXPECT_THAT(saved(), Not(HasSubstr("Paused=True")));
  Type("txtHomePage", "start.htm");
  Click(*dialog, "btnOK");
  EXPECT_THAT(saved(), HasSubstr("HomePage=start.htm\r\n"));
  EXPECT_THAT(saved(), Not(HasSubstr("Paused=True")));

  // Nobody reads it, and a pause that somebody asks for meanwhile stays.
  Edit();
  const int64_t read = T().Site(1).LastReadPos;
  Log("12:00:00", "10.0.0.4");
  Run(30);
  EXPECT_EQ(T().Site(1).LastReadPos, read);
  T().Site(1).Paused = true;
  Click(*dialog, "btnCancel");
  EXPECT_TRUE(T().Site(1).Paused);
  engine->SaveSites();
  EXPECT_THAT(saved(), HasSubstr("Paused=True"));
}

TEST_F(SitePropertiesTest, ASiteThatWasRemovedMeanwhileIsNotStored) {
  OpenWithVisitors();
  Edit();
  DeleteSite(T(), 1);
  const std::string before = files.Get("/home/VANTRY.INI");
  Type("txtHomePage", "start.htm");
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_THAT(prompts.told, ElementsAre("The site was removed meanwhile."));
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), before);
}

TEST_F(SitePropertiesTest, AMistakeIsToldAndItsControlShown) {
  OpenWithVisitors();
  Edit();
  Type("txtDomain", "www.d2.example/");
  Click(*dialog, "btnOK");
  EXPECT_THAT(prompts.told, ElementsAre("This Domain is already being monitored. The Domain name must be unique."));
  EXPECT_TRUE(IsOpen());
  EXPECT_EQ(WidgetIn<FormPages>(*dialog, "SSActiveTabs1").currentIndex(), 0);
  Type("txtDomain", "www.d1.example/");
  WidgetIn<QCheckBox>(*dialog, "chkTouch").click();
  Type("txtTouchMins", "1");
  Click(*dialog, "btnOK");
  EXPECT_EQ(prompts.told.back(), "The minimum touch interval is 2 minutes.");
  EXPECT_EQ(WidgetIn<FormPages>(*dialog, "SSActiveTabs1").currentWidget()->accessibleName(), "Touch");
  Type("txtTouchMins", "2");
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(T().Site(1).Domain, "www.d1.example");
}

TEST_F(SitePropertiesTest, AnotherNameIsStoredOnlyWithYes) {
  OpenWithVisitors();
  Edit();
  Type("txtName", "Garden");
  for (const auto answer : {QMessageBox::No, QMessageBox::Cancel}) {
    prompts.answer = answer;
    Click(*dialog, "btnOK");
    EXPECT_TRUE(IsOpen());
    EXPECT_EQ(T().Site(1).Name, "Site 1");
  }
  prompts.answer = QMessageBox::Yes;
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(NodeText("lf1"), "Garden (3)");
  EXPECT_THAT(files.Get("/home/VANTRY.INI"), HasSubstr("[Garden]"));
}

TEST_F(SitePropertiesTest, AnotherMaskStartsTheSiteAnew) {
  OpenWithVisitors();
  ASSERT_GT(T().Site(1).LastReadPos, 0);
  Edit();
  Type("txtEXT", "other.log");
  Click(*dialog, "btnOK");
  EXPECT_EQ(T().Site(1).LastReadPos, 0);
  EXPECT_EQ(T().Site(1).TodayVisitors, 0);
}

TEST_F(SitePropertiesTest, ShowsWhatApplies) {
  OpenWithVisitors();
  Edit();
  WidgetIn<FormPages>(*dialog, "SSActiveTabs1").setCurrentIndex(2);
  const auto shown = [&](const char* name) { return WidgetIn<QWidget>(*dialog, name).isVisible(); };
  EXPECT_TRUE(shown("txtLog") && shown("btnPick"));
  EXPECT_FALSE(shown("txtFTPDomain") || shown("chkFTPPassive"));
  WidgetIn<QCheckBox>(*dialog, "chkFTP").click();
  EXPECT_FALSE(shown("txtLog") || shown("btnPick"));
  for (const char* name : {"txtFTPDomain", "txtFTPUser", "txtFTPPw", "txtFTPPath", "chkFTPPassive"}) {
    EXPECT_TRUE(shown(name)) << name;
  }
  EXPECT_FALSE(WidgetIn<QWidget>(*dialog, "cmboWakeUp").isEnabled());
  WidgetIn<QCheckBox>(*dialog, "chkSleepMode").click();
  EXPECT_TRUE(WidgetIn<QWidget>(*dialog, "cmboWakeUp").isEnabled());
  Type("txtDomain", " shop.example ");
  Type("txtTouchPage", "up.htm");
  EXPECT_EQ(WidgetIn<QLabel>(*dialog, "lblfullURL").text(), "http://shop.example/up.htm");
}

TEST_F(SitePropertiesTest, SaysWhichFileWouldBeReadNow) {
  OpenWithVisitors();
  files.Put("/logs/other.log", "");
  Edit();
  auto& now = WidgetIn<QLabel>(*dialog, "lblReadNow");
  EXPECT_EQ(now.text(), "Read now: access.log (1 file fits the mask)");
  EXPECT_EQ(now.textFormat(), Qt::PlainText);
  const auto becomes = [&](const QString& text) { return QTest::qWaitFor([&] { return now.text() == text; }); };
  Type("txtEXT", "*.log");
  WidgetIn<QComboBox>(*dialog, "cmboSelect").setCurrentText("Alphabetic");
  EXPECT_TRUE(becomes("Read now: other.log (2 files fit the mask)"));
  Type("txtEXT", "none*");
  EXPECT_TRUE(becomes("No file fits the mask now."));
  files.fails = [](const std::string& call) { return call == "list /logs/"; };
  Type("txtEXT", "*.log");
  EXPECT_TRUE(becomes("/logs/: broken on command"));
  WidgetIn<QCheckBox>(*dialog, "chkFTP").click();
  EXPECT_TRUE(becomes("The log is on an FTP server; what is there is seen at the next scan."));
}

TEST_F(SitePropertiesTest, AFullFolderIsLookedAtInPieces) {
  OpenWithVisitors();
  for (int i = 0; i < 20'000; ++i) files.Put("/logs/old" + std::to_string(i) + ".log", "");
  Edit();
  auto& now = WidgetIn<QLabel>(*dialog, "lblReadNow");
  EXPECT_EQ(now.text(), "Looking...");
  QApplication::processEvents();
  EXPECT_EQ(now.text(), "Looking...") << "the loop turns between the pieces";
  EXPECT_TRUE(QTest::qWaitFor([&] { return now.text() == "Read now: access.log (1 file fits the mask)"; }));
  Type("txtEXT", "*.log");
  EXPECT_TRUE(QTest::qWaitFor([&] { return now.text() == "Looking..."; }));
  Type("txtEXT", "old7.log");
  EXPECT_TRUE(QTest::qWaitFor([&] { return now.text() == "Read now: old7.log (1 file fits the mask)"; }));
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen());
}

TEST_F(SitePropertiesTest, HelpOpensItsPage) {
  OpenWithVisitors();
  Edit();
  Click(*dialog, "btnHelp");
  auto* help = Frm().findChild<QTextBrowser*>("helpText");
  ASSERT_NE(help, nullptr);
  EXPECT_EQ(help->source().fileName(), "add-site.html");
  Click(*dialog, "btnAlert0");
  Click(Alert(), "btnHelp");
  EXPECT_EQ(help->source().fileName(), "alerts.html");
}

TEST_F(SitePropertiesTest, ASiteIsTouchedFromThenOn) {
  OpenWithVisitors();
  loop.Tick(TouchMonitor::kTouchTimerMs);
  EXPECT_TRUE(http.asked.empty());
  Edit();
  WidgetIn<QCheckBox>(*dialog, "chkTouch").click();
  Type("txtTouchMins", "5");
  Type("txtTouchPage", "up.htm");
  Click(*dialog, "btnOK");
  clock.Advance(60);
  loop.Tick(TouchMonitor::kTouchTimerMs);
  ASSERT_EQ(http.asked.size(), 1u);
  EXPECT_EQ(http.asked[0], "http://www.d1.example/up.htm");
}

TEST_F(SitePropertiesTest, PasswordsAreHiddenUntilTheyAreAskedFor) {
  OpenWithVisitors();
  Edit();
  auto& password = WidgetIn<QLineEdit>(*dialog, "txtWebPass");
  EXPECT_EQ(password.echoMode(), QLineEdit::Password);
  Click(*dialog, "txtWebPassShow");
  EXPECT_EQ(password.echoMode(), QLineEdit::Normal);
}

TEST_F(SitePropertiesTest, FilesArePicked) {
  OpenWithVisitors();
  Edit();
  Click(*dialog, "btnPick");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtLog").text(), "/logs/") << "none was picked";
  prompts.file = "/var/log/shop/access.log";
  Click(*dialog, "btnPick");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtLog").text(), "/var/log/shop/");
  Click(*dialog, "btnPick2");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtLogo").text(), "/var/log/shop/access.log");
}

TEST_F(SitePropertiesTest, TheListOfExclusionsHasAnEmptyRowAtItsEnd) {
  OpenWithVisitors();
  T().Site(1).Exclude = ";10.0.0.9;192.168.*";
  Edit();
  auto& list = WidgetIn<QTableWidget>(*dialog, "gridExclude");
  ASSERT_EQ(list.rowCount(), 3);
  list.item(2, 1)->setText("10.1.?.1");
  ASSERT_EQ(list.rowCount(), 4);
  list.item(0, 1)->setText("");
  Click(*dialog, "btnOK");
  EXPECT_EQ(T().Site(1).Exclude, "192.168.*;10.1.?.1");
}

TEST_F(SitePropertiesTest, AlertsAreMadeChangedMovedAndDeleted) {
  OpenWithVisitors();
  Edit();
  Click(*dialog, "btnAlert0");
  EXPECT_EQ(Alert().windowTitle(), "Alert:1 [Alert 1]");
  WidgetIn<QLineEdit>(Alert(), "txtName").setText("");
  Click(Alert(), "btnOK");
  EXPECT_EQ(prompts.told.back(), "An Alert must have a name.");
  WidgetIn<QLineEdit>(Alert(), "txtName").setText("Friends");
  WidgetIn<QTableWidget>(Alert(), "gridDNS").item(0, 1)->setText("*.Example.NET");
  WidgetIn<QTableWidget>(Alert(), "gridPAGES").item(3, 1)->setText("/Shop/*");
  WidgetIn<QListWidget>(Alert(), "listRef").item(0)->setSelected(true);
  Click(Alert(), "btnOK");
  ASSERT_EQ(T().Alerts.size(), 1u);
  EXPECT_EQ(T().Alerts[0].Name, "Friends");
  EXPECT_EQ(T().Alerts[0].DNS, std::vector<std::string>{"*.example.net"});
  EXPECT_EQ(T().Alerts[0].Page, std::vector<std::string>{"/shop/*"});
  EXPECT_TRUE(T().Alerts[0].EngineAll);
  Click(*dialog, "btnAlert0");
  Click(Alert(), "btnCancel");
  QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(T().Alerts.size(), 1u);
  Click(*dialog, "btnAlert0");
  Click(Alert(), "btnOK");
  QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  auto& list = WidgetIn<QTableWidget>(*dialog, "gridAlerts");
  ASSERT_EQ(list.rowCount(), 2);
  EXPECT_EQ(list.item(1, 2)->text(), "Alert 2");
  Click(*dialog, "btnAlert2");
  EXPECT_EQ(list.item(0, 2)->text(), "Alert 2");
  EXPECT_EQ(T().Alerts[0].Name, "Alert 2");
  Click(*dialog, "btnAlert3");
  EXPECT_EQ(T().Alerts[0].Name, "Friends");
  list.selectRow(0);
  Click(*dialog, "btnAlert4");
  WidgetIn<QCheckBox>(Alert(), "chkEnabled").click();
  prompts.color = QColor(255, 128, 0);
  Click(Alert(), "btnPickColor");
  Click(Alert(), "btnOK");
  EXPECT_FALSE(T().Alerts[0].Enabled);
  EXPECT_EQ(T().Alerts[0].Color, 255 | 128 << 8);
  EXPECT_EQ(list.item(0, 1)->text(), "No");
  prompts.answer = QMessageBox::No;
  Click(*dialog, "btnAlert1");
  EXPECT_EQ(T().Alerts.size(), 2u);
  prompts.answer = QMessageBox::Yes;
  Click(*dialog, "btnAlert1");
  EXPECT_EQ(prompts.asked.back(), "Delete Alert: Friends?");
  EXPECT_EQ(T().Alerts.size(), 1u);
  Click(*dialog, "btnOK");
  EXPECT_THAT(files.Get("/home/VANTRY.INI"), HasSubstr("Alert=Alert 2\r\n"));
}

TEST_F(SitePropertiesTest, AlertsThatComeAndGoMeanwhileAreNotMixedUp) {
  OpenWithVisitors();
  for (int i = 0; i < 3; ++i) AppendAlert(T(), NewAlert(T(), 1));
  Edit();
  auto& list = WidgetIn<QTableWidget>(*dialog, "gridAlerts");
  // The first goes while the second is edited, and while somebody is asked about the last.
  list.selectRow(1);
  Click(*dialog, "btnAlert4");
  DeleteAlert(T(), 0);
  WidgetIn<QLineEdit>(Alert(), "txtMessage").setText("Hello");
  Click(Alert(), "btnOK");
  QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  ASSERT_EQ(T().Alerts.size(), 2u);
  EXPECT_EQ(T().Alerts[0].Message, "Hello");
  EXPECT_EQ(T().Alerts[1].Message, "");
  list.selectRow(1);
  prompts.answer = QMessageBox::Yes;
  prompts.meanwhile = [this] { DeleteAlert(T(), 0); };
  Click(*dialog, "btnAlert1");
  EXPECT_EQ(prompts.asked.back(), "Delete Alert: Alert 3?");
  EXPECT_TRUE(T().Alerts.empty());
}

TEST_F(SitePropertiesTest, WaitsForTheEndOfAScan) {
  OpenWithVisitors();
  Edit();
  Type("txtHomePage", "late.htm");
  T().ScanInProgress = true;
  Click(*dialog, "btnOK");
  EXPECT_TRUE(IsOpen());
  EXPECT_FALSE(dialog->isEnabled());
  EXPECT_EQ(T().Site(1).HomePage, "");
  T().ScanInProgress = false;
  QTest::qWait(100);
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(T().Site(1).HomePage, "late.htm");
}

TEST_F(SitePropertiesTest, APickerThatWaitsForItsAnswerComesAfterTheScan) {
  OpenWithVisitors();
  Edit();
  prompts.file = "/var/log/shop/access.log";
  T().ScanInProgress = true;
  Click(*dialog, "btnPick");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtLog").text(), "/logs/");
  T().ScanInProgress = false;
  EXPECT_TRUE(QTest::qWaitFor([&] { return WidgetIn<QLineEdit>(*dialog, "txtLog").text() == "/var/log/shop/"; }));
}

TEST_F(SitePropertiesTest, AFileThatCanNotBeWrittenIsTold) {
  OpenWithVisitors();
  Edit();
  Type("txtHomePage", "new.htm");
  files.fails = [](const std::string& call) { return call == "replace /home/VANTRY.INI"; };
  notices.told.clear();
  Click(*dialog, "btnOK");
  EXPECT_THAT(notices.told, ElementsAre(HasSubstr("could not be saved in /home/VANTRY.INI")));
}

TEST_F(SitePropertiesTest, BytesThatAreNoUtf8StayAsTheyWere) {
  OpenWithVisitors();
  T().Site(1).HomePage = "caf\xe9.htm";
  Edit();
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtHomePage").text(), QString::fromUtf8("caf\xc3\xa9.htm"));
  Click(*dialog, "btnOK");
  EXPECT_EQ(T().Site(1).HomePage, "caf\xe9.htm");
  EXPECT_THAT(prompts.told, IsEmpty());
}

TEST_F(SitePropertiesTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  OpenWithVisitors();
  T().Site(1).Exclude = "10.0.0.1;192.168.*";
  AppendAlert(T(), NewAlert(T(), 1));
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    Edit();
    auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
    const QString shade = dark ? "dark" : "light";
    for (int i = 0; i < pages.count(); ++i) {
      pages.setCurrentIndex(i);
      QApplication::processEvents();
      SavePicture(dialog->grab().toImage(), QString("properties-%1-%2").arg(i).arg(shade));
    }
    WidgetIn<QTableWidget>(*dialog, "gridAlerts").selectRow(0);
    Click(*dialog, "btnAlert4");
    auto& alert = WidgetIn<FormPages>(Alert(), "SSActiveTabs1");
    for (int i = 0; i < alert.count(); ++i) {
      alert.setCurrentIndex(i);
      QApplication::processEvents();
      SavePicture(Alert().grab().toImage(), QString("alert-%1-%2").arg(i).arg(shade));
    }
    Click(Alert(), "btnCancel");
    Click(*dialog, "btnCancel");
    EXPECT_FALSE(IsOpen());
  }
}

}  // namespace
}  // namespace vantry
