// Every page as it goes out, byte for byte. VANTRY_RENEW=1 rewrites the files; look at what changed before keeping it.
#include "web/pages.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "core/visitor_rows.h"
#include "support/database_rig.h"
#include "support/html_shape.h"
#include "support/page_rig.h"
#include "web/log_extract.h"

namespace vantry {
namespace {

std::string GoldenPath(const std::string& name) {
  return std::string(VANTRY_TEST_DATA) + "/web/" + name;
}

std::string ReadGolden(const std::string& name) {
  std::ifstream in(GoldenPath(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The line in which two texts first differ.
std::string Difference(const std::string& got, const std::string& want) {
  size_t at = 0;
  while (at < got.size() && at < want.size() && got[at] == want[at]) ++at;
  if (at == got.size() && at == want.size()) return "";
  const size_t begin = at == 0 ? 0 : got.rfind('\n', at - 1) + 1;
  return "at byte " + std::to_string(at) + ": got '" + got.substr(begin, 300) + "', want '" +
         want.substr(std::min(begin, want.size()), 300) + "'";
}

struct PagesTest : ::testing::Test {
  DatabaseRig rig;
  LiveTables& t = rig.t;
  Settings settings;
  WebClientTable clients;
  PageContext pages{t,         settings,      rig.regional, rig.log, rig.clock,
                    rig.files, *rig.database, clients,      "/app/", "2.0.000"};

  PagesTest() {
    for (int i = 0; i < 2; ++i) {
      SiteRec& site = t.Sites[static_cast<size_t>(i)];
      site.Domain = i == 0 ? "www.one.example" : "two.example";
      site.WebAccess = true;
      site.LastReadDateTime = Noon();
    }
    clients[1].LoggedIn = clients[1].AllSites = true;
    clients[1].Path = "/";
  }
  LogTime Noon() const { return {rig.clock.now.s}; }
  VisitorRec& Visitor(const std::string& ip, int16_t site = 1) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    SiteRec& rec = t.Site(site);
    v.VisitNo = ++rec.TotalVisitors;
    v.VisitCount = 1;
    v.DNS = ip;
    v.Page = "index.htm";
    v.Status = 200;
    v.StartTime = v.LastHitTime = v.LastPageTime = {Noon().s - 65};
    v.Browser = "IE6";
    v.CountryCode = "DE";
    v.Pages = 1;
    ++rec.CurrentVisitors;
    ++rec.TodayVisitors;
    return v;
  }
  static void Check(const std::string& name, const std::string& page) {
    if (std::getenv("VANTRY_RENEW")) {
      std::ofstream(GoldenPath(name), std::ios::binary) << page;
      return;
    }
    EXPECT_EQ(Difference(page, ReadGolden(name)), "") << name;
  }
};

TEST_F(PagesTest, Sites) {
  Check("sites_idle.html", SitesTable(pages, 1));
  Visitor("10.0.0.1");
  Visitor("10.0.0.2");
  Visitor("10.0.0.3", 2);
  t.Site(1).TodayAlerts = 3;
  t.Site(1).TodayExceptions = 4;
  t.Site(2).TodaySpiders = 5;
  t.Site(2).Paused = true;
  rig.files.Put("/app/webfooter.htm", "<p>Our footer</p>\nsecond line");
  Check("sites_busy_with_footer.html", SitesTable(pages, 1));
  settings.NoSpiders = true;
  settings.WebColTableHeading = "";
  Check("sites_without_spiders.html", SitesTable(pages, 1));
}

TEST_F(PagesTest, SitesOfOneUser) {
  t.Site(2).WebUserName = " bob ";
  t.Site(2).WebPassword = "pw";
  clients[1].AllSites = false;
  clients[1].UserName = "BOB";
  clients[1].Password = "PW";
  Check("sites_of_bob.html", SitesTable(pages, 1));
  t.Site(2).WebAccess = false;
  Check("sites_none.html", SitesTable(pages, 1));
}

TEST_F(PagesTest, Visitors) {
  Check("visitors_none.html", VisitorsTable(pages, 1, "www.one.example"));
  Visitor("10.0.0.1");
  Check("visitors_one.html", VisitorsTable(pages, 1, " WWW.ONE.EXAMPLE "));
  VisitorRec& idle = Visitor("10.0.0.2");
  idle.Idle = true;
  idle.DNS = std::string(60, 'n');
  VisitorRec& missing = Visitor("10.0.0.3");
  missing.Status = 404;
  missing.KnownName = "Our friend";
  missing.Referrer = "http://from.example/?a=1&b=2";
  VisitorRec& spider = Visitor("10.0.0.4");
  spider.IsSpider = true;
  spider.GroupMask = "*.crawler.example";
  spider.VisitCount = 7;
  t.Site(1).WebReferrers = true;
  Check("visitors_of_every_kind.html", VisitorsTable(pages, 1, "www.one.example"));
  Visitor("10.9.9.9", 2);
  t.Site(2).WebAccess = false;
  Check("visitors_of_all_sites.html", VisitorsTable(pages, 1, "all"));
  Check("visitors_of_each_site.html", VisitorsTable(pages, 1, ""));
  Check("visitors_of_a_site_without_web_access.html", VisitorsTable(pages, 1, "two.example"));
}

TEST_F(PagesTest, UnknownDomains) {
  for (const Page& page : kPages) {
    if (page.commands[0].empty() || page.takes[1].type != 's') continue;
    EXPECT_TRUE(Contains(page.build(pages, 1, "no.example"), "<p>The Domain: <b>no.example</b> is not being monitored"))
        << page.operation;
  }
  Check("alerts_of_no_site.html", AlertsTable(pages, 1, "no.example"));
  Check("referrers_of_no_site.html", ReferrersTable(pages, 1, "no.example"));
  Check("not_monitored.html", VisitorDetailsTable(pages, 1, "no.example:10.0.0.1!1"));
  Check("not_monitored.html", PreviousVisitsTable(pages, 1, "no.example:10.0.0.1"));
}

TEST_F(PagesTest, TheDomainOfAVisitorEndsAtTheLastColon) {
  const auto heading = [&](std::string_view argument) {
    const std::string page = PreviousVisitsTable(pages, 1, argument);
    if (Contains(page, "Previous Visits For  On two.example<")) return std::string("known");
    const size_t begin = page.find("<p>The Domain: <b>") + 18;
    return page.substr(begin, page.find("</b>", begin) - begin);
  };
  EXPECT_EQ(heading("two.example:10.0.0.1"), "known");
  EXPECT_EQ(heading("TWO.EXAMPLE :10.0.0.1!4294967296"), "known");
  EXPECT_EQ(heading("two.example:2001:db8::1"), "known");
  EXPECT_EQ(heading("two.example:1:2:3:4:5:6:7:8!1"), "known");
  EXPECT_EQ(heading("two.example:x:10.0.0.1"), "two.example:x");
  EXPECT_EQ(heading("two.example:2001:0db8:1111:2222:3333:4444:5555:6666!1"), "known");
  EXPECT_EQ(heading("two.example!1:10.0.0.1"), "two.example!1");
  EXPECT_EQ(heading("two.example:" + std::string(46, ':')), "two.example:" + std::string(45, ':'))
      << "no address has so many";
  EXPECT_EQ(heading("two.example"), "two.example");
  EXPECT_EQ(heading(":::"), "::");
  EXPECT_EQ(heading(""), "");
  t.Site(2).Domain = "two.example:8080";
  EXPECT_TRUE(Contains(PreviousVisitsTable(pages, 1, "two.example:8080:10.0.0.1"), " On two.example:8080<"));
}

TEST_F(PagesTest, VisitsThatAreStored) {
  VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00");
  v.Pages = 0;
  v.Referrer = "http://from.example/find?q=x";
  v.DNS = "host.example";
  rig.database->UpdateVisitor(v, false);
  rig.database->AddVisitToDatabase(v, "index.htm");
  for (const char* page : {"index.htm", "news/today.htm"}) {
    ++v.Pages;
    v.Page = page;
    v.LastPageTime.s += 61;
    v.Status = v.Pages == 1 ? 200 : 404;
    rig.database->AddPageToDatabase(v);
  }
  v.LastHitTime = v.LastPageTime;
  rig.database->UpdateVisitInDatabase(v);
  VisitorRec spider = rig.Visitor("10.0.0.2", "11:30:00");
  spider.IsSpider = true;
  spider.SpiderName = "Crawler";
  rig.database->AddVisitToDatabase(spider, "a.htm");
  Check("visit_details.html", VisitorDetailsTable(pages, 1, "www.one.example:10.0.0.1!1"));
  Check("visit_details_unknown.html", VisitorDetailsTable(pages, 1, "www.one.example:10.9.9.9!1"));
  Check("visit_details_spider.html", VisitorDetailsTable(pages, 1, "www.one.example:10.0.0.2!1"));
  Check("previous_visits.html", PreviousVisitsTable(pages, 1, "www.one.example:10.0.0.1"));
  Check("previous_visits_none.html", PreviousVisitsTable(pages, 1, "www.one.example:10.9.9.9"));
  rig.clock.Advance(86400);
  const std::string later = VisitorDetailsTable(pages, 1, "www.one.example:10.0.0.1!1");
  EXPECT_TRUE(Contains(later, "news/today.htm")) << "pages are found by the visit's number alone";
  EXPECT_FALSE(Contains(later, "11:00:00</td></tr>\r\n<tr><td bgcolor=\"#ECE9D8\" >Browser"))
      << "its row is another day's";
}

TEST_F(PagesTest, Referrers) {
  Check("referrers_none.html", ReferrersTable(pages, 1, "two.example"));
  for (int i = 0; i < 3; ++i) {
    for (int visit = 0; visit <= i; ++visit) {
      VisitorRec v = rig.Visitor("10.0." + std::to_string(i) + "." + std::to_string(visit),
                                 "0" + std::to_string(visit + 1) + ":00:00", 2);
      v.Referrer = "http://from" + std::to_string(i) + ".example/";
      rig.database->UpdateVisitor(v, false);
    }
  }
  Check("referrers_three.html", ReferrersTable(pages, 1, "two.example"));
  for (int i = 0; i < 250; ++i) {
    VisitorRec v = rig.Visitor("10.1.0." + std::to_string(i), "05:00:00", 2);
    v.Referrer = "http://many" + std::to_string(i) + ".example/";
    rig.database->UpdateVisitor(v, false);
  }
  EXPECT_TRUE(Contains(ReferrersTable(pages, 1, "two.example"), "200 Referring Sites"));
  EXPECT_TRUE(Contains(ReferrersTable(pages, 1, "www.one.example"), "0 Referring Sites"));
}

struct DayPagesTest : PagesTest {
  void AddAlerts() {
    for (int16_t no : {10, 20}) {
      AlertRec& alert = t.Alerts.emplace_back();
      alert.Site = 1;
      alert.AlertNo = no;
      alert.Name = "Alert " + std::to_string(no);
      alert.AlertHits = 1;
    }
    t.Site(1).AlertDefinitions = 2;
    t.Site(1).TodayAlerts = 2;
    for (const int16_t no : {10, 20, 10}) {
      AlertRow row{{{{Noon().s - (t.logGrid.RowCount() == 2 ? 86400 : 60)}, 1},
                    12,
                    3,
                    "10.0.0.1",
                    "host.example",
                    "page.htm",
                    "DE",
                    "http://a.example"}};
      row.alert_no = no;
      row.seconds_on_site = 65;
      if (no == 20) row.alert_colour = kColourAlarm;
      t.logGrid.Add(std::move(row));
    }
  }
};

TEST_F(DayPagesTest, Alerts) {
  t.Site(1).AlertDefinitions = 1;
  const std::string none = AlertsTable(pages, 1, "www.one.example");
  Check("alerts_none.html", none);
  EXPECT_EQ(AlertsTypeList(pages, 1, "www.one.example"), none) << "one definition has no list";
  AddAlerts();
  Check("alerts_types.html", AlertsTypeList(pages, 1, "www.one.example"));
  Check("alerts_all.html", AlertsTable(pages, 1, "www.one.example"));
  Check("alerts_of_one_type.html", AlertsTable(pages, 1, "www.one.example&alertno=20"));
}

TEST_F(DayPagesTest, Spiders) {
  Check("spiders_none.html", SpidersTable(pages, 1, "www.one.example"));
  VisitorRec& v = Visitor("10.0.0.1");
  v.IsSpider = true;
  v.SpiderName = "Crawler";
  AddSpider(t, v);
  v.StartTime.s -= 86400;
  AddSpider(t, v);
  Check("spiders_one.html", SpidersTable(pages, 1, "www.one.example"));
}

TEST_F(DayPagesTest, Exceptions) {
  Check("exceptions_none.html", ExceptionsTable(pages, 1, "www.one.example"));
  for (int16_t site : {1, 2, 0}) t.exGrid.Add({{Noon(), site}, 404, 1, "HTTP Page a.htm not found 404 error"});
  t.exGrid.Add({{{Noon().s - 86400}, 1}, 404, 1, "yesterday"});
  t.Site(1).TodayExceptions = 1;
  Check("exceptions_one.html", ExceptionsTable(pages, 1, "www.one.example"));
}

TEST_F(PagesTest, Logins) {
  clients[1].LoggedIn = false;
  Check("login.html", LoginTable(pages, 1));
  clients[1].CredentialsGiven = true;
  Check("login_invalid.html", InvalidLogin(pages, 1));
  EXPECT_FALSE(clients[1].CredentialsGiven);
}

TEST_F(PagesTest, WapDecks) {
  clients[1].IsWAP = true;
  Visitor("10.0.0.1");
  t.Site(2).Paused = true;
  Check("wap_two_sites.wml", SitesTable(pages, 1));
  settings.WAPAccess = false;
  Check("wap_refused.wml", SitesTable(pages, 1));
  settings.WAPAccess = true;
  t.Sites.clear();
  Check("wap_no_sites.wml", SitesTable(pages, 1));
}

TEST_F(PagesTest, TextsOfLogsGoOutAsTheyAreUnlessTheyAreEscaped) {
  VisitorRec& v = Visitor("10.0.0.1");
  v.Referrer = "javascript:alert(1)";
  v.Page = "<script>\"x'&.htm";
  v.DNS = "<b>host</b>";
  EXPECT_TRUE(Contains(VisitorsTable(pages, 1, "www.one.example"), "<b>host</b>"));
  pages.escape = true;
  const std::string page = VisitorsTable(pages, 1, "www.one.example");
  EXPECT_FALSE(Contains(page, "<b>host"));
  EXPECT_FALSE(Contains(page, "<script>\""));
  EXPECT_FALSE(Contains(page, "href=\"javascript:alert"));
  Check("visitors_escaped.html", page);
}

// Escaped, a page has the same elements, attributes and scripts whatever a log says.
TEST(EscapedPages, NoTextOfALogIsMoreThanText) {
  const std::vector<std::string> hostile = {"8.8.8.8%27+(document.title=%27OWNED%27)+%27",
                                            "8.8.8.8');document.title='OWNED';('",
                                            "8.8.8.8&#39;);document.title=&#39;OWNED&#39;;(&#39;",
                                            "\"><script>document.title='OWNED'</script>",
                                            "x\" onmouseover=\"document.title='OWNED'",
                                            "javascript:document.title='OWNED'",
                                            " \tjava\nscript:document.title='OWNED'",
                                            "data:text/html,<script>document.title='OWNED'</script>",
                                            "http://a.example/\"onclick=\"document.title='OWNED'",
                                            "http://a.example/\x1b$@",
                                            "<img src=x onerror=document.title='OWNED'>\x1b(B",
                                            "</title></table><svg/onload=document.title='OWNED'>",
                                            "--><!--",
                                            "",
                                            "-"};
  int scripts = 0;
  for (size_t turn = 0; turn < hostile.size(); ++turn) {
    // Another text comes first in each turn, so that each is everywhere once.
    std::vector<std::string> texts(hostile.begin() + static_cast<ptrdiff_t>(turn), hostile.end());
    texts.insert(texts.end(), hostile.begin(), hostile.begin() + static_cast<ptrdiff_t>(turn));
    EXPECT_EQ(MoreThanText(texts), "");
    PageRig open;
    open.Fill(texts);
    for (const auto& page : open.Pages()) scripts += FindScript(page.text).empty() ? 0 : 1;
  }
  EXPECT_GT(scripts, 3) << "what is looked for is there without the escape";
}

struct ExtractTest : PagesTest {
  std::string lines;
  VisitorRec& v = Visitor("10.0.0.7", 2);

  ExtractTest() {
    t.Site(2).LastLogFile = "/log/access.log";
    t.Hit.CurLine = "a line of the scan";
    settings.DDFPath = "/data/";
    v.StartPos = 1;
  }
  std::string Extract() {
    rig.files.Put("/log/access.log", lines);
    const std::string name = ExtractLogEntriesToFile(pages, "2:10.0.0.7", 3);
    EXPECT_EQ(name, "/data/Temp/tmplog3.txt");
    std::string text;
    EXPECT_TRUE(rig.files.Read(name, text).ok());
    return text;
  }
};

TEST_F(ExtractTest, AVisitorsLinesAreCopiedUnderAHead) {
  lines = "10.0.0.7 first\r\n10.0.0.8 other\n10.0.0.7 second\r10.0.0.70 holds it\nlast 10.0.0.7";
  v.DNS = "host.example";
  v.Referrer = "http://from.example/";
  v.IsSpider = true;
  rig.files.Put("/data/Temp/tmplog3.txt", "of an earlier call");
  const std::string want =
      "Log File:\t/log/access.log\r\nLog Entries For:\t10.0.0.7\r\nDNS:\thost.example\r\nBrowser:\tIE6\r\n"
      "Referrer:\thttp://from.example/\r\nSpider:\tYes\r\nStarted:\t3/5/2026 11:58:55 AM\r\n \r\n"
      "10.0.0.7 first\r\n10.0.0.7 second\r\n10.0.0.70 holds it\r\nlast 10.0.0.7\r\n \r\n4 Log Entries\r\n";
  EXPECT_EQ(Extract(), want);
  EXPECT_EQ(Extract(), want) << "the file is made anew";
  v.DNS = v.IP;
  v.IsSpider = false;
  EXPECT_TRUE(
      StartsWith(Extract(), "Log File:\t/log/access.log\r\nLog Entries For:\t10.0.0.7\r\nBrowser:\tIE6\r\nReferrer:"));
  t.Site(2).Unix = true;
  EXPECT_TRUE(Contains(Extract(), "10.0.0.7 second\r10.0.0.70 holds it\r\n")) << "a lone CR ends no line";
}

TEST_F(ExtractTest, TheSearchBegins500BytesBeforeTheVisitorsPlace) {
  lines = "10.0.0.7 old" + std::string(600, '.') + "\n" + "10.0.0.7 first\n";
  v.StartPos = static_cast<int64_t>(lines.size()) + 1;
  lines += "10.0.0.7 second\n";
  const std::string text = Extract();
  EXPECT_FALSE(Contains(text, "old"));
  EXPECT_TRUE(Contains(text, "10.0.0.7 first\r\n10.0.0.7 second\r\n \r\n2 Log Entries"));
}

TEST_F(ExtractTest, WithoutALineOfTheScanItEndsAfter50Lines) {
  for (int i = 0; i < 100; ++i) lines += "10.0.0.7 again\n";
  EXPECT_TRUE(Contains(Extract(), "\r\n100 Log Entries"));
  t.Hit.CurLine.clear();
  EXPECT_TRUE(Contains(Extract(), "\r\n50 Log Entries"));
}

TEST_F(ExtractTest, ABadKeyGivesNoName) {
  for (const char* key : {"", "2", ":", "2:", "2:10.0.0.8", "1:10.0.0.7", "0:10.0.0.7", "3:10.0.0.7", "-1:10.0.0.7",
                          "99999999999:10.0.0.7", "x:10.0.0.7"}) {
    EXPECT_EQ(ExtractLogEntriesToFile(pages, key, 1), "") << key;
  }
  EXPECT_EQ(rig.program_log, "");
  EXPECT_EQ(ExtractLogEntriesToFile(pages, "2:10.0.0.7", 1), "") << "there is no log";
  EXPECT_TRUE(Contains(rig.program_log, "Interface.ExtractLogEntriesToFile"));
}

TEST_F(PagesTest, APageIsCutWhereATableCantBeRead) {
  VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00");
  v.Referrer = "http://from.example/";
  rig.database->UpdateVisitor(v, false);
  rig.database->AddVisitToDatabase(v, "index.htm");
  v.Pages = 1;
  rig.database->AddPageToDatabase(v);
  rig.database->FlushDatabase();
  const std::map<std::string, std::pair<PageFunction, std::string>> all = {
      {"Interface.VisitorDetailsTable", {VisitorDetailsTable, "www.one.example:10.0.0.1!1"}},
      {"Interface.PreviousVisitsTable", {PreviousVisitsTable, "www.one.example:10.0.0.1"}},
      {"Interface.ReferrersTable", {ReferrersTable, "www.one.example"}}};
  for (const auto& [name, call] : all) {
    const std::string whole = call.first(pages, 1, call.second);
    EXPECT_TRUE(whole.ends_with("</HTML>\r\n")) << name;
    // Each look in turn fails once.
    bool failed = true;
    int look = 0;
    while (failed) {
      ++look;
      rig.program_log.clear();
      failed = false;
      rig.index.fails = [&, looks = 0](const std::string& what) mutable {
        return what == "find" && ++looks == look ? (failed = true) : false;
      };
      const std::string page = call.first(pages, 1, call.second);
      rig.index.fails = {};
      EXPECT_EQ(failed, Contains(rig.program_log, name)) << look << rig.program_log;
      EXPECT_EQ(failed, page != whole) << name << look;
      EXPECT_TRUE(!failed || StartsWith(whole, page)) << name << look;
      ASSERT_LT(look, 100);
    }
    EXPECT_GT(look, 1) << name << " never looked";
  }
}

TEST_F(PagesTest, APageWithoutTablesIsCutAndToldOf) {
  rig.disk.breaks = [](const std::string&) { return int64_t{0}; };
  const std::string page = VisitorDetailsTable(pages, 1, "www.one.example:10.0.0.1!1");
  EXPECT_TRUE(Contains(page, "<TITLE>Visit Details</TITLE>"));
  EXPECT_FALSE(Contains(page, "</HTML>"));
  EXPECT_TRUE(Contains(rig.program_log, "Interface.VisitorDetailsTable"));
}

}  // namespace
}  // namespace vantry
