// The windows on what happened before, on tables of days before.
#include <QPrintPreviewDialog>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/history_rig.h"
#include "desktop/pictures.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(HistoryWindowTest, PreviousVisitsOfTheChosenVisitorLeadToEachVisit) {
  Visit("10.0.0.1", 3, "http://from.example/x");
  Visit("10.0.0.1", 4, "", 2);
  OpenOnPast();
  ChooseVisitor();
  HistoryWindow& frm = OpenWindow("miHistory", "frmPrevVisits");
  EXPECT_EQ(frm.windowTitle(), "Previous Visits");
  EXPECT_FALSE(frm.isModal());
  EXPECT_EQ(Title(frm), "Previous Visits For 10.0.0.1 On Site Site 1");
  EXPECT_EQ(WidgetIn<QLineEdit>(frm, "txtIP").text(), "10.0.0.1");
  EXPECT_EQ(WidgetIn<QLabel>(frm, "lblDNS").text(), "host.example");
  EXPECT_THAT(Column(frm, previous_visits::kDate), ElementsAre("3/3/2026", "3/5/2026"));
  EXPECT_EQ(State(frm), "2 Visits");
  EXPECT_EQ(WidgetIn<QTableView>(frm, "GridPrev").model()->columnCount(), 12);
  DoubleClick(frm, 0);
  HistoryWindow& details = Window("frmVisitDetails");
  Read(details);
  EXPECT_EQ(Title(details), "Visit Details");
  EXPECT_THAT(Column(details, 1), ::testing::IsSupersetOf(Lines{"10.0.0.1", "http://from.example", "Session Started"}));
  DoubleClick(details, 0);
  Use(details, "miDownloads");
  EXPECT_EQ(Title(Window("frmPrevDownloads")), "Downloaded Files For 10.0.0.1 On Site Site 1");
  Use(details, "miPrevVisits");
  EXPECT_EQ(Frm().findChildren<QWidget*>("frmPrevVisits").size(), 1);
}

TEST_F(HistoryWindowTest, AnAddressMayBeTypedWithOrWithoutASite) {
  Visit("10.0.0.1", 3);
  Visit("10.0.0.1", 4, "", 2);
  Visit("10.7.7.7", 4);
  OpenOnPast();
  ChooseVisitor();
  HistoryWindow& frm = OpenWindow("miHistory", "frmPrevVisits");
  const auto type = [&](const char* text) {
    WidgetIn<QLineEdit>(frm, "txtIP").setText(text);
    Use(frm, "miLookup");
    Read(frm);
    return Title(frm) + ": " + std::to_string(Grid(frm).model()->rowCount());
  };
  EXPECT_EQ(type("10.7.7.7"), "Previous Visits For 10.7.7.7 On Site Site 1: 1");
  EXPECT_EQ(type("10.0.0.1:Site 2"), "Previous Visits For 10.0.0.1 On Site Site 2: 2");
  EXPECT_EQ(type("10.0.0.1:"), "Previous Visits For 10.0.0.1 [All Sites]: 4");
  EXPECT_EQ(type("10.9.9.9"), "Previous Visits For 10.9.9.9 [All Sites]: 0");
  EXPECT_EQ(State(frm), "0 Visits");
  EXPECT_EQ(WidgetIn<QLabel>(frm, "lblDNS").text(), "");
}

TEST_F(HistoryWindowTest, WithNoRowChosenNothingOpens) {
  OpenOnPast();
  Find<QTableView>("VsGrid").clearSelection();
  Find<QTableView>("VsGrid").setCurrentIndex({});
  Frm().Refresh();
  for (const char* command : {"miHistory", "miViewVisitDetails", "miViewDownloads"}) {
    EXPECT_FALSE(Enabled(command)) << command;
    Frm().Run(command);
  }
  EXPECT_EQ(Frm().findChild<QWidget*>("frmPrevVisits"), nullptr);
}

TEST_F(HistoryWindowTest, VisitDetailsOfTheChosenVisitorShowThePresentVisit) {
  OpenOnPast();
  ChooseVisitor();
  HistoryWindow& frm = OpenWindow("miViewVisitDetails", "frmVisitDetails");
  EXPECT_THAT(Column(frm, 1), ::testing::IsSupersetOf(Lines{"Site 1", "10.0.0.1", "00001", "Session Started"}));
}

struct ReferrersWindowTest : HistoryWindowTest {
  HistoryWindow& OpenReferrers() {
    for (const auto& [count, name] : {std::pair(3, "http://many.example"), {1, "http://one.example"}}) {
      for (int i = 0; i < count; ++i) Visit("10.3.0." + std::to_string(count), 4, name);
    }
    OpenOnPast();
    return OpenWindow("miTopReferers", "frmReferers");
  }
  void Delete(HistoryWindow& frm, std::deque<QMessageBox::StandardButton> answers) {
    prompts.asked.clear();
    prompts.answers = std::move(answers);
    Grid(frm).selectRow(0);
    Use(frm, "miDelete");
    Read(frm);
  }
};

TEST_F(ReferrersWindowTest, ListsTheBusiestFirstAndLeadsToTheirVisits) {
  HistoryWindow& frm = OpenReferrers();
  EXPECT_EQ(Title(frm), "Top Referrers: Site 1");
  EXPECT_THAT(Column(frm, top_referrers::kVisits), ElementsAre("3", "1", "1"));
  EXPECT_THAT(Column(frm, top_referrers::kName), ElementsAre("http://many.example", "http://one.example", "-"));
  EXPECT_EQ(State(frm), "3 Referrers");
  const QModelIndex second = Grid(frm).model()->index(1, top_referrers::kVisits);
  EXPECT_NEAR(second.data(HistoryModel::kShareRole).toDouble(), 1.0 / 3, 1e-9);
  DoubleClick(frm, 0);
  HistoryWindow& visits = Window("frmPrevVisits");
  Read(visits);
  EXPECT_EQ(Title(visits), "Visits From http://many.example On Site Site 1");
  EXPECT_THAT(Column(visits, previous_visits::kIP), ElementsAre("10.3.0.3", "10.3.0.3", "10.3.0.3"));
  DoubleClick(visits, 1);
  HistoryWindow& details = Window("frmVisitDetails");
  Read(details);
  EXPECT_THAT(Column(details, 1), ::testing::IsSupersetOf(Lines{"10.3.0.3", "00002"}));
}

TEST_F(ReferrersWindowTest, DeletingAsksTwice) {
  HistoryWindow& frm = OpenReferrers();
  Delete(frm, {QMessageBox::No});
  EXPECT_THAT(prompts.asked, ElementsAre("Are you sure you want to delete the referrer \n\nhttp://many.example\n\nfrom "
                                         "the Vantry database?"));
  Delete(frm, {QMessageBox::Yes, QMessageBox::Cancel});
  ASSERT_EQ(prompts.asked.size(), 2u);
  EXPECT_EQ(prompts.asked[1], "Do you want to exclude this referrer from the Top Referrers View in the future?");
  EXPECT_EQ(Column(frm, top_referrers::kName).size(), 3u);
}

TEST_F(ReferrersWindowTest, AnExcludedReferrerStaysKnownAndIsNotListed) {
  HistoryWindow& frm = OpenReferrers();
  Delete(frm, {QMessageBox::Yes, QMessageBox::Yes});
  EXPECT_THAT(Column(frm, top_referrers::kName), ElementsAre("http://one.example", "-"));
  engine->Closing();
  const PlainTable table(data_files.Get("/home/Data/Referrers.DBF"));
  ASSERT_GE(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0].at("Visits"), "   -1");
}

TEST_F(ReferrersWindowTest, ADeletedReferrerIsForgotten) {
  HistoryWindow& frm = OpenReferrers();
  Delete(frm, {QMessageBox::Yes, QMessageBox::No});
  EXPECT_THAT(Column(frm, top_referrers::kName), ElementsAre("http://one.example", "-"));
  engine->Closing();
  const PlainTable table(data_files.Get("/home/Data/Referrers.DBF"));
  EXPECT_EQ(table.deleted, 1u);
  for (const auto& row : table.rows) EXPECT_NE(row.at("Name"), "http://many.example");
}

TEST_F(ReferrersWindowTest, AProgramThatEndsMeanwhileDeletesNothing) {
  HistoryWindow& frm = OpenReferrers();
  prompts.meanwhile = [this] { T().Closing = true; };
  Grid(frm).selectRow(0);
  prompts.answers = {QMessageBox::Yes, QMessageBox::Yes};
  Use(frm, "miDelete");
  EXPECT_EQ(prompts.asked.size(), 1u);
  T().Closing = false;
}

TEST_F(HistoryWindowTest, TopDownloadsGoFromDayToDay) {
  Download("10.0.0.1", "a.zip", 3);
  Download("10.0.0.2", "a.zip", 4);
  Download("10.0.0.2", "b.zip", 4);
  OpenOnPast();
  HistoryWindow& frm = OpenWindow("miTopDownloads", "frmTopDownloads");
  EXPECT_EQ(Title(frm), "Top Downloads: Site 1 [All Dates]");
  EXPECT_THAT(Column(frm, top_downloads::kFilename), ElementsAre("a.zip", "b.zip"));
  EXPECT_THAT(Column(frm, top_downloads::kDownloads), ElementsAre("2", "1"));
  EXPECT_EQ(State(frm), "2 Downloads");
  auto& date = WidgetIn<QDateEdit>(frm, "txtDate");
  date.setDate(QDate(2026, 3, 4));
  Use(frm, "miDate");
  Read(frm);
  EXPECT_EQ(Title(frm), "Top Downloads: Site 1 On: 3/4/2026");
  EXPECT_THAT(Column(frm, top_downloads::kFilename), ElementsAre("a.zip", "b.zip"));
  for (const auto& [tool, title, names] : {std::tuple("miPrev", "3/3/2026", Lines{"a.zip"}),
                                           {"miPrev", "3/2/2026", Lines{}},
                                           {"miNext", "3/3/2026", Lines{"a.zip"}}}) {
    Use(frm, tool);
    // The rows are those of the title, or there are none yet.
    EXPECT_EQ(Title(frm), std::string("Top Downloads: Site 1 On: ") + title);
    Read(frm);
    EXPECT_EQ(Column(frm, top_downloads::kFilename), names);
  }
  EXPECT_EQ(date.date(), QDate(2026, 3, 3));
  Use(frm, "miAllDates");
  EXPECT_EQ(Title(frm), "Top Downloads: Site 1 [All Dates]");
}

TEST_F(HistoryWindowTest, AllSitesAreCountedTogether) {
  Visit("10.0.0.1", 3, "http://from.example");
  Visit("10.0.0.1", 3, "http://from.example", 2);
  OpenOnPast();
  ChooseNode("lf0");
  HistoryWindow& frm = OpenWindow("miTopReferers", "frmReferers");
  EXPECT_EQ(Title(frm), "Top Referrers: All Sites");
  EXPECT_THAT(Column(frm, top_referrers::kName), ::testing::Contains("http://from.example"));
  EXPECT_THAT(Column(frm, top_referrers::kVisits), ::testing::Each("2")) << "and what the log of today says";
  Grid(frm).selectRow(0);
  Use(frm, "miDelete");
  EXPECT_THAT(prompts.asked, IsEmpty()) << "of which site?";
  WidgetIn<QComboBox>(frm, "txtSITE").setEditText("site 2");
  Use(frm, "miLookup");
  EXPECT_EQ(Title(frm), "Top Referrers: Site 2");
}

TEST_F(HistoryWindowTest, DaysAreBarsAndTodayIsLighter) {
  OpenOnPast();
  HistoryWindow& frm = OpenWindow("miDays", "frmDays");
  EXPECT_EQ(Title(frm), "Days: Site 1");
  EXPECT_THAT(Column(frm, days::kDate), ElementsAre("3/3/2026", "3/4/2026", "3/5/2026"));
  EXPECT_THAT(Column(frm, days::kVisitors), ElementsAre("30", "40", "3"));
  const auto& chart = static_cast<DaysChart&>(*frm.findChild<QWidget*>("daysChart"));
  ASSERT_EQ(chart.Bars().size(), 3u);
  EXPECT_EQ(chart.Bars()[1].count, 40);
  EXPECT_FALSE(chart.Bars()[1].so_far);
  EXPECT_TRUE(chart.Bars()[2].so_far);
  EXPECT_EQ(chart.accessibleDescription(), "3/5/2026: 3 Visitors so far");
  auto& count = WidgetIn<QComboBox>(frm, "cmboCount");
  count.setCurrentIndex(4);
  Q_EMIT count.activated(4);
  EXPECT_EQ(chart.Bars()[2].text, "3/5/2026: 0 Downloads so far");
}

TEST_F(HistoryWindowTest, IsSavedPrintedAndMailed) {
  Visit("10.0.0.1", 3, "http://from.example/<b>");
  OpenOnPast();
  ChooseVisitor();
  HistoryWindow& frm = OpenWindow("miHistory", "frmPrevVisits");
  prompts.file = "/home/list.csv";
  Use(frm, "miSaveAs");
  EXPECT_THAT(files.Get("/home/list.csv"), ::testing::StartsWith("No,Site,Date,Time,First Page"));
  EXPECT_THAT(files.Get("/home/list.csv"), HasSubstr("\r\n00001,Site 1,3/3/2026,01:00:01,first.htm"));
  prompts.file = "/home/list.html";
  Use(frm, "miSaveAs");
  EXPECT_THAT(files.Get("/home/list.html"), HasSubstr("<b>Previous Visits For 10.0.0.1 On Site Site 1</b>"));
  EXPECT_THAT(files.Get("/home/list.html"), HasSubstr(">00001</TD>"));
  Use(frm, "miPrint");
  auto* preview = frm.findChild<QDialog*>("printPreview");
  ASSERT_NE(preview, nullptr);
  preview->close();
  view->Window()->Parts().settings.EmailServer = "mail.example";
  Use(frm, "miEmail");
  auto* dialog = frm.findChild<QDialog*>("frmEmailView");
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->windowTitle(), "Previous Visits For 10.0.0.1 On Site Site 1");
  WidgetIn<QComboBox>(*dialog, "cmboEmail").setEditText("a@example.com");
  Click(*dialog, "btnSend");
  EXPECT_THAT(files.Get("/home/Previous Visits.htm"), HasSubstr("<b>Previous Visits For 10.0.0.1 On Site Site 1</b>"));
  EXPECT_THAT(files.Get("/home/Previous Visits.htm"), HasSubstr("host.example"));
}

TEST_F(HistoryWindowTest, WindowsGoWithTheProgram) {
  OpenOnPast();
  ChooseVisitor();
  OpenWindow("miHistory", "frmPrevVisits");
  OpenWindow("miDays", "frmDays");
  engine->Closing();
  QApplication::processEvents();
  EXPECT_EQ(Frm().findChild<QWidget*>("frmPrevVisits"), nullptr);
  EXPECT_EQ(Frm().findChild<QWidget*>("frmDays"), nullptr);
}

// The command that opens it, and the window.
constexpr std::pair<const char*, const char*> kWindows[] = {
    {"miHistory", "frmPrevVisits"},        {"miViewVisitDetails", "frmVisitDetails"},
    {"miTopReferers", "frmReferers"},      {"miViewDownloads", "frmPrevDownloads"},
    {"miTopDownloads", "frmTopDownloads"}, {"miDays", "frmDays"}};

TEST_F(HistoryWindowTest, NoToolIsHiddenForLackOfRoom) {
  OpenOnPast();
  ChooseVisitor();
  for (const auto& [command, name] : kWindows) {
    const HistoryWindow& frm = OpenWindow(command, name);
    for (const QToolBar* bar : frm.findChildren<QToolBar*>()) {
      for (QAction* action : bar->actions()) {
        const QWidget* tool = bar->widgetForAction(action);
        EXPECT_TRUE(tool->isVisible() && bar->rect().contains(tool->geometry()))
            << name << " " << action->objectName().toStdString();
      }
    }
  }
}

TEST_F(HistoryWindowTest, EveryWidgetHasANameForThoseWhoCannotSee) {
  OpenOnPast();
  ChooseVisitor();
  for (const auto& [command, name] : kWindows) {
    const HistoryWindow& frm = OpenWindow(command, name);
    EXPECT_FALSE(frm.accessibleName().isEmpty());
    EXPECT_EQ(Grid(frm).accessibleName(), frm.windowTitle());
    for (const QLineEdit* edit : frm.findChildren<QLineEdit*>()) {
      const bool own = !edit->objectName().startsWith("qt_");
      EXPECT_TRUE(!own || !edit->accessibleName().isEmpty() || qobject_cast<QComboBox*>(edit->parent())) << name;
    }
    for (const char* tool : {"miClose", "miPrint", "miEmail"}) EXPECT_NE(frm.findChild<QAction*>(tool), nullptr);
  }
}

// To look at; see pictures.h.
TEST_F(HistoryWindowTest, Pictures) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  for (int day = 0; day < 30; ++day) {
    past.t.Today = Day{MakeDay(2026, 2, 3)->n + day};
    past.t.Site(1).TodayVisitors = 300 + 40 * (day * day % 17) - (day % 7 > 4 ? 200 : 0);
    past.database->UpdateDaySummaries();
  }
  for (int day = 1; day <= 4; ++day) {
    for (int i = 0; i < 9; ++i) {
      ComeBack(day, i);
      Download("10.0.0.1", "manual-" + std::to_string(i * i % 11) + ".zip", day);
    }
  }
  past.t.Today = *MakeDay(2026, 3, 5);
  OpenOnPast();
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    ChooseVisitor();
    for (const auto& [command, name] : kWindows) {
      HistoryWindow& frm = OpenWindow(command, name);
      if (Grid(frm).model()->rowCount() > 2) Grid(frm).selectRow(1);
      if (name == std::string("frmVisitDetails")) DoubleClick(Window("frmPrevVisits"), 1);
      QApplication::processEvents();
      SavePicture(frm.grab().toImage(), QString("history-%1-%2").arg(name, dark ? "dark" : "light"));
    }
  }
  QApplication::setPalette(QPalette());
}

}  // namespace
}  // namespace vantry
