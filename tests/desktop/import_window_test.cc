// The dialog with the sites of web servers.
#include "desktop/import_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "support/memory_tree.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct ImportWindowTest : MainWindowTest {
  MemoryTree tree;
  std::unique_ptr<ImportWindow> dialog;

  void SetUp() override {
    tree.files["/etc/nginx/nginx.conf"] = R"(http {
  log_format json '{"ip":"$remote_addr"}';
  server { server_name a.example; access_log /logs/a.log; }
  server { server_name b.example; access_log /logs/b.log; }
  server { server_name <b>c</b>.example; access_log /logs/c.log json; }
})";
    const std::string line = "10.0.0.1 - - [05/Mar/2026:11:59:00 +0000] \"GET /a.htm HTTP/1.0\" 200 5\n";
    files.Put("/logs/a.log", line);
    files.Put("/logs/b.log", line);
    // A log that is not there is not a folder either.
    files.fails = [](const std::string& call) { return call == "list /logs/c.log/"; };
    ASSERT_TRUE(Open());
    dialog = std::make_unique<ImportWindow>(Frm().Parts(), tree, prompts, nullptr, &Frm());
  }
  void TearDown() override { dialog.reset(); }
  QTableWidget& List() { return *dialog->findChild<QTableWidget*>("VsImport"); }
  std::string More() { return dialog->findChild<QPlainTextEdit*>("txtImport")->toPlainText().toStdString(); }
  std::string Cell(int row, int column) { return List().item(row, column)->text().toStdString(); }
  void Add() {
    dialog->findChild<QPushButton*>("btnAdd")->click();
    QApplication::processEvents();
  }
};

TEST_F(ImportWindowTest, AddsTheCheckedSitesToTheRunningProgram) {
  ASSERT_EQ(List().rowCount(), 3);
  EXPECT_EQ(Cell(0, 0), "a.example");
  EXPECT_EQ(Cell(0, 4), "Yes");
  EXPECT_EQ(Cell(2, 4), "No");
  EXPECT_FALSE(List().item(2, 0)->flags().testFlag(Qt::ItemIsUserCheckable));
  List().item(1, 0)->setCheckState(Qt::Unchecked);
  Add();
  ASSERT_EQ(T().SiteCount(), 1);
  const SiteRec& site = T().Site(1);
  EXPECT_EQ(site.Name, "a.example");
  EXPECT_EQ(site.Folder + site.Mask, "/logs/a.log");
  EXPECT_TRUE(site.ForceLookup && !site.Paused);
  EXPECT_THAT(files.Get("/home/VANTRY.INI"), HasSubstr("[a.example]"));
  EXPECT_EQ(dialog->result(), QDialog::Accepted);
}

TEST_F(ImportWindowTest, TellsWhatToDoForTheOthers) {
  List().setCurrentCell(2, 0);
  EXPECT_THAT(More(), HasSubstr("<b>c</b>.example, /etc/nginx/nginx.conf:5\nCan't be read: the log is JSON.\n"));
  EXPECT_THAT(More(), HasSubstr("combined;"));
}

TEST_F(ImportWindowTest, WhatIsThereAlreadyIsSaidAndLeft) {
  Add();
  EXPECT_EQ(T().SiteCount(), 2);
  const ImportWindow again(Frm().Parts(), tree, prompts, nullptr, &Frm());
  const auto* list = again.findChild<QTableWidget*>("VsImport");
  EXPECT_EQ(list->item(0, 4)->text(), "There already");
  EXPECT_FALSE(again.findChild<QPushButton*>("btnAdd")->isEnabled());
}

TEST_F(ImportWindowTest, ADomainThatCameMeanwhileIsRefusedWithItsMessage) {
  SiteRec& site = T().Sites.emplace_back();
  site.Name = "Shop";
  site.Domain = "a.example";
  Add();
  EXPECT_THAT(prompts.told, ElementsAre(HasSubstr("The domain 'a.example' is monitored already, as 'Shop'.")));
  EXPECT_EQ(T().SiteCount(), 2);
}

TEST_F(ImportWindowTest, WithoutAServerItSaysSo) {
  tree.files.clear();
  const ImportWindow none(Frm().Parts(), tree, prompts, nullptr, &Frm());
  EXPECT_THAT(none.findChild<QPlainTextEdit*>("txtImport")->toPlainText().toStdString(), HasSubstr("No site"));
  EXPECT_FALSE(none.findChild<QPushButton*>("btnAdd")->isEnabled());
}

TEST_F(ImportWindowTest, TheCommandOpensItWhereTheImporterIs) {
  EXPECT_FALSE(Enabled("miVTIIS"));
  Frm().Run("miVTIIS");
  EXPECT_EQ(Frm().findChild<QDialog*>("frmImport"), dialog.get());
  dialog.reset();
  files.Put("/bin/vantry-import", "");
  T().ServiceMode = true;
  Frm().Run("miVTIIS");
  EXPECT_EQ(Frm().findChild<QDialog*>("frmImport"), nullptr);
  T().ServiceMode = false;
  Frm().Run("miVTIIS");
  EXPECT_NE(Frm().findChild<QDialog*>("frmImport"), nullptr);
  EXPECT_THAT(programs.started, IsEmpty());
  EXPECT_FALSE(T().Closing);
}

TEST_F(ImportWindowTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    dialog = std::make_unique<ImportWindow>(
        Frm().Parts(), tree, prompts, [](const QString&) {}, &Frm());
    dialog->show();
    List().setCurrentCell(2, 0);
    QApplication::processEvents();
    SavePicture(dialog->grab().toImage(), dark ? "import-dark" : "import-light");
  }
}

}  // namespace
}  // namespace vantry
