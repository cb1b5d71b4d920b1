// Scans one log file, as a first scan, and prints what it took:
//   scan_run TYPE FILE YYYYMMDD|0 [again] [loop] [no-yield] [leave] [history=FOLDER]
//            [exceptions|exceptions-without-mail] [corrected|corrected-without-seek]
// TYPE as in the site file; the date is taken for today, 0 for a day long ago.
//   again     reads the file a second time, with all its visitors on the site already, and tells that time
//   loop      yields turn Qt's loop instead of being counted alone
//   no-yield  the clock does not move during the scan, so it never yields
//   leave     lets all visitors leave in the end, and tells how long that took and what memory is left then
//   exceptions      raises them, and collects their mails unless told not to
//   corrected       with all corrections on; the other form leaves SeekToday off, which would skip old lines
//   history=FOLDER  with the history on, in this folder; the time includes making everything durable
#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

#include "bench/alert_parts.h"
#include "config/registry_store.h"
#include "database/visit_database.h"
#include "platform/free_memory.h"
#include "platform/huge_pages.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "platform/qt_loop.h"

namespace {

struct Options {
  bool again = false, loop = false, no_yield = false, leave = false, exceptions = false, mail = true;
  bool corrected = false, seek = true;
  std::string history;
};

bool ReadOptions(int argc, char** argv, Options& options) {
  for (int i = 4; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "again") {
      options.again = true;
    } else if (word == "loop") {
      options.loop = true;
    } else if (word == "no-yield") {
      options.no_yield = true;
    } else if (word == "leave") {
      options.leave = true;
    } else if (word == "corrected" || word == "corrected-without-seek") {
      options.corrected = true;
      options.seek = word == "corrected";
    } else if (word == "exceptions" || word == "exceptions-without-mail") {
      options.exceptions = true;
      options.mail = word == "exceptions";
    } else if (word.rfind("history=", 0) == 0) {
      options.history = word.substr(8) + "/";
    } else {
      return false;
    }
  }
  return argc >= 4;
}

void AddSite(vantry::bench::Rig& rig, int type, const char* file) {
  vantry::SiteRec& site = rig.t.Sites.emplace_back();
  site.Name = "Bench";
  site.Domain = "www.bench.example";
  site.Type = static_cast<vantry::LogType>(type);
  site.Unix = site.Type == vantry::LogType::kNCSA;
  site.LastLogFile = file;
  site.ExValue130 = site.ExValue161 = 10;
  site.ExValue131 = site.ExValue133 = 25;
  site.ExValue134 = 5;
  site.ScanCount = 1;
}

double Seconds(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

long ResidentKb() {
  long size = 0, resident = 0;
  if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%ld %ld", &size, &resident) != 2) resident = 0;
    std::fclose(file);
  }
  return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

void LetAllLeave(vantry::bench::Rig& rig) {
  const long before = ResidentKb();
  rig.clock.ahead_s = 86'400;
  auto begin = std::chrono::steady_clock::now();
  rig.scan->Timer2Tick();
  const double left = Seconds(begin);
  const long removed = ResidentKb();
  begin = std::chrono::steady_clock::now();
  vantry::ReturnFreeMemory();
  std::printf("leave: visitors=%d seconds=%.3f rss_kb=%ld before, %ld after, %ld returned in %.3f s\n",
              rig.t.Visitors.Count(), left, before, removed, ResidentKb(), Seconds(begin));
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ReadOptions(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: scan_run TYPE FILE YYYYMMDD|0 [again] [loop] [no-yield] [leave] [history=FOLDER] "
                 "[exceptions|exceptions-without-mail] [corrected|corrected-without-seek]\n");
    return 2;
  }
  QCoreApplication application(argc, argv);
  vantry::HugePages::UseForTables();
  vantry::QtLoop qt_loop;
  vantry::bench::Rig rig;
  vantry::RegistryFile registry(rig.files, options.history + "registry.ini");
  vantry::PosixDataFiles data_files;
  vantry::LmdbIndex index;
  vantry::VisitDatabase database(
      {rig.t, options.history, rig.log, rig.clock, registry, rig.exceptions, data_files, index});
  vantry::bench::DoNothingExceptionHistory no_history;
  vantry::bench::AlertParts alerts(
      rig, options.history.empty() ? static_cast<vantry::ExceptionHistory&>(no_history) : database);
  if (!options.mail) rig.settings.EmailSendTo.clear();
  rig.Connect(options.history.empty() ? static_cast<vantry::VisitHistory&>(rig.history) : database,
              options.exceptions ? static_cast<vantry::ExceptionSink&>(alerts.exceptions) : rig.exceptions);
  if (!options.history.empty() && !database.DatabaseReady()) return 1;
  const int date = std::atoi(argv[3]);
  if (date > 0) rig.t.Today = vantry::MakeDay(date / 10000, date / 100 % 100, date % 100).value_or(vantry::Day{});
  if (options.corrected) {
    for (const vantry::CorrectionRow& row : vantry::CorrectionRows()) {
      row.Set(rig.t.Corrected, row.number ? row.standard : 1);
    }
    rig.t.Corrected.SeekToday = options.seek;
  }
  rig.loop.real = options.loop ? &qt_loop : nullptr;
  rig.clock.frozen = options.no_yield;
  AddSite(rig, std::atoi(argv[1]), argv[2]);
  if (options.again) {
    // In a second scan no gap in the log cuts a visit, so everybody is on the site at once.
    rig.t.Site(1).ScanCount = 2;
    if (!rig.scan->ScanSite(1)) return 1;
    rig.t.Site(1).LastReadPos = 0;
    rig.t.Site(1).PagesCounted = 0;
    rig.loop.turns = 0;
  }
  const auto begin = std::chrono::steady_clock::now();
  const bool ok = rig.scan->ScanSite(1);
  database.FlushDatabase();
  const double took = Seconds(begin);
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("ok=%d seconds=%.3f visitors=%d pages=%d turns=%lld rss_kb=%ld exceptions=%d\n", ok ? 1 : 0, took,
              rig.t.Visitors.Count(), rig.t.Site(1).PagesCounted, static_cast<long long>(rig.loop.turns),
              usage.ru_maxrss, rig.t.TotalExceptionCount);
  if (options.leave) LetAllLeave(rig);
  return ok ? 0 : 1;
}
