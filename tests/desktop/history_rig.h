// The windows on what happened before, on tables of days before.
#pragma once

#include <QComboBox>
#include <QDateEdit>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "desktop/history_window.h"
#include "support/database_rig.h"
#include "support/window_rig.h"

namespace vantry {

using Lines = std::vector<std::string>;

struct HistoryWindowTest : MainWindowTest {
  DatabaseRig past;
  int seconds = 0;

  HistoryWindowTest() {
    past.t.Site(1).Name = "Site 1";
    past.t.Site(2).Name = "Site 2";
    for (const int day : {3, 4}) {
      past.t.Today = *MakeDay(2026, 3, day);
      past.t.Site(1).TodayVisitors = 10 * day;
      past.database->DatabaseReady();
      past.database->UpdateDaySummaries();
    }
    past.t.Today = *MakeDay(2026, 3, 5);
  }
  void Visit(const std::string& ip, int day, const std::string& referrer = "", int16_t site = 1) {
    VisitorRec v = past.Visitor(ip, "01:00:00", site, day);
    v.StartTime.s += ++seconds;
    v.LastPageTime = v.StartTime;
    v.DNS = "host.example";
    v.Referrer = referrer;
    past.database->UpdateVisitor(v, false);
    past.database->AddVisitToDatabase(v, "first.htm");
    past.database->AddPageToDatabase(v);
  }
  // A visit with pages, as on a real site.
  void ComeBack(int day, int hour) {
    constexpr const char* kSeen[] = {"index.html", "products/tools.html", "manuals/drill.pdf", "prices.html"};
    VisitorRec v = past.Visitor("10.0.0.1", "08:04:00", 1, day);
    v.StartTime.s += 3600 * hour + 97 * day * (hour + 1);
    v.LastHitTime = v.LastPageTime = v.StartTime;
    v.DNS = "host-27.example.net";
    v.Referrer = "https://search" + std::to_string(hour * hour % 5 + 1) + ".example/find?q=drill";
    past.database->UpdateVisitor(v, false);
    past.database->AddVisitToDatabase(v, kSeen[hour % 4]);
    for (v.Pages = 1; v.Pages <= 3 + (day + hour) % 5; ++v.Pages) {
      v.Page = kSeen[(hour + v.Pages - 1) % 4];
      past.database->AddPageToDatabase(v);
      v.LastHitTime.s = v.LastPageTime.s += 35 + 50 * (v.Pages % 3);
    }
    past.database->UpdateVisitInDatabase(v);
  }
  void Download(const std::string& ip, const std::string& file, int day) {
    VisitorRec v = past.Visitor(ip, "02:00:00", 1, day);
    v.Page = file;
    past.database->AddDownload(v);
  }
  // The program starts on these tables.
  void OpenOnPast() {
    past.database->FlushAll();
    for (const TableSchema* schema : HistorySchemas()) {
      data_files.Put(std::string("/home/Data/") + schema->name + ".DBF", past.disk.Get(past.Path(schema->name)));
    }
    OpenWithVisitors();
    ChooseNode("lf1");
  }
  HistoryWindow& Window(const char* name) {
    auto* frm = Frm().findChild<QWidget*>(name);
    if (!frm) throw std::runtime_error(std::string("there is no ") + name);
    return static_cast<HistoryWindow&>(*frm);
  }
  HistoryWindow& OpenWindow(const char* command, const char* name) {
    Trigger(command);
    HistoryWindow& frm = Window(name);
    Read(frm);
    return frm;
  }
  void Read(const HistoryWindow& frm) {
    for (int i = 0; i < 10'000 && frm.IsReading(); ++i) QApplication::processEvents();
    EXPECT_FALSE(frm.IsReading());
  }
  void Use(HistoryWindow& frm, const char* tool) {
    WidgetOrAction(frm, tool).trigger();
    QApplication::processEvents();
    QApplication::processEvents();
  }
  static QAction& WidgetOrAction(const QWidget& frm, const char* name) {
    auto* action = frm.findChild<QAction*>(name);
    if (!action) throw std::runtime_error(std::string("there is no ") + name);
    return *action;
  }
  static QTableView& Grid(const HistoryWindow& frm) { return *frm.findChild<QTableView*>(); }
  static std::string Title(const HistoryWindow& frm) { return WidgetIn<QLabel>(frm, "lblTitle").text().toStdString(); }
  static std::string State(const HistoryWindow& frm) { return WidgetIn<QLabel>(frm, "miStat").text().toStdString(); }
  static Lines Column(const HistoryWindow& frm, int column) {
    const QAbstractItemModel& model = *Grid(frm).model();
    Lines lines;
    for (int row = 0; row < model.rowCount(); ++row)
      lines.push_back(model.index(row, column).data().toString().toStdString());
    return lines;
  }
  void DoubleClick(const HistoryWindow& frm, int row) {
    Q_EMIT Grid(frm).doubleClicked(Grid(frm).model()->index(row, 0));
    QApplication::processEvents();
  }
  void ChooseVisitor() {
    Find<QTableView>("VsGrid").selectRow(0);
    Frm().Refresh();
  }
};

}  // namespace vantry
