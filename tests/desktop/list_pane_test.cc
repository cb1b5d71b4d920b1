#include "desktop/list_pane.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QHelpEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTest>
#include <QToolTip>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/lists_rig.h"

namespace vantry {
namespace {

using testing::ElementsAre;

QIcon PlainIcon(int16_t) {
  QPixmap picture(16, 16);
  picture.fill(Qt::darkGreen);
  return picture;
}

struct ListPaneTest : testing::Test {
  ListsRig rig;
  std::unique_ptr<ListPane> pane;

  ListPane& Open(ListKind kind, int rows = 0) {
    for (int i = 0; i < rows; ++i) {
      const int16_t site = static_cast<int16_t>(1 + i % 3);
      rig.AddVisitor(site, "10.0.0." + std::to_string(i), "host" + std::to_string(i) + ".example");
    }
    pane = std::make_unique<ListPane>(rig.t, rig.regional, kind, PlainIcon);
    pane->resize(1'000, 300);
    pane->show();
    QApplication::processEvents();
    return *pane;
  }
  void ClickHeading(int column) {
    QHeaderView& header = *pane->horizontalHeader();
    const QPoint at(header.sectionViewportPosition(column) + 5, header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, at);
  }
  void ClickRow(int row, Qt::KeyboardModifiers keys = {}) {
    QTest::mouseClick(pane->viewport(), Qt::LeftButton, keys,
                      pane->visualRect(pane->model()->index(row, vs_grid::kNo)).center());
  }
  int TopRow() const { return pane->verticalScrollBar()->value(); }
};

TEST_F(ListPaneTest, IsFoundByNameAndSaysWhatItIs) {
  const struct {
    ListKind kind;
    const char *object, *accessible;
  } cases[] = {
      {ListKind::kVisitors, "VsGrid", "Current Visitors"},   {ListKind::kAlerts, "logGrid", "Current Alerts"},
      {ListKind::kSpiders, "spiderGrid", "Visited Spiders"}, {ListKind::kExceptions, "exGrid", "Exceptions"},
      {ListKind::kPages, "pageGrid", "Visited Pages"},       {ListKind::kTrace, "TraceGrid", "Log File Trace"}};
  for (const auto& c : cases) {
    const ListPane& list = Open(c.kind);
    EXPECT_EQ(list.objectName(), c.object);
    EXPECT_EQ(list.accessibleName(), c.accessible);
  }
}

TEST_F(ListPaneTest, AHeadingSortsUpThenDownThenAsTheyCame) {
  Open(ListKind::kVisitors);
  for (const char* name : {"b", "a", "c"}) rig.AddVisitor(1, std::string("10.0.0.") + name, name);
  pane->Refresh();
  ClickHeading(vs_grid::kDns);
  EXPECT_THAT(ColumnOf(pane->Rows(), vs_grid::kDns), ElementsAre("a", "b", "c"));
  EXPECT_EQ(pane->horizontalHeader()->sortIndicatorSection(), static_cast<int>(vs_grid::kDns));
  ClickHeading(vs_grid::kDns);
  EXPECT_THAT(ColumnOf(pane->Rows(), vs_grid::kDns), ElementsAre("c", "b", "a"));
  ClickHeading(vs_grid::kDns);
  EXPECT_THAT(ColumnOf(pane->Rows(), vs_grid::kDns), ElementsAre("b", "a", "c"));
  EXPECT_EQ(pane->horizontalHeader()->sortIndicatorSection(), -1);
}

TEST_F(ListPaneTest, ARowThatIsSelectedWithoutBeingTheCurrentOneIsChosen) {
  Open(ListKind::kVisitors, 10);
  const auto rows = QItemSelectionModel::Select | QItemSelectionModel::Rows;
  pane->selectionModel()->select(pane->model()->index(5, 0), rows);
  ASSERT_TRUE(pane->Selected()) << "as a screen reader does it";
  EXPECT_EQ(pane->Selected()->key, "3:10.0.0.5");
  pane->selectionModel()->clear();
  EXPECT_FALSE(pane->Selected());
}

TEST_F(ListPaneTest, TheChosenRowStaysChosenWhileOthersComeAndGo) {
  Open(ListKind::kVisitors, 60);
  int told = 0;
  pane->on_selection = [&] { ++told; };
  ClickRow(5);
  ASSERT_TRUE(pane->Selected());
  EXPECT_EQ(pane->Selected()->key, "3:10.0.0.5");
  EXPECT_EQ(told, 1);
  for (int i = 0; i < 5; i += 2) rig.Leave(static_cast<int16_t>(1 + i % 3), "10.0.0." + std::to_string(i));
  rig.AddVisitor(1, "10.9.9.9");
  pane->Refresh();
  EXPECT_EQ(pane->Selected()->key, "3:10.0.0.5");
  EXPECT_EQ(pane->currentIndex().row(), 2);
  ClickHeading(vs_grid::kSite);
  EXPECT_EQ(pane->Selected()->key, "3:10.0.0.5");
  pane->SetSearch("host5");
  EXPECT_EQ(pane->Selected()->key, "3:10.0.0.5");
  EXPECT_EQ(told, 1) << "it was the same row all the time";
  rig.Leave(3, "10.0.0.5");
  pane->Refresh();
  EXPECT_FALSE(pane->Selected());
  EXPECT_EQ(told, 2);
}

TEST_F(ListPaneTest, ASearchThatHidesTheChosenRowLeavesNoneChosen) {
  Open(ListKind::kVisitors, 10);
  int told = 0;
  pane->on_selection = [&] { ++told; };
  ClickRow(3);
  pane->SetSearch("host7");
  EXPECT_FALSE(pane->Selected());
  EXPECT_EQ(told, 2);
  EXPECT_EQ(pane->ShownRows(), 1u);
}

TEST_F(ListPaneTest, ManyChosenRowsStayChosen) {
  Open(ListKind::kVisitors, 80);
  ClickRow(1);
  ClickRow(4, Qt::ShiftModifier);
  ClickRow(7, Qt::ControlModifier);
  EXPECT_EQ(pane->selectionModel()->selectedRows().size(), 5);
  for (int i = 0; i < 80; i += 2) rig.Leave(static_cast<int16_t>(1 + i % 3), "10.0.0." + std::to_string(i));
  pane->Refresh();
  std::vector<std::string> chosen;
  for (const QModelIndex& index : pane->selectionModel()->selectedRows()) {
    chosen.push_back(pane->Rows().CellText(static_cast<size_t>(index.row()), vs_grid::kDns));
  }
  std::sort(chosen.begin(), chosen.end());
  EXPECT_THAT(chosen, ElementsAre("host1.example", "host3.example", "host7.example"));
  EXPECT_EQ(pane->Selected()->address, "10.0.0.7");
}

TEST_F(ListPaneTest, TheListDoesNotJump) {
  Open(ListKind::kVisitors, 200);
  pane->verticalScrollBar()->setValue(100);
  const std::string top = pane->Rows().CellText(100, vs_grid::kDns);
  for (int i = 0; i < 40; ++i) rig.Leave(static_cast<int16_t>(1 + i % 3), "10.0.0." + std::to_string(i));
  rig.AddVisitor(1, "10.9.9.9");
  pane->Refresh();
  EXPECT_EQ(TopRow(), 60);
  EXPECT_EQ(pane->Rows().CellText(60, vs_grid::kDns), top);
  for (int i = 41; i < 200; i += 2) rig.Leave(static_cast<int16_t>(1 + i % 3), "10.0.0." + std::to_string(i));
  pane->Refresh();
  EXPECT_EQ(pane->Rows().CellText(static_cast<size_t>(TopRow()), vs_grid::kDns), top) << "with many rows gone at once";
}

TEST_F(ListPaneTest, TheSiteColumnIsHiddenWhileOneSiteIsShown) {
  Open(ListKind::kVisitors, 9);
  EXPECT_FALSE(pane->isColumnHidden(vs_grid::kSite));
  rig.View(2);
  pane->Refresh();
  EXPECT_TRUE(pane->isColumnHidden(vs_grid::kSite));
  EXPECT_EQ(pane->ShownRows(), 3u);
  rig.View(0);
  pane->Refresh();
  EXPECT_FALSE(pane->isColumnHidden(vs_grid::kSite));
}

TEST_F(ListPaneTest, ColumnsAreSavedByName) {
  Open(ListKind::kVisitors);
  pane->setColumnWidth(vs_grid::kDns, 123);
  pane->horizontalHeader()->moveSection(vs_grid::kDns, 0);
  std::map<std::string, std::string> state = pane->ColumnState();
  EXPECT_EQ(state.size(), static_cast<size_t>(vs_grid::kCount));
  EXPECT_EQ(state["DNS"], "1 123");
  state["Visit"] += " hidden";
  state["Nonsense"] = "1 2";
  state["Loc"] = "x";
  state["Browser"] = "3 99999999999999999999";
  state["No"] = "5 -7";
  Open(ListKind::kVisitors);
  const int loc = pane->columnWidth(vs_grid::kLoc);
  pane->RestoreColumns(state);
  EXPECT_EQ(pane->horizontalHeader()->visualIndex(vs_grid::kDns), 0);
  EXPECT_EQ(pane->columnWidth(vs_grid::kDns), 123);
  EXPECT_TRUE(pane->isColumnHidden(vs_grid::kVisit));
  EXPECT_EQ(pane->columnWidth(vs_grid::kLoc), loc);
  EXPECT_GE(pane->columnWidth(vs_grid::kNo), 1);
  for (auto& [name, text] : state) text = "1 50 hidden";
  pane->RestoreColumns(state);
  EXPECT_FALSE(pane->isColumnHidden(vs_grid::kDns)) << "not all of them";
}

TEST_F(ListPaneTest, TheMenuOfTheHeadingShowsAndHidesColumns) {
  Open(ListKind::kExceptions);
  const auto menu = [&]() -> QMenu* {
    pane->OpenColumnMenu(pane->mapToGlobal(QPoint(10, 10)));
    return pane->findChildren<QMenu*>("columnMenu").last();
  };
  const auto trigger = [&](const char* name) {
    QMenu* open = menu();
    open->findChild<QAction*>(name)->trigger();
    open->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  };
  trigger("columnNumber");
  EXPECT_TRUE(pane->isColumnHidden(ex_grid::kNumber));
  trigger("columnNumber");
  EXPECT_FALSE(pane->isColumnHidden(ex_grid::kNumber));
  for (const char* name : {"columnSN", "columnNo", "columnNumber", "columnDate/Time"}) trigger(name);
  QMenu* open = menu();
  EXPECT_FALSE(open->findChild<QAction*>("columnDetails")->isEnabled()) << "the last one";
  open->close();
  trigger("resetColumns");
  for (int column = 0; column < ex_grid::kCount; ++column) EXPECT_FALSE(pane->isColumnHidden(column));
}

TEST_F(ListPaneTest, KeysWalkTheRowsAndTabLeaves) {
  QWidget window;
  Open(ListKind::kVisitors, 100);
  pane->setParent(&window);
  QWidget next(&window);
  next.setFocusPolicy(Qt::StrongFocus);
  QWidget::setTabOrder(pane.get(), &next);
  window.show();
  pane->show();
  pane->setFocus();
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  ClickRow(2);
  QTest::keyClick(pane.get(), Qt::Key_Down);
  EXPECT_EQ(pane->Selected()->address, "10.0.0.3");
  QTest::keyClick(pane.get(), Qt::Key_End);
  EXPECT_EQ(pane->Selected()->address, "10.0.0.99");
  QTest::keyClick(pane.get(), Qt::Key_PageUp);
  EXPECT_LT(pane->currentIndex().row(), 99);
  QTest::keyClick(pane.get(), Qt::Key_Home);
  EXPECT_EQ(pane->Selected()->address, "10.0.0.0");
  QTest::keyClick(pane.get(), Qt::Key_End, Qt::ShiftModifier);
  EXPECT_EQ(pane->selectionModel()->selectedRows().size(), 100);
  QTest::keyClick(pane.get(), Qt::Key_Tab);
  EXPECT_TRUE(next.hasFocus());
  pane->setParent(nullptr);
}

TEST_F(ListPaneTest, CopiesChosenRowsWithTabs) {
  Open(ListKind::kVisitors, 3);
  rig.t.Visitors.Lookup(1, "10.0.0.0")->Page = "/a\tb\n\x01";
  ClickRow(2);
  ClickRow(0, Qt::ControlModifier);
  QTest::keyClick(pane.get(), Qt::Key_C, Qt::ControlModifier);
  const QStringList lines = QApplication::clipboard()->text().split('\n');
  ASSERT_EQ(lines.size(), 3);
  EXPECT_EQ(lines[0].split('\t').size(), static_cast<int>(vs_grid::kCount));
  EXPECT_TRUE(lines[0].contains("host0.example"));
  EXPECT_TRUE(lines[1].contains("host2.example"));
}

TEST_F(ListPaneTest, CsvIsTheListAsShown) {
  Open(ListKind::kExceptions);
  rig.t.exGrid.Add({{LogTime{}, 1}, 404, 1, "=SUM(A1), \"x\""});
  rig.t.exGrid.Add({{LogTime{}, 0}, 180, 2, "-5"});
  rig.t.exGrid.Add({{LogTime{}, 0}, 180, 3, "caf\xE9\r\n"});
  pane->Refresh();
  pane->setColumnHidden(ex_grid::kDateTime, false);
  std::map<std::string, std::string> state = pane->ColumnState();
  state["Date/Time"] = "9 100 hidden";
  pane->RestoreColumns(state);
  EXPECT_EQ(pane->Csv(),
            "\xEF\xBB\xBFSN,Site,No,Number,Details\r\n"
            "1,Site 1,1,404,\"'=SUM(A1), \"\"x\"\"\"\r\n"
            "0,,2,180,-5\r\n"
            "0,,3,180,\"caf\xC3\xA9  \"\r\n");
}

TEST_F(ListPaneTest, TheTraceStaysAtItsEndUnlessLockedOrScrolledUp) {
  Open(ListKind::kTrace);
  const auto add = [&](int count) {
    for (int i = 0; i < count; ++i) rig.t.TraceGrid.AddRow("Shop", i, "line");
    pane->Refresh();
  };
  const auto at_end = [&] { return TopRow() == pane->verticalScrollBar()->maximum(); };
  add(100);
  EXPECT_TRUE(at_end());
  EXPECT_GT(TopRow(), 50);
  rig.t.TraceGrid.locked = true;
  const int before = TopRow();
  add(10);
  EXPECT_EQ(TopRow(), before);
  rig.t.TraceGrid.locked = false;
  add(0);
  EXPECT_TRUE(at_end());
  pane->verticalScrollBar()->setValue(20);
  add(10);
  EXPECT_EQ(TopRow(), 20);
  pane->verticalScrollBar()->setValue(pane->verticalScrollBar()->maximum());
  add(10);
  EXPECT_TRUE(at_end());
  pane->verticalScrollBar()->setValue(30);
  add(4'900);
  EXPECT_EQ(TopRow(), 0) << "130 rows were there, 30 of them have left the ring";
}

TEST_F(ListPaneTest, ARightClickChoosesTheRowAndAsksForTheMenu) {
  Open(ListKind::kVisitors, 5);
  int asked = 0;
  pane->on_menu = [&](QPoint) { ++asked; };
  const auto right_click = [&](const QPoint& at) {
    QTest::mousePress(pane->viewport(), Qt::RightButton, {}, at);
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, pane->viewport()->mapToGlobal(at));
    QApplication::sendEvent(pane->viewport(), &event);
    QTest::mouseRelease(pane->viewport(), Qt::RightButton, {}, at);
  };
  right_click(pane->visualRect(pane->model()->index(3, 0)).center());
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(pane->Selected()->address, "10.0.0.3");
  right_click(QPoint(20, pane->viewport()->height() - 3));
  EXPECT_EQ(asked, 1) << "there is no row";
}

TEST_F(ListPaneTest, HostileTextsArePaintedAndTold) {
  Open(ListKind::kVisitors);
  const std::string texts[] = {"<b>bold</b><img src=x>",
                               std::string(10'000, 'W'),
                               "\xFF\xFE\x80 bytes",
                               std::string("\x00\x01\x1B[31m\r\n", 9),
                               "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xE2\x80\xAE",
                               "&amp;",
                               std::string(10'000, '\xD7')};
  int n = 0;
  for (const std::string& text : texts) {
    VisitorRec& v = rig.AddVisitor(1, "10.0.0." + std::to_string(n++), text);
    v.Page = text;
    v.Referrer = text;
    v.CountryName = text;
    v.Browser = text;
  }
  pane->Refresh();
  EXPECT_FALSE(pane->grab().isNull());
  EXPECT_EQ(pane->model()->index(0, vs_grid::kDns).data().toString(), "<b>bold</b><img src=x>");
  EXPECT_LE(pane->model()->index(1, vs_grid::kDns).data().toString().size(), 10'000);
  const QString turned = pane->model()->index(4, vs_grid::kDns).data().toString();
  EXPECT_FALSE(turned.contains(QChar(0x202E)));
}

TEST_F(ListPaneTest, WhatIsSelectedInOtherLists) {
  Open(ListKind::kAlerts);
  rig.AddAlert(2, "10.0.0.5");
  for (AlertRow& row : rig.t.logGrid) row.dns = "host.example", row.page = "/p", row.referrer = "http://r/";
  pane->Refresh();
  EXPECT_FALSE(pane->Selected());
  ClickRow(0);
  const std::optional<SelectedRow> row = pane->Selected();
  ASSERT_TRUE(row);
  EXPECT_EQ(row->site, 2);
  EXPECT_EQ(row->key, "2:10.0.0.5");
  EXPECT_EQ(row->name, "host.example");
  EXPECT_TRUE(row->is_named);
  EXPECT_EQ(row->page, "/p");
  EXPECT_EQ(row->referrer, "http://r/");
  Open(ListKind::kExceptions);
  rig.t.exGrid.Add({{LogTime{}, 1}, 404, 1, "x"});
  pane->Refresh();
  ClickRow(0);
  EXPECT_FALSE(pane->Selected()) << "such rows are not a visitor's";
}

TEST_F(ListPaneTest, AnEmptyListSaysWhatToDo) {
  Open(ListKind::kVisitors);
  const QImage bare = pane->grab().toImage();
  pane->SetEmptyHint("Add a site");
  EXPECT_NE(pane->grab().toImage(), bare);
  rig.AddVisitor(1, "10.0.0.1");
  pane->Refresh();
  const QImage filled = pane->grab().toImage();
  pane->SetEmptyHint("");
  EXPECT_EQ(pane->grab().toImage(), filled);
}

TEST_F(ListPaneTest, AHiddenColumnIsNotSearched) {
  Open(ListKind::kVisitors, 6);
  pane->SetSearch("site 2");
  EXPECT_EQ(pane->ShownRows(), 2u);
  rig.View(2);
  pane->Refresh();
  EXPECT_EQ(pane->ShownRows(), 0u) << "the site column is hidden";
  rig.View(0);
  pane->Refresh();
  EXPECT_EQ(pane->ShownRows(), 2u);
}

TEST_F(ListPaneTest, PagesOfTheChosenVisitor) {
  Open(ListKind::kPages);
  VisitorRec& v = rig.AddVisitor(1, "10.0.0.1");
  rig.t.pageGrid.AddRow(v, 1, "/a", "", 5);
  pane->ShowPagesOf(v.Key());
  EXPECT_THAT(ColumnOf(pane->Rows(), page_grid::kPage), ElementsAre("/a"));
  pane->ShowPagesOf("");
  EXPECT_EQ(pane->ShownRows(), 0u);
}

TEST_F(ListPaneTest, ColumnsCanBeDraggedAndReset) {
  Open(ListKind::kVisitors);
  QHeaderView& header = *pane->horizontalHeader();
  const auto middle = [&](int column) {
    return QPoint(header.sectionViewportPosition(column) + header.sectionSize(column) / 2, header.height() / 2);
  };
  const QPoint from = middle(vs_grid::kDns), to = middle(vs_grid::kSite) - QPoint(30, 0);
  QTest::mousePress(header.viewport(), Qt::LeftButton, {}, from);
  for (int i = 1; i <= 10; ++i) {
    QMouseEvent move(QEvent::MouseMove, from + (to - from) * i / 10, header.viewport()->mapToGlobal(to), Qt::NoButton,
                     Qt::LeftButton, {});
    QApplication::sendEvent(header.viewport(), &move);
  }
  QTest::mouseRelease(header.viewport(), Qt::LeftButton, {}, to);
  EXPECT_EQ(header.visualIndex(vs_grid::kDns), 0);
  EXPECT_EQ(header.sortIndicatorSection(), -1) << "a drag does not sort";
  std::map<std::string, std::string> before = pane->ColumnState();
  EXPECT_EQ(before["DNS"].substr(0, 2), "1 ");
  pane->OpenColumnMenu({});
  pane->findChildren<QMenu*>("columnMenu").last()->findChild<QAction*>("resetColumns")->trigger();
  EXPECT_EQ(header.visualIndex(vs_grid::kDns), static_cast<int>(vs_grid::kDns));
}

TEST_F(ListPaneTest, PointingAtARowTellsOfTheVisitorAndOfTextWithoutRoom) {
  Open(ListKind::kVisitors);
  VisitorRec& v = rig.AddVisitor(1, "10.0.0.1", "<b>host</b>" + std::string(200, 'x'));
  v.Pages = 7;
  v.CountryName = "<i>Norway</i>";
  pane->Refresh();
  const auto point_at = [&](const QPoint& at) {
    QHelpEvent event(QEvent::ToolTip, at, pane->viewport()->mapToGlobal(at));
    QApplication::sendEvent(pane->viewport(), &event);
    return QToolTip::text();
  };
  const QString of_row = point_at(pane->visualRect(pane->model()->index(0, vs_grid::kNo)).center());
  EXPECT_TRUE(of_row.contains("7 Page(s) &lt;i&gt;Norway&lt;/i&gt; IE6")) << of_row.toStdString();
  EXPECT_FALSE(of_row.contains("host"));
  const QString of_name = point_at(pane->visualRect(pane->model()->index(0, vs_grid::kDns)).center());
  EXPECT_TRUE(of_name.contains("&lt;b&gt;host&lt;/b&gt;xxx")) << of_name.toStdString();
  EXPECT_TRUE(of_name.contains("\n7 Page(s)")) << of_name.toStdString();
  QToolTip::hideText();
}

}  // namespace
}  // namespace vantry
