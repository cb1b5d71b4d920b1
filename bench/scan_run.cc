// Scans one log file once, as a first scan, and prints what it took:
//   scan_run TYPE FILE YYYYMMDD|0 [again]
// TYPE as in the site file; the date is taken for today, 0 for a day long ago. With `again` the file is read a second
// time, with all its visitors on the site already, and that time is told.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/resource.h>

#include "bench/null_parts.h"

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::fprintf(stderr, "usage: scan_run TYPE FILE YYYYMMDD|0 [again]\n");
    return 2;
  }
  using namespace vantry;
  bench::Rig rig;
  const int date = std::atoi(argv[3]);
  if (date > 0) rig.t.Today = MakeDay(date / 10000, date / 100 % 100, date % 100).value_or(Day{});
  SiteRec& site = rig.t.Sites.emplace_back();
  site.Name = "Bench";
  site.Domain = "www.bench.example";
  site.Type = static_cast<LogType>(std::atoi(argv[1]));
  site.Unix = site.Type == LogType::kNCSA;
  site.LastLogFile = argv[2];
  site.ExValue130 = site.ExValue161 = 10;
  site.ExValue131 = site.ExValue133 = 25;
  site.ExValue134 = 5;
  site.ScanCount = 1;
  if (argc == 5) {
    // No gap in the log cuts a visit, so everybody is on the site at once.
    site.ScanCount = 2;
    if (!rig.scan.ScanSite(1)) return 1;
    rig.t.Site(1).LastReadPos = 0;
    rig.t.Site(1).PagesCounted = 0;
    rig.loop.turns = 0;
  }
  const auto begin = std::chrono::steady_clock::now();
  const bool ok = rig.scan.ScanSite(1);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("ok=%d seconds=%.3f visitors=%d pages=%d turns=%lld rss_kb=%ld\n", ok ? 1 : 0, took.count(),
              rig.t.Visitors.Count(), rig.t.Site(1).PagesCounted, static_cast<long long>(rig.loop.turns),
              usage.ru_maxrss);
  return ok ? 0 : 1;
}
