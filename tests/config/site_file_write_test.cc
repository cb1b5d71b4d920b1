// VANTRY.INI as it is written, and that each key comes back.
#include <functional>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "config/golden.h"
#include "config/site_file.h"
#include "core/text.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

const Regional kSiteRegional;

AlertRec FullAlert(int16_t site, int16_t number, const char* name) {
  AlertRec a;
  a.Site = site;
  a.AlertNo = number;
  a.Name = name;
  a.Color = -1;
  a.Email = a.Sound = a.RunThis = true;
  a.EmailAddress = "a@example";
  a.SoundFile = "ding.wav";
  a.Run = "/bin/x";
  a.Message = "Look here";
  return a;
}

SiteRec FullSite() {
  SiteRec s;
  s.Name = "News";
  s.Type = LogType::kNCSA;
  s.SelectMethod = FileChoice::kAlphabetic;
  s.Unix = s.IncludeQuery = s.FTP = s.FTPPassive = s.Paused = s.SleepMode = s.UseLocalTime = s.WebAccess = true;
  s.Touch = s.AutoArchive = s.EmailGlobalAlso = s.EmailDailyReport = s.EmailNoExceptions = true;
  s.Folder = "/var/log/web/";
  s.Mask = "ex*.log";
  s.FTPDomain = "ftp.example";
  s.FTPUserName = "fu";
  s.FTPPassword = "fp";
  s.FTPPath = "/logs";
  s.Domain = "news.example";
  s.HomePage = "index.htm";
  s.Frequency = 30;
  s.Exclude = "10.0.*;";
  s.ExcludePages = "*.gif;";
  s.SleepStart = 81'000;
  s.SleepEnd = 22'559;
  s.LastLogFile = "/var/log/web/ex1.log";
  s.LastReadPos = 5'000'000'000;
  s.LastReadPosDay = 4'999'999'999;
  s.LastFields = "DATE TIME C-IP";
  s.LastIP = "10.0.0.7";
  s.LastTime = MakeLogTime(*MakeDay(2004, 3, 9), 47'106);
  s.LastReadDateTime = MakeLogTime(*MakeDay(2004, 10, 31), 86'399);
  s.WebUserName = "wu";
  s.WebPassword = "wp";
  s.WebLogo = "/logo.gif";
  s.TouchEvery = 5;
  s.TouchPage = "/t.htm";
  s.EmailAddress = "e@example";
  return s;
}

// Two sites and three alerts whose bytes are those of two_sites.ini.
void Fill(LiveTables& t) {
  t.Sites.resize(2);
  t.Site(1).Name = "A=B]";
  t.Site(1).Mask = "*.LOG";
  t.Site(1).WebReferrers = true;
  t.Site(2) = FullSite();
  AddAlertDefinition(t, 1, "First");
  AlertRec& first = t.Alerts[0];
  first.Color = 255;
  first.DNS = {"*.one.example", "*.two.example"};
  first.Word = {"word"};
  first.Page = {"/Buy.htm", "/Pay.htm"};
  first.Engine = {"Not written"};
  first.EngineAll = true;
  t.Alerts.push_back(FullAlert(2, 2, "Second"));
  t.Alerts.back().DNS = {"*.three.example"};
  t.Alerts.back().Word = {"a", "b"};
  t.Alerts.back().Engine = {"Google", "x", "", "MSN Search"};
  t.Alerts.push_back(FullAlert(2, 3, "Third"));
  t.Alerts.back().DNS = {"", "*.four.example"};
  t.Alerts.back().Page = {"/x"};
}

TEST(SiteFileWrite, TwoSitesWithAlerts_AreWrittenByteForByte) {
  LiveTables t;
  Fill(t);
  CheckGolden("two_sites.ini", FormatSites(kSiteRegional, t));
}

TEST(SiteFileWrite, CorrectedDates_AreWrittenWithTheYearInFront) {
  LiveTables t;
  t.Corrected.IsoDates = true;
  Fill(t);
  CheckGolden("two_sites_iso.ini", FormatSites(kSiteRegional, t));
}

TEST(SiteFileWrite, BothFormsOfDates_AreReadWhateverTheSettings) {
  for (const char* golden : {"two_sites.ini", "two_sites_iso.ini"}) {
    for (const bool corrected : {false, true}) {
      LiveTables t;
      t.Corrected.IsoDates = corrected;
      ASSERT_FALSE(ParseSites(Golden(golden), kSiteRegional, t)) << golden;
      EXPECT_EQ(t.Site(2).LastTime, MakeLogTime(*MakeDay(2004, 3, 9), 47'106));
      EXPECT_EQ(t.Site(1).LastTime, LogTime{});
      EXPECT_EQ(FormatSites(kSiteRegional, t), Golden(corrected ? "two_sites_iso.ini" : "two_sites.ini"));
    }
  }
  // A file of corrected dates outlives a change of the regional settings.
  for (const char* pattern : {"d.M.yyyy", "yy/MM/dd", "dd/MM/yy"}) {
    LiveTables t;
    ASSERT_FALSE(ParseSites(Golden("two_sites_iso.ini"), Regional{.short_date = pattern}, t));
    EXPECT_EQ(t.Site(2).LastReadDateTime, MakeLogTime(*MakeDay(2004, 10, 31), 86'399)) << pattern;
  }
}

TEST(SiteFileWrite, GoldenFile_IsReadAndWrittenBackTheSame) {
  LiveTables t;
  EXPECT_FALSE(ParseSites(Golden("two_sites.ini"), kSiteRegional, t));
  ASSERT_EQ(t.SiteCount(), 2);
  EXPECT_EQ(t.Site(2).AlertDefinitions, 2);
  EXPECT_TRUE(t.Site(2).FieldsKnown);
  CheckGolden("two_sites.ini", FormatSites(kSiteRegional, t));
}

// The lines of the second site, each with what it holds when it is the only one. Two keys that were mixed up in the
// reader and the writer alike would pass the tests above, not this one.
TEST(SiteFileWrite, EveryKey_FillsItsOwnFieldAlone) {
  const std::string golden = Golden("two_sites.ini");
  const size_t begin = golden.find("[News]");
  const std::string keys_of_site = golden.substr(begin, golden.find("\r\n\r\n", begin) - begin);
  const SiteRec full = FullSite();
  const SiteRec empty;
  int keys = 0, differing = 0;
  const auto compare = [&](const auto field, const SiteRec& got) {
    differing += !(got.*field == empty.*field);
    return got.*field == full.*field;
  };
  struct Case {
    const char* key;
    std::function<bool(const SiteRec&)> held;
  };
#define VANTRY_FIELD(name)                                              \
  {                                                                     \
#name, [&](const SiteRec& s) { return compare(&SiteRec::name, s); } \
  }
  const Case cases[] = {VANTRY_FIELD(Type),
                        VANTRY_FIELD(Unix),
                        VANTRY_FIELD(Folder),
                        VANTRY_FIELD(Mask),
                        VANTRY_FIELD(SelectMethod),
                        VANTRY_FIELD(IncludeQuery),
                        VANTRY_FIELD(FTP),
                        VANTRY_FIELD(FTPPassive),
                        VANTRY_FIELD(FTPDomain),
                        VANTRY_FIELD(FTPUserName),
                        VANTRY_FIELD(FTPPassword),
                        VANTRY_FIELD(FTPPath),
                        VANTRY_FIELD(Domain),
                        VANTRY_FIELD(HomePage),
                        VANTRY_FIELD(Frequency),
                        VANTRY_FIELD(Exclude),
                        VANTRY_FIELD(ExcludePages),
                        VANTRY_FIELD(Paused),
                        VANTRY_FIELD(SleepMode),
                        VANTRY_FIELD(SleepStart),
                        VANTRY_FIELD(SleepEnd),
                        VANTRY_FIELD(LastLogFile),
                        VANTRY_FIELD(LastReadPos),
                        VANTRY_FIELD(LastReadPosDay),
                        VANTRY_FIELD(LastFields),
                        VANTRY_FIELD(LastIP),
                        VANTRY_FIELD(LastTime),
                        VANTRY_FIELD(LastReadDateTime),
                        VANTRY_FIELD(UseLocalTime),
                        VANTRY_FIELD(WebAccess),
                        VANTRY_FIELD(WebUserName),
                        VANTRY_FIELD(WebPassword),
                        VANTRY_FIELD(WebLogo),
                        VANTRY_FIELD(WebReferrers),
                        VANTRY_FIELD(Touch),
                        VANTRY_FIELD(TouchEvery),
                        VANTRY_FIELD(TouchPage),
                        VANTRY_FIELD(AutoArchive),
                        VANTRY_FIELD(EmailAddress),
                        VANTRY_FIELD(EmailGlobalAlso),
                        VANTRY_FIELD(EmailDailyReport),
                        VANTRY_FIELD(EmailNoExceptions)};
#undef VANTRY_FIELD
  for (const std::string_view line : TextLines(keys_of_site)) {
    if (StartsWith(line, "[")) continue;
    SCOPED_TRACE(line);
    LiveTables t;
    EXPECT_FALSE(ParseSites("[S]\r\nWebReferrers=False\r\n" + std::string(line) + "\r\n\r\n", kSiteRegional, t));
    ASSERT_LT(static_cast<size_t>(keys), std::size(cases));
    const Case& own = cases[keys++];
    EXPECT_TRUE(StartsWith(line, std::string(own.key) + "="));
    EXPECT_TRUE(own.held(t.Site(1)));
    differing = 0;
    for (const Case& c : cases) c.held(t.Site(1));
    EXPECT_EQ(differing, std::string_view(own.key) == "WebReferrers" ? 0 : 1);
  }
  EXPECT_EQ(keys, 42);
}

TEST(SiteFileWrite, EveryAlertKey_ComesBack) {
  LiveTables t;
  EXPECT_FALSE(ParseSites(Golden("two_sites.ini"), kSiteRegional, t));
  ASSERT_EQ(t.Alerts.size(), 3u);
  const AlertRec& a = t.Alerts[1];
  EXPECT_EQ(a.Site, 2);
  EXPECT_EQ(a.Name, "Second");
  EXPECT_EQ(a.AlertNo, 2);
  EXPECT_FALSE(a.Enabled);
  EXPECT_EQ(a.Color, -1);
  EXPECT_TRUE(a.Email && a.Sound && a.RunThis);
  EXPECT_EQ(a.EmailAddress, "a@example");
  EXPECT_EQ(a.SoundFile, "ding.wav");
  EXPECT_EQ(a.Run, "/bin/x");
  EXPECT_EQ(a.Message, "Look here");
  EXPECT_EQ(a.DNS, std::vector<std::string>{"*.three.example"});
  EXPECT_EQ(a.Engine, (std::vector<std::string>{"Google", "MSN Search"}));
  EXPECT_TRUE(t.Alerts[0].EngineAll);
  EXPECT_EQ(t.Alerts[0].Color, 255);
  EXPECT_FALSE(t.Alerts[2].EngineAll);
}

TEST(SiteFileWrite, DnsNumbers_RunOnOverTheWholeFile) {
  LiveTables t;
  t.Sites.resize(3);
  for (int16_t site = 1; site <= 3; ++site) {
    AddAlertDefinition(t, site, "A");
    t.Alerts.back().DNS = {"d"};
    t.Alerts.back().Word = {"w"};
  }
  t.Site(2).Deleted = true;
  const std::string text = FormatSites(kSiteRegional, t);
  EXPECT_TRUE(Contains(text, "AlertDNS1=d\r\nAlertWORD1=w"));
  EXPECT_TRUE(Contains(text, "AlertDNS2=d\r\nAlertWORD1=w"));
  EXPECT_FALSE(Contains(text, "AlertDNS3"));
  EXPECT_FALSE(Contains(text, "AlertWORD2"));
}

TEST(SiteFileWrite, DeletedSite_IsDroppedWithItsAlerts) {
  LiveTables t;
  Fill(t);
  t.Site(1).Deleted = true;
  const std::string text = FormatSites(kSiteRegional, t);
  EXPECT_TRUE(StartsWith(text, "[News]\r\n"));
  EXPECT_FALSE(Contains(text, "First"));
  EXPECT_TRUE(Contains(text, "AlertDNS1=*.three.example"));
  EXPECT_EQ(t.SiteCount(), 2);
}

TEST(SiteFileWrite, SleepPause_IsNotStored) {
  struct Case {
    bool sleeping, paused;
    const char* line;
    bool paused_after;
  };
  for (const Case& c : {Case{true, true, "Paused=False", false}, Case{true, false, "Paused=False", false},
                        Case{false, true, "Paused=True", true}, Case{false, false, "Paused=False", false}}) {
    LiveTables t;
    t.Sites.resize(1);
    t.Site(1).Sleeping = c.sleeping;
    t.Site(1).Paused = c.paused;
    EXPECT_TRUE(Contains(FormatSites(kSiteRegional, t), c.line));
    EXPECT_EQ(t.Site(1).Paused, c.paused_after);
    EXPECT_EQ(t.Site(1).Sleeping, c.sleeping);
  }
}

TEST(SiteFileWrite, LineEndsInTexts_MakeNoLinesOfTheirOwn) {
  LiveTables t;
  t.Sites.resize(1);
  t.Site(1).Name = "a\r\nb";
  t.Site(1).Domain = "x\r\nPaused=True\r\n[evil]";
  LiveTables again;
  EXPECT_FALSE(ParseSites(FormatSites(kSiteRegional, t), kSiteRegional, again));
  ASSERT_EQ(again.SiteCount(), 1);
  EXPECT_EQ(again.Site(1).Name, "a  b");
  EXPECT_FALSE(again.Site(1).Paused);
}

TEST(SiteFileWrite, WhatHistoryHasOnTheDisk_IsSavedInPlaceOfWhatWasRead) {
  LiveTables t;
  Fill(t);
  const std::string before = FormatSites(kSiteRegional, t);
  SiteRec& site = t.Site(1);
  site.Stored = static_cast<const ReadState&>(site);
  site.LastLogFile = "/var/log/web/ex2.log";
  site.LastReadPos = site.LastReadPosDay = 6'000'000'000;
  site.LastFields = "TIME";
  site.LastReadDateTime = site.LastTime = MakeLogTime(*MakeDay(2005, 1, 1), 1);
  site.LastIP = "10.0.0.8";
  EXPECT_EQ(FormatSites(kSiteRegional, t), before);
  EXPECT_EQ(site.LastReadPos, 6'000'000'000);
}

TEST(SiteFileWrite, NoSiteLeft_RemovesTheFile) {
  MemoryFiles files;
  files.Put("/p/VANTRY.INI", "old");
  LiveTables t;
  EXPECT_TRUE(WriteINI(files, "/p/", kSiteRegional, t).ok());
  EXPECT_FALSE(files.Exists("/p/VANTRY.INI"));

  files.Put("/p/VANTRY.INI", "old");
  Fill(t);
  t.Site(1).Deleted = t.Site(2).Deleted = true;
  EXPECT_TRUE(WriteINI(files, "/p/", kSiteRegional, t).ok());
  EXPECT_FALSE(files.Exists("/p/VANTRY.INI"));
}

TEST(SiteFileWrite, FailedWrite_KeepsTheOldBytes) {
  MemoryFiles files;
  files.Put("/p/VANTRY.INI", "old");
  files.fails = [](const std::string&) { return true; };
  LiveTables t;
  Fill(t);
  EXPECT_EQ(WriteINI(files, "/p/", kSiteRegional, t).fail, Fail::kIo);
  EXPECT_EQ(files.Get("/p/VANTRY.INI"), "old");
  EXPECT_EQ(files.calls, std::vector<std::string>{"replace /p/VANTRY.INI"});

  LiveTables none;
  EXPECT_EQ(WriteINI(files, "/p/", kSiteRegional, none).fail, Fail::kIo);
  EXPECT_EQ(files.Get("/p/VANTRY.INI"), "old");
}

}  // namespace
}  // namespace vantry
