// The table of formats, and a line of each from its bytes to its hit.
#include "logs/formats.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "logs/line_parser.h"
#include "logs/recogniser.h"
#include "support/fakes.h"

namespace vantry {
namespace {

struct Sample {
  LogType type;
  std::string header, line;  // The header without an end, empty where the format has none.
  std::string date, time, ip, user, method, page, query;
  int32_t status, win32;
  std::string agent, referrer;
  int32_t shift;  // 77 where the format leaves it.
};

// At least one for each format.
const Sample kSamples[] = {
    {LogType::kW3C,
     "#Fields: date time c-ip cs-username cs-method cs-uri-stem cs-uri-query sc-status sc-win32-status "
     "cs(User-Agent) cs(Referer)",
     "2026-03-05 09:00:01 10.0.0.9 anna GET /a.asp x=1 404 5 \"Agent/1\" http://b.example/", "20260305", "09:00:01",
     "10.0.0.9", "anna", "GET", "/a.asp", "x=1", 404, 5, "Agent/1", "http://b.example/", 77},
    {LogType::kIIS, "",
     "10.0.0.9, -, 03/05/26, 8:50:10, W3SVC1, HOST, 10.1.1.1, 60, 275, 4096, 200, 7, GET, /s.asp, -,", "20260305",
     "08:50:10", "10.0.0.9", "", "", "/s.asp", "", 0, 200, "", "", 0},
    {LogType::kNCSA, "",
     "10.0.0.9 - anna [05/Mar/2026:13:55:36 -0700] \"GET / HTTP/1.0\" 304 1 \"http://b/\" \"A/1 (x)\"", "20260305",
     "13:55:36", "10.0.0.9", "", "", "/home.htm", "", 304, 0, "A/1", "\"http://b/\"", -25200},
    {LogType::kProxy, "",
     "10.0.0.9, anna, Agent, Y, 3/5/2026, 9:00:00, 1, P, -, h, 1.1.1.1, 80, 15, 12, 30, http, GET, -, "
     "http://s.example/p.asp?a=1, -, -, 12",
     "20260305", "09:00:00", "10.0.0.9", "anna", "", "http://s.example/p.asp", "a=1", 0, 12, "Agent", "", 0},
    {LogType::kFirewall, "#Fields: date time action protocol src-ip dst-ip src-port dst-port size tcpwin",
     "2026-03-05 09:00:00 DROP TCP 1.2.3.4 10.0.0.9 3000 135 48 6400", "20260305", "09:00:00", "10.0.0.9", "", "",
     "DROP", "", 0, 6400, "TCP", "", 77},
    {LogType::kISA, "#Fields: c-ip\tcs-username\tc-agent\tdate\ttime\tcs-uri\tsc-status",
     "10.0.0.9\tanna\tAgent 1\t2026-03-05\t09:00:00\thttp://s.example/d/p.asp?a=1\t200", "20260305", "09:00:00",
     "10.0.0.9", "anna", "", "p.asp", "a=1", 200, 0, "Agent 1", "http://s.example/d/", 77},
};

struct ParserRig {
  HitRec hit;
  int32_t shift = 77;
  FakeClock clock;
  LineParser parser{hit, shift, clock};
  SiteRec site;

  explicit ParserRig(LogType type) {
    parser.SetFormat(FormatOf(type));
    site.HomePage = "home.htm";
    site.IncludeQuery = true;
  }
  void Line(const std::string& line) {
    parser.ReadTime(line);
    parser.ReadPage(site);
    parser.ReadAddress();
    parser.ReadRemainingFields();
  }
};

TEST(Formats, TypesAreTheNumbersFromZeroOn) {
  std::set<int> types;
  for (const LogFormat& format : Formats()) {
    types.insert(static_cast<int>(format.type));
    EXPECT_EQ(&FormatOf(format.type), &format);
    EXPECT_FALSE(format.name.empty());
    EXPECT_TRUE(format.recognise && format.read_date);
    EXPECT_TRUE(format.layout || !format.header.empty()) << "nothing tells the fields of " << format.name;
    EXPECT_TRUE(
        std::any_of(std::begin(kSamples), std::end(kSamples), [&](const Sample& s) { return s.type == format.type; }))
        << format.name << " has no sample";
  }
  EXPECT_EQ(types.size(), Formats().size());
  EXPECT_EQ(*types.begin(), 0);
  EXPECT_EQ(*types.rbegin(), static_cast<int>(Formats().size()) - 1);
}

TEST(Formats, TypeThatDoesNotExistIsReadLikeW3cWithoutFields) {
  const LogFormat& format = FormatOf(static_cast<LogType>(6));
  EXPECT_EQ(format.name, "unknown");
  EXPECT_EQ(format.separator, ' ');
  EXPECT_FALSE(format.layout || format.proxy_style);
  EXPECT_EQ(FieldMap(format.header, "DATE TIME").ordinal, FieldLayout().ordinal);
  EXPECT_EQ(format.read_date, FormatOf(LogType::kW3C).read_date);
}

TEST(Formats, SamplesAreRecognised) {
  for (const Sample& s : kSamples) {
    const auto log = RecogniseLog((s.header.empty() ? s.line : s.header) + "\n");
    ASSERT_TRUE(log.has_value()) << s.line;
    EXPECT_EQ(log->type, s.type) << s.line;
  }
}

TEST(LineParser, Samples) {
  for (const Sample& s : kSamples) {
    SCOPED_TRACE(FormatOf(s.type).name);
    ParserRig rig(s.type);
    if (!s.header.empty()) rig.parser.MapFields(Upper(s.header.substr(9)));
    rig.Line(s.line);
    const HitRec& h = rig.hit;
    EXPECT_EQ(FormatDayKey(h.HitDate), s.date);
    EXPECT_EQ(FormatTime(h.HitTime), s.time);
    EXPECT_EQ(h.HitIP, s.ip);
    EXPECT_EQ(h.HitUser, s.user);
    EXPECT_EQ(h.HitMethod, s.method);
    EXPECT_EQ(h.HitPage, s.page);
    EXPECT_EQ(h.HitQuery, s.query);
    EXPECT_EQ(h.HitStatus, s.status);
    EXPECT_EQ(h.HitWin32, s.win32);
    EXPECT_EQ(h.HitAgent, s.agent);
    EXPECT_EQ(h.HitReferrer, s.referrer);
    EXPECT_EQ(rig.shift, s.shift);
    EXPECT_EQ(rig.parser.AddressIn(s.line), s.ip);
  }
}

TEST(LineParser, TimeIsThatOfTheLineWithTheShift) {
  ParserRig rig(LogType::kNCSA);
  EXPECT_EQ(rig.parser.ReadTime("h - - [10/Oct/2002:13:55:36 -0700] \"GET"),
            MakeLogTime(*MakeDay(2002, 10, 10), 6 * 3600 + 55 * 60 + 36));
  EXPECT_EQ(rig.parser.ReadTime("h - - [11/Oct/2002:00:00:01 +0100] \"GET"), MakeLogTime(*MakeDay(2002, 10, 11), 3601));
}

struct ZoneCase {
  std::string zone;
  int32_t shift;
};

TEST(LineParser, ZoneOfAnNcsaLine) {
  for (const auto& [zone, shift] : std::vector<ZoneCase>{{"+0100]", 3600},
                                                         {"-0500]", -18000},
                                                         {"+0000]", 0},
                                                         {"+0530]", 18000},
                                                         {"+0545]", 18000},
                                                         {"+0550]", 21600},
                                                         {"+0450]", 14400},
                                                         {"-0930]", -32400},
                                                         {"+100", 3600},
                                                         {"UTC]", 77},
                                                         {"", 77},
                                                         {"+9999999]", 3600 * 100}}) {
    ParserRig rig(LogType::kNCSA);
    rig.parser.ReadTime("10.0.0.1 - - [05/Mar/2026:12:00:00 " + zone + " \"GET /a.htm HTTP/1.0\" 200 1");
    EXPECT_EQ(rig.shift, shift) << zone;
  }
}

// The text converted last is kept; another format's reading of the same text must not come from it.
TEST(LineParser, DatesAreReadAnewForEachFormat) {
  ParserRig rig(LogType::kIIS);
  const std::string line = "3/5/2026,3/5/2026,3/5/2026,1:00:00";
  rig.parser.ReadTime(line);
  EXPECT_EQ(FormatDayKey(rig.hit.HitDate), "20260305");
  rig.parser.SetFormat(FormatOf(LogType::kISA));
  rig.parser.MapFields("DATE");
  rig.hit.HitDate = {};
  rig.parser.ReadTime("3/5/2026");
  EXPECT_EQ(rig.hit.HitDate, Day{});
  rig.parser.ReadTime("2026-03-06");
  rig.parser.ReadTime("a date that is longer than the place for the last one");
  EXPECT_EQ(FormatDayKey(rig.hit.HitDate), "20260306");
}

TEST(LineParser, WithoutADateAHitIsTodays) {
  ParserRig rig(LogType::kW3C);
  rig.parser.MapFields("TIME C-IP");
  rig.parser.ReadTime("10:00:00 10.0.0.1");
  EXPECT_EQ(rig.hit.HitDate, DayOf(rig.clock.Now()));
  EXPECT_FALSE(rig.parser.ReadPage(rig.site)) << "nor has it a page";
}

TEST(LineParser, QueryThatIsDroppedKeepsWhatItWas) {
  ParserRig rig(LogType::kW3C);
  rig.parser.MapFields("CS-URI-STEM CS-URI-QUERY");
  rig.parser.DropQuery();
  rig.hit.HitQuery = "before";
  rig.Line("/a.asp x=1");
  EXPECT_EQ(rig.hit.HitQuery, "before");
}

TEST(LineParser, ClearFieldsKeepsDateAndTime) {
  ParserRig rig(LogType::kNCSA);
  rig.Line(kSamples[2].line);
  rig.parser.ClearFields();
  EXPECT_EQ(rig.hit.HitPage + rig.hit.HitIP + rig.hit.HitAgent + rig.hit.HitReferrer, "");
  EXPECT_EQ(rig.hit.HitStatus, 0);
  EXPECT_EQ(FormatDayKey(rig.hit.HitDate), "20260305");
  EXPECT_EQ(FormatTime(rig.hit.HitTime), "13:55:36");
}

TEST(LineParser, AddressInHalfALine) {
  ParserRig rig(LogType::kFirewall);
  EXPECT_EQ(rig.parser.AddressIn("2026-03-05 09:00:00 DROP TCP 1.2.3.4 10.0"), "10.0");
  EXPECT_EQ(rig.parser.AddressIn("2026-03-05 09:00:00 DROP TCP"), std::nullopt);
  rig.parser.MapFields("DATE");
  EXPECT_EQ(rig.parser.AddressIn("2026-03-05 09:00:00 DROP TCP 1.2.3.4 10.0"), std::nullopt);
}

TEST(FieldMap, TabsAndBlanksSeparateAlike) {
  const auto names = FormatOf(LogType::kW3C).header;
  const FieldLayout blanks = FieldMap(names, "DATE TIME C-IP CS-URI-STEM");
  const FieldLayout tabs = FieldMap(names, "date\ttime\tC-IP\tcs-uri-stem");
  EXPECT_EQ(blanks.ordinal, tabs.ordinal);
  EXPECT_EQ(blanks[kUriStem], 3);
  EXPECT_EQ(blanks[kStatus], -1);
}

TEST(FieldMap, NamesDependOnTheType) {
  const auto map = [](LogType type, std::string_view fields) { return FieldMap(FormatOf(type).header, fields); };
  EXPECT_EQ(map(LogType::kFirewall, "DATE ACTION PROTOCOL DST-IP")[kClientIp], 3);
  EXPECT_EQ(map(LogType::kFirewall, "C-IP")[kClientIp], -1);
  EXPECT_EQ(map(LogType::kISA, "C-AGENT CS-URI CS(REFERER)")[kUriStem], 1);
  EXPECT_EQ(map(LogType::kISA, "C-AGENT CS-URI CS(REFERER)")[kReferer], -1);
  EXPECT_EQ(map(LogType::kNCSA, "DATE TIME")[kDate], -1);
  EXPECT_EQ(map(LogType::kW3C, "X  DATE")[kDate], 2) << "two blanks make an empty field between them";
  EXPECT_EQ(map(LogType::kW3C, "DATE C-IP DATE")[kDate], 2) << "the last of two counts";
}

}  // namespace
}  // namespace vantry
