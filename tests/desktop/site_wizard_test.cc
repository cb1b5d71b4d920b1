// The wizard for a new site.
#include "desktop/site_wizard.h"

#include <QAbstractButton>
#include <QRadioButton>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "forms/new_site.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct SiteWizardTest : MainWindowTest {
  SiteWizard* dialog = nullptr;

  void Add() {
    Trigger("miAdd");
    dialog = static_cast<SiteWizard*>(Frm().findChild<QDialog*>("frmWizard"));
    ASSERT_NE(dialog, nullptr);
  }
  template <class W>
  W& In(const char* name) {
    return WidgetIn<W>(*dialog, name);
  }
  void Type(const char* control, const QString& text) { In<QLineEdit>(control).setText(text); }
  void Click(const char* button) { WindowTest::Click(*dialog, button); }
  static FtpEntry File(const std::string& name) {
    FtpEntry entry;
    entry.name = name;
    return entry;
  }
  std::string Heading() { return In<QLabel>("lblHeading").text().toStdString(); }
  std::string FtpResult() { return In<QLabel>("lblFTPTest").text().toStdString(); }
  std::string FtpList() { return In<QPlainTextEdit>("ftpList").toPlainText().toStdString(); }
  bool IsOpen() {
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return Frm().findChild<QDialog*>("frmWizard") != nullptr;
  }
  void ToLocation(const char* name = "New") {
    Add();
    Click("btnNext");
    Type("txtName", name);
    Type("txtDomain", "www.new.example/");
    Click("btnNext");
    Click("optType2");
    Click("btnNext");
    Click("btnNext");
    ASSERT_EQ(Heading(), "Log File Location");
  }
  void ToFtpTest() {
    ToLocation();
    Click("optAccess1");
    Type("txtFTPDomain", "ftp.new.example");
    Type("txtFTPUser", "reader");
    Type("txtFTPPw", "secret");
    Type("txtFTPPath", "/logs/");
    Click("btnNext");
    ASSERT_EQ(Heading(), "Testing FTP Connection");
  }
};

TEST_F(SiteWizardTest, AddsALocalSiteInAFewSteps) {
  ASSERT_TRUE(Open());
  files.Put("/logs/new/access_log", "");
  Add();
  EXPECT_EQ(dialog->windowTitle(), "New Site");
  EXPECT_EQ(Heading(), "Welcome");
  EXPECT_FALSE(In<QAbstractButton>("btnPrev").isEnabled());
  Click("btnNext");
  EXPECT_EQ(Heading(), "Site Details");
  EXPECT_EQ(In<QLineEdit>("txtDomain").text(), "www.");
  Type("txtName", "New");
  Type("txtDomain", "www.new.example/");
  Click("btnNext");
  EXPECT_EQ(Heading(), "Log File Type");
  EXPECT_EQ(In<QLineEdit>("txtMask").text(), "ex*.log");
  Click("optType2");
  Click("btnNext");
  EXPECT_EQ(Heading(), "Log File Mask");
  EXPECT_EQ(In<QLineEdit>("txtMask").text(), "access_log");
  Click("btnNext");
  EXPECT_EQ(Heading(), "Log File Location");
  Type("txtLoc", "/logs/new");
  Click("btnNext");
  EXPECT_THAT(prompts.told, IsEmpty());
  EXPECT_EQ(Heading(), "Web Access") << "there is nothing to test with local access";
  Click("btnPrev");
  EXPECT_EQ(Heading(), "Log File Location");
  Click("btnNext");
  Click("chkWebAccess");
  Click("btnNext");
  EXPECT_EQ(Heading(), "Wizard Complete!");
  EXPECT_EQ(In<QAbstractButton>("btnNext").text(), "Finish");
  Click("btnNext");
  EXPECT_FALSE(IsOpen());
  ASSERT_EQ(T().SiteCount(), 1);
  EXPECT_EQ(T().CurrentView, 1);
  EXPECT_EQ(NodeText("lf1"), "New (Paused)");
  const std::string file = files.Get("/home/VANTRY.INI");
  for (const char* line : {"[New]", "Domain=www.new.example\r\n", "Folder=/logs/new/\r\n", "Mask=access_log\r\n",
                           "Unix=True\r\n", "Frequency=5\r\n", "Paused=True\r\n", "WebAccess=True\r\n",
                           "Alert=Default (All Visitors)\r\n", "AlertENGINEALL=Y\r\n"}) {
    EXPECT_THAT(file, HasSubstr(line));
  }
}

TEST_F(SiteWizardTest, ANewSiteIsReadOnceItIsStarted) {
  ASSERT_TRUE(Open());
  Log("11:59:00", "10.0.0.1");
  files.Put("/logs/access_log", files.Get("/logs/access.log"));
  ToLocation();
  Type("txtLoc", "/logs");
  Click("btnNext");
  Click("btnNext");
  Click("btnNext");
  ASSERT_FALSE(IsOpen());
  Run(20);
  EXPECT_EQ(T().Site(1).CurrentVisitors, 0) << "it stands paused";
  Trigger("miStart");
  Run(20);
  EXPECT_EQ(T().Site(1).CurrentVisitors, 1);
  ASSERT_EQ(T().Alerts.size(), 1u);
  EXPECT_EQ(T().Alerts[0].AlertHits, 1);
}

TEST_F(SiteWizardTest, CancelAddsNothing) {
  ASSERT_TRUE(Open());
  ToLocation();
  Click("btnCancel");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(T().SiteCount(), 0);
}

TEST_F(SiteWizardTest, AFolderWithoutMatchingFilesWarnsAndGoesOn) {
  ASSERT_TRUE(Open());
  ToLocation();
  Click("btnNext");
  EXPECT_EQ(prompts.told.back(), "You must specify a log file location.");
  EXPECT_EQ(Heading(), "Log File Location");
  files.fails = [](const std::string& call) { return call == "list /nowhere/"; };
  Type("txtLoc", "/nowhere");
  Click("btnNext");
  EXPECT_EQ(prompts.told.back(), "Log file folder does not exist.");
  EXPECT_EQ(Heading(), "Log File Location");
  Type("txtLoc", "/logs/new/");
  Click("btnNext");
  EXPECT_THAT(prompts.told.back(), HasSubstr("There does not appear to be any files with a access_log mask"));
  EXPECT_EQ(Heading(), "Web Access");
}

TEST_F(SiteWizardTest, ShowsWhatTheFolderHoldsAndAWrongType) {
  ASSERT_TRUE(Open());
  Log("11:59:00", "10.0.0.1\x1b[2J");
  files.Put("/logs/access_log", files.Get("/logs/access.log"));
  ToLocation();
  auto& look = In<QPlainTextEdit>("lstLogs");
  EXPECT_EQ(look.toPlainText(), "") << "there is no folder yet";
  Type("txtLoc", "/logs");
  ASSERT_TRUE(QTest::qWaitFor([&] { return !look.toPlainText().isEmpty(); }));
  std::string text = look.toPlainText().toStdString();
  EXPECT_THAT(text, HasSubstr("1 file fits the mask. Written last:\naccess_log, "));
  EXPECT_THAT(text, HasSubstr("\nFirst line of access_log: 10.0.0.1\uFFFD[2J - - [05/Mar/2026:11:59:00"));
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
  Click("btnPrev");
  Click("btnPrev");
  Click("optType0");
  Click("btnNext");
  Type("txtMask", "access_log");
  Click("btnNext");
  text = look.toPlainText().toStdString();
  EXPECT_THAT(text, HasSubstr("but W3C Extended is chosen. Go back to change it."));
  Click("optAccess1");
  EXPECT_FALSE(look.isVisible());
}

TEST_F(SiteWizardTest, HelpIsThatOfTheWizardAndOfWebAccess) {
  ASSERT_TRUE(Open());
  Add();
  Click("btnHelp");
  auto* help = Frm().findChild<QTextBrowser*>("helpText");
  ASSERT_NE(help, nullptr);
  EXPECT_EQ(help->source().fileName(), "new-site.html");
  Click("btnHelpWeb");
  EXPECT_EQ(help->source().fileName(), "web.html");
}

TEST_F(SiteWizardTest, AMistakeIsToldAtTheEndAndItsPageShown) {
  Sites(1);
  ASSERT_TRUE(Open());
  ToLocation("Site 1");
  Type("txtLoc", "/elsewhere/");
  for (int i = 0; i < 3; ++i) Click("btnNext");
  EXPECT_EQ(prompts.told.back(), "The Site Name must be unique.");
  EXPECT_EQ(Heading(), "Site Details");
  EXPECT_EQ(T().SiteCount(), 1);
}

TEST_F(SiteWizardTest, AnFtpConnectionIsTestedFirst) {
  ASSERT_TRUE(Open());
  ftp.entries = {File("access_log"), File("other")};
  ToFtpTest();
  EXPECT_EQ(FtpResult(), "The FTP connection will now be tested. Click the Next button to begin.");
  Click("btnNext");
  EXPECT_FALSE(In<QAbstractButton>("btnNext").isEnabled());
  ftp.TurnAll();
  EXPECT_EQ(FtpResult(), "Test Successful. Click Next to continue.");
  EXPECT_THAT(FtpList(), HasSubstr("Testing FTP Connection\n"));
  EXPECT_THAT(FtpList(), HasSubstr("access_log"));
  EXPECT_THAT(FtpList(), Not(HasSubstr("other")));
  EXPECT_THAT(FtpList(), Not(HasSubstr("secret")));
  EXPECT_THAT(prompts.told, IsEmpty());
  for (int i = 0; i < 3; ++i) Click("btnNext");
  EXPECT_FALSE(IsOpen());
  EXPECT_TRUE(T().Site(1).FTP);
  EXPECT_FALSE(T().Site(1).FTPPassive);
  EXPECT_EQ(T().Site(1).Frequency, 60);
  EXPECT_EQ(T().Site(1).FTPPassword, "secret");
}

TEST_F(SiteWizardTest, AnFtpTestThatFailsTwiceKeepsThePage) {
  ASSERT_TRUE(Open());
  ToFtpTest();
  ftp.login = Status::Error(Fail::kRefused, "530 Login incorrect");
  Click("btnNext");
  ftp.TurnOnce();
  EXPECT_EQ(FtpResult(), "First Test Failed.. Now Trying Passive Mode.");
  ftp.TurnAll();
  EXPECT_EQ(FtpResult(), "Test Failed. Click Back and check your connection settings.");
  EXPECT_THAT(FtpList(), HasSubstr("Trying Passive FTP Connection"));
  EXPECT_FALSE(In<QAbstractButton>("btnNext").isEnabled());
  Click("btnPrev");
  EXPECT_EQ(Heading(), "Log File Location");
  EXPECT_TRUE(In<QAbstractButton>("btnNext").isEnabled());
}

TEST_F(SiteWizardTest, APassiveConnectionIsRememberedAndAMissingFileWarns) {
  ASSERT_TRUE(Open());
  ToFtpTest();
  ftp.listing = Status::Error(Fail::kIo, "425 Can't open data connection");
  Click("btnNext");
  while (FtpResult() != "First Test Failed.. Now Trying Passive Mode." && ftp.TurnOnce()) {
  }
  ftp.listing = Status::Ok();
  ftp.TurnAll();
  QApplication::processEvents();
  EXPECT_EQ(FtpResult(), "Test Successful. Click Next to continue.");
  EXPECT_THAT(prompts.told,
              ElementsAre(HasSubstr("There does appear to be any files with a access_log mask in this FTP")));
  for (int i = 0; i < 3; ++i) Click("btnNext");
  EXPECT_TRUE(T().Site(1).FTPPassive);
}

TEST_F(SiteWizardTest, WithoutAServerNothingIsTested) {
  ASSERT_TRUE(Open());
  ToFtpTest();
  Click("btnPrev");
  Type("txtFTPDomain", "");
  Click("btnNext");
  Click("btnNext");
  EXPECT_EQ(prompts.told.back(), "You must specify an FTP location, such as ftp.example.com");
  EXPECT_THAT(ftp.calls, IsEmpty());
}

TEST_F(SiteWizardTest, ATestUnderWayIsLeftByClosing) {
  ASSERT_TRUE(Open());
  ToFtpTest();
  Click("btnNext");
  Click("btnCancel");
  EXPECT_FALSE(IsOpen());
  ftp.TurnAll();
}

TEST_F(SiteWizardTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  ASSERT_TRUE(Open());
  ftp.entries = {File("ex260305.log")};
  Log("11:59:00", "10.0.0.1");
  files.Put("/var/log/nginx/ex260305.log", files.Get("/logs/access.log"));
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    Add();
    Type("txtName", "Garden shop");
    for (int page = 0; page < 8 && IsOpen(); ++page) {
      if (page == kLocationPage) Click(dark ? "optAccess1" : "optAccess0");
      Type("txtFTPDomain", "ftp.example.com");
      Type("txtLoc", "/var/log/nginx/");
      SavePicture(dialog->grab().toImage(), QString("wizard-%1-%2").arg(page).arg(dark ? "dark" : "light"));
      Click("btnNext");
      ftp.TurnAll();
    }
    if (IsOpen()) Click("btnCancel");
    EXPECT_FALSE(IsOpen());
  }
}

}  // namespace
}  // namespace vantry
