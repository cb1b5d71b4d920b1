#include "web/automation.h"

#include <limits>

#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "support/fake_bus.h"

namespace vantry {
namespace {

struct AutomationTest : ::testing::Test {
  DatabaseRig rig;
  LiveTables& t = rig.t;
  Settings settings;
  WebClientTable clients;
  RecordingBus bus;
  std::unique_ptr<Interface> shared;
  Automation automation{{t, settings, rig.log, rig.clock, bus, [this]() -> Interface& { return Shared(); }}};

  AutomationTest() {
    for (int i = 0; i < 2; ++i) {
      SiteRec& site = t.Sites[static_cast<size_t>(i)];
      site.Name = i == 0 ? "One" : "Two";
      site.Domain = i == 0 ? "www.one.example" : "two.example";
      site.WebAccess = true;
      site.CurrentVisitors = 10 + i;
      site.TotalSpiders = 20 + i;
      site.TotalVisitors = 30 + i;
      site.TotalAlerts = 40 + i;
    }
    automation.Start();
  }
  Interface& Shared() {
    if (!shared) {
      shared = std::make_unique<Interface>(InterfaceContext{t, settings, rig.regional, rig.log, rig.clock, rig.files,
                                                            *rig.database, "/app/", "2.0.000", false},
                                           clients);
    }
    return *shared;
  }
  VisitorRec& Visitor(const std::string& ip, int16_t site = 1) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    v.DNS = "host.example";
    v.Page = "b.htm";
    v.StartTime = MakeLogTime(*MakeDay(2026, 3, 5), 3661);
    v.LastPageTime = MakeLogTime(*MakeDay(2026, 3, 5), 86'399);
    v.Browser = "IE6";
    v.Referrer = "http://out.example/";
    v.VisitNo = 1;
    return v;
  }
};

TEST_F(AutomationTest, TheSharedInterfaceIsMadeWhenTheBusIsReady) {
  EXPECT_EQ(t.InterfaceCount, 0);
  bus.LetIn();
  EXPECT_EQ(t.InterfaceCount, 1);
  bus.LetIn();
  EXPECT_EQ(t.InterfaceCount, 1);
}

TEST_F(AutomationTest, NotesOfTheBusGoToTheProgramLog) {
  bus.calls->BusNote("The bus went away.");
  EXPECT_TRUE(rig.program_log.ends_with(" The bus went away.\r\n")) << rig.program_log;
}

TEST_F(AutomationTest, CountsOfSites) {
  EXPECT_EQ(bus.calls->NumberOfSites(), 2);
  EXPECT_EQ(bus.calls->LogFileName(1), "One");
  EXPECT_EQ(bus.calls->LogFileDomain(2), "two.example");
  EXPECT_EQ(bus.calls->LogFileCurrentVisitors(2), 11);
  EXPECT_EQ(bus.calls->LogFileTotalSpiders(1), 20);
  EXPECT_EQ(bus.calls->LogFileTotalVisitors(2), 31);
  EXPECT_EQ(bus.calls->LogFileTotalAlerts(1), 40);
  for (const int16_t no : {int16_t{0}, int16_t{3}, int16_t{-1}, std::numeric_limits<int16_t>::max(),
                           std::numeric_limits<int16_t>::min()}) {
    EXPECT_EQ(bus.calls->LogFileName(no), "") << no;
    EXPECT_EQ(bus.calls->LogFileDomain(no), "") << no;
    EXPECT_EQ(bus.calls->LogFileCurrentVisitors(no), 0) << no;
    EXPECT_EQ(bus.calls->LogFileTotalSpiders(no), 0) << no;
    EXPECT_EQ(bus.calls->LogFileTotalVisitors(no), 0) << no;
    EXPECT_EQ(bus.calls->LogFileTotalAlerts(no), 0) << no;
  }
}

TEST_F(AutomationTest, PagesAreThoseOfTheSharedInterface) {
  Visitor("10.0.0.1");
  clients[3].Path = "/slot";
  Interface& pages = Shared();
  const auto page = [](auto call) {
    std::string text;
    EXPECT_TRUE(call(text).ok());
    EXPECT_FALSE(text.empty());
    return text;
  };
  AutomationCalls& c = automation;
  const std::string one = "www.one.example", visitor = "www.one.example:10.0.0.1";
  EXPECT_EQ(page([&](auto& p) { return c.VisitorsTable(3, one, p); }), pages.VisitorsTable(3, one));
  EXPECT_EQ(page([&](auto& p) { return c.VisitorsTable(3, "", p); }), pages.VisitorsTable(3, ""));
  EXPECT_EQ(page([&](auto& p) { return c.SiteTable(3, 2, p); }), pages.SiteTable(3, 2));
  EXPECT_EQ(page([&](auto& p) { return c.VisitorDetailsTable(3, visitor + "!1", p); }),
            pages.VisitorDetailsTable(3, visitor + "!1"));
  EXPECT_EQ(page([&](auto& p) { return c.PreviousVisitsTable(3, visitor, p); }), pages.PreviousVisitsTable(3, visitor));
  EXPECT_EQ(page([&](auto& p) { return c.SitesTable(3, p); }), pages.SitesTable(3));
  EXPECT_EQ(page([&](auto& p) { return c.AlertsTypeList(3, one, p); }), pages.AlertsTypeList(3, one));
  EXPECT_EQ(page([&](auto& p) { return c.AlertsTable(3, one, p); }), pages.AlertsTable(3, one));
  EXPECT_EQ(page([&](auto& p) { return c.SpidersTable(3, one, p); }), pages.SpidersTable(3, one));
  EXPECT_EQ(page([&](auto& p) { return c.ExceptionsTable(3, one, p); }), pages.ExceptionsTable(3, one));
  EXPECT_EQ(page([&](auto& p) { return c.LoginTable(3, p); }), pages.LoginTable(3));
  EXPECT_EQ(page([&](auto& p) { return c.ReferrersTable(3, one, p); }), pages.ReferrersTable(3, one));
  clients[3].LoggedIn = true;
  EXPECT_TRUE(Contains(page([&](auto& p) { return c.InvalidLogin(3, p); }), "Invalid user name or password"));
  EXPECT_FALSE(clients[3].LoggedIn);
  EXPECT_EQ(c.GetVisitorsList(one), pages.GetVisitorsList(one));
  EXPECT_TRUE(Contains(c.GetVisitorsList(""), "host.example"));
}

TEST_F(AutomationTest, WhatASlotMaySeeDecidesTheListOfSites) {
  t.Site(2).WebUserName = "Jane";
  t.Site(2).WebPassword = "Secret";
  clients[4].UserName = "JANE";
  clients[4].Password = "SECRET";
  clients[5].AllSites = true;
  std::string janes, all;
  ASSERT_TRUE(automation.SitesTable(4, janes).ok());
  ASSERT_TRUE(automation.SitesTable(5, all).ok());
  EXPECT_FALSE(Contains(janes, "www.one.example"));
  EXPECT_TRUE(Contains(janes, "two.example"));
  EXPECT_TRUE(Contains(all, "www.one.example"));
  EXPECT_TRUE(Contains(all, "two.example"));
}

TEST_F(AutomationTest, AClientNumberOutsideTheTableFails) {
  AutomationCalls& c = automation;
  std::string page = "as it was";
  for (const int16_t no : {int16_t{0}, int16_t{101}, int16_t{-1}, std::numeric_limits<int16_t>::max(),
                           std::numeric_limits<int16_t>::min()}) {
    const Status all[] = {c.VisitorsTable(no, "", page),
                          c.SiteTable(no, 1, page),
                          c.VisitorDetailsTable(no, "", page),
                          c.PreviousVisitsTable(no, "", page),
                          c.SitesTable(no, page),
                          c.AlertsTypeList(no, "", page),
                          c.AlertsTable(no, "", page),
                          c.SpidersTable(no, "", page),
                          c.ExceptionsTable(no, "", page),
                          c.LoginTable(no, page),
                          c.InvalidLogin(no, page),
                          c.ReferrersTable(no, "", page),
                          c.ExtractLogEntriesToFile("1:10.0.0.1", no, page)};
    for (const Status& status : all) {
      EXPECT_EQ(status.fail, Fail::kBadData);
      EXPECT_TRUE(Contains(status.text, "ClientNo " + std::to_string(no) + " ")) << status.text;
    }
  }
  EXPECT_EQ(page, "as it was");
  EXPECT_TRUE(c.SitesTable(1, page).ok());
  EXPECT_TRUE(c.SitesTable(100, page).ok());
}

TEST_F(AutomationTest, HeadAndFoot) {
  settings.WebColBackColor = "#123456";
  std::string colour;
  std::string head = automation.HTMLHeader("", false, colour);
  EXPECT_EQ(colour, "#123456");
  EXPECT_TRUE(Contains(head, "<TITLE>Vantry - Real Time Web Server Monitor</TITLE>"));
  EXPECT_TRUE(Contains(head, "<BODY bgcolor=\"#123456\""));
  EXPECT_TRUE(Contains(head, "http-equiv=\"Refresh\""));
  colour = "Red";
  head = automation.HTMLHeader("Mine", true, colour);
  EXPECT_EQ(colour, "Red");
  EXPECT_TRUE(Contains(head, "<TITLE>Mine</TITLE>"));
  EXPECT_TRUE(Contains(head, "<BODY bgcolor=\"Red\""));
  EXPECT_FALSE(Contains(head, "http-equiv=\"Refresh\""));
  EXPECT_TRUE(automation.HTMLFooter().ends_with("</HEAD>\r\n</HTML>\r\n"));
}

TEST_F(AutomationTest, ExtractedLinesLieInAFileOfTheClientsNumber) {
  Visitor("10.0.0.1");
  t.Site(1).LastLogFile = "/logs/access.log";
  rig.files.Put("/logs/access.log", "10.0.0.1 first\r\n10.0.0.2 other\r\n10.0.0.1 second\r\n");
  std::string name;
  ASSERT_TRUE(automation.ExtractLogEntriesToFile("1:10.0.0.1", 7, name).ok());
  EXPECT_TRUE(name.ends_with("tmplog7.txt")) << name;
  EXPECT_TRUE(Contains(rig.files.Get(name), "2 Log Entries")) << rig.files.Get(name);
  name = "?";
  ASSERT_TRUE(automation.ExtractLogEntriesToFile("1:10.9.9.9", 7, name).ok());
  EXPECT_EQ(name, "");
}

TEST_F(AutomationTest, ADomainBeyondAsciiIsFoundByTheFormThatItIsShownIn) {
  t.Site(2).Domain = "caf\xE9.example";
  Visitor("10.0.0.2", 2);
  EXPECT_TRUE(StartsWith(automation.GetVisitorsList("caf\xC3\xA9.example"), "caf\xE9.example\t1\thost.example\t"));
  std::string page;
  ASSERT_TRUE(automation.PreviousVisitsTable(1, "caf\xC3\xA9.example:10.0.0.2", page).ok());
  EXPECT_EQ(page, Shared().PreviousVisitsTable(1, "caf\xE9.example:10.0.0.2"));
}

TEST_F(AutomationTest, EventsCarryWhatTheVisitorIsAtThatMoment) {
  bus.LetIn();
  VisitorRec& v = Visitor("10.0.0.1");
  v.SpiderName = "Crawler";
  automation.VisitorArrived("www.one.example", v, "a.htm");
  v.AlertPending = true;
  automation.VisitorArrived("www.one.example", v, "");
  automation.VisitorPageMove("www.one.example", v);
  automation.VisitorLeft("www.one.example", v);
  automation.DNSResolved("10.0.0.1", "name.example");
  const std::string arrival = "arrived|www.one.example|10.0.0.1|2026-03-05T01:01:01|";
  EXPECT_EQ(bus.events, (std::vector<std::string>{arrival + "a.htm|IE6|Crawler|http://out.example/|no alert",
                                                  arrival + "|IE6|Crawler|http://out.example/|alert",
                                                  "move|www.one.example|10.0.0.1|2026-03-05T23:59:59|b.htm",
                                                  "left|www.one.example|10.0.0.1", "resolved|10.0.0.1|name.example"}));
}

TEST_F(AutomationTest, WithoutACallerTheFirstThousandOfEachSecondGoOut) {
  const auto raise = [this](int count) {
    for (int i = 0; i < count; ++i) automation.DNSResolved("10.0.0.1", "name.example");
  };
  raise(5);
  EXPECT_TRUE(bus.events.empty()) << "the bus is not ready";
  bus.LetIn();
  raise(1'500);
  EXPECT_EQ(bus.events.size(), 1'000u);
  rig.clock.steady.ms += 999;
  raise(5);
  EXPECT_EQ(bus.events.size(), 1'000u);
  rig.clock.steady.ms += 1;
  raise(1'500);
  EXPECT_EQ(bus.events.size(), 2'000u);
  bus.callers = true;
  raise(1'500);
  EXPECT_EQ(bus.events.size(), 3'500u);
  bus.callers = false;
  raise(5);
  EXPECT_EQ(bus.events.size(), 3'500u);
}

TEST_F(AutomationTest, CloseLeavesTheBus) {
  bus.LetIn();
  automation.Close();
  EXPECT_EQ(bus.calls, nullptr);
  automation.DNSResolved("10.0.0.1", "name.example");
  EXPECT_TRUE(bus.events.empty());
}

}  // namespace
}  // namespace vantry
