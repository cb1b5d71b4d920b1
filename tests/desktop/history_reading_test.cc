// How windows on the history read and sort: a little in each turn of the loop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/history_rig.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(HistoryWindowTest, AMillionRowsWouldComeAsOneScrolls) {
  for (int i = 0; i < 3000; ++i) Visit("10.0.0.1", 3);
  OpenOnPast();
  ChooseVisitor();
  Trigger("miHistory");
  HistoryWindow& frm = Window("frmPrevVisits");
  Read(frm);
  QAbstractItemModel& model = *Grid(frm).model();
  EXPECT_GE(model.rowCount(), 200);
  EXPECT_LT(model.rowCount(), 2000);
  EXPECT_THAT(State(frm), ::testing::StartsWith("More come as you scroll. "));
  const int before = model.rowCount();
  ASSERT_TRUE(model.canFetchMore({}));
  model.fetchMore({});
  Read(frm);
  EXPECT_GT(model.rowCount(), before);
  // A sort reads all.
  Q_EMIT Grid(frm).horizontalHeader()->sectionClicked(previous_visits::kNo);
  Q_EMIT Grid(frm).horizontalHeader()->sectionClicked(previous_visits::kNo);
  EXPECT_EQ(State(frm), "More come as you scroll. " + std::to_string(model.rowCount()) + " Visits");
  Read(frm);
  EXPECT_EQ(model.rowCount(), 3001);
  EXPECT_EQ(Column(frm, previous_visits::kNo)[0], "03001");
  WidgetIn<QLineEdit>(frm, "txtFind").setText("02999");
  Read(frm);
  EXPECT_EQ(State(frm), "1 of 3001 Visits");
  EXPECT_EQ(Column(frm, previous_visits::kNo), Lines{"02999"});
}

struct HistoryPaceTest : HistoryWindowTest {
  // A window with so many visits, all of them read, that goes on with 16 rows in each turn of the loop from now on.
  HistoryWindow& OpenVisits(int visits) {
    for (int i = 0; i < visits; ++i) Visit("10.0.0.1", 3);
    OpenOnPast();
    ChooseVisitor();
    HistoryWindow& frm = OpenWindow("miHistory", "frmPrevVisits");
    EXPECT_EQ(State(frm), std::to_string(visits + 1) + " Visits");
    frm.pace = {.ns = 0, .in_scan_ns = 0, .rows_a_step = 16};
    return frm;
  }
  static void ClickHeading(const HistoryWindow& frm, int column) {
    Q_EMIT Grid(frm).horizontalHeader()->sectionClicked(column);
  }
  // A column and whether it goes down.
  static std::pair<int, bool> Indicator(const HistoryWindow& frm) {
    const QHeaderView& header = *Grid(frm).horizontalHeader();
    return {header.sortIndicatorSection(), header.sortIndicatorOrder() == Qt::DescendingOrder};
  }
};

TEST_F(HistoryPaceTest, ReadingSaysSoAndCanBeStopped) {
  HistoryWindow& frm = OpenVisits(100);
  WidgetIn<QLineEdit>(frm, "txtFind").setText("00101");
  QApplication::processEvents();
  ASSERT_TRUE(frm.IsReading());
  EXPECT_EQ(State(frm), "Reading records...");
  Use(frm, "miStop");
  EXPECT_FALSE(frm.IsReading());
  EXPECT_THAT(State(frm), ::testing::StartsWith("Stopped. 0 of "));
}

TEST_F(HistoryPaceTest, RowsStayWhereTheyAreUntilTheSortIsDone) {
  HistoryWindow& frm = OpenVisits(100);
  const Lines before = Column(frm, previous_visits::kTime);
  ClickHeading(frm, previous_visits::kTime);
  ClickHeading(frm, previous_visits::kTime);
  int turns = 0;
  for (; frm.IsReading() && turns < 1000; ++turns) {
    ASSERT_EQ(Column(frm, previous_visits::kTime), before);
    QApplication::processEvents();
    EXPECT_EQ(State(frm), frm.IsReading() ? "Sorting records..." : "101 Visits");
  }
  EXPECT_GT(turns, 10);
  EXPECT_EQ(Column(frm, previous_visits::kTime), Lines(before.rbegin(), before.rend()));
}

TEST_F(HistoryPaceTest, ASortCanBeStopped) {
  HistoryWindow& frm = OpenVisits(100);
  ClickHeading(frm, previous_visits::kTime);
  ClickHeading(frm, previous_visits::kTime);
  Read(frm);
  const Lines before = Column(frm, previous_visits::kTime);
  ClickHeading(frm, previous_visits::kNo);
  QApplication::processEvents();
  ASSERT_EQ(State(frm), "Sorting records...");
  EXPECT_EQ(Indicator(frm), std::pair(int{previous_visits::kNo}, false));
  Use(frm, "miStop");
  EXPECT_FALSE(frm.IsReading());
  EXPECT_EQ(State(frm), "Stopped. 101 Visits");
  EXPECT_EQ(Column(frm, previous_visits::kTime), before);
  EXPECT_EQ(Indicator(frm), std::pair(int{previous_visits::kTime}, true)) << "how the rows are";
  ClickHeading(frm, previous_visits::kNo);
  Read(frm);
  EXPECT_EQ(Column(frm, previous_visits::kNo)[1], "00002");
}

TEST_F(HistoryPaceTest, ANewerClickReplacesASort) {
  HistoryWindow& frm = OpenVisits(100);
  ClickHeading(frm, previous_visits::kFirstPage);
  QApplication::processEvents();
  ASSERT_EQ(State(frm), "Sorting records...");
  ClickHeading(frm, previous_visits::kNo);
  ClickHeading(frm, previous_visits::kNo);
  Read(frm);
  EXPECT_EQ(Column(frm, previous_visits::kNo)[0], "00101");
  ClickHeading(frm, previous_visits::kFirstPage);
  QApplication::processEvents();
  WidgetIn<QLineEdit>(frm, "txtFind").setText("0010");
  Read(frm);
  EXPECT_EQ(Column(frm, previous_visits::kNo), (Lines{"00101", "00010", "00100"}))
      << "the visit of today had another page";
}

TEST_F(HistoryPaceTest, WhatIsSavedIsSorted) {
  HistoryWindow& frm = OpenVisits(100);
  ClickHeading(frm, previous_visits::kNo);
  ClickHeading(frm, previous_visits::kNo);
  prompts.file = "/home/list.csv";
  WidgetOrAction(frm, "miSaveAs").trigger();
  Read(frm);
  EXPECT_THAT(files.Get("/home/list.csv"), HasSubstr("Referrer\r\n00101,"));
  // What is printed needs not all rows, but the sort all the same.
  ClickHeading(frm, previous_visits::kNo);
  QApplication::processEvents();
  ASSERT_EQ(State(frm), "Sorting records...");
  WidgetOrAction(frm, "miPrint").trigger();
  QApplication::processEvents();
  EXPECT_EQ(frm.findChild<QDialog*>("printPreview"), nullptr);
  Read(frm);
  EXPECT_NE(frm.findChild<QDialog*>("printPreview"), nullptr);
}

TEST_F(HistoryWindowTest, ALostTableKeepsTheRowsAndTellsTheLog) {
  for (int i = 0; i < 3000; ++i) Visit("10.0.0.1", 3);
  OpenOnPast();
  ChooseVisitor();
  HistoryWindow& frm = OpenWindow("miHistory", "frmPrevVisits");
  const int before = Grid(frm).model()->rowCount();
  data_files.Put("/home/Data/Visits.DBF", data_files.Get("/home/Data/Visits.DBF").substr(0, 5000));
  Grid(frm).model()->fetchMore({});
  Read(frm);
  EXPECT_GE(Grid(frm).model()->rowCount(), before);
  EXPECT_THAT(State(frm), HasSubstr("could not be read"));
  EXPECT_THAT(prompts.told, IsEmpty());
  // The rows that there are can still be sorted.
  Q_EMIT Grid(frm).horizontalHeader()->sectionClicked(previous_visits::kNo);
  Q_EMIT Grid(frm).horizontalHeader()->sectionClicked(previous_visits::kNo);
  Read(frm);
  const Lines numbers = Column(frm, previous_visits::kNo);
  EXPECT_GT(numbers.front(), numbers.back());
}

}  // namespace
}  // namespace vantry
