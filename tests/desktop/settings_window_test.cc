// The dialogs that edit the settings, the colours and the exception types.
#include "desktop/settings_window.h"

#include <QAbstractButton>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "forms/settings_form.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct SettingsWindowTest : MainWindowTest {
  SettingsWindow* dialog = nullptr;

  void Options() {
    Trigger("miOptions");
    dialog = static_cast<SettingsWindow*>(Frm().findChild<QDialog*>("frmSettings"));
    ASSERT_NE(dialog, nullptr);
  }
  void Type(const char* control, const QString& text) { WidgetIn<QLineEdit>(*dialog, control).setText(text); }
  bool IsOpen() {
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return Frm().findChild<QDialog*>("frmSettings") != nullptr;
  }
  Settings& Now() { return engine->GetSettings(); }
};

TEST_F(SettingsWindowTest, EachControlShowsItsFieldByNameAndCaption) {
  OpenWithVisitors();
  Options();
  EXPECT_EQ(dialog->windowTitle(), "Options");
  auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
  for (const auto& field : kSettingsFields) {
    if (!field.get) continue;
    EXPECT_EQ(pages.Find(field.look.control).Value(), field.get(Now())) << field.look.control;
    if (field.look.kind == FieldKind::kRadio) continue;
    EXPECT_EQ(WidgetIn<QWidget>(*dialog, std::string(field.look.control).c_str()).accessibleName(),
              PlainCaption(field.look.caption));
  }
}

TEST_F(SettingsWindowTest, OkStoresWhatWasChangedHereIntoTheSettingsAsTheyAreNow) {
  OpenWithVisitors();
  Options();
  Now().EmailSubject = "theirs";
  Now().EmailEvery = 45;
  Now().NoSpiders = !Now().NoSpiders;
  const bool no_spiders = Now().NoSpiders;
  Now().WebColGrid = "#010203";
  Now().Extension = {"xyz"};
  Now().SearchEngines = {{"Theirs", "theirs."}};
  Type("txtSendTo", "ops@example.com");
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(Now().EmailSendTo, "ops@example.com");
  EXPECT_EQ(Now().EmailSubject, "theirs");
  EXPECT_EQ(Now().EmailEvery, 45);
  EXPECT_EQ(Now().NoSpiders, no_spiders);
  EXPECT_EQ(Now().WebColGrid, "#010203");
  EXPECT_EQ(Now().Extension, std::vector<std::string>{"xyz"});
  ASSERT_EQ(Now().SearchEngines.size(), 1u);
  EXPECT_EQ(Now().SearchEngines[0].name, "Theirs");
}

TEST_F(SettingsWindowTest, AnExceptionTypeIsEditedByItsButtonToo) {
  OpenWithVisitors();
  Options();
  Click(*dialog, "btnModifyType");
  EXPECT_EQ(dialog->findChild<QDialog*>("frmSettingsExtype"), nullptr) << "none is chosen";
  auto& list = WidgetIn<QTableWidget>(*dialog, "exGrid");
  list.selectionModel()->select(list.model()->index(1, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
  Click(*dialog, "btnModifyType");
  auto* type = dialog->findChild<QDialog*>("frmSettingsExtype");
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(WidgetIn<QLineEdit>(*type, "txtNumber").text(), list.item(1, 0)->text());
}

TEST_F(SettingsWindowTest, TheSideBarChoosesThePageAndItsHelpLine) {
  OpenWithVisitors();
  Options();
  auto& side = WidgetIn<QTreeWidget>(*dialog, "ActiveBar21");
  auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
  EXPECT_EQ(side.topLevelItemCount(), 3);
  EXPECT_EQ(WidgetIn<QLabel>(*dialog, "lblTabHelp").text(), "") << "the first page has none";
  for (const SettingsPage& page : kSettingsPages) {
    const QString caption = QString::fromStdString(std::string(page.caption));
    const auto found = side.findItems(caption, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(found.size(), 1) << page.caption;
    side.setCurrentItem(found[0]);
    EXPECT_EQ(pages.currentWidget()->accessibleName(), caption);
    EXPECT_EQ(WidgetIn<QLabel>(*dialog, "lblTabHelp").text().toStdString(), page.help);
  }
}

TEST_F(SettingsWindowTest, OkStoresAndCancelLeavesEveryByteAlone) {
  OpenWithVisitors();
  const std::string before = files.Get("/home/SETTINGS.INI");
  Options();
  Type("txtSendTo", "ops@example.com");
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(files.Get("/home/SETTINGS.INI"), before);
  EXPECT_EQ(Now().EmailSendTo, "");
  Options();
  Type("txtSendTo", "ops@example.com");
  Type("txtPort", "70000");
  WidgetIn<QCheckBox>(*dialog, "chkNoSpiders").click();
  Click(*dialog, "optSMS1");
  auto& extensions = WidgetIn<QTableWidget>(*dialog, "extGrid");
  extensions.item(extensions.rowCount() - 1, 1)->setText(".JSP");
  auto& engines = WidgetIn<QTableWidget>(*dialog, "refGrid");
  const int last = engines.rowCount() - 1;
  engines.item(last, 1)->setText("Mine");
  engines.item(last, 2)->setText(".mine.");
  EXPECT_EQ(engines.rowCount(), last + 2);
  Click(*dialog, "btnOK");
  EXPECT_FALSE(IsOpen());
  const std::string after = files.Get("/home/SETTINGS.INI");
  for (const char* line : {"EmailSendTo=ops@example.com\r\n", "WebAccessPort= 65535\r\n", "NoSpiders=True\r\n",
                           "SMSConnect= 1\r\n", "=jsp\r\n"}) {
    EXPECT_THAT(after, HasSubstr(line));
  }
  EXPECT_THAT(files.Get("/home/Data/Search engines.txt"), HasSubstr("Mine,.mine.\r\n"));
  EXPECT_EQ(Now().SearchEngines.back().name, "Mine");
}

TEST_F(SettingsWindowTest, AMistakeIsToldAndItsControlShown) {
  OpenWithVisitors();
  Options();
  for (const auto& [minutes, told] : {std::pair("0", "Minutes must be greater than zero"),
                                      std::pair("1", "The Inactivity Minutes must be at least 2")}) {
    Type("txtMins", minutes);
    Click(*dialog, "btnOK");
    EXPECT_EQ(prompts.told.back(), told);
  }
  Type("txtMins", "2");
  WidgetIn<QCheckBox>(*dialog, "chkWebAccessControl").click();
  Click(*dialog, "btnOK");
  EXPECT_EQ(prompts.told.back(), "If you enable web access control you must specify a user name.");
  EXPECT_EQ(WidgetIn<FormPages>(*dialog, "SSActiveTabs1").currentWidget()->accessibleName(), "Web/Wap Access");
  EXPECT_TRUE(IsOpen());
}

TEST_F(SettingsWindowTest, BoxesEnableTheirFields) {
  OpenWithVisitors();
  Options();
  const auto enabled = [&](const char* name) { return WidgetIn<QWidget>(*dialog, name).isEnabled(); };
  EXPECT_TRUE(enabled("txtPort"));
  EXPECT_FALSE(enabled("txtWebUser")) << "no login is asked for";
  WidgetIn<QCheckBox>(*dialog, "chkWebAccessControl").click();
  EXPECT_TRUE(enabled("txtWebUser"));
  WidgetIn<QCheckBox>(*dialog, "chkWebAccess").click();
  EXPECT_FALSE(enabled("txtWebUser") || enabled("txtPort") || enabled("chkWebAccessControl"));
  EXPECT_FALSE(enabled("txtSQLUser"));
  WidgetIn<QCheckBox>(*dialog, "chkSQLServer").click();
  EXPECT_TRUE(enabled("txtSQLName"));
  EXPECT_FALSE(enabled("txtSQLUser")) << "the account of the program is used";
  WidgetIn<QCheckBox>(*dialog, "chkSQLAuth").click();
  EXPECT_TRUE(enabled("txtSQLUser"));
  EXPECT_FALSE(enabled("txtArchiveDays"));
  WidgetIn<QCheckBox>(*dialog, "chkArchive").click();
  EXPECT_TRUE(enabled("txtArchiveDays") && enabled("cmboArchive"));
  EXPECT_TRUE(enabled("txtSMSServerName"));
  EXPECT_FALSE(enabled("txtSMSFolder"));
  Click(*dialog, "optSMS1");
  EXPECT_FALSE(enabled("txtSMSServerName"));
  EXPECT_TRUE(enabled("txtSMSFolder"));
}

TEST_F(SettingsWindowTest, AnExceptionTypeIsEdited) {
  OpenWithVisitors();
  Options();
  auto& list = WidgetIn<QTableWidget>(*dialog, "exGrid");
  const auto& types = Now().ExceptionTypes;
  ASSERT_EQ(list.rowCount(), static_cast<int>(types.size()));
  int row = 0;
  while (types[static_cast<size_t>(row)].Number != 130) ++row;
  Q_EMIT list.cellDoubleClicked(row, 0);
  auto* window_ = dialog->findChild<QDialog*>("frmSettingsExtype");
  ASSERT_NE(window_, nullptr);
  EXPECT_TRUE(WidgetIn<QLineEdit>(*window_, "txtNumber").isReadOnly());
  WidgetIn<QLineEdit>(*window_, "txtValue").setText("77");
  EXPECT_THAT(window_->windowTitle().toStdString(), HasSubstr("77"));
  EXPECT_THAT(window_->windowTitle().toStdString(), HasSubstr("Exception Types: ["));
  WidgetIn<QCheckBox>(*window_, "chkSMS").click();
  Click(*window_, "btnOK");
  EXPECT_EQ(prompts.told.back(), "You must enter a SMS Server address book entry if you enable the SMS option.");
  WidgetIn<QLineEdit>(*window_, "txtSMSName").setText("me");
  WidgetIn<QComboBox>(*window_, "cmboET_LEVEL").setCurrentText("Error");
  Click(*window_, "btnOK");
  EXPECT_EQ(types[static_cast<size_t>(row)].Value, "77");
  EXPECT_EQ(types[static_cast<size_t>(row)].EventLevel, 1);
  EXPECT_EQ(list.item(row, 3)->text(), "Yes");
  EXPECT_THAT(list.item(row, 5)->text().toStdString(), HasSubstr("77"));
  Click(*dialog, "btnOK");
  EXPECT_EQ(T().Site(1).ExValue130, 77);
  EXPECT_THAT(files.Get("/home/EXTYPES.INI"), HasSubstr("Value=77\r\n"));
}

TEST_F(SettingsWindowTest, ColoursArePicked) {
  OpenWithVisitors();
  Options();
  Click(*dialog, "btnColourChange");
  auto* colours = dialog->findChild<QDialog*>("frmWebColours");
  ASSERT_NE(colours, nullptr);
  prompts.color = QColor("#abcdef");
  Click(*colours, "btnWebColGrid");
  EXPECT_EQ(WidgetIn<QLineEdit>(*colours, "WebColGrid").text(), "#ABCDEF");
  Click(*colours, "btnOK");
  EXPECT_EQ(Now().WebColGrid, "#808080") << "the options are not confirmed yet";
  Click(*dialog, "btnOK");
  EXPECT_EQ(Now().WebColGrid, "#ABCDEF");
}

TEST_F(SettingsWindowTest, TheFolderOfTheTablesIsChangedAtTheNextStart) {
  OpenWithVisitors();
  Options();
  Type("DirCap", "/srv/tables");
  Click(*dialog, "btnDBApply");
  EXPECT_EQ(prompts.asked.back(), "Change the Vantry database path to: /srv/tables/?");
  EXPECT_EQ(prompts.told.size(), 0u);
  prompts.answer = QMessageBox::Yes;
  Click(*dialog, "btnDBApply");
  EXPECT_THAT(prompts.told, ElementsAre("You must restart Vantry for the change to take effect."));
  EXPECT_THAT(files.Get("/home/registry.ini"), HasSubstr("DDFPath=/srv/tables/"));
}

TEST_F(SettingsWindowTest, ATestMailGoesOutAtOnce) {
  OpenWithVisitors();
  Options();
  Click(*dialog, "btnEmailTest");
  QApplication::processEvents();
  EXPECT_EQ(prompts.told.back(), "Email Failed: no mail server is set");
  Type("txtSMTPServer", "mail.example.com");
  Type("txtSendTo", "a@example.com;b@example.com");
  Type("txtFromAddress", "vantry@example.com");
  Click(*dialog, "btnEmailTest");
  ASSERT_EQ(mail.sent.size(), 1u);
  EXPECT_THAT(mail.sent[0].recipients, ElementsAre("a@example.com", "b@example.com"));
  EXPECT_EQ(mail.sent[0].body, "This is a test email from Vantry");
  EXPECT_THAT(mail.sent[0].headers, ::testing::Contains("Subject: Vantry Test Email"));
  EXPECT_THAT(WidgetIn<QPlainTextEdit>(*dialog, "lstSMTPTrace").toPlainText().toStdString(),
              HasSubstr("Sending A Test Email To a@example.com;b@example.com"));
  EXPECT_EQ(Now().EmailServer, "") << "nothing is stored by a test";
}

TEST_F(SettingsWindowTest, TheDialogueOfATestMailIsListedAsItHappens) {
  OpenWithVisitors();
  Options();
  Type("txtSMTPServer", "mail.example.com");
  Type("txtSendTo", "a@example.com");
  Type("txtFromAddress", "vantry@example.com");
  Click(*dialog, "btnEmailTest");
  auto& trace = WidgetIn<QPlainTextEdit>(*dialog, "lstSMTPTrace");
  ASSERT_EQ(mail.lines.size(), 1u);
  mail.lines[0](false, "220 <mail> ready?");
  mail.lines[0](true, "MAIL FROM:<a@example.com>");
  EXPECT_EQ(trace.toPlainText().toStdString(),
            "Sending A Test Email To a@example.com\n220 mail ready\n> MAIL FROM:<a@example.com>");
  Click(*dialog, "btnEmailTest");
  EXPECT_EQ(mail.UnderWayCount(), 1u) << "the second takes the place of the first";
  EXPECT_EQ(trace.toPlainText(), "Sending A Test Email To a@example.com");
  mail.answer = Status::Error(Fail::kRefused, "mail.example.com:25: 550 no");
  mail.Turn();
  QApplication::processEvents();
  EXPECT_THAT(prompts.told, ElementsAre("Email Failed: mail.example.com:25: 550 no"));
  Click(*dialog, "btnEmailTest");
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(mail.UnderWayCount(), 0u) << "the test is left with the dialog";
  EXPECT_EQ(prompts.told.size(), 1u);
  Options();
  Click(*dialog, "btnEmailTest");
  engine->Closing();
  EXPECT_EQ(mail.UnderWayCount(), 0u) << "nor does the end of the program wait for it";
}

TEST_F(SettingsWindowTest, AConnectionToTheSmsServerIsTried) {
  OpenWithVisitors();
  Options();
  Type("txtSMSServerName", "gate");
  Type("txtSMSServerPort", "3340");
  Click(*dialog, "btnSMSTest");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0]->calls, ElementsAre("connect gate 3340 \x01")) << "as the page says";
  lines[0]->Accept();
  EXPECT_THAT(lines[0]->calls.back(), HasSubstr("send IDRCU."));
  EXPECT_THAT(WidgetIn<QPlainTextEdit>(*dialog, "lstSMSTrace").toPlainText().toStdString(), HasSubstr("> IDRCU."));
  lines[0]->Reply("OK");
  QApplication::processEvents();
  EXPECT_THAT(prompts.told, ElementsAre("Test successfull!\n\nVantry can communicate with SMS Server using the Host & "
                                        "Port specified."));
  Click(*dialog, "btnSMSTest");
  lines[1]->Accept();
  lines[1]->Reply("NO");
  EXPECT_EQ(prompts.told.size(), 1u) << "the connection comes to its end first";
  QApplication::processEvents();
  EXPECT_EQ(prompts.told.back(), "Test failed: NO\n\nIs SMS Server running on the machine specified?");
  EXPECT_EQ(Now().SMSServerPort, 3339) << "nothing is stored by a test";
  Click(*dialog, "btnSMSTest");
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen()) << "the third test went with it";
}

TEST_F(SettingsWindowTest, EachPageHasItsHelp) {
  OpenWithVisitors();
  Options();
  auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
  const auto help = [&] { return Frm().findChild<QTextBrowser*>("helpText")->source().fileName().toStdString(); };
  for (size_t i = 0; i < kSettingsPages.size(); ++i) {
    pages.setCurrentIndex(static_cast<int>(i));
    Click(*dialog, "btnHelp");
    EXPECT_EQ(help(), std::string(kSettingsPages[i].topic) + ".html");
  }
  Click(*dialog, "btnColourChange");
  Click(*dialog->findChild<QDialog*>("frmWebColours"), "btnHelp");
  EXPECT_EQ(help(), "web.html");
  Click(*dialog->findChild<QDialog*>("frmWebColours"), "btnCancel");
  Q_EMIT WidgetIn<QTableWidget>(*dialog, "exGrid").cellDoubleClicked(0, 0);
  Click(*dialog->findChild<QDialog*>("frmSettingsExtype"), "btnHelp");
  EXPECT_EQ(help(), "exceptions.html");
}

TEST_F(SettingsWindowTest, AValueThatIsNotANumberIsKeptButNotShown) {
  OpenWithVisitors();
  for (ExceptionType& type : Now().ExceptionTypes) {
    if (type.Number == 150) type.Value = "many", type.Description = "More than [value]";
  }
  Options();
  int row = 0;
  while (Now().ExceptionTypes[static_cast<size_t>(row)].Number != 150) ++row;
  const auto open = [&]() -> QDialog& {
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Q_EMIT WidgetIn<QTableWidget>(*dialog, "exGrid").cellDoubleClicked(row, 0);
    return *dialog->findChild<QDialog*>("frmSettingsExtype");
  };
  QDialog& first = open();
  EXPECT_EQ(WidgetIn<QLineEdit>(first, "txtValue").text(), "");
  EXPECT_EQ(first.windowTitle(), "Exception Types: [More than ]");
  Click(first, "btnOK");
  EXPECT_EQ(Now().ExceptionTypes[static_cast<size_t>(row)].Value, "many");
  QDialog& second = open();
  WidgetIn<QLineEdit>(second, "txtValue").setText("7");
  Click(second, "btnOK");
  EXPECT_EQ(Now().ExceptionTypes[static_cast<size_t>(row)].Value, "7");
}

TEST_F(SettingsWindowTest, ALogonIsTried) {
  OpenWithVisitors();
  Options();
  Click(*dialog, "btnSQLTest");
  ASSERT_EQ(sql.UnderWay(), 1u);
  sql.Fail("the server is silent");
  QApplication::processEvents();
  EXPECT_EQ(prompts.told.back(), "Failed To Login: the server is silent\n\nAn exception has been raised.");
  EXPECT_TRUE(T().SQLFailed) << "as when the check had found it";
  Click(*dialog, "btnSQLTest");
  sql.LetIn("watcher");
  QApplication::processEvents();
  EXPECT_EQ(prompts.told.back(), "Logged In & Out OK: watcher");
  Click(*dialog, "btnSQLTest");
  Click(*dialog, "btnCancel");
  EXPECT_FALSE(IsOpen());
  sql.LetIn();  // Nobody is there to be told.
}

TEST_F(SettingsWindowTest, TheCheckOfTheSqlServerStartsAndStopsAtOk) {
  OpenWithVisitors();
  for (const bool on : {true, false}) {
    Options();
    WidgetIn<QCheckBox>(*dialog, "chkSQLServer").click();
    Type("txtSQLMins", "1");
    Click(*dialog, "btnOK");
    ASSERT_FALSE(IsOpen());
    const size_t before = sql.tried.size();
    loop.Tick(SqlServerCheck::kTimerMs);
    EXPECT_EQ(sql.tried.size(), before + on);
    sql.LetIn();
  }
}

TEST_F(SettingsWindowTest, ViewsTheArchiveLog) {
  OpenWithVisitors();
  Options();
  Click(*dialog, "btnViewArchive");
  EXPECT_THAT(programs.started, ElementsAre("/home/ARCHIVE.LOG"));
}

TEST_F(SettingsWindowTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  OpenWithVisitors();
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    Options();
    auto& pages = WidgetIn<FormPages>(*dialog, "SSActiveTabs1");
    const QString shade = dark ? "dark" : "light";
    for (int i = 0; i < pages.count(); ++i) {
      pages.setCurrentIndex(i);
      QApplication::processEvents();
      SavePicture(dialog->grab().toImage(), QString("options-%1-%2").arg(i).arg(shade));
    }
    Click(*dialog, "btnColourChange");
    SavePicture(dialog->findChild<QDialog*>("frmWebColours")->grab().toImage(), "options-colours-" + shade);
    Click(*dialog->findChild<QDialog*>("frmWebColours"), "btnCancel");
    Q_EMIT WidgetIn<QTableWidget>(*dialog, "exGrid").cellDoubleClicked(0, 0);
    QApplication::processEvents();
    SavePicture(dialog->findChild<QDialog*>("frmSettingsExtype")->grab().toImage(), "options-exception-" + shade);
    Click(*dialog->findChild<QDialog*>("frmSettingsExtype"), "btnCancel");
    Click(*dialog, "btnCancel");
    EXPECT_FALSE(IsOpen());
  }
}

}  // namespace
}  // namespace vantry
