#include "desktop/list_model.h"

#include <QAbstractItemModelTester>
#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text.h"
#include "desktop/lists_rig.h"

namespace vantry {
namespace {

using testing::ElementsAre;

struct ListModelTest : testing::Test {
  ListsRig rig;
  int64_t now = 0;
  int64_t step = 0;  // How long everything takes.
  std::unique_ptr<ListModel> Model(ListKind kind) {
    return std::make_unique<ListModel>(MakeRowSource(rig.t, rig.regional, kind), IconSource(),
                                       [this] { return now += step; });
  }
  std::vector<bool> AllColumns(const ListModel& model) { return std::vector<bool>(model.Source().Columns(), true); }
};

TEST_F(ListModelTest, VisitorsComeAndGoInOrderOfArrival) {
  const auto model = Model(ListKind::kVisitors);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  rig.AddVisitor(1, "10.0.0.1");
  rig.AddVisitor(2, "10.0.0.2");
  rig.AddVisitor(1, "10.0.0.3");
  EXPECT_EQ(model->ShownRows(), 0u) << "until it is told to look";
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("10.0.0.1", "10.0.0.2", "10.0.0.3"));
  rig.Leave(2, "10.0.0.2");
  EXPECT_EQ(model->CellText(1, vs_grid::kDns), "") << "gone, and not yet taken over";
  rig.AddVisitor(2, "10.0.0.4");
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("10.0.0.1", "10.0.0.3", "10.0.0.4"));
}

TEST_F(ListModelTest, RowsAreFoundAfterTheGapsWereClosed) {
  const auto model = Model(ListKind::kVisitors);
  for (int i = 1; i <= 9; ++i) rig.AddVisitor(1, "10.0.0." + std::to_string(i));
  model->Refresh();
  for (int i = 1; i <= 6; ++i) rig.Leave(1, "10.0.0." + std::to_string(i));
  rig.t.Visitors.CloseGaps();
  rig.AddVisitor(1, "10.0.0.1");
  ASSERT_EQ(rig.t.Visitors.LastNumber(), 4);
  EXPECT_EQ(model->CellText(8, vs_grid::kDns), "10.0.0.9");
  EXPECT_EQ(model->CellText(0, vs_grid::kDns), "") << "another visit of the same address";
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("10.0.0.7", "10.0.0.8", "10.0.0.9", "10.0.0.1"));
}

TEST_F(ListModelTest, TheViewHidesRowsAndBringsThemBackInTheirPlaces) {
  const auto model = Model(ListKind::kVisitors);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  for (int i = 1; i <= 6; ++i) rig.AddVisitor(static_cast<int16_t>(1 + i % 2), "10.0.0." + std::to_string(i));
  model->Refresh();
  rig.View(1);
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("10.0.0.2", "10.0.0.4", "10.0.0.6"));
  rig.View(0);
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 6u);
  EXPECT_EQ(model->CellText(0, vs_grid::kDns), "10.0.0.1");
}

TEST_F(ListModelTest, DayListsLoseTheirOldestRowsAndAreCleared) {
  const auto model = Model(ListKind::kExceptions);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  const auto add = [&](int no) { rig.t.exGrid.Add({{LogTime{}, 1}, 404, no, std::string(1 << 20, 'x')}); };
  for (int no = 1; no <= 16; ++no) add(no);
  model->Refresh();
  ASSERT_EQ(model->ShownRows(), 16u);
  add(17);
  add(18);
  model->Refresh();
  ASSERT_EQ(model->ShownRows(), 16u);
  EXPECT_EQ(model->CellText(0, ex_grid::kNo), "3");
  EXPECT_EQ(model->CellText(15, ex_grid::kNo), "18");
  rig.t.exGrid.Clear();
  add(1);
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, ex_grid::kNo), ElementsAre("1"));
  rig.t.exGrid.Clear();
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 0u);
}

TEST_F(ListModelTest, NumbersAndTimesSortAsNumbersAndTextsInAnyCase) {
  const auto model = Model(ListKind::kVisitors);
  const char* names[] = {"beta", "Alpha", "BETA", "alpha.b", ""};
  const int32_t counts[] = {10, 9, 100, 9, 1};
  for (int i = 0; i < 5; ++i) {
    VisitorRec& v = rig.AddVisitor(1, "10.0.0." + std::to_string(i), names[i]);
    v.VisitCount = counts[i];
    v.Referrer = names[i];
  }
  model->Refresh();
  model->Sort(vs_grid::kVisit, Qt::AscendingOrder);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kVisit), ElementsAre("1", "9", "9", "10", "100"));
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("5", "2", "4", "1", "3")) << "equals by arrival";
  model->Sort(vs_grid::kVisit, Qt::DescendingOrder);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("3", "1", "2", "4", "5")) << "equals by arrival again";
  model->Sort(vs_grid::kReferrer, Qt::AscendingOrder);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kReferrer), ElementsAre("", "Alpha", "alpha.b", "beta", "BETA"));
  model->Sort(-1, Qt::AscendingOrder);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("1", "2", "3", "4", "5"));
}

TEST_F(ListModelTest, VisitsThatStillLastSortBeforeThoseWithATime) {
  const auto model = Model(ListKind::kAlerts);
  for (int i = 0; i < 3; ++i) rig.AddAlert(1, "a" + std::to_string(i));
  int64_t seconds = 700;
  for (AlertRow& row : rig.t.logGrid) {
    if (row.dns != "a1") row.seconds_on_site = seconds -= 100;
  }
  model->Sort(log_grid::kMinsOnSite, Qt::AscendingOrder);
  EXPECT_THAT(ColumnOf(*model, log_grid::kDns), ElementsAre("a1", "a2", "a0"));
}

TEST_F(ListModelTest, SearchFitsInAnyCaseInShownColumnsAlone) {
  const auto model = Model(ListKind::kVisitors);
  rig.AddVisitor(1, "10.0.0.1", "Host.Example");
  rig.AddVisitor(2, "10.0.0.2", "other.example").Referrer = "http://HOST/";
  rig.AddVisitor(3, "10.0.0.3", "third").Page = "/caf\xC3\x89.htm";
  model->Search(Needle("hOsT"), AllColumns(*model));
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("1", "2"));
  std::vector<bool> columns = AllColumns(*model);
  columns[vs_grid::kReferrer] = false;
  model->Search(Needle("hOsT"), columns);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("1"));
  model->Search(Needle(QString::fromUtf8("CAF\xC3\xA9")), columns);
  EXPECT_THAT(ColumnOf(*model, vs_grid::kNo), ElementsAre("3")) << "letters beyond ASCII";
  model->Search(Needle("nobody"), columns);
  EXPECT_EQ(model->ShownRows(), 0u);
  model->Search(Needle(""), columns);
  EXPECT_EQ(model->ShownRows(), 3u);
}

TEST_F(ListModelTest, NewRowsAndChangedTextsFindTheirPlaceWhenSortedAndSearched) {
  const auto model = Model(ListKind::kVisitors);
  rig.AddVisitor(1, "10.0.0.1", "m.example");
  rig.AddVisitor(1, "10.0.0.2", "z.example");
  model->Sort(vs_grid::kDns, Qt::AscendingOrder);
  model->Search(Needle("example"), AllColumns(*model));
  rig.AddVisitor(1, "10.0.0.3", "b.example");
  rig.AddVisitor(1, "10.0.0.4", "b.other");
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("b.example", "m.example", "z.example"));
  VisitorRec& v = *rig.t.Visitors.Lookup(1, "10.0.0.4");
  rig.t.Visitors.ChangeName(v, "n.example");
  rig.t.Visitors.Touch(v);
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("b.example", "m.example", "n.example", "z.example"));
}

TEST_F(ListModelTest, SortingAgainWaitsUntilItCostsLittleButRowsThatAreGoneGoAtOnce) {
  step = 10'000;
  const auto model = Model(ListKind::kVisitors);
  for (const char* name : {"c", "a", "e"}) rig.AddVisitor(1, std::string("10.0.0.") + name, name);
  model->Sort(vs_grid::kDns, Qt::AscendingOrder);
  rig.AddVisitor(1, "10.0.0.b", "b");
  rig.Leave(1, "10.0.0.a");
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("c", "e"));
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("c", "e"));
  now += 10'000 * ListModel::kShareOfTime;
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("b", "c", "e")) << "though nothing changed meanwhile";
}

TEST_F(ListModelTest, SearchingWhatIsNewDoesNotWait) {
  step = 10'000;
  const auto model = Model(ListKind::kVisitors);
  rig.AddVisitor(1, "10.0.0.1", "m.example");
  model->Search(Needle("example"), AllColumns(*model));
  rig.AddVisitor(1, "10.0.0.2", "n.example");
  rig.AddVisitor(1, "10.0.0.3", "other");
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, vs_grid::kDns), ElementsAre("m.example", "n.example"));
}

TEST_F(ListModelTest, PagesAreThoseOfOneVisitor) {
  const auto model = Model(ListKind::kPages);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  VisitorRec& a = rig.AddVisitor(1, "10.0.0.1");
  VisitorRec& b = rig.AddVisitor(1, "10.0.0.2");
  for (int16_t i = 1; i <= 3; ++i) {
    rig.t.pageGrid.AddRow(a, i, "/a", "?" + std::to_string(i), i);
    rig.t.pageGrid.AddRow(b, i, "/b", "", i);
  }
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 0u);
  model->Source().ShowPagesOf(a.Key());
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, page_grid::kPage), ElementsAre("/a?1", "/a?2", "/a?3"));
  rig.t.pageGrid.AddRow(a, 4, "/a", "?4", 4);
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 4u);
  model->Source().ShowPagesOf(b.Key());
  model->Refresh();
  EXPECT_THAT(ColumnOf(*model, page_grid::kPage), ElementsAre("/b", "/b", "/b"));
  rig.Leave(1, "10.0.0.2");
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 0u);
  for (const char* key : {"", ":", "1:", "x:10.0.0.1", "99999:10.0.0.1", "-1:10.0.0.1"}) {
    model->Source().ShowPagesOf(key);
    model->Refresh();
    EXPECT_EQ(model->ShownRows(), 0u) << key;
  }
}

TEST_F(ListModelTest, TheTraceIsARing) {
  const auto model = Model(ListKind::kTrace);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  for (int i = 0; i < 4'999; ++i) rig.t.TraceGrid.AddRow("Shop", i, "line");
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 4'999u);
  for (int i = 0; i < 3; ++i) rig.t.TraceGrid.AddRow("Shop", 5'000 + i, "line");
  model->Refresh();
  EXPECT_EQ(model->ShownRows(), 5'000u);
  EXPECT_EQ(model->CellText(0, trace_grid::kPosition), "2");
  EXPECT_EQ(model->CellText(4'999, trace_grid::kPosition), "5002");
  for (int i = 0; i < 12'000; ++i) rig.t.TraceGrid.AddRow("Shop", i, "line");
  model->Refresh();
  EXPECT_EQ(model->CellText(0, trace_grid::kPosition), "7000");
}

TEST_F(ListModelTest, TextsThatChangeOnTheScreenAreTold) {
  const auto model = Model(ListKind::kVisitors);
  for (int i = 1; i <= 3; ++i) rig.AddVisitor(1, "10.0.0." + std::to_string(i));
  model->Refresh();
  std::vector<int> told;
  QObject::connect(model.get(), &QAbstractItemModel::dataChanged,
                   [&](const QModelIndex& from, const QModelIndex&) { told.push_back(from.row()); });
  model->RefreshTexts(0, 3);
  EXPECT_TRUE(told.empty());
  VisitorRec& v = *rig.t.Visitors.Lookup(1, "10.0.0.2");
  v.Page = "/next";
  rig.t.Visitors.Touch(v);
  model->RefreshTexts(0, 3);
  EXPECT_THAT(told, ElementsAre(1));
  EXPECT_FALSE(v.GridDirty);
  model->RefreshTexts(0, 3);
  EXPECT_THAT(told, ElementsAre(1));
  rig.t.Site(1).Name = "Renamed";
  model->RefreshTexts(0, 99);
  EXPECT_THAT(told, ElementsAre(1, 0, 1, 2));
}

TEST_F(ListModelTest, IconsAndColoursComeFromTheRecord) {
  rig.AddAlert(1, "suspect");
  rig.AddAlert(1, "blue");
  rig.AddAlert(1, "plain");
  for (AlertRow& row : rig.t.logGrid) {
    row.suspect = row.dns == "suspect";
    if (row.dns == "blue") row.alert_colour = 0x800000;
  }
  std::vector<int16_t> asked;
  ListModel model(MakeRowSource(rig.t, rig.regional, ListKind::kAlerts), [&](int16_t slot) {
    asked.push_back(slot);
    return QIcon();
  });
  model.Refresh();
  EXPECT_EQ(model.index(0, 0).data(Qt::BackgroundRole).value<QColor>(), QColor(255, 0, 0));
  EXPECT_EQ(model.index(0, 3).data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::black));
  EXPECT_EQ(model.index(1, 3).data(Qt::BackgroundRole).value<QColor>(), QColor(0, 0, 128));
  EXPECT_EQ(model.index(1, 3).data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::white));
  EXPECT_FALSE(model.index(2, 3).data(Qt::BackgroundRole).isValid());
  EXPECT_FALSE(model.index(2, 3).data(Qt::ForegroundRole).isValid());
  for (int row = 0; row < 3; ++row) model.index(row, 0).data(Qt::DecorationRole);
  EXPECT_THAT(asked, ElementsAre(kIconSuspect));
}

// A plain list in place of the model.
struct PlainList {
  struct Entry {
    std::string key, name;
    int32_t visit_no, count;
  };
  static std::vector<std::string> Of(const LiveTables& t, const std::string& needle, int sort, bool descending) {
    std::vector<Entry> rows;
    t.Visitors.ForEach([&](int32_t, const VisitorRec& v) {
      const bool fits = Contains(Lower(v.DNS.View()), needle);
      if (!v.Hidden && fits) rows.push_back({v.Key(), Lower(v.DNS.View()), v.VisitNo, v.VisitCount});
    });
    std::stable_sort(rows.begin(), rows.end(), [&](const Entry& a, const Entry& b) {
      if (sort == vs_grid::kDns) return descending ? a.name > b.name : a.name < b.name;
      if (sort == vs_grid::kVisit) return descending ? a.count > b.count : a.count < b.count;
      return false;
    });
    std::vector<std::string> keys;
    for (const Entry& row : rows) keys.push_back(row.key);
    return keys;
  }
};

TEST_F(ListModelTest, RandomOperations_MatchAPlainList) {
  const auto model = Model(ListKind::kVisitors);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  std::vector<bool> columns(vs_grid::kCount);
  columns[vs_grid::kDns] = true;
  std::mt19937 random(7);
  std::string needle;
  int sort = -1;
  bool descending = false;
  const auto address = [&] { return "10.0.0." + std::to_string(random() % 60); };
  const std::function<void()> operations[] = {
      [&] {
        const std::string ip = address();
        if (rig.t.Visitors.Find(1, ip) == 0) {
          rig.AddVisitor(static_cast<int16_t>(1 + random() % 2), ip, (random() % 2 ? "Host" : "name") + ip).VisitCount =
              static_cast<int32_t>(random() % 12);
        }
      },
      [&] { rig.Leave(static_cast<int16_t>(1 + random() % 2), address()); },
      [&] {
        for (int i = 0; i < 12; ++i) rig.Leave(static_cast<int16_t>(1 + random() % 2), address());
      },
      [&] { rig.t.Visitors.CloseGaps(); },
      [&] {
        if (VisitorRec* v = rig.t.Visitors.Lookup(1, address())) {
          rig.t.Visitors.ChangeName(*v, "name" + std::to_string(random() % 100));
          rig.t.Visitors.Touch(*v);
        }
      },
      [&] {
        if (random() % 4 == 0) rig.View(static_cast<int16_t>(random() % 3));
      },
      [&] {
        if (random() % 4 != 0) return;
        const int choices[] = {-1, vs_grid::kDns, vs_grid::kVisit};
        sort = choices[random() % 3];
        descending = random() % 2;
        model->Sort(sort, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
      },
      [&] {
        if (random() % 4 != 0) return;
        const char* choices[] = {"", "host", "name1", "2"};
        needle = choices[random() % 4];
        model->Search(Needle(QString::fromStdString(needle)), columns);
      }};
  for (int i = 0; i < 3'000; ++i) {
    operations[random() % 3 == 0 ? random() % std::size(operations) : random() % 2 == 0 ? 0 : 1]();
    if (random() % 3 != 0) continue;
    model->Refresh();
    ASSERT_EQ(ColumnOf(*model, vs_grid::kKey), PlainList::Of(rig.t, needle, sort, descending)) << i;
  }
}

// While sorting again has to wait, the list is a while behind, but it never shows a row twice or one that is gone, and
// gets there in the end.
TEST_F(ListModelTest, RandomOperations_BehindTheTime) {
  const auto model = Model(ListKind::kVisitors);
  const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  std::mt19937 random(8);
  model->Sort(vs_grid::kDns, Qt::AscendingOrder);
  for (int i = 0; i < 2'000; ++i) {
    step = random() % 50 == 0 ? 100'000 : 500;
    const std::string ip = "10.0.0." + std::to_string(random() % 40);
    if (random() % 2 == 0 && rig.t.Visitors.Find(1, ip) == 0) rig.AddVisitor(1, ip);
    if (random() % 2 == 0) rig.Leave(1, "10.0.0." + std::to_string(random() % 40));
    if (random() % 10 == 0) rig.t.Visitors.CloseGaps();
    model->Refresh();
    std::vector<std::string> keys = ColumnOf(*model, vs_grid::kKey);
    std::sort(keys.begin(), keys.end());
    ASSERT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
    ASSERT_FALSE(std::find(keys.begin(), keys.end(), "") != keys.end()) << i;
  }
  now += 100'000'000;
  model->Refresh();
  EXPECT_EQ(ColumnOf(*model, vs_grid::kKey), PlainList::Of(rig.t, "", vs_grid::kDns, false));
}

}  // namespace
}  // namespace vantry
