// The dialogs about a visitor: groups of host names, and a friendly name.
#include <QAbstractButton>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QTableWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct VisitorWindowsTest : MainWindowTest {
  QDialog* dialog = nullptr;

  void OpenDialog(const char* command, const char* name) {
    Trigger(command);
    dialog = Frm().findChild<QDialog*>(name);
    ASSERT_NE(dialog, nullptr) << name;
  }
  void ChooseVisitor(int row) {
    Find<QTableView>("VsGrid").selectRow(row);
    Frm().Refresh();
  }
  QTableWidget& Grid() { return WidgetIn<QTableWidget>(*dialog, "GridGroups"); }
  std::string Cell(int row) { return Grid().item(row, 1)->text().toStdString(); }
  std::string Text(const char* label) { return WidgetIn<QLabel>(*dialog, label).text().toStdString(); }
  void Press(const char* button) {
    Click(*dialog, button);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  bool IsOpen(const char* name) { return Frm().findChild<QDialog*>(name) != nullptr; }
  VisitorRec& Visitor(const char* ip) { return *T().Visitors.Lookup(1, ip); }
};

TEST_F(VisitorWindowsTest, GroupsAreShownAndStored) {
  OpenWithVisitors();
  OpenDialog("miGroups", "frmGroup");
  EXPECT_EQ(dialog->windowTitle(), "DNS Groups");
  EXPECT_EQ(Grid().rowCount(), 50);
  EXPECT_EQ(Grid().horizontalHeaderItem(1)->text(), "DNS Mask");
  EXPECT_EQ(Cell(0), engine->GetSettings().DNSMask[0]);
  EXPECT_EQ(Cell(5), "");
  Grid().item(0, 1)->setText("*.first.example");
  Grid().item(1, 1)->setText("");
  Grid().item(40, 1)->setText("*.last.example");
  Press("btnOK");
  EXPECT_FALSE(IsOpen("frmGroup"));
  const auto& masks = engine->GetSettings().DNSMask;
  EXPECT_EQ(masks[0], "*.first.example");
  EXPECT_EQ(masks[4], "*.last.example");
  EXPECT_EQ(masks[5], "");
  EXPECT_THAT(files.Get("/home/SETTINGS.INI"), HasSubstr("DNSMask5=*.last.example\r\n"));
}

TEST_F(VisitorWindowsTest, ANameWithoutAMaskIsRefusedWithTheListCleared) {
  OpenWithVisitors();
  const auto before = engine->GetSettings().DNSMask;
  const std::string stored = files.Get("/home/SETTINGS.INI");
  engine->GetSettings().DNSMask[0] = "*.\xff\x01";
  OpenDialog("miGroups", "frmGroup");
  Grid().item(7, 1)->setText("cache?.example.com");
  Press("btnOK");
  ASSERT_TRUE(IsOpen("frmGroup"));
  EXPECT_THAT(engine->GetSettings().DNSMask, Each(IsEmpty()));
  EXPECT_EQ(files.Get("/home/SETTINGS.INI"), stored);
  Grid().item(7, 1)->setText("");
  Press("btnOK");
  EXPECT_EQ(engine->GetSettings().DNSMask[0], "*.\xff\x01");
  EXPECT_EQ(engine->GetSettings().DNSMask[1], before[1]);
}

TEST_F(VisitorWindowsTest, KeepGroups_LeavesTheListAloneWhenANameIsRefused) {
  OpenWithVisitors();
  T().Corrected.KeepGroups = true;
  const auto before = engine->GetSettings().DNSMask;
  OpenDialog("miGroups", "frmGroup");
  Grid().item(7, 1)->setText("cache?.example.com");
  Press("btnOK");
  ASSERT_TRUE(IsOpen("frmGroup"));
  EXPECT_THAT(prompts.told.back(), HasSubstr("cache?.example.com\nThere are no mask characters in this DNS Name."));
  EXPECT_EQ(Grid().currentRow(), 7);
  EXPECT_EQ(engine->GetSettings().DNSMask, before);
  Grid().item(7, 1)->setText("cache?.example.*");
  Press("btnOK");
  EXPECT_FALSE(IsOpen("frmGroup"));
  EXPECT_EQ(engine->GetSettings().DNSMask[5], "cache?.example.*");
}

TEST_F(VisitorWindowsTest, TheVisitorsNameIsANewRow) {
  OpenWithVisitors();
  T().Visitors.ChangeName(Visitor("10.0.0.2"), "p2.example.net ?");
  ChooseVisitor(1);
  OpenDialog("miGroup", "frmGroup");
  EXPECT_EQ(Cell(5), "p2.example.net");
  EXPECT_EQ(Grid().currentRow(), 5);
  Press("btnCancel");
  EXPECT_EQ(engine->GetSettings().DNSMask[5], "");
}

TEST_F(VisitorWindowsTest, AFullListOfGroupsSaysSo) {
  OpenWithVisitors();
  engine->GetSettings().DNSMask.fill("*.x");
  ChooseVisitor(0);
  OpenDialog("miGroup", "frmGroup");
  QTest::qWait(1);
  ASSERT_FALSE(prompts.told.empty());
  EXPECT_EQ(prompts.told.back(), "All 50 places are taken.");
  EXPECT_EQ(Cell(49), "*.x");
}

TEST_F(VisitorWindowsTest, AMaskThatCannotBeShownStaysAsItIs) {
  OpenWithVisitors();
  engine->GetSettings().DNSMask[0] = "*.\xff\x01";
  OpenDialog("miGroups", "frmGroup");
  Press("btnOK");
  EXPECT_EQ(engine->GetSettings().DNSMask[0], "*.\xff\x01");
}

TEST_F(VisitorWindowsTest, AScanIsNotDisturbed) {
  OpenWithVisitors();
  OpenDialog("miGroups", "frmGroup");
  Grid().item(0, 1)->setText("*.later.example");
  T().ScanInProgress = true;
  Press("btnOK");
  EXPECT_NE(engine->GetSettings().DNSMask[0], "*.later.example");
  T().ScanInProgress = false;
  EXPECT_TRUE(QTest::qWaitFor([&] { return engine->GetSettings().DNSMask[0] == "*.later.example"; }));
}

TEST_F(VisitorWindowsTest, GroupsHaveTheirHelp) {
  OpenWithVisitors();
  OpenDialog("miGroups", "frmGroup");
  Press("btnHelp");
  auto* help = Frm().findChild<QMainWindow*>("frmHelp");
  ASSERT_NE(help, nullptr);
  EXPECT_EQ(WidgetIn<QListWidget>(*help, "helpContents").currentItem()->text(), "DNS groups");
}

TEST_F(VisitorWindowsTest, AFriendlyNameShowsAtOnceAndIsKept) {
  OpenWithVisitors();
  ChooseVisitor(1);
  OpenDialog("miAddKnown", "frmKnownVisitor");
  EXPECT_EQ(dialog->windowTitle(), "Known Visitor");
  EXPECT_EQ(Text("lblIP"), "10.0.0.2");
  EXPECT_EQ(Text("lblDNS"), "");
  auto& name = WidgetIn<QLineEdit>(*dialog, "txtName");
  EXPECT_EQ(name.text(), "");
  name.setText("  The neighbour ");
  Press("btnOK");
  EXPECT_FALSE(IsOpen("frmKnownVisitor"));
  EXPECT_EQ(Visitor("10.0.0.2").KnownName, "The neighbour");
  EXPECT_TRUE(Visitor("10.0.0.2").GridDirty || !Frm().isVisible());
  EXPECT_TRUE(Visitor("10.0.0.1").KnownName.empty());
  OpenDialog("miAddKnown", "frmKnownVisitor");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtName").text(), "The neighbour") << "read from the history";
  WidgetIn<QLineEdit>(*dialog, "txtName").clear();
  Press("btnOK");
  EXPECT_TRUE(Visitor("10.0.0.2").KnownName.empty());
  EXPECT_EQ(engine->GetFriendlyName("10.0.0.2"), "");
}

TEST_F(VisitorWindowsTest, AVisitorWhoHasLeftKeepsTheNameInTheHistory) {
  OpenWithVisitors();
  ChooseVisitor(0);
  OpenDialog("miAddKnown", "frmKnownVisitor");
  const int32_t number = T().Visitors.Find(1, "10.0.0.1");
  T().Visitors.Remove({&number, 1});
  WidgetIn<QLineEdit>(*dialog, "txtName").setText("Gone");
  Press("btnOK");
  EXPECT_EQ(engine->GetFriendlyName("10.0.0.1"), "Gone");
}

TEST_F(VisitorWindowsTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  OpenWithVisitors();
  T().Visitors.ChangeName(Visitor("10.0.0.2"), "p2.dialup.example.net");
  ChooseVisitor(1);
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    for (const auto& [command, name] : {std::pair("miGroup", "frmGroup"), std::pair("miAddKnown", "frmKnownVisitor")}) {
      OpenDialog(command, name);
      SavePicture(dialog->grab().toImage(), QString("%1-%2").arg(name, dark ? "dark" : "light"));
      Press("btnCancel");
    }
  }
  QApplication::setPalette(QPalette());
}

}  // namespace
}  // namespace vantry
