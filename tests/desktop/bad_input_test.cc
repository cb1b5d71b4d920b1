// Dialogs that are given what no dialog should be given.
#include <QAbstractButton>
#include <QClipboard>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/settings_file.h"
#include "config/site_file.h"
#include "desktop/form_dialog.h"
#include "desktop/shown_text.h"
#include "forms/settings_form.h"
#include "forms/site_form.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;

struct BadInputTest : MainWindowTest {
  FormDialog* dialog = nullptr;

  void OpenDialog(const char* command, const char* name) {
    Trigger(command);
    dialog = static_cast<FormDialog*>(Frm().findChild<QDialog*>(name));
    ASSERT_NE(dialog, nullptr);
  }
  void Edit(const char* node = "lf1") {
    ChooseNode(node);
    OpenDialog("miEdit", "frmProperties");
  }
  template <class W>
  W& In(const char* name) {
    return WidgetIn<W>(*dialog, name);
  }
  FormPages& Pages() { return WidgetIn<FormPages>(*dialog, "SSActiveTabs1"); }
  void Type(std::string_view control, const QString& text) { Pages().Find(control).text->setText(text); }
  void Click(const char* button) { WindowTest::Click(*dialog, button); }
  // Of a file as the program has written it, what a start reads.
  SiteRec ReadAgain(int16_t site) {
    LiveTables read;
    EXPECT_FALSE(ParseSites(files.Get("/home/VANTRY.INI"), Regional{}, read));
    return read.Site(site);
  }
};

// On a screen of 96 dpi, which is what tests have.
TEST_F(BadInputTest, NoDialogIsTallerThanASmallScreen) {
  OpenWithVisitors();
  const auto look = [&](const char* page) {
    EXPECT_LE(dialog->sizeHint().height(), 700) << dialog->objectName().toStdString() << page;
    EXPECT_LE(dialog->minimumSizeHint().height(), 700) << dialog->objectName().toStdString() << page;
  };
  Edit();
  In<QCheckBox>("chkFTP").click();
  look(" by FTP");
  Click("btnAlert0");
  EXPECT_LE(dialog->findChild<QDialog*>("frmAlert")->sizeHint().height(), 700);
  Click("btnCancel");
  OpenDialog("miOptions", "frmSettings");
  look("");
  Click("btnColourChange");
  EXPECT_LE(dialog->findChild<QDialog*>("frmWebColours")->sizeHint().height(), 700);
  Click("btnCancel");
  OpenDialog("miAdd", "frmWizard");
  look("");
  Click("btnCancel");
  OpenDialog("miInstallService", "frmService");
  look("");
  Click("btnCancel");
  OpenDialog("miGroups", "frmGroup");
  look("");
}

TEST_F(BadInputTest, AMegabyteThatIsPastedIsCut) {
  OpenWithVisitors();
  Edit();
  QApplication::clipboard()->setText(QString(1 << 20, 'x'));
  for (const auto& field : kSiteFields) {
    if (field.look.kind != FieldKind::kText) continue;
    auto& text = *Pages().Find(field.look.control).text;
    text.selectAll();
    text.paste();
    EXPECT_LE(text.text().size(), static_cast<qsizetype>(kMostShownBytes)) << field.look.control;
  }
  auto& list = In<QTableWidget>("gridExclude");
  Pages().GoTo("gridExclude");
  list.editItem(list.item(0, 1));
  auto* editor = list.findChild<QLineEdit*>();
  ASSERT_NE(editor, nullptr);
  editor->paste();
  EXPECT_LE(editor->text().size(), static_cast<qsizetype>(kMostShownBytes));
  Click("btnOK");
  EXPECT_TRUE(Frm().findChild<QDialog*>("frmProperties")) << "there is no such folder, or another name is asked for";
}

TEST_F(BadInputTest, LineEndsGetIntoNoFile) {
  OpenWithVisitors();
  const std::string before = files.Get("/home/VANTRY.INI");
  Edit();
  Type("txtHomePage", "a.htm\nMask=evil");
  Click("btnOK");
  EXPECT_THAT(prompts.told.back(), HasSubstr("Leave out line ends."));
  Type("txtHomePage", "a.htm");
  auto& list = In<QTableWidget>("gridExclude");
  list.item(0, 1)->setText("10.*\nMask=evil");
  Click("btnOK");
  EXPECT_EQ(prompts.told.back(), "The site file can't keep these addresses. Leave out line ends.");
  EXPECT_EQ(Pages().currentWidget()->accessibleName(), "Exclusions") << "its page is shown";
  Click("btnCancel");
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), before);
  OpenDialog("miOptions", "frmSettings");
  In<QTableWidget>("extGrid").item(0, 1)->setText("htm\nWebAccess=False");
  Click("btnOK");
  EXPECT_THAT(prompts.told.back(), HasSubstr("can't keep one of these extensions"));
  EXPECT_EQ(Pages().currentWidget()->accessibleName(), "File Types");
}

TEST_F(BadInputTest, WhatIsStoredIsReadAgainAsItIs) {
  OpenWithVisitors();
  Edit();
  const QString odd = " a=b; [c] \"d\" #e 'f' ";
  prompts.answer = QMessageBox::Yes;
  for (const char* control : {"txtName", "txtHomePage", "txtExcludePages", "txtEXT", "txtWebUser", "txtTouchPage"}) {
    Type(control, odd);
  }
  Click("btnOK");
  EXPECT_TRUE(prompts.told.empty()) << prompts.told.back();
  const SiteRec read = ReadAgain(1);
  for (const auto& field : kSiteFields) {
    if (!field.get) continue;
    EXPECT_EQ(field.get(read), field.get(T().Site(1))) << field.look.control;
  }
  EXPECT_EQ(read.Name, "a=b; [c] \"d\" #e 'f'");
}

TEST_F(BadInputTest, LargeNumbersAreStoredAndDoNoHarm) {
  OpenWithVisitors();
  for (const char* number : {"32767", "2147483647"}) {
    Edit();
    In<QCheckBox>("chkTouch").setChecked(true);
    Type("txtTouchMins", number);
    Click("btnOK");
    EXPECT_EQ(ReadAgain(1).TouchEvery, std::stoi(number));
    OpenDialog("miOptions", "frmSettings");
    for (const auto& field : kSettingsFields) {
      if (field.look.kind == FieldKind::kNumber) Type(field.look.control, number);
    }
    for (const char* box : {"chkSQLServer", "chkArchive"}) In<QCheckBox>(box).setChecked(true);
    Click("btnOK");
    EXPECT_EQ(Frm().findChild<QDialog*>("frmSettings") && dialog->isVisible(), false);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Settings read;
    EXPECT_FALSE(ParseSettings(files.Get("/home/SETTINGS.INI"), read));
    EXPECT_EQ(read.InactivityMins, std::stoi(number));
    EXPECT_EQ(read.WebAccessPort, std::min(std::stoi(number), 65'535));
    clock.Advance(60);
    loop.Tick(TouchMonitor::kTouchTimerMs);
    loop.Tick(SqlServerCheck::kTimerMs);
    Log("12:05:00", "10.0.0.77");
    Run(20);
  }
}

TEST_F(BadInputTest, AFolderThatVanishesWhileTheDialogIsOpenIsTold) {
  OpenWithVisitors();
  Edit();
  files.fails = [](const std::string& call) { return call == "list /logs/"; };
  Click("btnOK");
  EXPECT_EQ(prompts.told.back(), "Log file folder does not exist.");
  Click("btnPick");
  EXPECT_EQ(In<QLineEdit>("txtLog").text(), "/logs/");
}

TEST_F(BadInputTest, SettingsThatCanNotBeWrittenAreReported) {
  OpenWithVisitors();
  OpenDialog("miOptions", "frmSettings");
  Type("txtSubject", "new");
  const std::string before = files.Get("/home/SETTINGS.INI");
  files.fails = [](const std::string& call) { return call == "replace /home/SETTINGS.INI"; };
  Click("btnOK");
  EXPECT_EQ(files.Get("/home/SETTINGS.INI"), before);
  EXPECT_THAT(prompts.told, ::testing::Contains(HasSubstr("SETTINGS.INI")));
}

TEST_F(BadInputTest, OneOfAThousandSitesIsEdited) {
  Sites(1'000);
  ASSERT_TRUE(Open());
  Edit("lf1000");
  Type("txtDomain", "www.d999.example");
  Click("btnOK");
  EXPECT_THAT(prompts.told.back(), HasSubstr("The Domain name must be unique."));
  Type("txtDomain", "www.new.example");
  Click("btnOK");
  EXPECT_EQ(ReadAgain(1'000).Domain, "www.new.example");
  EXPECT_EQ(ReadAgain(999).Domain, "www.d999.example");
}

}  // namespace
}  // namespace vantry
