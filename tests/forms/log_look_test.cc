// What a folder of logs looks like before a site reads there.
#include "forms/log_look.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;

constexpr char kNcsa[] = "10.0.0.1 - - [05/Mar/2026:11:59:00 +0000] \"GET /a.htm HTTP/1.0\" 200 5 \"-\" \"B\"\n";

struct LogLookTest : ::testing::Test {
  MemoryFiles files;
  FakeClock clock;
  SiteRec site;

  LogLookTest() {
    site.Folder = "/logs";
    site.Mask = "*.log";
    site.Type = LogType::kNCSA;
  }
  void Put(const std::string& name, const std::string& bytes, int64_t age_s) {
    files.clock_ns = (clock.Now().s - clock.UtcOffset() - age_s) * 1'000'000'000;
    files.Put("/logs/" + name, bytes);
  }
  LogLook Folder() {
    FolderLook look(site, files, clock);
    while (!look.Step()) {
    }
    return look.Result();
  }
  LogLook Log() {
    LogLook look = Folder();
    LookInside(site, files, false, look);
    return look;
  }
  std::vector<std::string> Lines() { return DescribeLook(Log(), site); }
};

TEST_F(LogLookTest, ShowsTheThreeNewestWithSizeAndAge) {
  Put("a.log", "x", 90'000 * 3);
  Put("b.log", kNcsa, 7'200);
  Put("c.log", kNcsa, 60);
  Put("d.log", kNcsa, 5);
  Put("e.txt", "other", 0);
  EXPECT_THAT(Lines(), ElementsAre("4 files fit the mask. Written last:", "d.log, 78 bytes, 5 seconds ago",
                                   "c.log, 78 bytes, 1 minute ago", "b.log, 78 bytes, 2 hours ago",
                                   "First line of d.log: " + std::string(kNcsa, sizeof kNcsa - 2),
                                   "That looks like NCSA Common/Combined, as chosen."));
}

TEST_F(LogLookTest, TellsAWrongTypeAndATextThatIsNone) {
  Put("a.log", kNcsa, 5);
  site.Type = LogType::kW3C;
  EXPECT_EQ(Lines().back(), "That looks like NCSA Common/Combined, but W3C Extended is chosen. Go back to change it.");
  Put("a.log", "Dear diary,\n", 5);
  EXPECT_EQ(Lines().back(), "That is not a log of a type that Vantry reads.");
  Put("a.log", "", 5);
  EXPECT_EQ(Lines().back(), "a.log has no line yet, so its type can't be told.");
}

TEST_F(LogLookTest, ReadsTheFileThatAScanWouldChoose) {
  Put("b.log", kNcsa, 500);
  Put("a.log", "Dear diary,\n", 5);
  EXPECT_EQ(DescribeReadNow(Folder(), site), "Read now: a.log (2 files fit the mask)");
  site.SelectMethod = FileChoice::kAlphabetic;
  EXPECT_EQ(DescribeReadNow(Folder(), site), "Read now: b.log (2 files fit the mask)");
  EXPECT_EQ(Lines().back(), "That looks like NCSA Common/Combined, as chosen.");
  site.Mask = "b*";
  EXPECT_EQ(DescribeReadNow(Folder(), site), "Read now: b.log (1 file fits the mask)");
  site.Mask = "c*";
  EXPECT_EQ(DescribeReadNow(Folder(), site), "No file fits the mask now.");
  site.FTP = true;
  EXPECT_EQ(DescribeReadNow({}, site), "The log is on an FTP server; what is there is seen at the next scan.");
}

TEST_F(LogLookTest, SaysWhyThereIsNothing) {
  EXPECT_THAT(Lines(), ElementsAre("No file fits the mask *.log."));
  site.Folder = "";
  EXPECT_THAT(Lines(), ElementsAre("No folder yet."));
  site.Folder = "/gone/";
  files.fails = [](const std::string& call) { return call == "list /gone/"; };
  EXPECT_THAT(Lines(), ElementsAre("/gone/: broken on command"));
  site.Folder = "/logs/";
  site.Mask = " ";
  Put("x.log", kNcsa, -100);
  EXPECT_EQ(Lines()[1], "x.log, 78 bytes, written in the future") << "without a mask there is the usual one";
  files.entries["/logs/x.log"]->readable = false;
  EXPECT_EQ(Log().problem, "");
  EXPECT_EQ(Lines()[1], "x.log, 78 bytes") << "nobody can say when it was written, so it is not read either";
}

TEST_F(LogLookTest, ComesInPiecesThatTellTheSame) {
  for (int i = 0; i < 25; ++i) Put("a" + std::to_string(i) + ".log", kNcsa, 100 + (i * 7) % 25);
  Put("note.txt", "other", 0);
  FolderLook look(site, files, clock);
  int steps = 1;
  for (; !look.Step(4); ++steps) {
  }
  EXPECT_EQ(steps, 7);
  EXPECT_TRUE(look.Step(4)) << "and stays at its end";
  EXPECT_EQ(DescribeLook(look.Result(), site), DescribeLook(Folder(), site));
  EXPECT_EQ(look.Result().fitting, 25u);
  EXPECT_EQ(look.Result().read_now, "a0.log");
  ASSERT_EQ(look.Result().newest.size(), 3u);
  EXPECT_EQ(look.Result().newest[1].name, "a18.log");
  EXPECT_EQ(look.Result().newest[2].name, "a11.log");
}

TEST_F(LogLookTest, AFileThatCanNotBeOpenedIsTold) {
  Put("x.log", kNcsa, 5);
  files.fails = [](const std::string& call) { return call == "open /logs/x.log"; };
  EXPECT_EQ(Lines().back(), "/logs/x.log: broken on command");
}

TEST_F(LogLookTest, ALineOfAMegabyteIsCut) {
  Put("a.log", std::string(1 << 20, 'x'), 5);
  const LogLook look = Log();
  EXPECT_EQ(look.first_line.size(), LogLook::kMostOfLine);
  EXPECT_TRUE(look.line_goes_on);
  size_t reads = 0;
  for (const std::string& call : files.calls) reads += call == "readat /logs/a.log";
  EXPECT_EQ(reads, 1u) << "no more of it is read than tells its type";
}

TEST(AgeTextTest, ChoosesTheUnit) {
  EXPECT_EQ(AgeText(0), "0 seconds");
  EXPECT_EQ(AgeText(1), "1 second");
  EXPECT_EQ(AgeText(59), "59 seconds");
  EXPECT_EQ(AgeText(61), "1 minute");
  EXPECT_EQ(AgeText(3'600), "60 minutes");
  EXPECT_EQ(AgeText(7'200), "2 hours");
  EXPECT_EQ(AgeText(86'400), "24 hours");
  EXPECT_EQ(AgeText(172'800), "2 days");
}

}  // namespace
}  // namespace vantry
