// The pieces of the scan on their own.
#include <filesystem>

#include <benchmark/benchmark.h>

#include "bench/alert_parts.h"
#include "config/registry_store.h"
#include "core/wildcard.h"
#include "database/visit_database.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"

namespace vantry {
namespace {

constexpr std::string_view kPageLine =
    "10.1.2.3 - - [10/Oct/2026:13:55:36 +0000] \"GET /articles/page-17.html HTTP/1.1\" 200 2326 "
    "\"http://search.example/find?q=words\" \"Mozilla/5.0 (X11; Linux x86_64; rv:102.0) Gecko/20100101\"";

SiteRec& AddSite(bench::Rig& rig) {
  SiteRec& site = rig.t.Sites.emplace_back();
  site.Domain = "www.bench.example";
  site.Type = LogType::kNCSA;
  site.ExValue131 = site.ExValue130 = 32767;
  site.ScanCount = 2;
  rig.scan->Hits().SetLayout(1);
  return site;
}

// A line of an earlier day: dropped at the date test.
void SplitLine_OldLine(benchmark::State& state) {
  bench::Rig rig;
  AddSite(rig);
  for (auto _ : state) benchmark::DoNotOptimize(rig.scan->Hits().SplitLine(kPageLine, 1));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SplitLine_OldLine);

void SplitLine_Image(benchmark::State& state) {
  bench::Rig rig;
  AddSite(rig);
  rig.t.Today = *MakeDay(2026, 10, 10);
  const std::string line =
      "10.1.2.3 - - [10/Oct/2026:13:55:36 +0000] \"GET /images/picture-17.gif HTTP/1.1\" 200 2326 \"-\" "
      "\"Mozilla/5.0\"";
  for (auto _ : state) benchmark::DoNotOptimize(rig.scan->Hits().SplitLine(line, 1));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SplitLine_Image);

// A counted page of a known visitor, with the trace on.
void SplitLine_Page(benchmark::State& state) {
  bench::Rig rig;
  AddSite(rig);
  rig.t.Today = *MakeDay(2026, 10, 10);
  std::string line(kPageLine);
  const size_t second = line.find(":36 ") + 1, page = line.find("17.html");
  int n = 0;
  for (auto _ : state) {
    ++n;
    line[second] = static_cast<char>('0' + n / 10 % 6);
    line[second + 1] = static_cast<char>('0' + n % 10);
    line[page] = static_cast<char>('0' + n % 10);
    benchmark::DoNotOptimize(rig.scan->Hits().SplitLine(line, 1));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SplitLine_Page);

// A line of an address that is not a visitor and joins the last of many through a DNS group.
void SplitLine_GroupMember(benchmark::State& state) {
  struct ProxyNames final : bench::DoNothingHistory {
    bool known = false;
    std::string LookupDNS(std::string_view, VisitorRec*) override { return known ? "99.proxy.example" : std::string(); }
  } history;
  bench::Rig rig;
  rig.Connect(history, rig.exceptions);
  AddSite(rig);
  rig.t.Today = *MakeDay(2026, 10, 10);
  // The visitors keep their addresses as names, so the mask fits that of the last one.
  rig.settings.DNSMask = {"99.*"};
  const std::string rest(kPageLine.substr(8));
  for (int64_t i = 1; i < state.range(0); ++i) {
    const std::string ip =
        "10." + std::to_string(i / 65536 % 256) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
    rig.scan->Hits().SplitLine(ip + rest, 1);
  }
  rig.scan->Hits().SplitLine("99.1.2.3" + rest, 1);
  history.known = true;
  const std::string line = "88.1.2.3" + rest;
  for (auto _ : state) benchmark::DoNotOptimize(rig.scan->Hits().SplitLine(line, 1));
  if (rig.t.Visitors.Count() != state.range(0)) state.SkipWithError("the line joined nobody");
}
BENCHMARK(SplitLine_GroupMember)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

// Ends half of the visitors in one pass; the argument is their number before.
void RemoveInactive_Half(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    bench::Rig rig;
    AddSite(rig);
    rig.t.Today = *MakeDay(2026, 10, 10);
    for (int64_t i = 0; i < state.range(0); ++i) {
      const std::string ip =
          "10." + std::to_string(i / 65536 % 256) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
      rig.scan->Hits().SplitLine(ip + std::string(kPageLine.substr(8)), 1);
    }
    int64_t n = 0;
    rig.t.Visitors.ForEach([&](int32_t, VisitorRec& v) {
      if (n++ % 2 == 0) rig.scan->Visits().MarkForRemoval(v);
    });
    state.ResumeTiming();
    rig.scan->Visits().RemoveInactive();
    benchmark::DoNotOptimize(rig.t.Visitors.Count());
    state.PauseTiming();
    if (rig.t.Visitors.Count() != state.range(0) / 2) state.SkipWithError("not half of the visitors left");
    state.ResumeTiming();
  }
}
BENCHMARK(RemoveInactive_Half)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(5);

void Like_HostMask(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Like("cache-ab12.proxy.provider.example", "cache-*.proxy.*.example"));
}
BENCHMARK(Like_HostMask);

struct NoTables final : ExceptionHistory {
  bool DatabaseReady() override { return true; }
  void AddExceptionToDatabase(const ExceptionRecord&) override {}
};

void AddException_TypeThatIsOff(benchmark::State& state) {
  bench::Rig rig;
  NoTables tables;
  bench::AlertParts parts(rig, tables);
  AddSite(rig);
  for (ExceptionType& type : rig.settings.ExceptionTypes) type.Raise = false;
  for (auto _ : state) {
    benchmark::DoNotOptimize(parts.exceptions.AddException(1, 505, {1}, "page.htm", "10.0.0.1", 1));
  }
}
BENCHMARK(AddException_TypeThatIsOff);

// With its row in the list and its record on the disk, without mail.
void AddException_WithRecord(benchmark::State& state) {
  const std::string folder = "/tmp/vantry-bench/exceptions/";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  bench::Rig rig;
  RegistryFile registry(rig.files, folder + "registry.ini");
  PosixDataFiles data_files;
  LmdbIndex index;
  VisitDatabase database({rig.t, folder, rig.log, rig.clock, registry, rig.exceptions, data_files, index});
  bench::AlertParts parts(rig, database);
  AddSite(rig).Name = "Bench";
  for (ExceptionType& type : rig.settings.ExceptionTypes) type.Email = false;
  for (auto _ : state) {
    benchmark::DoNotOptimize(parts.exceptions.AddException(1, 404, {1}, "page.htm", "host.example", 1));
  }
  database.CloseDatabase();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AddException_WithRecord)->Iterations(1'000'000);

// 50 alerts with 50 masks each, of which none fits: either the ends tell, or all of the address has to be looked at.
void RaiseAlert_NoneOfMany(benchmark::State& state) {
  bench::Rig rig;
  NoTables tables;
  bench::AlertParts parts(rig, tables);
  AddSite(rig);
  for (int i = 0; i < 50; ++i) {
    AlertRec& alert = rig.t.Alerts.emplace_back();
    alert.Site = 1;
    alert.Enabled = alert.EngineAll = true;
    for (int j = 0; j < 50; ++j) {
      const std::string number = std::to_string(1000 + i * 50 + j);
      alert.DNS.push_back(state.range(0) ? "192.*." + number + ".*" : "*.host-" + number + ".example");
    }
  }
  VisitorRec visitor;
  visitor.Site = 1;
  visitor.IP = "192.168.100.200";
  visitor.Referrer = "http://www.search.example/find?q=some+other+words&language=en&page=3";
  for (auto _ : state) benchmark::DoNotOptimize(parts.alerts.RaiseAlert(visitor));
}
BENCHMARK(RaiseAlert_NoneOfMany)->Arg(0)->Arg(1);

}  // namespace
}  // namespace vantry

BENCHMARK_MAIN();
