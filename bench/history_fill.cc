// What a list of the history takes from the loop while its window fills and sorts it.
//   history_fill sort [ROWS]                       500,000 rows: the turns of the loop, the longest of them
//   history_fill scan TYPE LOG YYYYMMDD FOLDER [PAIRS]
// `scan` reads the log with the history on, in FOLDER, in pairs: alone, and while a list of that history is filled over
// and over. TYPE as in the site file; FOLDER as history_views made it. Prints the ratio of each pair and the median.
#include <QApplication>
#include <QHeaderView>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "database/visit_database.h"
#include "desktop/history_model.h"
#include "platform/huge_pages.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "platform/qt_loop.h"
#include "views/history_lists.h"
#include "views/program_tables.h"

namespace {

using namespace vantry;
using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

long MemoryMb() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("RssAnon:", 0) == 0) return std::atol(line.c_str() + 8) / 1024;
  }
  return 0;
}

// Names that begin alike, as addresses of the Web do, and counts of which many are equal.
class MadeList final : public HistoryList {
 public:
  explicit MadeList(size_t rows)
      : HistoryList(ParseColumns("Name                              |>Count", {{"name"}, {"count", CellKind::kNumber}}),
                    "Made"),
        rows_(rows) {}
  Status Step(size_t rows) override {
    for (; rows > 0 && !Ended(); --rows) {
      const auto n = static_cast<int64_t>(Rows()) * 7919 % 1'000'003;
      const std::string name = "http://from" + std::to_string(n) + ".example";
      Add({std::string_view(name), n % 9973});
    }
    return Status::Ok();
  }
  bool Ended() const override { return Rows() == rows_; }

 private:
  size_t rows_;
};

// A list in its view, as a window has it.
struct Pane {
  Regional regional;
  HistoryModel model{regional, nullptr};
  QTableView view;

  Pane() {
    view.verticalHeader()->hide();
    view.setModel(&model);
    view.resize(1000, 600);
    view.show();
    QApplication::processEvents();
  }
  ~Pane() { view.setModel(nullptr); }
};

void TimeTurns(Pane& pane, const char* what) {
  constexpr HistoryPace kPace;
  int turns = 0;
  double longest = 0;
  long memory = 0;
  const auto begin = Clock::now();
  for (bool more = true; more; ++turns) {
    const auto turn = Clock::now();
    (void)pane.model.StepFor(kPace.ns, kPace.rows_a_step);
    more = pane.model.Wants();
    QApplication::processEvents();
    longest = std::max(longest, MillisecondsSince(turn));
    if (turns % 8 == 0) memory = std::max(memory, MemoryMb());
  }
  std::printf("%-32s %9.2f ms  %4d turns  longest %7.2f ms  %3ld MB\n", what, MillisecondsSince(begin), turns, longest,
              memory);
}

int Sort(size_t rows) {
  Pane pane;
  std::printf("%zu rows; %ld MB before\n", rows, MemoryMb());
  pane.model.Show(std::make_unique<MadeList>(rows));
  pane.model.Want();
  TimeTurns(pane, "read");
  for (const auto& [what, column, order] : {std::tuple("by name", 0, Qt::AscendingOrder),
                                            {"by name, down", 0, Qt::DescendingOrder},
                                            {"by count", 1, Qt::AscendingOrder},
                                            {"by count, down", 1, Qt::DescendingOrder},
                                            {"as it was", -1, Qt::AscendingOrder}}) {
    pane.model.sort(column, order);
    TimeTurns(pane, what);
  }
  return 0;
}

// A scan with its history, as the program does it.
struct Scan {
  QtLoop loop;
  bench::Rig rig;
  RegistryFile registry;
  PosixDataFiles files;
  LmdbIndex index;
  VisitDatabase database;

  explicit Scan(const std::string& folder)
      : registry(rig.files, folder + "registry.ini"),
        database({rig.t, folder, rig.log, rig.clock, registry, rig.exceptions, files, index}) {
    rig.Connect(database, rig.exceptions);
    rig.loop.real = &loop;
  }
  // Each time for a site that the history doesn't know yet.
  double Run(int type, const std::string& log, Day today, int64_t number) {
    SiteRec& site = rig.t.Sites.emplace_back();
    site.Name = "Scan " + std::to_string(number);
    site.Domain = "www.bench.example";
    site.Type = static_cast<LogType>(type);
    site.Unix = site.Type == LogType::kNCSA;
    site.LastLogFile = log;
    site.ScanCount = 1;
    rig.t.Today = today;
    database.FlushDatabase();
    const auto begin = Clock::now();
    if (!rig.scan->ScanSite(1)) return 0;
    database.FlushDatabase();
    return MillisecondsSince(begin);
  }
};

struct Run {
  double ms = 0, filling_ms = 0;
  size_t rows = 0;
};

using MakeList = std::function<std::unique_ptr<HistoryList>(HistoryTables&)>;

Run ScanOnce(const std::string& folder, int type, const std::string& log, Day today, const MakeList& list) {
  Scan scan(folder);
  if (!scan.database.DatabaseReady()) return {};
  ProgramTables tables(scan.database);
  Run run;
  Pane pane;
  QTimer fill;
  QObject::connect(&fill, &QTimer::timeout, &fill, [&] {
    constexpr HistoryPace kPace;
    const auto begin = Clock::now();
    if (!pane.model.HasList() || !pane.model.Wants()) {
      if (pane.model.HasList()) run.rows += pane.model.Seen();
      pane.model.Show(list(tables));
      pane.model.Want();
    }
    (void)pane.model.StepFor(kPace.in_scan_ns, kPace.rows_a_step);
    run.filling_ms += MillisecondsSince(begin);
  });
  if (list) fill.start(0);
  run.ms = scan.Run(type, log, today, Clock::now().time_since_epoch().count());
  fill.stop();
  if (pane.model.HasList()) run.rows += pane.model.Seen();
  return run;
}

int ScanPairs(int type, const std::string& log, Day today, const std::string& folder, int pairs) {
  const std::pair<const char*, MakeList> lists[] = {
      {"top referrers of a site", [](HistoryTables& tables) { return TopReferrers(tables, "Bench"); }},
      {"top downloads of all dates", [](HistoryTables& tables) { return TopDownloads(tables, "", {}, ""); }},
      {"visits of a site", [](HistoryTables& tables) {
         return PreviousVisits(tables, {"", "Bench"});
       }}};
  for (const auto& [what, list] : lists) {
    std::vector<double> ratios;
    for (int pair = 0; pair < pairs; ++pair) {
      Run alone, filled;
      // Whatever favours the second of two favours both alike.
      if (pair % 2 == 0) alone = ScanOnce(folder, type, log, today, nullptr);
      filled = ScanOnce(folder, type, log, today, list);
      if (pair % 2 != 0) alone = ScanOnce(folder, type, log, today, nullptr);
      if (alone.ms == 0 || filled.ms == 0) return 1;
      ratios.push_back(filled.ms / alone.ms);
      std::printf("  alone %8.1f ms, filling %8.1f ms of which %7.1f for %7zu rows: %.3f\n", alone.ms, filled.ms,
                  filled.filling_ms, filled.rows, ratios.back());
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("%s: median %.3f of %d pairs\n", what, ratios[ratios.size() / 2], pairs);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  setenv("QT_STYLE_OVERRIDE", "Fusion", 0);
  QApplication application(argc, argv);
  HugePages::UseForTables();
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "sort") return Sort(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 500'000);
  const int date = argc > 4 ? std::atoi(argv[4]) : 0;
  const auto today = MakeDay(date / 10000, date / 100 % 100, date % 100);
  if (what != "scan" || argc < 6 || !today) {
    std::fprintf(stderr, "history_fill sort [ROWS] | scan TYPE LOG YYYYMMDD FOLDER [PAIRS]\n");
    return 2;
  }
  return ScanPairs(std::atoi(argv[2]), argv[3], *today, std::string(argv[5]) + "/", argc > 6 ? std::atoi(argv[6]) : 5);
}
