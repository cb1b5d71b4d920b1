// The tables on their own: adding pages, finding them, opening and rebuilding, at a number of rows.
//   tables FOLDER ROWS [VISITORS]   fills the Pages table of FOLDER up to ROWS, then measures
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "core/text.h"
#include "database/schema.h"
#include "database/visit_database.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// The program's own memory and what is mapped of files, in MB.
std::string Memory() {
  std::ifstream status("/proc/self/status");
  std::string text;
  for (std::string line; std::getline(status, line);) {
    for (const char* name : {"VmRSS:", "RssAnon:", "RssFile:", "VmHWM:"}) {
      if (line.rfind(name, 0) == 0) {
        text += std::string(name) + std::to_string(std::atol(line.c_str() + std::string(name).size()) / 1024) + "MB ";
      }
    }
  }
  return text;
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
  }
};

// Every visitor in turn sees its next page, as on a busy site; after 20 pages it comes for its next visit.
struct Traffic {
  uint64_t row = 0;
  uint64_t visitors = 0;
  vantry::VisitorRec v;
  void Next() {
    const uint64_t who = row % visitors, turn = row / visitors;
    const uint64_t address = who * 2654435761u % 4294967296u;
    v.Site = 1;
    v.IP = std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
    v.VisitCount = static_cast<int32_t>(turn / 20 + 1);
    v.Pages = static_cast<int16_t>(turn % 20 + 1);
    v.Page = "articles/page-" + std::to_string(row % 977) + ".html";
    v.Status = 200;
    v.LastPageTime.s = 46000LL * 86400 + static_cast<int64_t>(row % 86400);
    ++row;
  }
};

double Add(Base& base, Traffic& traffic, uint64_t count) {
  const auto begin = Clock::now();
  for (uint64_t i = 0; i < count; ++i) {
    traffic.Next();
    base.database.AddPageToDatabase(traffic.v);
  }
  base.database.FlushDatabase();
  return Since(begin);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  const uint64_t wanted = std::strtoull(argv[2], nullptr, 10);
  Traffic traffic;
  traffic.visitors = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 5000;
  std::filesystem::create_directories(folder);
  {
    Base base(folder);
    auto begin = Clock::now();
    if (!base.database.DatabaseReady()) return 1;
    std::printf("open %.3f s, %u rows, %s\n", Since(begin), base.database.VAPG.RowCount(), Memory().c_str());
    traffic.row = base.database.VAPG.RowCount();
    while (traffic.row < wanted) {
      const uint64_t part = std::min<uint64_t>(wanted - traffic.row, 1'000'000);
      const double took = Add(base, traffic, part);
      std::printf("to %" PRIu64 " rows: %.0f rows/s, %s\n", traffic.row, static_cast<double>(part) / took,
                  Memory().c_str());
    }
    begin = Clock::now();
    base.database.CloseDatabase();
    std::printf("close %.3f s\n", Since(begin));
  }
  Base base(folder);
  auto begin = Clock::now();
  if (!base.database.DatabaseReady()) return 1;
  std::printf("open again %.3f s, %s\n", Since(begin), Memory().c_str());
  vantry::Table& t = base.database.VAPG;
  uint64_t seed = 1, found = 0;
  constexpr int kFinds = 200'000;
  begin = Clock::now();
  for (int i = 0; i < kFinds; ++i) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    Traffic one;
    one.visitors = traffic.visitors;
    one.row = (seed >> 20) % wanted;
    one.Next();
    found += t.FindEqual(t.Key(
                 {one.v.IP, "Bench", vantry::PadNumber(one.v.VisitCount, 5), vantry::PadNumber(one.v.Pages, 4)})) == 0;
  }
  std::printf("FindEqual %.2f us, %" PRIu64 " of %d found, %s\n", Since(begin) / kFinds * 1e6, found, kFinds,
              Memory().c_str());
  traffic.row = t.RowCount();
  const double took = Add(base, traffic, 1'000'000);
  std::printf("adding at %" PRIu64 " rows: %.0f rows/s, %s\n", wanted, 1e6 / took, Memory().c_str());
  base.database.CloseDatabase();
}
