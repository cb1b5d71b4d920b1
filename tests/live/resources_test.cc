// Every resource against scripted tables, byte for byte.
#include <set>

#include <gtest/gtest.h>

#include "live/list_query.h"
#include "support/golden.h"
#include "support/live_rig.h"

namespace vantry {
namespace {

// A comma after each object begins a line, so that a difference is found by eye.
std::string Readable(std::string json) {
  for (size_t at = json.find("},{"); at != std::string::npos; at = json.find("},{", at)) json.insert(at + 2, "\n");
  return json + "\n";
}

void FillSites(LiveTables& t, WallTime now) {
  SiteRec& one = t.Site(1);
  one.CurrentVisitors = 3;
  one.TodayVisitors = 40;
  one.TodaySpiders = 5;
  one.TodayAlerts = 2;
  one.TodayExceptions = 7;
  one.TodayDownloads = 1;
  one.PeakToday = 12;
  one.LastLogFile = "/var/log/web/access.log";
  one.LastReadPos = 1'001;
  one.LogFileSize = 1'500;
  one.LastReadDateTime = {now.s - 30};
  one.LastScanTime = {now.s - 1};
  one.ScanCount = 9;
  SiteRec& two = t.Site(2);
  two.Name = "T\xF6 \"two\"\\<b>";
  two.Type = LogType::kW3C;
  two.Paused = true;
}

TEST(LiveResources, Sites) {
  LiveRig live;
  FillSites(live.t, live.rig.clock.now);
  CheckGoldenFile("live/sites.json", Readable(live.Api("sites")));
}

TEST(LiveResources, SitesHaveStates) {
  LiveRig live;
  SiteRec& site = live.t.Site(1);
  const auto state = [&] {
    const std::string text = live.Api("sites", "site=1");
    const size_t at = text.find("\"state\":\"") + 9;
    return text.substr(at, text.find('"', at) - at);
  };
  EXPECT_EQ(state(), "ok");
  site.Scanning = true;
  EXPECT_EQ(state(), "reading");
  site.Scanning = site.ReadOnce = false;
  EXPECT_EQ(state(), "reading");
  site.WaitsForLog = true;
  EXPECT_EQ(state(), "waiting");
  site.Paused = true;
  EXPECT_EQ(state(), "paused");
  site.Sleeping = true;
  EXPECT_EQ(state(), "sleeping");
}

void FillOddVisitors(LiveRig& live) {
  VisitorRec& plain = live.AddVisitor("192.0.2.7", "products/list.html");
  plain.Query = "?a=1&b=\"x\"";
  plain.Referrer = live.t.Visitors.Shared("http://search.example/?q=<script>alert(1)</script>");
  plain.Browser = live.t.Visitors.Shared("Firefox 140");
  plain.UserAgent = live.t.Visitors.Shared("Mozilla/5.0 (X11; Linux)");
  plain.UserName = live.t.Visitors.Shared("anna");
  plain.CountryCode = live.t.Visitors.Shared("DE");
  plain.CountryName = live.t.Visitors.Shared("Germany");
  plain.KnownName = live.t.Visitors.Shared("The boss");
  plain.AlertNo = 3;
  plain.HackCount = 2;
  plain.NotFoundCount = 4;
  live.t.Visitors.ChangeName(plain, "host.example");
  VisitorRec& odd = live.AddVisitor("2001:db8::1", std::string("caf\xE9\n\x1B[31m \xE2\x80\xAE").append(1, '\0'), 2);
  odd.SpiderName = live.t.Visitors.Shared("Spider \xE2\x80\x8F");
  odd.IsSpider = odd.Idle = true;
  odd.UserName = live.t.Visitors.Shared("-");
  live.t.Visitors.ChangeName(odd, "2001:db8::1 ?");
  VisitorRec& unset = live.AddVisitor("100% odd\xFF/../");
  unset.StartTime = unset.LastHitTime = {};
  unset.LastPageTime = {12 * 3'600};  // A time without a day.
  unset.Status = 0;
}

TEST(LiveResources, Visitors) {
  LiveRig live;
  FillOddVisitors(live);
  CheckGoldenFile("live/visitors.json", Readable(live.Api("visitors")));
}

TEST(LiveResources, EmptyTables) {
  LiveRig live;
  const std::string event = std::to_string(live.events->LastId());
  for (const char* list : {"visitors", "pages", "referrers", "countries", "spiders", "alerts", "exceptions"}) {
    EXPECT_EQ(live.Api(list), "{\"items\":[],\"next\":null,\"event\":" + event + "}") << list;
  }
  live.t.Sites.clear();
  EXPECT_EQ(live.Api("sites"), "{\"items\":[],\"next\":null,\"event\":" + event + "}");
}

TEST(LiveResources, LongTextsAreCut) {
  LiveRig live;
  live.AddVisitor("192.0.2.1", std::string(20'000, 'X'));
  EXPECT_EQ(CountOf(live.Api("visitors"), "X"), 10'000u);
}

TEST(LiveResources, OneVisitor) {
  LiveRig live;
  FillOddVisitors(live);
  VisitorRec& v = *live.t.Visitors.Lookup(1, "192.0.2.7");
  live.rig.database->UpdateVisitor(v, false);
  live.rig.database->AddVisitToDatabase(v, "index.html");
  v.Page = "index.html";
  v.LastPageTime = v.StartTime;
  live.rig.database->AddPageToDatabase(v);
  v.Page = "gone.html";
  v.Status = 404;
  v.Pages = 2;
  v.LastPageTime.s += 20;
  live.rig.database->AddPageToDatabase(v);
  CheckGoldenFile("live/visitor.json", Readable(live.Api("visitors/1:192.0.2.7")));
  EXPECT_EQ(live.Get("/api/v1/visitors/1:100%25%20odd%FF/../").status, 200);
  for (const char* key : {"1:192.0.2.8", "2:192.0.2.7", "0:x", "x", "", "99999:1", "1:%4"}) {
    EXPECT_EQ(live.Get(std::string("/api/v1/visitors/") + key).status, 404) << key;
  }
}

TEST(LiveResources, OneVisitorHasPagesOfThisVisitAlone) {
  LiveRig live;
  VisitorRec& v = live.AddVisitor("192.0.2.7", "earlier.html");
  live.rig.database->AddPageToDatabase(v);
  v.Page = "now.html";
  v.VisitCount = 2;
  v.LastPageTime.s += 7;
  live.rig.database->AddPageToDatabase(v);
  const std::string text = live.Api("visitors/1:192.0.2.7");
  EXPECT_EQ(CountOf(text, "earlier"), 0u) << text;
  EXPECT_EQ(CountOf(text, "now.html"), 2u) << text;
}

TEST(LiveResources, OneVisitorHasTheNewestThousandPages) {
  LiveRig live;
  VisitorRec& v = live.AddVisitor("192.0.2.7");
  for (int i = 1; i <= 1'010; ++i) {
    v.Page = "p" + std::to_string(i) + ".html";
    v.Pages = static_cast<int16_t>(i);
    ++v.LastPageTime.s;
    live.rig.database->AddPageToDatabase(v);
  }
  const std::string text = live.Api("visitors/1:192.0.2.7");
  EXPECT_EQ(CountOf(text, "{\"time\""), 1'000u);
  EXPECT_EQ(CountOf(text, "\"p10.html\""), 0u);
  EXPECT_EQ(CountOf(text, "\"p11.html\""), 1u);
}

TEST(LiveResources, CountsOfWhatVisitorsHaveInCommon) {
  LiveRig live;
  for (int i = 0; i < 9; ++i) {
    VisitorRec& v = live.AddVisitor("192.0.2." + std::to_string(i),
                                    i < 5   ? "a.html"
                                    : i < 8 ? "b.html"
                                            : "c.html",
                                    i == 4 ? int16_t{2} : int16_t{1});
    v.LastPageTime.s += i;
    v.Referrer = live.t.Visitors.Shared(i % 2 ? "http://one.example/" : i == 0 ? "" : "http://two.example/\xFF");
    v.CountryCode = live.t.Visitors.Shared(i < 3 ? "DE" : i < 5 ? "NO" : "");
    v.CountryName = live.t.Visitors.Shared(i < 3 ? "Germany" : "");
  }
  CheckGoldenFile("live/counts.json",
                  Readable(live.Api("pages")) + Readable(live.Api("referrers")) + Readable(live.Api("countries")));
  // One row at a time gives the same.
  std::string all;
  for (std::string cursor, list; all.empty() || !cursor.empty(); cursor = NextOf(list)) {
    list = live.Api("pages", "limit=1" + (cursor.empty() ? "" : "&cursor=" + EscapeBytes(cursor)));
    const size_t begin = list.find('[') + 1;
    all += (all.empty() ? "" : ",") + list.substr(begin, list.find(']') - begin);
    ASSERT_LT(all.size(), 10'000u);
  }
  EXPECT_EQ(Readable("{\"items\":[" + all + "],\"next\":null,\"event\":" + std::to_string(live.events->LastId()) + "}"),
            Readable(live.Api("pages")));
}

TEST(LiveResources, ListsOfToday) {
  LiveRig live;
  AlertRec& alert = live.t.Alerts.emplace_back();
  alert.Site = 1;
  alert.AlertNo = 4;
  alert.Name = "A <b>guest</b>";
  for (int i = 0; i < 3; ++i) {
    VisitorRec& v = live.AddVisitor("192.0.2." + std::to_string(i));
    v.SpiderName = live.t.Visitors.Shared("Crawler");
    v.IsSpider = true;
    AddSpider(live.t, v);
    AlertRow row;
    FillDayRow(live.t, v, row);
    row.alert_no = static_cast<int16_t>(4 + i);
    if (i == 1) row.seconds_on_site = 130;
    live.t.logGrid.Add(std::move(row));
    live.t.exGrid.Add({{v.LastPageTime, static_cast<int16_t>(i)}, static_cast<int16_t>(403 + i), i, "Details \x01"});
  }
  live.settings.ExceptionTypes.emplace_back().Number = 404;
  live.settings.ExceptionTypes.back().Description = "Not found";
  // Of yesterday, from a day that has not been closed yet.
  live.t.exGrid.Add({{{live.rig.clock.now.s - kSecondsPerDay}, 1}, 404, 9, "yesterday"});
  CheckGoldenFile("live/today.json",
                  Readable(live.Api("spiders")) + Readable(live.Api("alerts")) + Readable(live.Api("exceptions")));
}

TEST(LiveResources, RatesOfTheLastHour) {
  LiveRig live;
  SiteRec& site = live.t.Site(1);
  for (int i = 0; i < 10; ++i) live.t.Activity.Feed(live.t, {live.rig.clock.now.s - 3'600});
  site.PagesCounted = 7;
  site.CurrentVisitors = 3;
  live.t.Activity.Feed(live.t, {live.rig.clock.now.s - 3'600});
  CheckGoldenFile("live/rates.json", Readable(live.Api("rates")) + Readable(live.Api("rates", "site=2")));
}

TEST(LiveResources, History) {
  LiveRig live;
  live.rig.Visit("192.0.2.1", "10:00:00");
  live.rig.Visit("192.0.2.2", "11:00:00", 2);
  live.rig.Visit("192.0.2.1", "12:00:00", 1, 4);
  live.t.TodayVisitorCount = 3;
  live.t.Site(1).TodayVisitors = 2;
  live.t.Site(1).TodayDownloads = 6;
  std::string all;
  for (const char* query : {"", "site=1", "address=192.0.2.1", "address=192.0.2.1&site=1&from=2026-03-05",
                            "to=2026-03-04", "limit=1", "address=10.0.0.1"}) {
    all += std::string(query) + "\n" + Readable(live.Api("history/visits", query));
  }
  for (const char* query : {"", "site=1", "to=2026-03-01"}) {
    all += std::string(query) + "\n" + Readable(live.Api("history/days", query));
  }
  CheckGoldenFile("live/history.json", all);
  const std::string first = live.Api("history/visits", "limit=2");
  const std::string rest = live.Api("history/visits", "cursor=" + NextOf(first));
  EXPECT_EQ(CountOf(first, "\"date\""), 2u);
  EXPECT_EQ(CountOf(rest, "\"date\""), 1u);
  EXPECT_EQ(NextOf(rest), "");
}

TEST(LiveResources, BadParametersAreNamed) {
  LiveRig live;
  const auto error = [&](const std::string& path, const std::string& query) {
    const LiveAnswer answer = live.Get("/api/v1/" + path, query);
    EXPECT_EQ(answer.status, 400) << path << "?" << query;
    const size_t at = answer.text.find("\"message\":\"") + 11;
    return answer.text.substr(at, answer.text.find(':', at) - at);
  };
  for (const char* path : {"sites", "visitors", "pages", "referrers", "countries", "spiders", "alerts", "exceptions",
                           "rates", "history/visits", "history/days", "events"}) {
    EXPECT_EQ(error(path, "colour=red"), "colour") << path;
    for (const char* site : {"0", "3", "-1", "x", "", "1x", "99999999999999999999"}) {
      EXPECT_EQ(error(path, "site=" + std::string(site)), "site") << path;
    }
  }
  for (const char* path : {"visitors", "exceptions", "history/visits", "sites"}) {
    for (const char* limit : {"0", "1000001", "ten", ""})
      EXPECT_EQ(error(path, "limit=" + std::string(limit)), "limit");
    for (const char* cursor : {"x", "1-2", "", "-"}) EXPECT_EQ(error(path, "cursor=" + std::string(cursor)), "cursor");
  }
  EXPECT_EQ(error("pages", "cursor=" + MakeCursor(live.t, "1:2")), "cursor");
  EXPECT_EQ(error("history/days", "from=2026-02-30"), "from");
  EXPECT_EQ(error("history/visits", "to=5.3.2026"), "to");
  EXPECT_EQ(error("visitors", "country="), "country");
  EXPECT_EQ(error("visitors", "from=2026-01-01"), "from");
  EXPECT_EQ(error("sites", "page=x"), "page");
  EXPECT_EQ(error("events", "after=last"), "after");
  EXPECT_EQ(error("events", "limit=3"), "limit");
  live.t.Site(2).Deleted = true;
  EXPECT_EQ(error("visitors", "site=2"), "site");
}

TEST(LiveResources, Filters) {
  LiveRig live;
  FillOddVisitors(live);
  const auto count = [&](const std::string& query) { return CountOf(live.Api("visitors", query), "\"key\""); };
  EXPECT_EQ(count(""), 3u);
  EXPECT_EQ(count("site=1"), 2u);
  EXPECT_EQ(count("site=2"), 1u);
  EXPECT_EQ(count("address=192.0.2.*"), 1u);
  EXPECT_EQ(count("address=192.0.2"), 0u);
  EXPECT_EQ(count("address=host.e*"), 1u);
  EXPECT_EQ(count("page=products/*"), 1u);
  EXPECT_EQ(count("page=/products/*"), 1u);
  EXPECT_EQ(count("country=de"), 1u);
  EXPECT_EQ(count("country=NO"), 0u);
  EXPECT_EQ(count("spider=1"), 1u);
  EXPECT_EQ(count("spider=0"), 2u);
  EXPECT_EQ(count("spider=Spider*"), 1u);
  EXPECT_EQ(count("spider=0&site=2"), 0u);
  EXPECT_EQ(count("page=[z-a"), 0u);
}

std::string AddressOf(int i, const char* net) {
  return net + std::to_string(i / 250) + "." + std::to_string(i % 250);
}

std::multiset<std::string> KeysIn(const std::string& text) {
  std::multiset<std::string> keys;
  for (size_t at = text.find("\"key\":\""); at != std::string::npos; at = text.find("\"key\":\"", at + 1)) {
    keys.insert(text.substr(at + 7, text.find('"', at + 7) - at - 7));
  }
  return keys;
}

// Whoever stays the whole time comes exactly once, whatever happens between two pieces, or two pages.
TEST(LiveResources, VisitorsComeOnceWhileOthersComeAndGo) {
  for (const bool in_pages : {false, true}) {
    LiveRig live;
    for (int i = 0; i < 2'000; ++i) live.AddVisitor(AddressOf(i, "10.0."));
    int step = 0;
    const auto disturb = [&] {
      for (int k = 0; k < 40 && step < 2'000; ++k, step += 2) {
        const std::string gone = AddressOf(step * 7 % 2'000 / 2 * 2 + 1, "10.0.");  // Every second one leaves.
        if (live.t.Visitors.Find(1, gone) != 0) live.RemoveVisitor(1, gone);
        live.AddVisitor(AddressOf(step, "172.16."));
      }
    };
    std::string text;
    if (in_pages) {
      for (std::string cursor; text.empty() || !cursor.empty();) {
        const std::string list = live.Api("visitors", "limit=97" + (cursor.empty() ? "" : "&cursor=" + cursor));
        text += list;
        cursor = NextOf(list);
        disturb();
      }
    } else {
      HttpReply reply = live.Reply("/api/v1/visitors", "limit=1000000");
      text = Drain(*reply.body, 8'192, disturb);
    }
    ASSERT_GT(step, 1'500);
    const std::multiset<std::string> keys = KeysIn(text);
    for (int i = 0; i < 2'000; i += 2) ASSERT_EQ(keys.count("1:" + AddressOf(i, "10.0.")), 1u) << i << in_pages;
    for (const std::string& key : keys) ASSERT_EQ(keys.count(key), 1u) << key;
  }
}

// A step that finds nothing to write still lets others on in between.
TEST(LiveResources, PiecesEndWithTime) {
  LiveRig live;
  for (int i = 0; i < 1'000; ++i) live.AddVisitor(AddressOf(i, "10.0."));
  live.rig.clock.ms_per_look = 1;
  HttpReply reply = live.Reply("/api/v1/visitors", "address=nobody");
  int pieces = 0;
  const std::string text = Drain(*reply.body, 8'192, [&] { ++pieces; });
  EXPECT_GE(pieces, 1'000 / 64);
  EXPECT_EQ(text.substr(text.find_last_not_of(' ') + 1), "");
  EXPECT_NE(text.find("\"next\":null"), std::string::npos);
}

TEST(LiveTimesTest, OffsetsFollowTheZone) {
  FakeClock clock;
  clock.utc_offset = 3'600;
  const int64_t summer = MakeDay(2026, 3, 29)->n * kSecondsPerDay + 3'600;  // UTC.
  clock.changes = {{{summer}, 7'200}};
  LiveTimes times(clock);
  EXPECT_EQ(times.Local(summer + 3'599), "2026-03-29T01:59:59+01:00");
  EXPECT_EQ(times.Local(summer + 7'200), "2026-03-29T03:00:00+02:00");
  EXPECT_EQ(times.Utc({summer - 1}), "2026-03-29T01:59:59+01:00");
  EXPECT_EQ(times.Utc({summer}), "2026-03-29T03:00:00+02:00");
  clock.changes = {{{0}, -12'600}};
  EXPECT_EQ(LiveTimes(clock).Local(summer), "2026-03-29T01:00:00-03:30");
  EXPECT_EQ(times.Local(0), "");
  EXPECT_EQ(times.Local(86'399), "");
  EXPECT_EQ(times.Local(MakeDay(10'000, 1, 1)->n * kSecondsPerDay), "");
  EXPECT_EQ(times.Local(MakeDay(0, 1, 1)->n * kSecondsPerDay), "");
}

}  // namespace
}  // namespace vantry
