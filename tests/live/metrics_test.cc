// The numbers of the program, and what it tells of itself.
#include <gtest/gtest.h>

#include "support/golden.h"
#include "support/live_rig.h"

namespace vantry {
namespace {

// Without the value of a metric that differs in each run.
std::string Without(std::string text, const std::string& metric) {
  const size_t at = text.find("\n" + metric + " ");
  if (at == std::string::npos) return "no " + metric;
  const size_t value = at + metric.size() + 2;
  return text.replace(value, text.find('\n', value) - value, "...");
}

TEST(LiveMetrics, AllByteForByte) {
  LiveRig live;
  live.context.history_rows = [] {
    return std::vector<std::pair<std::string, double>>{{"visits", 17}, {"pages", 5'000'000'000}};
  };
  SiteRec& one = live.t.Site(1);
  one.CurrentVisitors = 3;
  one.TotalVisitors = 1'000;
  one.PagesCounted = 2'147'483'647;
  one.LastReadPos = 101;
  one.LogFileSize = 5'000'000'000;
  one.LastReadDateTime = {live.rig.clock.now.s - 30};
  one.LastScanTime = live.rig.clock.now;
  one.ScanCount = 4;
  one.ScanMs = 1'234;
  SiteRec& two = live.t.Site(2);
  two.Name = "T\xF6 \"two\"\\\n";
  two.Paused = two.WaitsForLog = true;
  live.t.exGrid.Add({{one.LastReadDateTime, 1}, 404, 1, ""});
  live.events->ExceptionRaised("");
  live.t.exGrid.Add({{one.LastReadDateTime, 0}, 180, 2, ""});
  live.events->ExceptionRaised("");
  live.events->ExceptionRaised("");
  const LiveAnswer answer = live.Get("/metrics");
  EXPECT_EQ(answer.status, 200);
  CheckGoldenFile("live/metrics.txt", Without(answer.text, "vantry_resident_memory_bytes"));
}

// Two series of one name would make all of them unreadable.
TEST(LiveMetrics, SitesOfOneNameAreToldApart) {
  LiveRig live;
  live.t.Site(2).Name = "One";
  const std::string text = live.Get("/metrics").text;
  EXPECT_EQ(CountOf(text, "vantry_site_visitors{site=\"One\"}"), 1u);
  EXPECT_EQ(CountOf(text, "vantry_site_visitors{site=\"One #2\"}"), 1u);
  live.t.Site(1).Deleted = true;
  EXPECT_EQ(CountOf(live.Get("/metrics").text, "vantry_site_visitors{"), 1u);
}

TEST(LiveMetrics, NoSitesAndNoEvents) {
  LiveRig live;
  live.t.Sites.clear();
  live.context.events = nullptr;
  const std::string text = live.Get("/metrics").text;
  EXPECT_EQ(CountOf(text, "vantry_site_visitors{"), 0u);
  EXPECT_NE(text.find("vantry_live_streams 0\n"), std::string::npos);
}

TEST(LiveProgram, ByteForByte) {
  LiveRig live;
  live.AddVisitor("192.0.2.1");
  live.t.TodayVisitorCount = 5;
  live.t.Site(2).PagesCounted = 7;
  live.settings.WebAccessPort = 8'004;
  CheckGoldenFile("live/program.json", live.Api("program") + "\n");
  EXPECT_EQ(live.Get("/api/v1/program", "x=1").status, 400);
}

TEST(LiveProgram, ReadyOnceEveryLogWasReadOrCantBe) {
  LiveRig live;
  SiteRec& site = live.t.Site(1);
  const auto status = [&] { return live.Get("/readyz").status; };
  EXPECT_EQ(live.Get("/healthz").status, 200);
  EXPECT_EQ(status(), 200);
  site.ReadOnce = site.CaughtUp = false;
  EXPECT_EQ(status(), 503);
  site.CaughtUp = site.Scanning = true;  // A replay goes on.
  EXPECT_EQ(status(), 503);
  site.Scanning = false;  // The scan has failed.
  EXPECT_EQ(status(), 200);
  site.CaughtUp = false;
  for (bool SiteRec::*flag : {&SiteRec::Paused, &SiteRec::WaitsForLog, &SiteRec::Deleted, &SiteRec::Edited}) {
    site.*flag = true;
    EXPECT_EQ(status(), 200);
    site.*flag = false;
    EXPECT_EQ(status(), 503);
  }
}

}  // namespace
}  // namespace vantry
