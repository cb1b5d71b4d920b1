// Second half of SplitLine: from the hit to the counted page.
#include <gtest/gtest.h>

#include "core/exception_numbers.h"
#include "core/lists.h"
#include "core/visitor_rows.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct HitTest : ::testing::Test {
  ScanRig rig;
  HitTest() {
    rig.AddSite();
    rig.Ready();
  }
  VisitorRec& V(const std::string& ip = "10.0.0.1") { return *rig.Visitor(ip); }
};

TEST_F(HitTest, OnlyPagesWithAKnownExtensionCount) {
  struct Case {
    std::string path, page;  // An empty page: not counted.
  };
  for (const Case& c : std::vector<Case>{{"/a.htm", "a.htm"},
                                         {"/a.HTML", "a.HTML"},
                                         {"/a.b.php", "a.b.php"},
                                         {"/x.gif", ""},
                                         {"/style.css", ""},
                                         {"/a.", ""},
                                         {"/a.htm?x=1", ""},
                                         {"/folder/", "/folder/"},
                                         {"/ab", "/ab"},
                                         {"/", "index.html"},
                                         {"x", ""},
                                         {"a.htm", "a.htm"}}) {
    ScanRig one;
    one.AddSite();
    one.Ready();
    one.Hit("10.0.0.1", "11:00:00", c.path);
    const VisitorRec* v = one.Visitor("10.0.0.1");
    EXPECT_EQ(v ? v->Page.View() : std::string_view(), c.page) << c.path;
  }
}

TEST_F(HitTest, RootOfAW3cLogIsNoView) {
  ScanRig w3c;
  w3c.AddSite(LogType::kW3C);
  w3c.Ready();
  w3c.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-URI-STEM");
  w3c.Line("2026-03-05 10:00:00 10.0.0.1 /");
  EXPECT_EQ(w3c.t.Visitors.Count(), 0);
}

TEST_F(HitTest, ExclusionsEndTheLine) {
  struct Case {
    std::string exclude, pages;
    bool excluded;
  };
  for (const Case& c : std::vector<Case>{{"10.0.0.1", "", true},
                                         {"10.0.0.1;", "", true},
                                         {"1.1.1.1;10.0.0.*;", "", true},
                                         {"10.0.0.[2-9]", "", false},
                                         {"10.0.0", "", false},
                                         {"", "admin/*", true},
                                         {"", "ADMIN/*", false},
                                         {"", ";;", false},
                                         {"", "", false}}) {
    rig.t.Site(1).Exclude = c.exclude;
    rig.t.Site(1).ExcludePages = c.pages;
    EXPECT_EQ(ExcludeCheck("10.0.0.1", "admin/a.htm", rig.t.Site(1)), c.excluded) << c.exclude << "|" << c.pages;
  }
  rig.t.Site(1).Exclude = "10.0.0.1;";
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

TEST_F(HitTest, NewVisitorIsFilledAndCounted) {
  rig.t.Hit.CurPos = 500;
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "http://out.example/x", "Mozilla/4.7"));
  const SiteRec& site = rig.t.Site(1);
  EXPECT_EQ(rig.t.TotalVisitorCount, 1);
  EXPECT_EQ(rig.t.TodayVisitorCount, 1);
  EXPECT_EQ(site.TotalVisitors, 1);
  EXPECT_EQ(site.TodayVisitors, 1);
  EXPECT_EQ(site.CurrentVisitors, 1);
  EXPECT_EQ(site.PagesCounted, 1);
  EXPECT_EQ(V().Key(), "1:10.0.0.1");
  EXPECT_EQ(V().VisitNo, 1);
  EXPECT_EQ(V().VisitCount, 1);
  EXPECT_EQ(V().StartPos, 500);
  EXPECT_EQ(V().Pages, 1);
  EXPECT_EQ(V().DNS, "10.0.0.1");
  EXPECT_EQ(V().Referrer, "http://out.example/x");
  EXPECT_EQ(V().UserAgent, "Mozilla/4.7");
  EXPECT_EQ(V().LastClock, rig.clock.Now());
  EXPECT_EQ(rig.history.calls,
            (std::vector<std::string>{"visitor 1:10.0.0.1", "visit 1:10.0.0.1 a.htm", "page 1:10.0.0.1 a.htm"}));
}

TEST_F(HitTest, ReferrerIsKeptWhenItComesFromOutside) {
  struct Case {
    std::string referrer, kept;
  };
  for (const Case& c : std::vector<Case>{{"http://out.example/?q=1", "http://out.example/?q=1"},
                                         {"http://www.own.example/b.htm", ""},
                                         {"http://WWW.OWN.EXAMPLE/b.htm", "http://WWW.OWN.EXAMPLE/b.htm"},
                                         {"http://out.example/?to=www.own.example", ""},
                                         {"-", "-"}}) {
    ScanRig one;
    one.AddSite();
    one.Ready();
    one.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, c.referrer));
    EXPECT_EQ(one.Visitor("10.0.0.1")->Referrer, c.kept) << c.referrer;
  }
}

TEST_F(HitTest, EmptyDomainNeverStoresAReferrer) {
  rig.t.Site(1).Domain = "";
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "http://out.example/"));
  EXPECT_EQ(V().Referrer, "");
}

TEST_F(HitTest, UserNameStandsForAReferrerOfOneCharacter) {
  ScanRig w3c;
  w3c.AddSite(LogType::kW3C);
  w3c.Ready();
  w3c.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-USERNAME CS-URI-STEM CS(REFERER)");
  w3c.Line("2026-03-05 10:00:00 10.0.0.1 anna /a.htm -");
  w3c.Line("2026-03-05 10:00:00 10.0.0.2 - /a.htm -");
  EXPECT_EQ(w3c.Visitor("10.0.0.1")->Referrer, "anna");
  EXPECT_EQ(w3c.Visitor("10.0.0.2")->Referrer, "");
}

TEST_F(HitTest, SamePageInARowIsOneViewButTheHitCounts) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.1", "11:00:30", "/a.htm");
  EXPECT_EQ(V().Pages, 1);
  EXPECT_EQ(FormatTime(SecondOfDay(V().LastHitTime)), "11:00:30");
  EXPECT_EQ(FormatTime(SecondOfDay(V().LastPageTime)), "11:00:00");
  rig.Hit("10.0.0.1", "11:00:31", "/b.htm");
  rig.Hit("10.0.0.1", "11:00:32", "/a.htm");
  EXPECT_EQ(V().Pages, 3);
}

TEST_F(HitTest, SecondPageOfTheSameSecondIsNoView) {
  rig.Hit("10.0.0.1", "11:00:00", "/frame.htm");
  rig.Hit("10.0.0.1", "11:00:00", "/left.htm");
  EXPECT_EQ(V().Pages, 1);
  EXPECT_EQ(V().Page, "frame.htm");
}

TEST_F(HitTest, PageWithoutQueryLeavesTheOldQuery) {
  ScanRig w3c;
  w3c.AddSite(LogType::kW3C).IncludeQuery = true;
  w3c.Ready();
  w3c.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-URI-STEM CS-URI-QUERY");
  w3c.Line("2026-03-05 10:00:00 10.0.0.1 /a.htm x=1");
  EXPECT_EQ(w3c.Visitor("10.0.0.1")->Query, "?x=1");
  w3c.Line("2026-03-05 10:00:01 10.0.0.1 /b.htm -");
  EXPECT_EQ(w3c.Visitor("10.0.0.1")->Query, "?x=1");
}

TEST_F(HitTest, SameAddressOnTwoSitesIsTwoVisitors) {
  rig.AddSite();
  rig.Ready(2);
  rig.Ready(1);
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm"), 2);
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST_F(HitTest, RemovedVisitorDoesNotComeBackWithHitsOfItsLastSecond) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.scan.Visits().MarkForRemoval(V());
  rig.scan.Visits().RemoveInactive();
  rig.Hit("10.0.0.1", "11:00:00", "/b.htm");
  rig.Hit("10.0.0.1", "10:59:00", "/b.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
  rig.Hit("10.0.0.1", "11:00:01", "/b.htm");
  ASSERT_EQ(rig.t.Visitors.Count(), 1);
  EXPECT_EQ(V().VisitNo, 2);
}

TEST_F(HitTest, FirstScanCutsVisitsAtGapsAboveTheLimit) {
  rig.Ready(1, 1);
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.1", "11:10:59", "/b.htm");  // 10 minutes: on the limit.
  EXPECT_EQ(V().VisitNo, 1);
  rig.Hit("10.0.0.1", "11:21:00", "/c.htm");  // 11 minutes.
  EXPECT_EQ(V().VisitNo, 2);
  EXPECT_EQ(rig.t.Site(1).CurrentVisitors, 1);
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 1);
}

TEST_F(HitTest, LaterScansLeaveGapsToTheTimer) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.1", "11:59:00", "/b.htm");
  EXPECT_EQ(V().VisitNo, 1);
}

TEST_F(HitTest, GroupMembersJoinAVisitorOfAnySite) {
  rig.AddSite();
  rig.Ready(2);
  rig.settings.DNSMask[0] = "*.proxy.example";
  rig.settings.DNSMask[1] = "";
  rig.settings.DNSMask[2] = "*.behind-the-gap.example";
  rig.names.names["10.0.0.1"] = "c1.proxy.example";
  rig.history.dns = {{"10.0.0.2", "c2.proxy.example"}, {"10.0.0.3", "x.behind-the-gap.example"}};
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Line(ScanRig::Ncsa("10.0.0.2", "11:00:05", "/b.htm"), 2);
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  EXPECT_EQ(V().Page, "b.htm");
  EXPECT_EQ(V().GroupMask, "*.proxy.example");
  rig.Hit("10.0.0.3", "11:00:06", "/c.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 2) << "an empty mask ends the search";
}

TEST_F(HitTest, GroupIsLeftAloneAtHalfTheInactivityTime) {
  rig.settings.DNSMask[0] = "*.proxy.example";
  rig.names.names["10.0.0.1"] = "c1.proxy.example";
  rig.history.dns = {{"10.0.0.2", "c2.proxy.example"}};
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.clock.Advance(5 * 60);
  rig.Hit("10.0.0.2", "11:05:00", "/b.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST_F(HitTest, TouchAgentMakesNoVisitor) {
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "-", "Vantry"));
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

TEST_F(HitTest, RobotsReaderIsUnknownOnceAndAutoDetectedAfterwards) {
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/robots.txt", 200, "-", "LinkLooker/1"));
  EXPECT_EQ(V().SpiderName, "Unknown");
  EXPECT_TRUE(rig.t.UnknownAgentsDirty);
  ASSERT_EQ(rig.t.UnknownAgents.size(), 1u);
  EXPECT_EQ(rig.exceptions.raised.front(), "1 902 LinkLooker/1 10.0.0.1 0");
  rig.scan.Visits().MarkForRemoval(V());
  rig.scan.Visits().RemoveInactive();
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:30:00", "/a.htm", 200, "-", "LinkLooker/1"));
  EXPECT_EQ(V().SpiderName, "Auto Detected");
  EXPECT_EQ(rig.exceptions.Count(kExUnknownSpider), 1);
}

TEST_F(HitTest, SpiderStandsInBothListsAndIsCounted) {
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "-", "Googlebot/2.1"));
  EXPECT_TRUE(V().IsSpider);
  EXPECT_EQ(V().SpiderName, "Google");
  EXPECT_EQ(rig.t.Site(1).CurrentVisitors, 1);
  EXPECT_EQ(rig.t.Site(1).TotalVisitors, 1);
  EXPECT_EQ(rig.t.Site(1).TodaySpiders, 1);
  EXPECT_EQ(rig.t.spiderGrid.RowCount(), 1u);
  EXPECT_TRUE(rig.alerts.calls.empty()) << "spiders are not tested for alerts";
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:01", "/b.htm", 200, "-", "Googlebot/2.1"));
  EXPECT_EQ(rig.t.TotalSpiderCount, 1);
}

TEST_F(HitTest, NoSpidersKeepsNewSpidersOutAndKnownOnesIn) {
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "-", "Googlebot/2.1"));
  rig.settings.NoSpiders = true;
  rig.Line(ScanRig::Ncsa("10.0.0.2", "11:00:00", "/a.htm", 200, "-", "Googlebot/2.1"));
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:05", "/b.htm", 200, "-", "Googlebot/2.1"));
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  EXPECT_EQ(V().Pages, 2);
}

TEST_F(HitTest, AlertIsTestedBeforePageAndNameAndAddedAfterThePage) {
  rig.t.Alerts.push_back({});
  rig.t.Alerts.back().AlertNo = 7;
  rig.alerts.next = 1;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.alerts.calls, (std::vector<std::string>{"raise 1:10.0.0.1 page '' dns ''", "add 1:10.0.0.1 1"}));
  EXPECT_EQ(V().AlertNo, 7);
}

TEST_F(HitTest, SoundPlaysForANewVisitorOfALaterScanAlone) {
  rig.settings.DefaultSound = "/ding.wav";
  rig.Ready(1, 2);
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_TRUE(rig.notices.sounds.empty());
  rig.Ready(1, 3);
  rig.Hit("10.0.0.2", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.notices.sounds, std::vector<std::string>{"/ding.wav"});
  rig.t.Site(1).ReplayUntilPos = 1000;
  rig.Hit("10.0.0.3", "11:00:00", "/a.htm");
  rig.t.Site(1).ReplayUntilPos = 0;
  rig.settings.NewVisitorSound = false;
  rig.Hit("10.0.0.4", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.notices.sounds.size(), 1u);
}

TEST_F(HitTest, EventsAreRaisedWhileSomebodyListens) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_TRUE(rig.events.calls.empty());
  rig.t.InterfaceCount = 1;
  rig.Hit("10.0.0.2", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.2", "11:00:01", "/b.htm");
  EXPECT_EQ(rig.events.calls, (std::vector<std::string>{"arrived www.own.example 10.0.0.2 a.htm",
                                                        "move www.own.example 10.0.0.2 b.htm"}));
}

TEST_F(HitTest, ReplayMutesPageRowsAndEventsButNotExceptions) {
  rig.t.InterfaceCount = 1;
  rig.t.Site(1).Replaying = true;
  rig.t.Site(1).ReplayUntilPos = 1000;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm", 404);
  rig.Hit("10.0.0.1", "11:00:01", "/x.zip");
  EXPECT_EQ(V().Pages, 2);
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 0u);
  EXPECT_EQ(rig.history.Count("page "), 0);
  EXPECT_EQ(rig.history.Count("visit "), 1);
  EXPECT_EQ(rig.history.Count("visitor "), 1);
  EXPECT_EQ(rig.history.Count("download "), 1);
  EXPECT_EQ(rig.exceptions.Count(404), 1);
  EXPECT_TRUE(rig.events.calls.empty());
  rig.t.Hit.CurPos = 1001;
  rig.Hit("10.0.0.1", "11:00:02", "/c.htm");
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 1u);
}

struct ScoreCase {
  std::string path, method;
  int status;
  std::vector<int> exceptions;
  int score;
  bool download;
};

TEST_F(HitTest, BehaviourRaisesExceptionsAndScores) {
  for (const ScoreCase& c : std::vector<ScoreCase>{{"/a.htm", "GET", 200, {}, 0, false},
                                                   {"/a.htm", "GET", 400, {}, 0, false},
                                                   {"/a.htm", "GET", 401, {401}, 0, false},
                                                   {"/a.htm", "GET", 404, {404}, 0, false},
                                                   {"/x.exe", "GET", 200, {kExExeRequested}, 0, true},
                                                   {"/x.exe", "GET", 400, {kExExeRequested}, 2, true},
                                                   {"/x.dll", "GET", 404, {404, kExDllRequested}, 2, true},
                                                   {"/x.bat", "GET", 404, {404, kExBatRequested}, 0, false},
                                                   {"/x.VBS", "GET", 200, {kExVbsRequested}, 0, false},
                                                   {"/x.zip", "GET", 404, {404}, 0, true},
                                                   {"/../../x.htm", "GET", 200, {kExPathTraversal}, 1, false},
                                                   {"/..%2Fx.htm", "GET", 200, {kExPathTraversal}, 1, false},
                                                   {"/..%2fx.htm", "GET", 200, {}, 0, false},
                                                   {"/.%5c./x.htm", "GET", 200, {kExPathTraversal}, 1, false},
                                                   {"/a.htm", "PUT", 200, {kExPutRequest}, 0, false},
                                                   {"/a.htm", "PUT", 400, {kExPutRequest}, 1, false},
                                                   {"/a.htm", "DELETE", 403, {403, kExDeleteRequest}, 2, false},
                                                   {"/a.htm", "delete", 403, {403}, 0, false}}) {
    ScanRig w3c;
    w3c.AddSite(LogType::kW3C);
    w3c.Ready();
    w3c.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-METHOD CS-URI-STEM SC-STATUS");
    w3c.Line("2026-03-05 10:00:00 10.0.0.1 " + c.method + " " + c.path + " " + std::to_string(c.status));
    std::vector<int> raised;
    for (const std::string& r : w3c.exceptions.raised) raised.push_back(std::stoi(r.substr(2)));
    EXPECT_EQ(raised, c.exceptions) << c.method << " " << c.path << " " << c.status;
    EXPECT_EQ(w3c.Visitor("10.0.0.1")->HackCount, c.score) << c.method << " " << c.path << " " << c.status;
    EXPECT_EQ(w3c.history.Count("download "), c.download ? 1 : 0) << c.path;
  }
}

TEST_F(HitTest, TenNotFoundPagesRaise161AndStartOver) {
  for (int i = 0; i < 20; ++i) {
    rig.Hit("10.0.0.1", "11:00:" + PadNumber(i, 2), "/missing" + std::to_string(i) + ".htm", 404);
  }
  EXPECT_EQ(rig.exceptions.Count(kExManyNotFound), 2);
  EXPECT_EQ(rig.exceptions.Count(404), 20);
  EXPECT_EQ(V().HackCount, 4);
  EXPECT_TRUE(V().HackRaised);
  EXPECT_EQ(rig.exceptions.Count(kExHacker), 1);
  EXPECT_EQ(rig.history.Count("hack "), 1);
  EXPECT_EQ(rig.exceptions.raised.back(), "1 165  10.0.0.1 1");
}

TEST_F(HitTest, LongAndBusyVisitsAreRaisedOnce) {
  for (int i = 0; i <= 27; ++i) rig.Hit("10.0.0.1", "11:00:" + PadNumber(i, 2), "/p" + std::to_string(i) + ".htm");
  EXPECT_EQ(rig.exceptions.raised, std::vector<std::string>{"1 131 26 10.0.0.1 1"});
  rig.Hit("10.0.0.1", "11:04:59", "/q.htm");
  rig.Hit("10.0.0.1", "11:09:59", "/r.htm");  // 5 minutes after the page before.
  rig.Hit("10.0.0.1", "11:10:59", "/s.htm");  // 10 minutes after the start: on the limit.
  rig.Hit("10.0.0.1", "11:11:00", "/t.htm");
  rig.Hit("10.0.0.1", "11:12:00", "/u.htm");
  EXPECT_EQ(rig.exceptions.Count(kExLongVisit), 1);
  EXPECT_EQ(rig.exceptions.Count(kExLongOnAPage), 1);
  EXPECT_EQ(rig.exceptions.Count(kExManyPages), 1);
  EXPECT_EQ(rig.exceptions.raised[1], "1 134 q.htm 10.0.0.1 1") << "the page before is told";
}

TEST_F(HitTest, PageRowsCarryNumberPageAndTime) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.1", "11:00:05", "/b.htm");
  std::vector<std::string> rows;
  const PageRows& pages = rig.t.pageGrid;
  for (const PageRow* row = pages.At(V().LastPageRow); row; row = pages.At(row->previous)) {
    rows.push_back(std::to_string(row->no) + " " + std::string(row->page) + " " + FormatTime(row->second_of_day));
  }
  EXPECT_EQ(rows, (std::vector<std::string>{"2 b.htm 11:00:05", "1 a.htm 11:00:00"}));
}

TEST_F(HitTest, TraceTakesCountedPagesWhileItIsOn) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.t.ShowTraceView = false;
  rig.Hit("10.0.0.1", "11:00:01", "/b.htm");
  ASSERT_EQ(rig.t.TraceGrid.RowCount(), 1u);
  EXPECT_TRUE(Contains(rig.t.TraceGrid.Row(0).text, "/a.htm"));
  EXPECT_EQ(rig.t.TraceGrid.Row(0).site, "Site 1");
}

TEST_F(HitTest, WithoutAWindowNoPagesAndNoTraceAreKept) {
  rig.t.HasWindow = false;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.log.AddTrace(1, "FTP ERROR: none");
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 0u);
  EXPECT_EQ(rig.t.TraceGrid.RowCount(), 0u);
  rig.t.HasWindow = true;
  rig.Hit("10.0.0.1", "11:00:01", "/b.htm");
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 1u);
  EXPECT_EQ(rig.t.TraceGrid.RowCount(), 1u);
}

TEST_F(HitTest, AVisitorThatMovesIsToBeShownAnew) {
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  V().GridDirty = false;
  rig.Hit("10.0.0.1", "11:00:05", "/image.gif");
  EXPECT_FALSE(V().GridDirty);
  rig.Hit("10.0.0.1", "11:00:06", "/b.htm", 404);
  EXPECT_TRUE(V().GridDirty);
  const auto shown = [&](size_t column) { return vs_grid::kList.Text(V(), column, {rig.t, rig.regional}); };
  EXPECT_EQ(shown(vs_grid::kOnPage), "b.htm");
  EXPECT_EQ(shown(vs_grid::kLastTime), "11:00:06");
}

TEST_F(HitTest, MethodStandsForAnAgentThatIsOnlyADash) {
  ScanRig w3c;
  w3c.AddSite(LogType::kW3C);
  w3c.Ready();
  w3c.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-METHOD CS-URI-STEM CS(USER-AGENT)");
  w3c.Line("2026-03-05 10:00:00 10.0.0.1 HEAD /a.htm -");
  EXPECT_EQ(w3c.Visitor("10.0.0.1")->Browser, "HEAD");
}

TEST_F(HitTest, CountryIsLookedUpWhenItsTableExists) {
  rig.t.CountryLookup = true;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(V().CountryCode, "DE");
  EXPECT_EQ(V().CountryName, "Country DE");
}

TEST_F(HitTest, ProxyLogsHaveNoSpiders) {
  ScanRig firewall;
  firewall.AddSite(LogType::kFirewall);
  firewall.Ready();
  firewall.Line("2026-03-05 09:00:00 DROP GOOGLE 1.2.3.4 10.0.0.9 3000 135 48 S 1 0 6400 - - -");
  EXPECT_FALSE(firewall.Visitor("10.0.0.9")->IsSpider);
}

}  // namespace
}  // namespace vantry
