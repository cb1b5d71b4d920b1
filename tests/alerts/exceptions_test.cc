#include "alerts/exceptions.h"

#include <gtest/gtest.h>

#include "core/exception_numbers.h"
#include "core/quiet_lines.h"
#include "support/alert_rig.h"

namespace vantry {
namespace {

struct ExceptionTest : ::testing::Test {
  AlertRig rig;
  bool Raise(int16_t site, int number, std::optional<std::string_view> value = std::nullopt,
             std::string_view address = "", int32_t visit = 0) {
    return rig.exceptions.AddException(site, number, {}, value, address, visit);
  }
  size_t Rows() const { return rig.t.exGrid.RowCount(); }
};

TEST(ExceptionMessage, FillsThePlaceholders) {
  struct Case {
    const char *description, *value, *address;
    int32_t visit;
    const char* message;
  };
  const Case cases[] = {
      {"More than [value] active visitors", "101", "", 0, "More than 101 active visitors"},
      {"Page [lastpage] after [value] and [value]", "7", "", 0, "Page 7 after 7 and 7"},
      {"Only [the] first [pair]", "x", "", 0, "Only x first [pair]"},
      {"HTTP Gone. Page: [lastpage", "a.htm", "", 0, "HTTP Gone. Page: [lastpage"},
      {"] before [ alone", "v", "", 0, "] before [ alone"},
      {"] before [ and ] behind", "v", "", 0, "] before v behind"},
      {"[[twice]]", "v", "", 0, "v]"},
      {"[]", "v", "", 0, "v"},
      {"[value]", "a [b] c", "", 0, "a a [b] c c"},
      {"[VALUE] and [value]", "5", "", 0, "5 and 5"},
      {"", "v", "", 0, ""},
      {"no placeholder", "v", "10.0.0.1", 0, "no placeholder DNS: 10.0.0.1"},
      {"no placeholder", "v", "", 3, "no placeholder Visit No: 3"},
      {"no placeholder", "v", "host", 12, "no placeholder DNS: host Visit No: 12"},
      {"negative visits", "v", "", -1, "negative visits"},
      {"[value]", "", "", 0, ""},
  };
  for (const Case& c : cases) EXPECT_EQ(ExceptionMessage(c.description, c.value, c.address, c.visit), c.message);
}

// What each built-in type says.
TEST_F(ExceptionTest, EveryTypeHasItsMessage) {
  const std::pair<int, const char*> cases[] = {
      {110, "More than v active visitors"},
      {120, "More than v active visitors"},
      {122, "No visitors for v minutes"},
      {123, "No visitors for v minutes"},
      {130, "Single visitor on site for more than v minutes"},
      {131, "Single visitor viewed more than v pages"},
      {132, "Same visitor returning more than v times in a single day"},
      {133, "Same visitor returning more than v times"},
      {134, "Single visitor viewed page v for more than 5 minutes"},
      {150, "The EXE file v was requested"},
      {151, "The DLL file v was requested"},
      {152, "The BAT file v was requested"},
      {153, "The VBS file v was requested"},
      {160, "The requested path v contains  ../"},
      {161, "Visitor generated more than v 404 errors"},
      {162, "Visitor used a PUT request on page v"},
      {163, "Visitor used a DELETE request on page v"},
      {164, "Visitor requested more than v pages during 1 minute"},
      {165, "Possible HACKER detected!"},
      {170, "Touch failed with error v. The web server may be down!"},
      {171, "Touch resumed. The web server is back up!"},
      {180, "Failed to logon to SQL Server v. The SQL Server may be down!"},
      {181, "Logon to SQL Server v resumed. The SQL Server appears to be back on-line!"},
      {400, "HTTP Bad request. Page: v"},
      {401, "HTTP Unauthorised. Page: v"},
      {403, "HTTP Forbidden. Page: v"},
      {404, "HTTP Page v not found 404 error"},
      {405, "HTTP Method not allowed. Page: v"},
      {406, "HTTP Not acceptable. Page: [lastpage"},
      {407, "HTTP Proxy authentication required. Page: [lastpage"},
      {408, "HTTP Request timeout. Page: [lastpage"},
      {409, "HTTP Conflict. Page: [lastpage"},
      {410, "HTTP Gone. Page: [lastpage"},
      {411, "HTTP Length required. Page: [lastpage"},
      {412, "HTTP Precondition failed. Page: [lastpage"},
      {413, "HTTP Request entity too large. Page: [lastpage"},
      {414, "HTTP Request URI too log. Page: [lastpage"},
      {415, "HTTP Unsupported media type. Page: [lastpage"},
      {416, "HTTP Requested range not satisfiable. Page: [lastpage"},
      {417, "HTTP Expectation failed. Page: [lastpage"},
      {500, "HTTP Internal server error. Page: v"},
      {502, "HTTP Bad gateway. Page: v"},
      {503, "HTTP Server overloaded."},
      {504, "HTTP Gateway timeout."},
      {505, "HTTP Version not supported."},
      {900, "Unrecognised browser: v"},
      {902, "New unknown spider detected: v"},
  };
  ASSERT_EQ(std::size(cases), rig.settings.ExceptionTypes.size());
  for (const auto& [number, message] : cases) {
    ASSERT_TRUE(Raise(1, number, "v", "10.0.0.1", 2)) << number;
    EXPECT_EQ(rig.LastRow(), "1|One|" + std::to_string(Rows()) + "|" + std::to_string(number) +
                                 "|3/5/2026 12:00:00 PM|" + message + " DNS: 10.0.0.1 Visit No: 2");
  }
}

TEST_F(ExceptionTest, WhatIsOffOrUnknownLeavesNoTrace) {
  rig.Type(404).Raise = false;
  EXPECT_FALSE(Raise(1, 404, "a.htm"));
  EXPECT_FALSE(Raise(1, 999, "a.htm"));
  rig.history.ready = false;
  EXPECT_FALSE(Raise(1, 403, "a.htm"));
  EXPECT_EQ(Rows(), 0u);
  EXPECT_EQ(rig.t.TotalExceptionCount + rig.t.TodayExceptionCount + rig.t.Site(1).TotalExceptions, 0);
  EXPECT_TRUE(rig.history.rows.empty());
}

TEST_F(ExceptionTest, TablesThatCantBeReadSilenceNobodyWhenCorrected) {
  ExceptionType& type = rig.Type(404);
  type.EmailAddress = "admin@example";
  type.EventLog = type.RunProgram = true;
  type.Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  rig.history.ready = false;
  rig.t.Corrected.RaiseWithoutHistory = true;
  EXPECT_TRUE(Raise(1, 404, "a.htm"));
  EXPECT_EQ(rig.mail.sent.size(), 1u);
  EXPECT_EQ(rig.notices.events.size(), 1u);
  EXPECT_EQ(rig.programs.started.size(), 1u);
  EXPECT_EQ(Rows(), 1u);
  EXPECT_EQ(rig.t.Site(1).TodayExceptions, 1);
  rig.Type(403).Raise = false;
  EXPECT_FALSE(Raise(1, 403, "a.htm"));
  EXPECT_FALSE(Raise(1, 999, "a.htm"));
}

TEST_F(ExceptionTest, AMissingValueIsTheTypesThreshold) {
  EXPECT_TRUE(Raise(1, kExNoVisitors));
  EXPECT_EQ(rig.LastRow(), "1|One|1|122|3/5/2026 12:00:00 PM|No visitors for 60 minutes");
  EXPECT_TRUE(Raise(1, kExNoVisitors, ""));
  EXPECT_EQ(rig.LastRow(), "1|One|2|122|3/5/2026 12:00:00 PM|No visitors for  minutes");
}

TEST_F(ExceptionTest, CountsForTheSiteAndTheWhole) {
  Raise(1, 404, "a");
  Raise(2, 404, "a");
  Raise(0, kExSqlServerDown, "server");
  EXPECT_EQ(rig.t.TotalExceptionCount, 3);
  EXPECT_EQ(rig.t.TodayExceptionCount, 3);
  EXPECT_EQ(rig.t.Site(1).TotalExceptions, 1);
  EXPECT_EQ(rig.t.Site(2).TodayExceptions, 1);
  EXPECT_EQ(rig.LastRow(),
            "0||3|180|3/5/2026 12:00:00 PM|Failed to logon to SQL Server server. The SQL Server may be down!");
  EXPECT_EQ(rig.view.Count("update"), 3);
}

TEST_F(ExceptionTest, NumbersRunInTheSiteAndWithoutOneInTheWhole) {
  rig.t.TotalExceptionCount = 20;
  rig.t.TodayExceptionCount = 10;
  rig.t.Site(1).TotalExceptions = 7;
  rig.t.Site(1).TodayExceptions = 2;
  Raise(1, 404, "a");
  EXPECT_TRUE(StartsWith(rig.LastRow(), "1|One|8|404|")) << rig.LastRow();
  Raise(2, 404, "a");
  EXPECT_TRUE(StartsWith(rig.LastRow(), "2|Two|1|404|")) << rig.LastRow();
  Raise(0, kExSqlServerDown, "a");
  EXPECT_TRUE(StartsWith(rig.LastRow(), "0||23|180|")) << rig.LastRow();
  EXPECT_EQ(rig.t.TotalExceptionCount, 23);
  EXPECT_EQ(rig.t.TodayExceptionCount, 13);
  EXPECT_EQ(rig.t.Site(1).TotalExceptions, 8);
  EXPECT_EQ(rig.t.Site(1).TodayExceptions, 3);
  EXPECT_EQ(rig.t.Site(2).TotalExceptions, 1);
  EXPECT_EQ(rig.t.Site(2).TodayExceptions, 1);
}

TEST_F(ExceptionTest, ATimeThatIsGivenCounts) {
  rig.exceptions.AddException(1, 404, MakeLogTime(*MakeDay(2026, 3, 4), 3600), "a", "", 0);
  EXPECT_EQ(rig.LastRow(), "1|One|1|404|3/4/2026 1:00:00 AM|HTTP Page a not found 404 error");
  EXPECT_EQ(rig.history.rows,
            std::vector<std::string>{"One: |" + std::to_string(MakeDay(2026, 3, 4)->n * kSecondsPerDay + 3600) +
                                     "|404||0|a"});
}

TEST_F(ExceptionTest, RowsAreHiddenAsTheViewSays) {
  const auto hidden = [&] {
    bool last = false;
    for (const ExceptionRow& row : rig.t.exGrid) last = row.hidden;
    return last;
  };
  rig.t.CurrentView = 2;
  Raise(1, 404, "a");
  EXPECT_TRUE(hidden());
  Raise(2, 404, "a");
  EXPECT_FALSE(hidden());
  Raise(0, kExSqlServerDown, "a");
  EXPECT_FALSE(hidden());
  rig.t.Site(2).ExceptionView = 1;  // Type 110.
  Raise(2, 404, "a");
  EXPECT_TRUE(hidden());
  Raise(2, kExActiveVisitors, "a");
  EXPECT_FALSE(hidden());
  Raise(0, kExSqlServerDown, "a");
  EXPECT_FALSE(hidden());
}

TEST_F(ExceptionTest, EveryActionGetsItsOwnText) {
  ExceptionType& type = rig.Type(404);
  type.EmailAddress = "admin@example";
  type.EventLog = type.SMS = type.RunProgram = true;
  type.EventLevel = 2;
  type.SMSNumber = "0123";
  type.Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  Raise(1, 404, "a.htm", "host.example", 7);
  const std::string message = "HTTP Page a.htm not found 404 error DNS: host.example Visit No: 7";
  ASSERT_EQ(rig.mail.sent.size(), 1u);
  EXPECT_EQ(rig.mail.sent[0].body, "One: [404] " + message + " @ 3/5/2026 12:00:00 PM");
  EXPECT_EQ(rig.mail.sent[0].recipients, std::vector<std::string>{"admin@example"});
  EXPECT_EQ(rig.history.rows,
            std::vector<std::string>{"One: |" + std::to_string(rig.Noon().s) + "|404|host.example|7|a.htm"});
  EXPECT_EQ(rig.notices.events, std::vector<std::string>{"2 One: [404] " + message});
  EXPECT_EQ(rig.program_log, "3/5/2026 12:00:00 PM One: [404] " + message + "\r\n");
  EXPECT_EQ(rig.files.Get("/sms/POLLED.TXT"), "0123\t[One: ] " + message + "\t3/5/2026\t12:00:00\r\n");
  EXPECT_EQ(rig.programs.started, std::vector<std::string>{"/bin/act"});
  EXPECT_EQ(rig.programs.environment, (std::map<std::string, std::string>{{"vantryIPAddress", "host.example"},
                                                                          {"vantryExceptionNumber", "404"},
                                                                          {"vantryExceptionValue", "a.htm"},
                                                                          {"vantrySiteName", "One: "}}));
}

TEST_F(ExceptionTest, AnExceptionOfNoSiteHasNoSiteText) {
  ExceptionType& type = rig.Type(kExSqlServerDown);
  type.EmailAddress = "admin@example";
  type.EventLog = type.SMS = true;
  type.EventLevel = 0;
  type.SMSNumber = "1";
  Raise(0, kExSqlServerDown, "db1");
  const std::string message = "Failed to logon to SQL Server db1. The SQL Server may be down!";
  EXPECT_EQ(rig.mail.sent.at(0).body, "[180] " + message + " @ 3/5/2026 12:00:00 PM");
  EXPECT_EQ(rig.notices.events, std::vector<std::string>{"4 [180] " + message});
  EXPECT_EQ(rig.files.Get("/sms/POLLED.TXT"), "1\t[] " + message + "\t3/5/2026\t12:00:00\r\n");
}

TEST_F(ExceptionTest, ASiteCanBeKeptOutOfTheMailButNotOutOfTheRecord) {
  ExceptionType& type = rig.Type(404);
  type.EmailAddress = "admin@example";
  type.EventLog = type.SMS = type.RunProgram = true;
  type.Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  rig.t.Site(1).EmailNoExceptions = true;
  EXPECT_TRUE(Raise(1, 404, "a"));
  EXPECT_TRUE(rig.mail.sent.empty());
  EXPECT_EQ(rig.files.Get("/sms/POLLED.TXT"), "<none>");
  EXPECT_EQ(rig.notices.events.size(), 1u);
  EXPECT_EQ(rig.programs.started.size(), 1u);
  EXPECT_EQ(rig.history.rows.size(), 1u);
}

TEST_F(ExceptionTest, AReplayIsCountedAndListedInSilence) {
  ExceptionType& type = rig.Type(404);
  type.EmailAddress = "admin@example";
  type.EventLog = type.SMS = type.RunProgram = true;
  type.Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  rig.t.Site(1).ReplayUntilPos = 100;
  EXPECT_TRUE(Raise(1, 404, "a"));
  EXPECT_TRUE(rig.mail.sent.empty() && rig.notices.events.empty() && rig.programs.started.empty());
  EXPECT_TRUE(rig.history.rows.empty() && rig.programs.environment.empty());
  EXPECT_EQ(rig.files.Get("/sms/POLLED.TXT"), "<none>");
  EXPECT_EQ(Rows(), 1u);
  EXPECT_EQ(rig.t.Site(1).TodayExceptions, 1);
}

TEST_F(ExceptionTest, LinesFromBeforeTheStartAreStoredAndToldToNobodyWhenCorrected) {
  ExceptionType& type = rig.Type(404);
  type.EmailAddress = "admin@example";
  type.EventLog = type.SMS = type.RunProgram = true;
  type.Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  SiteRec& site = rig.t.Site(1);
  site.ReadFromStart = site.Scanning = true;
  rig.t.Started = rig.clock.now;
  const auto told = [&](int64_t seconds_before) {
    site.LastReadDateTime.s = rig.t.Started.s - seconds_before;
    const size_t before = rig.programs.started.size();
    EXPECT_TRUE(Raise(1, 404, "a"));
    EXPECT_EQ(rig.mail.sent.size() > 0, rig.programs.started.size() > 0);
    EXPECT_EQ(rig.notices.events.size(), rig.programs.started.size());
    return rig.programs.started.size() > before;
  };
  rig.t.Corrected.QuietFirstScan = true;
  EXPECT_FALSE(told(3600));
  EXPECT_FALSE(told(kBeforeStartSeconds));
  EXPECT_EQ(rig.files.Get("/sms/POLLED.TXT"), "<none>");
  EXPECT_EQ(rig.history.rows.size(), 2u);
  EXPECT_EQ(Rows(), 2u);
  EXPECT_EQ(site.TodayExceptions, 2);
  EXPECT_TRUE(told(kBeforeStartSeconds - 1));
  site.Scanning = false;  // What is no line's.
  EXPECT_TRUE(told(3600));
  site.Scanning = true;
  site.ReadFromStart = false;  // What came while the program did not run.
  EXPECT_TRUE(told(3600));
  site.ReadFromStart = true;
  rig.t.Corrected.QuietFirstScan = false;
  EXPECT_TRUE(told(3600)) << "classic";
}

// A request may end while the loop turns in the middle of a scan.
TEST_F(ExceptionTest, WhatAMonitorFindsIsNoLinesWhateverIsRead) {
  rig.Type(kExTouchFailed).EmailAddress = "admin@example";
  SiteRec& site = rig.t.Site(1);
  site.ReadFromStart = site.Scanning = true;
  rig.t.Started = rig.clock.now;
  site.LastReadDateTime.s = rig.t.Started.s - 3600;
  rig.t.Corrected.QuietFirstScan = rig.t.Corrected.QuietReplay = true;
  EXPECT_TRUE(Raise(1, kExTouchFailed, "refused"));
  EXPECT_EQ(rig.mail.sent.size(), 1u);
}

TEST_F(ExceptionTest, APlaceToRunThatIsNotThereIsSkippedAndAFailureIsReported) {
  rig.Type(404).RunProgram = true;
  rig.Type(404).Run = "/bin/gone";
  EXPECT_TRUE(Raise(1, 404, "a"));
  EXPECT_TRUE(rig.programs.started.empty());
  EXPECT_EQ(rig.program_log, "");
  rig.Type(404).Run = "/bin/bad";
  rig.files.Put("/bin/bad", "");
  rig.programs.answer = Status::Error(Fail::kIo, "/bin/bad: Exec format error");
  EXPECT_TRUE(Raise(1, 404, "a"));
  EXPECT_TRUE(Contains(rig.program_log, "/bin/bad: Exec format error"));
  EXPECT_TRUE(Contains(rig.program_log, "f.runThis"));
}

}  // namespace
}  // namespace vantry
