// Events: what is told, to whom, and from where on.
#include <algorithm>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "live/event_stream.h"
#include "support/golden.h"
#include "support/live_rig.h"

namespace vantry {
namespace {

struct Reader {
  HttpReply reply;
  int woken = 0;

  Reader(LiveRig& live, std::string_view query = "", const std::string& last_event_id = "")
      : reply(live.Reply("/api/v1/events", query, last_event_id)) {
    EXPECT_EQ(reply.status, 200) << reply.text;
    if (reply.body) reply.body->SetWake([this] { ++woken; });
  }
  std::string Read() { return Drain(*reply.body); }
  bool Ended() {
    char byte = 0;
    return reply.body->Fill({&byte, 1}).then == Filled::Then::kEnd;
  }
};

// The names of the events in a text, each with a blank behind it.
std::string Names(const std::string& text) {
  std::string names;
  for (size_t at = text.find("event: "); at != std::string::npos; at = text.find("event: ", at + 1)) {
    names += text.substr(at + 7, text.find('\n', at) - at - 7) + " ";
  }
  return names;
}

// The id of the last event in a text.
uint64_t LastIdIn(const std::string& text) {
  const size_t at = text.rfind("id: ");
  return ReadCount(text.substr(at + 4, text.find('\n', at) - at - 4)).value_or(0);
}

TEST(EventLogTest, EveryKindByteForByte) {
  LiveRig live;
  Reader reader(live);
  VisitorRec& v = live.AddVisitor("192.0.2.7", "a<b>\xFF.html");
  live.events->Came(v);
  live.ShowEvents();
  v.Page = "b.html";
  live.events->Changed(v);
  AlertRow alert;
  FillDayRow(live.t, v, alert);
  alert.alert_no = 2;
  live.t.logGrid.Add(alert);
  live.events->AlertRaised();
  live.t.exGrid.Add({{v.LastPageTime, 1}, 404, 1, "Not found"});
  live.events->ExceptionRaised("192.0.2.7");
  live.t.exGrid.Add({{v.LastPageTime, 0}, 180, 2, "SQL"});
  live.events->ExceptionRaised("");
  live.RemoveVisitor(1, "192.0.2.7");
  live.loop.Tick(EventLog::kSitesMs);
  live.ShowEvents();
  live.loop.Tick(EventLog::kCommentMs);
  CheckGoldenFile("live/events.txt", reader.Read());
}

TEST(EventLogTest, NothingIsSeenBeforeItIsGathered) {
  LiveRig live;
  Reader reader(live);
  (void)reader.Read();
  VisitorRec& v = live.AddVisitor("192.0.2.7", "a.html");
  live.events->Came(v);
  EXPECT_EQ(reader.Read(), "");
  const uint64_t before = live.events->LastId();
  v.Page = "b.html";
  live.events->Changed(v);
  v.Page = "c.html";
  live.events->Changed(v);
  live.ShowEvents();
  EXPECT_EQ(live.events->LastId(), before + 1);
  EXPECT_EQ(reader.woken, 1);
  const std::string text = reader.Read();
  EXPECT_EQ(Names(text), "come ");
  EXPECT_NE(text.find("\"page\":\"c.html\""), std::string::npos) << text;
  v.Page = "d.html";
  live.events->Changed(v);
  live.ShowEvents();
  EXPECT_EQ(Names(reader.Read()), "move ");
}

// Somebody else gets the place in memory of one who left.
TEST(EventLogTest, WhoComesAndLeavesAtOnceIsTold) {
  LiveRig live;
  Reader reader(live);
  live.events->Came(live.AddVisitor("192.0.2.7"));
  live.RemoveVisitor(1, "192.0.2.7");
  live.events->Came(live.AddVisitor("192.0.2.8"));
  live.ShowEvents();
  const std::string text = reader.Read();
  EXPECT_EQ(Names(text), "come leave come ");
  EXPECT_NE(text.find("1:192.0.2.8"), std::string::npos);
}

TEST(EventLogTest, ResumesBehindAnId) {
  LiveRig live;
  std::vector<uint64_t> ids{live.events->LastId()};
  for (int i = 0; i < 4; ++i) {
    live.events->Came(live.AddVisitor("192.0.2." + std::to_string(i)));
    live.ShowEvents();
    ids.push_back(live.events->LastId());
  }
  for (size_t i = 0; i < ids.size(); ++i) {
    const std::string id = std::to_string(ids[i]);
    EXPECT_EQ(CountOf(Reader(live, "after=" + id).Read(), "event: come"), 4 - i);
    EXPECT_EQ(CountOf(Reader(live, "", id).Read(), "event: come"), 4 - i);
    EXPECT_EQ(CountOf(Reader(live, "after=" + std::to_string(ids[0]), id).Read(), "event: come"), 4 - i);
  }
  EXPECT_EQ(Names(Reader(live).Read()), "");
  EXPECT_EQ(LastIdIn(Reader(live).Read()), ids.back());
}

TEST(EventLogTest, UnknownIdsAreTold) {
  LiveRig live;
  const uint64_t begin = live.events->LastId();
  for (size_t i = 0; i < EventLog::kMostEvents + 5; ++i) {
    live.events->Left(live.AddVisitor("192.0.2." + std::to_string(i)));
  }
  live.ShowEvents();
  EXPECT_EQ(live.events->LastId(), begin + EventLog::kMostEvents + 5);
  EXPECT_EQ(live.events->FirstId(), begin + 6);
  for (const uint64_t id : {begin, begin + 4, uint64_t{0}, uint64_t{17}, live.events->LastId() + 1}) {
    const std::string text = Reader(live, "after=" + std::to_string(id)).Read();
    EXPECT_EQ(Names(text), "missed ") << id;
    EXPECT_EQ(LastIdIn(text), live.events->LastId());
  }
  EXPECT_EQ(Names(Reader(live, "", "run-7").Read()), "missed ");
  EXPECT_EQ(CountOf(Reader(live, "after=" + std::to_string(begin + 5)).Read(), "event: leave"), EventLog::kMostEvents);
}

TEST(EventLogTest, IdsOfALaterRunAreHigher) {
  LiveRig live;
  const uint64_t first = live.events->LastId();
  for (int i = 0; i < 100; ++i) live.events->Left(live.AddVisitor("192.0.2." + std::to_string(i)));
  live.ShowEvents();
  live.rig.clock.Advance(1);
  const EventLog later(live.t, live.settings, live.rig.clock, live.loop);
  EXPECT_GT(later.FirstId(), live.events->LastId());
  EXPECT_LT(later.FirstId(), uint64_t{1} << 53);
  EXPECT_GT(first, 0u);
}

TEST(EventLogTest, ASlowReaderIsToldAndDropped) {
  LiveRig live;
  Reader reader(live);
  (void)reader.Read();
  for (int i = 0; i < 3; ++i) live.events->Came(live.AddVisitor("192.0.2." + std::to_string(i)));
  live.ShowEvents();
  // Half of an event is on its way: it ends first.
  std::string bytes(20, '\0');
  ASSERT_EQ(reader.reply.body->Fill({bytes.data(), bytes.size()}).bytes, 20u);
  for (size_t i = 0; i < EventLog::kMostEvents; ++i) {
    live.events->Left(live.AddVisitor("192.1.2." + std::to_string(i)));
  }
  live.ShowEvents();
  const std::string text = bytes + reader.Read();
  EXPECT_EQ(Names(text), "come slow ");
  EXPECT_EQ(CountOf(text, "\n\n"), 2u);
  EXPECT_TRUE(reader.Ended());
}

// The rest of a long text would be held for each slow reader alone.
TEST(EventLogTest, ASlowReaderKeepsNoLongTextForItself) {
  LiveRig live;
  Reader reader(live);
  (void)reader.Read();
  VisitorRec& v = live.AddVisitor("192.0.2.1", std::string(10'000, 'p'));
  v.Query = std::string(10'000, 'q');
  live.events->Came(v);
  live.ShowEvents();
  const std::weak_ptr<const std::string> text = live.events->TextOf(live.events->LastId());
  ASSERT_GT(text.lock()->size(), EventStream::kMostOwnBytes);
  char bytes[100];
  ASSERT_EQ(reader.reply.body->Fill(bytes).bytes, sizeof bytes);
  for (size_t i = 0; i < EventLog::kMostEvents; ++i) {
    live.events->Left(live.AddVisitor("192.1.2." + std::to_string(i)));
  }
  EXPECT_FALSE(text.expired());
  live.ShowEvents();
  EXPECT_TRUE(text.expired());
  EXPECT_EQ(reader.woken, 2);
  EXPECT_EQ(reader.Read(), "");
  EXPECT_TRUE(reader.Ended());
  EXPECT_EQ(Names(Reader(live, "after=" + std::to_string(live.events->FirstId() - 2)).Read()), "missed ");
}

// Texts of a log can be of any length.
TEST(EventLogTest, BytesAreBounded) {
  LiveRig live;
  VisitorRec& v = live.AddVisitor("192.0.2.1", std::string(1u << 20, 'x'));
  const uint64_t begin = live.events->FirstId();
  for (int i = 0; i < 100; ++i) live.events->Left(v);
  live.ShowEvents();
  const uint64_t kept = live.events->LastId() + 1 - live.events->FirstId();
  EXPECT_LE(kept, 65u);
  EXPECT_GE(kept, 60u);
  EXPECT_EQ(live.events->LastId() + 1 - begin, 100u);
}

TEST(EventLogTest, FirstReadingsAndReplaysMakeNoEventsButAreTold) {
  LiveRig live;
  Reader reader(live);
  (void)reader.Read();
  SiteRec& site = live.t.Site(1);
  const auto all = [&] {
    VisitorRec& v = live.AddVisitor("192.0.2.1");
    live.events->Came(v);
    live.events->Changed(v);
    AlertRow alert;
    FillDayRow(live.t, v, alert);
    live.t.logGrid.Add(alert);
    live.events->AlertRaised();
    live.t.exGrid.Add({{v.LastPageTime, 1}, 404, 1, ""});
    live.events->ExceptionRaised("192.0.2.1");
    live.RemoveVisitor(1, "192.0.2.1");
  };
  live.loop.Tick(EventLog::kSitesMs);
  live.ShowEvents();
  (void)reader.Read();
  const auto check = [&](auto& flag, auto on, auto off, const char* what) {
    flag = on;
    all();
    live.loop.Tick(EventLog::kSitesMs);
    live.ShowEvents();
    EXPECT_EQ(CountOf(reader.Read(), "event: missed"), 0u) << what;
    flag = off;
    live.loop.Tick(EventLog::kSitesMs);
    live.ShowEvents();
    const std::string text = reader.Read();
    EXPECT_EQ(CountOf(text, "event: missed"), 1u) << what << text;
    EXPECT_EQ(CountOf(text, "event: come"), 0u) << what;
    live.loop.Tick(EventLog::kSitesMs);
    live.ShowEvents();
    EXPECT_EQ(Names(reader.Read()), "") << what;
  };
  check(site.ReadOnce, false, true, "first reading");
  check(site.Replaying, true, false, "replay");
  check(site.ReplayUntilPos, 7, 0, "replay up to a place");
}

// An empty log, or one that is not there, is scanned without an end of the first reading.
TEST(EventLogTest, WhatComesAfterAScanThatFoundNothingIsNews) {
  LiveRig live;
  Reader reader(live);
  SiteRec& site = live.t.Site(1);
  site.ReadOnce = false;
  site.LastScanTime = live.rig.clock.now;
  const auto come = [&](int scans, int64_t seconds_after) {
    (void)reader.Read();
    site.ScanCount = scans;
    site.LastReadDateTime = {site.LastScanTime.s + seconds_after};
    live.events->Came(live.AddVisitor("192.0.2." + std::to_string(scans) + std::to_string(seconds_after)));
    live.ShowEvents();
    return Names(reader.Read());
  };
  EXPECT_EQ(come(1, 5), "") << "a first scan reads what happened before";
  EXPECT_EQ(come(2, -5), "") << "a log with lines turned up, as when its disk is mounted late";
  EXPECT_EQ(come(2, 5), "come ");
  EXPECT_EQ(come(2, -1), "come ") << "the clocks of program and web server differ by a little";
}

TEST(EventLogTest, FiltersOfEachStream) {
  LiveRig live;
  const std::vector<std::pair<std::string, std::string>> filters = {
      {"", "come come alert exception exception leave leave "},
      {"site=1", "come alert exception leave "},
      {"site=2", "come leave "},
      {"address=192.0.2.1", "come alert exception leave "},
      {"page=b*", "come leave "},
      {"country=DE", "come alert exception leave "},
      {"spider=1", "come leave "},
      {"spider=0", "come alert exception leave "},
      {"spider=Crawl*", "come leave "},
      {"spider=0&site=2", ""}};
  std::vector<std::unique_ptr<Reader>> readers;
  for (const auto& [query, names] : filters) {
    readers.push_back(std::make_unique<Reader>(live, query));
    (void)readers.back()->Read();
  }
  VisitorRec& one = live.AddVisitor("192.0.2.1", "a.html");
  one.CountryCode = live.t.Visitors.Shared("DE");
  live.events->Came(one);
  VisitorRec& two = live.AddVisitor("192.0.2.2", "b.html", 2);
  two.IsSpider = true;
  two.SpiderName = live.t.Visitors.Shared("Crawler");
  live.events->Came(two);
  AlertRow alert;
  FillDayRow(live.t, one, alert);
  live.t.logGrid.Add(alert);
  live.events->AlertRaised();
  live.t.exGrid.Add({{one.LastPageTime, 1}, 404, 1, ""});
  live.events->ExceptionRaised("192.0.2.1");
  live.t.exGrid.Add({{one.LastPageTime, 0}, 180, 1, ""});
  live.events->ExceptionRaised("");
  live.RemoveVisitor(1, "192.0.2.1");
  live.RemoveVisitor(2, "192.0.2.2");
  live.ShowEvents();
  for (size_t i = 0; i < filters.size(); ++i) {
    EXPECT_EQ(readers[i]->woken, filters[i].second.empty() ? 0 : 1) << filters[i].first;
    EXPECT_EQ(Names(readers[i]->Read()), filters[i].second) << filters[i].first;
  }
}

// An exception that names a host is about the line's visitor.
TEST(EventLogTest, AnExceptionKnowsItsVisitor) {
  LiveRig live;
  Reader reader(live);
  VisitorRec& v = live.AddVisitor("192.0.2.1");
  live.t.Hit.HitIP = "192.0.2.1";
  const auto raise = [&](const char* address) {
    live.t.exGrid.Add({{v.LastPageTime, 1}, 404, 1, ""});
    live.events->ExceptionRaised(address);
    live.ShowEvents();
    return CountOf(reader.Read(), "\"key\":\"1:192.0.2.1\"");
  };
  EXPECT_EQ(raise("192.0.2.1"), 1u);
  EXPECT_EQ(raise("host.example"), 0u);
  live.t.Site(1).Scanning = true;
  EXPECT_EQ(raise("host.example"), 1u);
  EXPECT_EQ(raise(""), 0u);
}

// The same key in the event and in the list, also when the visitor has left and rows have gone.
TEST(EventLogTest, TheListOfExceptionsKnowsTheirVisitors) {
  LiveRig live;
  live.rig.clock.now = {live.t.Started.s};
  Reader reader(live);
  const LogTime when = live.AddVisitor("192.0.2.1").LastPageTime;
  live.AddVisitor(std::string(EventLog::kMostKeyBytes, '7'));
  const auto raise = [&](const std::string& address) {
    live.t.exGrid.Add({{when, 1}, 404, 1, ""});
    live.events->ExceptionRaised(address);
  };
  live.t.exGrid.Add({{when, 1}, 404, 1, "before the live page was there"});
  live.t.Site(1).ReadOnce = false;
  raise("192.0.2.1");  // No event, but a row.
  live.t.Site(1).ReadOnce = true;
  raise("192.0.2.1");
  raise("192.0.2.9");
  raise(std::string(EventLog::kMostKeyBytes, '7'));
  live.RemoveVisitor(1, "192.0.2.1");
  live.ShowEvents();
  const auto keys = [](const std::string& text) {
    std::string found;
    for (size_t at = text.find("\"key\":"); at != std::string::npos; at = text.find("\"key\":", at + 1)) {
      found += text.substr(at + 6, text.find_first_of(",}", at) - at - 6) + " ";
    }
    return found;
  };
  EXPECT_EQ(keys(live.Api("exceptions")), "null null \"1:192.0.2.1\" \"1:192.0.2.1\" null ");
  EXPECT_EQ(CountOf(reader.Read(), "\"key\":\"1:192.0.2.1\"}"), 1u);
  live.t.exGrid.Clear();
  raise("");
  live.AddVisitor("192.0.2.3");
  raise("192.0.2.3");
  EXPECT_EQ(keys(live.Api("exceptions")), "\"1:192.0.2.3\" null ");
  live.context.events = nullptr;
  EXPECT_EQ(keys(live.Api("exceptions")), "null null ");
}

TEST(EventLogTest, SitesAreToldOnceASecondAndOnlyWhenTheyChange) {
  LiveRig live;
  {
    Reader reader(live);
    const auto tick = [&] {
      live.loop.Tick(EventLog::kSitesMs);
      live.ShowEvents();
      return Names(reader.Read());
    };
    EXPECT_EQ(tick(), "site site ");
    EXPECT_EQ(tick(), "");
    live.t.Site(2).TodayVisitors = 4;
    live.t.Site(2).LastScanTime.s += 5;
    EXPECT_EQ(tick(), "site ");
    live.t.Site(2).LastScanTime.s += 5;
    EXPECT_EQ(tick(), "");
    live.t.Site(1).Deleted = true;
    EXPECT_EQ(tick(), "");
  }
  // Without a reader nobody looks.
  live.t.Site(2).TodayVisitors = 5;
  live.loop.Tick(EventLog::kSitesMs);
  live.ShowEvents();
  EXPECT_EQ(live.events->Streams(), 0u);
  EXPECT_EQ(Names(Reader(live, "after=" + std::to_string(live.events->LastId() - 1)).Read()), "site ");
}

TEST(EventLogTest, StreamsOutliveTheLog) {
  LiveRig live;
  Reader reader(live);
  live.events.reset();
  live.t.Live = nullptr;
  (void)reader.Read();
  EXPECT_TRUE(reader.Ended());
}

TEST(EventLogTest, ManyReadersAreWokenInTurns) {
  LiveRig live;
  std::vector<std::unique_ptr<Reader>> readers;
  for (int i = 0; i < 120; ++i) readers.push_back(std::make_unique<Reader>(live));
  const auto woken = [&] {
    return std::count_if(readers.begin(), readers.end(), [](const auto& reader) { return reader->woken > 0; });
  };
  live.events->Came(live.AddVisitor("192.0.2.1"));
  live.ShowEvents();
  EXPECT_EQ(woken(), 50);
  live.loop.Tick(0);
  EXPECT_EQ(woken(), 100);
  readers.erase(readers.begin());  // The places of all others change.
  live.loop.Tick(0);
  live.loop.Tick(0);
  live.loop.Tick(0);
  EXPECT_EQ(woken(), 119);
  readers.clear();
  live.loop.Tick(0);
  live.events->Came(live.AddVisitor("192.0.2.2"));
  live.ShowEvents();
}

// Any amount of room gives the same bytes.
TEST(EventLogTest, RoomDoesNotMatter) {
  LiveRig live;
  const std::string after = "after=" + std::to_string(live.events->LastId());
  for (int i = 0; i < 5; ++i) live.events->Came(live.AddVisitor("192.0.2." + std::to_string(i)));
  live.ShowEvents();
  Reader one(live, after), two(live, after);
  EXPECT_EQ(Drain(*one.reply.body, 1), Drain(*two.reply.body, 100'000));
}

}  // namespace
}  // namespace vantry
