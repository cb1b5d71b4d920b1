// Names of visitors through whole hits, with name servers in memory.
#include "scan/resolver_queue.h"

#include <gtest/gtest.h>

#include "core/lists.h"
#include "core/visitor_rows.h"
#include "support/fake_resolver.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct ResolverQueueTest : ::testing::Test {
  ScanRig rig;
  LiveTables& t = rig.t;
  FakeResolver resolver;
  ScanContext context{t,        rig.settings, rig.regional,   rig.log,    rig.clock,   rig.files, rig.loop, rig.notices,
                      rig.view, rig.events,   rig.exceptions, rig.alerts, rig.history, queue,     rig.ftp,  rig.daily};
  ResolverQueue queue{context, resolver};
  ScanCycle scan{context, [] { return true; }, [](int16_t) { return 0; }};

  ResolverQueueTest() {
    AddSite();
    AddSite();
  }
  void AddSite() {
    rig.AddSite();
    t.Site(t.SiteCount()).ScanCount = 3;
    t.Site(t.SiteCount()).CaughtUp = true;
  }
  // A hit of this address on the site; its visitor.
  VisitorRec& Hit(const std::string& ip, int16_t site = 1, const std::string& time = "11:00:00") {
    scan.Hits().SetLayout(site);
    scan.Hits().SplitLine(ScanRig::Ncsa(ip, time, "/a.htm"), site);
    EXPECT_NE(t.Visitors.Lookup(site, ip), nullptr);
    return *t.Visitors.Lookup(site, ip);
  }
  void End(VisitorRec& v) {
    scan.Visits().MarkForRemoval(v);
    scan.Visits().RemoveInactive();
  }
  std::string Shown(const VisitorRec& v) { return vs_grid::kList.Text(v, vs_grid::kDns, {t, rig.regional}); }
  AlertRow& AddAlert(std::string_view dns) {
    AlertRow row;
    row.dns = dns;
    t.logGrid.Add(std::move(row));
    return *(t.logGrid.end() - 1);
  }
  SpiderRow& AddSpiderRow(std::string_view dns) {
    SpiderRow row;
    row.dns = dns;
    t.spiderGrid.Add(std::move(row));
    return *(t.spiderGrid.end() - 1);
  }
  // The last text of the status item.
  std::string DnsStatus() const {
    for (auto call = rig.view.calls.rbegin(); call != rig.view.calls.rend(); ++call) {
      if (StartsWith(*call, "dns ")) return call->substr(4);
    }
    return "<never set>";
  }
};

TEST_F(ResolverQueueTest, StoredNameIsTakenAndNothingIsAsked) {
  rig.history.dns["10.0.0.1"] = "stored.example";
  const VisitorRec& v = Hit("10.0.0.1");
  EXPECT_EQ(v.DNS, "stored.example");
  EXPECT_EQ(v.DNSRequestId, 0);
  EXPECT_FALSE(v.DNSDone);
  EXPECT_TRUE(resolver.started.empty());
  EXPECT_EQ(DnsStatus(), "<never set>");
}

TEST_F(ResolverQueueTest, UnknownAddressStandsUnderItselfWhileItsNameIsAskedFor) {
  const VisitorRec& v = Hit("10.0.0.1");
  EXPECT_EQ(v.DNS, "10.0.0.1");
  EXPECT_EQ(v.DNSRequestId, 1);
  EXPECT_FALSE(v.DNSDone);
  EXPECT_EQ(resolver.started, std::vector<std::string>{"10.0.0.1"});
  EXPECT_EQ(DnsStatus(), "Pending DNS:1");
  Hit("10.0.0.2");
  EXPECT_EQ(DnsStatus(), "Pending DNS:2");
}

TEST_F(ResolverQueueTest, AlertsHearOfANameOnceTheVisitorHasIt) {
  Hit("10.0.0.1");
  Hit("10.0.0.2");
  rig.alerts.calls.clear();
  resolver.Answer(1, "one.example");
  EXPECT_EQ(rig.alerts.calls, std::vector<std::string>{"named 1:10.0.0.1 dns 'one.example'"});
  resolver.Answer(2, "odd", 4);
  EXPECT_EQ(rig.alerts.calls.size(), 1u) << "that is not a name";
}

TEST_F(ResolverQueueTest, BlanksAroundTheAddressAreCut) {
  VisitorRec v;
  v.IP = "  10.0.0.1 ";
  EXPECT_EQ(queue.ResolveVisitor(v), "10.0.0.1");
  EXPECT_EQ(resolver.started, std::vector<std::string>{"10.0.0.1"});
  rig.history.dns["10.0.0.1"] = "stored.example";
  EXPECT_EQ(queue.ResolveVisitor(v), "stored.example");
}

TEST_F(ResolverQueueTest, SwitchedOffNothingButStoredNamesCount) {
  rig.settings.ReverseDNS = false;
  rig.history.dns["10.0.0.2"] = "stored.example";
  EXPECT_EQ(Hit("10.0.0.1").DNS, "10.0.0.1");
  EXPECT_EQ(Hit("10.0.0.2").DNS, "stored.example");
  EXPECT_TRUE(resolver.started.empty());
  EXPECT_EQ(DnsStatus(), "<never set>");
}

TEST_F(ResolverQueueTest, RequestThatIsNotStartedLeavesNoTrace) {
  const VisitorRec& host = Hit("client.example");
  EXPECT_EQ(host.DNS, "client.example") << "some servers log names; those are not looked up";
  EXPECT_EQ(host.DNSRequestId, 0);
  resolver.refuses = true;
  EXPECT_EQ(Hit("10.0.0.1").DNSRequestId, 0);
  EXPECT_EQ(DnsStatus(), "<never set>");
}

TEST_F(ResolverQueueTest, HundredAndFirstAddressGetsNoRequestForItsWholeVisit) {
  for (int i = 1; i <= 101; ++i) Hit("10.0.0." + std::to_string(i));
  EXPECT_EQ(resolver.started.size(), 100u);
  EXPECT_EQ(DnsStatus(), "Pending DNS:100");
  VisitorRec& last = *t.Visitors.Lookup(1, "10.0.0.101");
  EXPECT_EQ(last.DNS, "10.0.0.101");
  EXPECT_EQ(last.DNSRequestId, 0);
  while (resolver.AnswerNext([](const std::string& ip) { return "host-" + ip.substr(7) + ".example"; })) {
  }
  EXPECT_EQ(t.Visitors.Lookup(1, "10.0.0.100")->DNS, "host-100.example");
  Hit("10.0.0.101", 1, "11:00:01");
  EXPECT_EQ(last.DNS, "10.0.0.101") << "a later view asks for nothing";
  EXPECT_EQ(resolver.started.size(), 100u);
  End(last);
  Hit("10.0.0.101", 1, "11:00:02");
  EXPECT_EQ(resolver.started.size(), 101u) << "the next visit asks";
}

TEST_F(ResolverQueueTest, PlaceOfAnAnsweredRequestIsFreeAgain) {
  for (int i = 1; i <= 100; ++i) Hit("10.0.0." + std::to_string(i));
  resolver.Answer(50, "");
  EXPECT_NE(Hit("10.0.1.1").DNSRequestId, 0);
  EXPECT_EQ(Hit("10.0.1.2").DNSRequestId, 0);
}

TEST_F(ResolverQueueTest, AnswerNamesTheVisitorEverywhere) {
  t.InterfaceCount = 1;
  VisitorRec& v = Hit("10.0.0.1");
  const AlertRow& alert = AddAlert(v.DNS);
  const SpiderRow& spider = AddSpiderRow(v.DNS);
  rig.history.calls.clear();
  resolver.Answer(v.DNSRequestId, "one.example");
  EXPECT_EQ(v.DNS, "one.example");
  EXPECT_EQ(v.IP, "10.0.0.1");
  EXPECT_TRUE(v.DNSDone);
  EXPECT_EQ(Shown(v), "one.example");
  EXPECT_EQ(alert.dns, "one.example");
  EXPECT_EQ(spider.dns, "one.example");
  EXPECT_EQ(rig.history.calls, std::vector<std::string>{"visitor 1:10.0.0.1 one.example"})
      << "with the referrer left alone, and no second store of the name";
  EXPECT_EQ(rig.events.calls.back(), "resolved 10.0.0.1 one.example");
  EXPECT_EQ(DnsStatus(), "") << "nothing pending hides the item";
  EXPECT_EQ(t.Visitors.Lookup(1, "10.0.0.1"), &v);
}

TEST_F(ResolverQueueTest, StatusCountsDownWithEachAnswer) {
  for (const char* ip : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) Hit(ip);
  resolver.Answer(2, "two.example");
  EXPECT_EQ(DnsStatus(), "Pending DNS:2");
  resolver.Answer(1, "");
  EXPECT_EQ(DnsStatus(), "Pending DNS:1") << "an answer without a name counts too";
  resolver.Answer(3, "three.example");
  EXPECT_EQ(DnsStatus(), "");
}

TEST_F(ResolverQueueTest, AnswerWithoutANameChangesNothing) {
  t.InterfaceCount = 1;
  VisitorRec& v = Hit("10.0.0.1");
  const AlertRow& alert = AddAlert(v.DNS);
  const auto history = rig.history.calls;
  const auto events = rig.events.calls;
  resolver.Answer(v.DNSRequestId, "", 4, "NXDOMAIN");
  EXPECT_EQ(v.DNS, "10.0.0.1");
  EXPECT_FALSE(v.DNSDone);
  EXPECT_EQ(alert.dns, "10.0.0.1");
  EXPECT_EQ(rig.history.calls, history);
  EXPECT_EQ(rig.events.calls, events);
  EXPECT_EQ(rig.program_log, "");
  EXPECT_EQ(resolver.started.size(), 1u);
  resolver.Answer(v.DNSRequestId, "late.example");
  EXPECT_EQ(v.DNS, "10.0.0.1") << "there is one answer to a request";
}

TEST_F(ResolverQueueTest, SuccessWithoutANameChangesNothingEither) {
  VisitorRec& v = Hit("10.0.0.1");
  resolver.Answer(v.DNSRequestId, "");
  EXPECT_EQ(v.DNS, "10.0.0.1");
  EXPECT_FALSE(v.DNSDone);
}

TEST_F(ResolverQueueTest, FailureThatHasANameMarksTheAddress) {
  t.InterfaceCount = 1;
  VisitorRec& v = Hit("10.0.0.1");
  const AlertRow& alert = AddAlert(v.DNS);
  rig.history.calls.clear();
  resolver.Answer(v.DNSRequestId, "doubtful.example", 2, "broken");
  EXPECT_EQ(v.DNS, "10.0.0.1 ?");
  EXPECT_TRUE(v.DNSDone);
  EXPECT_EQ(Shown(v), "10.0.0.1 ?");
  EXPECT_TRUE(rig.history.calls.empty()) << "neither the visitor nor the name is stored";
  EXPECT_EQ(alert.dns, "doubtful.example");
  EXPECT_EQ(rig.events.calls.back(), "resolved 10.0.0.1 doubtful.example");
  EXPECT_EQ(rig.program_log, "");
  EXPECT_EQ(resolver.started.size(), 1u);
}

TEST_F(ResolverQueueTest, AnswerAfterTheVisitIsStoredAndStillChangesTheRows) {
  t.InterfaceCount = 1;
  VisitorRec& v = Hit("10.0.0.1");
  const int16_t id = v.DNSRequestId;
  const AlertRow& alert = AddAlert(v.DNS);
  const SpiderRow& spider = AddSpiderRow(v.DNS);
  End(v);
  resolver.Answer(id, "one.example");
  EXPECT_EQ(rig.history.calls.back(), "dns 10.0.0.1 one.example");
  EXPECT_EQ(alert.dns, "one.example");
  EXPECT_EQ(spider.dns, "one.example");
  EXPECT_EQ(rig.events.calls.back(), "resolved 10.0.0.1 one.example");
}

TEST_F(ResolverQueueTest, LaterVisitOfTheAddressWaitsForItsOwnAnswer) {
  const int16_t first = Hit("10.0.0.1").DNSRequestId;
  End(*t.Visitors.Lookup(1, "10.0.0.1"));
  VisitorRec& again = Hit("10.0.0.1", 1, "11:20:00");
  ASSERT_NE(again.DNSRequestId, first);
  resolver.Answer(first, "old.example");
  EXPECT_EQ(again.DNS, "10.0.0.1");
  EXPECT_EQ(rig.history.calls.back(), "dns 10.0.0.1 old.example");
  resolver.Answer(again.DNSRequestId, "new.example");
  EXPECT_EQ(again.DNS, "new.example");
}

TEST_F(ResolverQueueTest, TwoSitesWithOneAddressMakeTwoRequestsAndEachAnswerServesItsOwn) {
  VisitorRec& one = Hit("10.0.0.1", 1);
  VisitorRec& two = Hit("10.0.0.1", 2);
  EXPECT_EQ(resolver.started, (std::vector<std::string>{"10.0.0.1", "10.0.0.1"}));
  resolver.Answer(two.DNSRequestId, "two.example");
  EXPECT_EQ(one.DNS, "10.0.0.1");
  EXPECT_EQ(two.DNS, "two.example");
  resolver.Answer(one.DNSRequestId, "one.example");
  EXPECT_EQ(one.DNS, "one.example");
  EXPECT_EQ(two.DNS, "two.example");
}

TEST_F(ResolverQueueTest, VisitorIsFoundAfterTheOthersMoved) {
  for (int i = 1; i <= 90; ++i) Hit("10.0.0." + std::to_string(i));
  VisitorRec& v = *t.Visitors.Lookup(1, "10.0.0.85");
  const int32_t place = v.Number;
  for (int i = 1; i <= 80; ++i) End(*t.Visitors.Lookup(1, "10.0.0." + std::to_string(i)));
  ASSERT_NE(v.Number, place);
  resolver.Answer(v.DNSRequestId, "moved.example");
  EXPECT_EQ(v.DNS, "moved.example");
}

TEST_F(ResolverQueueTest, NumberThatComesAgainNamesNoVisitorOfLongAgo) {
  VisitorRec& old = Hit("10.0.0.1");
  resolver.Answer(old.DNSRequestId, "old.example");
  resolver.next_id = old.DNSRequestId;
  VisitorRec& young = Hit("10.0.0.2");
  ASSERT_EQ(young.DNSRequestId, old.DNSRequestId);
  resolver.Answer(young.DNSRequestId, "young.example");
  EXPECT_EQ(old.DNS, "old.example");
  EXPECT_EQ(old.IP, "10.0.0.1");
  EXPECT_EQ(young.DNS, "young.example");
}

TEST_F(ResolverQueueTest, OnlyTheFirstRowThatShowsTheAddressIsRenamed) {
  VisitorRec& two = Hit("10.0.0.1", 2);
  const AlertRow& named = AddAlert("older.example");
  const AlertRow& other = AddAlert("10.0.0.10");
  const AlertRow& first = AddAlert("10.0.0.1");
  const AlertRow& second = AddAlert("10.0.0.1");
  resolver.Answer(two.DNSRequestId, "two.example");
  EXPECT_EQ(named.dns, "older.example");
  EXPECT_EQ(other.dns, "10.0.0.10");
  EXPECT_EQ(first.dns, "two.example");
  EXPECT_EQ(second.dns, "10.0.0.1");
  resolver.Answer(Hit("10.0.0.1", 1).DNSRequestId, "one.example");
  EXPECT_EQ(first.dns, "two.example");
  EXPECT_EQ(second.dns, "one.example");
}

// The same row as a walk through the whole list finds, over rows as spiders leave them.
TEST_F(ResolverQueueTest, RenamedRowIsTheOneAWalkWouldFind) {
  for (int i = 0; i < 3; ++i) AddSite();
  uint32_t random = 1;
  const auto next = [&random](uint32_t below) { return (random = random * 1664525 + 1013904223) / 65536 % below; };
  for (int step = 0; step < 3'000; ++step) {
    VisitorRec v;
    v.Site = static_cast<int16_t>(1 + next(5));
    v.IP = "10.0.0." + std::to_string(next(20));
    v.DNS = queue.ResolveVisitor(v);
    AddSpider(t, v);
    if (next(3) != 0) continue;
    const SpiderRow* expected = nullptr;
    std::string address;
    resolver.AnswerNext([&](const std::string& ip) {
      for (const SpiderRow& row : t.spiderGrid) {
        if (!expected && row.dns == ip) expected = &row;
      }
      address = ip;
      return "host" + std::to_string(step) + ".example";
    });
    if (expected) {
      ASSERT_EQ(expected->dns, "host" + std::to_string(step) + ".example") << step;
    }
    size_t renamed = 0;
    for (const SpiderRow& row : t.spiderGrid) {
      renamed += row.dns == "host" + std::to_string(step) + ".example" ? 1 : 0;
    }
    ASSERT_EQ(renamed, expected ? 1u : 0u) << step << " " << address;
  }
}

TEST_F(ResolverQueueTest, ListenersHearOfNamesOnlyWhileThereAreSome) {
  VisitorRec& v = Hit("10.0.0.1");
  resolver.Answer(v.DNSRequestId, "one.example");
  EXPECT_TRUE(rig.events.calls.empty());
}

TEST_F(ResolverQueueTest, AnswerThatBreaksOffIsReportedAndTheNextOneCounts) {
  VisitorRec& one = Hit("10.0.0.1");
  VisitorRec& two = Hit("10.0.0.2");
  rig.history.broken = true;
  resolver.Answer(one.DNSRequestId, "one.example");
  EXPECT_TRUE(Contains(rig.program_log, "no memory From IPInfo.RequestComplete")) << rig.program_log;
  rig.history.broken = false;
  resolver.Answer(two.DNSRequestId, "two.example");
  EXPECT_EQ(two.DNS, "two.example");
  EXPECT_TRUE(two.DNSDone);
}

TEST_F(ResolverQueueTest, AnswerInsideAYieldOfTheScanIsTaken) {
  std::string lines;
  for (int i = 0; i < 400; ++i) lines += ScanRig::Ncsa("10.0.0." + std::to_string(i % 50), "11:00:00", "/a.htm") + "\n";
  rig.files.Put("/logs/access.log", lines);
  rig.clock.ms_per_look = 10;
  rig.loop.on_turn = [&] {
    while (resolver.AnswerNext([](const std::string& ip) { return "host" + ip.substr(7) + ".example"; })) {
    }
  };
  t.Site(1).Mask = "access.log";
  ASSERT_TRUE(scan.ScanSite(1));
  ASSERT_GT(rig.loop.turns, 0);
  EXPECT_EQ(resolver.started.size(), 50u);
  t.Visitors.ForEach(
      [](int32_t, VisitorRec& v) { EXPECT_EQ(v.DNS, "host" + std::string(v.IP).substr(7) + ".example"); });
}

TEST_F(ResolverQueueTest, CountryNameIsThatOfTheFirstEqualCode) {
  t.Countries = {{"DE", "Germany"}, {"FR", "France"}, {"DE", "Second Germany"}, {"nl", "Netherlands"}};
  for (const auto& [code, name] : std::vector<std::pair<std::string, std::string>>{
           {"DE", "Germany"}, {"fr", "France"}, {"XX", ""}, {"fR", "France"}, {"", ""}, {"D", ""}, {"NL", ""}}) {
    EXPECT_EQ(queue.CountryName(code), name) << code;
  }
}

TEST_F(ResolverQueueTest, CodeOfTheLastResultIsNotSearchedAgain) {
  t.Countries = {{"DE", "Germany"}, {"FR", "France"}};
  EXPECT_EQ(queue.CountryName("DE"), "Germany");
  t.Countries = {{"DE", "Other"}, {"FR", "Other"}};
  EXPECT_EQ(queue.CountryName("de"), "Germany");
  EXPECT_EQ(queue.CountryName("XX"), "");
  EXPECT_EQ(queue.CountryName("DE"), "Germany") << "a code that is not found leaves the last result";
  EXPECT_EQ(queue.CountryName("FR"), "Other");
  EXPECT_EQ(queue.CountryName("DE"), "Other");
}

}  // namespace
}  // namespace vantry
