#include "core/program_log.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

constexpr char kStamp[] = "3/9/2004 1:02:03 PM ";

// A log whose outlets write down what they were given.
struct Bench {
  LiveTables tables;
  Regional regional;
  std::string file;
  int beeps = 0;
  std::vector<std::string> boxes;
  std::vector<std::pair<std::string, EventLevel>> events;
  ProgramLog log{tables,
                 regional,
                 {[] { return WallTime{MakeLogTime(*MakeDay(2004, 3, 9), 13 * 3600 + 123).s}; },
                  [this](std::string_view bytes) { file.append(bytes); }, [this] { ++beeps; },
                  [this](std::string_view text) { boxes.emplace_back(text); },
                  [this](std::string_view text, EventLevel level) { events.emplace_back(text, level); }}};
};

TEST(ProgramLog, WriteProgramLog_StampsAllButPlainLines) {
  Bench b;
  b.log.WriteProgramLog("Service Paused", false);
  b.log.WriteProgramLog("plain", true);
  EXPECT_EQ(b.file, std::string(kStamp) + "Service Paused\r\nplain\r\n");
}

TEST(ProgramLog, Session_HasItsFixedLines) {
  Bench b;
  b.log.WriteSessionStart("2.0.0");
  b.log.WriteSessionEnd();
  EXPECT_EQ(b.file,
            "Vantry 2.0.0 Program Log - \r\n"
            "Program started - 3/9/2004 1:02:03 PM\r\n"
            "End of session------------------------------------------------------------\r\n"
            "\r\n");
}

TEST(ProgramLog, ReportError_OnTheDesktopBeepsAndWritesOneLine) {
  Bench b;
  b.log.ReportError("Subscript out of range", "SplitLine");
  EXPECT_EQ(b.file, std::string(kStamp) + "Subscript out of range From SplitLine\r\n");
  EXPECT_EQ(b.beeps, 1);
  EXPECT_TRUE(b.boxes.empty());
  EXPECT_TRUE(b.events.empty());
}

TEST(ProgramLog, ReportError_ShowsABoxOnRequest) {
  Bench b;
  b.log.ReportError("Disk full", "frmProperties.btnOK_Click", true);
  const std::vector<std::string> want = {
      "Error!\r\n\r\nDisk full From frmProperties.btnOK_Click\r\n\r\n"
      "This information has been saved in the \\Data\\error.log file."};
  EXPECT_EQ(b.boxes, want);
  EXPECT_EQ(b.file, std::string(kStamp) + "Disk full From frmProperties.btnOK_Click\r\n");
}

TEST(ProgramLog, ReportError_InServiceModeWritesTwoLinesAndAnEventAndNoBox) {
  Bench b;
  b.tables.ServiceMode = true;
  b.log.ReportError("Disk full", "Main", true);
  const std::string line = std::string(kStamp) + "Disk full From Main\r\n";
  EXPECT_EQ(b.file, line + line);
  EXPECT_EQ(b.beeps, 1);
  EXPECT_TRUE(b.boxes.empty());
  ASSERT_EQ(b.events.size(), 1u);
  EXPECT_EQ(b.events[0].first, "Disk full From Main");
  EXPECT_EQ(static_cast<int>(b.events[0].second), 1);
}

TEST(ProgramLog, AddLogEvent_WritesTheEventAndAStampedLine) {
  Bench b;
  b.log.AddLogEvent("Started", EventLevel::kInformation);
  EXPECT_EQ(b.file, std::string(kStamp) + "Started\r\n");
  ASSERT_EQ(b.events.size(), 1u);
  EXPECT_EQ(static_cast<int>(b.events[0].second), 4);
}

TEST(ProgramLog, Guard_ReportsAFailureUnderItsLabel) {
  Bench b;
  EXPECT_TRUE(b.log.Guard("Main", [] { return Status::Ok(); }));
  EXPECT_EQ(b.file, "");
  EXPECT_FALSE(b.log.Guard("Engine.WriteINI", [] { return Status::Error(Fail::kIo, "Disk full"); }));
  EXPECT_EQ(b.file, std::string(kStamp) + "Disk full From Engine.WriteINI\r\n");
  b.file.clear();
  EXPECT_FALSE(b.log.Guard("Timer1", []() -> Status { throw std::runtime_error("out of range"); }));
  EXPECT_EQ(b.file, std::string(kStamp) + "out of range From Timer1\r\n");
}

TEST(ProgramLog, AddTrace_TakesNameAndPositionOfTheSite) {
  Bench b;
  b.tables.Sites.resize(2);
  b.tables.Site(2).Name = "Shop";
  b.tables.Site(2).LastReadPos = 4'000'000'000;
  b.log.AddTrace(2, "GET /");
  EXPECT_EQ(b.tables.TraceGrid.RowCount(), 0u) << "nothing shows it";
  b.tables.HasWindow = true;
  b.log.AddTrace(2, "GET /");
  ASSERT_EQ(b.tables.TraceGrid.RowCount(), 1u);
  EXPECT_EQ(b.tables.TraceGrid.Row(0).site, "Shop");
  EXPECT_EQ(b.tables.TraceGrid.Row(0).position, 4'000'000'000);
  EXPECT_EQ(b.tables.TraceGrid.Row(0).text, "GET /");
}

TEST(ProgramLog, AddTrace_LeavesQuietlyWithoutASite) {
  Bench b;
  b.tables.HasWindow = true;
  b.log.AddTrace(0, "x");
  b.log.AddTrace(1, "x");
  b.log.AddTrace(-1, "x");
  EXPECT_EQ(b.tables.TraceGrid.RowCount(), 0u);
  EXPECT_EQ(b.file, "");
}

}  // namespace
}  // namespace vantry
