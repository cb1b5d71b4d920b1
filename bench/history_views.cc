// What the windows on the history wait for, on tables of many rows.
//   history_views FOLDER [VISITS [PAGES]]   fills the empty FOLDER (by default 1,000,000 visits and ten times the
//                                           pages), or takes the tables that it finds there, and measures; at first
//                                           each question with no file of the tables in memory
// With the visits come as many downloads, half as many referrers, and ten years of ten sites.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "core/text.h"
#include "database/schema.h"
#include "database/visit_database.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "views/history_lists.h"
#include "views/program_tables.h"

namespace {

using namespace vantry;
using Clock = std::chrono::steady_clock;

constexpr int64_t kFirstDay = 46'000;
constexpr int kDays = 365;

double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

long MemoryMb(const char* what) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(what, 0) == 0) return std::atol(line.c_str() + std::string(what).size()) / 1024;
  }
  return 0;
}

struct Base {
  bench::Rig rig;
  std::string folder;
  RegistryFile registry;
  PosixDataFiles files;
  LmdbIndex index;
  VisitDatabase database;
  explicit Base(const std::string& path)
      : folder(path),
        registry(rig.files, path + "registry.ini"),
        database({rig.t, folder, rig.log, rig.clock, registry, rig.exceptions, files, index}) {}
};

std::string AddressOf(uint64_t n) {
  return "10." + std::to_string(n >> 16 & 255) + "." + std::to_string(n >> 8 & 255) + "." + std::to_string(n & 255);
}

void AddVisit(VisitDatabase& db, uint64_t n) {
  const Day day{kFirstDay + static_cast<int64_t>(n % kDays)};
  {
    using namespace visits;
    Table& t = db.VAVISITS;
    t.ClearRecord();
    t.SetText(kIP, AddressOf(n % 100'000));
    t.SetText(kSite, "Bench");
    t.SetText(kVisitNo, PadNumber(static_cast<int64_t>(n / 100'000 + 1), 5));
    t.SetDate(kVisitDate, day);
    t.SetText(kVisitTime, FormatTime(static_cast<int32_t>(n % 86'400)));
    t.SetText(kFirstPage, "index.html");
    t.SetNumber(kPagesSeen, 10);
    t.SetText(kReferrer, "http://from" + std::to_string(n % 1000) + ".example");
    t.Insert();
  }
  using namespace downloads;
  Table& t = db.VADL;
  t.ClearRecord();
  t.SetText(kIP, AddressOf(n % 100'000));
  t.SetText(kSite, "Bench");
  t.SetText(kVisitNo, "00001");
  t.SetDate(kVisitDate, day);
  t.SetText(kVisitTime, "10:00:00");
  t.SetText(kDownload, "tool-" + std::to_string(n * n % 5003) + ".zip");
  t.Insert();
}

void AddReferrer(VisitDatabase& db, uint64_t n) {
  using namespace referrers;
  Table& t = db.VAREF;
  t.ClearRecord();
  t.SetText(kName, "http://from" + std::to_string(n) + ".example");
  t.SetText(kSite, "Bench");
  t.SetDate(kFirstVDate, Day{kFirstDay});
  t.SetDate(kLastVDate, Day{kFirstDay + 1});
  t.SetNumber(kVisits, static_cast<int64_t>(n * 7919 % 9973) + 1);
  t.Insert();
}

void AddPage(VisitDatabase& db, uint64_t n) {
  using namespace pages;
  Table& t = db.VAPG;
  t.ClearRecord();
  t.SetText(kIP, AddressOf(n / 10 % 100'000));
  t.SetText(kSite, "Bench");
  t.SetText(kVisitNo, PadNumber(static_cast<int64_t>(n / 1'000'000 + 1), 5));
  t.SetText(kPageNo, PadNumber(static_cast<int64_t>(n % 10 + 1), 4));
  t.SetText(kPage, "page" + std::to_string(n % 997) + ".html");
  t.Insert();
}

void AddDay(VisitDatabase& db, int site, int day) {
  using namespace day_sum;
  Table& t = db.VADAY;
  t.ClearRecord();
  t.SetText(kSite, "Site " + std::to_string(site));
  t.SetDate(kDated, Day{kFirstDay + day});
  t.SetNumber(kVisitors, 100 + day % 50);
  t.Insert();
}

void Fill(VisitDatabase& db, uint64_t visits, uint64_t pages) {
  const auto begin = Clock::now();
  for (uint64_t n = 0; n < visits; ++n) {
    AddVisit(db, n);
    if (n % 2 == 0) AddReferrer(db, n / 2);
    if (n % 10'000 == 0) db.FlushAll();
  }
  for (uint64_t n = 0; n < pages; ++n) {
    AddPage(db, n);
    if (n % 100'000 == 0) db.FlushAll();
  }
  for (int site = 1; site <= 10; ++site) {
    for (int day = 0; day < 3653; ++day) AddDay(db, site, day);
  }
  db.FlushAll();
  std::printf("filled in %.1f s\n", MillisecondsSince(begin) / 1000);
}

// The system reads the tables from the disk again. Root may empty its cache; others can only ask it to forget these
// files.
void ForgetFiles(const std::string& folder) {
  ::sync();
  if (std::ofstream caches("/proc/sys/vm/drop_caches"); caches << "3" << std::flush) return;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const int fd = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) continue;
    (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    (void)::close(fd);
  }
}

struct Question {
  const char* what;
  size_t most;  // Rows, or all with 0.
  std::function<std::unique_ptr<HistoryList>(HistoryTables&)> list;
};

std::vector<Question> Questions() {
  static constexpr Day kOneDay{kFirstDay + 7};
  return {
      {"previous visits of an address", 0,
       [](HistoryTables& tables) {
         return PreviousVisits(tables, {AddressOf(4711), "Bench"});
       }},
      {"top referrers, first screen", 200, [](HistoryTables& tables) { return TopReferrers(tables, "Bench"); }},
      {"top downloads of a day", 0,
       [](HistoryTables& tables) {
         return TopDownloads(tables, "Bench", {kOneDay, kOneDay}, "a day");
       }},
      {"top downloads of all dates", 0, [](HistoryTables& tables) { return TopDownloads(tables, "Bench", {}, ""); }},
      {"days, ten years of ten sites", 0, [](HistoryTables& tables) { return Days(tables, "", {}); }},
      {"top referrers, all", 0, [](HistoryTables& tables) { return TopReferrers(tables, "Bench"); }},
      {"top referrers of all sites, all", 0, [](HistoryTables& tables) { return TopReferrers(tables, ""); }},
  };
}

// Also the longest of the steps, as nothing else can happen during one.
void Measure(const Question& question, HistoryTables& tables) {
  const long before = MemoryMb("RssAnon:");
  const auto begin = Clock::now();
  const std::unique_ptr<HistoryList> list = question.list(tables);
  double longest = 0;
  while (!list->Ended() && (question.most == 0 || list->Rows() < question.most)) {
    const auto step = Clock::now();
    const Status status = list->Step(256);
    longest = std::max(longest, MillisecondsSince(step));
    if (!status.ok()) {
      std::printf("%s: %s\n", question.what, status.text.c_str());
      return;
    }
  }
  std::printf("  %-32s %9.2f ms  %7zu rows  longest step %7.2f ms  %3ld MB more\n", question.what,
              MillisecondsSince(begin), list->Rows(), longest, MemoryMb("RssAnon:") - before);
}

bool Open(Base& base) {
  if (base.database.DatabaseReady()) return true;
  std::fprintf(stderr, "The tables in %s can't be opened.\n", base.folder.c_str());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "history_views FOLDER [VISITS [PAGES]]\n");
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  const uint64_t visits = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1'000'000;
  const uint64_t pages = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 10 * visits;
  std::filesystem::create_directories(folder);
  {
    Base base(folder);
    VisitDatabase& db = base.database;
    if (!Open(base)) return 1;
    if (db.VAVISITS.RowCount() == 0) Fill(db, visits, pages);
    std::printf("%u visits, %u downloads, %u referrers, %u pages\n", db.VAVISITS.RowCount(), db.VADL.RowCount(),
                db.VAREF.RowCount(), db.VAPG.RowCount());
  }
  std::printf("from the disk\n");
  for (const Question& question : Questions()) {
    Base base(folder);
    if (!Open(base)) return 1;
    ForgetFiles(folder);
    ProgramTables tables(base.database);
    Measure(question, tables);
  }
  Base base(folder);
  if (!Open(base)) return 1;
  ProgramTables tables(base.database);
  for (const char* round : {"one after the other", "again, in memory"}) {
    std::printf("%s\n", round);
    for (const Question& question : Questions()) Measure(question, tables);
  }
  return 0;
}
