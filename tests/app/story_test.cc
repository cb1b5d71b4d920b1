// A scanner at work, told by the exceptions it raises: once as it happens, and once read again after a restart.
#include <gtest/gtest.h>

#include "core/exception_numbers.h"
#include "support/engine_rig.h"

namespace vantry {
namespace {

constexpr char kBrowser[] = "Mozilla/4.0+(compatible;+MSIE+6.0;+Windows+NT+5.1)";

using Rows = std::vector<std::string>;

struct StoryTest : EngineTest {
  const std::string scanner = "10.6.6.6", who = " DNS: 10.6.6.6 Visit No: ";

  // Every type is on and has a mail, a program and an event; some thresholds are low.
  void SetUp() override {
    files.Put("/home/VANTRY.INI",
              "[Shop]\r\nType=0\r\nFolder=/logs/\r\nMask=access.log\r\nFrequency=10\r\n"
              "Domain=www.shop.example\r\n\r\n");
    files.Put("/logs/access.log", "#Fields: date time c-ip cs-method cs-uri-stem sc-status cs(User-Agent)\r\n");
    files.Put("/home/SETTINGS.INI",
              "[Vantry Settings]\r\nWebAccessPort= 9000\r\nEmailServer=mail.example\r\nEmailFrom=v@example\r\n\r\n");
    files.Put("/bin/act", "");
    std::vector<ExceptionType> types;
    AddDefaultExTypes(types);
    for (ExceptionType& type : types) {
      type.Email = type.EventLog = type.RunProgram = true;
      type.EmailAddress = "admin@example";
      type.Run = "/bin/act";
      if (type.Number == kExManyPages) type.Value = "14";
      if (type.Number == kExManyVisits) type.Value = "2";
    }
    files.Put("/home/EXTYPES.INI", FormatExTypes(types));
  }
  // A request one second later.
  void Hit(const std::string& ip, const std::string& method, const std::string& page, int status,
           const std::string& agent = kBrowser) {
    clock.Advance(1);
    files.entries["/logs/access.log"]->bytes += "2026-03-05 " + FormatTime(SecondOfDay(clock.now)) + " " + ip + " " +
                                                method + " " + page + " " + std::to_string(status) + " " + agent +
                                                "\r\n";
  }
  // What the exception list holds, as "number message".
  Rows Listed() {
    Rows rows;
    for (const ExceptionRow& row : engine->Tables().exGrid) {
      rows.push_back(std::to_string(row.number) + " " + row.details);
    }
    return rows;
  }
  void Attack() {
    Hit(scanner, "GET", "/index.html", 200);
    Hit(scanner, "GET", "/scripts/..%5c../winnt/system32/cmd.exe", 404);
    Hit(scanner, "GET", "/scripts/../../boot.html", 403);
    Hit(scanner, "GET", "/cgi-bin/root.dll", 500);
    Hit(scanner, "PUT", "/upload.html", 405);
    Hit(scanner, "DELETE", "/index.html", 200);
    Hit(scanner, "GET", "/run.bat", 404);
    Hit(scanner, "GET", "/run.vbs", 400);
    for (int i = 1; i <= 8; ++i) Hit(scanner, "GET", "/guess" + std::to_string(i) + ".html", 404);
    Hit("10.7.7.7", "GET", "/robots.txt", 200, "NewThing/1.0");
    Run(20);
    clock.Advance(300);
    Hit(scanner, "GET", "/late.html", 200);
    Run(20);
    clock.Advance(300);
    Hit(scanner, "GET", "/later.html", 200);
    // Leaves last: what the visitor removed last did is not read again.
    Hit("10.0.0.9", "GET", "/index.html", 200);
    Run(1000);
    Hit(scanner, "GET", "/back.html", 200);
    Run(20);
  }
  Rows Expected(bool spider_is_new) const {
    const std::string first = who + "1";
    Rows rows = {
        "404 HTTP Page scripts/..%5c../winnt/system32/cmd.exe not found 404 error" + first,
        "150 The EXE file scripts/..%5c../winnt/system32/cmd.exe was requested" + first,
        "160 The requested path scripts/..%5c../winnt/system32/cmd.exe contains  ../" + first,
        "403 HTTP Forbidden. Page: scripts/../../boot.html" + first,
        "160 The requested path scripts/../../boot.html contains  ../" + first,
        "165 Possible HACKER detected!" + first,
        "500 HTTP Internal server error. Page: cgi-bin/root.dll" + first,
        "151 The DLL file cgi-bin/root.dll was requested" + first,
        "405 HTTP Method not allowed. Page: upload.html" + first,
        "162 Visitor used a PUT request on page upload.html" + first,
        "163 Visitor used a DELETE request on page index.html" + first,
        "404 HTTP Page run.bat not found 404 error" + first,
        "152 The BAT file run.bat was requested" + first,
        "153 The VBS file run.vbs was requested" + first,
    };
    for (int i = 1; i <= 8; ++i) {
      rows.push_back("404 HTTP Page guess" + std::to_string(i) + ".html not found 404 error" + first);
      if (i == 7) rows.push_back("131 Single visitor viewed more than 15 pages" + first);
    }
    rows.push_back("161 Visitor generated more than 10 404 errors" + first);
    if (spider_is_new) rows.push_back("902 New unknown spider detected: NewThing/1.0 DNS: 10.7.7.7");
    rows.push_back("134 Single visitor viewed page guess8.html for more than 5 minutes" + first);
    rows.push_back("134 Single visitor viewed page late.html for more than 5 minutes" + first);
    rows.push_back("130 Single visitor on site for more than 10 minutes" + first);
    rows.push_back("133 Same visitor returning more than 2 times" + who + "2");
    return rows;
  }
};

TEST_F(StoryTest, AScannerIsSeenInEverythingItTries) {
  Hit("10.0.0.1", "GET", "/index.html", 200);
  ASSERT_TRUE(Start());
  Run(30);
  EXPECT_EQ(Listed(), Rows{}) << "an ordinary visitor";
  Attack();
  const Rows expected = Expected(true);
  EXPECT_EQ(Listed(), expected);
  mail.Turn();
  EXPECT_EQ(mail.sent.size(), expected.size());
  EXPECT_EQ(mail.sent.at(0).body.substr(0, 24), "Shop: [404] HTTP Page sc");
  EXPECT_EQ(programs.started.size(), expected.size());
  EXPECT_EQ(engine->Tables().Site(1).TodayExceptions, static_cast<int32_t>(expected.size()));

  // The same day read again after a restart is listed and reaches nobody.
  engine->Closing();
  const auto rows_stored = [this] { return data_files.Get("/home/Data/Exceptions.DBF").size(); };
  const size_t stored = rows_stored();
  mail.sent.clear();
  programs.started.clear();
  notices.events.clear();
  ASSERT_TRUE(Start());
  Run(20);
  EXPECT_EQ(Listed(), Expected(false)) << "the spider is known by now";
  EXPECT_TRUE(mail.sent.empty() && programs.started.empty() && notices.events.empty());
  engine->Closing();
  EXPECT_EQ(rows_stored(), stored);
}

TEST_F(StoryTest, EveryStatusAbove400IsRaisedThatHasAType) {
  ASSERT_TRUE(Start());
  std::string numbers;
  for (int status = 200; status <= 599; ++status) {
    Hit("10.0.0.1", "GET", "/page" + std::to_string(status) + ".html", status);
  }
  Run(30);
  for (const std::string& row : Listed()) {
    if (row.substr(0, 1) != "1") numbers += row.substr(0, 3) + " ";
  }
  EXPECT_EQ(numbers, "401 403 404 405 406 407 408 409 410 411 412 413 414 415 416 417 500 502 503 504 505 ");
}

}  // namespace
}  // namespace vantry
