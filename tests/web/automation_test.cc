#include "web/automation.h"

#include <algorithm>
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
  PageContext pages{t,         settings,      rig.regional, rig.log, rig.clock,
                    rig.files, *rig.database, clients,      "/app/", "2.0.000"};
  int asked = 0;  // How often the pages were asked for.
  Automation automation{{t, settings, rig.log, rig.clock, bus, [this]() -> const PageContext& {
                           ++asked;
                           return pages;
                         }}};

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
  Status Call(std::string_view operation, const BusValues& in, BusValues& out) {
    const auto& all = automation.Operations();
    const auto found = std::ranges::find(all, operation, &BusOperation::name);
    EXPECT_NE(found, all.end()) << operation;
    return automation.Call(static_cast<size_t>(found - all.begin()), in, out);
  }
  BusValues Ask(std::string_view operation, const BusValues& in) {
    BusValues out;
    EXPECT_TRUE(Call(operation, in, out).ok()) << operation;
    return out;
  }
  std::string AskText(std::string_view operation, const BusValues& in) {
    return std::get<std::string>(Ask(operation, in).at(0));
  }
  int32_t AskNumber(std::string_view operation, const BusValues& in) {
    return std::get<int32_t>(Ask(operation, in).at(0));
  }
  // Values of the types that an operation takes.
  static BusValues Arguments(const BusOperation& operation, int32_t number, const std::string& text) {
    BusValues in;
    for (const BusArgument& argument : operation.takes) {
      argument.type == 's' ? in.emplace_back(text) : in.emplace_back(number);
    }
    return in;
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

TEST_F(AutomationTest, PagesAreAskedForWhenTheBusIsReady) {
  EXPECT_EQ(asked, 0);
  bus.LetIn();
  EXPECT_EQ(asked, 1) << "from now on visitor events are raised";
}

TEST_F(AutomationTest, NotesOfTheBusGoToTheProgramLog) {
  bus.calls->BusNote("The bus went away.");
  EXPECT_TRUE(rig.program_log.ends_with(" The bus went away.\r\n")) << rig.program_log;
}

TEST_F(AutomationTest, CountsOfSites) {
  EXPECT_EQ(AskNumber("NumberOfSites", {}), 2);
  EXPECT_EQ(AskText("LogFileName", {1}), "One");
  EXPECT_EQ(AskText("LogFileDomain", {2}), "two.example");
  EXPECT_EQ(AskNumber("LogFileCurrentVisitors", {2}), 11);
  EXPECT_EQ(AskNumber("LogFileTotalSpiders", {1}), 20);
  EXPECT_EQ(AskNumber("LogFileTotalVisitors", {2}), 31);
  EXPECT_EQ(AskNumber("LogFileTotalAlerts", {1}), 40);
  for (const int16_t no : {int16_t{0}, int16_t{3}, int16_t{-1}, std::numeric_limits<int16_t>::max(),
                           std::numeric_limits<int16_t>::min()}) {
    for (const char* text : {"LogFileName", "LogFileDomain"}) EXPECT_EQ(AskText(text, {no}), "") << no;
    for (const char* count :
         {"LogFileCurrentVisitors", "LogFileTotalSpiders", "LogFileTotalVisitors", "LogFileTotalAlerts"}) {
      EXPECT_EQ(AskNumber(count, {no}), 0) << no;
    }
  }
}

std::string Form(const BusOperation& operation) {
  std::string form = operation.name;
  for (const auto* arguments : {&operation.takes, &operation.gives}) {
    for (const BusArgument& argument : *arguments)
      form.append(" ").append(argument.name).append(1, ':') += argument.type;
    if (arguments == &operation.takes) form += " ->";
  }
  return operation.property ? form + " (property)" : form;
}

// Programs were written against these.
TEST_F(AutomationTest, OperationsKeepTheirOrderAndForms) {
  const std::vector<std::string> want = {"LogFileName SiteNumber:n -> Name:s",
                                         "LogFileDomain SiteNumber:n -> Domain:s",
                                         "LogFileCurrentVisitors SiteNumber:n -> Count:i",
                                         "LogFileTotalSpiders SiteNumber:n -> Count:i",
                                         "LogFileTotalVisitors SiteNumber:n -> Count:i",
                                         "LogFileTotalAlerts SiteNumber:n -> Count:i",
                                         "NumberOfSites -> Count:n (property)",
                                         "VisitorsTable ClientNo:n Domain:s -> Page:s",
                                         "SiteTable ClientNo:n LogNo:n -> Page:s",
                                         "VisitorDetailsTable ClientNo:n DomainVisitor:s -> Page:s",
                                         "PreviousVisitsTable ClientNo:n DomainVisitor:s -> Page:s",
                                         "SitesTable ClientNo:n -> Page:s",
                                         "AlertsTypeList ClientNo:n Domain:s -> Page:s",
                                         "AlertsTable ClientNo:n Domain:s StartNo:i -> Page:s StartNo:i",
                                         "SpidersTable ClientNo:n Domain:s -> Page:s",
                                         "ExceptionsTable ClientNo:n Domain:s -> Page:s",
                                         "LoginTable ClientNo:n -> Page:s",
                                         "InvalidLogin ClientNo:n -> Page:s",
                                         "ReferrersTable ClientNo:n Domain:s PageNo:i -> Page:s PageNo:i",
                                         "HTMLHeader Title:s NoRefreshStop:b BackColour:s -> Page:s BackColour:s",
                                         "HTMLFooter -> Page:s",
                                         "GetVisitorsList Domain:s -> List:s",
                                         "ExtractLogEntriesToFile VisitorKey:s ClientNo:n -> FileName:s"};
  std::vector<std::string> got;
  for (const BusOperation& operation : automation.Operations()) got.push_back(Form(operation));
  EXPECT_EQ(got, want);
}

TEST_F(AutomationTest, PagesAreThoseOfTheWebAccess) {
  Visitor("10.0.0.1");
  clients[3].Path = "/slot";
  clients[3].LoggedIn = true;
  for (const BusOperation& operation : automation.Operations()) {
    const auto page = std::ranges::find(kPages, std::string_view(operation.name), &Page::operation);
    if (page == std::end(kPages)) continue;
    for (const std::string text : {"www.one.example", "", "www.one.example:10.0.0.1!1"}) {
      clients[3].LoggedIn = true;
      const std::string argument = operation.takes.back().type == 'n' && operation.takes.size() > 1 ? "3" : text;
      const BusValues got = Ask(operation.name, Arguments(operation, 3, text));
      EXPECT_EQ(std::get<std::string>(got.at(0)), page->build(pages, 3, argument)) << operation.name;
      EXPECT_EQ(got.size(), operation.gives.size()) << operation.name;
      if (got.size() == 2) {
        EXPECT_EQ(std::get<int32_t>(got[1]), 3) << operation.name;
      }
    }
  }
  AskText("InvalidLogin", {3});
  EXPECT_FALSE(clients[3].LoggedIn);
  EXPECT_TRUE(Contains(AskText("SiteTable", {3, 2}), "two.example"));
  EXPECT_TRUE(Contains(AskText("GetVisitorsList", {""}), "host.example"));
}

TEST_F(AutomationTest, WhatASlotMaySeeDecidesTheListOfSites) {
  t.Site(2).WebUserName = "Jane";
  t.Site(2).WebPassword = "Secret";
  clients[4].UserName = "JANE";
  clients[4].Password = "SECRET";
  clients[5].AllSites = true;
  const std::string janes = AskText("SitesTable", {4}), all = AskText("SitesTable", {5});
  EXPECT_FALSE(Contains(janes, "www.one.example"));
  EXPECT_TRUE(Contains(janes, "two.example"));
  EXPECT_TRUE(Contains(all, "www.one.example"));
  EXPECT_TRUE(Contains(all, "two.example"));
}

TEST_F(AutomationTest, AClientNumberOutsideTheTableFails) {
  BusValues page{"as it was"};
  int checked = 0;
  for (const BusOperation& operation : automation.Operations()) {
    if (operation.takes.empty() || std::string_view(operation.takes[0].name) != "ClientNo") continue;
    for (const int16_t no : {int16_t{0}, int16_t{101}, int16_t{-1}, std::numeric_limits<int16_t>::max(),
                             std::numeric_limits<int16_t>::min()}) {
      const Status status = Call(operation.name, Arguments(operation, no, ""), page);
      EXPECT_EQ(status.fail, Fail::kBadData) << operation.name;
      EXPECT_TRUE(Contains(status.text, "ClientNo " + std::to_string(no) + " ")) << status.text;
    }
    ++checked;
  }
  EXPECT_EQ(checked, 12);
  EXPECT_EQ(page, BusValues{"as it was"});
  EXPECT_TRUE(Call("SitesTable", {1}, page).ok());
  EXPECT_TRUE(Call("SitesTable", {100}, page).ok());
}

TEST_F(AutomationTest, HeadAndFoot) {
  settings.WebColBackColor = "#123456";
  BusValues head = Ask("HTMLHeader", {"", 0, ""});
  EXPECT_EQ(std::get<std::string>(head.at(1)), "#123456");
  EXPECT_TRUE(Contains(std::get<std::string>(head[0]), "<TITLE>Vantry - Real Time Web Server Monitor</TITLE>"));
  EXPECT_TRUE(Contains(std::get<std::string>(head[0]), "<BODY bgcolor=\"#123456\""));
  EXPECT_TRUE(Contains(std::get<std::string>(head[0]), "http-equiv=\"Refresh\""));
  head = Ask("HTMLHeader", {"Mine", 1, "Red"});
  EXPECT_EQ(std::get<std::string>(head.at(1)), "Red");
  EXPECT_TRUE(Contains(std::get<std::string>(head[0]), "<TITLE>Mine</TITLE>"));
  EXPECT_TRUE(Contains(std::get<std::string>(head[0]), "<BODY bgcolor=\"Red\""));
  EXPECT_FALSE(Contains(std::get<std::string>(head[0]), "http-equiv=\"Refresh\""));
  EXPECT_TRUE(AskText("HTMLFooter", {}).ends_with("</HEAD>\r\n</HTML>\r\n"));
}

TEST_F(AutomationTest, ExtractedLinesLieInAFileOfTheClientsNumber) {
  Visitor("10.0.0.1");
  t.Site(1).LastLogFile = "/logs/access.log";
  rig.files.Put("/logs/access.log", "10.0.0.1 first\r\n10.0.0.2 other\r\n10.0.0.1 second\r\n");
  const std::string name = AskText("ExtractLogEntriesToFile", {"1:10.0.0.1", 7});
  EXPECT_TRUE(name.ends_with("tmplog7.txt")) << name;
  EXPECT_TRUE(Contains(rig.files.Get(name), "2 Log Entries")) << rig.files.Get(name);
  EXPECT_TRUE(AskText("ExtractLogEntriesToFile", {"1:10.0.0.1", 0}).ends_with("tmplog0.txt")) << "without a client";
  BusValues none;
  EXPECT_EQ(Call("ExtractLogEntriesToFile", {"1:10.0.0.1", 101}, none).fail, Fail::kBadData);
  EXPECT_EQ(Call("ExtractLogEntriesToFile", {"1:10.0.0.1", -1}, none).fail, Fail::kBadData);
  EXPECT_EQ(AskText("ExtractLogEntriesToFile", {"1:10.9.9.9", 7}), "");
}

TEST_F(AutomationTest, ADomainBeyondAsciiIsFoundByTheFormThatItIsShownIn) {
  t.Site(2).Domain = "caf\xE9.example";
  Visitor("10.0.0.2", 2);
  EXPECT_TRUE(StartsWith(AskText("GetVisitorsList", {"caf\xC3\xA9.example"}), "caf\xE9.example\t1\thost.example\t"));
  EXPECT_EQ(AskText("PreviousVisitsTable", {1, "caf\xC3\xA9.example:10.0.0.2"}),
            PreviousVisitsTable(pages, 1, "caf\xE9.example:10.0.0.2"));
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
