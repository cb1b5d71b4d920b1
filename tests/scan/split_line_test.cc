// SplitLine up to the page: which lines of which format get there, and what they move on the way.
#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

LogTime At(int year, int month, int day, int hour, int minute, int second) {
  return MakeLogTime(*MakeDay(year, month, day), hour * 3600 + minute * 60 + second);
}

TEST(SplitLine, NcsaShiftIsAdded) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.t.Today = *MakeDay(2002, 10, 10);
  EXPECT_TRUE(rig.Line("10.0.0.1 - - [10/Oct/2002:13:55:36 -0700] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\""));
  EXPECT_EQ(rig.t.Hit.HitDate, *MakeDay(2002, 10, 10));
  EXPECT_EQ(rig.t.Hit.HitTime, 13 * 3600 + 55 * 60 + 36);
  EXPECT_EQ(rig.t.HitShift, -25200);
  EXPECT_EQ(rig.t.Site(1).LastReadDateTime, At(2002, 10, 10, 6, 55, 36));
}

TEST(SplitLine, LinesOfOtherDaysMoveThePositionAlone) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  for (const char* date : {"04/Mar/2026", "06/Mar/2026", "05/Mar/9999", "05/Mar/0001", "05/Mar/2025"}) {
    rig.t.Hit.CurPos += 10;
    EXPECT_FALSE(rig.Line("10.0.0.1 - - [" + std::string(date) + ":12:00:00 +0000] \"GET /a.htm HTTP/1.0\" 200 1"))
        << date;
    EXPECT_EQ(rig.t.Site(1).LastReadPos, rig.t.Hit.CurPos);
  }
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
  EXPECT_EQ(rig.t.Site(1).LastReadDateTime, LogTime{});
}

TEST(SplitLine, GarbledDateKeepsTheDateBefore) {
  for (const std::string bad : {"31/Feb/2026", "05/Xyz/2026", "garbage", "", "00/Mar/2026"}) {
    ScanRig rig;
    rig.AddSite();
    rig.Ready();
    rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
    EXPECT_TRUE(rig.Line("10.0.0.2 - - [" + bad + ":11:00:05 +0000] \"GET /b.htm HTTP/1.0\" 200 1 \"-\" \"B\"")) << bad;
    ASSERT_NE(rig.Visitor("10.0.0.2"), nullptr) << bad;
  }
}

TEST(SplitLine, ShortLineKeepsTheFieldsOfTheLineBefore) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 404, "http://out.example/", "Agent/1"));
  rig.Line("10.0.0.2 - - [05/Mar/2026:11:00:01 +0000] \"GET /b.htm");
  ASSERT_NE(rig.Visitor("10.0.0.2"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.2")->Page, "b.htm");
  EXPECT_EQ(rig.Visitor("10.0.0.2")->Status, 404);
  EXPECT_EQ(rig.Visitor("10.0.0.2")->UserAgent, "Agent/1");
}

TEST(SplitLine, StatusThatIsNoNumberKeepsTheOldOne) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm", 301);
  rig.Line("10.0.0.1 - - [05/Mar/2026:11:00:01 +0000] \"GET /b.htm HTTP/1.0\" abc 1");
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Status, 301);
}

TEST(SplitLine, W3cTimesAreShiftedByTheTimeBias) {
  ScanRig rig;
  rig.AddSite(LogType::kW3C);
  rig.t.TimeBias = 2 * 3600;
  rig.Ready();
  rig.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-URI-STEM");
  EXPECT_FALSE(rig.Line("2026-03-05 23:30:00 10.0.0.1 /late.htm"));  // 01:30 of the next day here.
  EXPECT_TRUE(rig.Line("2026-03-04 23:30:00 10.0.0.2 /early.htm"));
  EXPECT_EQ(rig.t.Site(1).LastReadDateTime, At(2026, 3, 5, 1, 30, 0));
  // The setting for local time is kept for the dialogs alone.
  rig.t.Site(1).UseLocalTime = true;
  EXPECT_FALSE(rig.Line("2026-03-05 23:30:00 10.0.0.3 /late.htm"));
}

TEST(SplitLine, HeaderWithoutDateMakesEveryHitTodays) {
  ScanRig rig;
  rig.AddSite(LogType::kW3C);
  rig.Ready();
  rig.scan.Hits().Parser().MapFields("C-IP CS-URI-STEM");
  rig.t.Hit.HitTime = 10 * 3600;
  EXPECT_TRUE(rig.Line("10.0.0.1 /a.htm"));
  EXPECT_EQ(rig.Visitor("10.0.0.1")->StartTime, At(2026, 3, 5, 10, 0, 0));
}

TEST(SplitLine, EmptyLineKeepsDateAndPage) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_TRUE(rig.Line(""));
  EXPECT_EQ(rig.t.Hit.HitPage, "a.htm");
}

TEST(SplitLine, InactivityOfZeroStopsASiteThatHasCaughtUp) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.settings.InactivityMins = 0;
  EXPECT_FALSE(rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm")));
  rig.t.Site(1).CaughtUp = false;
  EXPECT_TRUE(rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm")));
}

TEST(SplitLine, ReplayEndsBehindItsLimit) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  rig.t.Site(1).Replaying = true;
  rig.t.Site(1).ReplayUntilPos = 100;
  rig.t.Hit.CurPos = 100;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.t.Site(1).ReplayUntilPos, 100);
  rig.t.Hit.CurPos = 101;
  rig.Hit("10.0.0.1", "11:00:01", "/b.htm");
  EXPECT_EQ(rig.t.Site(1).ReplayUntilPos, 0);
}

TEST(SplitLine, IisLine) {
  ScanRig rig;
  rig.AddSite(LogType::kIIS);
  rig.t.TimeBias = 3600;
  rig.Ready();
  EXPECT_TRUE(
      rig.Line("10.0.0.9, -, 03/05/26, 8:50:10, W3SVC1, HOST, 10.1.1.1, 60, 275, 4096, 200, 0, GET, /shop.asp, -,"));
  ASSERT_NE(rig.Visitor("10.0.0.9"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Page, "shop.asp");
  EXPECT_EQ(rig.t.HitShift, 0);
  EXPECT_EQ(rig.t.Hit.HitStatus, 0);
  EXPECT_EQ(rig.Visitor("10.0.0.9")->StartTime, At(2026, 3, 5, 8, 50, 10));
}

TEST(SplitLine, ProxyLineSplitsItsQuery) {
  ScanRig rig;
  rig.AddSite(LogType::kProxy);
  rig.Ready();
  rig.Line(
      "10.0.0.9, anna, Agent, Y, 3/5/2026, 9:00:00, 1, P, -, h, 1.1.1.1, 80, 15, 12, 30, http, GET, -, "
      "http://site.example/page.asp?a=1, -, -, 0");
  ASSERT_NE(rig.Visitor("10.0.0.9"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Page, "http://site.example/page.asp");
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Query, "?a=1");
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Referrer, "anna");
  EXPECT_TRUE(rig.t.Site(1).ProxyStyle);
}

TEST(SplitLine, FirewallLineShowsActionsAsPages) {
  ScanRig rig;
  rig.AddSite(LogType::kFirewall);
  rig.Ready();
  rig.Line("2026-03-05 09:00:00 DROP TCP 1.2.3.4 10.0.0.9 3000 135 48 S 1 0 6400 - - -");
  ASSERT_NE(rig.Visitor("10.0.0.9"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Page, "DROP");
  EXPECT_EQ(rig.Visitor("10.0.0.9")->Browser, "TCP");
}

TEST(SplitLine, IsaLineSplitsHostPageAndQuery) {
  for (const bool include : {false, true}) {
    ScanRig rig;
    rig.AddSite(LogType::kISA).IncludeQuery = include;
    rig.Ready();
    rig.scan.Hits().Parser().MapFields("C-IP\tCS-USERNAME\tC-AGENT\tDATE\tTIME\tCS-URI");
    rig.Line("10.0.0.9\tanna\tAgent\t2026-03-05\t09:00:00\thttp://site.example/dir/page.asp?a=1");
    ASSERT_NE(rig.Visitor("10.0.0.9"), nullptr);
    EXPECT_EQ(rig.Visitor("10.0.0.9")->Page, "page.asp");
    EXPECT_EQ(rig.Visitor("10.0.0.9")->Referrer, "http://site.example/dir/");
    EXPECT_EQ(rig.Visitor("10.0.0.9")->Query, include ? "?a=1" : "");
    rig.Line("10.0.0.9\tanna\tAgent\t2026-03-05\t09:00:10\thttp://other.example/x.asp");
    EXPECT_EQ(rig.t.Visitors.Count(), 1);
    EXPECT_EQ(rig.Visitor("10.0.0.9")->VisitNo, 2) << "another target host starts a new visit";
    EXPECT_EQ(rig.Visitor("10.0.0.9")->Query, "");
  }
}

TEST(SplitLine, TenThousandFieldsAndHostileBytesAreJustALine) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  std::string fields;
  for (int i = 0; i < 10'000; ++i) fields += "f ";
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_TRUE(rig.Line(fields));
  EXPECT_TRUE(rig.Line(std::string("\0\xff\xfe \r\n [", 8)));
  rig.Hit("10.0.0.2", "11:00:07", "/b.htm");
  EXPECT_NE(rig.Visitor("10.0.0.2"), nullptr);
}

// A machine two hours ahead of UTC, its logs in different zones.
TEST(SplitLine, CorrectedTimesDecideWhichLinesAreTodays) {
  ScanRig rig;
  rig.t.Corrected.TrueTimes = true;
  rig.clock.utc_offset = 2 * 3600;
  rig.AddSite();
  rig.AddSite(LogType::kW3C);
  rig.AddSite(LogType::kW3C).UseLocalTime = true;
  rig.Ready(1);
  const auto ncsa = [](const char* stamp) {
    return "10.0.0.1 - - [" + std::string(stamp) + "] \"GET /a.htm HTTP/1.0\" 200 1";
  };
  EXPECT_TRUE(rig.Line(ncsa("04/Mar/2026:22:00:00 +0000")));
  EXPECT_EQ(rig.t.Site(1).LastReadDateTime, At(2026, 3, 5, 0, 0, 0));
  EXPECT_FALSE(rig.Line(ncsa("04/Mar/2026:21:59:59 +0000")));
  EXPECT_FALSE(rig.Line(ncsa("05/Mar/2026:22:00:00 +0000")));
  EXPECT_TRUE(rig.Line(ncsa("05/Mar/2026:23:59:59 +0200")));
  EXPECT_TRUE(rig.Line(ncsa("06/Mar/2026:03:00:00 +0530")));
  EXPECT_EQ(rig.t.Site(1).LastReadDateTime, At(2026, 3, 5, 23, 30, 0));
  rig.Ready(2);
  rig.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-URI-STEM");
  EXPECT_TRUE(rig.Line("2026-03-04 22:30:00 10.0.0.2 /a.htm", 2));
  EXPECT_EQ(FormatTime(SecondOfDay(rig.Visitor("10.0.0.2", 2)->StartTime)), "00:30:00");
  rig.Ready(3);
  rig.scan.Hits().Parser().MapFields("DATE TIME C-IP CS-URI-STEM");
  EXPECT_FALSE(rig.Line("2026-03-04 22:30:00 10.0.0.2 /a.htm", 3));
  EXPECT_TRUE(rig.Line("2026-03-05 22:30:00 10.0.0.2 /a.htm", 3));
  EXPECT_EQ(FormatTime(SecondOfDay(rig.Visitor("10.0.0.2", 3)->StartTime)), "22:30:00");
}

}  // namespace
}  // namespace vantry
