// What QuietReplay costs: a mark for each exception that has an act, and reading today's rows when the tables are
// opened.
//   read_again FOLDER ROWS   fills Exceptions and Downloads of an empty FOLDER with that many rows of today each
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "alerts/acted_marks.h"
#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "database/visit_database.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

struct Base {
  vantry::bench::Rig rig;
  std::string folder;
  vantry::RegistryFile registry;
  vantry::PosixDataFiles files;
  vantry::LmdbIndex index;
  vantry::VisitDatabase database;
  explicit Base(const std::string& path)
      : folder(path),
        registry(rig.files, path + "registry.ini"),
        database({rig.t, folder, rig.log, rig.clock, registry, rig.exceptions, files, index}) {
    vantry::SiteRec& site = rig.t.Sites.emplace_back();
    site.Name = "Bench";
    rig.t.Today = vantry::DayOf(rig.clock.Now());
  }
};

void Fill(const std::string& folder, int rows) {
  Base base(folder);
  if (!base.database.DatabaseReady()) std::exit(1);
  const vantry::LogTime midnight = vantry::MakeLogTime(base.rig.t.Today, 0);
  vantry::VisitorRec v;
  v.Site = 1;
  v.VisitCount = 1;
  for (int i = 0; i < rows; ++i) {
    v.IP = "10." + std::to_string(i % 200) + "." + std::to_string(i % 37) + ".1";
    v.Page = "file" + std::to_string(i) + ".zip";
    v.LastPageTime = {midnight.s + i % 80'000};
    base.database.AddExceptionToDatabase({"Bench: ", v.LastPageTime, 404, v.IP, 1, v.Page});
    base.database.AddDownload(v);
  }
  base.database.CloseDatabase();
}

void Open(const std::string& folder, bool corrected) {
  Base base(folder);
  base.rig.t.Corrected.QuietReplay = corrected;
  const auto begin = Clock::now();
  if (!base.database.DatabaseReady()) std::exit(1);
  std::printf("open %s: seconds=%.4f\n", corrected ? "with QuietReplay" : "classic", Since(begin));
  base.rig.t.Closing = true;
  base.database.CloseDatabase();
}

void Mark(const std::string& folder, bool acts) {
  constexpr int kCount = 1'000'000;
  Base base(folder);
  vantry::ActedMarks marks(base.rig.t, folder, base.files, base.rig.log);
  base.rig.t.Site(1).ReadOnce = true;
  const int64_t now = base.rig.clock.Now().s;
  const auto begin = Clock::now();
  for (int i = 0; i < kCount; ++i) (void)marks.Next(1, {now + i / 10}, acts);
  std::printf("mark %s: ns_each=%.0f\n", acts ? "with an act" : "without", Since(begin) * 1e9 / kCount);
}

}  // namespace

int main(int argc, char** argv) {
  const int rows = argc == 3 ? std::atoi(argv[2]) : 0;
  if (rows < 1) {
    std::fprintf(stderr, "usage: read_again FOLDER ROWS\n");
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  for (const bool acts : {true, false, true, false}) Mark(folder, acts);
  Fill(folder, rows);
  for (const bool corrected : {false, true, false, true, false, true}) Open(folder, corrected);
  return 0;
}
