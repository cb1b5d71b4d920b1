// VANTRY.INI as it is read: rules for lines, keys and lists, and what stops the reading.
#include <string>

#include <gtest/gtest.h>

#include "config/site_file.h"
#include "core/text.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

const Regional kRegional;

// The tables after reading these lines; each test gives the bytes in full, the last line included.
struct Read {
  LiveTables t;
  std::optional<ReadProblem> problem;
  explicit Read(std::string_view bytes) : problem(ParseSites(bytes, kRegional, t)) {}
};

TEST(SiteFileRead, SectionLine_GivesTheName) {
  struct Case {
    const char* name;
    const char* line;
    const char* want;
  };
  const Case cases[] = {{"plain", "[Shop]", "Shop"},
                        {"equals sign", "[a=b]", "a=b"},
                        {"closing bracket inside", "[a]b]", "a]b"},
                        {"opening bracket inside", "[[a]", "[a"},
                        {"no closing bracket loses the last character", "[Shop", "Sho"},
                        {"blanks around the line", "  [Shop]  ", "Shop"},
                        {"blanks inside stay", "[ Shop ]", " Shop "},
                        {"empty", "[]", ""},
                        {"bracket alone", "[", ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Read r(std::string(c.line) + "\r\n\r\n");
    EXPECT_FALSE(r.problem);
    ASSERT_EQ(r.t.SiteCount(), 1);
    EXPECT_EQ(r.t.Site(1).Name, c.want);
    EXPECT_TRUE(r.t.Site(1).WebReferrers);
  }
}

TEST(SiteFileRead, AbsentKeys_LeaveTheirDefaults) {
  Read r("[Shop]\r\n\r\n");
  const SiteRec& s = r.t.Site(1);
  EXPECT_EQ(s.Mask, "");
  EXPECT_EQ(s.Type, LogType::kW3C);
  EXPECT_EQ(s.Frequency, 0);
  EXPECT_FALSE(s.Paused || s.FTP || s.WebAccess || s.FieldsKnown);
  EXPECT_EQ(s.LastTime, LogTime{});
  EXPECT_EQ(s.SleepEnd, 0);
  EXPECT_EQ(s.AlertDefinitions, 0);
  EXPECT_TRUE(r.t.Alerts.empty());
}

TEST(SiteFileRead, LastLine_IsNeverProcessed) {
  Read cut("[Shop]\r\nDomain=shop.example\r\nHomePage=lost\r\n");
  EXPECT_EQ(cut.t.Site(1).Domain, "shop.example");
  EXPECT_EQ(cut.t.Site(1).HomePage, "");
  Read whole("[Shop]\r\nDomain=shop.example\r\nHomePage=kept\r\n\r\n");
  EXPECT_EQ(whole.t.Site(1).HomePage, "kept");
  EXPECT_EQ(Read("[Shop]\r\n").t.SiteCount(), 0);
}

TEST(SiteFileRead, Values_AreReadAsEachKeyDemands) {
  struct Case {
    const char* name;
    const char* line;
    bool (*held)(const SiteRec&);
  };
  const Case cases[] = {
      {"text loses blanks at both ends", "Domain=  a b  ", [](const SiteRec& s) { return s.Domain == "a b"; }},
      {"text keeps further signs", "Domain=a=b", [](const SiteRec& s) { return s.Domain == "a=b"; }},
      {"key in any case", "doMAIN=x", [](const SiteRec& s) { return s.Domain == "x"; }},
      {"key with blanks", " Domain =x", [](const SiteRec& s) { return s.Domain == "x"; }},
      {"empty mask", "Mask=", [](const SiteRec& s) { return s.Mask == "*.LOG"; }},
      {"mask of blanks", "Mask=   ", [](const SiteRec& s) { return s.Mask == "*.LOG"; }},
      {"mask", "Mask=ex*.log", [](const SiteRec& s) { return s.Mask == "ex*.log"; }},
      {"folder gets its separator", "Folder=/var/log", [](const SiteRec& s) { return s.Folder == "/var/log/"; }},
      {"folder of another system", "Folder=C:\\Logs\\", [](const SiteRec& s) { return s.Folder == "C:\\Logs/"; }},
      {"empty folder", "Folder=", [](const SiteRec& s) { return s.Folder.empty(); }},
      {"fields make the layout known", "LastFields=DATE", [](const SiteRec& s) { return s.FieldsKnown; }},
      {"no fields", "LastFields=", [](const SiteRec& s) { return !s.FieldsKnown; }},
      {"lenient number", "Type=2x", [](const SiteRec& s) { return s.Type == LogType::kNCSA; }},
      {"lenient number of nothing", "TouchEvery=", [](const SiteRec& s) { return s.TouchEvery == 0; }},
      {"strict number with blanks", "Frequency= 60 ", [](const SiteRec& s) { return s.Frequency == 60; }},
      {"place beyond 32 bits", "LastReadPos=5000000000",
       [](const SiteRec& s) { return s.LastReadPos == 5'000'000'000; }},
      {"bool as a number", "Paused=1", [](const SiteRec& s) { return s.Paused; }},
      {"referrers off", "WebReferrers=false", [](const SiteRec& s) { return !s.WebReferrers; }},
      {"time", "SleepEnd=23:59:59", [](const SiteRec& s) { return s.SleepEnd == 86399; }},
      {"stamp", "LastTime=1/2/1900 00:00:01", [](const SiteRec& s) { return s.LastTime.s == 3 * 86400 + 1; }},
      {"stamp without a time", "LastTime=1/2/1900", [](const SiteRec& s) { return s.LastTime.s == 3 * 86400; }},
      {"unknown key", "Colour=red", [](const SiteRec& s) { return s.Name == "S"; }},
      {"no sign", "Domain", [](const SiteRec& s) { return s.Domain.empty(); }},
      {"longer key is another key", "DomainX=x", [](const SiteRec& s) { return s.Domain.empty(); }}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Read r("[S]\r\n" + std::string(c.line) + "\r\n\r\n");
    EXPECT_FALSE(r.problem);
    EXPECT_TRUE(c.held(r.t.Site(1)));
  }
}

TEST(SiteFileRead, StampsFollowTheRegionalOrder) {
  LiveTables t;
  const Regional points{"dd.MM.yyyy", "HH:mm:ss"};
  EXPECT_FALSE(ParseSites("[S]\r\nLastTime=09.03.2004 13:00:00\r\n\r\n", points, t));
  EXPECT_EQ(t.Site(1).LastTime, MakeLogTime(*MakeDay(2004, 3, 9), 13 * 3600));
}

TEST(SiteFileRead, Problems_KeepWhatWasReadUpToTheLine) {
  const std::string fifty = [] {
    std::string lines;
    for (int i = 1; i <= 50; ++i) lines += "K" + std::to_string(i) + "=xx\r\n";
    return lines;
  }();
  const auto list = [&](const char* key) { return ReplaceAll(fifty, "K", key) + key + "51=xx\r\n"; };
  struct Case {
    const char* name;
    std::string lines;  // Behind "[One]" and "Domain=read".
    int line;
  };
  const Case cases[] = {{"bad bool", "Paused=maybe\r\n", 3},
                        {"empty bool", "Paused=\r\n", 3},
                        {"bad long", "Frequency=often\r\n", 3},
                        {"empty long", "LastReadPos=\r\n", 3},
                        {"long beyond 32 bits", "Frequency=2147483648\r\n", 3},
                        {"bad time", "SleepStart=25:00:00\r\n", 3},
                        {"empty time", "SleepStart=\r\n", 3},
                        {"bad stamp", "LastTime=yesterday\r\n", 3},
                        {"impossible stamp", "LastTime=2/30/2004 00:00:00\r\n", 3},
                        {"empty stamp", "LastReadDateTime=\r\n", 3},
                        {"bad bool of an alert", "Alert=A\r\nAlertEmail=x\r\n", 4},
                        {"alert key before an alert", "AlertNo=1\r\n", 3},
                        {"51st DNS mask", list("AlertDNS"), 53},
                        {"51st word", list("AlertWORD"), 53},
                        {"51st page", list("AlertPage"), 53},
                        {"51st engine", list("AlertENGINE"), 53}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Read r("[One]\r\nDomain=read\r\n" + c.lines + "HomePage=late\r\n[Two]\r\n\r\n");
    ASSERT_TRUE(r.problem);
    EXPECT_EQ(r.problem->line, c.line);
    EXPECT_NE(r.problem->text, "");
    ASSERT_EQ(r.t.SiteCount(), 1);
    EXPECT_EQ(r.t.Site(1).Domain, "read");
    EXPECT_EQ(r.t.Site(1).HomePage, "");
  }
}

TEST(SiteFileRead, KeyBeforeASection_EndsTheReading) {
  for (const char* line : {"Domain=x", "Paused=True", "Alert=A", "AlertENGINEALL=Y", "AlertDNS1=x", "AlertNo=1"}) {
    SCOPED_TRACE(line);
    Read r(std::string(line) + "\r\n[One]\r\n\r\n");
    ASSERT_TRUE(r.problem);
    EXPECT_EQ(r.problem->line, 1);
    EXPECT_EQ(r.t.SiteCount(), 0);
    EXPECT_TRUE(r.t.Alerts.empty());
  }
  EXPECT_FALSE(Read("Nonsense=1\r\n[One]\r\n\r\n").problem);
}

TEST(SiteFileRead, Alert_OpensARecordOfItsSite) {
  Read r("[One]\r\nAlert=A\r\nAlertNo=7\r\n[Two]\r\nAlert=B\r\nAlert=C\r\nAlertEnabled=False\r\n\r\n");
  EXPECT_FALSE(r.problem);
  ASSERT_EQ(r.t.Alerts.size(), 3u);
  EXPECT_EQ(r.t.Alerts[0].Site, 1);
  EXPECT_EQ(r.t.Alerts[0].AlertNo, 7);
  EXPECT_EQ(r.t.Alerts[1].Site, 2);
  EXPECT_EQ(r.t.Alerts[1].AlertNo, 1);
  EXPECT_TRUE(r.t.Alerts[1].Enabled);
  EXPECT_FALSE(r.t.Alerts[2].Enabled);
  EXPECT_EQ(r.t.Site(1).AlertDefinitions, 1);
  EXPECT_EQ(r.t.Site(2).AlertDefinitions, 2);
}

TEST(SiteFileRead, ListsWithoutAnAlert_GetTheDefaultAlert) {
  struct Case {
    const char* line;
    size_t dns, words, pages, engines;
    bool all;
  };
  for (const Case& c : {Case{"AlertDNS1=X.Y", 1, 0, 0, 0, false}, Case{"AlertWORD=W", 0, 1, 0, 0, false},
                        Case{"AlertPageABC=/P", 0, 0, 1, 0, false}, Case{"AlertENGINE9=GG", 0, 0, 0, 1, false},
                        Case{"AlertENGINEALL=Y", 0, 0, 0, 0, true}, Case{"AlertENGINEALL=N", 0, 0, 0, 0, false}}) {
    SCOPED_TRACE(c.line);
    Read r("[One]\r\nAlert=Own\r\n[Two]\r\n" + std::string(c.line) + "\r\n\r\n");
    EXPECT_FALSE(r.problem);
    ASSERT_EQ(r.t.Alerts.size(), 2u);
    const AlertRec& a = r.t.Alerts[1];
    EXPECT_EQ(a.Name, "Default (All Visitors)");
    EXPECT_EQ(a.Site, 2);
    EXPECT_EQ(a.DNS.size(), c.dns);
    EXPECT_EQ(a.Word.size(), c.words);
    EXPECT_EQ(a.Page.size(), c.pages);
    EXPECT_EQ(a.Engine.size(), c.engines);
    EXPECT_EQ(a.EngineAll, c.all);
  }
}

TEST(SiteFileRead, Lists_FoldDnsAndWordsAlone) {
  Read r(
      "[S]\r\nAlert=A\r\nalertdns1=*.X.ORG\r\nAlertDNS7=b\r\nAlertWORD1=Buy NOW\r\nAlertPage1=/Index.HTM\r\n"
      "AlertENGINE1=MSN Search\r\nAlertDNS3=\r\n\r\n");
  EXPECT_FALSE(r.problem);
  ASSERT_EQ(r.t.Alerts.size(), 1u);
  const AlertRec& a = r.t.Alerts[0];
  EXPECT_EQ(a.DNS, (std::vector<std::string>{"*.x.org", "b"}));
  EXPECT_EQ(a.Word, std::vector<std::string>{"buy now"});
  EXPECT_EQ(a.Page, std::vector<std::string>{"/Index.HTM"});
  EXPECT_EQ(a.Engine, std::vector<std::string>{"MSN Search"});
}

TEST(SiteFileRead, EngineRules_TellTheFlagFromTheNames) {
  struct Case {
    const char* line;
    bool all;
    size_t engines;
  };
  for (const Case& c :
       {Case{"AlertENGINEALL=Y", true, 0}, Case{"AlertENGINEALL=y", false, 0}, Case{"AlertENGINEALL=N", false, 0},
        Case{"AlertENGINEALL=", false, 0}, Case{"AlertENGINEALL=Yes", false, 1}, Case{"AlertENGINE1=G", false, 0},
        Case{"AlertENGINE1=Go", false, 1}}) {
    SCOPED_TRACE(c.line);
    Read r("[S]\r\nAlert=A\r\n" + std::string(c.line) + "\r\n\r\n");
    EXPECT_FALSE(r.problem);
    EXPECT_EQ(r.t.Alerts.at(0).EngineAll, c.all);
    EXPECT_EQ(r.t.Alerts.at(0).Engine.size(), c.engines);
  }
}

TEST(SiteFileRead, SingleCharacterEngine_MakesNoDefaultAlert) {
  Read r("[S]\r\nAlertENGINE1=G\r\n\r\n");
  EXPECT_FALSE(r.problem);
  EXPECT_TRUE(r.t.Alerts.empty());
}

TEST(SiteFileRead, ReadIni_TellsFileAndLine) {
  MemoryFiles files;
  LiveTables none;
  EXPECT_TRUE(ReadINI(files, "/p/", kRegional, none).ok());
  EXPECT_EQ(none.SiteCount(), 0);

  files.Put("/p/VANTRY.INI", "[One]\r\nPaused=x\r\n\r\n");
  LiveTables bad;
  const Status status = ReadINI(files, "/p/", kRegional, bad);
  EXPECT_EQ(status.fail, Fail::kBadData);
  EXPECT_TRUE(StartsWith(status.text, "/p/VANTRY.INI line 2: ")) << status.text;
  EXPECT_EQ(bad.SiteCount(), 1);

  files.entries["/p/VANTRY.INI"]->readable = false;
  LiveTables unread;
  EXPECT_EQ(ReadINI(files, "/p/", kRegional, unread).fail, Fail::kIo);
  EXPECT_EQ(unread.SiteCount(), 0);
}

}  // namespace
}  // namespace vantry
