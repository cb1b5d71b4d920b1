// Reports of full lists, and what a tick costs for the activity of many sites.
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "core/tables.h"
#include "core/view_summary.h"
#include "notify/grid_to_html.h"
#include "notify/list_grid.h"
#include "platform/posix_files.h"

namespace vantry {
namespace {

// The list of alerts with this many rows, as a file.
void GridToHTML_Alerts(benchmark::State& state) {
  LiveTables t;
  const Regional regional;
  t.Sites.emplace_back().Name = "Shop";
  for (int i = 0; i < state.range(0); ++i) {
    AlertRow row;
    row.site = 1;
    row.visit_no = i;
    row.dns = "host" + std::to_string(i) + ".example";
    row.page = "/page.html";
    row.referrer = "http://from.example/?a=1&b=2";
    row.when = {3'981'000'000 + i};
    t.logGrid.Add(row);
  }
  PosixFiles files;
  const std::string path = std::filesystem::temp_directory_path() / "vantry_bench_report.htm";
  for (auto _ : state) {
    const Status status = GridToHTML(*GridOfView(kViewAlerts, {t, regional}), files, path, {"Alerts", "Shop"});
    if (!status.ok()) state.SkipWithError(status.text.c_str());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
  std::filesystem::remove(path);
}
BENCHMARK(GridToHTML_Alerts)->Arg(2'000)->Arg(20'000)->Arg(200'000)->Unit(benchmark::kMillisecond);

void Activity_Feed(benchmark::State& state) {
  LiveTables t;
  t.Sites.resize(static_cast<size_t>(state.range(0)));
  for (SiteRec& site : t.Sites) site.ReadOnce = true;
  UtcTime now;
  for (auto _ : state) {
    now.s += 2;
    ++t.Sites[0].PagesCounted;
    t.Activity.Feed(t, now);
  }
}
BENCHMARK(Activity_Feed)->Arg(10)->Arg(1'000);

}  // namespace
}  // namespace vantry

BENCHMARK_MAIN();
