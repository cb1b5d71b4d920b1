// What the pages of the port cost to build.
#include <filesystem>

#include <benchmark/benchmark.h>

#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "web/pages.h"

namespace vantry {
namespace {

struct WebRig {
  bench::Rig rig;
  std::string folder = std::filesystem::temp_directory_path() / "vantry_bench_pages/";
  RegistryFile registry{rig.files, folder + "registry.ini"};
  PosixDataFiles files;
  LmdbIndex index;
  VisitDatabase database{{rig.t, folder, rig.log, rig.clock, registry, rig.exceptions, files, index}};
  WebClientTable clients;
  PageContext pages{rig.t,     rig.settings, rig.regional, rig.log,     rig.clock,
                    rig.files, database,     clients,      "/nowhere/", "2.0.000"};

  explicit WebRig(int sites) {
    for (int i = 0; i < sites; ++i) {
      SiteRec& site = rig.t.Sites.emplace_back();
      site.Name = "Site " + std::to_string(i);
      site.Domain = "www.site" + std::to_string(i) + ".example";
      site.WebAccess = true;
      site.LastReadDateTime = {rig.clock.Now().s};
      site.TodayVisitors = site.TodayAlerts = 1000 + i;
    }
    clients[1].LoggedIn = clients[1].AllSites = true;
    clients[1].Path = "/";
  }
  void AddVisitors(int count) {
    rig.t.Site(1).CurrentVisitors = count;
    for (int i = 0; i < count; ++i) {
      VisitorRec& v = *rig.t.Visitors.At(rig.t.Visitors.Add(1, "10." + std::to_string(i)));
      v.VisitNo = i;
      v.VisitCount = 1;
      v.DNS = "host-" + std::to_string(i) + ".dynamic.provider.example";
      v.Page = "articles/2026/page-" + std::to_string(i) + ".html";
      v.Browser = "IE6";
      v.CountryCode = "DE";
      v.Referrer = "http://www.search.example";
      v.StartTime = v.LastHitTime = {rig.clock.Now().s};
    }
  }
};

void BenchSitesTable(benchmark::State& state) {
  WebRig rig(static_cast<int>(state.range(0)));
  size_t bytes = 0;
  for (auto _ : state) bytes = SitesTable(rig.pages, 1).size();
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BenchSitesTable)->Name("SitesTable")->Arg(1)->Arg(100)->Unit(benchmark::kMicrosecond);

void BenchVisitorsTable(benchmark::State& state) {
  WebRig rig(1);
  rig.AddVisitors(static_cast<int>(state.range(0)));
  size_t bytes = 0;
  for (auto _ : state) bytes = VisitorsTable(rig.pages, 1, "www.site0.example").size();
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BenchVisitorsTable)
    ->Name("VisitorsTable")
    ->Arg(100)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);

// One site has all rows but 200, so that the other one's come after them.
void BenchReferrersTable(benchmark::State& state) {
  WebRig rig(2);
  std::filesystem::remove_all(rig.folder);
  std::filesystem::create_directories(rig.folder);
  if (!rig.database.DatabaseReady()) return state.SkipWithError("the tables can't be opened");
  VisitorRec v;
  for (int64_t i = 0; i < state.range(0); ++i) {
    v.Site = i % 5000 == 0 ? int16_t{2} : int16_t{1};
    v.IP = std::to_string(i % 200);
    v.StartTime = {rig.rig.clock.Now().s};
    v.Referrer = "http://from" + std::to_string(i) + ".example/";
    rig.database.UpdateVisitor(v, false);
  }
  rig.database.FlushDatabase();
  for (const char* domain : {"www.site0.example", "www.site1.example"}) {
    if (!ReferrersTable(rig.pages, 1, domain).ends_with("</HTML>\r\n")) state.SkipWithError("the page is cut");
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(ReferrersTable(rig.pages, 1, "www.site0.example"));
    benchmark::DoNotOptimize(ReferrersTable(rig.pages, 1, "www.site1.example"));
  }
  state.SetItemsProcessed(state.iterations() * 2);
  rig.database.CloseDatabase();
  std::filesystem::remove_all(rig.folder);
}
BENCHMARK(BenchReferrersTable)->Name("ReferrersTable")->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantry

BENCHMARK_MAIN();
