// With the correction WholeLines the last line of a log waits for its end, and lines without a hit are passed over.
#include <array>

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct WholeLinesRig : ScanRig {
  static constexpr char kLog[] = "/logs/access.log";
  explicit WholeLinesRig(bool on = true, LogType type = LogType::kNCSA) {
    t.Corrected.WholeLines = on;
    AddSite(type);
  }
  void Append(const std::string& bytes) { files.entries[kLog]->bytes += bytes; }
};

TEST(WholeLines, EachLineIsSplitOnce) {
  for (const bool on : {false, true}) {
    WholeLinesRig rig(on);
    rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
    EXPECT_TRUE(rig.Scan());
    const auto size = static_cast<int64_t>(ScanRig::NcsaLines(1, 4).size());
    EXPECT_EQ(rig.t.Site(1).LastReadPos == size + 1, on);
    rig.t.Site(1).ForceLookup = true;
    EXPECT_TRUE(rig.Scan()) << "nothing new";
    EXPECT_EQ(rig.t.Site(1).LastReadPos == size + 1, on) << "the end of a log is not beyond it";
    rig.Append(ScanRig::NcsaLines(4, 6));
    EXPECT_TRUE(rig.Scan());
    EXPECT_EQ(rig.t.Visitors.Count(), 5);
  }
}

// Classic, a line that misses its last fields is counted with those of the line before.
TEST(WholeLines, HalfALineWaitsForItsEnd) {
  for (const bool on : {false, true}) {
    WholeLinesRig rig(on);
    rig.t.Site(1).Unix = false;
    const std::string line = ScanRig::Ncsa("10.0.0.9", "11:00:30", "/b.htm");
    rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 3) + line.substr(0, 12));
    EXPECT_TRUE(rig.Scan());
    EXPECT_EQ(rig.Visitor("10.0.0.9") == nullptr, on);
    rig.Append(line.substr(12));
    rig.Scan();
    EXPECT_EQ(rig.Visitor("10.0.0.9") == nullptr, on) << "still without an end";
    rig.Append("\r\n");
    rig.Scan();
    ASSERT_NE(rig.Visitor("10.0.0.9"), nullptr);
    EXPECT_EQ(rig.Visitor("10.0.0.9")->Page, "b.htm");
  }
}

TEST(WholeLines, EveryByteByByteLogGivesEachLineOnce) {
  for (const std::string end : {"\n", "\r\n"}) {
    WholeLinesRig rig;
    rig.t.Site(1).Unix = end == "\n";
    rig.files.Put(rig.kLog, "");
    for (int i = 1; i < 6; ++i) {
      for (const char c : ScanRig::Ncsa("10.0.0." + std::to_string(i), "11:00:0" + std::to_string(i), "/a.htm") + end) {
        rig.Append(std::string(1, c));
        rig.Scan();
      }
    }
    EXPECT_EQ(rig.t.Visitors.Count(), 5);
    EXPECT_EQ(rig.t.Site(1).PagesCounted, 5);
  }
}

// Classic, an empty line at the end has the fields of the line before: its visitor is back at once after it left.
TEST(WholeLines, EmptyLinesAndCommentsMakeNoVisitorAndThrowNoneOut) {
  for (const std::string extra : {"\n", "   \n", "# a remark\n", "\r\n", "\n\n\n"}) {
    WholeLinesRig rig;
    rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 3) + extra);
    rig.Scan();
    ASSERT_EQ(rig.t.Visitors.Count(), 2);
    EXPECT_EQ(rig.t.Site(1).PagesCounted, 2);
    rig.t.Visitors.Remove(std::array{1, 2});
    rig.Append(extra);
    rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), 0) << extra;
    rig.Append(ScanRig::NcsaLines(7, 9));
    rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), 2);
  }
}

TEST(WholeLines, ManyEmptyLinesDoNotEndTheReading) {
  WholeLinesRig rig;
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 2) + std::string(200, '\n') + ScanRig::NcsaLines(2, 3));
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(WholeLines, HeaderOfAGrowingLogIsTakenWhenItsLineIsWhole) {
  WholeLinesRig rig(true, LogType::kW3C);
  rig.t.Site(1).FieldsKnown = false;
  rig.files.Put(rig.kLog, "#Software: Server\n#Fields: date time c-ip cs-uri");
  rig.t.Site(1).ScanCount = 1;  // Not the first, which would pause the site.
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).LastFields, "");
  rig.Append("-stem\n2026-03-05 11:00:00 10.0.0.1 /a.htm\n");
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).LastFields, "DATE TIME C-IP CS-URI-STEM");
  EXPECT_NE(rig.Visitor("10.0.0.1"), nullptr);
}

TEST(WholeLines, ReplayEndsWithTheLastLineThatWasRead) {
  WholeLinesRig rig;
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
  rig.Scan();
  const ReadState saved = rig.t.Site(1);
  WholeLinesRig next;
  static_cast<ReadState&>(next.t.Site(1)) = saved;
  next.files.Put(next.kLog, ScanRig::NcsaLines(1, 5));
  next.Scan();
  EXPECT_EQ(next.t.Visitors.Count(), 4);
  // A page is stored when its line is new; of what is replayed only the visit is looked for.
  EXPECT_EQ(next.history.Count("page "), 1);
}

}  // namespace
}  // namespace vantry
