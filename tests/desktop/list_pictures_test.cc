// Pictures of the lists, to look at: VANTRY_PICTURES=FOLDER, and QT_SCALE_FACTOR=2 for a dense screen.
#include <QApplication>
#include <QHeaderView>
#include <QVBoxLayout>
#include <string>

#include <gtest/gtest.h>

#include "desktop/icons.h"
#include "desktop/list_pane.h"
#include "desktop/lists_rig.h"
#include "desktop/pictures.h"

namespace vantry {
namespace {

void FillWithAll(ListsRig& rig) {
  const char* browsers[] = {"IE6", "NS4", "OP9", "Lynx"};
  for (int i = 0; i < 40; ++i) {
    VisitorRec& v = rig.AddVisitor(static_cast<int16_t>(1 + i % 3), "10.0.0." + std::to_string(i),
                                   i % 4 ? "host" + std::to_string(i) + ".dyn.customers.example.net" : "");
    v.VisitCount = 1 + i % 3;
    v.Idle = i % 7 == 0;
    v.Status = i % 5 ? 200 : 404;
    v.Page = "/shop/items/a-page-name-for-which-there-is-no-room-" + std::to_string(i) + ".html";
    v.Browser = browsers[i % 4];
    v.IsSpider = i == 9;
    if (i == 3) v.KnownName = "Ann from the office";
    if (i == 5) v.GroupMask = "*.example.net";
    if (i == 8) v.HackCount = 9;
    rig.t.pageGrid.AddRow(v, 1, v.Page.View(), "", 43'200 + i);
  }
  const uint32_t colours[] = {kColourDefault, 0xC0FFFF, 0x800000, 0x00C0FF, 0};
  for (int i = 0; i < 12; ++i) rig.AddAlert(static_cast<int16_t>(1 + i % 3), "host" + std::to_string(i) + ".example");
  int n = 0;
  for (AlertRow& row : rig.t.logGrid) {
    row.when = MakeLogTime(*MakeDay(2026, 11, 22), 43'200 + n);
    row.page = "/a/b.html";
    row.country = "NO";
    row.referrer = "http://search.example/";
    row.alert_colour = colours[n % 5];
    row.suspect = n == 6;
    if (n % 2) row.seconds_on_site = 30 + n * 40;
    ++n;
  }
  SpiderRow spider;
  spider.site = 1;
  spider.dns = "crawler.example";
  spider.engine = "Example";
  rig.t.spiderGrid.Add(spider);
  rig.t.exGrid.Add({{MakeLogTime(*MakeDay(2026, 11, 22), 43'200), 1}, 404, 7, "Page not found <b>x</b>"});
  for (int i = 0; i < 50; ++i) {
    rig.t.TraceGrid.AddRow("Site 1", 1'000'000 + i * 100,
                           "2026-11-22 12:00:00 10.0.0.1 GET /index.html - 200 Agent/5.0");
  }
}

TEST(ListPictures, AllLists) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  ListsRig rig;
  FillWithAll(rig);
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    QWidget window;
    QVBoxLayout layout(&window);
    std::vector<std::unique_ptr<ListPane>> panes;
    for (const ListKind kind : {ListKind::kVisitors, ListKind::kAlerts, ListKind::kSpiders, ListKind::kExceptions,
                                ListKind::kPages, ListKind::kTrace}) {
      panes.push_back(std::make_unique<ListPane>(rig.t, rig.regional, kind, SlotIcon));
      layout.addWidget(panes.back().get());
    }
    panes[0]->horizontalHeader()->setSortIndicator(vs_grid::kLastTime, Qt::DescendingOrder);
    panes[3]->SetSearch("no such text");
    window.resize(1'400, 1'000);
    window.show();
    panes[4]->ShowPagesOf("3:10.0.0.5");
    panes[0]->setCurrentIndex(panes[0]->model()->index(2, vs_grid::kDns));
    QApplication::processEvents();
    SavePicture(window.grab().toImage(),
                QString("lists-%1-%2").arg(dark ? "dark" : "light").arg(window.devicePixelRatioF()));
  }
}

}  // namespace
}  // namespace vantry
