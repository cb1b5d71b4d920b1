// The lists of the window with many rows, offscreen: what the operator waits for, and what the window takes of the
// engine's time.
//   list_times [ROWS] [QUIET SECONDS]   100,000 rows and 5 seconds
#include <QApplication>
#include <QHeaderView>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>

#include "core/regional.h"
#include "core/tables.h"
#include "core/visitor_rows.h"
#include "desktop/list_pane.h"

namespace {

using vantry::ListKind;
using vantry::ListPane;
using vantry::VisitorRec;

double Milliseconds(const std::function<void()>& work) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Told(const char* what, double value, double limit, const char* unit) {
  std::printf("%-58s %9.2f %s, at most %.0f%s\n", what, value, unit, limit, value <= limit ? "" : "  TOO MUCH");
}

struct Rows {
  vantry::LiveTables t;
  vantry::Regional regional;
  int next = 0;

  Rows() {
    t.HasWindow = true;
    t.Sites.resize(3);
    for (int16_t site = 1; site <= 3; ++site) t.Site(site).Name = "Site " + std::to_string(site);
  }
  std::string Address(int n) const {
    return "10." + std::to_string(n / 65536 % 256) + "." + std::to_string(n / 256 % 256) + "." +
           std::to_string(n % 256);
  }
  void AddVisitor() {
    const int n = next++;
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(static_cast<int16_t>(1 + n % 3), Address(n)));
    v.VisitNo = n;
    v.VisitCount = 1 + n % 9;
    t.Visitors.ChangeName(v, "host-" + std::to_string(n * 7919 % 1'000'003) + ".customers.example.net");
    v.Page = "/shop/items/page" + std::to_string(n % 977) + ".html";
    v.Query = "?id=" + std::to_string(n);
    v.Browser = t.Visitors.Shared("IE6");
    v.CountryCode = t.Visitors.Shared("NO");
    v.Referrer = t.Visitors.Shared("http://search.example/find?q=" + std::to_string(n % 500));
    v.StartTime = v.LastHitTime = vantry::LogTime{int64_t{38'000} * 86'400 + n};
    v.Status = n % 20 ? 200 : 404;
    vantry::AddToGrid(t, v);
  }
  void AddAlert(int n) {
    vantry::AlertRow row;
    row.site = static_cast<int16_t>(1 + n % 3);
    row.when = vantry::LogTime{int64_t{38'000} * 86'400 + n};
    row.alert_no = static_cast<int16_t>(1 + n % 4);
    row.visit_no = n;
    row.ip = row.dns = Address(n);
    row.page = "/shop/items/page" + std::to_string(n % 977) + ".html";
    row.alert_colour = 0x00C0FF;
    t.logGrid.Add(std::move(row));
  }
  void View(int16_t site) {
    t.CurrentView = site;
    vantry::HideRowsOutsideView(t, [](int16_t) { return 0; });
  }
};

std::unique_ptr<ListPane> Open(Rows& rows, ListKind kind) {
  auto pane = std::make_unique<ListPane>(rows.t, rows.regional, kind, [](int16_t) {
    QPixmap picture(16, 16);
    picture.fill(Qt::darkGreen);
    return QIcon(picture);
  });
  pane->resize(1'600, 900);
  return pane;
}

// What has been asked for is on the screen.
void Paint(ListPane& pane) {
  QApplication::processEvents();
  pane.viewport()->repaint();
}

void TimeWaits(Rows& rows, ListKind kind, const char* name, int columns) {
  std::printf("%s\n", name);
  std::unique_ptr<ListPane> pane;
  Told("  first paint", Milliseconds([&] {
         pane = Open(rows, kind);
         pane->show();
         Paint(*pane);
       }),
       200, "ms");
  double worst = 0;
  for (const int16_t site : {1, 2, 0, 3, 0}) {
    worst = std::max(worst, Milliseconds([&] {
                       rows.View(site);
                       pane->Refresh();
                       Paint(*pane);
                     }));
  }
  Told("  another site, the slowest of 5", worst, 100, "ms");
  worst = 0;
  for (const int16_t filter : {1, 2, 0}) {
    rows.View(1);
    worst = std::max(worst, Milliseconds([&] {
                       rows.t.Site(1).AlertView = filter;
                       rows.View(1);
                       pane->Refresh();
                       Paint(*pane);
                     }));
  }
  Told("  another filter, the slowest of 3", worst, 100, "ms");
  rows.View(0);
  pane->Refresh();
  worst = 0;
  for (const char* text : {"h", "ho", "page97", "PAGE976.HTML", "no such text", "zq", "\xC3\xA9", ""}) {
    worst = std::max(worst, Milliseconds([&] {
                       pane->SetSearch(QString::fromUtf8(text));
                       Paint(*pane);
                     }));
  }
  Told("  search, the slowest of 8 texts", worst, 300, "ms");
  worst = 0;
  QHeaderView& header = *pane->horizontalHeader();
  for (int column = 0; column < columns; ++column) {
    for (const auto order : {Qt::AscendingOrder, Qt::DescendingOrder}) {
      worst = std::max(worst, Milliseconds([&] {
                         header.setSortIndicator(column, order);
                         Paint(*pane);
                       }));
    }
  }
  Told("  sort, the slowest of all columns, up and down", worst, 300, "ms");
  pane->selectAll();
  Told("  sort with all rows chosen", Milliseconds([&] {
         header.setSortIndicator(2, Qt::AscendingOrder);
         Paint(*pane);
       }),
       300, "ms");
}

// Refreshes of a second with 1,000 changes between them: page views, visitors that come and others that leave.
double ShareWithChanges(Rows& rows, ListPane& pane, unsigned& random) {
  constexpr int kSeconds = 10, kRefreshes = 4, kChanges = 250;
  double busy = 0;
  for (int i = 0; i < kSeconds * kRefreshes; ++i) {
    for (int change = 0; change < kChanges; ++change) {
      random = random * 1'664'525 + 1'013'904'223;
      const int32_t number = 1 + static_cast<int32_t>(random >> 8) % rows.t.Visitors.LastNumber();
      VisitorRec* v = rows.t.Visitors.At(number);
      if (!v) continue;
      if (change % 5 == 0) {
        rows.t.Visitors.Remove({&number, 1});
        rows.AddVisitor();
      } else {
        v->Page = "/next/" + std::to_string(random % 1'000);
        rows.t.Visitors.Touch(*v);
      }
    }
    const double before = CpuSeconds();
    pane.Refresh();
    QApplication::processEvents();
    busy += CpuSeconds() - before;
    // As much later as the window calls again.
    const auto next = std::chrono::steady_clock::now() + std::chrono::milliseconds(1'000 / kRefreshes);
    while (std::chrono::steady_clock::now() < next) {
      timespec rest{0, 5'000'000};
      nanosleep(&rest, nullptr);
    }
  }
  return 100 * busy / kSeconds;
}

void TimeChanges(Rows& rows) {
  std::printf("1,000 row changes a second\n");
  const std::unique_ptr<ListPane> pane = Open(rows, ListKind::kVisitors);
  pane->show();
  Paint(*pane);
  unsigned random = 1;
  Told("  in order of arrival", ShareWithChanges(rows, *pane, random), 25, "% of a core");
  pane->horizontalHeader()->setSortIndicator(4, Qt::AscendingOrder);
  Told("  sorted by DNS", ShareWithChanges(rows, *pane, random), 25, "% of a core");
  pane->SetSearch("example");
  Told("  sorted and searched", ShareWithChanges(rows, *pane, random), 25, "% of a core");
}

size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void MeasureMemory(Rows& rows, int count) {
  const size_t before = HeapBytes();
  const std::unique_ptr<ListPane> pane = Open(rows, ListKind::kVisitors);
  pane->show();
  pane->SetSearch("example");
  pane->horizontalHeader()->setSortIndicator(4, Qt::AscendingOrder);
  pane->selectAll();
  Paint(*pane);
  const double bytes = static_cast<double>(HeapBytes() - before);
  Told("memory of the list for a row, sorted, searched, all chosen", bytes / count, 1'024, "bytes");
}

// A window that refreshes four times a second.
void TimeQuiet(int seconds, int hits, const char* name) {
  Rows rows;
  for (int i = 0; i < 300; ++i) rows.AddVisitor();
  const std::unique_ptr<ListPane> pane = Open(rows, ListKind::kVisitors);
  pane->show();
  Paint(*pane);
  int next = 0;
  QTimer timer, end;
  QObject::connect(&timer, &QTimer::timeout, pane.get(), [&] {
    for (int hit = 0; hit < hits; ++hit) {
      VisitorRec& v = *rows.t.Visitors.At(1 + next++ % 30);
      v.LastHitTime.s += 1;
      rows.t.Visitors.Touch(v);
    }
    pane->Refresh();
  });
  timer.start(250);
  QTimer::singleShot(seconds * 1'000, pane.get(), [] { QApplication::exit(0); });
  const double before = CpuSeconds();
  QApplication::exec();
  Told(name, 100 * (CpuSeconds() - before) / seconds, 3, "% of a core");
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  setenv("QT_STYLE_OVERRIDE", "Fusion", 0);
  QApplication application(argc, argv);
  const int count = argc > 1 ? std::atoi(argv[1]) : 100'000;
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 5;
  Rows rows;
  for (int i = 0; i < count; ++i) rows.AddVisitor();
  for (int i = 0; i < count; ++i) rows.AddAlert(i);
  TimeWaits(rows, ListKind::kVisitors, "visitors", vantry::vs_grid::kCount);
  TimeWaits(rows, ListKind::kAlerts, "alerts", vantry::log_grid::kCount);
  rows.View(0);
  MeasureMemory(rows, count);
  TimeChanges(rows);
  TimeQuiet(seconds, 0, "300 visitors of whom nobody moves");
  TimeQuiet(seconds, 5, "300 visitors, 20 page views a second");
  return 0;
}
