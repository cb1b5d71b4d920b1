// The place where today begins in a long log.
#include "scan/first_of_today.h"

#include <functional>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/fakes.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

constexpr int64_t kMB = 1024 * 1024;

// A log of any size that is made up as it is read: pieces of text at places, nothing but `filling` between them.
class MadeUpLog final : public LogFile {
 public:
  int64_t size = 0;
  // The text of a stretch of `kLine` bytes, by its number.
  static constexpr int64_t kLine = 100;
  std::function<std::string(int64_t)> line;
  int reads = 0;
  int64_t bytes_read = 0;
  bool broken = false;

  Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
    count = 0;
    ++reads;
    if (broken) return Status::Error(Fail::kIo, "Input/output error");
    while (count < buffer.size() && position < size) {
      const std::string text = line(position / kLine);
      const auto from = static_cast<size_t>(position % kLine);
      const size_t some = std::min({text.size() - from, buffer.size() - count, static_cast<size_t>(size - position)});
      text.copy(buffer.data() + count, some, from);
      count += some;
      position += static_cast<int64_t>(some);
    }
    bytes_read += static_cast<int64_t>(count);
    return Status::Ok();
  }
  Status Look(FileLook& look) override {
    look = {1, 1, size, 0, {}};
    return Status::Ok();
  }
};

std::string Padded(std::string text, std::string_view end = "\n") {
  text.resize(static_cast<size_t>(MadeUpLog::kLine) - end.size(), 'x');
  return text + std::string(end);
}

const LogTime kMidnight = MakeLogTime(*MakeDay(2026, 3, 5), 0);

std::string NcsaAt(LogTime time) {
  const CivilDate c = ToCivil(DayOf(time));
  constexpr const char* kNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  return Padded("10.0.0.1 - - [" + PadNumber(c.day, 2) + "/" + kNames[c.month - 1] + "/" + PadNumber(c.year, 4) + ":" +
                FormatTime(SecondOfDay(time)) + " +0000] \"GET /a.htm HTTP/1.1\" 200 5 \"-\" \"");
}

std::string W3cAt(LogTime time, bool date_first = true) {
  const CivilDate c = ToCivil(DayOf(time));
  const std::string date = PadNumber(c.year, 4) + "-" + PadNumber(c.month, 2) + "-" + PadNumber(c.day, 2);
  const std::string clock = FormatTime(SecondOfDay(time));
  return Padded((date_first ? date + " " + clock : clock + " " + date) + " 10.0.0.1 /a.htm ", "\r\n");
}

struct SeekTest : ::testing::Test {
  MadeUpLog log;
  FakeClock clock;
  LogType type = LogType::kNCSA;
  std::string last_fields;
  // The log's lines are a second apart and `todays` of them are of 5 March.
  void Fill(int64_t size, int64_t todays) {
    log.size = size / MadeUpLog::kLine * MadeUpLog::kLine;
    const int64_t first = log.size / MadeUpLog::kLine - todays;
    log.line = [first](int64_t n) { return NcsaAt({kMidnight.s + n - first}); };
    first_ = first * MadeUpLog::kLine;
  }
  TodayPlace Find(int64_t from = 0, LineRules rules = {.true_times = true, .quoted_fields = true}) {
    log.reads = 0;
    log.bytes_read = 0;
    return FirstOfToday({log, FormatOf(type), rules, 0, clock, last_fields}, from, *MakeDay(2026, 3, 5));
  }
  // The place is the beginning of a line, before the first of today, and little is read for nothing.
  void ExpectBefore(int64_t start, int64_t first) {
    EXPECT_LE(start, first);
    EXPECT_GE(start, first - kMB);
    EXPECT_EQ(start % MadeUpLog::kLine, 0);
  }
  int64_t first_ = 0;  // Place of the first line of today.
};

TEST_F(SeekTest, FindsTheFirstOfTodayInLogsOfAnySize) {
  for (const int64_t size : {3 * kMB + 77, 10'000 * kMB, 100'000 * kMB}) {
    for (const int64_t todays : {0, 1, 15'000}) {
      SCOPED_TRACE(std::to_string(size) + " " + std::to_string(todays));
      Fill(size, todays);
      ExpectBefore(Find().start, first_);
      EXPECT_LT(log.reads, 80);
      EXPECT_LT(log.bytes_read, 8 * kMB);
    }
  }
}

TEST_F(SeekTest, ClassicReadingIsSoughtInTheSameWay) {
  Fill(100 * kMB, 5'000);
  ExpectBefore(Find(0, {}).start, first_);
}

TEST_F(SeekTest, AllOfTodayAndShortLogsAreReadFromWhereTheyWere) {
  Fill(5 * kMB, 5 * kMB / 100);
  EXPECT_EQ(Find().start, 0);
  Fill(kMB / 2, 3);
  EXPECT_EQ(Find().start, 0);
  Fill(0, 0);
  EXPECT_EQ(Find().start, 0);
  Fill(50 * kMB, 5'000);
  EXPECT_EQ(Find(first_ + 1'000).start, first_ + 1'000) << "what was read already is not gone back to";
  EXPECT_GE(Find(20 * kMB).start, 20 * kMB);
  ExpectBefore(Find(20 * kMB).start, first_);
}

TEST_F(SeekTest, LateLinesAndLinesOutOfOrderByMinutesAreFound) {
  Fill(200 * kMB, 20'000);
  const int64_t first = first_ / MadeUpLog::kLine;
  const auto in_order = log.line;
  // Every third line is of a transfer that began hours before; others are early or late by up to nine minutes.
  log.line = [in_order, first](int64_t n) {
    if (n % 3 == 0) return in_order(n - 20'000);
    const int64_t shifted = n + (n * 7919) % 540 - 270;
    return NcsaAt({kMidnight.s + shifted - first});
  };
  ExpectBefore(Find().start, first_ - 27'000);
}

TEST_F(SeekTest, GarbageAndHolesAreWalkedOver) {
  Fill(500 * kMB, 50'000);
  const auto lines = log.line;
  // Half of the file has stretches of 500 kB without a line.
  log.line = [lines](int64_t n) {
    return n / 5'000 % 2 == 0 ? lines(n) : std::string(static_cast<size_t>(MadeUpLog::kLine), '\0');
  };
  const int64_t start = Find().start;
  EXPECT_LE(start, first_);
  EXPECT_GT(start, first_ - 3 * kMB);
}

TEST_F(SeekTest, LogThatBeginsWithAHoleIsFoundAtItsEnd) {
  Fill(100'000 * kMB, 50'000);
  const int64_t hole = first_ / MadeUpLog::kLine - 30'000;
  const auto lines = log.line;
  log.line = [lines, hole](int64_t n) {
    return n >= hole ? lines(n) : std::string(static_cast<size_t>(MadeUpLog::kLine), '\0');
  };
  ExpectBefore(Find().start, first_);
}

TEST_F(SeekTest, LinesWithoutDatesAreNotSought) {
  Fill(100 * kMB, 1'000);
  log.line = [](int64_t) { return Padded("no line of a log"); };
  EXPECT_EQ(Find().start, 0);
  log.line = [](int64_t) { return std::string(static_cast<size_t>(MadeUpLog::kLine), '\xff'); };
  EXPECT_EQ(Find().start, 0);
  type = LogType::kW3C;
  last_fields = "TIME C-IP CS-URI-STEM";
  log.line = [](int64_t) { return Padded("10:00:00 10.0.0.1 /a.htm"); };
  EXPECT_EQ(Find().start, 0);
}

TEST_F(SeekTest, DiskThatRefusesLeavesThePlaceAlone) {
  Fill(100 * kMB, 1'000);
  log.broken = true;
  EXPECT_EQ(Find().start, 0);
}

struct W3cSeekTest : SeekTest {
  std::map<int64_t, std::string> headers;  // By the number of the line that they are.
  bool swapped = false;                    // From half of the log on lines have the time first.
  W3cSeekTest() { type = LogType::kW3C; }
  void FillW3c(int64_t size, int64_t todays) {
    Fill(size, todays);
    const int64_t first = first_ / MadeUpLog::kLine, half = log.size / MadeUpLog::kLine / 2;
    log.line = [this, first, half](int64_t n) {
      if (const auto it = headers.find(n); it != headers.end()) return it->second;
      return W3cAt({kMidnight.s + n - first}, !swapped || n < half);
    };
  }
  static std::string Header(const std::string& fields) {
    const std::string text = "#Fields: " + fields;
    return text + std::string(static_cast<size_t>(MadeUpLog::kLine) - 2 - text.size(), ' ') + "\r\n";
  }
};

const std::string kDateFirst = "date time c-ip cs-uri-stem cs(User-Agent)";
const std::string kTimeFirst = "time date c-ip cs-uri-stem cs(User-Agent)";

TEST_F(W3cSeekTest, HeaderAtTheBeginningIsFound) {
  FillW3c(300 * kMB, 10'000);
  headers[0] = Header(kDateFirst);
  const TodayPlace place = Find();
  ExpectBefore(place.start, first_);
  EXPECT_EQ(Trim(place.header), "#Fields: " + kDateFirst);
}

TEST_F(W3cSeekTest, HeaderNearestBeforeThePlaceCounts) {
  swapped = true;
  FillW3c(300 * kMB, 10'000);
  const int64_t first = first_ / MadeUpLog::kLine;
  headers[0] = Header(kDateFirst);
  headers[first - 20'000] = Header(kTimeFirst + " old");
  headers[first - 15'000] = Header(kTimeFirst);
  headers[first + 5'000] = Header(kDateFirst);
  const TodayPlace place = Find();
  ExpectBefore(place.start, first_);
  EXPECT_EQ(Trim(place.header), "#Fields: " + kTimeFirst);
}

TEST_F(W3cSeekTest, HeaderThatIsTooFarAwayMustFitTheLines) {
  swapped = true;
  FillW3c(300 * kMB, 10'000);
  headers[0] = Header(kDateFirst);
  headers[log.size / MadeUpLog::kLine / 2] = Header(kTimeFirst);
  EXPECT_EQ(Find().start, 0) << "no layout is known that fits, so all is read";
  last_fields = Upper(kTimeFirst);
  const TodayPlace place = Find();
  ExpectBefore(place.start, first_);
  EXPECT_EQ(place.header, "") << "the layout read last holds";
}

TEST_F(W3cSeekTest, WithoutAnyHeaderAllIsRead) {
  FillW3c(300 * kMB, 10'000);
  EXPECT_EQ(Find().start, 0);
}

TEST_F(W3cSeekTest, FirewallLogsHaveALayoutOfTheirOwn) {
  type = LogType::kFirewall;
  FillW3c(300 * kMB, 10'000);
  ExpectBefore(Find().start, first_);
}

TEST_F(W3cSeekTest, LogInUtcBeginsAtTheMachinesMidnight) {
  FillW3c(300 * kMB, 10'000);
  headers[0] = Header(kDateFirst);
  clock.utc_offset = -3600;
  ExpectBefore(Find().start, first_ + 3600 * MadeUpLog::kLine);
}

// --- In a scan ---

std::string OldLines(size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += NcsaAt({kMidnight.s - 90'000});
  return text;
}

TEST(SeekInAScan, SkipsOldLinesAndKeepsPositionsRight) {
  for (const bool corrected : {false, true}) {
    ScanRig rig;
    rig.t.Corrected.SeekToday = corrected;
    rig.AddSite();
    const std::string old = OldLines(3 * kMB);
    rig.files.Put("/logs/access.log", old + ScanRig::NcsaLines(1, 5));
    EXPECT_TRUE(rig.Scan());
    EXPECT_EQ(rig.t.Visitors.Count(), 4);
    const SiteRec& site = rig.t.Site(1);
    EXPECT_EQ(site.LastReadPos, static_cast<int64_t>((old + ScanRig::NcsaLines(1, 4)).size() + 1));
    if (corrected) {
      EXPECT_GT(site.LastReadPosDay, 2 * kMB);
      EXPECT_LE(site.LastReadPosDay, static_cast<int64_t>(old.size() + 1));
    } else {
      EXPECT_EQ(site.LastReadPosDay, 1);
    }
    rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(5, 8);
    EXPECT_TRUE(rig.Scan());
    EXPECT_EQ(rig.t.Visitors.Count(), 7);
    EXPECT_EQ(site.PagesCounted, 7);
  }
}

TEST(SeekInAScan, LogWithoutLinesOfTodayIsReadFromItsEndOn) {
  ScanRig rig;
  rig.t.Corrected.SeekToday = true;
  rig.AddSite();
  const std::string old = OldLines(3 * kMB);
  rig.files.Put("/logs/access.log", old);
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Site(1).LastReadPos, static_cast<int64_t>(old.size()) - MadeUpLog::kLine + 1);
  rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(5, 8);
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
}

TEST(SeekInAScan, ReplayReadsTheSameLines) {
  ScanRig first;
  first.t.Corrected.SeekToday = true;
  first.AddSite();
  const std::string old = OldLines(2 * kMB), lines = ScanRig::NcsaLines(1, 5);
  first.files.Put("/logs/access.log", old + lines);
  first.Scan();
  // The next run starts where a site without the correction would have begun its day.
  for (const int64_t day_place : {first.t.Site(1).LastReadPosDay, int64_t{1}}) {
    ScanRig again;
    again.t.Corrected.SeekToday = true;
    SiteRec& site = again.AddSite();
    static_cast<ReadState&>(site) = first.t.Site(1);
    site.LastReadPosDay = day_place;
    again.files.Put("/logs/access.log", old + lines + ScanRig::NcsaLines(5, 7));
    EXPECT_TRUE(again.Scan());
    EXPECT_EQ(again.t.Visitors.Count(), 6);
    EXPECT_EQ(again.history.Count("page "), 3)
        << "of those read before only the last, which is read again, and new ones";
    EXPECT_EQ(again.t.Site(1).ReplayUntilPos, 0);
    EXPECT_GT(again.t.Site(1).LastReadPosDay, kMB);
  }
}

TEST(SeekInAScan, W3cLogHasTheLayoutThatHoldsAtThePlace) {
  ScanRig rig;
  rig.t.Corrected.SeekToday = true;
  rig.AddSite(LogType::kW3C).IncludeQuery = true;
  std::string log = "#Fields: date time c-ip cs-uri-stem\r\n";
  while (log.size() < 2 * kMB) log += "2026-03-03 10:00:00 10.0.0.1 /old.htm\r\n";
  log += "#Fields: time date cs-uri-stem cs-uri-query c-ip\r\n";
  while (log.size() < 4 * kMB) log += "10:00:00 2026-03-04 /old.htm - 10.0.0.1\r\n";
  rig.files.Put("/logs/ex.log",
                log + "10:00:00 2026-03-05 /new.htm x=1 10.0.0.7\r\n10:00:01 2026-03-05 /b.htm - 10.0.0.8\r\n");
  EXPECT_TRUE(rig.Scan());
  ASSERT_NE(rig.Visitor("10.0.0.7"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.7")->Page, "new.htm");
  EXPECT_EQ(rig.Visitor("10.0.0.7")->Query, "?x=1");
  EXPECT_EQ(rig.t.Site(1).LastFields, "TIME DATE CS-URI-STEM CS-URI-QUERY C-IP");
  EXPECT_TRUE(rig.t.Site(1).FieldsKnown);
}

}  // namespace
}  // namespace vantry
