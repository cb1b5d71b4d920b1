// What each command of the main window does.
#include <QClipboard>
#include <QDockWidget>
#include <QGuiApplication>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text.h"
#include "core/visitor_rows.h"
#include "desktop/commands.h"
#include "desktop/list_printer.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using MainWindowCommandsTest = MainWindowTest;

TEST_F(MainWindowCommandsTest, APausedSiteSaysSoInsteadOfItsCount) {
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
  EXPECT_EQ(T().Site(1).LastCheckTime.s, clock.Now().s - 60);
}

TEST_F(MainWindowCommandsTest, WithNoSiteChosenCommandsOnSitesDoNothing) {
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

TEST_F(MainWindowCommandsTest, RemovingASiteAsksFirst) {
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

TEST_F(MainWindowCommandsTest, ShowsAndHidesItsPanes) {
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

TEST_F(MainWindowCommandsTest, AQuestionThatIsOpenWhileTheProgramEndsChangesNothing) {
  OpenWithVisitors();
  ChooseNode("lf1");
  prompts.answer = QMessageBox::Yes;
  prompts.meanwhile = [this] { engine->Closing(); };
  Trigger("miDelete");
  EXPECT_FALSE(T().Site(1).Deleted);
}

TEST_F(MainWindowCommandsTest, OpensNothingButWebPages) {
  OpenWithVisitors();
  Trigger("miConnect");
  Trigger("miUpdateCheck");
  Trigger("miSupport");
  ASSERT_EQ(prompts.opened.size(), 3u);
  EXPECT_EQ(prompts.opened[1], prompts.opened[0] + "?buildno=" + AppVersion());
}

TEST_F(MainWindowCommandsTest, CommandsThatNeedARowDoNothingWithoutOne) {
  OpenWithVisitors();
  Trigger("miViewExceptions");
  for (const Command& command : kCommands) {
    if (command.needs == Needs::kRow || command.needs == Needs::kReferrer || command.needs == Needs::kName ||
        command.needs == Needs::kPage) {
      EXPECT_FALSE(Enabled(std::string(command.name).c_str())) << command.name;
      Frm().Run(command.name);
    }
  }
  EXPECT_THAT(prompts.asked, IsEmpty());
  EXPECT_THAT(prompts.opened, IsEmpty());
}

TEST_F(MainWindowCommandsTest, WizardsAreThereWhenTheirProgramsAre) {
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

TEST_F(MainWindowCommandsTest, WithoutASiteItAsksAboutTheImportOnce) {
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

TEST_F(MainWindowCommandsTest, APaneClosedByItsOwnButtonIsClosedByItsCommandToo) {
  OpenWithVisitors();
  Trigger("miShowActivity");
  const std::pair<const char*, const char*> panes[] = {
      {"miShowPages", "Band5"}, {"miShowTrace", "BandTrace"}, {"miShowActivity", "BandActivity"}};
  for (const auto& [command, band] : panes) {
    if (!Frm().ActionOf(command)->isChecked()) Trigger(command);
    ASSERT_TRUE(Frm().ActionOf(command)->isChecked()) << command;
    Find<QDockWidget>(band).findChild<QAbstractButton*>("qt_dockwidget_closebutton")->click();
    EXPECT_TRUE(Find<QDockWidget>(band).isHidden()) << band;
    EXPECT_FALSE(Frm().ActionOf(command)->isChecked()) << command;
  }
  EXPECT_FALSE(T().ShowVisitedPages);
  EXPECT_FALSE(T().ShowTraceView);
  EXPECT_FALSE(Find<QToolButton>("lockTool").isVisible());
  Trigger("miShowTrace");
  EXPECT_TRUE(T().ShowTraceView) << "one click opens it again";
  EXPECT_TRUE(Find<QDockWidget>("BandTrace").isVisible());
}

TEST_F(MainWindowCommandsTest, APaneBehindAnotherOrInAHiddenWindowIsOpen) {
  OpenWithVisitors();
  for (const char* command : {"miShowTrace", "miShowActivity"}) {
    if (!Frm().ActionOf(command)->isChecked()) Trigger(command);
  }
  Find<QDockWidget>("BandActivity").raise();
  Frm().hide();
  QApplication::processEvents();
  EXPECT_TRUE(T().ShowTraceView);
  EXPECT_TRUE(T().ShowVisitedPages);
  EXPECT_TRUE(Frm().ActionOf("miShowActivity")->isChecked());
}

TEST_F(MainWindowCommandsTest, OpensReferrerAndNameOfTheChosenRow) {
  Sites(1);
  files.Put("/logs/access.log",
            "10.0.0.9 - - [05/Mar/2026:11:59:00 +0000] \"GET /a.htm HTTP/1.0\" 200 5 "
            "\"http://links.example/list\" \"B\"\n\n");
  ASSERT_TRUE(Open());
  Run(6);
  ASSERT_TRUE(resolver->AnswerNext([](const std::string&) { return "reader.example.net"; }));
  Frm().Refresh();
  Find<QTableView>("VsGrid").selectRow(0);
  Trigger("miOpenReferrer");
  Trigger("miOpenDNS");
  EXPECT_THAT(prompts.opened, ElementsAre("http://links.example/list", "http://reader.example.net/"));
}

TEST_F(MainWindowCommandsTest, AboutOpens) {
  OpenWithVisitors();
  std::string title;
  QTimer::singleShot(1, [&] {
    QWidget* about = QApplication::activeModalWidget();
    title = about->windowTitle().toStdString();
    about->close();
  });
  Trigger("miAbout");
  EXPECT_THAT(title, HasSubstr("Vantry"));
}

TEST_F(MainWindowCommandsTest, HidesAndComesBack) {
  OpenWithVisitors();
  Trigger("miHide");
  EXPECT_TRUE(T().InTray);
  EXPECT_TRUE(Frm().isMinimized()) << "this screen has no tray";
  engine->ShowWindow();
  EXPECT_FALSE(T().InTray);
  EXPECT_FALSE(Frm().isMinimized());
}

TEST_F(MainWindowCommandsTest, HelpAndActivityOpen) {
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

TEST_F(MainWindowCommandsTest, PrintsTheListShown) {
  OpenWithVisitors();
  QPrinter printer(QPrinter::HighResolution);
  QTemporaryDir folder;
  printer.setOutputFileName(folder.filePath("list.pdf"));
  EXPECT_EQ(PrintList(Find<QTableView>("VsGrid"), "Current Visitors: www.d1.example", printer, vs_grid::kKey), 1);
  QFile pdf(folder.filePath("list.pdf"));
  ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
  EXPECT_TRUE(pdf.readAll().startsWith("%PDF-"));
}

TEST_F(MainWindowCommandsTest, HelpIsNotForAService) {
  OpenWithVisitors();
  T().ServiceMode = true;
  Frm().Run("miHelp");
  EXPECT_EQ(Frm().findChild<QTextBrowser*>("helpText"), nullptr);
}

TEST_F(MainWindowCommandsTest, LogEntriesOfTheChosenVisitorOpen) {
  OpenWithVisitors();
  Find<QTableView>("VsGrid").selectRow(2);
  Trigger("miViewLog");
  ASSERT_EQ(programs.started.size(), 1u);
  EXPECT_THAT(files.Get(programs.started[0]), HasSubstr("10.0.0.3"));
}

TEST_F(MainWindowCommandsTest, CopiesTheChosenRowsOfTheListThatIsShown) {
  OpenWithVisitors();
  Find<QTableView>("VsGrid").selectRow(1);
  Trigger("miCopy");
  const std::string copied = QGuiApplication::clipboard()->text().toStdString();
  EXPECT_THAT(copied, HasSubstr("10.0.0.2"));
  EXPECT_THAT(copied, HasSubstr("\t"));
  EXPECT_THAT(copied, Not(HasSubstr("10.0.0.1")));
}

TEST_F(MainWindowCommandsTest, CommandsTakeTheChosenRow) {
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

TEST_F(MainWindowCommandsTest, SavesTheListShown) {
  OpenWithVisitors();
  prompts.file = "/home/list.csv";
  Trigger("miSaveAs");
  EXPECT_THAT(files.Get("/home/list.csv"), HasSubstr("10.0.0.3"));
  files.fails = [](const std::string& call) { return call == "replace /home/list.csv"; };
  Trigger("miSaveAs");
  auto* box = Frm().findChild<QMessageBox*>("messageBox");
  ASSERT_NE(box, nullptr);
}

TEST_F(MainWindowCommandsTest, SearchesTheListAsOneTypes) {
  OpenWithVisitors();
  Find<QLineEdit>("txtSearch").setText("0.0.3");
  EXPECT_EQ(Find<QTableView>("VsGrid").model()->rowCount(), 1);
  Find<QLineEdit>("txtSearch").clear();
  EXPECT_EQ(Find<QTableView>("VsGrid").model()->rowCount(), 3);
}

TEST_F(MainWindowCommandsTest, F6GoesRoundThePanes) {
  OpenWithVisitors();
  Find<QDockWidget>("BandActivity").hide();
  Frm().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&Frm()));
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

TEST_F(MainWindowCommandsTest, MailsTheViewThatIsShown) {
  OpenWithVisitors();
  engine->GetSettings().EmailSendTo = "ops@example.com";
  Trigger("miEmailView");
  Trigger("miEmailView");
  ASSERT_EQ(Frm().findChildren<QDialog*>("frmEmailView").size(), 1);
  auto* dialog = Frm().findChild<QDialog*>("frmEmailView");
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
  EXPECT_THAT(files.Get("/home/Current Visitors.htm"), HasSubstr("10.0.0.2"));
  EXPECT_THAT(files.Get("/home/registry.ini"), HasSubstr("EmailAddresses=new@example.com"));
}

// A command may come in the middle of a scan, which then would wait for whoever sits there.
TEST_F(MainWindowCommandsTest, DialogsAndQuestionsHoldNothing) {
  RealPrompts real;
  OpenWithVisitors();
  Trigger("miAbout");
  Trigger("miPrint");
  EXPECT_TRUE(Frm().findChild<QDialog*>("frmAbout")->isVisible());
  EXPECT_TRUE(Frm().findChild<QDialog*>("printPreview")->isVisible());
  int said = 0;
  for (int i = 0; i < 2; ++i) real.Confirm(&Frm(), "Are you sure?", kYesNo, [&] { ++said; });
  const QList<QMessageBox*> questions = Frm().findChildren<QMessageBox*>("question");
  ASSERT_EQ(questions.size(), 1);
  EXPECT_EQ(questions[0]->defaultButton(), questions[0]->button(QMessageBox::No));
  questions[0]->button(QMessageBox::Yes)->click();
  EXPECT_EQ(said, 1);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  real.Confirm(&Frm(), "Are you sure?", kYesNo, [&] { ++said; });
  Frm().findChild<QMessageBox*>("question")->button(QMessageBox::No)->click();
  EXPECT_EQ(said, 1);
  real.Tell(&Frm(), BoxKind::kWarning, "<b>So it is.</b>");
  EXPECT_EQ(Frm().findChild<QMessageBox*>("messageBox")->textFormat(), Qt::PlainText);
}

}  // namespace
}  // namespace vantry
